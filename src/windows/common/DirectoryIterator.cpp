#include "windows/common/DirectoryIterator.h"

#include "common/share/LogException.h"

namespace FileUtils {

DirectoryIterator& DirectoryIterator::recursive(bool value) {
    recursive_ = value;
    return *this;
}

DirectoryIterator& DirectoryIterator::withFiles(bool value) {
    withFiles_ = value;
    return *this;
}

DirectoryIterator& DirectoryIterator::withFolders(bool value) {
    withFolders_ = value;
    return *this;
}

DirectoryIterator& DirectoryIterator::skipUnreadable(const SourceLocation& where) {
    skipUnreadable_ = where;
    return *this;
}

void DirectoryIterator::findItems(std::vector<tstring>& out) {
    items_.clear();
    if (isDirectory(path_)) {
        if (skipUnreadable_) {
            runLogged(*skipUnreadable_, [this] { iterateDirectory(path_, *this); });
        } else {
            iterateDirectory(path_, *this);
        }
        out.insert(out.end(), items_.begin(), items_.end());
    }
}

bool DirectoryIterator::onFile(const tstring& path) {
    if (withFiles_) {
        items_.push_back(path);
    }
    return true;
}

bool DirectoryIterator::onFolder(const tstring& path) {
    if (withFolders_) {
        items_.push_back(path);
    }
    if (recursive_) {
        DirectoryIterator below(path);
        below.recursive(recursive_).withFiles(withFiles_).withFolders(withFolders_);
        below.skipUnreadable_ = skipUnreadable_;
        below.findItems(items_);
    }
    return true;
}

}  // namespace FileUtils
