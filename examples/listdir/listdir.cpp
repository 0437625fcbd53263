// SPDX-License-Identifier: MIT
// Lists a directory, one entry a line, directories with a "/" behind them.
//
//   listdir DIRECTORY          everything
//   listdir -f DIRECTORY       no directories
//   listdir -d DIRECTORY       directories only
#include <ORVEX/FileList.h>

#include <cstdio>
#include <cstring>

int main(int argc, char** argv)
{
    const bool files = argc == 3 && std::strcmp(argv[1], "-f") == 0;
    const bool dirs = argc == 3 && std::strcmp(argv[1], "-d") == 0;
    if (argc != 2 && !files && !dirs) {
        std::fputs("usage: listdir [-f | -d] DIRECTORY\n", stderr);
        return 2;
    }
    ORVEX::String path = ORVEX::String::ChangeCharStr(argv[argc - 1]);
    ORVEX::FileList::AddLastSeparator(path);
    ORVEX::FileList list;
    if (!list.Find(path, files, dirs)) {
        std::perror(argv[argc - 1]);
        return 1;
    }
    for (const ORVEX::FileListNode& entry : list)
        std::printf("%s%s\n", entry.name.CStr(), entry.isDir ? "/" : "");
    return 0;
}
