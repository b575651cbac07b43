// Junctions, and reparse buffers that no one should have written.
#include "windows/common/ReparsePoint.h"

#include <cstring>

#include "support/OnMachine.h"
#include "support/Thrown.h"
#include "windows/common/FileUtils.h"

namespace {

using namespace FileUtils;
using ReparsePointTest = OnMachine;

TEST_F(ReparsePointTest, DirectoryThatWasThereStays) {
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
TEST_F(ReparsePointTest, TargetHasToFitTheBuffer) {
    const tstring fits(((16384 - 16) / sizeof(TCHAR) - 6) / 2, u'x');
    createJunction(u"C:\\link", fits);
    EXPECT_EQ(getLinkTarget(u"C:\\link"), fits);
    EXPECT_EQ(thrownText([&] { createJunction(u"C:\\other", fits + u"x"); }),
              "wcscpy_s(ptr, 4089, " + std::string(4090, 'x') + ") failed. Return value: 34");
}

TEST_F(ReparsePointTest, TargetOfAJunctionThatMayNotBeWrittenIsRead) {
    machine.volumes.addJunction(u"C:\\link", u"C:\\target");
    machine.volumes.denyWrite(u"C:\\link");
    EXPECT_EQ(getLinkTarget(u"C:\\link"), u"C:\\target");
}

TEST_F(ReparsePointTest, TargetOfAJunctionThatAnotherProcessReadsIsRead) {
    machine.volumes.addJunction(u"C:\\link", u"C:\\target");
    machine.volumes.lockForReading(u"C:\\link");
    EXPECT_EQ(getLinkTarget(u"C:\\link"), u"C:\\target");
}

std::string bytesOf(const std::u16string& text) {
    return std::string(reinterpret_cast<const char*>(text.data()), text.size() * 2);
}

constexpr std::uint32_t kMountPoint = 0xA0000003;
constexpr std::uint32_t kSymlink = 0xA000000C;
constexpr std::uint16_t kMaxPathBuffer = 16384 - 16;

struct ReparseBuffer {
    const char* name;
    std::string pathBuffer;
    std::uint16_t length;      ///< of the substitute name
    std::uint16_t offset = 0;  ///< of the substitute name
    std::uint32_t tag = kMountPoint;
    tstring target = u"C:\\t";

    std::string bytes() const {
        std::string buffer = std::string(16, '\0') + pathBuffer;
        std::memcpy(buffer.data(), &tag, sizeof(tag));
        std::memcpy(buffer.data() + 8, &offset, sizeof(offset));
        std::memcpy(buffer.data() + 10, &length, sizeof(length));
        return buffer;
    }
};

class ReparsePointBuffers : public OnMachine {
protected:
    ReparsePointBuffers() { machine.volumes.addDirectory(u"C:\\link"); }
    void write(const ReparseBuffer& buffer) {
        machine.volumes.setReparsePoint(u"C:\\link", buffer.bytes());
    }
    const std::string target = bytesOf(u"\\??\\C:\\t");
};

TEST_F(ReparsePointBuffers, AreReadAsTheirFieldsSay) {
    const ReparseBuffer rows[] = {
        {.name = "a target on a share",
         .pathBuffer = bytesOf(u"\\??\\UNC\\server\\share"),
         .length = 40,
         .target = u"server\\share"},
        {.name = "the target after another name",
         .pathBuffer = bytesOf(u"C:\\") + target,
         .length = 16,
         .offset = 6},
        {.name = "a symbolic link, whose flags come first",
         .pathBuffer = std::string(4, '\1') + target,
         .length = 16,
         .tag = kSymlink},
        {.name = "a target with a NUL",
         .pathBuffer = bytesOf(std::u16string(u"\\??\\C:\0\\tx", 10)),
         .length = 20,
         .target = u"C:"},
        {.name = "an odd length", .pathBuffer = target + "x", .length = 17},
        {.name = "an empty target", .pathBuffer = "", .length = 0, .target = u""},
        {.name = "a target at the end of the largest buffer",
         .pathBuffer = std::string(kMaxPathBuffer, 'x'),
         .length = 2,
         .offset = kMaxPathBuffer - 2,
         .target = u"\u7878"},
    };
    for (const ReparseBuffer& row : rows) {
        SCOPED_TRACE(row.name);
        write(row);
        EXPECT_EQ(getLinkTarget(u"C:\\link"), row.target);
    }
}

TEST_F(ReparsePointBuffers, WhoseTargetExceedsTheLargestBufferAreRefused) {
    const std::string full(kMaxPathBuffer, 'x');
    const ReparseBuffer rows[] = {
        {.name = "offset", .pathBuffer = full, .length = 2, .offset = kMaxPathBuffer},
        {.name = "both", .pathBuffer = full, .length = 0xFFFF, .offset = 0xFFFF, .tag = kSymlink},
    };
    for (const ReparseBuffer& row : rows) {
        SCOPED_TRACE(row.name);
        write(row);
        EXPECT_EQ(thrownText([] { getLinkTarget(u"C:\\link"); }),
                  "C:\\link: damaged reparse point");
    }
}

TEST_F(ReparsePointBuffers, OfAnotherKindAreRefused) {
    write({.name = "", .pathBuffer = target, .length = 16, .tag = 0x80000017});
    EXPECT_EQ(thrownText([] { getLinkTarget(u"C:\\link"); }),
              "C:\\link: unknown reparse tag 2147483671");
}

}  // namespace
