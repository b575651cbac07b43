// Paths as texts, questions about files, making, copying and moving them.
#include "simulated/machine/files/VersionBlock.h"
#include "support/OnMachine.h"
#include "support/Thrown.h"
#include "windows/common/FileUtils.h"
#include "windows/common/VersionResource.h"

namespace {

using namespace FileUtils;
using Files = OnMachine;

TEST(Paths, AreTakenApartAndJoined) {
    tstring parts;
    for (const tstring path : {u"\\/", u"\\b", u"a/\\b/c.d", u"a\\b\\\\", u"a.b\\c", u".x", u"x\\.",
                               u"..", u"d/..", u"x..", u"a.tar.gz"}) {
        parts += dirname(path) + u"|" + basename(path) + u"|" + suffix(path) + u"; ";
    }
    EXPECT_EQ(parts,
              u"||; |b|; a/\\b|c.d|.d; a\\b||; a.b|c|; |.x|.x; x|.|.; |..|; d|..|; |x..|.; "
              u"|a.tar.gz|.gz; ");
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
        {u"C:\\Program Files\\Norv\\LATEST~1", u"c:/PROGRA~1\\x\\../norv\\latest thing", true},
        {u"C:\\PROGRA~1\\New\\Deeper", u"C:\\Program Files\\NEW\\deeper", true},
        {u"C:\\Program Files\\Nowhe~1", u"C:\\Program Files\\Nowhere at all", false},
        {u"Temp", u"C:\\windows\\temp", true},
        {u"\\\\nobody\\share\\x", u"//NOBODY/share/x", true},
        {u"Q:\\gone", u"q:/GONE", true},
        {u"C:\\Windows", u"C:\\Windows\\", false},
    };
    for (const auto& [a, b, isSame] : rows) {
        EXPECT_EQ(isSamePath(a, b), isSame);
    }
    for (const char c : std::string("<>\"|?*")) {
        EXPECT_EQ(thrownText([&] { isSamePath(u"C:\\", tstring(1, c)); }),
                  std::string("isSamePath: Illegal characters in second arg ") + c);
    }
}

TEST_F(Files, TemporaryNamesCountOnFromTheTicks) {
    machine.facts.clock.setTicks(0xFFFFFFFFull);
    machine.volumes.addFile(u"C:\\t.d\\norv.tar.dll", "mine");
    machine.volumes.addFile(u"C:\\t.d\\norv.tar4294967295.dll", "mine");
    EXPECT_EQ(createUniqueFile(u"C:\\t.d\\new.dll"), u"C:\\t.d\\new.dll");
    EXPECT_EQ(createUniqueFile(u"C:\\t.d\\norv.tar.dll"), u"C:\\t.d\\norv.tar0.dll");
    machine.calls.clearJournal();
    EXPECT_EQ(thrownText([] { createTempFile(u"", u".s", u"C:\\no"); }),
              "createTempFile(, .s, C:\\no) failed");
    EXPECT_EQ(thrownText([] { createTempFile(u":", u":", u"C:"); }),
              "Illegal characters in prefix=:");
    for (const char c : std::string("\\/:|\x1F")) {
        EXPECT_EQ(thrownText([&] { createTempFile(u" ", tstring(1, c), u"C:"); }),
                  std::string("Illegal characters in suffix=") + c);
    }
    EXPECT_EQ(machine.calls.count("CreateFileW"), 100u);
}

TEST_F(Files, PersistentCopyArrivesAtTheLatestWithTheRestart) {
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

TEST_F(Files, VersionMayBeTooShort) {
    std::string block = simulated::versionBlock({1, 2, 3, 4});
    block[2] = sizeof(VS_FIXEDFILEINFO) - 1;  // what the block says of its value's length
    machine.volumes.addFile(u"C:\\a");
    machine.volumes.setVersionResource(u"C:\\a", block);
    EXPECT_EQ(thrownText([] { getFileVersion(u"C:\\a"); }),
              "VerQueryValueW(C:\\a, \\) returned unexpected buffer size.");
}

}  // namespace
