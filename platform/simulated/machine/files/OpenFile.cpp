#include "simulated/machine/files/OpenFile.h"

#include <windows.h>

#include <cstring>

namespace simulated {

OpenNode::OpenNode(std::shared_ptr<FileNode> node, FileUse use)
    : node_(std::move(node)), use_(use) {
    if (use_.access != 0) {
        node_->uses.push_back(&use_);
    }
    ++node_->openHandles;
}

OpenNode::~OpenNode() {
    std::erase(node_->uses, &use_);
    if (--node_->openHandles == 0 && node_->deletePending && node_->parent != nullptr) {
        node_->parent->take(*node_);
    }
}

OpenFile::OpenFile(std::shared_ptr<FileNode> node, DWORD access, DWORD share)
    : OpenNode(std::move(node), {sharedAccess(access), share}), access_(access) {}

std::string OpenFile::description() const {
    return "file " + toUtf8(node().path());
}

std::size_t OpenFile::read(void* buffer, std::size_t size) {
    const std::string& content = node().content;
    if (position_ >= content.size()) {
        return 0;
    }
    const std::size_t count = content.copy(static_cast<char*>(buffer), size, position_);
    position_ += count;
    return count;
}

void OpenFile::write(const void* data, std::size_t size) {
    std::string& content = node().content;
    if (size == 0) {
        return;
    }
    if (position_ + size > content.size()) {
        content.resize(position_ + size);
    }
    std::memcpy(content.data() + position_, data, size);
    position_ += size;
    node().version.clear();
}

void OpenFile::resize(std::uint64_t size) {
    node().content.resize(size);
    node().version.clear();
}

DWORD sharedAccess(DWORD access) {
    return ((access & GENERIC_READ) != 0 ? FILE_SHARE_READ : 0) |
           ((access & GENERIC_WRITE) != 0 ? FILE_SHARE_WRITE : 0);
}

std::string OpenSearch::description() const {
    return "search " + toUtf8(node().path()) + "\\*";
}

const WIN32_FIND_DATAW* OpenSearch::next() {
    return next_ < found_.size() ? &found_[next_++] : nullptr;
}

}  // namespace simulated
