#include <gtest/gtest.h>
#include <zlib.h>

#include "zip/zip.h"

namespace {

struct Sizes {
    std::size_t out = 0;
    std::size_t tmp = 0;
};

/// Compresses with room of these sizes; the message if that fails.
std::string compress(std::string data, Sizes sizes, std::int32_t level, const char* comment) {
    std::string out(sizes.out, '?');
    std::string tmp(sizes.tmp, '?');
    const char* message = "unset";
    const std::size_t length =
        ZIP_GZip_Fully(data.data(), data.size(), out.data(), out.size(), tmp.data(), tmp.size(),
                       level, const_cast<char*>(comment), &message);
    EXPECT_EQ(length > 0, message == nullptr);
    return length > 0 ? out.substr(0, length) : message;
}

/// What zlib makes of one gzip member.
std::string expanded(const std::string& packed, std::size_t size) {
    std::string out(size + 1, '?');
    z_stream stream = {};
    inflateInit2(&stream, MAX_WBITS + 16);
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(packed.data()));
    stream.avail_in = static_cast<uInt>(packed.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    EXPECT_EQ(inflate(&stream, Z_FINISH), Z_STREAM_END);
    EXPECT_EQ(stream.avail_in, 0u);
    out.resize(stream.total_out);
    inflateEnd(&stream);
    return out;
}

TEST(ZipGzip, ZlibReadsItBack) {
    std::string mixed;
    for (unsigned i = 0; i < 60000; ++i) {
        mixed += static_cast<char>(i * i >> 7 ^ i);
    }
    for (const std::string& data : {std::string(), std::string("short"), mixed}) {
        for (const std::int32_t level : {-1, 0, 1, 6, 9, 10, 99}) {
            for (const char* comment : {static_cast<const char*>(nullptr), "a comment"}) {
                Sizes sizes;
                EXPECT_EQ(ZIP_GZip_InitParams(data.size(), &sizes.out, &sizes.tmp, level), nullptr);
                sizes.out += comment == nullptr ? 0 : 10;  // a comment stands in no bound
                const std::string packed = compress(data, sizes, level, comment);
                EXPECT_EQ(expanded(packed, data.size()), data);
                EXPECT_EQ(packed.find("a comment"), comment == nullptr ? packed.npos : 10);
                if (level > 9) {
                    EXPECT_EQ(packed, compress(data, sizes, 6, comment));
                }
            }
        }
    }
}

TEST(ZipGzip, TheSizesAskedForAreNeededAndEnough) {
    const std::string data(70000, 'x');
    Sizes sizes;
    EXPECT_EQ(ZIP_GZip_InitParams(data.size(), &sizes.out, &sizes.tmp, 6), nullptr);
    for (const std::size_t tmp : {std::size_t{0}, sizes.tmp / 2, sizes.tmp - 1}) {
        EXPECT_EQ(compress(data, {sizes.out, tmp}, 6, nullptr), "Out of memory in deflateInit2");
    }
    for (const std::size_t out : {0, 1, 17, 50}) {
        EXPECT_EQ(compress(data, {out, sizes.tmp}, 6, nullptr), "Buffer too small");
    }
    EXPECT_EQ(compress(data, sizes, -2, nullptr), "Internal error in deflateInit2");
    EXPECT_STREQ(ZIP_GZip_InitParams(5, &sizes.out, &sizes.tmp, -2),
                 "Internal error in deflateInit2");
    EXPECT_EQ(sizes.tmp, 0u);
    // Lengths up to all address space have a bound that is no less.
    for (const std::size_t length : {std::size_t{0xffffffff}, SIZE_MAX / 2 + 1, SIZE_MAX}) {
        EXPECT_EQ(ZIP_GZip_InitParams(length, &sizes.out, &sizes.tmp, 6), nullptr);
        EXPECT_GE(sizes.out, length);
    }
}

}  // namespace
