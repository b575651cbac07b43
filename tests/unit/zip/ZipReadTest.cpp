#include <functional>

#include "unit/zip/ZipTest.h"
#include "zip/Reading.h"

using archive::Archive;
using archive::deflated;
using archive::make;

namespace {

std::string noise(std::size_t length) {
    std::string text;
    for (std::uint32_t x = 1; text.size() < length; x = x * 1664525 + 1013904223) {
        text += static_cast<char>(x >> 24);
    }
    return text;
}

TEST_F(ZipTest, EntriesAreReadOrTheirFaultIsPrinted) {
    const std::string big = noise(10000);  // three pieces, hardly deflated
    const std::string zeros(300000, '\0');
    const std::int64_t bigPacked = static_cast<std::int64_t>(deflated(big).size());
    struct Case {
        const char* what;
        std::string data;
        bool stored;
        std::function<void(Archive&)> change;
        std::string expected;  // the failure's text; empty if the data is to be read
    };
    const auto none = [](Archive&) {};
    const char* const endOfStream = "inflateFully: Unexpected end of stream";
    const char* const badSize = "ZIP_Read: corrupt zip file: invalid entry size";
    const Case cases[] = {
        {"stored", big, true, none, ""},
        {"deflated", big, false, none, ""},
        {"much out of little", zeros, false, none, ""},
        {"stored nothing", "", true, none, ""},
        {"deflated nothing", "", false, none, ""},
        {"local header of other lengths", "data", true,
         [](Archive& a) {
             a.putLocal(0, 26, 0, 2);
             a.putLocal(0, 28, 1, 2);
         },
         ""},
        {"local signature", "data", true, [](Archive& a) { a.putLocal(0, 0, 0, 4); },
         "invalid LOC header (bad signature)"},
        {"local header outside", "data", false,
         [](Archive& a) { a.putCentral(0, 42, 0xfffffff0, 4); }, "error reading zip file"},
        {"stored past the file", "data", true,
         [](Archive& a) { a.putCentral(0, 24, 0xfffffffe, 4); }, badSize},
        {"deflated past the file", "data", false,
         [](Archive& a) { a.putCentral(0, 20, 0xfffffffe, 4); }, badSize},
        {"data behind the file", "data", true, [](Archive& a) { a.putLocal(0, 28, 0xffff, 2); },
         badSize},
        {"size too small", big, false, [](Archive& a) { a.putCentral(0, 24, 9999, 4); },
         endOfStream},
        {"size of nothing", big, false, [](Archive& a) { a.putCentral(0, 24, 0, 4); }, endOfStream},
        {"size too large", big, false, [](Archive& a) { a.putCentral(0, 24, 10001, 4); },
         endOfStream},
        {"stream cut off", big, false,
         [=](Archive& a) { a.putCentral(0, 20, static_cast<std::uint64_t>(bigPacked) - 5, 4); },
         endOfStream},
        {"bytes behind the stream", big, false,
         [=](Archive& a) { a.putCentral(0, 20, static_cast<std::uint64_t>(bigPacked) + 1, 4); },
         endOfStream},
        {"a piece behind the stream", "data", false,
         [](Archive& a) {
             a.bytes.insert(a.directory, std::string(5000, 'x'));
             a.centrals[0] += 5000;
             a.end += 5000;
             a.putEnd(16, a.directory + 5000, 4);
             a.putCentral(0, 20, 5000, 4);
         },
         endOfStream},
        {"no stream", "data", false, [](Archive& a) { a.putLocal(0, 31, 0xff, 1); },
         "invalid block type"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Archive a = make({{"e", c.data, c.stored}});
        c.change(a);
        nzfile* const zip = open(a.bytes);
        ASSERT_NE(zip, nullptr);
        const std::string expected =
            c.expected.empty() ? c.data : "failed: C:\\a.zip: " + c.expected + "\n";
        EXPECT_EQ(content(zip, "e"), expected);
        // A failed entry went back all the same: it can be asked for again.
        EXPECT_EQ(content(zip, ZIP_GetNextEntry(zip, 0)).size(), content(zip, "e").size());
        ZIP_Close(zip);
    }
}

TEST_F(ZipTest, RawBytesAreReadWithinTheEntry) {
    nzfile* const zip = open(make({{"stored", "0123456789", true}, {"empty", "", true}}).bytes);
    nzentry* const stored = nz::findEntry(zip, "stored");
    nzentry* const empty = nz::findEntry(zip, "empty");
    const char* const range = "ZIP_Read: specified offset out of range";
    struct Case {
        nzentry* entry;
        std::int64_t pos;
        std::int32_t length;
        std::int32_t result;
        const char* text;  // the bytes, or `msg`
    };
    const Case cases[] = {
        {nullptr, 0, 1, -1, "ZIP_Read: nzentry is NULL"},
        {stored, -1, 1, -1, range},
        {stored, 10, 0, -1, range},
        {empty, 0, 0, -1, range},
        {stored, 9, 0, 0, ""},
        {stored, 9, -1, 0, ""},
        {stored, 2, 3, 3, "234"},
        {stored, 8, 0x7fffffff, 2, "89"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.pos) + ", " + std::to_string(c.length));
        char buffer[16] = {};
        EXPECT_EQ(nz::readEntry(zip, c.entry, c.pos, buffer, c.length), c.result);
        EXPECT_STREQ(c.result < 0 ? zip->msg : buffer, c.text);
        EXPECT_EQ(zip->msg == nullptr, c.result >= 0);
    }
    EXPECT_EQ(stored->pos, 30 + 6);
    machine.calls.failAll("ReadFile");
    char byte;
    EXPECT_EQ(nz::readEntry(zip, stored, 0, &byte, 1), -1);
    EXPECT_STREQ(zip->msg, "ZIP_Read: error reading zip file");
    nz::freeEntry(zip, stored);
    nz::freeEntry(zip, empty);

    const StderrWrites writes;
    EXPECT_EQ(ZIP_ReadEntry(zip, nullptr, &byte, &byte), 0);
    EXPECT_EQ(writes.next(), "nzentry was invalid");
    ZIP_Close(zip);
}

TEST(ZipInflateFully, TakesAWholeStreamAndNoMore) {
    const std::string data(100000, 'd');
    const std::string packed = deflated(data, 15);
    const auto size = static_cast<std::int64_t>(data.size());
    std::string corrupt = packed;
    corrupt[corrupt.size() - 1] ^= 1;  // its checksum
    std::string dictionary = packed;
    dictionary[1] = '\xbb';  // asks for a preset dictionary
    const char* const end = "INFLATER_inflateFully: Unexpected end of stream";
    const char* const bad = "INFLATER_inflateFully: Compressed data corrupted";
    const char* const internal = "INFLATER_inflateFully: internal error";
    const struct {
        const char* what;
        std::string in;
        std::int64_t inLength;
        std::int64_t outLength;
        const char* message;
    } cases[] = {
        {"whole", packed, -2, size, nullptr},
        {"of nothing", deflated("", 15), -2, 0, nullptr},
        {"too little room", packed, -2, size - 1, internal},
        {"too much room", packed, -2, size + 1, end},
        {"cut off", packed.substr(0, packed.size() / 2), -2, size, end},
        {"bytes behind", packed + "x", -2, size, end},
        {"checksum", corrupt, -2, size, bad},
        {"no stream", "plain text", -2, size, bad},
        {"dictionary", dictionary, -2, size, internal},
        {"no input", packed, 0, size, internal},
        {"negative input", packed, -1, size, internal},
        {"negative room", packed, -2, -1, internal},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        std::string in = c.in;
        std::string out(data.size() + 1, '?');
        char* message = out.data();
        const auto inLength = c.inLength == -2 ? static_cast<std::int64_t>(in.size()) : c.inLength;
        EXPECT_EQ(ZIP_InflateFully(in.data(), inLength, out.data(), c.outLength, &message),
                  c.message == nullptr ? 1 : 0);
        EXPECT_STREQ(message, c.message);
        if (c.message == nullptr) {
            EXPECT_EQ(out, data.substr(0, static_cast<std::size_t>(c.outLength)) +
                               out.substr(static_cast<std::size_t>(c.outLength)));
        }
    }
}

}  // namespace
