// Lists what a directory holds.
#pragma once

#include <vector>

#include "common/share/tstring.h"
#include "windows/common/FileUtils.h"

namespace FileUtils {

/// Collects what a directory holds: files and folders, here and below, unless told otherwise.
class DirectoryIterator : private DirectoryCallback {
public:
    explicit DirectoryIterator(const tstring& path) : path_(path) {}

    DirectoryIterator& recursive(bool value);
    DirectoryIterator& withFiles(bool value);
    DirectoryIterator& withFolders(bool value);

    /// Appends the full paths to `out`, a folder before what it holds. Nothing when the path is no
    /// directory. Throws SysError, and then `out` is as it was.
    void findItems(std::vector<tstring>& out);

private:
    bool onFile(const tstring& path) override;
    bool onFolder(const tstring& path) override;

    bool recursive_ = true;
    bool withFiles_ = true;
    bool withFolders_ = true;
    tstring path_;
    std::vector<tstring> items_;
};

}  // namespace FileUtils
