// Any bytes as a zlib stream for an output of any length, and as data for the gzip pair with any
// level, comment and room. What that makes, zlib reads back.
#include <cstring>
#include <memory>

#include "fuzz/Fuzz.h"
#include "support/Archive.h"
#include "zip/zip.h"

namespace {

// Blocks have exactly the lengths that are told, so that each byte outside is noticed.
using Block = std::unique_ptr<char[]>;

void checkInflate(const std::string& input) {
    std::uint16_t outLength;
    std::memcpy(&outLength, input.data(), sizeof(outLength));
    const std::size_t inLength = input.size() - sizeof(outLength);
    const Block in(new char[inLength]);
    std::memcpy(in.get(), input.data() + sizeof(outLength), inLength);
    const Block out(new char[outLength]);
    char* message = nullptr;
    const std::int32_t done = ZIP_InflateFully(in.get(), static_cast<std::int64_t>(inLength),
                                               out.get(), outLength, &message);
    require((done == 1) == (message == nullptr));
}

void checkGzip(const std::string& input) {
    const std::int32_t level = static_cast<std::uint8_t>(input[0]) % 16 - 2;
    const std::size_t commentLength = static_cast<std::uint8_t>(input[1]) % 16;
    const std::size_t outLack = static_cast<std::uint8_t>(input[2]);
    const std::size_t tmpLack = static_cast<std::uint8_t>(input[3]) % 4;
    std::string in = input.substr(4);
    std::string comment = in.substr(0, std::min(commentLength, in.find('\0')));
    std::size_t outLength = 0;
    std::size_t tmpLength = 0;
    if (ZIP_GZip_InitParams(in.size(), &outLength, &tmpLength, level) != nullptr) {
        require(level < -1);
        return;
    }
    // Room for the comment stands in no bound.
    const std::size_t room = outLength + comment.size() + 1 - std::min(outLack, outLength);
    const Block out(new char[room]);
    const Block tmp(new char[tmpLength - tmpLack]);
    const char* message = "unset";
    const std::size_t length =
        ZIP_GZip_Fully(in.data(), in.size(), out.get(), room, tmp.get(), tmpLength - tmpLack, level,
                       commentLength == 0 ? nullptr : comment.data(), &message);
    require((length > 0) == (message == nullptr) && length <= room);
    require(length > 0 ? tmpLack == 0 : tmpLack > 0 || outLack > 0);
    require(length == 0 || archive::gunzipped({out.get(), length}, in.size()) == in);
}

}  // namespace

void fuzz(const std::string& input) {
    if (input.size() >= 4) {
        checkInflate(input);
        checkGzip(input);
    }
}
