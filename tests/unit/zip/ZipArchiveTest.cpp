// Archives and their entries: opened, found, told and read.
#include <cerrno>
#include <memory>

#include "unit/zip/ZipTest.h"
#include "zip/File.h"

using namespace archive;

namespace {

const Archive kPlain =
    make({{"e", "data", true}, {"META-INF/x", "second"}, {"", "3", true, "", "c"}});
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

/// One entry with a ZIP64 record of these values behind other records; its comment would fit too.
Archive extended(const std::string& others, std::uint64_t length,
                 const std::vector<std::uint64_t>& values) {
    std::string extra = others + number(1, 2) + number(length, 2);
    for (const std::uint64_t value : values) {
        extra += number(value, 8);
    }
    return make({{"e", "data", false, extra, number(6, 8)}});
}

/// Bytes that can't be deflated.
std::string noise(std::size_t length) {
    std::string text;
    for (std::uint32_t x = 1; text.size() < length; x = x * 1664525 + 1013904223) {
        text += static_cast<char>(x >> 24);
    }
    return text;
}

TEST_F(ZipTest, NamesAreFoundByteForByte) {
    // "Aa" and "BB" have one hash. The last name has bytes that count as negative in the hash.
    std::vector<Entry> entries;
    for (const char* name : {"AaAa", "BBBB", "Name", "META-INF/", "META-INFO", "twice", "twice", "",
                             "meta-inf/a", "NETA-INF/d", "Meta-Inf/b", "\xc3\xa9\xff"}) {
        entries.push_back({name, std::to_string(entries.size()), entries.size() % 2 == 0});
    }
    nzfile* const zip = openWhole(make(entries));
    EXPECT_EQ(zip->entries[11].hash,
              static_cast<std::uint32_t>(31 * (31 * (0xc3 - 256) + 0xa9 - 256) + 0xff - 256));
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
}

TEST_F(ZipTest, LongHeadersAreReadWhole) {
    // Around the first guess of 160 bytes and the sequential buffer of 8192; the last header ends
    // where the file nearly does.
    std::vector<Entry> entries;
    for (const std::size_t length : {1, 113, 114, 115, 60000, 8064, 8065, 8066, 3000, 3000, 1}) {
        const std::string unique = std::to_string(entries.size());
        entries.push_back({unique + std::string(length, 'n'), unique, length % 2 == 0,
                           std::string(length / 200, 'e'), std::string(length / 200, 'c'), 0x0808});
    }
    nzfile* const zip = openWhole(make(entries));
    nz::freeEntry(zip, ZIP_GetNextEntry(zip, 8));
    machine.calls.clearJournal();
    nz::freeEntry(zip, ZIP_GetNextEntry(zip, 8));
    nz::freeEntry(zip, ZIP_GetNextEntry(zip, 9));  // a neighbour that the buffer holds
    EXPECT_EQ(machine.calls.count("ReadFile"), 0u);
    ZIP_Close(zip);
}

TEST_F(ZipTest, AnArchiveIsReadOrItsFaultTold) {
    const std::string big = noise(10000);  // three pieces
    const std::uint64_t packed = deflated(big).size();
    const Archive stored = make({{"e", "data", true}});
    const Archive small = make({{"e", "data"}});
    const Archive noisy = make({{"e", big}});
    const Archive piece = make({{"e", noise(4091)}});  // 4096 bytes
    const Archive farthest = bytes(kPlain.bytes + std::string(65535, 'x'));
    // Fields of a central header that are full.
    const Put fullSize = {'c', 0, 24, 0xffffffff, 4};
    const Put fullPacked = {'c', 0, 20, 0xffffffff, 4};
    const Put fullPlace = {'c', 0, 42, 0xffffffff, 4};
    const std::string other = number(9, 2) + number(3, 2) + "abc";
    const char* const size = "invalid END header (bad central directory size)";
    const char* const offset = "invalid END header (bad central directory offset)";
    const char* const header = "invalid CEN header (bad header size)";
    const char* const zip64Values = "Zip64 END values exceed supported size";
    const char* const end = "inflateFully: Unexpected end of stream";
    const char* const badSize = "ZIP_Read: corrupt zip file: invalid entry size";
    const struct {
        Archive made;
        std::vector<Put> puts;
        std::string expected;  // the data, or why it can't be opened or read
    } cases[] = {
        {bytes(""), {}, "zip file is empty"},
        {bytes(kPlain.bytes.substr(0, kPlain.bytes.size() - 1)), {}, "null"},
        // As low as a comment allows, and lower.
        {farthest, {}, "data"},
        {bytes(farthest.bytes + std::string(165, 'x')), {}, "null"},
        {farthest, {{'l', 0, 0, 0, 4}}, "null"},  // neither as long as it says nor verified
        {farthest, {{'c', 0, 0, 0, 4}}, "null"},
        {make({}), {{'e', 0, 12, 46, 4}}, "no entry"},  // at position 0 whatever it says
        {kPlain, {{'e', 0, 12, kPlain.end + 1, 4}}, size},
        {kPlain, {{'e', 0, 16, kPlain.directory + 1, 4}}, offset},
        {make({kPlain.entries[0], {"b", ""}}), {{'e', 0, 10, 0xffff, 2}}, "data"},
        {kPlain, {{'c', 1, 10, 9, 2}, {'c', 1, 0, 0, 1}}, "invalid CEN header (bad signature)"},
        {kPlain, {{'c', 1, 8, 1, 2}}, "invalid CEN header (encrypted entry)"},
        {kPlain, {{'c', 1, 10, 9, 2}}, "invalid CEN header (bad compression method)"},
        {kPlain, {{'c', 2, 28, 2, 2}}, header},  // the name
        {kPlain, {{'c', 2, 32, 0, 2}}, header},  // the comment
        {kPlain, {{'c', 2, 32, 2, 2}}, header},
        // One field that is full is enough to ask the record.
        {zip64(3, 1ull << 63, 0), {{'e', 0, 10, 3, 2}, {'e', 0, 16, 0, 4}}, zip64Values},
        {zip64(3, kSize, 1ull << 63), {{'e', 0, 10, 3, 2}, {'e', 0, 12, 0, 4}}, zip64Values},
        {zip64(0x80000000, 0, 0), {{'e', 0, 12, 0, 4}, {'e', 0, 16, 0, 4}}, zip64Values},
        // A ZIP64 record has a value for each field that is full, in order.
        {extended("", 24, {4, 6, 0}), {fullSize, fullPacked, fullPlace}, "data"},
        {extended("", 16, {6, 0}), {fullPacked, fullPlace}, "data"},
        {extended("", 24, {7, 7, 7}), {}, "data"},
        {extended(other, 8, {4}), {fullSize}, "data"},
        {extended("", 15, {4, 6}), {fullSize, fullPacked}, badSize},
        {extended("", 24, {4}), {fullSize, fullPacked}, badSize},  // longer than the extra field
        {extended(number(9, 2) + number(99, 2), 8, {4}), {fullSize}, end},
        {extended("", 8, {1ull << 63}), {fullPlace}, "error reading zip file"},
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
        {noisy, {{'c', 0, 20, packed + 1, 4}}, end},
        {piece, {{'c', 0, 20, 4097, 4}}, end},
        {small, {{'c', 0, 20, deflated("data").size() - 1, 4}}, "data"},
        {small, {{'l', 0, 31, 0xff, 1}}, "invalid block type"},
    };
    for (const auto& c : cases) {
        nzfile* const zip = open(changed(c.made, c.puts).bytes);
        std::string result = message == nullptr ? "null" : message;
        if (zip != nullptr) {
            EXPECT_EQ(result, "null");
            result = content(zip, "e");
            ZIP_Close(zip);
        }
        EXPECT_TRUE(result == c.expected || result == "|C:\\a.zip: " + c.expected + "\n")
            << &c - cases << ": " << result;
    }
    ZIP_Close(openWhole(make({{"stored", big, true},
                              {"deflated", big},
                              {"packs well", std::string(300000, '\0')},
                              {"empty", "", true, "x"},
                              {"deflated empty", ""},
                              {"", "nameless"}})));
    for (const std::string& name :
         {std::string("C:\\\xff\xfe.zip"), std::string(259, 'n'), std::string(260, 'n')}) {
        EXPECT_EQ(open("", name.c_str()), nullptr);
        EXPECT_STREQ(message, name.size() < 260 ? "ZFILE_Open failed" : "zip file name too long");
    }
    machine.calls.failCall("SetFilePointerEx", 1);
    EXPECT_EQ(open("x"), nullptr);
    EXPECT_STREQ(message, "IO_Lseek failed");
    nzfile* const zip = open(kPlain.bytes);
    nzentry* const e = nz::findEntry(zip, "e");
    machine.calls.failCall("ReadFile", 2);
    EXPECT_EQ(content(zip, e), "|C:\\a.zip: ZIP_Read: error reading zip file\n");
    EXPECT_EQ(written([&] { EXPECT_EQ(ZIP_ReadEntry(zip, nullptr, nullptr, nullptr), 0); }),
              "|nzentry was invalid");
    ZIP_Close(zip);
}

TEST_F(ZipTest, CountCommentAndStubMayBeAny) {
    // The count is only a hint, and gets the table its slots; what a ZIP64 record claims beyond all
    // reason costs no memory.
    const Archive many = make(std::vector<Entry>(200, {"", "", true}));
    for (const auto& [made, slots] :
         {std::pair(changed(many, {{'e', 0, 10, 1, 2}}), 101),
          std::pair(zip64(0x7fffffff, kSize, kPlain.directory), 32767)}) {
        nzfile* const zip = openWhole(made);
        EXPECT_EQ(zip->tablelen, slots);
        ZIP_Close(zip);
    }
    for (const std::size_t length : {1, 84, 85, 106, 107, 65535}) {
        std::string comment(length, 'c');
        if (length > 200) {
            comment.replace(100, 22, std::string("PK\x05\x06") + std::string(18, '\1'));
            comment.replace(length - 279, 22, 'P' + std::string(21, '\1'));
        }
        ZIP_Close(openWhole(make(kPlain.entries, comment), std::string(length % 3 * 7000, 's')));
    }
    ZIP_Close(openWhole(make({}, "comment"), "stub"));
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
std::unique_ptr<nzfile, decltype(&ZIP_Close)> closedLate(nullptr, ZIP_Close);

TEST_F(ZipTest, AnArchiveMayBeClosedAsTheProcessEnds) {
    EXPECT_EXIT((closedLate.reset(open(kPlain.bytes)), std::exit(0)), testing::ExitedWithCode(0),
                "");
}

TEST_F(ZipTest, AReadIsTriedAgainWhenInterrupted) {
    machine.volumes.addFile(u"C:\\a.zip", "bytes");
    const HANDLE file = nz::openFile("C:\\a.zip");
    char buffer[8] = {};
    for (const auto& [status, failing, done] :
         {std::tuple(ERROR_ACCESS_DENIED, 2u, false), std::tuple(ERROR_BROKEN_PIPE, 1u, false),
          std::tuple(ERROR_ACCESS_DENIED, 1u, true)}) {
        errno = EINTR;
        machine.calls.failCall("ReadFile", 1, status);
        machine.calls.failCall("ReadFile", failing, status);
        EXPECT_EQ(nz::readAt(file, 0, buffer, 5), done);
        machine.calls.clearPlans();
    }
    EXPECT_STREQ(buffer, "bytes");
    CloseHandle(file);
}

}  // namespace
