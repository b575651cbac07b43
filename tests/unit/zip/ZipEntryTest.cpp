#include <climits>

#include "unit/zip/ZipTest.h"

using archive::Archive;
using archive::Entry;
using archive::make;
using archive::number;

namespace {

TEST_F(ZipTest, NamesAreFoundByteForByte) {
    // "Aa" and "BB" have one hash; of two entries of one name the later one is found. The last name
    // has bytes that count as negative in the hash.
    const std::vector<Entry> entries = {
        {"AaAa", "1", true}, {"BBBB", "2"},       {"AaBB", "3", true}, {"name", "4"},
        {"Name", "5"},       {"META-INF/", ""},   {"twice", "6"},      {"twice", "7"},
        {"", "8", true},     {"meta-inf/a", "b"}, {"META-INF", "c"},   {"\xc3\xa9\xff", "9"},
        {"NETA-INF/d", ""},  {"Meta-Inf/b", ""}};
    nzfile* const zip = open(make(entries).bytes);
    ASSERT_NE(zip, nullptr);
    EXPECT_EQ(zip->entries[0].hash, zip->entries[1].hash);
    EXPECT_EQ(zip->entries[8].hash, 0u);
    // 31 * (31 * (0xc3 - 256) + (0xa9 - 256)) + (0xff - 256)
    EXPECT_EQ(zip->entries[11].hash, static_cast<std::uint32_t>(31 * (31 * -61 + -87) - 1));
    for (std::size_t i = 0; i < entries.size(); ++i) {
        EXPECT_EQ(content(zip, entries[i].name), entries[i == 6 ? 7 : i].data);
    }
    for (std::size_t i = 0; i < entries.size(); ++i) {
        EXPECT_EQ(content(zip, ZIP_GetNextEntry(zip, static_cast<std::int32_t>(i))),
                  entries[i].data);
    }
    std::int32_t size = -7;
    std::int32_t length = -7;
    for (const char* missing : {"nam", "NAME", "name/", "BBAa", "\xc3\xa9"}) {
        EXPECT_EQ(ZIP_FindEntry(zip, missing, &size, &length), nullptr) << missing;
        EXPECT_EQ(std::max(size, length), -7);
    }
    nz::freeEntry(zip, ZIP_FindEntry(zip, "name", &size, &length));
    EXPECT_EQ(size, 1);
    EXPECT_EQ(length, 4);
    for (const std::int32_t index : {-1, zip->total, INT_MAX}) {
        EXPECT_EQ(ZIP_GetNextEntry(zip, index), nullptr);
    }
    // Names below "META-INF/", in any case of letters.
    EXPECT_EQ(std::vector<std::string>(zip->metanames, zip->metanames + zip->metacurrent),
              (std::vector<std::string>{"META-INF/", "meta-inf/a", "Meta-Inf/b"}));
    EXPECT_EQ(zip->metacount, 4);
    ZIP_Close(zip);

    nzfile* const empty = open("stub" + make({}).bytes);
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(nz::findEntry(empty, ""), nullptr);
    EXPECT_EQ(ZIP_GetNextEntry(empty, 0), nullptr);
    ZIP_Close(empty);
}

TEST_F(ZipTest, TheEntryReleasedLastIsAtHand) {
    nzfile* const zip = open(make({{"a", "1"}, {"b", "2"}}).bytes);
    nzentry* const a = nz::findEntry(zip, "a");
    nzentry* const again = nz::findEntry(zip, "a");
    EXPECT_NE(a, again);
    nz::freeEntry(zip, a);
    machine.calls.clearJournal();
    EXPECT_EQ(nz::findEntry(zip, "a"), a);
    EXPECT_EQ(zip->cache, nullptr);
    EXPECT_EQ(machine.calls.count("ReadFile"), 0u);
    nz::freeEntry(zip, a);
    nz::freeEntry(zip, again);
    EXPECT_EQ(zip->cache, again);
    EXPECT_EQ(content(zip, "b"), "2");
    EXPECT_STREQ(zip->cache->name, "b");
    nz::freeEntry(zip, nullptr);
    EXPECT_EQ(zip->cache, nullptr);
    nz::freeEntry(zip, nz::findEntry(zip, "b"));  // left to ZIP_Close
    ZIP_Close(zip);
}

TEST_F(ZipTest, AnEntryTellsWhatItsHeaderSays) {
    const std::string extra("\x99\x99\x02\0hi", 6);
    const Archive a = changed(make({{"stored", "bytes", true},
                                    {"deflated", std::string(500, 'x'), false, extra, "note"}}),
                              {{'c', 1, 8, 0x0808, 2}, {'c', 1, 16, 0xfedcba98, 4}});
    nzfile* const zip = open(a.bytes);
    for (int n = 0; n < 2; ++n) {
        nzentry* const e = n == 0 ? nz::findEntry(zip, "deflated") : ZIP_GetNextEntry(zip, 1);
        EXPECT_EQ(e->time, 0x58214321);
        EXPECT_EQ(e->crc, 0xfedcba98);
        EXPECT_EQ(e->size, 500);
        EXPECT_EQ(e->csize, a.bytes[a.centrals[1] + 20]);
        EXPECT_EQ(e->pos, -static_cast<std::int64_t>(a.locals[1]));
        EXPECT_EQ(e->flag, 0x0808);
        EXPECT_EQ(e->nlen, 8);
        EXPECT_EQ(std::string(e->extra, 9), std::string("\6\0", 2) + extra + '\0');
        EXPECT_STREQ(e->comment, "note");
        nz::freeEntry(zip, e);
        nzentry* const stored = ZIP_GetNextEntry(zip, 0);
        EXPECT_EQ(stored->csize, 0);
        EXPECT_EQ(stored->extra, nullptr);
        EXPECT_EQ(stored->comment, nullptr);
        nz::freeEntry(zip, stored);
    }
    ZIP_Close(zip);
}

TEST_F(ZipTest, Zip64RecordsReplaceTheFieldsThatAreFull) {
    const std::uint64_t full = 0xffffffff;
    const auto record = [](const std::string& data, std::size_t size) {
        return number(1, 2) + number(size, 2) + data;
    };
    const std::string three =
        record(number(0x100000001, 8) + number(0x100000002, 8) + number(3, 8), 24);
    const std::string other = number(9, 2) + number(3, 2) + "abc";
    const std::string negative =
        record(number(~0ull, 8) + number(1ull << 63, 8) + number(1ull << 63, 8), 24);
    const struct {
        std::string extra;
        std::uint64_t fields[3];   // size, compressed size, offset in the header
        std::int64_t expected[3];  // in the entry
    } cases[] = {
        {three, {full, full, full}, {0x100000001, 0x100000002, 3}},
        {three, {full, 7, 8}, {0x100000001, 7, 8}},
        {three, {6, full, full}, {6, 0x100000001, 0x100000002}},
        {three, {6, 7, 8}, {6, 7, 8}},
        {other + three, {full, 7, 8}, {0x100000001, 7, 8}},
        {record(number(5, 8) + "1234567", 15), {full, full, full}, {5, full, full}},
        {record(number(5, 8), 24), {full, full, 8}, {5, full, 8}},  // longer than the extra field
        {record("", 0), {full, 7, 8}, {full, 7, 8}},
        {number(9, 2) + number(99, 2) + three, {full, 7, 8}, {full, 7, 8}},
        {negative, {full, full, full}, {-1, INT64_MIN, INT64_MIN}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        nzfile* const zip =
            open(changed(make({{"e", "data", false, c.extra}}), {{'c', 0, 24, c.fields[0], 4},
                                                                 {'c', 0, 20, c.fields[1], 4},
                                                                 {'c', 0, 42, c.fields[2], 4}})
                     .bytes);
        nzentry* const entry = nz::findEntry(zip, "e");
        ASSERT_NE(entry, nullptr);
        EXPECT_EQ(entry->size, c.expected[0]);
        EXPECT_EQ(entry->csize, c.expected[1]);
        EXPECT_EQ(0 - static_cast<std::uint64_t>(entry->pos),
                  static_cast<std::uint64_t>(c.expected[2]));
        nz::freeEntry(zip, entry);
        ZIP_Close(zip);
    }
}

TEST_F(ZipTest, LongHeadersAreReadWhole) {
    // Around the first guess of 160 bytes and the sequential buffer of 8192; the last header ends
    // where the file nearly does.
    std::vector<Entry> entries;
    for (const std::size_t length : {1, 113, 114, 115, 60000, 8145, 8146, 8147, 3000, 3000, 1}) {
        const std::string unique = std::to_string(entries.size());
        entries.push_back({unique + std::string(length - std::min(length, unique.size()), 'n'),
                           unique, true, std::string(length % 300, 'e'),
                           std::string(length % 70, 'c')});
    }
    nzfile* const zip = open(make(entries).bytes);
    ASSERT_NE(zip, nullptr);
    for (std::int32_t i = 0; i < zip->total * 2; ++i) {
        const std::int32_t index = i * 5 % zip->total;
        const Entry& expected = entries[static_cast<std::size_t>(index)];
        nzentry* const entry = ZIP_GetNextEntry(zip, index);
        ASSERT_NE(entry, nullptr);
        EXPECT_EQ(entry->name, expected.name);
        EXPECT_EQ(entry->comment == nullptr ? "" : entry->comment, expected.comment);
        nz::freeEntry(zip, entry);
        machine.calls.clearJournal();
        nz::freeEntry(zip, ZIP_GetNextEntry(zip, index));  // from the buffer that holds it
        EXPECT_EQ(machine.calls.count("ReadFile"), 0u) << index;
        EXPECT_EQ(content(zip, expected.name), expected.data);
    }
    nz::freeEntry(zip, ZIP_GetNextEntry(zip, 8));
    machine.calls.clearJournal();
    nz::freeEntry(zip, ZIP_GetNextEntry(zip, 9));  // a neighbour that the buffer holds
    EXPECT_EQ(machine.calls.count("ReadFile"), 0u);
    ZIP_Close(zip);
}

}  // namespace
