// Streams of the zlib and gzip formats, by zlib itself.
#pragma once

#include <zlib.h>

#include <optional>
#include <string>

namespace zlib {

/// Returns the data as a stream of the zlib format.
inline std::string compressed(const std::string& data) {
    uLongf size = compressBound(static_cast<uLong>(data.size()));
    std::string stream(size, '\0');
    compress(reinterpret_cast<Bytef*>(stream.data()), &size,
             reinterpret_cast<const Bytef*>(data.data()), static_cast<uLong>(data.size()));
    return stream.substr(0, size);
}

/// Returns the `size` bytes of data that a gzip stream contains; nothing unless it contains just
/// those.
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

}  // namespace zlib
