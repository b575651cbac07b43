// Memory of the C heap, in which the structures of the public API are allocated. Running out of
// memory is a result here, not an exception.
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

/// Returns uninitialised space for `count` values, not null for 0 of them; null if out of memory or
/// if the size exceeds the address space.
template <class T>
Buffer<T> allocate(std::uint64_t count) {
    if (count > SIZE_MAX / 2 / sizeof(T)) {
        return nullptr;
    }
    const std::size_t bytes = static_cast<std::size_t>(count) * sizeof(T);
    return Buffer<T>(static_cast<T*>(std::malloc(bytes == 0 ? 1 : bytes)));
}

/// Returns a NUL-terminated copy after `front` unused bytes, or null; a structure of the public API
/// owns it.
inline char* copyText(const char* bytes, std::size_t length, std::size_t front = 0) {
    char* const copy = allocate<char>(std::uint64_t{front} + length + 1).release();
    if (copy != nullptr) {
        std::memcpy(copy + front, bytes, length);
        copy[front + length] = '\0';
    }
    return copy;
}

}  // namespace nz
