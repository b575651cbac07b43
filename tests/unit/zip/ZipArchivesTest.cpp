// Opening and closing archives: the end headers, the central directory, objects that are shared.
#include <cerrno>
#include <memory>

#include "unit/zip/ZipTest.h"
#include "zip/File.h"

using namespace zip_archive;

namespace {

constexpr std::uint64_t kTooLarge = std::uint64_t{1} << 63;

class ZipArchives : public ZipTest {};

Archive threeEntries(const std::string& comment = {}) {
    return make({{.name = "e", .data = "data", .stored = true},
                 {.name = "META-INF/x", .data = "second"},
                 {.name = "", .data = "3", .stored = true, .comment = "c"}},
                comment);
}

TEST_F(ZipArchives, RefusesAnEmptyFile) {
    EXPECT_EQ(openFailure(""), "zip file is empty");
}

TEST_F(ZipArchives, RefusesAnEndHeaderThatIsCutOff) {
    const std::string bytes = threeEntries().bytes();
    EXPECT_EQ(openFailure(bytes.substr(0, bytes.size() - 1)), "no message");
}

TEST_F(ZipArchives, SearchesTheEndHeaderAsFarAsACommentReaches) {
    const std::string bytes = threeEntries().bytes();
    EXPECT_EQ(readEntry(bytes + std::string(65535, 'x')), "data");
    EXPECT_EQ(openFailure(bytes + std::string(65700, 'x')), "no message");
}

TEST_F(ZipArchives, VerifiesAnEndHeaderWhoseCommentDoesNotEndTheFile) {
    Archive local = threeEntries();
    local.entries[0].local.signature = 0;
    EXPECT_EQ(openFailure(local.bytes() + "xx"), "no message");
    Archive central = threeEntries();
    central.entries[0].central.signature = 0;
    EXPECT_EQ(openFailure(central.bytes() + "xx"), "no message");
}

TEST_F(ZipArchives, HasNoEntriesIfTheEndHeaderBeginsTheFile) {
    Archive archive = make({});
    archive.end.sizeOfCentralDirectory = 46;
    EXPECT_EQ(readEntry(archive), "no entry");
}

TEST_F(ZipArchives, RefusesACentralDirectoryLargerThanWhatPrecedesTheEndHeader) {
    Archive archive = threeEntries();
    archive.end.sizeOfCentralDirectory += archive.end.offsetOfStartOfCentralDirectory + 1;
    EXPECT_EQ(openFailure(archive), "invalid END header (bad central directory size)");
}

TEST_F(ZipArchives, RefusesACentralDirectoryThatStartsTooLate) {
    Archive archive = threeEntries();
    ++archive.end.offsetOfStartOfCentralDirectory;
    EXPECT_EQ(openFailure(archive), "invalid END header (bad central directory offset)");
}

TEST_F(ZipArchives, OpensAFullCountWithoutAZip64Record) {
    Archive archive = make({{.name = "e", .data = "data", .stored = true}, {.name = "b"}});
    archive.end.totalEntries = 0xffff;
    EXPECT_EQ(readEntry(archive), "data");
}

TEST_F(ZipArchives, ChecksTheSignatureBeforeTheCompressionMethod) {
    Archive archive = threeEntries();
    archive.entries[1].central.compressionMethod = 9;
    EXPECT_EQ(openFailure(archive), "invalid CEN header (bad compression method)");
    archive.entries[1].central.signature = 0x02014b00;
    EXPECT_EQ(openFailure(archive), "invalid CEN header (bad signature)");
}

TEST_F(ZipArchives, RefusesEncryptedEntries) {
    Archive archive = threeEntries();
    archive.entries[1].central.generalPurposeBitFlag = 1;
    EXPECT_EQ(openFailure(archive), "invalid CEN header (encrypted entry)");
}

TEST_F(ZipArchives, RefusesHeadersThatDoNotEndWithTheDirectory) {
    Archive longName = threeEntries();
    longName.entries[2].central.fileNameLength = 2;
    EXPECT_EQ(openFailure(longName), "invalid CEN header (bad header size)");
    Archive longComment = threeEntries();
    longComment.entries[2].central.fileCommentLength = 2;
    EXPECT_EQ(openFailure(longComment), "invalid CEN header (bad header size)");
    Archive shortComment = threeEntries();
    shortComment.entries[2].central.fileCommentLength = 0;
    EXPECT_EQ(openFailure(shortComment), "invalid CEN header (bad header size)");
}

TEST_F(ZipArchives, OneFullFieldOfTheEndHeaderIsReplacedByTheZip64Record) {
    Archive size = threeEntries();
    size.addZip64End();
    size.zip64End->sizeOfCentralDirectory = kTooLarge;
    size.end.totalEntries = 3;
    size.end.offsetOfStartOfCentralDirectory = 0;
    EXPECT_EQ(openFailure(size), "Zip64 END values exceed supported size");

    Archive offset = threeEntries();
    offset.addZip64End();
    offset.zip64End->offsetOfStartOfCentralDirectory = kTooLarge;
    offset.end.totalEntries = 3;
    offset.end.sizeOfCentralDirectory = 0;
    EXPECT_EQ(openFailure(offset), "Zip64 END values exceed supported size");

    Archive count = threeEntries();
    count.addZip64End();
    count.zip64End->totalEntries = 0x80000000;
    count.end.sizeOfCentralDirectory = 0;
    count.end.offsetOfStartOfCentralDirectory = 0;
    EXPECT_EQ(openFailure(count), "Zip64 END values exceed supported size");
}

TEST_F(ZipArchives, TheCountOnlySizesTheHashTable) {
    Archive tooFew = make(std::vector<File>(200, {.stored = true}));
    tooFew.end.totalEntries = 1;
    nzfile* const zip = openWhole(tooFew);
    EXPECT_EQ(zip->tablelen, 101);
    ZIP_Close(zip);
}

TEST_F(ZipArchives, AHugeCountAllocatesALimitedHashTable) {
    Archive archive = threeEntries();
    archive.addZip64End();
    archive.zip64End->totalEntries = 0x7fffffff;
    nzfile* const zip = openWhole(archive);
    EXPECT_EQ(zip->tablelen, 32767);
    ZIP_Close(zip);
}

TEST_F(ZipArchives, ReadsCommentsOfAnyLength) {
    for (const std::size_t length : {1, 84, 85, 106, 107}) {
        ZIP_Close(openWhole(threeEntries(std::string(length, 'c'))));
    }
}

TEST_F(ZipArchives, PassesOverWhatLooksLikeAnEndHeaderInTheComment) {
    std::string comment(65535, 'c');
    comment.replace(100, 22, "PK\x05\x06" + std::string(18, '\1'));
    comment.replace(65256, 22, "P" + std::string(21, '\1'));
    ZIP_Close(openWhole(threeEntries(comment)));
}

TEST_F(ZipArchives, OpensArchivesThatFollowOtherBytes) {
    ZIP_Close(openWhole(threeEntries("comment"), std::string(7000, 's')));
    ZIP_Close(openWhole(threeEntries(), std::string(14000, 's')));
    ZIP_Close(openWhole(make({}, "comment"), "stub"));
}

TEST_F(ZipArchives, KeepsWhatTheFileHasOfACommentThatIsCutOff) {
    Archive archive = threeEntries("cut short");
    archive.end.zipFileCommentLength = 60000;
    ZIP_Close(openWhole(archive));
}

TEST_F(ZipArchives, ReportsFilesThatCannotBeOpened) {
    EXPECT_EQ(openFailure("", "C:\\\xff\xfe.zip"), "ZFILE_Open failed");
    EXPECT_EQ(openFailure("", std::string(259, 'n').c_str()), "ZFILE_Open failed");
    EXPECT_EQ(openFailure("", std::string(260, 'n').c_str()), "zip file name too long");
}

TEST_F(ZipArchives, ReportsAFileLengthThatCannotBeRead) {
    machine.calls.failCall("SetFilePointerEx", 1);
    EXPECT_EQ(openFailure("x"), "IO_Lseek failed");
}

TEST_F(ZipArchives, OneObjectServesAllWhoOpenAName) {
    errno = ENOENT;
    nzfile* const zip = open(threeEntries().bytes());
    EXPECT_EQ(errno, 0);
    EXPECT_EQ(open("changed on disk"), zip);
    EXPECT_EQ(ZIP_Open("c:\\a.zip", nullptr), nullptr);  // another name, though the same file
    ZIP_Close(zip);
    ZIP_Close(zip);
    EXPECT_EQ(ZIP_Open("C:\\a.zip", nullptr), nullptr);
}

TEST_F(ZipArchives, AnObjectThatIsOpenedTooOftenGetsASuccessor) {
    constexpr int kMaxOpens = 65535;
    nzfile* const first = open(threeEntries().bytes());
    for (int opens = 1; opens < kMaxOpens; ++opens) {
        ASSERT_EQ(ZIP_Open("C:\\a.zip", nullptr), first);
    }
    nzfile* const second = open(threeEntries().bytes());
    EXPECT_NE(second, first);
    for (int opens = 0; opens < kMaxOpens; ++opens) {
        EXPECT_EQ(machine.handles.open().size(), 2u);
        ZIP_Close(first);
    }
    EXPECT_EQ(machine.handles.open().size(), 1u);
    EXPECT_EQ(ZIP_Open("C:\\a.zip", nullptr), second);
    ZIP_Close(second);
    ZIP_Close(second);
}

/// An archive of a client that closes it as the process ends.
std::unique_ptr<nzfile, decltype(&ZIP_Close)> closedLate(nullptr, ZIP_Close);

TEST_F(ZipArchives, MayBeClosedAsTheProcessEnds) {
    const auto openAndExit = [&] {
        closedLate.reset(open(threeEntries().bytes()));
        std::exit(0);
    };
    EXPECT_EXIT(openAndExit(), testing::ExitedWithCode(0), "");
}

struct InterruptedRead {
    const char* name;
    DWORD status;
    unsigned failingCalls;
    bool isDone;
};

TEST_F(ZipArchives, AReadIsTriedAgainOnceWhenInterrupted) {
    const InterruptedRead cases[] = {
        {.name = "both attempts fail",
         .status = ERROR_ACCESS_DENIED,
         .failingCalls = 2,
         .isDone = false},
        {.name = "the end of a pipe is no interruption",
         .status = ERROR_BROKEN_PIPE,
         .failingCalls = 1,
         .isDone = false},
        {.name = "the second attempt succeeds",
         .status = ERROR_ACCESS_DENIED,
         .failingCalls = 1,
         .isDone = true},
    };
    machine.volumes.addFile(u"C:\\a.zip", "bytes");
    const HANDLE file = nz::openFile("C:\\a.zip");
    char buffer[8] = {};
    for (const InterruptedRead& c : cases) {
        SCOPED_TRACE(c.name);
        errno = EINTR;
        for (unsigned call = 1; call <= c.failingCalls; ++call) {
            machine.calls.failCall("ReadFile", call, c.status);
        }
        EXPECT_EQ(nz::readAt(file, 0, buffer, 5), c.isDone);
        machine.calls.clearPlans();
    }
    EXPECT_STREQ(buffer, "bytes");
    EXPECT_EQ(errno, 0) << "so that the second attempt is the last";
    CloseHandle(file);
}

}  // namespace
