// Composes ZIP archives byte by byte, so that a test can put any of them wrong.
#pragma once

#include <zlib.h>

#include <cstdint>
#include <stdexcept>
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

/// Deflates with -15 for a raw stream, 15 for the zlib format.
inline std::string deflated(const std::string& data, int windowBits = -15, int level = 6) {
    z_stream stream = {};
    if (deflateInit2(&stream, level, Z_DEFLATED, windowBits, 8, Z_DEFAULT_STRATEGY) != Z_OK) {
        throw std::runtime_error("deflateInit2");
    }
    std::string out(deflateBound(&stream, static_cast<uLong>(data.size())), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
    stream.avail_in = static_cast<uInt>(data.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    const int status = deflate(&stream, Z_FINISH);
    out.resize(stream.total_out);
    deflateEnd(&stream);
    if (status != Z_STREAM_END) {
        throw std::runtime_error("deflate");
    }
    return out;
}

/// What a whole stream of `size` bytes of data expands to; 15 + 16 for the gzip format.
inline std::string inflated(const std::string& packed, std::size_t size, int windowBits) {
    std::string out(size + 1, '\0');
    z_stream stream = {};
    inflateInit2(&stream, windowBits);
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(packed.data()));
    stream.avail_in = static_cast<uInt>(packed.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    const int status = inflate(&stream, Z_FINISH);
    out.resize(stream.total_out);
    inflateEnd(&stream);
    if (status != Z_STREAM_END || stream.avail_in > 0) {
        throw std::runtime_error("inflate");
    }
    return out;
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

    /// Puts a ZIP64 end record and its locator in front of the end header, whose own fields then
    /// say that it is there.
    void addZip64(std::uint64_t count, std::uint64_t size, std::uint64_t offset) {
        const std::string record = std::string("PK\x06\x06") + number(44, 8) + number(45, 2) +
                                   number(45, 2) + number(0, 8) + number(count, 8) +
                                   number(count, 8) + number(size, 8) + number(offset, 8);
        const std::string locator =
            std::string("PK\x06\x07") + number(0, 4) + number(end, 8) + number(1, 4);
        bytes.insert(end, record + locator);
        end += record.size() + locator.size();
        bytes.replace(end + 8, 12, 12, '\xff');
    }
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
