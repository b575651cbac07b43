// Lists the contents of a directory.
#pragma once

#include <optional>
#include <vector>

#include "common/share/PmtError.h"
#include "common/share/tstring.h"
#include "windows/common/FileUtils.h"

namespace FileUtils {

/// Collects the entries of a directory: files and directories, here and in subdirectories. The
/// three setters restrict that; the library itself doesn't use them.
class DirectoryIterator : private DirectoryCallback {
public:
    explicit DirectoryIterator(const tstring& path) : path_(path) {}

    DirectoryIterator& recursive(bool value);
    DirectoryIterator& withFiles(bool value);
    DirectoryIterator& withFolders(bool value);
    /// Logs a directory that can't be read, for the place `where`, and continues with the others.
    DirectoryIterator& skipUnreadable(const SourceLocation& where);

    /// Appends the full paths to `out`, a directory before its contents; appends nothing if the
    /// path is not a directory. Throws SysError and leaves `out` unchanged then.
    void findItems(std::vector<tstring>& out);

private:
    bool onFile(const tstring& path) override;
    bool onFolder(const tstring& path) override;

    bool recursive_ = true;
    bool withFiles_ = true;
    bool withFolders_ = true;
    std::optional<SourceLocation> skipUnreadable_;
    tstring path_;
    std::vector<tstring> items_;
};

}  // namespace FileUtils
