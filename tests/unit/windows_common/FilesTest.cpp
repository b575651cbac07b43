// Paths as texts, questions about files, making, copying and moving them.
#include <array>

#include "common/windows/WinErrorHandling.h"
#include "simulated/machine/VersionBlock.h"
#include "support/OnMachine.h"
#include "support/Thrown.h"
#include "windows/common/FileUtils.h"
#include "windows/common/VersionResource.h"

namespace {

using namespace FileUtils;
using Lines = std::vector<std::string>;
using Files = OnMachine;

TEST(Paths, AreTakenApartAndJoined) {
    const TCHAR* const rows[][4] = {
        // path, dirname, basename, suffix
        {u"", u"", u"", u""},
        {u"\\b", u"", u"b", u""},
        {u"\\/", u"", u"", u""},
        {u"a/\\b/c.d", u"a/\\b", u"c.d", u".d"},
        {u"a\\b\\\\", u"a\\b", u"", u""},
        {u"C:\\x", u"C:", u"x", u""},
        {u"a.b\\c", u"a.b", u"c", u""},
        {u".x", u"", u".x", u".x"},
        {u"x\\.", u"x", u".", u"."},
        {u"..", u"", u"..", u""},
        {u"d/..", u"d", u"..", u""},
        {u"x..", u"", u"x..", u"."},
        {u"a.tar.gz", u"", u"a.tar.gz", u".gz"},
    };
    for (const auto& [path, directory, base, end] : rows) {
        EXPECT_EQ(dirname(path), directory);
        EXPECT_EQ(basename(path), base);
        EXPECT_EQ(suffix(path), end);
    }
    EXPECT_EQ(replaceSuffix(u"d.e\\a.tar.gz", u".exe"), u"d.e\\a.tar.exe");
    EXPECT_EQ(replaceSuffix(u"d.e\\a", u"-1"), u"d.e\\a-1");
    const TCHAR* const joined[][3] = {
        {u"", u"\\x", u"\\x"},     {u"a\\\\", u"", u"a\\\\"}, {u"a/\\/", u"b", u"a\\b"},
        {u"a\\", u"\\b", u"a\\b"}, {u"\\", u"b", u"\\b"},     {u"a", u"\\\\b/", u"a\\\\b/"},
    };
    for (const auto& [a, b, both] : joined) {
        EXPECT_EQ(combinePath(a, b), both);
    }
}

TEST_F(Files, SamePathIsSeen) {
    machine.volumes.addDirectory(u"C:\\Program Files\\Norv\\Latest Thing");
    machine.volumes.setCurrentDirectory(u"C:\\Windows");
    const std::tuple<const TCHAR*, const TCHAR*, bool> rows[] = {
        {u"", u"", true},
        {u"C:\\Program Files\\Norv", u"c:/PROGRAM files\\x\\../NORV", true},
        {u"C:\\Program Files\\Norv\\LATEST~1", u"C:\\PROGRA~1\\norv\\latest thing", true},
        {u"C:\\PROGRA~1\\New\\Deeper", u"C:\\Program Files\\NEW\\deeper", true},
        {u"C:\\Program Files\\Nowhe~1", u"C:\\Program Files\\Nowhere at all", false},
        {u"Temp", u"C:\\windows\\temp", true},
        {u"\\\\nobody\\share\\x", u"//NOBODY/share/x", true},
        {u"C:\\Windows", u"C:\\Windows\\", false},
    };
    for (const auto& [a, b, isSame] : rows) {
        EXPECT_EQ(isSamePath(a, b), isSame) << (Text() << a).utf8();
        EXPECT_EQ(isSamePath(b, a), isSame) << (Text() << b).utf8();
    }
    for (const TCHAR c : tstring(u"<>\"|?*")) {
        const tstring bad = tstring(u"C:\\a") + c;
        const std::string refused = "isSamePath: Illegal characters in ";
        EXPECT_EQ(thrownText([&] { isSamePath(bad, u"*"); }),
                  refused + "first arg " + (Text() << bad).utf8());
        EXPECT_EQ(thrownText([&] { isSamePath(u"C:\\", bad); }),
                  refused + "second arg " + (Text() << bad).utf8());
    }
}

TEST_F(Files, AreJudgedByPathAndAttributes) {
    machine.volumes.addDrive(u'D', DRIVE_CDROM);
    machine.volumes.addDrive(u'E', DRIVE_REMOVABLE);
    machine.volumes.addDrive(u'F', DRIVE_RAMDISK);
    machine.volumes.addDrive(u'G', DRIVE_REMOTE);
    const std::pair<PathType, std::vector<const TCHAR*>> rows[] = {
        {PathType::Invalid, {u"", u"c", u"\\"}},
        {PathType::Network, {u"\\a", u"\\\\s\\x", u"G:/x"}},
        {PathType::Local, {u"c:", u"C:\\x", u"E:", u"F:\\"}},
        {PathType::Unknown, {u"D:\\x", u"Q:", u"/a", u"ab"}},
    };
    for (const auto& [type, paths] : rows) {
        for (const TCHAR* path : paths) {
            EXPECT_EQ(pathType(path), type) << (Text() << path).utf8();
        }
    }
    machine.volumes.addFile(u"C:\\d\\file");
    machine.volumes.addJunction(u"C:\\link", u"C:\\d");
    EXPECT_TRUE(isFile(u"C:\\d\\file") && !isFile(u"C:\\d") && !isFile(u"C:\\none"));
    EXPECT_TRUE(isLink(u"C:\\link") && isDirectory(u"C:\\link") && !isLink(u"C:\\d"));
}

TEST_F(Files, DirectoriesAreMadeFromTheLeft) {
    const std::string made =
        "TRACE FileUtils.cpp FileUtils::`anonymous-namespace'::createDir: Created [C:\\a";
    createDirectories(u"C:\\a/b\\c\\/");
    createDirectories(u"C:\\a");
    createDirectories(u"");
    EXPECT_EQ(log(), (Lines{made + "/] directory", made + "/b\\] directory",
                            made + "/b\\c\\] directory"}));
    machine.volumes.addFile(u"C:\\file");
    EXPECT_THROW(createDirectories(u"C:\\file\\x"), SysError);
}

TEST_F(Files, TemporaryNamesCountOnFromTheTicks) {
    machine.facts.clock.setTicks(0xFFFFFFFFull);
    machine.volumes.addFile(u"C:\\t.d\\norv.tar.dll", "mine");
    machine.volumes.addFile(u"C:\\t.d\\norv.tar4294967295.dll", "mine");
    EXPECT_EQ(createUniqueFile(u"C:\\t.d\\new.dll"), u"C:\\t.d\\new.dll");
    EXPECT_EQ(createUniqueFile(u"C:\\t.d\\norv.tar.dll"), u"C:\\t.d\\norv.tar0.dll");
    EXPECT_EQ(createTempFile(u"", u".tmp", u"C:\\t.d\\"), u"C:\\t.d\\4294967295.tmp");
    EXPECT_EQ(machine.volumes.content(u"C:\\t.d\\norv.tar4294967295.dll"), "mine");
    EXPECT_EQ(log().back(),
              "TRACE FileUtils.cpp FileUtils::`anonymous-namespace'::createNewFile: "
              "Created [C:\\t.d\\4294967295.tmp] file");
    machine.calls.clearJournal();
    EXPECT_EQ(thrownText([] { createTempFile(u"p", u".s", u"C:\\no"); }),
              "createTempFile(p, .s, C:\\no) failed");
    for (const TCHAR c : tstring(u"\\/:|\x1F")) {
        const std::string shown(1, static_cast<char>(c));
        const tstring bad(1, c);
        EXPECT_EQ(thrownText([&] { createTempFile(bad, bad, u"C:\\t.d"); }),
                  "Illegal characters in prefix=" + shown);
        EXPECT_EQ(thrownText([&] { createTempFile(u" ", bad, u"C:\\t.d"); }),
                  "Illegal characters in suffix=" + shown);
    }
    EXPECT_EQ(machine.calls.count("CreateFileW"), 100u);
}

TEST_F(Files, FilesAreCopiedAndMoved) {
    machine.volumes.addDrive(u'D');
    machine.volumes.addFile(u"C:\\a.txt", "a");
    machine.volumes.addFile(u"C:\\folder\\f.txt", "f");
    copyFile(u"C:\\a.txt", u"D:\\b.txt", false);
    moveFile(u"C:\\folder", u"C:\\moved", true);
    moveFile(u"D:\\b.txt", u"C:\\moved\\f.txt", false);
    EXPECT_EQ(machine.volumes.content(u"C:\\moved\\f.txt"), "a");
    EXPECT_FALSE(machine.volumes.exists(u"D:\\b.txt"));
    const std::string moved =
        "TRACE FileUtils.cpp FileUtils::`anonymous-namespace'::moveFileImpl: Moved '";
    EXPECT_EQ(log(), (Lines{"TRACE FileUtils.cpp FileUtils::copyFile: "
                            "Copied [C:\\a.txt] file to [D:\\b.txt]",
                            moved + "C:\\folder' folder to 'C:\\moved'",
                            moved + "D:\\b.txt' file to 'C:\\moved\\f.txt'"}));
    EXPECT_THROW(copyFile(u"C:\\a.txt", u"C:\\moved\\f.txt", true), SysError);
    EXPECT_THROW(moveFile(u"C:\\a.txt", u"C:\\moved\\f.txt", true), SysError);
}

TEST_F(Files, PersistentCopyArrivesAtTheLatestWithTheRestart) {
    machine.facts.clock.setTicks(5);
    machine.volumes.addFile(u"C:\\new\\link.dll", "new");
    machine.volumes.addFile(u"C:\\system\\link.dll", "old");
    copyPersistentFile(u"C:\\new\\link.dll", u"C:\\system\\free.dll");
    EXPECT_EQ(machine.volumes.content(u"C:\\system\\free.dll"), "new");
    machine.volumes.lock(u"C:\\system\\link.dll");
    copyPersistentFile(u"C:\\new\\link.dll", u"C:\\system\\link.dll");
    EXPECT_EQ(machine.volumes.content(u"C:\\system\\link.dll"), "old");
    EXPECT_EQ(log().back(),
              "TRACE FileUtils.cpp FileUtils::`anonymous-namespace'::moveFileImpl: "
              "Move 'C:\\new\\link5.dll' file to 'C:\\system\\link.dll' on reboot");
    machine.restart();
    EXPECT_EQ(machine.volumes.content(u"C:\\system\\link.dll"), "new");
    EXPECT_FALSE(machine.volumes.exists(u"C:\\new\\link5.dll"));
}

TEST_F(Files, PermissionsAndVersionsBelongToAFile) {
    machine.volumes.addFile(u"C:\\a");
    setPermissions(u"C:\\a");
    EXPECT_EQ(machine.volumes.security(u"C:\\a"),
              "D:(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;FRFX;;;WD)");
    machine.volumes.setVersion(u"C:\\a", 17, 0, 65535, 40);
    EXPECT_EQ(getFileVersion(u"C:\\a"), (std::array<std::uint16_t, 4>{17, 0, 65535, 40}));
    std::string block = simulated::versionBlock({1, 2, 3, 4});
    block[2] = sizeof(VS_FIXEDFILEINFO) - 1;  // what the block says of its value's length
    machine.volumes.setVersionResource(u"C:\\a", block);
    EXPECT_EQ(thrownText([] { getFileVersion(u"C:\\a"); }),
              "VerQueryValueW(C:\\a, \\) returned unexpected buffer size.");
}

}  // namespace
