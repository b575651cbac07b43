#include <sys/resource.h>

#include "support/Thrown.h"
#include "unit/zip/ZipTest.h"
#include "windows/common/Crypto.h"
#include "windows/common/unzip/unzip.h"

namespace {

TEST_F(ZipTest, FilesGiveTheirEntriesOrThrow) {
    const std::string zip64 =
        archive::number(1, 2) + archive::number(8, 2) + archive::number(0x100000000, 8);
    machine.volumes.addFile(
        u"C:\\a.zip",
        changed(
            archive::make({{"META-INF/", "", true},
                           {"", "nameless", true},
                           {"huge", "x", false, zip64},
                           {"claims", std::string(0x3fb000, 'x'), true},  // could deflate to 4 GB
                           {"file/", "data", true},
                           {"\xc3\xa9", "accent"}}),
            {{'c', 2, 24, 0xffffffff, 4}, {'c', 3, 10, 8, 2}, {'c', 3, 24, 0xfffffffe, 4}})
            .bytes);
    const ZipFile file(_T("C:\\a.zip"));
    const std::string directory =
        " from C:\\a.zip archive is a directory and can't be extracted into memory";
    const std::pair<const TCHAR*, std::string> cases[] = {
        {_T("\u00e9"), "accent"},
        {_T("file"), "data"},
        {_T("none"), "ZIP_FindEntry(C:\\a.zip, none) failed"},
        {_T("META-INF"), "Zip entry META-INF" + directory},
        {_T("META-INF/"), "Zip entry META-INF/" + directory},
        {_T(""), "Unexpected empty name of zip entry  from C:\\a.zip"},
        {_T("huge"),
         "Zip entry huge from C:\\a.zip archive is too large to be extracted into memory"},
        {_T("claims"), "ZIP_ReadEntry(C:\\a.zip, claims) failed"},
    };
    written([&] {
        for (const auto& [entry, text] : cases) {
            std::string result;
            const std::string thrown =
                thrownText([&] { result = file.extractEntryAsUtf8String(entry); });
            EXPECT_EQ(thrown == "nothing" ? result : thrown, text);
        }
    });
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    EXPECT_LT(usage.ru_maxrss, 1 << 20) << "in KB: room was made for all that an entry claims";

    machine.volumes.addFile(u"C:\\text.zip", "no archive");
    EXPECT_EQ(thrownText([] { ZipFile(_T("C:\\text.zip")); }),
              "ZIP_Open(C:\\text.zip) failed. Error: unknown");
    EXPECT_EQ(thrownText([] { ZipFile(_T("C:\\none\\x.zip")); }),
              "ZIP_Open(C:\\none\\x.zip) failed. Error: ZFILE_Open failed");
}

TEST(Crypto, AHashStringIs64LowerCaseDigits) {
    const tstring good = _T("0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef");
    EXPECT_EQ(verifyChecksumString(good, "sha256"), good);
    for (const tstring& value :
         {good.substr(1), good + _T("0"), good.substr(1) + _T("F"), _T("g") + good.substr(1)}) {
        EXPECT_EQ(thrownText([&] { verifyChecksumString(value, "sha256"); }),
                  (value.size() == 64 ? "Illegal character in " : "Unexpected length of ") +
                      std::string(value.begin(), value.end()) + " sha256 hash string.");
    }
}

}  // namespace
