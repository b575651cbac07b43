// Paths, and creating, copying and moving files.
#include "windows/common/FileUtils.h"

#include "common/share/tstrings.h"
#include "simulated/machine/files/VersionBlock.h"
#include "support/OnMachine.h"
#include "support/Thrown.h"
#include "windows/common/VersionResource.h"

namespace {

using namespace FileUtils;
using FileUtilsTest = OnMachine;

struct PathParts {
    const char* path;
    const char *directory, *name, *suffix = "";
};

TEST_F(FileUtilsTest, APathHasDirectoryNameAndSuffix) {
    const PathParts rows[] = {
        {.path = "\\/", .directory = "", .name = ""},
        {.path = "\\b", .directory = "", .name = "b"},
        {.path = "a/\\b/c.d", .directory = "a/\\b", .name = "c.d", .suffix = ".d"},
        {.path = "a\\b\\\\", .directory = "a\\b", .name = ""},
        {.path = "a.b\\c", .directory = "a.b", .name = "c"},
        {.path = ".x", .directory = "", .name = ".x", .suffix = ".x"},
        {.path = "x\\.", .directory = "x", .name = ".", .suffix = "."},
        {.path = "d/..", .directory = "d", .name = ".."},
        {.path = "x..", .directory = "", .name = "x..", .suffix = "."},
        {.path = "a.tar.gz", .directory = "", .name = "a.tar.gz", .suffix = ".gz"},
    };
    for (const PathParts& row : rows) {
        const tstring path = tstrings::fromUtf8(row.path);
        EXPECT_EQ(tstrings::toUtf8(dirname(path)), row.directory) << row.path;
        EXPECT_EQ(tstrings::toUtf8(basename(path)), row.name) << row.path;
        EXPECT_EQ(tstrings::toUtf8(suffix(path)), row.suffix) << row.path;
    }
}

TEST_F(FileUtilsTest, PathsAreCombinedByOneSeparator) {
    EXPECT_EQ(combinePath(u"", u"\\x"), u"\\x");
    EXPECT_EQ(combinePath(u"a\\\\", u""), u"a\\\\");
    EXPECT_EQ(combinePath(u"a/\\/", u"b"), u"a\\b");
    EXPECT_EQ(combinePath(u"a\\", u"\\b"), u"a\\b");
    EXPECT_EQ(combinePath(u"\\", u"b"), u"\\b");
    EXPECT_EQ(combinePath(u"a", u"\\\\b/"), u"a\\\\b/");
}

TEST_F(FileUtilsTest, PathsAreTheSameInAnyCaseAndLengthOfTheirNames) {
    machine.volumes.addDirectory(u"C:\\Program Files\\Norv\\Latest Thing");
    machine.volumes.setCurrentDirectory(u"C:\\Windows");
    const std::pair<const TCHAR*, const TCHAR*> rows[] = {
        {u"", u""},
        {u"C:\\Program Files\\Norv\\LATEST~1", u"c:/PROGRA~1\\x\\../norv\\latest thing"},
        {u"C:\\PROGRA~1\\New\\Deeper", u"C:\\Program Files\\NEW\\deeper"},
        {u"Temp", u"C:\\windows\\temp"},
        {u"\\\\nobody\\share\\x", u"//NOBODY/share/x"},
        {u"Q:\\gone", u"q:/GONE"},
    };
    for (const auto& [a, b] : rows) {
        EXPECT_TRUE(isSamePath(a, b)) << simulated::toUtf8(a);
    }
    EXPECT_FALSE(isSamePath(u"C:\\Program Files\\Nowhe~1", u"C:\\Program Files\\Nowhere at all"));
    EXPECT_FALSE(isSamePath(u"C:\\Windows", u"C:\\Windows\\"));
}

TEST_F(FileUtilsTest, IllegalCharactersAreNoPath) {
    for (const char c : std::string("<>\"|?*")) {
        EXPECT_EQ(thrownText([&] { isSamePath(u"C:\\", tstring(1, c)); }),
                  std::string("isSamePath: Illegal characters in second arg ") + c);
    }
}

TEST_F(FileUtilsTest, TemporaryNamesCountOnFromTheTicks) {
    machine.facts.clock.setTicks(0xFFFFFFFFull);
    machine.volumes.addFile(u"C:\\t.d\\norv.tar.dll", "mine");
    machine.volumes.addFile(u"C:\\t.d\\norv.tar4294967295.dll", "mine");
    EXPECT_EQ(createUniqueFile(u"C:\\t.d\\new.dll"), u"C:\\t.d\\new.dll");
    EXPECT_EQ(createUniqueFile(u"C:\\t.d\\norv.tar.dll"), u"C:\\t.d\\norv.tar0.dll");
}

TEST_F(FileUtilsTest, ATemporaryFileIsTriedAHundredTimes) {
    EXPECT_EQ(thrownText([] { createTempFile(u"", u".s", u"C:\\no"); }),
              "createTempFile(, .s, C:\\no) failed");
    EXPECT_EQ(machine.calls.count("CreateFileW"), 100u);
}

TEST_F(FileUtilsTest, TemporaryNamesAreCheckedFirst) {
    EXPECT_EQ(thrownText([] { createTempFile(u":", u":", u"C:"); }),
              "Illegal characters in prefix=:");
    for (const char c : std::string("\\/:|\x1F")) {
        EXPECT_EQ(thrownText([&] { createTempFile(u" ", tstring(1, c), u"C:"); }),
                  std::string("Illegal characters in suffix=") + c);
    }
    EXPECT_EQ(machine.calls.count("CreateFileW"), 0u);
}

TEST_F(FileUtilsTest, PersistentCopyArrivesAtTheLatestWithTheRestart) {
    machine.facts.clock.setTicks(5);
    machine.volumes.addFile(u"C:\\new\\link.dll", "new");
    machine.volumes.addFile(u"C:\\system\\link.dll", "old");
    machine.volumes.lock(u"C:\\system\\link.dll");
    copyPersistentFile(u"C:\\new\\link.dll", u"C:\\system\\link.dll");
    EXPECT_EQ(log().back(),
              "TRACE FileUtils.cpp FileUtils::`anonymous-namespace'::moveFileImpl: "
              "Move 'C:\\new\\link5.dll' file to 'C:\\system\\link.dll' on reboot");
    machine.restart();
    EXPECT_EQ(machine.volumes.content(u"C:\\system\\link.dll"), "new");
    EXPECT_ANY_THROW(copyFile(u"C:\\new\\link.dll", u"C:\\system\\link.dll", true));
}

TEST_F(FileUtilsTest, VersionMayBeTooShort) {
    std::string block = simulated::versionBlock({1, 2, 3, 4});
    block[2] = sizeof(VS_FIXEDFILEINFO) - 1;  // what the block says of its value's length
    machine.volumes.addFile(u"C:\\a");
    machine.volumes.setVersionResource(u"C:\\a", block);
    EXPECT_EQ(thrownText([] { getFileVersion(u"C:\\a"); }),
              "VerQueryValueW(C:\\a, \\) returned unexpected buffer size.");
}

}  // namespace
