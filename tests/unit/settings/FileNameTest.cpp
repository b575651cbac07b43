// Paths of configuration files.
#include "settings/share/FileName.h"

#include <gtest/gtest.h>

#include "settings/share/SettingsException.h"
#include "simulated/machine/Machine.h"

namespace {

using namespace settings_impl;

std::string statusOf(auto work) {
    try {
        return work();
    } catch (const settings::Exception& e) {
        return "status " + std::to_string(e.code());
    }
}

std::string checked(const std::string& path) {
    return statusOf([&] { return checkPath(path) == path ? "fine" : "changed"; });
}

std::string canonical(const std::string& path) {
    return statusOf([&] { return canonicalize(FileName(path)).text(); });
}

TEST(FileName, PathsAreChecked) {
    const std::string accent = "\xC3\xA9";
    std::string wide;
    for (int i = 0; i < 128; ++i) {
        wide += accent;
    }
    const struct {
        std::string path;
        const char* expected;
    } cases[] = {
        {"", "fine"},
        {"C:/" + std::string(256, 'x'), "fine"},
        {"C:/" + std::string(257, 'x'), "status 310"},
        {"C:/" + wide, "fine"},
        {"C:/" + wide + accent, "status 310"},
        {"C:/x\xFF", "status 312"},
        {"C:/x\xC3", "status 312"},
        {"C:/COM1/x", "status 311"},
        {"NUL", "status 311"},
        {"C:/com1/x", "fine"},
        {"C:/COM1.txt", "fine"},
        {"C:/COM10", "fine"},
        {"C:/COM0", "fine"},
        {"C:/LPT9", "status 311"},
        {"C:/a:b", "status 311"},
        {"1:/x", "status 311"},
        {"a/C:/x", "status 311"},
        {"C:/a\x1F", "status 311"},
        {"C:/a\x7F", "fine"},
        {"C:/a\"b", "status 311"},
        {"C:/a<b", "status 311"},
        {"C:/a|b", "status 311"},
        {"C:/a?b", "status 311"},
        {"C:/../..", "fine"},
        {"///", "fine"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(checked(c.path), c.expected) << c.path;
    }
}

TEST(FileName, CanonicalPathsStandAlone) {
    simulated::Machine machine;
    machine.volumes.addDirectory(u"C:\\Work\\Deep");
    machine.volumes.setCurrentDirectory(u"C:\\Work\\Deep");
    const simulated::Running running(machine);
    const struct {
        const char* path;
        const char* expected;
    } cases[] = {
        {"C:/a/./b/../c.cfg", "C:/a/c.cfg"},
        {"C:\\a\\c.cfg", "C:/a/c.cfg"},
        {"C:\\\\a//c.cfg\\", "C:/a/c.cfg"},
        {"C:", "C:"},
        {"C:/..", "status 311"},
        {"C:/../x", "x"},
        {"C:/../../x", "status 311"},
        {"x.cfg", "C:/Work/Deep/x.cfg"},
        {"../x.cfg", "C:/Work/x.cfg"},
        {"../../../../x", "status 311"},
        {"\\\\server\\x", "C:/Work/Deep/server/x"},
        {"/", "C:/Work/Deep"},
        {"", "status 311"},
        {"C:/a/../NUL/../b", "C:/b"},
        {"C:/\xE6\x97\xA5", "C:/\xE6\x97\xA5"},
        {"\xE3_x", "status 200"},  // lead bytes only: no UTF-8 for Windows
    };
    for (const auto& c : cases) {
        EXPECT_EQ(canonical(c.path), c.expected) << c.path;
    }
    EXPECT_EQ(canonical(std::string(250, 'x')), "status 310");

    machine.volumes.setCurrentDirectory(u"C:\\");
    EXPECT_EQ(canonical("../../x"), "status 311");
    machine.calls.failCall("_wgetcwd", 1);
    EXPECT_EQ(canonical("x"), "status 200");
    machine.calls.failCall("MultiByteToWideChar", 1);
    EXPECT_EQ(canonical("C:/x"), "status 200");
}

TEST(FileName, FoldersOfAFileAreMade) {
    simulated::Machine machine;
    machine.volumes.addFile(u"C:\\file", "x");
    machine.volumes.addDirectory(u"C:\\closed");
    machine.volumes.denyWrite(u"C:\\closed");
    const simulated::Running running(machine);
    const auto made = [](const char* path) {
        return statusOf([&] {
            createParentDirectories(canonicalize(FileName(path)));
            return "made";
        });
    };
    EXPECT_EQ(made("C:/a/b/c/file.cfg"), "made");
    EXPECT_TRUE(machine.volumes.isDirectory(u"C:\\a\\b\\c"));
    EXPECT_FALSE(machine.volumes.exists(u"C:\\a\\b\\c\\file.cfg"));
    EXPECT_EQ(made("C:/a/b/c/file.cfg"), "made");
    EXPECT_EQ(made("C:/file.cfg"), "made");
    EXPECT_EQ(made("C:"), "made");
    EXPECT_EQ(made("C:/closed/d/file.cfg"), "status 311");
    EXPECT_EQ(made("Q:/d/file.cfg"), "status 311");
    EXPECT_THROW(createParentDirectories(FileName("C:/a/b")), std::logic_error);
}

}  // namespace
