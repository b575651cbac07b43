#include "zip/EndHeader.h"

#include <algorithm>
#include <cstring>

#include "zip/File.h"
#include "zip/Format.h"
#include "zip/Memory.h"

namespace nz {
namespace {

constexpr int kBlockSize = 128;
/// The last offset in a block at which a whole end header fits, and so the distance between two
/// blocks.
constexpr int kStep = kBlockSize - kEndHeaderSize;

bool hasSignature(const nzfile* zip, std::int64_t position, std::uint32_t signature) {
    char bytes[4];
    return readAt(zip->zfd, position, bytes, sizeof(bytes)) && get32(bytes) == signature;
}

/// Whether the headers are where an end header at this position says.
bool verifies(const nzfile* zip, std::int64_t position, const char* header) {
    const std::int64_t directory = position - endDirectorySize(header);
    const std::int64_t firstLocal = directory - endDirectoryOffset(header);
    return directory >= 0 && firstLocal >= 0 && hasSignature(zip, directory, kCentralSignature) &&
           hasSignature(zip, firstLocal, kLocalSignature);
}

/// Reads the block at that position; bytes before the start of the file are zero.
bool readBlock(const nzfile* zip, std::int64_t position, char (&block)[kBlockSize]) {
    const int missing = static_cast<int>(std::max<std::int64_t>(-position, 0));
    std::memset(block, 0, static_cast<std::size_t>(missing));
    return readAt(zip->zfd, position + missing, block + missing, kBlockSize - missing);
}

/// Searches from the end of the file. Returns the position of the end header and its bytes, or -1.
std::int64_t searchEndHeader(const nzfile* zip, char (&header)[kEndHeaderSize]) {
    const std::int64_t farthest = kMaxCommentLength + kEndHeaderSize;
    const std::int64_t lowest = std::max<std::int64_t>(zip->len - farthest, 0) - kStep;
    char block[kBlockSize];
    for (std::int64_t start = zip->len - kBlockSize; start >= lowest; start -= kStep) {
        if (!readBlock(zip, start, block)) {
            return -1;
        }
        for (int i = kStep; i >= 0; --i) {
            const char* const hit = block + i;
            if (*hit != 'P' || get32(hit) != kEndSignature) {
                continue;
            }
            const std::int64_t position = start + i;
            if (position + kEndHeaderSize + endCommentLength(hit) == zip->len ||
                verifies(zip, position, hit)) {
                std::memcpy(header, hit, kEndHeaderSize);
                return position;
            }
        }
    }
    return -1;
}

/// Loads the comment after the end header; a comment longer than the file is truncated.
bool loadComment(nzfile* zip, std::int64_t position, std::uint32_t declared) {
    std::free(zip->comment);
    zip->comment = nullptr;
    zip->clen = 0;
    if (declared == 0) {
        return true;
    }
    const std::int64_t start = position + kEndHeaderSize;
    const std::int64_t length = std::min<std::int64_t>(declared, zip->len - start);
    Buffer<char> comment = allocate<char>(static_cast<std::uint64_t>(length) + 1);
    if (comment == nullptr || !readAt(zip->zfd, start, comment.get(), length)) {
        return false;
    }
    comment[static_cast<std::size_t>(length)] = '\0';
    zip->comment = comment.release();
    zip->clen = static_cast<std::int32_t>(length);
    return true;
}

}  // namespace

bool findEndHeader(nzfile* zip, EndHeader* end) {
    char header[kEndHeaderSize];
    const std::int64_t position = searchEndHeader(zip, header);
    if (position < 0 || !loadComment(zip, position, endCommentLength(header))) {
        return false;
    }
    *end = {position, endDirectorySize(header), endDirectoryOffset(header), endCount(header)};
    return true;
}

void applyZip64(const nzfile* zip, EndHeader* end) {
    if (end->size != kZip64Field && end->offset != kZip64Field && end->count < kZip64Count) {
        return;
    }
    char locator[kZip64LocatorSize];
    if (!readAt(zip->zfd, end->position - kZip64LocatorSize, locator, sizeof(locator))) {
        return;
    }
    const std::int64_t position = zip64RecordPosition(locator);
    char record[kZip64EndSize];
    if (readAt(zip->zfd, position, record, sizeof(record))) {
        *end = {position, zip64DirectorySize(record), zip64DirectoryOffset(record),
                zip64Count(record)};
    }
}

}  // namespace nz
