// Memory of the C heap, which is what the structures of the interface are made of. Running out of
// it is a result here, not an exception.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace nz {

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};

/// Owned memory, or null.
template <class T>
using Buffer = std::unique_ptr<T[], Free>;

/// Room for `count` values, uninitialised; null if there is none, or if no address space of this
/// process could hold it. An empty room is no null.
template <class T>
Buffer<T> allocate(std::uint64_t count) {
    if (count > SIZE_MAX / 2 / sizeof(T)) {
        return nullptr;
    }
    const std::size_t bytes = static_cast<std::size_t>(count) * sizeof(T);
    return Buffer<T>(static_cast<T*>(std::malloc(bytes == 0 ? 1 : bytes)));
}

/// A NUL-terminated copy behind `front` free bytes, or null; a structure of the interface owns it.
inline char* copyText(const char* bytes, std::size_t length, std::size_t front = 0) {
    char* const copy = allocate<char>(std::uint64_t{front} + length + 1).release();
    if (copy != nullptr) {
        std::memcpy(copy + front, bytes, length);
        copy[front + length] = '\0';
    }
    return copy;
}

}  // namespace nz
