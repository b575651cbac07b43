#include "windows/common/unzip/unzip.h"

#include <sys/resource.h>

#include "builders/ZipArchive.h"
#include "support/OnMachine.h"
#include "support/Thrown.h"

namespace {

class Unzip : public OnMachine {
protected:
    void SetUp() override {
        const std::string zip64 = zip_archive::zip64Block({0x100000000});
        zip_archive::Archive archive = zip_archive::make(
            {{.name = "META-INF/", .stored = true},
             {.name = "", .data = "nameless", .stored = true},
             {.name = "huge", .data = "x", .extraField = zip64},
             {.name = "largest", .data = "x", .extraField = zip_archive::zip64Block({0xffffffff})},
             // could deflate to 4 GB
             {.name = "claims", .data = std::string(0x3fb000, 'x'), .stored = true},
             {.name = "file/", .data = "data", .stored = true},
             {.name = "\xc3\xa9", .data = "accent"}});
        archive.entries[2].central.uncompressedSize = 0xffffffff;
        archive.entries[3].central.uncompressedSize = 0xffffffff;
        archive.entries[4].central.compressionMethod = zip_archive::kDeflated;
        archive.entries[4].central.uncompressedSize = 0xfffffffe;
        machine.volumes.addFile(u"C:\\a.zip", archive.bytes());
    }

    /// Returns the entry's data, or the text of what is thrown.
    static std::string extracted(const tstring& entry) {
        const ZipFile file(_T("C:\\a.zip"));
        std::string result;
        const std::string thrown =
            thrownText([&] { result = file.extractEntryAsUtf8String(entry); });
        return thrown == "nothing" ? result : thrown;
    }
};

TEST_F(Unzip, FindsEntriesByUtf8NamesWithOrWithoutASlashAtTheEnd) {
    EXPECT_EQ(extracted(_T("\u00e9")), "accent");
    EXPECT_EQ(extracted(_T("file")), "data");
    EXPECT_EQ(extracted(_T("none")), "ZIP_FindEntry(C:\\a.zip, none) failed");
}

TEST_F(Unzip, RefusesDirectories) {
    EXPECT_EQ(extracted(_T("META-INF")),
              "Zip entry META-INF from C:\\a.zip archive is a directory and can't be extracted "
              "into memory");
    EXPECT_EQ(extracted(_T("META-INF/")),
              "Zip entry META-INF/ from C:\\a.zip archive is a directory and can't be extracted "
              "into memory");
}

TEST_F(Unzip, RefusesEmptyNames) {
    EXPECT_EQ(extracted(_T("")), "Unexpected empty name of zip entry  from C:\\a.zip");
}

TEST_F(Unzip, RefusesEntriesOfFourGigabytes) {
    EXPECT_EQ(extracted(_T("huge")),
              "Zip entry huge from C:\\a.zip archive is too large to be extracted into memory");
    EXPECT_EQ(extracted(_T("largest")), "ZIP_ReadEntry(C:\\a.zip, largest) failed");
}

TEST_F(Unzip, AllocatesNoMoreThanTheStreamContains) {
    EXPECT_EQ(extracted(_T("claims")), "ZIP_ReadEntry(C:\\a.zip, claims) failed");
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    EXPECT_LT(usage.ru_maxrss, 1 << 20) << "kilobytes: memory for all that the entry claims";
}

TEST_F(Unzip, ReportsArchivesThatCannotBeOpened) {
    machine.volumes.addFile(u"C:\\text.zip", "no archive");
    EXPECT_EQ(thrownText([] { ZipFile(_T("C:\\text.zip")); }),
              "ZIP_Open(C:\\text.zip) failed. Error: unknown");
    EXPECT_EQ(thrownText([] { ZipFile(_T("C:\\none\\x.zip")); }),
              "ZIP_Open(C:\\none\\x.zip) failed. Error: ZFILE_Open failed");
}

}  // namespace
