// Compresses memory to gzip: the caller queries the sizes first; compressing allocates nothing.
#include <zlib.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdlib>

#include "zip/zip.h"

namespace {

constexpr int kGzipWindowBits = MAX_WBITS + 16;
constexpr int kMemoryLevel = 8;
constexpr int kHighestLevel = 9;
constexpr int kDefaultLevel = 6;

/// Starts a stream whose allocation functions are set. Returns null, or a message.
const char* start(z_stream* stream, std::int32_t level) {
    const int used = level > kHighestLevel ? kDefaultLevel : level;
    switch (
        deflateInit2(stream, used, Z_DEFLATED, kGzipWindowBits, kMemoryLevel, Z_DEFAULT_STRATEGY)) {
        case Z_OK:
            return nullptr;
        case Z_MEM_ERROR:
            return "Out of memory in deflateInit2";
        default:
            return "Internal error in deflateInit2";
    }
}

/// Allocates for zlib and sums up the sizes.
void* countingAlloc(void* total, uInt items, uInt size) {
    *static_cast<std::size_t*>(total) += std::size_t{items} * size;
    return std::calloc(items, size);
}

void countingFree(void*, void* memory) {
    std::free(memory);
}

/// The caller's working memory, allocated from front to end.
struct Arena {
    char* next;
    std::size_t left;
};

void* arenaAlloc(void* opaque, uInt items, uInt size) {
    auto* const arena = static_cast<Arena*>(opaque);
    const std::uint64_t wanted = std::uint64_t{items} * size;
    if (wanted > arena->left) {
        return nullptr;
    }
    void* const memory = arena->next;
    arena->next += wanted;
    arena->left -= static_cast<std::size_t>(wanted);
    return memory;
}

void arenaFree(void*, void*) {}

/// Returns the upper bound of the output for input of any length; SIZE_MAX if it exceeds that.
std::size_t bound(z_stream* stream, std::size_t length) {
    // zlib counts in `uLong`, which has 32 bits on Windows. The sum of the bounds of pieces is at
    // least the bound of the whole.
    constexpr std::size_t kPiece = 0x40000000;
    std::size_t total = 0;
    do {
        const auto whole = static_cast<uLong>(length);
        const bool fits = whole == length && deflateBound(stream, whole) >= whole;
        const std::size_t piece = fits ? length : kPiece;
        const std::size_t part = deflateBound(stream, static_cast<uLong>(piece));
        if (part > SIZE_MAX - total) {
            return SIZE_MAX;
        }
        total += part;
        length -= piece;
    } while (length > 0);
    return total;
}

/// Moves as many bytes as zlib's 32-bit counter allows from `left` to `available`.
void refill(uInt* available, std::size_t* left) {
    if (*available == 0) {
        *available = static_cast<uInt>(std::min<std::size_t>(*left, UINT_MAX));
        *left -= *available;
    }
}

/// Deflates everything in one call, or in one for each 4 GB. Returns zlib's last status and stores
/// the output's length.
int deflateAll(z_stream* stream, std::size_t inLength, std::size_t outLength,
               std::size_t* produced) {
    std::size_t inLeft = inLength;
    std::size_t outLeft = outLength;
    int status;
    do {
        refill(&stream->avail_in, &inLeft);
        refill(&stream->avail_out, &outLeft);
        status = deflate(stream, inLeft == 0 ? Z_FINISH : Z_NO_FLUSH);
    } while (status == Z_OK && (inLeft > 0 || outLeft > 0));
    *produced = outLength - outLeft - stream->avail_out;
    return status;
}

}  // namespace

char* ZIP_GZip_InitParams(std::size_t inLength, std::size_t* outLength, std::size_t* tmpLength,
                          std::int32_t level) {
    *tmpLength = 0;
    z_stream stream = {};
    stream.zalloc = countingAlloc;
    stream.zfree = countingFree;
    stream.opaque = tmpLength;
    if (const char* const failure = start(&stream, level)) {
        return const_cast<char*>(failure);
    }
    *outLength = bound(&stream, inLength);
    deflateEnd(&stream);
    return nullptr;
}

std::size_t ZIP_GZip_Fully(void* in, std::size_t inLength, void* out, std::size_t outLength,
                           void* tmp, std::size_t tmpLength, std::int32_t level, char* comment,
                           const char** message) {
    Arena arena = {static_cast<char*>(tmp), tmpLength};
    z_stream stream = {};
    stream.zalloc = arenaAlloc;
    stream.zfree = arenaFree;
    stream.opaque = &arena;
    if (const char* const failure = start(&stream, level)) {
        *message = failure;
        return 0;
    }
    gz_header header = {};
    if (comment != nullptr) {
        header.comment = reinterpret_cast<Bytef*>(comment);
        deflateSetHeader(&stream, &header);
    }
    stream.next_in = static_cast<Bytef*>(in);
    stream.next_out = static_cast<Bytef*>(out);
    std::size_t produced = 0;
    const int status = deflateAll(&stream, inLength, outLength, &produced);
    deflateEnd(&stream);
    switch (status) {
        case Z_STREAM_END:
            *message = nullptr;
            return produced;
        case Z_OK:
        case Z_BUF_ERROR:
            *message = "Buffer too small";
            return 0;
        default:
            *message = "Intern deflate error";
            return 0;
    }
}
