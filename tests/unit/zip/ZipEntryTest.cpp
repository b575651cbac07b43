#include <climits>
#include <cstring>

#include "unit/zip/ZipTest.h"

using archive::Archive;
using archive::Entry;
using archive::make;
using archive::number;

namespace {

TEST_F(ZipTest, NamesAreFoundByteForByte) {
    // "Aa" and "BB" have one hash; of two entries of one name the later one is found. The last name
    // has bytes that count as negative in the hash.
    const std::vector<Entry> entries = {{"AaAa", "1", true},  {"BBBB", "2"},  {"AaBB", "3", true},
                                        {"name", "4"},        {"Name", "5"},  {"name/", "", true},
                                        {"twice", "6"},       {"twice", "7"}, {"", "8", true},
                                        {"\xc3\xa9\xff", "9"}};
    nzfile* const zip = open(make(entries).bytes);
    ASSERT_NE(zip, nullptr);
    const auto hash = [&](std::size_t i) { return zip->entries[i].hash; };
    EXPECT_EQ(hash(0), hash(1));
    EXPECT_EQ(hash(8), 0u);
    // 31 * (31 * (0xc3 - 256) + (0xa9 - 256)) + (0xff - 256)
    EXPECT_EQ(hash(9), static_cast<std::uint32_t>(31 * (31 * -61 + -87) - 1));
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (i != 6) {
            EXPECT_EQ(content(zip, entries[i].name.c_str()), entries[i].data);
        }
    }
    for (std::size_t i = 0; i < entries.size(); ++i) {
        EXPECT_EQ(content(zip, ZIP_GetNextEntry(zip, static_cast<std::int32_t>(i))),
                  entries[i].data);
    }
    for (const char* missing : {"nam", "NAME", "name//", "BBAa", "\xc3\xa9"}) {
        std::int32_t size = -7;
        std::int32_t length = -7;
        EXPECT_EQ(ZIP_FindEntry(zip, missing, &size, &length), nullptr) << missing;
        EXPECT_EQ(size, -7);
        EXPECT_EQ(length, -7);
    }
    std::int32_t size = 0;
    std::int32_t length = 0;
    nzentry* const entry = ZIP_FindEntry(zip, "name", &size, &length);
    EXPECT_EQ(size, 1);
    EXPECT_EQ(length, 4);
    nz::freeEntry(zip, entry);
    EXPECT_EQ(ZIP_GetNextEntry(zip, -1), nullptr);
    EXPECT_EQ(ZIP_GetNextEntry(zip, zip->total), nullptr);
    EXPECT_EQ(ZIP_GetNextEntry(zip, INT_MAX), nullptr);
    ZIP_Close(zip);
}

TEST_F(ZipTest, TheEntryReleasedLastIsAtHand) {
    nzfile* const zip = open(make({{"a", "1"}, {"b", "2"}}).bytes);
    nzentry* const a = nz::findEntry(zip, "a");
    nzentry* const again = nz::findEntry(zip, "a");
    EXPECT_NE(a, again);
    nz::freeEntry(zip, a);
    EXPECT_EQ(zip->cache, a);
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
    Archive a = make({{"stored", "bytes", true},
                      {"deflated", std::string(500, 'x'), false, std::string("\x99\x99\x02\0hi", 6),
                       "entry comment"}});
    a.putCentral(1, 8, 0x0808, 2);
    nzfile* const zip = open(a.bytes);
    const auto expect = [&](nzentry* entry, std::size_t index) {
        ASSERT_NE(entry, nullptr);
        const char* const header = a.bytes.data() + a.centrals[index];
        EXPECT_EQ(entry->time, 0x58214321);
        std::uint32_t crc = 0;
        std::memcpy(&crc, header + 16, 4);
        EXPECT_EQ(entry->crc, crc);
        EXPECT_EQ(entry->size, index == 0 ? 5 : 500);
        EXPECT_EQ(entry->csize, index == 0 ? 0 : header[20]);
        EXPECT_EQ(entry->pos, -static_cast<std::int64_t>(a.locals[index]));
        EXPECT_EQ(entry->flag, index == 0 ? 0 : 0x0808);
        EXPECT_EQ(entry->nlen, index == 0 ? 6 : 8);
        if (index == 0) {
            EXPECT_EQ(entry->extra, nullptr);
            EXPECT_EQ(entry->comment, nullptr);
        } else {
            EXPECT_EQ(std::string(entry->extra, 8), std::string("\6\0\x99\x99\x02\0hi", 8));
            EXPECT_STREQ(entry->comment, "entry comment");
        }
        nz::freeEntry(zip, entry);
    };
    for (const std::size_t index : {1, 0}) {
        SCOPED_TRACE(index);
        expect(ZIP_GetNextEntry(zip, static_cast<std::int32_t>(index)), index);
        expect(nz::findEntry(zip, index == 0 ? "stored" : "deflated"), index);
    }
    ZIP_Close(zip);
}

