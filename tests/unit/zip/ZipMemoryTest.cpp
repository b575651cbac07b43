// What the library does in memory alone, gzip and the zlib format, and memory that runs out: the
// linker sends the library's allocations here (--wrap).
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

TEST(ZipGzip, ZlibReadsItBack) {
    std::string data(60000, 'd');
    for (std::size_t i = 0; i < data.size(); ++i) {
        data[i] = static_cast<char>(i * i * i >> 13 & 7);  // each level packs it otherwise
    }
    /// Compresses with so much less room than is asked for; the message if that fails.
    const auto compress = [&](std::int32_t level, std::size_t outLack = 0,
                              std::size_t tmpLack = 0) {
        char comment[] = "a comment";  // stands in no bound
        std::size_t outLength = 0;
        std::size_t tmpLength = 0;
        const char* message = ZIP_GZip_InitParams(data.size(), &outLength, &tmpLength, level);
        EXPECT_STREQ(message, level < -1 ? "Internal error in deflateInit2" : nullptr);
        std::string out(outLength + sizeof(comment), '?');
        std::string tmp(tmpLength, '?');
        const std::size_t length =
            ZIP_GZip_Fully(data.data(), data.size(), out.data(), out.size() - outLack, tmp.data(),
                           tmpLength - tmpLack, level, comment, &message);
        EXPECT_EQ(length > 0, message == nullptr);
        return length > 0 ? out.substr(0, length) : message;
    };
    for (const std::int32_t level : {-1, 0, 1, 9, 10}) {
        const std::string packed = compress(level);
        EXPECT_EQ(archive::gunzipped(packed, data.size()), data);
        EXPECT_EQ(packed.find("a comment"), 10u);
        EXPECT_EQ(packed[8], level == 9 ? 2 : level == 0 || level == 1 ? 4 : 0);
    }
    EXPECT_EQ(compress(10), compress(6));
    EXPECT_EQ(compress(6, 0, 1), "Out of memory in deflateInit2");
    EXPECT_EQ(compress(0, 50), "Buffer too small");
    EXPECT_EQ(compress(-2), "Internal error in deflateInit2");
    // Lengths up to all address space have a bound that is no less.
    for (const std::size_t length : {std::size_t{0xffffffff}, SIZE_MAX / 2 + 1, SIZE_MAX}) {
        std::size_t outLength = 0;
        std::size_t tmpLength = 0;
        EXPECT_EQ(ZIP_GZip_InitParams(length, &outLength, &tmpLength, 6), nullptr);
        EXPECT_GE(outLength, length);
    }
}

TEST(ZipInflateFully, TakesAWholeStreamAndNoMore) {
    const std::string data(100000, 'd');
    const std::string packed = archive::zlibStream(data);
    const struct {
        std::string in;
        std::int64_t outLength;
        std::string message = "";
    } cases[] = {{packed, 100000},
                 {archive::zlibStream(""), 0},
                 {packed, 99999, "internal error"},
                 {packed, 100001, "Unexpected end of stream"},
                 {packed, -1, "internal error"},
                 {"", 100000, "internal error"},
                 {packed.substr(0, 50), 100000, "Unexpected end of stream"},
                 {packed + "x", 100000, "Unexpected end of stream"},
                 {packed.substr(0, packed.size() - 1) + "x", 100000, "Compressed data corrupted"},
                 {"plain text", 100000, "Compressed data corrupted"}};
    for (const auto& c : cases) {
        std::string in = c.in;
        std::string out(data.size() + 2, '?');
        char* message = out.data();
        const bool done =
            ZIP_InflateFully(in.data(), std::ssize(in), out.data(), c.outLength, &message) == 1;
        EXPECT_EQ(done ? "" : message,
                  c.message.empty() ? "" : "INFLATER_inflateFully: " + c.message);
        EXPECT_EQ(done, message == nullptr);
        const auto room = static_cast<std::size_t>(std::max<std::int64_t>(c.outLength, 0));
        EXPECT_EQ(out.find_first_not_of('?', room), out.npos) << "written behind the room";
        EXPECT_TRUE(!done || out.substr(0, room) == data.substr(0, room));
    }
}

TEST_F(ZipTest, NoAllocationThatFailsDoesMoreThanFail) {
    // The end header says one entry too few, so that the directory is read twice.
    machine.volumes.addFile(
        u"C:\\a.zip", changed(archive::make({{"META-INF/a", "data", false, "extra", "comment"},
                                             {"META-INF/b", "data", true, std::string(200, 'e')},
                                             {"META-INF/c", "data"}},
                                            "archive comment"),
                              {{'e', 0, 10, 2, 2}})
                          .bytes);
    /// Uses all of the archive; what can't be had is passed over. Whether everything was there.
    const auto use = [&] {
        nzfile* const zip = ZIP_Open("C:\\a.zip", &message);
        bool all = zip != nullptr && zip->total == 3;
        for (std::int32_t i = 0; zip != nullptr && i < 3; ++i) {
            nzentry* const walked = ZIP_GetNextEntry(zip, i);
            all &= content(zip, std::string("META-INF/") + "abc"[i]) == "data";
            all &= content(zip, walked) == "data";
        }
        if (zip != nullptr) {
            ZIP_Close(zip);
        }
        return all;
    };
    allocations = 0;
    ASSERT_TRUE(use());
    for (failing = allocations; failing > 0; --failing) {
        allocations = 0;
        EXPECT_FALSE(use()) << failing;
    }
    EXPECT_TRUE(use());
}

}  // namespace
