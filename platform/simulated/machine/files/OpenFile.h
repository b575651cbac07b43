// The objects of the handles of open files, directories and searches.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <windef.h>
#include <fileapi.h>

#include "simulated/machine/files/FileTree.h"
#include "simulated/machine/process/Handles.h"

namespace simulated {

/// A node that is open: it is kept, and kept from others as the share mode says. One that is to be
/// deleted goes with its last user.
class OpenNode : public HandleObject {
public:
    OpenNode(std::shared_ptr<FileNode> node, FileUse use);
    ~OpenNode() override;
    OpenNode(const OpenNode&) = delete;
    OpenNode& operator=(const OpenNode&) = delete;

    FileNode& node() { return *node_; }
    const FileNode& node() const { return *node_; }

private:
    std::shared_ptr<FileNode> node_;
    FileUse use_;
};

class OpenFile : public OpenNode {
public:
    /// `access` is of GENERIC_READ and GENERIC_WRITE.
    OpenFile(std::shared_ptr<FileNode> node, DWORD access, DWORD share);

    std::string description() const override;

    bool mayRead() const { return (access_ & GENERIC_READ) != 0; }
    bool mayWrite() const { return (access_ & GENERIC_WRITE) != 0; }

    std::uint64_t position() const { return position_; }
    void seek(std::uint64_t position) { position_ = position; }

    /// Copies at most `size` bytes from the position on and moves it. Returns their number.
    std::size_t read(void* buffer, std::size_t size);
    /// Overwrites and lengthens; a gap in front is filled with zeros.
    void write(const void* data, std::size_t size);
    void resize(std::uint64_t size);

private:
    DWORD access_;
    std::uint64_t position_ = 0;
};

/// The bits of `FileUse` that GENERIC_READ and GENERIC_WRITE come to.
DWORD sharedAccess(DWORD access);

/// How a search has its directory open: for reading, and nobody may delete it.
constexpr FileUse kSearchUse = {FILE_SHARE_READ, FILE_SHARE_READ | FILE_SHARE_WRITE};

/// A search for everything in a directory; its answers are those of the moment when it began.
class OpenSearch : public OpenNode {
public:
    OpenSearch(std::shared_ptr<FileNode> directory, std::vector<WIN32_FIND_DATAW> found)
        : OpenNode(std::move(directory), kSearchUse), found_(std::move(found)) {}

    std::string description() const override;
    bool isOfKernel() const override { return false; }

    /// The next answer, or null.
    const WIN32_FIND_DATAW* next();

private:
    std::vector<WIN32_FIND_DATAW> found_;
    std::size_t next_ = 0;
};

}  // namespace simulated
