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
    const std::uint64_t packed = deflated(big).size();
    const Archive stored = make({{"e", "data", true}});
    const Archive small = make({{"e", "data"}});
    const Archive noisy = make({{"e", big}});
    Archive behind = small;
    behind.bytes.insert(behind.directory, std::string(5000, 'x'));
    behind.centrals[0] += 5000;
    behind.end += 5000;
    const std::string end = "inflateFully: Unexpected end of stream";
    const std::string badSize = "ZIP_Read: corrupt zip file: invalid entry size";
    const struct {
        Archive archive;
        std::vector<Put> puts;
        std::string expected;  // the data, or why it can't be read
    } cases[] = {
        // A local header of other lengths; one elsewhere, or none.
        {stored, {{'l', 0, 26, 0, 2}, {'l', 0, 28, 1, 2}}, "data"},
        {stored, {{'l', 0, 28, 0xffff, 2}}, badSize},
        {stored, {{'l', 0, 0, 0, 4}}, "invalid LOC header (bad signature)"},
        {small, {{'c', 0, 42, 0xfffffff0, 4}}, "error reading zip file"},
        // Past the file, by little or much.
        {stored, {{'c', 0, 24, stored.bytes.size() - 30, 4}}, badSize},
        {small, {{'c', 0, 20, 0xfffffffe, 4}}, badSize},
        // Stream and sizes that don't end together, but for a stream that lacks its end mark alone.
        {noisy, {{'c', 0, 24, 9999, 4}}, end},
        {noisy, {{'c', 0, 24, 10001, 4}}, end},
        {noisy, {{'c', 0, 20, packed - 5, 4}}, end},
        {noisy, {{'c', 0, 20, packed + 1, 4}}, end},
        {behind, {{'e', 0, 16, behind.directory + 5000, 4}, {'c', 0, 20, 5000, 4}}, end},
        {small, {{'c', 0, 20, deflated("data").size() - 1, 4}}, "data"},
        {small, {{'l', 0, 31, 0xff, 1}}, "invalid block type"},
    };
    ZIP_Close(openWhole(make({{"stored", big, true},
                              {"deflated", big},
                              {"packs well", std::string(300000, '\0')},
                              {"empty", "", true},
                              {"deflated empty", ""}})));
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        nzfile* const zip = open(changed(c.archive, c.puts).bytes);
        ASSERT_NE(zip, nullptr);
        EXPECT_EQ(content(zip, "e"),
                  c.expected == "data" ? c.expected : "failed: C:\\a.zip: " + c.expected + "\n");
        ZIP_Close(zip);
    }
}

TEST_F(ZipTest, RawBytesAreReadWithinTheEntry) {
    nzfile* const zip = open(make({{"stored", "0123456789", true}}).bytes);
    nzentry* const stored = nz::findEntry(zip, "stored");
    const std::string range = "ZIP_Read: specified offset out of range";
    const struct {
        std::int64_t pos;
        std::int32_t length;
        std::int32_t result;
        std::string text;  // the bytes, or `msg`
    } cases[] = {{-1, 1, -1, range}, {10, 0, -1, range}, {9, 0, 0, ""},
                 {9, -1, 0, ""},     {2, 3, 3, "234"},   {8, 0x7fffffff, 2, "89"}};
    for (const auto& c : cases) {
        char buffer[16] = {};
        EXPECT_EQ(nz::readEntry(zip, stored, c.pos, buffer, c.length), c.result);
        EXPECT_EQ(c.result < 0 ? zip->msg : buffer, c.text);
        EXPECT_EQ(zip->msg == nullptr, c.result >= 0);
    }
    EXPECT_EQ(stored->pos, 30 + 6);
    machine.calls.failAll("ReadFile");
    EXPECT_EQ(content(zip, stored), "failed: C:\\a.zip: ZIP_Read: error reading zip file\n");
    EXPECT_EQ(written([&] { EXPECT_EQ(ZIP_ReadEntry(zip, nullptr, nullptr, nullptr), 0); }),
              std::vector<std::string>{"nzentry was invalid"});
    ZIP_Close(zip);
}

}  // namespace
