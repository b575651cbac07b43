// Inflates into one buffer. zlib counts in 32 bits (its `uLong` too, on Windows); this class counts
// in 64.
#pragma once

#include <zlib.h>

#include <cstddef>
#include <cstdint>

namespace nz {

class Inflater {
public:
    /// `out` has space for `limit` bytes; a negative limit means no limit.
    Inflater(void* out, std::int64_t limit);
    ~Inflater();
    Inflater(const Inflater&) = delete;
    Inflater& operator=(const Inflater&) = delete;

    /// Window bits as for inflateInit2. Returns zlib's status.
    int start(int windowBits);

    /// Inflates more input: returns Z_OK when it is used up, Z_STREAM_END, or zlib's error. Output
    /// beyond the limit is an error too (Z_BUF_ERROR).
    int feed(const void* in, std::uint32_t length);

    std::int64_t produced() const { return produced_; }
    /// Returns the number of bytes of its input that the last `feed` left unused.
    std::uint32_t unused() const { return stream_.avail_in; }
    /// Returns zlib's message for an error, or null.
    const char* message() const { return stream_.msg; }

private:
    static void* allocate(void* self, uInt items, uInt size);
    static void release(void* self, void* memory);

    z_stream stream_ = {};
    std::int64_t limit_;
    std::int64_t produced_ = 0;
    bool started_ = false;
    Bytef none_ = 0;  // zlib requires a non-null address even for no output

    // Memory for zlib's state and its window of 32 KB, which zlib would otherwise allocate and free
    // for each of many small entries. Anything that doesn't fit is allocated on the heap.
    std::size_t used_ = 0;
    alignas(16) unsigned char memory_[40 * 1024];
};

}  // namespace nz
