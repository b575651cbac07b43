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
    const std::uint64_t packed = deflated(big).size();
    const std::string piece(5000, 'x');
    const Archive stored = make({{"e", "data", true}});
    Archive behind = make({{"e", "data"}});
    behind.bytes.insert(behind.directory, piece);
    behind.centrals[0] += piece.size();
    behind.end += piece.size();
    const char* const end = "inflateFully: Unexpected end of stream";
    const char* const badSize = "ZIP_Read: corrupt zip file: invalid entry size";
    const struct {
        Archive archive;
        std::vector<Put> puts;
        std::string expected;  // the data, or the failure's text behind "!"
    } cases[] = {
        {make({{"e", big, true}}), {}, big},
        {make({{"e", big}}), {}, big},
        {make({{"e", zeros}}), {}, zeros},
        {make({{"e", "", true}}), {}, ""},
        {make({{"e", ""}}), {}, ""},
        // A local header of other lengths; one elsewhere, or none.
        {make({{"e", "data", true}}), {{'l', 0, 26, 0, 2}, {'l', 0, 28, 1, 2}}, "data"},
        {make({{"e", "data", true}}), {{'l', 0, 28, 0xffff, 2}}, std::string("!") + badSize},
        {make({{"e", "data", true}}), {{'l', 0, 0, 0, 4}}, "!invalid LOC header (bad signature)"},
        {make({{"e", "data"}}), {{'c', 0, 42, 0xfffffff0, 4}}, "!error reading zip file"},
        // Past the file, by little or much.
        {stored, {{'c', 0, 24, stored.bytes.size() - 30, 4}}, std::string("!") + badSize},
        {make({{"e", "data", true}}), {{'c', 0, 24, 0xfffffffe, 4}}, std::string("!") + badSize},
        {make({{"e", "data"}}), {{'c', 0, 20, 0xfffffffe, 4}}, std::string("!") + badSize},
        // Stream and sizes that don't end together, but for a stream that lacks its end mark alone.
        {make({{"e", big}}), {{'c', 0, 24, 9999, 4}}, std::string("!") + end},
        {make({{"e", big}}), {{'c', 0, 24, 0, 4}}, std::string("!") + end},
        {make({{"e", big}}), {{'c', 0, 24, 10001, 4}}, std::string("!") + end},
        {make({{"e", big}}), {{'c', 0, 20, packed - 5, 4}}, std::string("!") + end},
        {make({{"e", big}}), {{'c', 0, 20, packed + 1, 4}}, std::string("!") + end},
        {behind,
         {{'e', 0, 16, behind.directory + 5000, 4}, {'c', 0, 20, 5000, 4}},
         std::string("!") + end},
        {make({{"e", "data"}}), {{'c', 0, 20, deflated("data").size() - 1, 4}}, "data"},
        {make({{"e", "data"}}), {{'l', 0, 31, 0xff, 1}}, "!invalid block type"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        nzfile* const zip = open(changed(c.archive, c.puts).bytes);
        ASSERT_NE(zip, nullptr);
        const bool fails = c.expected.starts_with('!');
        const std::string expected =
            fails ? "failed: C:\\a.zip: " + c.expected.substr(1) + "\n" : c.expected;
        EXPECT_EQ(content(zip, "e"), expected);
        EXPECT_EQ(content(zip, ZIP_GetNextEntry(zip, 0)), expected);
        ZIP_Close(zip);
    }
}

