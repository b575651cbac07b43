#include "simulated/machine/process/Handles.h"

namespace simulated {

HANDLE Handles::add(std::shared_ptr<HandleObject> object) {
    const std::uintptr_t value = next_;
    next_ += 4;
    open_.emplace(value, std::move(object));
    return reinterpret_cast<HANDLE>(value);
}

bool Handles::close(const void* handle) {
    return open_.erase(reinterpret_cast<std::uintptr_t>(handle)) != 0;
}

void Handles::closeAll() {
    open_.clear();
}

std::vector<std::string> Handles::open() const {
    std::vector<std::string> descriptions;
    for (const auto& [value, object] : open_) {
        descriptions.push_back(object->description());
    }
    return descriptions;
}

}  // namespace simulated
