#include "simulated/machine/OpenFile.h"

#include <windows.h>

#include <algorithm>
#include <cstring>

namespace simulated {

OpenFile::OpenFile(std::shared_ptr<FileNode> node, DWORD access, DWORD share, bool deleteOnClose)
    : node_(std::move(node)), access_(access), use_{sharedAccess(access), share} {
    if (use_.access != 0) {
        node_->uses.push_back(&use_);
    }
    ++node_->openHandles;
    node_->deletePending = node_->deletePending || deleteOnClose;
}

OpenFile::~OpenFile() {
    std::erase(node_->uses, &use_);
    if (--node_->openHandles == 0 && node_->deletePending && node_->parent != nullptr) {
        node_->parent->take(*node_);
    }
}

std::string OpenFile::description() const {
    return "file " + toUtf8(node_->path());
}

std::size_t OpenFile::read(void* buffer, std::size_t size) {
    const std::string& content = node_->content;
    if (position_ >= content.size()) {
        return 0;
    }
    const std::size_t count = std::min<std::size_t>(size, content.size() - position_);
    std::memcpy(buffer, content.data() + position_, count);
    position_ += count;
    return count;
}

void OpenFile::write(const void* data, std::size_t size) {
    std::string& content = node_->content;
    if (appends()) {
        position_ = content.size();
    }
    if (size == 0) {
        return;
    }
    if (position_ + size > content.size()) {
        content.resize(position_ + size);
    }
    std::memcpy(content.data() + position_, data, size);
    position_ += size;
    node_->version.clear();
}

void OpenFile::resize(std::uint64_t size) {
    node_->content.resize(size);
    node_->version.clear();
}

DWORD fileAccess(DWORD requested) {
    DWORD access = requested & FILE_ALL_ACCESS;
    if ((requested & GENERIC_READ) != 0) {
        access |= FILE_GENERIC_READ;
    }
    if ((requested & GENERIC_WRITE) != 0) {
        access |= FILE_GENERIC_WRITE;
    }
    if ((requested & GENERIC_ALL) != 0) {
        access |= FILE_ALL_ACCESS;
    }
    return access;
}

DWORD sharedAccess(DWORD access) {
    return ((access & (FILE_READ_DATA | FILE_EXECUTE)) != 0 ? FILE_SHARE_READ : 0) |
           ((access & (FILE_WRITE_DATA | FILE_APPEND_DATA)) != 0 ? FILE_SHARE_WRITE : 0) |
           ((access & DELETE) != 0 ? FILE_SHARE_DELETE : 0);
}

std::string OpenSearch::description() const {
    return "search " + toUtf8(pattern_);
}

const WIN32_FIND_DATAW* OpenSearch::next() {
    return next_ < found_.size() ? &found_[next_++] : nullptr;
}

}  // namespace simulated
