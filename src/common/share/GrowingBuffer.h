// Calls Windows functions that fill a caller-supplied buffer, growing the buffer until the result
// fits.
#pragma once

#include <cstddef>

/// Returns what `call(data, size)` writes to a string or vector that starts with `firstSize`
/// elements. `call` returns the number of elements written or, if the buffer is too small, the
/// number needed; it is then called again.
///
///     readGrowing<tstring>(MAX_PATH, [](TCHAR* text, std::size_t size) {
///         return GetTempPathW(static_cast<DWORD>(size), text);
///     });
template <class Buffer, class Call>
Buffer readGrowing(std::size_t firstSize, const Call& call) {
    Buffer buffer;
    buffer.resize(firstSize);
    for (;;) {
        const std::size_t size = call(buffer.data(), buffer.size());
        const bool fits = size <= buffer.size();
        buffer.resize(size);
        if (fits) {
            return buffer;
        }
    }
}
