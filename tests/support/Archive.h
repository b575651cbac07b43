// Composes ZIP archives byte by byte, so that a test can put any of them wrong.
#pragma once

#include <zlib.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace archive {

/// Little-endian numbers, appended or written over what is there.
inline std::string number(std::uint64_t value, int bytes) {
    std::string text;
    for (int i = 0; i < bytes; ++i) {
        text += static_cast<char>(value >> (8 * i) & 0xff);
    }
    return text;
}
inline void put(std::string& bytes, std::size_t at, std::uint64_t value, int size) {
    bytes.replace(at, static_cast<std::size_t>(size), number(value, size));
}

inline std::uint32_t checksum(const std::string& data) {
    return static_cast<std::uint32_t>(
        crc32(0, reinterpret_cast<const Bytef*>(data.data()), static_cast<uInt>(data.size())));
}

/// The data as a stream of the zlib format, and as a raw one.
inline std::string zlibStream(const std::string& data) {
    uLongf size = compressBound(static_cast<uLong>(data.size()));
    std::string out(size, '\0');
    compress(reinterpret_cast<Bytef*>(out.data()), &size,
             reinterpret_cast<const Bytef*>(data.data()), static_cast<uLong>(data.size()));
    return out.substr(0, size);
}
inline std::string deflated(const std::string& data) {
    const std::string stream = zlibStream(data);
    return stream.substr(2, stream.size() - 6);
}

/// The `size` bytes of data that a gzip stream holds; nothing unless it holds just those.
inline std::optional<std::string> gunzipped(std::string packed, std::size_t size) {
    std::string out(size + 1, '\0');
    z_stream stream = {};
    stream.next_in = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_in = static_cast<uInt>(packed.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    inflateInit2(&stream, MAX_WBITS + 16);
    const bool ended = inflate(&stream, Z_FINISH) == Z_STREAM_END && stream.avail_in == 0;
    inflateEnd(&stream);
    out.resize(stream.total_out);
    return ended ? std::optional(out) : std::nullopt;
}

struct Entry {
    std::string name;
    std::string data;
    bool stored = false;
    std::string extra = {};
    std::string comment = {};
    std::uint32_t flags = 0;
};

/// The bytes of an archive, where its headers stand in them, and what it was made of.
struct Archive {
    std::string bytes;
    std::vector<Entry> entries;
    std::string comment;
    std::vector<std::size_t> locals;
    std::vector<std::size_t> centrals;
    std::size_t directory;
    std::size_t end;
};

inline Archive make(const std::vector<Entry>& entries, const std::string& comment = {}) {
    Archive archive = {};
    archive.entries = entries;
    archive.comment = comment;
    std::string directory;
    for (const Entry& entry : entries) {
        const std::string data = entry.stored ? entry.data : deflated(entry.data);
        // From "version needed" up to the two sizes, alike in both headers.
        const std::string common = number(20, 2) + number(entry.flags, 2) +
                                   number(entry.stored ? 0 : 8, 2) + number(0x58214321, 4) +
                                   number(checksum(entry.data), 4) + number(data.size(), 4) +
                                   number(entry.data.size(), 4) + number(entry.name.size(), 2);
        archive.centrals.push_back(directory.size());
        directory += std::string("PK\x01\x02") + number(20, 2) + common +
                     number(entry.extra.size(), 2) + number(entry.comment.size(), 2) +
                     number(0, 8) + number(archive.bytes.size(), 4) + entry.name + entry.extra +
                     entry.comment;
        archive.locals.push_back(archive.bytes.size());
        archive.bytes += std::string("PK\x03\x04") + common + number(0, 2) + entry.name + data;
    }
    archive.directory = archive.bytes.size();
    for (std::size_t& central : archive.centrals) {
        central += archive.directory;
    }
    archive.bytes += directory;
    archive.end = archive.bytes.size();
    archive.bytes += std::string("PK\x05\x06") + number(0, 4) + number(entries.size(), 2) +
                     number(entries.size(), 2) + number(directory.size(), 4) +
                     number(archive.directory, 4) + number(comment.size(), 2) + comment;
    return archive;
}

}  // namespace archive
