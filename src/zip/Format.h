// The headers of the ZIP format (PKWARE's APPNOTE): signatures, sizes, offsets of the fields. All
// numbers are little-endian.
#pragma once

#include <cstdint>

namespace nz {

constexpr int kLocalHeaderSize = 30;
constexpr int kCentralHeaderSize = 46;
constexpr int kEndHeaderSize = 22;
constexpr int kZip64LocatorSize = 20;
constexpr int kZip64EndSize = 56;
constexpr int kMaxCommentLength = 65535;

constexpr std::uint32_t kLocalSignature = 0x04034b50;
constexpr std::uint32_t kCentralSignature = 0x02014b50;
constexpr std::uint32_t kEndSignature = 0x06054b50;

/// A 16-bit count and a 32-bit field with these values have their real value in a ZIP64 record.
constexpr std::int64_t kZip64Count = 0xffff;
constexpr std::int64_t kZip64Field = 0xffffffff;
constexpr std::uint32_t kZip64Tag = 1;

constexpr std::uint32_t kFlagEncrypted = 1;
constexpr std::uint32_t kMethodStored = 0;
constexpr std::uint32_t kMethodDeflated = 8;

inline std::uint32_t get16(const char* at) {
    return static_cast<std::uint32_t>(static_cast<unsigned char>(at[0])) |
           static_cast<std::uint32_t>(static_cast<unsigned char>(at[1])) << 8;
}

inline std::uint32_t get32(const char* at) {
    return get16(at) | get16(at + 2) << 16;
}

/// 64-bit fields are read as signed numbers: no file is longer than that, so a negative one is a
/// false value.
inline std::int64_t get64(const char* at) {
    return static_cast<std::int64_t>(get32(at) | static_cast<std::uint64_t>(get32(at + 4)) << 32);
}

// Local header.
inline std::uint32_t localNameLength(const char* header) {
    return get16(header + 26);
}
inline std::uint32_t localExtraLength(const char* header) {
    return get16(header + 28);
}

// Central header.
inline std::uint32_t centralFlags(const char* header) {
    return get16(header + 8);
}
inline std::uint32_t centralMethod(const char* header) {
    return get16(header + 10);
}
inline std::uint32_t centralTime(const char* header) {
    return get32(header + 12);
}
inline std::uint32_t centralCrc(const char* header) {
    return get32(header + 16);
}
inline std::uint32_t centralCompressedSize(const char* header) {
    return get32(header + 20);
}
inline std::uint32_t centralSize(const char* header) {
    return get32(header + 24);
}
inline std::uint32_t centralNameLength(const char* header) {
    return get16(header + 28);
}
inline std::uint32_t centralExtraLength(const char* header) {
    return get16(header + 30);
}
inline std::uint32_t centralCommentLength(const char* header) {
    return get16(header + 32);
}
inline std::uint32_t centralLocalOffset(const char* header) {
    return get32(header + 42);
}

/// Returns the length of the header with its name, extra field and comment.
inline std::int64_t centralLength(const char* header) {
    return std::int64_t{kCentralHeaderSize} + centralNameLength(header) +
           centralExtraLength(header) + centralCommentLength(header);
}

// End header.
inline std::uint32_t endCount(const char* header) {
    return get16(header + 10);
}
inline std::uint32_t endDirectorySize(const char* header) {
    return get32(header + 12);
}
inline std::uint32_t endDirectoryOffset(const char* header) {
    return get32(header + 16);
}
inline std::uint32_t endCommentLength(const char* header) {
    return get16(header + 20);
}

// ZIP64 end record and its locator before the end header.
inline std::int64_t zip64RecordPosition(const char* locator) {
    return get64(locator + 8);
}
inline std::int64_t zip64Count(const char* record) {
    return get64(record + 32);
}
inline std::int64_t zip64DirectorySize(const char* record) {
    return get64(record + 40);
}
inline std::int64_t zip64DirectoryOffset(const char* record) {
    return get64(record + 48);
}

}  // namespace nz
