// Lists what a directory holds.
#pragma once

#include <optional>
#include <vector>

#include "common/share/PmtError.h"
#include "common/share/tstring.h"
#include "windows/common/FileUtils.h"

namespace FileUtils {

/// Collects what a directory holds: files and folders, here and below, unless told otherwise, which
/// nothing in the library does for the first three.
class DirectoryIterator : private DirectoryCallback {
public:
    explicit DirectoryIterator(const tstring& path) : path_(path) {}

    DirectoryIterator& recursive(bool value);
    DirectoryIterator& withFiles(bool value);
    DirectoryIterator& withFolders(bool value);
    /// A directory that can't be read is a log record of that place, and the others are listed.
    DirectoryIterator& pastUnreadable(const SourceLocation& where);

    /// Appends the full paths to `out`, a folder before what it holds. Nothing when the path is no
    /// directory. Throws SysError, and then `out` is as it was.
    void findItems(std::vector<tstring>& out);

private:
    bool onFile(const tstring& path) override;
    bool onFolder(const tstring& path) override;

    bool recursive_ = true;
    bool withFiles_ = true;
    bool withFolders_ = true;
    std::optional<SourceLocation> pastUnreadable_;
    tstring path_;
    std::vector<tstring> items_;
};

}  // namespace FileUtils
