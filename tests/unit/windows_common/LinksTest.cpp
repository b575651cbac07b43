// Junctions: making, reading and deleting them, and reparse buffers that no one should have
// written.
#include <cstring>

#include "common/share/Text.h"
#include "common/windows/WinErrorHandling.h"
#include "support/OnMachine.h"
#include "windows/common/FileUtils.h"

namespace {

using namespace FileUtils;
using Lines = std::vector<std::string>;
using Links = OnMachine;

TEST_F(Links, JunctionIsMadeReadAndDeleted) {
    machine.volumes.addFile(u"C:\\target\\kept.txt", "x");
    createJunction(_T("C:\\a\\link"), _T("C:\\target"));
    EXPECT_EQ(getLinkTarget(_T("C:\\a\\link")), _T("C:\\target"));
    EXPECT_EQ(machine.volumes.junctionTarget(u"C:\\a\\link"), u"C:\\target");
    EXPECT_EQ(machine.volumes.content(u"C:\\a\\link\\kept.txt"), "x");
    EXPECT_EQ(log(), (Lines{"TRACE FileUtils.cpp FileUtils::`anonymous-namespace'::createDir: "
                            "Created [C:\\a\\] directory",
                            "TRACE FileUtils.cpp FileUtils::`anonymous-namespace'::createDir: "
                            "Created [C:\\a\\link\\] directory",
                            "TRACE FileUtils.cpp FileUtils::createJunction: "
                            "Created [C:\\a\\link] junction for [C:\\target] target",
                            "TRACE FileUtils.cpp FileUtils::getLinkTarget: "
                            "Target for [C:\\a\\link] link is [C:\\target]"}));
    deleteJunction(_T("C:\\a\\link"));
    EXPECT_FALSE(machine.volumes.exists(u"C:\\a\\link"));
    EXPECT_TRUE(machine.volumes.exists(u"C:\\target\\kept.txt"));
    EXPECT_EQ(log(), Lines{"TRACE FileUtils.cpp FileUtils::tryDeleteDirectory: "
                           "Deleted [C:\\a\\link] directory"});
}

TEST_F(Links, WhatIsNoLinkStays) {
    machine.volumes.addDirectory(u"C:\\folder");
    for (const TCHAR* path : {_T("C:\\folder"), _T("C:\\missing")}) {
        const std::string text = (Text() << path).utf8();
        EXPECT_EQ(thrownBy<std::runtime_error>([&] { deleteJunction(path); }),
                  "FileUtils.cpp at FileUtils::deleteJunction(): " + text + ": is not a junction");
        EXPECT_EQ(thrownBy<std::runtime_error>([&] { getLinkTarget(path); }),
                  "FileUtils.cpp at FileUtils::getLinkTarget(): " + text + ": not a link");
    }
    EXPECT_TRUE(machine.volumes.isDirectory(u"C:\\folder"));
}

TEST_F(Links, DirectoryThatWasThereStays) {
    machine.volumes.addFile(u"C:\\full\\file");
    machine.volumes.addDirectory(u"C:\\empty");
    const std::string made = "FileUtils.cpp at FileUtils::createJunction(): ";
    EXPECT_EQ(thrownBy<SysError>([] { createJunction(u"C:\\full", u"C:\\x"); }),
              made +
                  "C:\\full: cannot set reparse point. "
                  "System error [145](system error 145 (The directory is not empty))");
    for (const TCHAR* link : {u"C:\\empty", u"C:\\a\\new"}) {
        machine.calls.failCall("DeviceIoControl", 1, ERROR_NOT_SUPPORTED);
        EXPECT_THROW(createJunction(link, u"C:\\full"), SysError);
    }
    EXPECT_TRUE(machine.volumes.isDirectory(u"C:\\empty"));
    EXPECT_FALSE(machine.volumes.exists(u"C:\\a\\new"));
    createJunction(u"C:\\a\\new", u"C:\\full");
    EXPECT_EQ(machine.volumes.junctionTarget(u"C:\\a\\new"), u"C:\\full");
}

/// The longest target that fits: the buffer holds the 16 bytes in front, the target twice, four
/// characters and two NULs.
TEST_F(Links, TargetHasToFitTheBuffer) {
    const std::size_t longest = ((16384 - 16) / sizeof(TCHAR) - 6) / 2;
    const tstring fits(longest, _T('x'));
    createJunction(_T("C:\\link"), fits);
    EXPECT_EQ(getLinkTarget(_T("C:\\link")), fits);

    const std::string thrown = thrownBy<std::runtime_error>(
        [&] { createJunction(_T("C:\\other\\link"), fits + _T("x")); });
    EXPECT_EQ(thrown, (Text() << "FileUtils.cpp at FileUtils::`anonymous-namespace'::append(): "
                                 "wcscpy_s(ptr, "
                              << longest << _T(", ") << fits << _T("x) failed. Return value: 34"))
                          .utf8());
    EXPECT_FALSE(machine.volumes.exists(u"C:\\other"));
}

/// A reparse buffer with a name of any place and length in it.
std::string reparseBuffer(std::uint32_t tag, std::uint16_t offset, std::uint16_t length,
                          const std::string& behindLengths) {
    std::string buffer(16, '\0');
    std::memcpy(buffer.data(), &tag, 4);
    std::memcpy(buffer.data() + 8, &offset, 2);
    std::memcpy(buffer.data() + 10, &length, 2);
    buffer += behindLengths;
    const auto dataLength = static_cast<std::uint16_t>(buffer.size() - 8);
    std::memcpy(buffer.data() + 4, &dataLength, 2);
    return buffer;
}

std::string bytesOf(const std::u16string& text) {
    return std::string(reinterpret_cast<const char*>(text.data()), text.size() * 2);
}

TEST_F(Links, AnyReparseBufferIsRead) {
    constexpr std::uint32_t kMountPoint = 0xA0000003;
    constexpr std::uint32_t kSymlink = 0xA000000C;
    const std::string unknown = "C:\\link: unknown reparse tag 2147483671";
    const std::string damaged = "C:\\link: damaged reparse point";
    const std::string full(16384 - 16, 'x');
    const struct {
        const char* what;
        std::string buffer;
        std::u16string target;
        std::string failure;
    } rows[] = {
        {"prefix", reparseBuffer(kMountPoint, 0, 16, bytesOf(u"\\??\\C:\\t")), u"C:\\t", ""},
        {"share", reparseBuffer(kMountPoint, 0, 40, bytesOf(u"\\??\\UNC\\server\\share")),
         u"server\\share", ""},
        {"UNC is no prefix by itself", reparseBuffer(kMountPoint, 0, 14, bytesOf(u"\\??\\UNC")),
         u"UNC", ""},
        {"no prefix", reparseBuffer(kMountPoint, 0, 8, bytesOf(u"C:\\t")), u"C:\\t", ""},
        {"behind the print name", reparseBuffer(kMountPoint, 6, 16, bytesOf(u"C:\\\\??\\C:\\t")),
         u"C:\\t", ""},
        {"symbolic link: four bytes of flags",
         reparseBuffer(kSymlink, 0, 16, std::string(4, '\1') + bytesOf(u"\\??\\C:\\t")), u"C:\\t",
         ""},
        {"cut at a NUL",
         reparseBuffer(kMountPoint, 0, 20, bytesOf(std::u16string(u"\\??\\C:\0\\t", 9) + u"x")),
         u"C:", ""},
        {"odd length", reparseBuffer(kMountPoint, 0, 17, bytesOf(u"\\??\\C:\\tx")), u"C:\\t", ""},
        {"empty", reparseBuffer(kMountPoint, 0, 0, ""), u"", ""},
        {"to the last byte", reparseBuffer(kMountPoint, 16384 - 16 - 2, 2, full), u"\u7878", ""},
        {"one unit too far", reparseBuffer(kMountPoint, 16384 - 16, 2, full), u"", damaged},
        {"symbolic link too far", reparseBuffer(kSymlink, 16384 - 20, 2, full), u"", damaged},
        {"length out of the buffer", reparseBuffer(kMountPoint, 0, 0xFFFF, full), u"", damaged},
        {"both out of the buffer", reparseBuffer(kSymlink, 0xFFFF, 0xFFFF, full), u"", damaged},
        {"other tag", reparseBuffer(0x80000017, 0, 16, bytesOf(u"\\??\\C:\\t")), u"", unknown},
    };
    machine.volumes.addDirectory(u"C:\\link");
    machine.volumes.addFile(u"C:\\file");
    machine.volumes.addSymbolicLink(u"C:\\linked", u"C:\\file");
    EXPECT_EQ(getLinkTarget(u"C:\\linked"), u"C:\\file");
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        machine.volumes.setReparsePoint(u"C:\\link", row.buffer);
        if (row.failure.empty()) {
            EXPECT_EQ(getLinkTarget(_T("C:\\link")), row.target);
        } else {
            EXPECT_EQ(thrownBy<std::runtime_error>([] { getLinkTarget(_T("C:\\link")); }),
                      "FileUtils.cpp at FileUtils::getLinkTarget(): " + row.failure);
        }
    }
}

}  // namespace