TEST_F(ZipTest, Zip64RecordsReplaceTheFieldsThatAreFull) {
    const std::int64_t full = 0xffffffff;
    const std::string three = number(0x100000001, 8) + number(0x100000002, 8) + number(3, 8);
    const auto record = [](const std::string& data) {
        return number(1, 2) + number(data.size(), 2) + data;
    };
    struct Case {
        const char* what;
        std::string extra;
        std::int64_t fields[3];    // size, compressed size, offset in the header
        std::int64_t expected[3];  // in the entry
    };
    const Case cases[] = {
        {"all", record(three), {full, full, full}, {0x100000001, 0x100000002, 3}},
        {"size alone", record(three), {full, 7, 8}, {0x100000001, 7, 8}},
        {"compressed size and offset",
         record(three),
         {6, full, full},
         {6, 0x100000001, 0x100000002}},
        {"none", record(three), {6, 7, 8}, {6, 7, 8}},
        {"behind another",
         number(9, 2) + number(3, 2) + "abc" + record(three),
         {full, 7, 8},
         {0x100000001, 7, 8}},
        {"room for one", record(number(5, 8) + "1234567"), {full, full, full}, {5, full, full}},
        {"longer than the extra field",
         number(1, 2) + number(24, 2) + number(5, 8),
         {full, full, 8},
         {5, full, 8}},
        {"four bytes", number(1, 2) + number(0, 2), {full, 7, 8}, {full, 7, 8}},
        {"another that is too long",
         number(9, 2) + number(99, 2) + record(three),
         {full, 7, 8},
         {full, 7, 8}},
        {"negative",
         record(number(~0ull, 8) + number(1ull << 63, 8) + number(1ull << 63, 8)),
         {full, full, full},
         {-1, INT64_MIN, INT64_MIN}},
    };
    for (const bool stored : {false, true}) {
        for (const Case& c : cases) {
            SCOPED_TRACE(c.what);
            Archive a = make({{"e", "data", stored, c.extra}});
            a.putCentral(0, 24, static_cast<std::uint64_t>(c.fields[0]), 4);
            a.putCentral(0, 20, static_cast<std::uint64_t>(c.fields[1]), 4);
            a.putCentral(0, 42, static_cast<std::uint64_t>(c.fields[2]), 4);
            nzfile* const zip = open(a.bytes);
            nzentry* const entry = nz::findEntry(zip, "e");
            ASSERT_NE(entry, nullptr);
            EXPECT_EQ(entry->size, c.expected[0]);
            EXPECT_EQ(entry->csize, stored ? 0 : c.expected[1]);
            EXPECT_EQ(static_cast<std::uint64_t>(entry->pos),
                      0 - static_cast<std::uint64_t>(c.expected[2]));
            nz::freeEntry(zip, entry);
            ZIP_Close(zip);
        }
    }
}

TEST_F(ZipTest, LongHeadersAreReadWhole) {
    // Around the first guess of 160 bytes and the sequential buffer of 8192; the last header ends
    // where the file nearly does.
    std::vector<Entry> entries;
    for (const std::size_t length :
         {1, 113, 114, 115, 60000, 8145, 8146, 8147, 3000, 3000, 3000, 1}) {
        const std::string unique = std::to_string(entries.size());
        entries.push_back({unique + std::string(length - std::min(length, unique.size()), 'n'),
                           unique, true, std::string(length % 300, 'e'),
                           std::string(length % 70, 'c')});
    }
    nzfile* const zip = open(make(entries).bytes);
    ASSERT_NE(zip, nullptr);
    const auto count = static_cast<std::int32_t>(entries.size());
    for (const std::int32_t step : {1, 5, 7}) {
        for (std::int32_t i = 0; i < count; ++i) {
            const std::int32_t index = i * step % count;
            const Entry& expected = entries[static_cast<std::size_t>(index)];
            nzentry* const entry = ZIP_GetNextEntry(zip, index);
            ASSERT_NE(entry, nullptr);
            EXPECT_EQ(entry->name, expected.name);
            EXPECT_STREQ(entry->comment == nullptr ? "" : entry->comment, expected.comment.c_str());
            nz::freeEntry(zip, entry);
            machine.calls.clearJournal();
            nz::freeEntry(zip, ZIP_GetNextEntry(zip, index));  // from the buffer that holds it
            EXPECT_EQ(machine.calls.count("ReadFile"), 0u) << index;
            EXPECT_EQ(content(zip, expected.name.c_str()), expected.data);
        }
    }
    ZIP_Close(zip);
}

TEST_F(ZipTest, HeadersThatCannotBeReadAreNoEntries) {
    nzfile* const zip = open(make({{"a", "1"}, {"b", "2"}}).bytes);
    machine.calls.failAll("ReadFile");
    EXPECT_EQ(nz::findEntry(zip, "a"), nullptr);
    EXPECT_EQ(ZIP_GetNextEntry(zip, 0), nullptr);
    machine.calls.clearPlans();
    EXPECT_EQ(content(zip, "a"), "1");
    EXPECT_EQ(content(zip, ZIP_GetNextEntry(zip, 1)), "2");
    ZIP_Close(zip);
}

}  // namespace
