// Questions about paths, making, copying and moving files.
#include "windows/common/FileUtils.h"

#include <stdexcept>

#include "common/share/Text.h"
#include "common/windows/WinErrorHandling.h"
#include "simulated/machine/VersionBlock.h"
#include "support/OnMachine.h"
#include "windows/common/VersionResource.h"

namespace {

using namespace FileUtils;
using Lines = std::vector<std::string>;
using Files = OnMachine;

TEST_F(Files, SamePathIsSeen) {
    machine.volumes.addDirectory(u"C:\\Program Files\\Norv\\Latest Thing");
    machine.volumes.setCurrentDirectory(u"C:\\Windows");
    const struct {
        const TCHAR* a;
        const TCHAR* b;
        bool same;
    } rows[] = {
        {_T("C:\\Program Files\\Norv"), _T("c:/PROGRAM files\\x\\../NORV"), true},
        {_T("C:\\PROGRA~1\\Norv"), _T("C:\\Program Files\\Norv"), true},
        {_T("C:\\Program Files\\Norv\\LATEST~1"), _T("C:\\PROGRA~1\\norv\\latest thing"), true},
        {_T("C:\\PROGRA~1\\New\\Deeper"), _T("C:\\Program Files\\NEW\\deeper"), true},
        {_T("C:\\Program Files\\Nowhe~1"), _T("C:\\Program Files\\Nowhere at all"), false},
        {_T("Temp"), _T("C:\\windows\\temp"), true},
        {_T("C:\\"), _T("c:/"), true},
        {_T("Q:\\No Drive\\x"), _T("q:/no drive/X"), true},
        {_T("\\\\nobody\\share\\x"), _T("//NOBODY/share/x"), true},
        {_T("C:\\a"), _T("C:\\ab"), false},
        {_T("C:\\Windows"), _T("C:\\Windows\\"), false},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(isSamePath(row.a, row.b), row.same) << (Text() << row.a).utf8();
        EXPECT_EQ(isSamePath(row.b, row.a), row.same) << (Text() << row.b).utf8();
    }
}

TEST_F(Files, SamePathRefusesAndFails) {
    for (const char c : std::string("<>\"|?*")) {
        const std::string bad = std::string("C:\\a") + c + "b";
        const tstring path(bad.begin(), bad.end());
        const std::string where = "FileUtils.cpp at FileUtils::isSamePath(): isSamePath: ";
        EXPECT_EQ(thrownBy<std::runtime_error>([&] { isSamePath(path, _T("*")); }),
                  where + "Illegal characters in first arg " + bad);
        EXPECT_EQ(thrownBy<std::runtime_error>([&] { isSamePath(_T("C:\\a"), path); }),
                  where + "Illegal characters in second arg " + bad);
    }
    machine.calls.failCall("GetFullPathNameW", 1, ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(thrownBy<SysError>([] { isSamePath(_T("a"), _T("b")); }),
              "FileUtils.cpp at `anonymous-namespace'::absolutePath(): GetFullPathName failed. "
              "System error [8](system error 8 (There is not enough memory))");
    machine.calls.failCall("GetLongPathNameW", 1, ERROR_ACCESS_DENIED);
    EXPECT_EQ(thrownBy<SysError>([] { isSamePath(_T("C:\\"), _T("C:\\")); }),
              "FileUtils.cpp at `anonymous-namespace'::convertShortPathToLong(): "
              "GetLongPathName failed. System error [5](system error 5 (Access is denied))");
}

TEST_F(Files, PathTypeIsJudgedByTheBeginning) {
    machine.volumes.addDrive(u'D', DRIVE_CDROM);
    machine.volumes.addDrive(u'E', DRIVE_REMOVABLE);
    machine.volumes.addDrive(u'F', DRIVE_RAMDISK);
    machine.volumes.addDrive(u'N', DRIVE_REMOTE);
    const struct {
        const TCHAR* path;
        PathType type;
    } rows[] = {
        {_T(""), PathType::Invalid},      {_T("C"), PathType::Invalid},
        {_T("\\"), PathType::Invalid},    {_T("/"), PathType::Invalid},
        {_T("\\x"), PathType::Network},   {_T("\\\\server\\share"), PathType::Network},
        {_T("C:"), PathType::Local},      {_T("c:/x"), PathType::Local},
        {_T("D:\\"), PathType::Unknown},  {_T("E:\\x"), PathType::Local},
        {_T("F:\\x"), PathType::Local},   {_T("N:\\x"), PathType::Network},
        {_T("Q:\\x"), PathType::Unknown}, {_T("//server/share"), PathType::Unknown},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(pathType(row.path), row.type) << (Text() << row.path).utf8();
    }
}

TEST_F(Files, DirectoriesAreMadeFromTheLeft) {
    const std::string made = "TRACE FileUtils.cpp FileUtils::`anonymous-namespace'::createDir: ";
    createDirectories(_T("C:\\a/b\\c\\/"));
    EXPECT_TRUE(machine.volumes.isDirectory(u"C:\\a\\b\\c"));
    createDirectories(_T("C:\\a"));
    createDirectories(_T(""));
    EXPECT_EQ(log(),
              (Lines{made + "Created [C:\\a/] directory", made + "Created [C:\\a/b\\] directory",
                     made + "Created [C:\\a/b\\c\\] directory"}));

    machine.volumes.addFile(u"C:\\file");
    machine.volumes.denyWrite(u"C:\\a");
    const std::string failed = "FileUtils.cpp at FileUtils::`anonymous-namespace'::createDir(): ";
    EXPECT_EQ(thrownBy<SysError>([] { createDirectories(_T("C:\\file\\x")); }),
              failed +
                  "CreateDirectory(C:\\file\\) failed. "
                  "System error [183](system error 183 (The file exists already))");
    EXPECT_EQ(thrownBy<SysError>([] { createDirectories(_T("C:\\a\\new")); }),
              failed +
                  "CreateDirectory(C:\\a\\new\\) failed. "
                  "System error [5](system error 5 (Access is denied))");
}

TEST_F(Files, TemporaryNamesCountOnFromTheTicks) {
    machine.facts.clock.setTicks(0xFFFFFFFFull);
    machine.volumes.addFile(u"C:\\t\\pre4294967295.tmp", "mine");
    EXPECT_EQ(createTempFile(_T("pre"), _T(".tmp"), _T("C:\\t\\")), _T("C:\\t\\pre0.tmp"));
    EXPECT_EQ(machine.volumes.content(u"C:\\t\\pre4294967295.tmp"), "mine");
    EXPECT_EQ(log(), Lines{"TRACE FileUtils.cpp FileUtils::`anonymous-namespace'::createNewFile: "
                           "Created [C:\\t\\pre0.tmp] file"});

    const std::string where = "FileUtils.cpp at FileUtils::createTempFile(): ";
    machine.calls.clearJournal();
    EXPECT_EQ(
        thrownBy<std::runtime_error>([] { createTempFile(_T("p"), _T(".s"), _T("C:\\missing")); }),
        where + "createTempFile(p, .s, C:\\missing) failed");
    EXPECT_EQ(machine.calls.count("CreateFileW"), 100u);

    machine.calls.clearJournal();
    for (const tstring bad : {_T("a\\b"), _T("a/b"), _T("a:b"), _T("a|b"),
                              _T("a\x1F"
                                 "b")}) {
        const std::string text = (Text() << bad).utf8();
        EXPECT_EQ(thrownBy<std::runtime_error>([&] { createTempFile(bad, bad, _T("C:\\t")); }),
                  where + "Illegal characters in prefix=" + text);
        EXPECT_EQ(thrownBy<std::runtime_error>([&] { createTempFile(_T(""), bad, _T("C:\\t")); }),
                  where + "Illegal characters in suffix=" + text);
    }
    EXPECT_EQ(machine.calls.count("CreateFileW"), 0u);
}

TEST_F(Files, UniqueFileLiesBesideTheOneThatIsTaken) {
    machine.facts.clock.setTicks(7);
    machine.volumes.addDirectory(u"C:\\t.d");
    EXPECT_EQ(createUniqueFile(_T("C:\\t.d\\norv.tar.dll")), _T("C:\\t.d\\norv.tar.dll"));
    EXPECT_EQ(createUniqueFile(_T("C:\\t.d\\norv.tar.dll")), _T("C:\\t.d\\norv.tar7.dll"));
    EXPECT_EQ(createUniqueFile(_T("C:\\t.d\\norv.tar.dll")), _T("C:\\t.d\\norv.tar8.dll"));
}

TEST_F(Files, FilesAreCopiedAndMoved) {
    machine.volumes.addDrive(u'D');
    machine.volumes.addFile(u"C:\\a.txt", "a");
    machine.volumes.addFile(u"C:\\b.txt", "b");
    machine.volumes.addFile(u"C:\\folder\\f.txt", "f");
    copyFile(_T("C:\\a.txt"), _T("C:\\b.txt"), false);
    EXPECT_EQ(machine.volumes.content(u"C:\\b.txt"), "a");
    moveFile(_T("C:\\b.txt"), _T("D:\\b.txt"), true);
    EXPECT_EQ(machine.volumes.content(u"D:\\b.txt"), "a");
    EXPECT_FALSE(machine.volumes.exists(u"C:\\b.txt"));
    moveFile(_T("C:\\folder"), _T("C:\\moved"), true);
    moveFile(_T("D:\\b.txt"), _T("C:\\moved\\f.txt"), false);
    EXPECT_EQ(machine.volumes.content(u"C:\\moved\\f.txt"), "a");
    const std::string moved =
        "TRACE FileUtils.cpp FileUtils::`anonymous-namespace'::moveFileImpl: ";
    EXPECT_EQ(log(), (Lines{"TRACE FileUtils.cpp FileUtils::copyFile: "
                            "Copied [C:\\a.txt] file to [C:\\b.txt]",
                            moved + "Moved 'C:\\b.txt' file to 'D:\\b.txt'",
                            moved + "Moved 'C:\\folder' folder to 'C:\\moved'",
                            moved + "Moved 'D:\\b.txt' file to 'C:\\moved\\f.txt'"}));

    const std::string exists = "System error [80](system error 80 (The file exists))";
    EXPECT_EQ(thrownBy<SysError>([] { copyFile(_T("C:\\a.txt"), _T("C:\\moved\\f.txt"), true); }),
              "FileUtils.cpp at FileUtils::copyFile(): "
              "CopyFile(C:\\a.txt, C:\\moved\\f.txt, 1) failed. " +
                  exists);
    EXPECT_EQ(thrownBy<SysError>([] { copyFile(_T("C:\\no"), _T("C:\\new\\f.txt"), false); }),
              "FileUtils.cpp at FileUtils::copyFile(): CopyFile(C:\\no, C:\\new\\f.txt, 0) failed. "
              "System error [2](system error 2 (The file cannot be found))");
    EXPECT_TRUE(machine.volumes.isDirectory(u"C:\\new"));
    const std::string moving =
        "FileUtils.cpp at FileUtils::`anonymous-namespace'::moveFileImpl(): ";
    EXPECT_EQ(thrownBy<SysError>([] { moveFile(_T("C:\\a.txt"), _T("C:\\moved\\f.txt"), true); }),
              moving +
                  "MoveFileEx(C:\\a.txt, C:\\moved\\f.txt, 2) failed. "
                  "System error [183](system error 183 (The file exists already))");
    EXPECT_EQ(thrownBy<SysError>([] { moveFile(_T("C:\\no"), _T("C:\\x.txt"), false); }),
              moving +
                  "MoveFileEx(C:\\no, C:\\x.txt, 3) failed. "
                  "System error [2](system error 2 (The file cannot be found))");
}

TEST_F(Files, PersistentCopyArrivesAtTheLatestWithTheRestart) {
    machine.facts.clock.setTicks(5);
    machine.volumes.addFile(u"C:\\new\\link.dll", "new");
    machine.volumes.addFile(u"C:\\system\\link.dll", "old");
    copyPersistentFile(_T("C:\\new\\link.dll"), _T("C:\\system\\free.dll"));
    EXPECT_EQ(machine.volumes.content(u"C:\\system\\free.dll"), "new");
    log();

    machine.volumes.lock(u"C:\\system\\link.dll");
    copyPersistentFile(_T("C:\\new\\link.dll"), _T("C:\\system\\link.dll"));
    EXPECT_EQ(machine.volumes.content(u"C:\\system\\link.dll"), "old");
    EXPECT_EQ(log(),
              (Lines{"ERROR FileUtils.cpp FileUtils::copyPersistentFile: Exception with message "
                     "'FileUtils.cpp at FileUtils::copyFile(): CopyFile(C:\\new\\link.dll, "
                     "C:\\system\\link.dll, 0) failed. System error [32](system error 32 "
                     "(Another process is using the file))' caught",
                     "TRACE FileUtils.cpp FileUtils::`anonymous-namespace'::createNewFile: "
                     "Created [C:\\new\\link5.dll] file",
                     "TRACE FileUtils.cpp FileUtils::copyFile: "
                     "Copied [C:\\new\\link.dll] file to [C:\\new\\link5.dll]",
                     "TRACE FileUtils.cpp FileUtils::`anonymous-namespace'::moveFileImpl: "
                     "Move 'C:\\new\\link5.dll' file to 'C:\\system\\link.dll' on reboot"}));
    machine.restart();
    EXPECT_EQ(machine.volumes.content(u"C:\\system\\link.dll"), "new");
    EXPECT_FALSE(machine.volumes.exists(u"C:\\new\\link5.dll"));

    EXPECT_EQ(thrownBy<std::runtime_error>(
                  [] { copyPersistentFile(_T("C:\\no"), _T("C:\\system\\link.dll")); }),
              "FileUtils.cpp at FileUtils::copyPersistentFile(): FileUtils::copyPersistentFile("
              "C:\\no, C:\\system\\link.dll, 0) failed. Source file not found.");
}

TEST_F(Files, PermissionsAreSet) {
    machine.volumes.addDirectory(u"C:\\a");
    setPermissions(_T("C:\\a"));
    EXPECT_EQ(machine.volumes.security(u"C:\\a"),
              "D:(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;FRFX;;;WD)");
    EXPECT_EQ(thrownBy<SysError>([] { setPermissions(_T("C:\\no")); }),
              "FileUtils.cpp at FileUtils::setPermissions(): setPermissions(C:\\no) failed. "
              "System error [2](system error 2 (The file cannot be found))");
}

TEST_F(Files, VersionIsReadFromTheResource) {
    machine.volumes.addFile(u"C:\\norv.exe");
    machine.volumes.setVersion(u"C:\\norv.exe", 17, 0, 65535, 40);
    EXPECT_EQ(getFileVersion(_T("C:\\norv.exe")), (std::array<std::uint16_t, 4>{17, 0, 65535, 40}));

    std::string block = simulated::versionBlock({1, 2, 3, 4});
    block[2] = sizeof(VS_FIXEDFILEINFO) - 1;  // what the block says of its value's length
    machine.volumes.setVersionResource(u"C:\\norv.exe", block);
    EXPECT_EQ(thrownBy<std::runtime_error>([] { getFileVersion(_T("C:\\norv.exe")); }),
              "FileUtils.cpp at `anonymous-namespace'::readResourceRecord(): "
              "VerQueryValueW(C:\\norv.exe, \\) returned unexpected buffer size.");
    machine.calls.failCall("VerQueryValueW", 1, ERROR_INVALID_DATA);
    EXPECT_EQ(thrownBy<SysError>([] { getFileVersion(_T("C:\\norv.exe")); }),
              "FileUtils.cpp at `anonymous-namespace'::readResourceRecord(): "
              "VerQueryValueW(C:\\norv.exe, \\) failed. "
              "System error [13](system error 13 (The data is invalid))");
    const std::string reading = "FileUtils.cpp at VersionResource::VersionResource(): ";
    machine.calls.failCall("GetFileVersionInfoW", 1, ERROR_INVALID_DATA);
    EXPECT_EQ(thrownBy<SysError>([] { VersionResource(_T("C:\\norv.exe")); }),
              reading +
                  "GetFileVersionInfo(C:\\norv.exe) failed. "
                  "System error [13](system error 13 (The data is invalid))");
    EXPECT_EQ(thrownBy<SysError>([] { VersionResource(_T("C:\\no.exe")); }),
              reading +
                  "GetFileVersionInfoSize(C:\\no.exe) failed. "
                  "System error [2](system error 2 (The file cannot be found))");
}

}  // namespace
