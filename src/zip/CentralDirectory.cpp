#include "zip/CentralDirectory.h"

#include <algorithm>
#include <climits>

#include "zip/EndHeader.h"
#include "zip/File.h"
#include "zip/Format.h"
#include "zip/Memory.h"

namespace nz {
namespace {

constexpr char kMetaPrefix[] = "META-INF/";
constexpr std::uint32_t kMetaPrefixLength = sizeof(kMetaPrefix) - 1;
constexpr std::int32_t kFirstMetaSlots = 2;

/// The result of a pass over the directory.
enum class Outcome { Read, Failed, CountTooLow };

Outcome fail(nzfile* zip, const char* message) {
    zip->msg = message;
    return Outcome::Failed;
}

bool isMetaName(const char* name, std::uint32_t length) {
    if (length < kMetaPrefixLength) {
        return false;
    }
    for (std::uint32_t i = 0; i < kMetaPrefixLength; ++i) {
        const char upper =
            name[i] >= 'a' && name[i] <= 'z' ? static_cast<char>(name[i] - 'a' + 'A') : name[i];
        if (upper != kMetaPrefix[i]) {
            return false;
        }
    }
    return true;
}

bool addMetaName(nzfile* zip, const char* name, std::uint32_t length) {
    if (zip->metacurrent == zip->metacount) {
        const std::int32_t slots = zip->metacount == 0 ? kFirstMetaSlots : zip->metacount * 2;
        auto* const grown = static_cast<char**>(
            std::realloc(zip->metanames, static_cast<std::size_t>(slots) * sizeof(char*)));
        if (grown == nullptr) {
            return false;
        }
        zip->metanames = grown;
        zip->metacount = slots;
    }
    char* const copy = copyText(name, length);
    if (copy == nullptr) {
        return false;
    }
    zip->metanames[zip->metacurrent++] = copy;
    return true;
}

/// Allocates the cells and the empty table for a directory of `size` bytes with `count` headers. A
/// false count costs nothing: cells are allocated for what the bytes can contain, and so are the
/// slots of a count that only a ZIP64 record can have.
bool allocateTables(nzfile* zip, std::int64_t count, std::int64_t size) {
    const std::int64_t most = size / kCentralHeaderSize;
    const std::int64_t cells = std::min(count, most);
    const std::int64_t slots = std::min(count, std::max(most, kZip64Count)) / 2 | 1;
    zip->entries = allocate<nzcell>(static_cast<std::uint64_t>(cells)).release();
    zip->table = allocate<std::int32_t>(static_cast<std::uint64_t>(slots)).release();
    if (zip->entries == nullptr || zip->table == nullptr) {
        return false;
    }
    zip->tablelen = static_cast<std::int32_t>(slots);
    std::fill_n(zip->table, slots, -1);
    return true;
}

void addCell(nzfile* zip, std::int64_t position, const char* name, std::uint32_t nameLength) {
    nzcell& cell = zip->entries[zip->total];
    cell.cenpos = position;
    cell.hash = hashName(name, nameLength);
    std::int32_t& head = zip->table[cell.hash % static_cast<std::uint32_t>(zip->tablelen)];
    cell.next = head;
    head = zip->total++;
}

/// Returns how many headers start at `at` or later; the last one may be truncated.
std::int64_t countHeaders(const char* directory, std::int64_t at, std::int64_t size) {
    std::int64_t count = 0;
    for (; size - at >= kCentralHeaderSize; at += centralLength(directory + at)) {
        ++count;
    }
    return count;
}

/// Parses the headers of the directory, which was read from `position`.
Outcome walk(nzfile* zip, const char* directory, std::int64_t size, std::int64_t position,
             std::int64_t count, std::int64_t* realCount) {
    std::int64_t at = 0;
    while (size - at >= kCentralHeaderSize && zip->total < count) {
        const char* const header = directory + at;
        const std::uint32_t method = centralMethod(header);
        const std::uint32_t nameLength = centralNameLength(header);
        if (get32(header) != kCentralSignature) {
            return fail(zip, "invalid CEN header (bad signature)");
        }
        if ((centralFlags(header) & kFlagEncrypted) != 0) {
            return fail(zip, "invalid CEN header (encrypted entry)");
        }
        if (method != kMethodStored && method != kMethodDeflated) {
            return fail(zip, "invalid CEN header (bad compression method)");
        }
        if (kCentralHeaderSize + std::int64_t{nameLength} > size - at) {
            return fail(zip, "invalid CEN header (bad header size)");
        }
        const char* const name = header + kCentralHeaderSize;
        if (isMetaName(name, nameLength) && !addMetaName(zip, name, nameLength)) {
            return Outcome::Failed;
        }
        addCell(zip, position + at, name, nameLength);
        at += centralLength(header);
    }
    if (zip->total == count && size - at >= kCentralHeaderSize && realCount != nullptr) {
        *realCount = count + countHeaders(directory, at, size);
        return Outcome::CountTooLow;
    }
    if (at != size) {
        return fail(zip, "invalid CEN header (bad header size)");
    }
    return Outcome::Read;
}

/// One pass. The number of headers is the end header's, or `knownTotal` unless that is -1. If
/// `realCount` is not null and the number was too low, stores the real one there for a second pass.
Outcome readOnce(nzfile* zip, std::int64_t knownTotal, std::int64_t* realCount) {
    zip->msg = nullptr;
    EndHeader end;
    if (!findEndHeader(zip, &end)) {
        return Outcome::Failed;
    }
    freeTables(zip);
    if (end.position == 0) {
        return Outcome::Read;
    }
    applyZip64(zip, &end);
    if (end.size < 0 || end.offset < 0 || end.count < 0 || end.count > INT32_MAX) {
        return fail(zip, "Zip64 END values exceed supported size");
    }
    if (end.size > end.position) {
        return fail(zip, "invalid END header (bad central directory size)");
    }
    const std::int64_t position = end.position - end.size;
    zip->locpos = position - end.offset;
    if (zip->locpos < 0) {
        return fail(zip, "invalid END header (bad central directory offset)");
    }

    const Buffer<char> directory = allocate<char>(static_cast<std::uint64_t>(end.size));
    if (directory == nullptr || !readAt(zip->zfd, position, directory.get(), end.size)) {
        return Outcome::Failed;
    }
    const std::int64_t count = knownTotal == -1 ? end.count : knownTotal;
    if (count > INT32_MAX || !allocateTables(zip, count, end.size)) {
        return Outcome::Failed;
    }
    return walk(zip, directory.get(), end.size, position, count, realCount);
}

}  // namespace

bool readCentralDirectory(nzfile* zip) {
    std::int64_t realCount = -1;
    Outcome outcome = readOnce(zip, -1, &realCount);
    if (outcome == Outcome::CountTooLow) {
        // The real count is too low only if the file is being written meanwhile: no third pass.
        outcome = readOnce(zip, realCount, nullptr);
    }
    return outcome != Outcome::Failed;
}

void freeTables(nzfile* zip) {
    std::free(zip->entries);
    zip->entries = nullptr;
    zip->total = 0;
    std::free(zip->table);
    zip->table = nullptr;
    zip->tablelen = 0;
    for (std::int32_t i = 0; i < zip->metacurrent; ++i) {
        std::free(zip->metanames[i]);
    }
    std::free(zip->metanames);
    zip->metanames = nullptr;
    zip->metacurrent = 0;
    zip->metacount = 0;
}

std::uint32_t hashName(const char* name, std::size_t length) {
    std::uint32_t hash = 0;
    for (std::size_t i = 0; i < length; ++i) {
        hash = hash * 31 + static_cast<std::uint32_t>(static_cast<signed char>(name[i]));
    }
    return hash;
}

}  // namespace nz