TEST_F(ZipTest, RawBytesAreReadWithinTheEntry) {
    nzfile* const zip = open(make({{"stored", "0123456789", true}, {"empty", "", true}}).bytes);
    nzentry* const stored = nz::findEntry(zip, "stored");
    nzentry* const empty = nz::findEntry(zip, "empty");
    const char* const range = "ZIP_Read: specified offset out of range";
    const struct {
        nzentry* entry;
        std::int64_t pos;
        std::int32_t length;
        std::int32_t result;
        const char* text;  // the bytes, or `msg`
    } cases[] = {
        {nullptr, 0, 1, -1, "ZIP_Read: nzentry is NULL"},
        {stored, -1, 1, -1, range},
        {stored, 10, 0, -1, range},
        {empty, 0, 0, -1, range},
        {stored, 9, 0, 0, ""},
        {stored, 9, -1, 0, ""},
        {stored, 2, 3, 3, "234"},
        {stored, 8, 0x7fffffff, 2, "89"},
    };
    for (const auto& c : cases) {
        char buffer[16] = {};
        EXPECT_EQ(nz::readEntry(zip, c.entry, c.pos, buffer, c.length), c.result);
        EXPECT_STREQ(c.result < 0 ? zip->msg : buffer, c.text);
        EXPECT_EQ(zip->msg == nullptr, c.result >= 0);
    }
    EXPECT_EQ(stored->pos, 30 + 6);
    nzentry* const unread = ZIP_GetNextEntry(zip, 0);
    machine.calls.failAll("ReadFile");
    char byte;
    EXPECT_EQ(nz::readEntry(zip, stored, 0, &byte, 1), -1);
    EXPECT_STREQ(zip->msg, "ZIP_Read: error reading zip file");
    EXPECT_EQ(nz::readEntry(zip, unread, 0, &byte, 1), -1);
    EXPECT_STREQ(zip->msg, "error reading zip file");
    nz::freeEntry(zip, unread);
    nz::freeEntry(zip, stored);
    nz::freeEntry(zip, empty);
    const StderrWrites writes;
    EXPECT_EQ(ZIP_ReadEntry(zip, nullptr, &byte, &byte), 0);
    EXPECT_EQ(writes.next(), "nzentry was invalid");
    ZIP_Close(zip);
}

TEST(ZipInflateFully, TakesAWholeStreamAndNoMore) {
    const std::string data(100000, 'd');
    const auto size = static_cast<std::int64_t>(data.size());
    const std::string packed = deflated(data, 15);
    std::string corrupt = packed;
    corrupt.back() ^= 1;  // its checksum
    std::string dictionary = packed;
    dictionary[1] = '\xbb';  // asks for a preset dictionary
    const char* const end = "INFLATER_inflateFully: Unexpected end of stream";
    const char* const bad = "INFLATER_inflateFully: Compressed data corrupted";
    const char* const internal = "INFLATER_inflateFully: internal error";
    const std::int64_t all = INT64_MAX;
    const struct {
        std::string in;
        std::int64_t inLength;
        std::int64_t outLength;
        const char* message;
    } cases[] = {{packed, all, size, nullptr},
                 {deflated("", 15), all, 0, nullptr},
                 {packed, all, size - 1, internal},
                 {packed, all, size + 1, end},
                 {packed, all, 0, internal},
                 {packed, all, -1, internal},
                 {packed, 0, size, internal},
                 {packed, -1, size, internal},
                 {packed.substr(0, 50), all, size, end},
                 {packed + "x", all, size, end},
                 {corrupt, all, size, bad},
                 {"plain text", all, size, bad},
                 {dictionary, all, size, internal}};
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        std::string in = c.in;
        std::string out(data.size() + 2, '?');
        char* message = out.data();
        const auto inLength = std::min(c.inLength, static_cast<std::int64_t>(in.size()));
        EXPECT_EQ(ZIP_InflateFully(in.data(), inLength, out.data(), c.outLength, &message),
                  c.message == nullptr ? 1 : 0);
        EXPECT_STREQ(message, c.message);
        // Nothing was written behind the room.
        const auto room = static_cast<std::size_t>(std::max<std::int64_t>(c.outLength, 0));
        EXPECT_EQ(out.find_first_not_of('?', room), std::string::npos);
        if (c.message == nullptr) {
            EXPECT_EQ(out.substr(0, room), data.substr(0, room));
        }
    }
}

}  // namespace
