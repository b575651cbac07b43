// Named blocks of memory that processes share.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <windef.h>

namespace simulated {

/// A block; it exists until the last mapping, view and process releases it.
struct SharedBlock {
    std::string name;
    std::vector<std::uint8_t> bytes;
};

class SharedMemory {
public:
    using Observer =
        std::function<void(const std::string& name, const std::vector<std::uint8_t>& bytes)>;

    /// Makes another process open the block, which creates it zeroed where it is missing, and keep
    /// it until a restart.
    void holdByOther(const std::string& name, std::size_t size = 8);

    /// Returns the bytes of a block that exists; `write` is what another process would do.
    std::optional<std::vector<std::uint8_t>> content(const std::string& name) const;
    void write(const std::string& name, const std::vector<std::uint8_t>& bytes);

    /// Called at each FlushViewOfFile: what another process could see at that moment.
    void observeFlushes(Observer observer) { observer_ = std::move(observer); }

    // For the functions that serve the process.

    std::shared_ptr<SharedBlock> find(const std::string& name) const;
    std::shared_ptr<SharedBlock> create(const std::string& name, std::size_t size);
    /// The handles of the views by their addresses. A block has one view at a time: two addresses
    /// of one memory would be those of the process's copies too, which the sweep makes by fork.
    std::map<const void*, HANDLE>& views() { return views_; }
    void flushed(const SharedBlock& block) const;
    void endProcess() { views_.clear(); }
    void restart();

private:
    std::map<std::string, std::weak_ptr<SharedBlock>> blocks_;
    std::map<std::string, std::shared_ptr<SharedBlock>> others_;
    std::map<const void*, HANDLE> views_;
    Observer observer_;
};

}  // namespace simulated
