// Junctions, and reparse buffers that no one should have written.
#include <cstring>

#include "support/OnMachine.h"
#include "support/Thrown.h"
#include "windows/common/FileUtils.h"

namespace {

using namespace FileUtils;
using Links = OnMachine;

TEST_F(Links, DirectoryThatWasThereStays) {
    machine.volumes.addFile(u"C:\\full\\file");
    machine.volumes.addDirectory(u"C:\\empty");
    for (const TCHAR* link : {u"C:\\empty", u"C:\\a\\new"}) {
        machine.calls.failCall("DeviceIoControl", 1, ERROR_NOT_SUPPORTED);
        EXPECT_ANY_THROW(createJunction(link, u"C:\\full"));
    }
    EXPECT_TRUE(machine.volumes.isDirectory(u"C:\\empty"));
    EXPECT_FALSE(machine.volumes.exists(u"C:\\a\\new"));
}

/// The longest target that fits: the buffer holds the 16 bytes in front, the target twice, four
/// characters and two NULs.
TEST_F(Links, TargetHasToFitTheBuffer) {
    const tstring fits(((16384 - 16) / sizeof(TCHAR) - 6) / 2, u'x');
    createJunction(u"C:\\link", fits);
    EXPECT_EQ(getLinkTarget(u"C:\\link"), fits);
    EXPECT_EQ(thrownText([&] { createJunction(u"C:\\other", fits + u"x"); }),
              "wcscpy_s(ptr, 4089, " + std::string(4090, 'x') + ") failed. Return value: 34");
}

TEST_F(Links, TargetOfAJunctionThatMayNotBeWrittenIsRead) {
    machine.volumes.addJunction(u"C:\\link", u"C:\\target");
    machine.volumes.denyWrite(u"C:\\link");
    EXPECT_EQ(getLinkTarget(u"C:\\link"), u"C:\\target");
}

TEST_F(Links, TargetOfAJunctionThatAnotherProcessReadsIsRead) {
    machine.volumes.addJunction(u"C:\\link", u"C:\\target");
    machine.volumes.lockForReading(u"C:\\link");
    EXPECT_EQ(getLinkTarget(u"C:\\link"), u"C:\\target");
}

std::string bytesOf(const std::u16string& text) {
    return std::string(reinterpret_cast<const char*>(text.data()), text.size() * 2);
}

TEST_F(Links, AnyReparseBufferIsRead) {
    constexpr std::uint32_t kMountPoint = 0xA0000003;
    constexpr std::uint32_t kSymlink = 0xA000000C;
    const std::string drive = bytesOf(u"\\??\\C:\\t");
    const std::string damaged = "C:\\link: damaged reparse point";
    const std::string full(16384 - 16, 'x');
    const struct {
        const char* name;
        std::uint32_t tag;
        std::uint16_t substituteNameOffset, substituteNameLength;
        std::string pathBuffer;
        std::u16string target = {};
        std::string thrown = "nothing";
    } rows[] = {
        {.name = "a target on a share",
         .tag = kMountPoint,
         .substituteNameOffset = 0,
         .substituteNameLength = 40,
         .pathBuffer = bytesOf(u"\\??\\UNC\\server\\share"),
         .target = u"server\\share"},
        {.name = "the target after another name",
         .tag = kMountPoint,
         .substituteNameOffset = 6,
         .substituteNameLength = 16,
         .pathBuffer = bytesOf(u"C:\\") + drive,
         .target = u"C:\\t"},
        {.name = "a symbolic link, whose flags come first",
         .tag = kSymlink,
         .substituteNameOffset = 0,
         .substituteNameLength = 16,
         .pathBuffer = std::string(4, '\1') + drive,
         .target = u"C:\\t"},
        {.name = "a target with a NUL",
         .tag = kMountPoint,
         .substituteNameOffset = 0,
         .substituteNameLength = 20,
         .pathBuffer = bytesOf(std::u16string(u"\\??\\C:\0\\tx", 10)),
         .target = u"C:"},
        {.name = "an odd length",
         .tag = kMountPoint,
         .substituteNameOffset = 0,
         .substituteNameLength = 17,
         .pathBuffer = drive + "x",
         .target = u"C:\\t"},
        {.name = "an empty target",
         .tag = kMountPoint,
         .substituteNameOffset = 0,
         .substituteNameLength = 0,
         .pathBuffer = ""},
        {.name = "a target at the end of the largest buffer",
         .tag = kMountPoint,
         .substituteNameOffset = 16384 - 16 - 2,
         .substituteNameLength = 2,
         .pathBuffer = full,
         .target = u"\u7878"},
        {.name = "a target that begins behind the largest buffer",
         .tag = kMountPoint,
         .substituteNameOffset = 16384 - 16,
         .substituteNameLength = 2,
         .pathBuffer = full,
         .thrown = damaged},
        {.name = "the highest offset and length",
         .tag = kSymlink,
         .substituteNameOffset = 0xFFFF,
         .substituteNameLength = 0xFFFF,
         .pathBuffer = full,
         .thrown = damaged},
        {.name = "another kind of reparse point",
         .tag = 0x80000017,
         .substituteNameOffset = 0,
         .substituteNameLength = 16,
         .pathBuffer = drive,
         .thrown = "C:\\link: unknown reparse tag 2147483671"},
    };
    machine.volumes.addDirectory(u"C:\\link");
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        std::string buffer = std::string(16, '\0') + row.pathBuffer;
        std::memcpy(buffer.data(), &row.tag, 4);
        std::memcpy(buffer.data() + 8, &row.substituteNameOffset, 2);
        std::memcpy(buffer.data() + 10, &row.substituteNameLength, 2);
        machine.volumes.setReparsePoint(u"C:\\link", buffer);
        tstring target;
        EXPECT_EQ(thrownText([&] { target = getLinkTarget(u"C:\\link"); }), row.thrown);
        EXPECT_EQ(target, row.target);
    }
}

}  // namespace
