// What the library does in memory alone: gzip, and the zlib format.
#include <gtest/gtest.h>

#include "support/Archive.h"
#include "zip/zip.h"

namespace {

struct Sizes {
    std::size_t out = 0;
    std::size_t tmp = 0;
};

/// Compresses with room of these sizes; the message if that fails.
std::string compress(std::string data, Sizes sizes, std::int32_t level, std::string comment = "") {
    std::string out(sizes.out, '?');
    std::string tmp(sizes.tmp, '?');
    const char* message = "unset";
    const std::size_t length =
        ZIP_GZip_Fully(data.data(), data.size(), out.data(), out.size(), tmp.data(), tmp.size(),
                       level, comment.empty() ? nullptr : comment.data(), &message);
    EXPECT_EQ(length > 0, message == nullptr);
    return length > 0 ? out.substr(0, length) : message;
}

TEST(ZipGzip, ZlibReadsItBack) {
    std::string mixed;
    for (unsigned i = 0; i < 60000; ++i) {
        mixed += static_cast<char>(i * i >> 7 ^ i);
    }
    for (const std::string& data : {std::string(), mixed}) {
        for (const std::int32_t level : {-1, 0, 1, 6, 9, 10}) {
            Sizes sizes;
            EXPECT_EQ(ZIP_GZip_InitParams(data.size(), &sizes.out, &sizes.tmp, level), nullptr);
            const std::string packed = compress(data, sizes, level);
            EXPECT_EQ(archive::inflated(packed, data.size(), 15 + 16), data);
            EXPECT_TRUE(level != 10 || packed == compress(data, sizes, 6));
            EXPECT_EQ(packed[8], level == 9 ? 2 : level == 0 || level == 1 ? 4 : 0);
            sizes.out += 10;  // a comment stands in no bound
            const std::string commented = compress(data, sizes, level, "a comment");
            EXPECT_EQ(archive::inflated(commented, data.size(), 15 + 16), data);
            EXPECT_EQ(commented.find("a comment"), 10u);
            for (const std::size_t tmp : {std::size_t{0}, sizes.tmp - 1}) {
                EXPECT_EQ(compress(data, {sizes.out, tmp}, level), "Out of memory in deflateInit2");
            }
            for (const std::size_t out : {std::size_t{0}, std::size_t{17}}) {
                EXPECT_EQ(compress(data, {out, sizes.tmp}, level), "Buffer too small");
            }
        }
    }
    Sizes sizes;
    EXPECT_EQ(compress(mixed, sizes, -2), "Internal error in deflateInit2");
    EXPECT_STREQ(ZIP_GZip_InitParams(5, &sizes.out, &sizes.tmp, -2),
                 "Internal error in deflateInit2");
    // Lengths up to all address space have a bound that is no less.
    for (const std::size_t length : {std::size_t{0xffffffff}, SIZE_MAX / 2 + 1, SIZE_MAX}) {
        EXPECT_EQ(ZIP_GZip_InitParams(length, &sizes.out, &sizes.tmp, 6), nullptr);
        EXPECT_GE(sizes.out, length);
    }
}

TEST(ZipInflateFully, TakesAWholeStreamAndNoMore) {
    const std::string data(100000, 'd');
    const std::string packed = archive::zlibStream(data);
    std::string corrupt = packed;
    corrupt.back() ^= 1;  // its checksum
    std::string dictionary = packed;
    dictionary[1] = '\xbb';  // asks for a preset dictionary
    const std::string end = "INFLATER_inflateFully: Unexpected end of stream";
    const std::string bad = "INFLATER_inflateFully: Compressed data corrupted";
    const std::string internal = "INFLATER_inflateFully: internal error";
    const struct {
        std::string in;
        std::int64_t outLength;
        std::string message;
        std::int64_t inLength = std::ssize(in);
    } cases[] = {{packed, 100000, "null"},
                 {archive::zlibStream(""), 0, "null"},
                 {packed, 99999, internal},
                 {packed, 100001, end},
                 {packed, -1, internal},
                 {packed, 100000, internal, 0},
                 {packed.substr(0, 50), 100000, end},
                 {packed + "x", 100000, end},
                 {corrupt, 100000, bad},
                 {"plain text", 100000, bad},
                 {dictionary, 100000, internal}};
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        std::string in = c.in;
        std::string out(data.size() + 2, '?');
        char* message = out.data();
        const bool done =
            ZIP_InflateFully(in.data(), c.inLength, out.data(), c.outLength, &message) == 1;
        EXPECT_EQ(message == nullptr ? "null" : message, c.message);
        EXPECT_EQ(done, message == nullptr);
        const auto room = static_cast<std::size_t>(std::max<std::int64_t>(c.outLength, 0));
        EXPECT_EQ(out.find_first_not_of('?', room), out.npos) << "written behind the room";
        EXPECT_TRUE(!done || out.substr(0, room) == data.substr(0, room));
    }
}

}  // namespace
