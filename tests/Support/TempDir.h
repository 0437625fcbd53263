// SPDX-License-Identifier: MIT
#ifndef ORVEX_TESTS_TEMPDIR_H
#define ORVEX_TESTS_TEMPDIR_H

#include <string>

/// An empty folder of the test's own, removed with everything in it at the end.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& Path() const { return path; } ///< No "/" at the end.
    std::string File(const std::string& name) const { return path + "/" + name; } ///< A path in it.

private:
    std::string path;
};

#endif
