// What stands behind the handle of an open file or directory, and behind that of a search.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <windef.h>
#include <fileapi.h>

#include "simulated/machine/FileTree.h"
#include "simulated/machine/Handles.h"

namespace simulated {

class OpenFile : public HandleObject {
public:
    OpenFile(std::shared_ptr<FileNode> node, DWORD access, DWORD share, bool deleteOnClose);
    ~OpenFile() override;
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    std::string description() const override;

    FileNode& node() { return *node_; }
    bool mayRead() const { return (access_ & FILE_READ_DATA) != 0; }
    bool mayWrite() const { return (access_ & FILE_WRITE_DATA) != 0; }
    /// Writes to the end only.
    bool appends() const { return !mayWrite() && (access_ & FILE_APPEND_DATA) != 0; }
    DWORD access() const { return access_; }

    std::uint64_t position() const { return position_; }
    void seek(std::uint64_t position) { position_ = position; }

    /// Copies what is left behind the position, at most `size` bytes, and moves on.
    std::size_t read(void* buffer, std::size_t size);
    /// Overwrites and lengthens; a gap in front is filled with zeros.
    void write(const void* data, std::size_t size);
    void resize(std::uint64_t size);

private:
    std::shared_ptr<FileNode> node_;
    DWORD access_;
    FileUse use_;
    std::uint64_t position_ = 0;
};

/// The access rights that a request of CreateFileW means, generic ones taken apart.
DWORD fileAccess(DWORD requested);

/// The bits of `FileUse` that access rights come to.
DWORD sharedAccess(DWORD access);

/// A search: its answers are those of the moment when it began.
class OpenSearch : public HandleObject {
public:
    OpenSearch(std::u16string pattern, std::vector<WIN32_FIND_DATAW> found)
        : pattern_(std::move(pattern)), found_(std::move(found)) {}

    std::string description() const override;
    bool isOfKernel() const override { return false; }

    /// The next answer, or null.
    const WIN32_FIND_DATAW* next();

private:
    std::u16string pattern_;
    std::vector<WIN32_FIND_DATAW> found_;
    std::size_t next_ = 0;
};

}  // namespace simulated
