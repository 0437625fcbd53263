// SPDX-License-Identifier: MIT
#include "CallFaults.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <dlfcn.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/uio.h>

namespace {

thread_local const char* refusedName = nullptr;
thread_local int refusedError = 0;
thread_local int refusals = 0;

bool Fails(const char* name)
{
    if (!refusedName || std::strcmp(name, refusedName) != 0)
        return false;
    ++refusals;
    errno = refusedError;
    return true;
}

/// The system's function behind `name`.
template <class Function> Function* Next(const char* name)
{
    Function* const next = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
    if (!next)
        abort();
    return next;
}

} // namespace

CallFaults::CallFaults(const char* name, int error)
{
    refusals = 0;
    refusedError = error;
    refusedName = name;
}

CallFaults::~CallFaults() { refusedName = nullptr; }

int CallFaults::Refused() const { return refusals; }

extern "C" {

int inet_pton(int family, const char* text, void* address) noexcept
{
    static auto* const next = Next<int(int, const char*, void*)>("inet_pton");
    return Fails("inet_pton") ? -1 : next(family, text, address);
}

FILE* fopen(const char* path, const char* mode)
{
    static auto* const next = Next<FILE*(const char*, const char*)>("fopen");
    return Fails("fopen") ? nullptr : next(path, mode);
}

off_t lseek(int fd, off_t offset, int whence) noexcept
{
    static auto* const next = Next<off_t(int, off_t, int)>("lseek");
    return Fails("lseek") ? -1 : next(fd, offset, whence);
}

ssize_t read(int fd, void* bytes, size_t count)
{
    static auto* const next = Next<ssize_t(int, void*, size_t)>("read");
    return Fails("read") ? -1 : next(fd, bytes, count);
}

ssize_t write(int fd, const void* bytes, size_t count)
{
    static auto* const next = Next<ssize_t(int, const void*, size_t)>("write");
    return Fails("write") ? -1 : next(fd, bytes, count);
}
ssize_t writev(int fd, const iovec* parts, int count)
{
    static auto* const next = Next<ssize_t(int, const iovec*, int)>("writev");
    return Fails("write") ? -1 : next(fd, parts, count);
}

DIR* opendir(const char* path)
{
    static auto* const next = Next<DIR*(const char*)>("opendir");
    return Fails("opendir") ? nullptr : next(path);
}

dirent* readdir(DIR* stream)
{
    static auto* const next = Next<dirent*(DIR*)>("readdir");
    return Fails("readdir") ? nullptr : next(stream);
}

int stat(const char* path, struct stat* result) noexcept
{
    static auto* const next = Next<int(const char*, struct stat*)>("stat");
    return Fails("stat") ? -1 : next(path, result);
}

#ifdef __GLIBC__ // the large-file forms

FILE* fopen64(const char* path, const char* mode)
{
    static auto* const next = Next<FILE*(const char*, const char*)>("fopen64");
    return Fails("fopen") ? nullptr : next(path, mode);
}

off64_t lseek64(int fd, off64_t offset, int whence) noexcept
{
    static auto* const next = Next<off64_t(int, off64_t, int)>("lseek64");
    return Fails("lseek") ? -1 : next(fd, offset, whence);
}

dirent64* readdir64(DIR* stream)
{
    static auto* const next = Next<dirent64*(DIR*)>("readdir64");
    return Fails("readdir") ? nullptr : next(stream);
}

int stat64(const char* path, struct stat64* result) noexcept
{
    static auto* const next = Next<int(const char*, struct stat64*)>("stat64");
    return Fails("stat") ? -1 : next(path, result);
}

// And that for times past 2038, which 32-bit systems alone have; only it knows what it fills.
int __stat64_time64(const char* path, void* result) noexcept
{
    static auto* const next = Next<int(const char*, void*)>("__stat64_time64");
    return Fails("stat") ? -1 : next(path, result);
}

#endif

} // extern "C"
