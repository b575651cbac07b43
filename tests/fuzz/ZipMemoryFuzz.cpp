// Any bytes as a zlib stream for an output of any length, and as data for the gzip pair with any
// level, comment and capacity. What that makes, zlib reads back.
#include <vector>

#include "fuzz/Fuzz.h"
#include "support/Zlib.h"
#include "zip/zip.h"

// Vectors have exactly the lengths that are passed, so that each access outside is noticed.
void fuzz(const std::string& input) {
    if (input.size() < 4) {
        return;
    }
    const auto byte = [&](std::size_t at) { return static_cast<std::uint8_t>(input[at]); };
    std::vector<char> stream(input.begin() + 2, input.end());
    std::vector<char> inflated(static_cast<std::size_t>(byte(0) | byte(1) << 8));
    char* failure = nullptr;
    require(ZIP_InflateFully(stream.data(), std::ssize(stream), inflated.data(),
                             std::ssize(inflated), &failure) == (failure == nullptr ? 1 : 0),
            "inflating fails with a message and succeeds without one");

    const std::int32_t level = byte(0) % 16 - 2;
    const std::size_t commentLength = byte(1) % 16;
    const std::size_t tmpLack = byte(3) % 4;
    std::string in = input.substr(4);
    std::string comment = in.substr(0, std::min(commentLength, in.find('\0')));
    std::size_t outLength = 0;
    std::size_t tmpLength = 0;
    if (ZIP_GZip_InitParams(in.size(), &outLength, &tmpLength, level) != nullptr) {
        require(level < -1, "only levels below -1 are refused");
        return;
    }
    // The bound doesn't include the comment.
    std::vector<char> out(outLength + comment.size() + 1 -
                          std::min<std::size_t>(byte(2), outLength));
    std::vector<char> tmp(tmpLength - tmpLack);
    const char* message = "unset";
    const std::size_t length =
        ZIP_GZip_Fully(in.data(), in.size(), out.data(), out.size(), tmp.data(), tmp.size(), level,
                       commentLength == 0 ? nullptr : comment.data(), &message);
    require((length > 0) == (message == nullptr), "packing fails with a message alone");
    if (length == 0) {
        require(tmpLack > 0 || byte(2) > 0, "packing fails only for a buffer that is too small");
        return;
    }
    require(tmpLack == 0, "packing needs the whole buffer");
    require(length <= out.size(), "packing stays in its output");
    require(zlib::gunzipped({out.data(), length}, in.size()) == in, "zlib reads it back");
}
