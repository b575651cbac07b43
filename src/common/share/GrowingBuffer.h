// Reading what only the function that gives it knows the length of.
#pragma once

#include <cstddef>

/// What `call(data, size)` leaves in a text or vector of `firstSize` elements. It tells how many it
/// has written; where there was no room, how many it wants: then it is called again.
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
