// Archives and their entries: opened, found and told.
#include <cerrno>

#include "unit/zip/ZipTest.h"
#include "zip/File.h"

using archive::Archive;
using archive::Entry;
using archive::make;
using archive::number;

namespace {

const Archive kPlain = make({{"a", "first", true}, {"META-INF/x", "second"}, {"", "3", true}});
const std::size_t kSize = kPlain.end - kPlain.directory;

Archive bytes(const std::string& text) {
    Archive a = kPlain;
    a.bytes = text;
    return a;
}

/// The plain archive with a ZIP64 end record and its locator in front of the end header, whose own
/// fields say that it is there.
Archive zip64(std::uint64_t count, std::uint64_t size, std::uint64_t offset) {
    Archive a = kPlain;
    const std::string record = std::string("PK\x06\x06") + number(44, 8) + number(45, 2) +
                               number(45, 2) + number(0, 8) + number(count, 8) + number(count, 8) +
                               number(size, 8) + number(offset, 8);
    a.bytes.insert(a.end, record + "PK\x06\x07" + number(0, 4) + number(a.end, 8) + number(1, 4));
    a.end += record.size() + 20;
    a.bytes.replace(a.end + 8, 12, 12, '\xff');
    return a;
}

TEST_F(ZipTest, NamesAreFoundByteForByte) {
    // "Aa" and "BB" have one hash. The last name has bytes that count as negative in the hash.
    std::vector<Entry> entries;
    for (const char* name :
         {"AaAa", "BBBB", "Name", "META-INF/", "twice", "twice", "", "meta-inf/a", "META-INF",
          "NETA-INF/d", "Meta-Inf/b", "\xc3\xa9\xff"}) {
        entries.push_back({name, std::to_string(entries.size()), entries.size() % 2 == 0});
    }
    nzfile* const zip = openWhole(make(entries));
    EXPECT_EQ(zip->entries[0].hash, zip->entries[1].hash);
    // 31 * (31 * (0xc3 - 256) + (0xa9 - 256)) + (0xff - 256)
    EXPECT_EQ(zip->entries[11].hash, static_cast<std::uint32_t>(31 * (31 * -61 + -87) - 1));
    std::int32_t size = -7;
    std::int32_t length = -7;
    for (const char* missing : {"Nam", "NAME", "Name/", "AaBB"}) {
        EXPECT_EQ(ZIP_FindEntry(zip, missing, &size, &length), nullptr) << missing;
        EXPECT_EQ(std::max(size, length), -7);
    }
    nzentry* const name = ZIP_FindEntry(zip, "Name", &size, &length);
    EXPECT_EQ(std::pair(size, length), std::pair(1, 4));
    // The entry released last is at hand, for one.
    nz::freeEntry(zip, name);
    EXPECT_EQ(nz::findEntry(zip, "Name"), name);
    EXPECT_EQ(zip->cache, nullptr);
    nz::freeEntry(zip, name);
    // Names below "META-INF/", in any case of letters.
    EXPECT_EQ(std::vector<std::string>(zip->metanames, zip->metanames + zip->metacurrent),
              (std::vector<std::string>{"META-INF/", "meta-inf/a", "Meta-Inf/b"}));
    EXPECT_EQ(zip->metacount, 4);
    ZIP_Close(zip);

    nzfile* const empty = openWhole(make({}), "stub");
    EXPECT_EQ(nz::findEntry(empty, ""), nullptr);
    ZIP_Close(empty);
}

TEST_F(ZipTest, LongHeadersAreReadWhole) {
    // Around the first guess of 160 bytes and the sequential buffer of 8192; the last header ends
    // where the file nearly does.
    std::vector<Entry> entries;
    for (const std::size_t length : {1, 113, 114, 115, 60000, 8145, 8146, 8147, 3000, 3000, 1}) {
        const std::string unique = std::to_string(entries.size());
        entries.push_back({unique + std::string(length, 'n'), unique, length % 2 == 0,
                           std::string(length % 300, 'e'), std::string(length % 70, 'c'), 0x0808});
    }
    nzfile* const zip = openWhole(make(entries));
    nz::freeEntry(zip, ZIP_GetNextEntry(zip, 8));
    machine.calls.clearJournal();
    nz::freeEntry(zip, ZIP_GetNextEntry(zip, 8));
    nz::freeEntry(zip, ZIP_GetNextEntry(zip, 9));  // a neighbour that the buffer holds
    EXPECT_EQ(machine.calls.count("ReadFile"), 0u);
    ZIP_Close(zip);
}

TEST_F(ZipTest, Zip64RecordsReplaceTheFieldsThatAreFull) {
    const std::uint64_t full = 0xffffffff;
    const auto record = [](const std::string& data, std::size_t size, std::uint64_t tag = 1) {
        return number(tag, 2) + number(size, 2) + data;
    };
    const std::string three =
        record(number(0x100000001, 8) + number(0x100000002, 8) + number(1ull << 63, 8), 24);
    const struct {
        std::string extra;
        std::uint64_t fields[3];             // size, compressed size, offset in the header
        std::vector<std::int64_t> expected;  // in the entry
    } cases[] = {
        {three, {full, full, full}, {0x100000001, 0x100000002, INT64_MIN}},
        {three, {6, full, full}, {6, 0x100000001, 0x100000002}},
        {three, {6, 7, 8}, {6, 7, 8}},
        {record("abc", 3, 9) + three, {full, 7, 8}, {0x100000001, 7, 8}},
        {record(number(5, 8) + "1234567", 15), {full, full, full}, {5, full, full}},
        {record(number(5, 8) + "1234", 24),
         {full, full, 8},
         {5, full, 8}},  // longer than the extra field
        {record(three, 99, 9), {full, 7, 8}, {full, 7, 8}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        nzfile* const zip =
            open(changed(make({{"e", "data", false, c.extra}}), {{'c', 0, 24, c.fields[0], 4},
                                                                 {'c', 0, 20, c.fields[1], 4},
                                                                 {'c', 0, 42, c.fields[2], 4}})
                     .bytes);
        nzentry* const e = nz::findEntry(zip, "e");
        const auto offset = static_cast<std::int64_t>(0 - static_cast<std::uint64_t>(e->pos));
        EXPECT_EQ((std::vector<std::int64_t>{e->size, e->csize, offset}), c.expected);
        nz::freeEntry(zip, e);
        ZIP_Close(zip);
    }
}

TEST_F(ZipTest, WhatIsWrongWithAnArchiveIsSaid) {
    const char* const size = "invalid END header (bad central directory size)";
    const char* const offset = "invalid END header (bad central directory offset)";
    const char* const header = "invalid CEN header (bad header size)";
    const char* const zip64Values = "Zip64 END values exceed supported size";
    Archive longer = kPlain;
    longer.bytes.insert(longer.end++, "x");
    const Archive junk = bytes(kPlain.bytes + "junk");
    const struct {
        Archive archive;
        std::vector<Put> puts;
        const char* expected;
    } cases[] = {
        {bytes(""), {}, "zip file is empty"},
        {bytes(kPlain.bytes.substr(0, kPlain.bytes.size() - 1)), {}, "null"},
        // The header's place: the lowest that a comment allows, and one below.
        {bytes(std::string(200, 's') + kPlain.bytes + std::string(65535, 'x')), {}, "opened"},
        {bytes(std::string(200, 's') + kPlain.bytes + std::string(65700, 'x')), {}, "null"},
        {junk, {}, "opened"},
        {junk, {{'l', 0, 0, 0, 4}}, "null"},  // neither as long as it says nor verified
        {junk, {{'c', 0, 0, 0, 4}}, "null"},
        {make({}), {{'e', 0, 12, 46, 4}}, "opened"},  // at position 0 whatever it says
        {kPlain, {{'e', 0, 12, kPlain.end + 1, 4}}, size},
        {kPlain, {{'e', 0, 16, kPlain.directory + 1, 4}}, offset},
        {make({{"a", "first", true}, {"b", ""}}), {{'e', 0, 10, 0xffff, 2}}, "opened"},
        {kPlain, {{'c', 1, 10, 9, 2}, {'c', 1, 0, 0, 1}}, "invalid CEN header (bad signature)"},
        {kPlain, {{'c', 1, 8, 1, 2}}, "invalid CEN header (encrypted entry)"},
        {kPlain, {{'c', 1, 10, 9, 2}}, "invalid CEN header (bad compression method)"},
        {kPlain, {{'c', 2, 28, 1, 2}}, header},  // the name
        {kPlain, {{'c', 2, 32, 1, 2}}, header},  // the comment
        {longer, {{'e', 0, 12, kSize + 1, 4}}, header},
        // One field that is full is enough to ask the record.
        {zip64(3, 1ull << 63, 0), {{'e', 0, 10, 3, 2}, {'e', 0, 16, 0, 4}}, zip64Values},
        {zip64(3, kSize, 1ull << 63), {{'e', 0, 10, 3, 2}, {'e', 0, 12, 0, 4}}, zip64Values},
        {zip64(0x80000000, 0, 0), {{'e', 0, 12, 0, 4}, {'e', 0, 16, 0, 4}}, zip64Values},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        nzfile* const zip = open(changed(c.archive, c.puts).bytes);
        EXPECT_STREQ(message == nullptr ? (zip == nullptr ? "null" : "opened") : message,
                     c.expected);
        EXPECT_EQ(ZIP_Open("C:\\a.zip", nullptr), zip);
        for (int opens = zip == nullptr ? 0 : 2; opens > 0; --opens) {
            ZIP_Close(zip);
        }
    }
    for (const std::string& name :
         {std::string("C:\\\xff\xfe.zip"), std::string(259, 'n'), std::string(260, 'n')}) {
        EXPECT_EQ(open("", name.c_str()), nullptr);
        EXPECT_STREQ(message, name.size() < 260 ? "ZFILE_Open failed" : "zip file name too long");
    }
    machine.calls.failCall("SetFilePointerEx", 1);
    EXPECT_EQ(open("x"), nullptr);
    EXPECT_STREQ(message, "IO_Lseek failed");
}

TEST_F(ZipTest, ACountIsOnlyAHint) {
    // The claimed count, and the slots that the table gets for it in the end.
    for (const auto& [real, claimed, slots] :
         {std::tuple(5u, 3u, 3), std::tuple(7u, 0u, 3), std::tuple(3u, 65534u, 32767),
          std::tuple(0u, 7u, 3), std::tuple(200u, 1u, 101)}) {
        const std::vector<Entry> entries(real, {"n", "", true});
        nzfile* const zip = openWhole(changed(make(entries), {{'e', 0, 10, claimed, 2}}), "stub");
        EXPECT_EQ(zip->tablelen, slots);
        ZIP_Close(zip);
    }
    // What a ZIP64 record claims beyond all reason costs no memory.
    nzfile* const zip = openWhole(zip64(0x7fffffff, kSize, kPlain.directory));
    EXPECT_EQ(zip->tablelen, 32767);
    ZIP_Close(zip);
}

TEST_F(ZipTest, TheEndHeaderIsFoundBehindAnyCommentAndStub) {
    for (const std::size_t length : {1, 84, 85, 106, 107, 65535}) {
        std::string comment(length, 'c');
        if (length > 200) {
            comment.replace(100, 22, std::string("PK\x05\x06") + std::string(18, '\1'));
        }
        ZIP_Close(openWhole(make(kPlain.entries, comment), std::string(length % 3 * 7000, 's')));
    }
    // A comment that the file cuts short is what is there of it, as long as the header verifies.
    ZIP_Close(openWhole(changed(make(kPlain.entries, "cut short"), {{'e', 0, 20, 60000, 2}})));
}

TEST_F(ZipTest, OneObjectServesAllWhoOpenAName) {
    errno = ENOENT;
    nzfile* const zip = open(kPlain.bytes);
    EXPECT_EQ(errno, 0);
    EXPECT_EQ(open("changed on disk"), zip);
    EXPECT_EQ(ZIP_Open("c:\\a.zip", nullptr), nullptr);  // another name, though the same file
    // The one object takes no more opens than this; then the name gets another.
    for (int opens = 2; opens < 65535; ++opens) {
        ASSERT_EQ(ZIP_Open("C:\\a.zip", nullptr), zip);
    }
    EXPECT_EQ(ZIP_Open("C:\\a.zip", nullptr), nullptr);
    nzfile* const second = open(kPlain.bytes);
    for (int opens = 0; opens < 65535; ++opens) {
        EXPECT_EQ(machine.handles.open().size(), 2u);
        ZIP_Close(zip);  // from inside the list
    }
    EXPECT_EQ(ZIP_Open("C:\\a.zip", nullptr), second);
    ZIP_Close(second);
    ZIP_Close(second);
    EXPECT_EQ(ZIP_Open("C:\\a.zip", nullptr), nullptr);
}

/// An archive of a client that closes it as the process ends.
struct ClosesLate {
    ~ClosesLate() {
        if (zip != nullptr) {
            ZIP_Close(zip);
        }
    }
    nzfile* zip = nullptr;
} closesLate;

TEST_F(ZipTest, AnArchiveMayBeClosedAsTheProcessEnds) {
    EXPECT_EXIT((closesLate.zip = open(kPlain.bytes), std::exit(0)), testing::ExitedWithCode(0),
                "");
}

TEST_F(ZipTest, LongNamesAreOpenedAsLongPaths) {
    const std::string deep = "\\" + std::string(150, 'd') + "\\" + std::string(150, 'n');
    const std::string longest = "C:\\" + std::string(200, 'd') + "\\" + std::string(55, 'n');
    machine.volumes.addShare(u"\\\\server\\share");
    for (const auto& [name, path] :
         {std::pair(longest, longest), std::pair("C:" + deep, "\\\\?\\C:" + deep),
          std::pair("\\\\?\\C:" + deep, "\\\\?\\C:" + deep),
          std::pair("\\\\server\\share" + deep, "\\\\?\\UNC\\server\\share" + deep)}) {
        machine.volumes.addFile(std::u16string(path.begin(), path.end()), path);
        const HANDLE file = nz::openFile(name.c_str());
        ASSERT_NE(file, INVALID_HANDLE_VALUE) << name;
        EXPECT_EQ(nz::fileLength(file), std::ssize(path));
        CloseHandle(file);
    }
}

TEST_F(ZipTest, AReadIsTriedAgainWhenInterrupted) {
    machine.volumes.addFile(u"C:\\a.zip", "bytes");
    const HANDLE file = nz::openFile("C:\\a.zip");
    char buffer[8] = {};
    const auto reads = [&](int error, DWORD status, std::uint64_t failing) {
        errno = error;
        for (std::uint64_t n = 1; n <= failing; ++n) {
            machine.calls.failCall("ReadFile", n, status);
        }
        const bool done = nz::readAt(file, 0, buffer, 5);
        machine.calls.clearPlans();
        return done;
    };
    EXPECT_TRUE(reads(EINTR, ERROR_ACCESS_DENIED, 1));
    EXPECT_STREQ(buffer, "bytes");
    EXPECT_FALSE(reads(EINTR, ERROR_ACCESS_DENIED, 2));
    EXPECT_FALSE(reads(EINTR, ERROR_BROKEN_PIPE, 1));
    EXPECT_FALSE(reads(0, ERROR_ACCESS_DENIED, 1));
    EXPECT_FALSE(nz::readAt(file, 1, buffer, 5));
    EXPECT_FALSE(nz::readAt(file, -1, buffer, 1));
    CloseHandle(file);
}

}  // namespace
