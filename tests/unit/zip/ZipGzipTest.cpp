#include <cstdio>
#include <cstdlib>
#include <fstream>

#include <gtest/gtest.h>

#include "zip/zip.h"

namespace {

struct Sizes {
    std::size_t out = 0;
    std::size_t tmp = 0;
};

Sizes sizesFor(const std::string& data, std::int32_t level) {
    Sizes sizes;
    EXPECT_EQ(ZIP_GZip_InitParams(data.size(), &sizes.out, &sizes.tmp, level), nullptr);
    return sizes;
}

/// Compresses with room of these sizes; the message if that fails.
std::string compress(std::string data, Sizes sizes, std::int32_t level, const char* comment) {
    std::string out(sizes.out, '?');
    std::string tmp(sizes.tmp, '?');
    std::string text = comment == nullptr ? "" : comment;
    const char* message = "unset";
    const std::size_t length =
        ZIP_GZip_Fully(data.data(), data.size(), out.data(), out.size(), tmp.data(), tmp.size(),
                       level, comment == nullptr ? nullptr : text.data(), &message);
    EXPECT_EQ(length > 0, message == nullptr);
    return length > 0 ? out.substr(0, length) : message;
}

std::string outputOf(const std::string& command) {
    std::string output;
    FILE* const pipe = popen(command.c_str(), "r");
    char buffer[4096];
    for (std::size_t n; (n = std::fread(buffer, 1, sizeof(buffer), pipe)) > 0;) {
        output.append(buffer, n);
    }
    return pclose(pipe) == 0 ? output : "failed: " + output;
}

TEST(ZipGzip, OtherToolsReadItBack) {
    std::string mixed;
    for (unsigned i = 0; i < 60000; ++i) {
        mixed += static_cast<char>(i * i >> 7 ^ i);
    }
    // Members behind each other in one file are read as one.
    std::string members;
    std::string all;
    for (const std::string& data : {std::string(), std::string("short"), mixed}) {
        for (const std::int32_t level : {-1, 0, 1, 6, 9, 10, 99}) {
            for (const char* comment : {static_cast<const char*>(nullptr), "a comment"}) {
                SCOPED_TRACE(std::to_string(data.size()) + " at " + std::to_string(level));
                Sizes sizes = sizesFor(data, level);
                sizes.out += comment == nullptr ? 0 : 10;  // a comment stands in no bound
                const std::string packed = compress(data, sizes, level, comment);
                EXPECT_EQ(packed.substr(0, 4),
                          std::string("\x1f\x8b\x08", 3) + (comment == nullptr ? '\0' : '\x10'));
                EXPECT_EQ(packed.find("a comment"), comment == nullptr ? packed.npos : 10);
                members += packed;
                all += data;
                if (level > 9) {
                    EXPECT_EQ(packed, compress(data, sizes, 6, comment));
                }
            }
        }
    }
    const std::string file = testing::TempDir() + "zip_gzip_test.gz";
    std::ofstream(file, std::ios::binary) << members;
    EXPECT_TRUE(outputOf("gzip -dc '" + file + "'") == all);
    EXPECT_TRUE(outputOf("python3 -c 'import gzip,sys;sys.stdout.buffer.write("
                         "gzip.open(sys.argv[1]).read())' '" +
                         file + "'") == all);
    std::remove(file.c_str());
}

TEST(ZipGzip, TheSizesAskedForAreNeededAndEnough) {
    const std::string data(70000, 'x');
    const Sizes sizes = sizesFor(data, 6);
    EXPECT_GT(compress(data, sizes, 6, nullptr).size(), 20u);
    for (const std::size_t tmp : {std::size_t{0}, std::size_t{1}, sizes.tmp / 2, sizes.tmp - 1}) {
        EXPECT_EQ(compress(data, {sizes.out, tmp}, 6, nullptr), "Out of memory in deflateInit2");
    }
    for (const std::size_t out : {0, 1, 17, 50}) {
        EXPECT_EQ(compress(data, {out, sizes.tmp}, 6, nullptr), "Buffer too small");
    }
    EXPECT_EQ(compress(data, sizes, -2, nullptr), "Internal error in deflateInit2");
    std::size_t out = 7;
    std::size_t tmp = 7;
    EXPECT_STREQ(ZIP_GZip_InitParams(5, &out, &tmp, -2), "Internal error in deflateInit2");
    EXPECT_EQ(tmp, 0u);
    // Lengths up to all address space have a bound that is no less.
    for (const std::size_t length :
         {std::size_t{0}, std::size_t{0xffffffff}, SIZE_MAX / 2 + 1, SIZE_MAX - 1, SIZE_MAX}) {
        EXPECT_EQ(ZIP_GZip_InitParams(length, &out, &tmp, 6), nullptr);
        EXPECT_GE(out, length);
    }
}

}  // namespace
