#include "zip/Inflater.h"

#include <algorithm>
#include <climits>
#include <cstdlib>

#include "zip/zip.h"

namespace nz {

Inflater::Inflater(void* out, std::int64_t limit) : limit_(std::max<std::int64_t>(limit, 0)) {
    stream_.zalloc = allocate;
    stream_.zfree = release;
    stream_.opaque = this;
    stream_.next_out = limit_ == 0 ? &none_ : static_cast<Bytef*>(out);
}

Inflater::~Inflater() {
    if (started_) {
        inflateEnd(&stream_);
    }
}

void* Inflater::allocate(void* self, uInt items, uInt size) {
    auto* const inflater = static_cast<Inflater*>(self);
    const std::uint64_t wanted = (std::uint64_t{items} * size + 15) / 16 * 16;
    if (wanted > sizeof(inflater->memory_) - inflater->used_) {
        return std::calloc(items, size);
    }
    void* const memory = inflater->memory_ + inflater->used_;
    inflater->used_ += static_cast<std::size_t>(wanted);
    return memory;
}

void Inflater::release(void* self, void* memory) {
    auto* const inflater = static_cast<Inflater*>(self);
    const auto offset = reinterpret_cast<std::uintptr_t>(memory) -
                        reinterpret_cast<std::uintptr_t>(inflater->memory_);
    if (offset >= sizeof(inflater->memory_)) {
        std::free(memory);
    }
}

int Inflater::start(int windowBits) {
    const int status = inflateInit2(&stream_, windowBits);
    started_ = status == Z_OK;
    return status;
}

int Inflater::feed(const void* in, std::uint32_t length) {
    stream_.next_in = static_cast<z_const Bytef*>(const_cast<void*>(in));
    stream_.avail_in = length;
    int status;
    do {
        const auto space = static_cast<uInt>(std::min<std::int64_t>(limit_ - produced_, UINT_MAX));
        stream_.avail_out = space;
        status = inflate(&stream_, Z_PARTIAL_FLUSH);
        produced_ += space - stream_.avail_out;
    } while (status == Z_OK && stream_.avail_in > 0);
    return status;
}

}  // namespace nz

std::int32_t ZIP_InflateFully(void* in, std::int64_t inLength, void* out, std::int64_t outLength,
                              char** message) {
    const auto done = [message](const char* text) {
        *message = const_cast<char*>(text);
        return text == nullptr ? 1 : 0;
    };
    nz::Inflater inflater(out, outLength);
    if (inflater.start(MAX_WBITS) != Z_OK) {
        done(inflater.message());
        return 0;
    }
    auto* at = static_cast<char*>(in);
    std::int64_t left = std::max<std::int64_t>(inLength, 0);
    int status;
    do {
        const auto piece = static_cast<std::uint32_t>(std::min<std::int64_t>(left, UINT_MAX));
        status = inflater.feed(at, piece);
        at += piece;
        left -= piece;
    } while (status == Z_OK && left > 0);

    switch (status) {
        case Z_OK:
        case Z_STREAM_END:
            // The input and the output must end together: no output is missing and no input is
            // left.
            if (inflater.produced() != outLength || inflater.unused() > 0 || left > 0) {
                return done("INFLATER_inflateFully: Unexpected end of stream");
            }
            return done(nullptr);
        case Z_DATA_ERROR:
            return done("INFLATER_inflateFully: Compressed data corrupted");
        case Z_MEM_ERROR:
            return done("INFLATER_inflateFully: out of memory");
        default:
            return done("INFLATER_inflateFully: internal error");
    }
}
