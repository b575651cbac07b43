#include "zip/Reading.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <stdio.h>
#include <string.h>

#include "zip/Entries.h"
#include "zip/File.h"
#include "zip/Format.h"
#include "zip/Inflater.h"
#include "zip/Lock.h"

namespace nz {
namespace {

constexpr std::int32_t kPiece = 4096;

/// Returns the position of the entry's data, or -1 with `msg` set. It is looked up once: the name
/// and the extra field of the local header may have lengths of their own.
std::int64_t dataPosition(nzfile* zip, nzentry* entry) {
    if (entry->pos > 0) {
        return entry->pos;
    }
    const auto position = static_cast<std::int64_t>(0 - static_cast<std::uint64_t>(entry->pos));
    char header[kLocalHeaderSize];
    if (!readAt(zip->zfd, position, header, sizeof(header))) {
        zip->msg = "error reading zip file";
        return -1;
    }
    if (get32(header) != kLocalSignature) {
        zip->msg = "invalid LOC header (bad signature)";
        return -1;
    }
    entry->pos = position + kLocalHeaderSize + localNameLength(header) + localExtraLength(header);
    return entry->pos;
}

/// `readEntry` with the lock held; on failure `*failure` is the message.
std::int32_t readLocked(nzfile* zip, nzentry* entry, std::int64_t pos, char* buffer,
                        std::int32_t length, const char** failure) {
    const Locked locked(zip->lock);
    const std::int32_t count = readEntry(zip, entry, pos, buffer, length);
    if (count < 0) {
        *failure = zip->msg;
    }
    return count;
}

bool readStored(nzfile* zip, nzentry* entry, char* buffer, const char** failure) {
    std::int64_t pos = 0;
    while (pos < entry->size) {
        const auto wanted =
            static_cast<std::int32_t>(std::min<std::int64_t>(entry->size - pos, INT32_MAX));
        const std::int32_t count = readLocked(zip, entry, pos, buffer + pos, wanted, failure);
        if (count <= 0) {
            return false;
        }
        pos += count;
    }
    return true;
}

bool inflateEntry(nzfile* zip, nzentry* entry, char* buffer, const char** failure) {
    Inflater inflater(buffer, entry->size);
    if (inflater.start(-MAX_WBITS) != Z_OK) {
        *failure = inflater.message();
        return false;
    }
    char piece[kPiece];
    std::int64_t pos = 0;
    int status = Z_OK;
    while (status == Z_OK && pos < entry->csize) {
        const std::int32_t count = readLocked(zip, entry, pos, piece, kPiece, failure);
        if (count < 0) {
            return false;
        }
        if (count == 0) {
            *failure = "inflateFully: Unexpected end of file";
            return false;
        }
        pos += count;
        status = inflater.feed(piece, static_cast<std::uint32_t>(count));
    }
    if (status != Z_OK && status != Z_STREAM_END && inflater.message() != nullptr) {
        *failure = inflater.message();
        return false;
    }
    if (status == Z_MEM_ERROR) {
        *failure = "inflateFully: out of memory";
        return false;
    }
    // The stream and the compressed bytes must end together, with all of the output produced. A
    // stream without its end mark, truncated after its last byte, is accepted.
    if (inflater.produced() != entry->size || inflater.unused() > 0 || pos < entry->csize ||
        (status != Z_OK && status != Z_STREAM_END)) {
        *failure = "inflateFully: Unexpected end of stream";
        return false;
    }
    return true;
}

}  // namespace

std::int32_t readEntry(nzfile* zip, nzentry* entry, std::int64_t pos, char* buffer,
                       std::int32_t length) {
    zip->msg = nullptr;
    if (entry == nullptr) {
        zip->msg = "ZIP_Read: nzentry is NULL";
        return -1;
    }
    const std::int64_t size = entry->csize != 0 ? entry->csize : entry->size;
    if (pos < 0 || pos >= size) {
        zip->msg = "ZIP_Read: specified offset out of range";
        return -1;
    }
    if (length <= 0) {
        return 0;
    }
    length = static_cast<std::int32_t>(std::min<std::int64_t>(length, size - pos));
    const std::int64_t start = dataPosition(zip, entry);
    if (start < 0) {
        return -1;
    }
    // Sums of positions from headers may exceed 64 bits, so the rest is compared step by step.
    if (start > zip->len || pos > zip->len - start || length > zip->len - start - pos) {
        zip->msg = "ZIP_Read: corrupt zip file: invalid entry size";
        return -1;
    }
    if (!readAt(zip->zfd, start + pos, buffer, length)) {
        zip->msg = "ZIP_Read: error reading zip file";
        return -1;
    }
    return length;
}

}  // namespace nz

std::int32_t ZIP_ReadEntry(nzfile* zip, nzentry* entry, char* buffer, char* nameBuffer) {
    if (entry == nullptr) {
        fputs("nzentry was invalid", stderr);
        return 0;
    }
    std::memcpy(nameBuffer, entry->name, static_cast<std::size_t>(entry->nlen) + 1);

    const char* failure = nullptr;
    const bool read = entry->csize == 0 ? nz::readStored(zip, entry, buffer, &failure)
                                        : nz::inflateEntry(zip, entry, buffer, &failure);
    if (read) {
        nz::freeEntry(zip, entry);
        return 1;
    }
    char text[256] = "";
    if (failure == nullptr) {
        strerror_s(text, sizeof(text), errno);
        failure = text;
    }
    // In one write, so that the lines of two threads don't mix.
    char line[nz::kMaxFileName + sizeof(text) + 4];
    _snprintf(line, sizeof(line), "%s: %s\n", zip->name, failure);
    fputs(line, stderr);
    return 0;
}
