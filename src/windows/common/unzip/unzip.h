// Reads ZIP archives: the ZIP library with exceptions instead of result codes.
#pragma once

#include <string>

#include "common/share/tstring.h"

struct nzfile;

/// An open archive. Movable; a moved-from object closes nothing.
class ZipFile {
public:
    /// Opens an archive for reading. Throws std::runtime_error.
    explicit ZipFile(const tstring& path);
    ~ZipFile();
    ZipFile(ZipFile&& other) noexcept;
    ZipFile& operator=(ZipFile&& other) noexcept;

    /// Returns the bytes of an entry unchanged; the library reads entries that contain UTF-8. The
    /// "/" at the end of a directory's name is optional in `entryName`. Throws std::runtime_error
    /// for an entry that doesn't exist, is a directory, is too large for memory or can't be read.
    std::string extractEntryAsUtf8String(const tstring& entryName) const;

private:
    nzfile* zip_;
    bool owned_;
};
