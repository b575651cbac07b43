// The gzip pair with any data, level, comment and room. What it makes, zlib reads back.
#include <zlib.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "fuzz/Require.h"
#include "zip/zip.h"

namespace {

void readBack(const char* bytes, std::size_t length, const std::string& data) {
    std::string out(data.size() + 1, '\0');
    z_stream stream = {};
    require(inflateInit2(&stream, 15 + 16) == Z_OK);
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes));
    stream.avail_in = static_cast<uInt>(length);
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    require(inflate(&stream, Z_FINISH) == Z_STREAM_END && stream.avail_in == 0);
    out.resize(stream.total_out);
    inflateEnd(&stream);
    require(out == data);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 4) {
        return 0;
    }
    const std::int32_t level = data[0] % 16 - 2;
    const std::size_t commentLength = data[1] % 16;
    const std::size_t outLack = data[2];
    const std::size_t tmpLack = data[3] % 4;
    std::string comment(reinterpret_cast<const char*>(data + 4), size - 4);
    comment = comment.substr(0, std::min(commentLength, comment.find('\0')));
    std::string in(reinterpret_cast<const char*>(data + 4), size - 4);

    std::size_t outLength = 0;
    std::size_t tmpLength = 0;
    if (ZIP_GZip_InitParams(in.size(), &outLength, &tmpLength, level) != nullptr) {
        require(level < -1);
        return 0;
    }
    // Room for the comment stands in no bound.
    const std::size_t room = outLength + comment.size() + 1 - std::min(outLack, outLength);
    const std::size_t working = tmpLength - tmpLack;
    const std::unique_ptr<char[]> out(new char[room]);
    const std::unique_ptr<char[]> tmp(new char[working]);
    const char* message = "unset";
    const std::size_t length =
        ZIP_GZip_Fully(in.data(), in.size(), out.get(), room, tmp.get(), working, level,
                       commentLength == 0 ? nullptr : comment.data(), &message);
    require((length > 0) == (message == nullptr) && length <= room);
    if (length > 0) {
        require(tmpLack == 0);
        readBack(out.get(), length, in);
    } else {
        require(tmpLack > 0 || outLack > 0);
    }
    return 0;
}
