#include "simulated/machine/process/SharedMemory.h"

#include <algorithm>

namespace simulated {

void SharedMemory::holdByOther(const std::string& name, std::size_t size) {
    std::shared_ptr<SharedBlock> block = find(name);
    others_[name] = block != nullptr ? block : create(name, size);
}

std::optional<std::vector<std::uint8_t>> SharedMemory::content(const std::string& name) const {
    const std::shared_ptr<SharedBlock> block = find(name);
    return block == nullptr ? std::nullopt : std::optional(block->bytes);
}

void SharedMemory::write(const std::string& name, const std::vector<std::uint8_t>& bytes) {
    if (const std::shared_ptr<SharedBlock> block = find(name)) {
        std::copy_n(bytes.begin(), std::min(bytes.size(), block->bytes.size()),
                    block->bytes.begin());
    }
}

std::shared_ptr<SharedBlock> SharedMemory::find(const std::string& name) const {
    const auto found = blocks_.find(name);
    return found == blocks_.end() ? nullptr : found->second.lock();
}

std::shared_ptr<SharedBlock> SharedMemory::create(const std::string& name, std::size_t size) {
    auto block = std::make_shared<SharedBlock>();
    block->name = name;
    block->bytes.resize(size);
    blocks_[name] = block;
    return block;
}

void SharedMemory::flushed(const SharedBlock& block) const {
    if (observer_) {
        observer_(block.name, block.bytes);
    }
}

void SharedMemory::restart() {
    others_.clear();
    blocks_.clear();
}

}  // namespace simulated
