// gzip and the zlib format in memory, and allocations that fail: the linker replaces the library's
// allocation functions by those of this file (--wrap).
#include "support/Zlib.h"
#include "unit/zip/ZipTest.h"

namespace {

std::uint64_t allocations = 0;
std::uint64_t failing = 0;

bool fails() {
    return ++allocations == failing;
}

}  // namespace

extern "C" {

void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* memory, std::size_t size);

void* __wrap_malloc(std::size_t size) {
    return fails() ? nullptr : __real_malloc(size);
}
void* __wrap_calloc(std::size_t count, std::size_t size) {
    return fails() ? nullptr : __real_calloc(count, size);
}
void* __wrap_realloc(void* memory, std::size_t size) {
    return fails() ? nullptr : __real_realloc(memory, size);
}

}  // extern "C"

namespace {

/// Data that each level compresses to another length.
std::string gzipSample() {
    std::string data(60000, 'd');
    for (std::size_t i = 0; i < data.size(); ++i) {
        data[i] = static_cast<char>(i * i * i >> 13 & 7);
    }
    return data;
}

struct GzipOptions {
    std::int32_t level;
    std::size_t missingOutput = 0;     ///< bytes that the output buffer is too small
    std::size_t missingTemporary = 0;  ///< the same of the temporary buffer
};

/// Returns the sample as a gzip stream with the comment "a comment", or the message of the failure.
std::string gzipped(const GzipOptions& options) {
    const std::string data = gzipSample();
    char comment[] = "a comment";  // not contained in the bounds
    std::size_t outLength = 0;
    std::size_t tmpLength = 0;
    ZIP_GZip_InitParams(data.size(), &outLength, &tmpLength, options.level);
    std::string out(outLength + sizeof(comment), '?');
    std::string tmp(tmpLength, '?');
    const char* message = nullptr;
    const std::size_t length = ZIP_GZip_Fully(
        const_cast<char*>(data.data()), data.size(), out.data(), out.size() - options.missingOutput,
        tmp.data(), tmpLength - options.missingTemporary, options.level, comment, &message);
    EXPECT_EQ(length > 0, message == nullptr);
    return length > 0 ? out.substr(0, length) : message;
}

TEST(ZipGzip, ZlibReadsEachLevelBack) {
    for (const std::int32_t level : {-1, 0, 1, 9, 10}) {
        const std::string packed = gzipped({.level = level});
        EXPECT_EQ(zlib::gunzipped(packed, gzipSample().size()), gzipSample()) << level;
        EXPECT_EQ(packed.find("a comment"), 10u) << level;
    }
}

TEST(ZipGzip, TheHeaderHasTheFlagsOfFastestAndBest) {
    constexpr std::size_t kExtraFlags = 8;
    EXPECT_EQ(gzipped({.level = 0})[kExtraFlags], 4);
    EXPECT_EQ(gzipped({.level = 1})[kExtraFlags], 4);
    EXPECT_EQ(gzipped({.level = 9})[kExtraFlags], 2);
    EXPECT_EQ(gzipped({.level = -1})[kExtraFlags], 0);
    EXPECT_EQ(gzipped({.level = 10})[kExtraFlags], 0);
}

TEST(ZipGzip, ALevelAboveNineIsTheDefault) {
    EXPECT_EQ(gzipped({.level = 10}), gzipped({.level = 6}));
}

TEST(ZipGzip, ReportsBuffersThatAreTooSmall) {
    EXPECT_EQ(gzipped({.level = 6, .missingTemporary = 1}), "Out of memory in deflateInit2");
    EXPECT_EQ(gzipped({.level = 0, .missingOutput = 50}), "Buffer too small");
}

TEST(ZipGzip, RefusesLevelsBelowMinusOne) {
    std::size_t outLength = 0;
    std::size_t tmpLength = 0;
    EXPECT_STREQ(ZIP_GZip_InitParams(100, &outLength, &tmpLength, -2),
                 "Internal error in deflateInit2");
    EXPECT_EQ(gzipped({.level = -2}), "Internal error in deflateInit2");
}

TEST(ZipGzip, TheBoundOfAnyLengthIsNoLess) {
    for (const std::size_t length : {std::size_t{0xffffffff}, SIZE_MAX / 2 + 1, SIZE_MAX}) {
        std::size_t outLength = 0;
        std::size_t tmpLength = 0;
        EXPECT_EQ(ZIP_GZip_InitParams(length, &outLength, &tmpLength, 6), nullptr);
        EXPECT_GE(outLength, length);
    }
}

constexpr const char* kInternalError = "INFLATER_inflateFully: internal error";
constexpr const char* kUnexpectedEnd = "INFLATER_inflateFully: Unexpected end of stream";
constexpr const char* kCorrupted = "INFLATER_inflateFully: Compressed data corrupted";

struct InflateCase {
    const char* name;
    std::string in;
    std::int64_t outLength = 100000;
    const char* failure = nullptr;
};

TEST(ZipInflateFully, TakesAWholeStreamAndNoMore) {
    const std::string data(100000, 'd');
    const std::string packed = zlib::compressed(data);
    const std::string wrongChecksum = packed.substr(0, packed.size() - 1) + "x";
    const InflateCase cases[] = {
        {.name = "the whole stream", .in = packed},
        {.name = "a stream without data", .in = zlib::compressed(""), .outLength = 0},
        {.name = "a small buffer", .in = packed, .outLength = 99999, .failure = kInternalError},
        {.name = "a large buffer", .in = packed, .outLength = 100001, .failure = kUnexpectedEnd},
        {.name = "a negative length", .in = packed, .outLength = -1, .failure = kInternalError},
        {.name = "no input", .in = "", .failure = kInternalError},
        {.name = "a cut stream", .in = packed.substr(0, 50), .failure = kUnexpectedEnd},
        {.name = "bytes after the stream", .in = packed + "x", .failure = kUnexpectedEnd},
        {.name = "a wrong checksum", .in = wrongChecksum, .failure = kCorrupted},
        {.name = "no stream", .in = "plain text", .failure = kCorrupted},
    };
    for (const InflateCase& c : cases) {
        SCOPED_TRACE(c.name);
        std::string in = c.in;
        std::string out(data.size() + 2, '?');
        char* message = out.data();
        const std::int32_t result =
            ZIP_InflateFully(in.data(), std::ssize(in), out.data(), c.outLength, &message);
        const auto capacity = static_cast<std::size_t>(std::max<std::int64_t>(c.outLength, 0));
        EXPECT_EQ(out.find_first_not_of('?', capacity), out.npos) << "written past the buffer";
        EXPECT_EQ(result == 1, c.failure == nullptr);
        EXPECT_STREQ(message, c.failure);
        if (c.failure == nullptr) {
            EXPECT_TRUE(out.substr(0, capacity) == data.substr(0, capacity));
        }
    }
}

class ZipAllocations : public ZipTest {
protected:
    void SetUp() override {
        zip_archive::Archive archive = zip_archive::make(
            {{.name = "META-INF/a", .data = "data", .extraField = "extra", .comment = "comment"},
             {.name = "META-INF/b",
              .data = "data",
              .stored = true,
              .extraField = std::string(200, 'e')},
             {.name = "META-INF/c", .data = "data"}},
            "archive comment");
        archive.end.totalEntries = 2;  // one too few: the directory is read twice
        machine.volumes.addFile(u"C:\\a.zip", archive.bytes());
    }

    /// Uses all of the archive. Returns whether everything was there.
    bool useArchive() {
        allocations = 0;
        nzfile* const zip = ZIP_Open("C:\\a.zip", &message);
        if (zip == nullptr) {
            return false;
        }
        bool isComplete = zip->total == 3;
        for (std::int32_t i = 0; i < 3; ++i) {
            nzentry* const walked = ZIP_GetNextEntry(zip, i);
            isComplete &= content(zip, std::string("META-INF/") + "abc"[i]) == "data";
            isComplete &= content(zip, walked) == "data";
        }
        ZIP_Close(zip);
        return isComplete;
    }

    void TearDown() override {
        failing = 0;
        ZipTest::TearDown();
    }
};

TEST_F(ZipAllocations, EachMayFailAndLeavesNothingBroken) {
    ASSERT_TRUE(useArchive());
    ASSERT_GT(allocations, 20u);
    for (failing = allocations; failing > 0; --failing) {
        EXPECT_FALSE(useArchive()) << "allocation " << failing;
    }
    EXPECT_TRUE(useArchive());
}

}  // namespace
