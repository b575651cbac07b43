#include <sys/resource.h>

#include "unit/zip/ZipTest.h"
#include "windows/common/Crypto.h"
#include "windows/common/unzip/unzip.h"

using archive::make;
using archive::number;

namespace {

/// What a thrown exception says behind its file and line: "<function>(): <text>", or "no throw".
template <class Action>
std::string thrown(const char* file, Action action) {
    try {
        action();
    } catch (const std::runtime_error& error) {
        const std::string what = error.what();
        EXPECT_TRUE(what.starts_with(std::string(file) + "(")) << what;
        return what.substr(what.find(") at ") + 5);
    }
    return "no throw";
}

TEST_F(ZipTest, FilesGiveTheirEntriesOrThrow) {
    const std::string manifest = "Manifest-Version: 1.0\r\nImplementation-Version: 11.0.2\r\n\n";
    const auto zip64 = [](std::uint64_t size) {
        return number(1, 2) + number(8, 2) + number(size, 8);
    };
    // "touches" claims 4 GB and has the bytes that could deflate to as much.
    ZIP_Close(open(changed(make({{"META-INF/", "", true},
                                 {"META-INF/MANIFEST.MF", manifest},
                                 {"empty", "", true},
                                 {"", "nameless", true},
                                 {"broken", "data", true},
                                 {"huge", "x", false, zip64(0x100000000)},
                                 {"claims", "x"},
                                 {"negative", "x", false, zip64(~0ull)},
                                 {"\xc3\xa9", "accent"},
                                 {"touches", std::string(0x3fb000, 'x'), true}}),
                           {{'l', 4, 0, 0, 4},
                            {'c', 5, 24, 0xffffffff, 4},
                            {'c', 6, 24, 0xfffffffe, 4},
                            {'c', 7, 24, 0xffffffff, 4},
                            {'c', 9, 10, 8, 2},
                            {'c', 9, 24, 0xfffffffe, 4}})
                       .bytes));
    ZipFile moved(_T("C:\\a.zip"));
    ZipFile file(std::move(moved));
    EXPECT_EQ(file.extractEntryAsUtf8String(_T("META-INF/MANIFEST.MF")), manifest);
    EXPECT_EQ(file.extractEntryAsUtf8String(_T("empty")), "");
    EXPECT_EQ(file.extractEntryAsUtf8String(_T("\u00e9")), "accent");

    const std::string extract = "ZipFile::extractEntryAsUtf8String(): ";
    const std::string entry = extract + "Zip entry ";
    const std::string read =
        "`anonymous-namespace'::extractEntryInMemory::operator ()(): ZIP_ReadEntry(C:\\a.zip, ";
    const std::string directory =
        " from C:\\a.zip archive is a directory and can't be extracted into memory";
    const std::string tooLarge = " from C:\\a.zip archive is too large to be extracted into memory";
    const struct {
        const TCHAR* entry;
        std::string what;
    } cases[] = {
        {_T("none"),
         "`anonymous-namespace'::ZipFileEntry::ZipFileEntry(): "
         "ZIP_FindEntry(C:\\a.zip, none) failed"},
        {_T("META-INF"), entry + "META-INF" + directory},
        {_T("META-INF/"), entry + "META-INF/" + directory},
        {_T(""), extract + "Unexpected empty name of zip entry  from C:\\a.zip"},
        {_T("huge"), entry + "huge" + tooLarge},
        {_T("negative"), entry + "negative" + tooLarge},
        {_T("broken"), read + "broken) failed"},
        {_T("claims"), read + "claims) failed"},
        {_T("touches"), read + "touches) failed"},
    };
    for (const auto& c : cases) {
        const StderrWrites writes;
        EXPECT_EQ(thrown("unzip.cpp", [&] { file.extractEntryAsUtf8String(c.entry); }), c.what);
    }
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    EXPECT_LT(usage.ru_maxrss, 1 << 20) << "in KB: what \"touches\" claims was not made use of";

    machine.volumes.addFile(u"C:\\text.zip", "no archive");
    const std::string opening = "ZipFile::ZipFile(): ZIP_Open(C:\\";
    EXPECT_EQ(thrown("unzip.cpp", [] { ZipFile(_T("C:\\text.zip")); }),
              opening + "text.zip) failed. Error: unknown");
    EXPECT_EQ(thrown("unzip.cpp", [] { ZipFile(_T("C:\\none\\x.zip")); }),
              opening + "none\\x.zip) failed. Error: ZFILE_Open failed");
    ZipFile other(_T("C:\\a.zip"));
    file = std::move(other);
    EXPECT_EQ(machine.handles.open().size(), 1u);
}

TEST(Crypto, AHashStringIs64LowerCaseDigits) {
    const tstring good = _T("0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef");
    EXPECT_EQ(verifyChecksumString(good, "sha256"), good);
    const struct {
        tstring value;
        const char* before;
    } cases[] = {
        {_T(""), "Unexpected length of "},
        {good.substr(1), "Unexpected length of "},
        {good + _T("0"), "Unexpected length of "},
        {good.substr(1) + _T("F"), "Illegal character in "},
        {_T("g") + good.substr(1), "Illegal character in "},
        {good.substr(1) + _T(" "), "Illegal character in "},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(thrown("Crypto.cpp", [&] { verifyChecksumString(c.value, "sha256"); }),
                  "verifyChecksumString(): " + std::string(c.before) +
                      std::string(c.value.begin(), c.value.end()) + " sha256 hash string.");
    }
}

}  // namespace
