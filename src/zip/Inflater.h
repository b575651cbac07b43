// Inflating into one buffer. zlib counts in 32 bits (its `uLong` too, on Windows); this counts
// in 64.
#pragma once

#include <zlib.h>

#include <cstddef>
#include <cstdint>

namespace nz {

class Inflater {
public:
    /// `out` takes at most `limit` bytes; a negative limit is none.
    Inflater(void* out, std::int64_t limit);
    ~Inflater();
    Inflater(const Inflater&) = delete;
    Inflater& operator=(const Inflater&) = delete;

    /// Window bits as inflateInit2 takes them. zlib's status.
    int start(int windowBits);

    /// Inflates more input: Z_OK when it is used up, Z_STREAM_END, or zlib's error. An error also
    /// ends what can't go on, such as output past the limit (Z_BUF_ERROR).
    int feed(const void* in, std::uint32_t length);

    std::int64_t produced() const { return produced_; }
    /// What the last `feed` has left of its input.
    std::uint32_t unused() const { return stream_.avail_in; }
    /// zlib's text of an error, or null.
    const char* message() const { return stream_.msg; }

private:
    static void* allocate(void* self, uInt items, uInt size);
    static void release(void* self, void* memory);

    z_stream stream_ = {};
    std::int64_t limit_;
    std::int64_t produced_ = 0;
    bool started_ = false;
    Bytef none_ = 0;  // zlib wants an address even for no output

    // Room for zlib's state and its window of 32 KB, which it would take from the heap and give
    // back for each of many small entries. What finds no room here comes from the heap all the
    // same.
    std::size_t used_ = 0;
    alignas(16) unsigned char memory_[40 * 1024];
};

}  // namespace nz
