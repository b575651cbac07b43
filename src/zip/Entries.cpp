#include "zip/Entries.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "zip/CentralDirectory.h"
#include "zip/File.h"
#include "zip/Format.h"
#include "zip/Lock.h"
#include "zip/Memory.h"

namespace nz {
namespace {

constexpr std::int64_t kFirstGuess = 160;
constexpr std::int64_t kSequentialSize = 8192;

/// Returns the complete central header at a position; reads at least `guess` bytes if the file has
/// them. Null on failure.
Buffer<char> readHeader(const nzfile* zip, std::int64_t position, std::int64_t guess) {
    const std::int64_t available = zip->len - position;
    const std::int64_t length = std::min(guess, available);
    if (length < kCentralHeaderSize) {
        return nullptr;
    }
    Buffer<char> header = allocate<char>(static_cast<std::uint64_t>(length));
    if (header == nullptr || !readAt(zip->zfd, position, header.get(), length)) {
        return nullptr;
    }
    const std::int64_t whole = centralLength(header.get());
    if (whole <= length) {
        return header;
    }
    if (whole > available) {
        return nullptr;
    }
    Buffer<char> grown = allocate<char>(static_cast<std::uint64_t>(whole));
    if (grown == nullptr) {
        return nullptr;
    }
    std::memcpy(grown.get(), header.get(), static_cast<std::size_t>(length));
    return readAt(zip->zfd, position + length, grown.get() + length, whole - length)
               ? std::move(grown)
               : nullptr;
}

/// Returns the header in the sequential buffer, or null unless it is complete.
const char* bufferedHeader(const nzfile* zip, std::int64_t position) {
    if (zip->cencacheData == nullptr || position < zip->cencachePos) {
        return nullptr;
    }
    // The buffer has the requested length, or that of the header at its start.
    const std::int64_t size = std::max(std::min(kSequentialSize, zip->len - zip->cencachePos),
                                       centralLength(zip->cencacheData));
    const std::int64_t skipped = position - zip->cencachePos;
    if (size - skipped < kCentralHeaderSize) {
        return nullptr;
    }
    const char* const header = zip->cencacheData + skipped;
    return size - skipped < centralLength(header) ? nullptr : header;
}

/// Returns the header from the sequential buffer, which is read again if it doesn't contain it
/// completely.
const char* sequentialHeader(nzfile* zip, std::int64_t position) {
    if (const char* const header = bufferedHeader(zip, position)) {
        return header;
    }
    Buffer<char> read = readHeader(zip, position, kSequentialSize);
    if (read == nullptr) {
        return nullptr;
    }
    std::free(zip->cencacheData);
    zip->cencacheData = read.release();
    zip->cencachePos = position;
    return zip->cencacheData;
}

/// The values of a header that may be in the extra field instead.
struct Wide {
    std::int64_t size;
    std::int64_t compressedSize;
    std::int64_t localOffset;
};

/// Reads from the ZIP64 record the values that don't fit the header's fields.
void applyZip64Record(Wide* values, const char* extra, std::uint32_t length) {
    std::int64_t* const fields[] = {&values->size, &values->compressedSize, &values->localOffset};
    if (std::none_of(std::begin(fields), std::end(fields),
                     [](const std::int64_t* field) { return *field == kZip64Field; })) {
        return;
    }
    std::uint32_t at = 0;
    while (at + 4 < length) {
        const std::uint32_t tag = get16(extra + at);
        std::uint32_t left = std::min(get16(extra + at + 2), length - at - 4);
        at += 4;
        if (tag != kZip64Tag) {
            at += left;
            continue;
        }
        for (std::int64_t* field : fields) {
            if (*field != kZip64Field) {
                continue;
            }
            if (left < 8) {
                break;
            }
            *field = get64(extra + at);
            at += 8;
            left -= 8;
        }
        return;
    }
}

void fillNumbers(nzentry* entry, const char* header, std::int64_t locpos) {
    Wide values = {centralSize(header), centralCompressedSize(header), centralLocalOffset(header)};
    applyZip64Record(&values, header + kCentralHeaderSize + centralNameLength(header),
                     centralExtraLength(header));
    entry->time = centralTime(header);
    entry->size = values.size;
    entry->csize = centralMethod(header) == kMethodDeflated ? values.compressedSize : 0;
    entry->crc = centralCrc(header);
    // A 64-bit offset can have any value: the sum wraps, and reading there fails.
    entry->pos = static_cast<std::int64_t>(
        0 - (static_cast<std::uint64_t>(values.localOffset) + static_cast<std::uint64_t>(locpos)));
    entry->flag = static_cast<std::int32_t>(centralFlags(header));
}

/// Copies the name, extra field and comment after the header; returns false if out of memory.
bool fillTexts(nzentry* entry, const char* header) {
    const std::uint32_t nameLength = centralNameLength(header);
    const std::uint32_t extraLength = centralExtraLength(header);
    const std::uint32_t commentLength = centralCommentLength(header);
    const char* const name = header + kCentralHeaderSize;
    const char* const extra = name + nameLength;

    entry->nlen = static_cast<std::int32_t>(nameLength);
    entry->name = copyText(name, nameLength);
    if (entry->name == nullptr) {
        return false;
    }
    if (extraLength > 0) {
        entry->extra = copyText(extra, extraLength, 2);
        if (entry->extra == nullptr) {
            return false;
        }
        entry->extra[0] = static_cast<char>(extraLength & 0xff);
        entry->extra[1] = static_cast<char>(extraLength >> 8);
    }
    if (commentLength > 0) {
        entry->comment = copyText(extra + extraLength, commentLength);
        return entry->comment != nullptr;
    }
    return true;
}

bool isNamed(const nzentry* entry, const char* name, std::size_t length) {
    return static_cast<std::size_t>(entry->nlen) == length &&
           std::memcmp(entry->name, name, length) == 0;
}

}  // namespace

nzentry* newEntry(nzfile* zip, const nzcell& cell, Access access) {
    const Buffer<char> own =
        access == Access::Random ? readHeader(zip, cell.cenpos, kFirstGuess) : nullptr;
    const char* const header =
        access == Access::Random ? own.get() : sequentialHeader(zip, cell.cenpos);
    auto* const entry = static_cast<nzentry*>(std::calloc(1, sizeof(nzentry)));
    if (header == nullptr || entry == nullptr || !fillTexts(entry, header)) {
        destroyEntry(entry);
        return nullptr;
    }
    fillNumbers(entry, header, zip->locpos);
    return entry;
}

void destroyEntry(nzentry* entry) {
    if (entry != nullptr) {
        std::free(entry->name);
        std::free(entry->extra);
        std::free(entry->comment);
        std::free(entry);
    }
}

nzentry* findEntry(nzfile* zip, const char* name) {
    const std::size_t length = std::strlen(name);
    const std::uint32_t hash = hashName(name, length);

    Locked locked(zip->lock);
    if (zip->total == 0) {
        return nullptr;
    }
    if (zip->cache != nullptr && isNamed(zip->cache, name, length)) {
        return std::exchange(zip->cache, nullptr);
    }
    std::int32_t index = zip->table[hash % static_cast<std::uint32_t>(zip->tablelen)];
    while (index != -1) {
        const nzcell& cell = zip->entries[index];
        index = cell.next;
        if (cell.hash != hash) {
            continue;
        }
        nzentry* const entry = newEntry(zip, cell, Access::Random);
        if (entry == nullptr) {
            continue;
        }
        if (isNamed(entry, name, length)) {
            return entry;
        }
        locked.leave();
        freeEntry(zip, entry);
        locked.enter();
    }
    return nullptr;
}

void freeEntry(nzfile* zip, nzentry* entry) {
    nzentry* former;
    {
        const Locked locked(zip->lock);
        former = std::exchange(zip->cache, entry);
    }
    destroyEntry(former);
}

}  // namespace nz

nzentry* ZIP_FindEntry(nzfile* zip, const char* name, std::int32_t* size,
                       std::int32_t* nameLength) {
    nzentry* const entry = nz::findEntry(zip, name);
    if (entry != nullptr) {
        *size = static_cast<std::int32_t>(entry->size);
        *nameLength = entry->nlen;
    }
    return entry;
}

nzentry* ZIP_GetNextEntry(nzfile* zip, std::int32_t index) {
    const nz::Locked locked(zip->lock);
    if (index < 0 || index >= zip->total) {
        return nullptr;
    }
    return nz::newEntry(zip, zip->entries[index], nz::Access::Sequential);
}
