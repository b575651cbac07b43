#include <sys/resource.h>

#include "unit/zip/ZipTest.h"
#include "windows/common/Crypto.h"
#include "windows/common/unzip/unzip.h"

using archive::Archive;
using archive::make;

namespace {

/// What a thrown exception says behind its file and line: " at <function>(): <text>", or "no
/// throw".
template <class Action>
std::string thrown(const char* file, Action action) {
    try {
        action();
    } catch (const std::runtime_error& error) {
        const std::string what = error.what();
        EXPECT_EQ(what.rfind(std::string(file) + "(", 0), 0u) << what;
        return what.substr(what.find(") at ") + 5);
    }
    return "no throw";
}

TEST_F(ZipTest, FilesGiveTheirEntriesOrThrow) {
    const std::string manifest = "Manifest-Version: 1.0\r\nImplementation-Version: 11.0.2\r\n\n";
    Archive a =
        make({{"META-INF/", "", true},
              {"META-INF/MANIFEST.MF", manifest},
              {"empty", "", true},
              {"", "nameless", true},
              {"broken", "data", true},
              {"huge", "x", false,
               archive::number(1, 2) + archive::number(8, 2) + archive::number(0x100000000, 8)},
              {"claims", "x"},
              {"negative", "x", false,
               archive::number(1, 2) + archive::number(8, 2) + archive::number(~0ull, 8)},
              {"\xc3\xa9", "accent"},
              {"touches", std::string(0x3fb000, 'x'), true}});
    a.putLocal(4, 0, 0, 4);
    a.putCentral(5, 24, 0xffffffff, 4);
    a.putCentral(6, 24, 0xfffffffe, 4);
    a.putCentral(7, 24, 0xffffffff, 4);
    a.putCentral(9, 10, 8, 2);
    a.putCentral(9, 24, 0xfffffffe, 4);
    place(a.bytes);
    ZipFile moved(_T("C:\\a.zip"));
    ZipFile file(std::move(moved));
    EXPECT_EQ(file.extractEntryAsUtf8String(_T("META-INF/MANIFEST.MF")), manifest);
    EXPECT_EQ(file.extractEntryAsUtf8String(_T("empty")), "");
    EXPECT_EQ(file.extractEntryAsUtf8String(_T("\u00e9")), "accent");

    const std::string extract = "ZipFile::extractEntryAsUtf8String(): ";
    const std::string read = "`anonymous-namespace'::extractEntryInMemory::operator ()(): ";
    const std::string find = "`anonymous-namespace'::ZipFileEntry::ZipFileEntry(): ";
    const std::string directory =
        " from C:\\a.zip archive is a directory and can't be extracted into memory";
    const std::string tooLarge = " from C:\\a.zip archive is too large to be extracted into memory";
    const struct {
        const TCHAR* entry;
        std::string what;
    } cases[] = {
        {_T("none"), find + "ZIP_FindEntry(C:\\a.zip, none) failed"},
        {_T("META-INF"), extract + "Zip entry META-INF" + directory},
        {_T("META-INF/"), extract + "Zip entry META-INF/" + directory},
        {_T(""), extract + "Unexpected empty name of zip entry  from C:\\a.zip"},
        {_T("huge"), extract + "Zip entry huge" + tooLarge},
        {_T("negative"), extract + "Zip entry negative" + tooLarge},
        {_T("broken"), read + "ZIP_ReadEntry(C:\\a.zip, broken) failed"},
        {_T("claims"), read + "ZIP_ReadEntry(C:\\a.zip, claims) failed"},
        {_T("touches"), read + "ZIP_ReadEntry(C:\\a.zip, touches) failed"},
    };
    for (const auto& c : cases) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(thrown("unzip.cpp", [&] { file.extractEntryAsUtf8String(c.entry); }), c.what);
        testing::internal::GetCapturedStderr();
    }

    // The 4 GB that "touches" claims, and may hold, were not made use of.
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    EXPECT_LT(usage.ru_maxrss, 1 << 20) << "in KB";

    machine.volumes.addFile(u"C:\\text.zip", "no archive");
    EXPECT_EQ(thrown("unzip.cpp", [] { ZipFile(_T("C:\\text.zip")); }),
              "ZipFile::ZipFile(): ZIP_Open(C:\\text.zip) failed. Error: unknown");
    EXPECT_EQ(thrown("unzip.cpp", [] { ZipFile(_T("C:\\none\\x.zip")); }),
              "ZipFile::ZipFile(): ZIP_Open(C:\\none\\x.zip) failed. Error: ZFILE_Open failed");
    ZipFile other(_T("C:\\a.zip"));
    file = std::move(other);
    EXPECT_EQ(machine.handles.open().size(), 1u);
}

TEST(Crypto, AHashStringIs64LowerCaseDigits) {
    const tstring good = _T("0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef");
    EXPECT_EQ(verifyChecksumString(good, "sha256"), good);
    tstring upper = good;
    upper[63] = _T('F');
    const auto utf8 = [](const tstring& text) { return std::string(text.begin(), text.end()); };
    const struct {
        tstring value;
        const char* before;
    } cases[] = {
        {_T(""), "Unexpected length of "},
        {good.substr(1), "Unexpected length of "},
        {good + _T("0"), "Unexpected length of "},
        {upper, "Illegal character in "},
        {_T("g") + good.substr(1), "Illegal character in "},
        {good.substr(1) + _T(" "), "Illegal character in "},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(thrown("Crypto.cpp", [&] { verifyChecksumString(c.value, "sha256"); }),
                  "verifyChecksumString(): " + (c.before + utf8(c.value)) + " sha256 hash string.");
    }
}

}  // namespace
