#include <sys/resource.h>

#include "support/Thrown.h"
#include "unit/zip/ZipTest.h"
#include "windows/common/Crypto.h"
#include "windows/common/unzip/unzip.h"

using archive::make;
using archive::number;

namespace {

TEST_F(ZipTest, FilesGiveTheirEntriesOrThrow) {
    const std::string manifest = "Manifest-Version: 1.0\r\nImplementation-Version: 11.0.2\r\n\n";
    const std::string zip64 = number(1, 2) + number(8, 2) + number(0x100000000, 8);
    // "touches" claims 4 GB and has the bytes that could deflate to as much.
    const archive::Archive sample = changed(make({{"META-INF/", "", true},
                                                  {"META-INF/MANIFEST.MF", manifest},
                                                  {"", "nameless", true},
                                                  {"huge", "x", false, zip64},
                                                  {"claims", "x"},
                                                  {"file/", "data"},
                                                  {"\xc3\xa9", "accent"},
                                                  {"touches", std::string(0x3fb000, 'x'), true}}),
                                            {{'c', 3, 24, 0xffffffff, 4},
                                             {'c', 4, 24, 0xfffffffe, 4},
                                             {'c', 7, 10, 8, 2},
                                             {'c', 7, 24, 0xfffffffe, 4}});
    machine.volumes.addFile(u"C:\\a.zip", sample.bytes);
    ZipFile moved(_T("C:\\a.zip"));
    ZipFile file(std::move(moved));
    const std::string directory =
        " from C:\\a.zip archive is a directory and can't be extracted into memory";
    const std::pair<const TCHAR*, std::string> cases[] = {
        {_T("META-INF/MANIFEST.MF"), manifest},
        {_T("\u00e9"), "accent"},
        {_T("file"), "data"},
        {_T("none"), "ZIP_FindEntry(C:\\a.zip, none) failed"},
        {_T("META-INF"), "Zip entry META-INF" + directory},
        {_T("META-INF/"), "Zip entry META-INF/" + directory},
        {_T(""), "Unexpected empty name of zip entry  from C:\\a.zip"},
        {_T("huge"),
         "Zip entry huge from C:\\a.zip archive is too large to be extracted into memory"},
        {_T("claims"), "ZIP_ReadEntry(C:\\a.zip, claims) failed"},
        {_T("touches"), "ZIP_ReadEntry(C:\\a.zip, touches) failed"},
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
    EXPECT_LT(usage.ru_maxrss, 1 << 20) << "in KB: what \"touches\" claims was not made use of";

    machine.volumes.addFile(u"C:\\text.zip", "no archive");
    EXPECT_EQ(thrownText([] { ZipFile(_T("C:\\text.zip")); }),
              "ZIP_Open(C:\\text.zip) failed. Error: unknown");
    EXPECT_EQ(thrownText([] { ZipFile(_T("C:\\none\\x.zip")); }),
              "ZIP_Open(C:\\none\\x.zip) failed. Error: ZFILE_Open failed");
    file = ZipFile(_T("C:\\a.zip"));
    EXPECT_EQ(machine.handles.open().size(), 1u);
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
