// Reading ZIP archives: the ZIP library with exceptions in place of its result codes.
#pragma once

#include <string>

#include "common/share/tstring.h"

struct nzfile;

/// An open archive. It can be moved; a moved-from object closes nothing.
class ZipFile {
public:
    /// Opens an archive to read. Throws std::runtime_error if that fails.
    explicit ZipFile(const tstring& path);
    ~ZipFile();
    ZipFile(ZipFile&& other) noexcept;
    ZipFile& operator=(ZipFile&& other) noexcept;

    /// The bytes of an entry as they are; the system reads entries that hold UTF-8. `entryName` may
    /// lack the "/" at the end of a directory's name. Throws std::runtime_error for an entry that
    /// isn't there, is a directory, is too large for memory or can't be read.
    std::string extractEntryAsUtf8String(const tstring& entryName) const;

private:
    nzfile* zip_;
    bool owned_;
};
