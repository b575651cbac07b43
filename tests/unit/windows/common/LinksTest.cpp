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
        std::uint32_t tag;
        std::uint16_t offset, length;
        std::string data;
        std::u16string target;
        std::string thrown = "nothing";
    } rows[] = {
        {kMountPoint, 0, 40, bytesOf(u"\\??\\UNC\\server\\share"), u"server\\share"},
        {kMountPoint, 6, 16, bytesOf(u"C:\\") + drive, u"C:\\t"},
        {kSymlink, 0, 16, std::string(4, '\1') + drive, u"C:\\t"},
        {kMountPoint, 0, 20, bytesOf(std::u16string(u"\\??\\C:\0\\tx", 10)), u"C:"},
        {kMountPoint, 0, 17, drive + "x", u"C:\\t"},
        {kMountPoint, 0, 0, "", u""},
        {kMountPoint, 16384 - 16 - 2, 2, full, u"\u7878"},
        {kMountPoint, 16384 - 16, 2, full, u"", damaged},
        {kSymlink, 0xFFFF, 0xFFFF, full, u"", damaged},
        {0x80000017, 0, 16, drive, u"", "C:\\link: unknown reparse tag 2147483671"},
    };
    machine.volumes.addDirectory(u"C:\\link");
    for (const auto& row : rows) {
        std::string buffer = std::string(16, '\0') + row.data;
        std::memcpy(buffer.data(), &row.tag, 4);
        std::memcpy(buffer.data() + 8, &row.offset, 2);
        std::memcpy(buffer.data() + 10, &row.length, 2);
        machine.volumes.setReparsePoint(u"C:\\link", buffer);
        tstring target;
        EXPECT_EQ(thrownText([&] { target = getLinkTarget(u"C:\\link"); }), row.thrown);
        EXPECT_EQ(target, row.target);
    }
}

}  // namespace
