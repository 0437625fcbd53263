// SPDX-License-Identifier: MIT
#include "TempDir.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

TempDir::TempDir()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "orvex-test-XXXXXX").string();
    if (!mkdtemp(pattern.data()))
        throw std::runtime_error("no temporary folder can be made: " + pattern);
    path = pattern;
}

TempDir::~TempDir()
{
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}
