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

std::string canonical(const std::string& path) {
    return statusOf([&] { return canonicalize(FileName(path)).text(); });
}

TEST(FileName, PathsAreChecked) {
    const struct {
        const char* expected;
        std::vector<std::string> paths;
    } cases[] = {
        {"fine",
         {"", "///", "C:/" + std::string(256, 'x'), "C:/com1/x", "C:/COM1.txt", "C:/COM10",
          "C:/COM0", "C:/a\x7F", "C:/../.."}},
        {"status 310", {"C:/" + std::string(257, 'x'), "C:/\xC3\xA9" + std::string(255, 'x')}},
        {"status 311",
         {"C:/COM1/x", "NUL", "C:/LPT9", "C:/a:b", "1:/x", "a/C:/x", "C:/a\x1F", "C:/a\"b",
          "C:/a<b", "C:/a|b", "C:/a?b", "@:/x", "[:/x", "`:/x", "{:/x"}},
        {"status 312", {"C:/x\xFF", "C:/x\xC3"}},
    };
    for (const auto& c : cases) {
        for (const std::string& path : c.paths) {
            EXPECT_EQ(statusOf([&] { return checkPath(path) == path ? "fine" : "changed"; }),
                      c.expected)
                << path;
        }
    }
}

TEST(FileName, CanonicalPathsStandAlone) {
    simulated::Machine machine;
    machine.volumes.addDirectory(u"C:\\Work\\Deep");
    machine.volumes.setCurrentDirectory(u"C:\\Work\\Deep");
    const simulated::Running running(machine);
    const struct {
        std::string path;
        const char* expected;
    } cases[] = {
        {"C:/a/./b/../c.cfg", "C:/a/c.cfg"},
        {"C:\\\\a//c.cfg\\", "C:/a/c.cfg"},
        {"a:/x", "a:/x"},
        {"z:/x", "z:/x"},
        {"A:/x", "A:/x"},
        {"Z:", "Z:"},
        {"C:/..", "status 311"},
        {"C:/../x", "x"},
        {"C:/../../x", "status 311"},
        {"x.cfg", "C:/Work/Deep/x.cfg"},
        {"../../../../x", "status 311"},
        {"\\\\server\\x", "C:/Work/Deep/server/x"},
        {"/", "C:/Work/Deep"},
        {"", "status 311"},
        {"C:/a/../NUL/../\xE6\x97\xA5", "C:/\xE6\x97\xA5"},
        {"\xE3_x", "status 200"},  // lead bytes only: no UTF-8 for Windows
        {std::string(250, 'x'), "status 310"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(canonical(c.path), c.expected) << c.path;
    }
    const FileName done("C:/a/../b", true);
    EXPECT_EQ(canonicalize(done).text(), done.text());
    machine.calls.failCall("_wgetcwd", 1);
    EXPECT_EQ(canonical("x"), "status 200");
    for (const std::uint64_t n : {1, 2}) {
        machine.calls.failCall("MultiByteToWideChar", n);
        EXPECT_EQ(canonical("C:/x"), "status 200");
        machine.calls.clearPlans();
        machine.calls.failCall("WideCharToMultiByte", n);
        EXPECT_EQ(canonical("x"), "status 200");
        machine.calls.clearPlans();
    }
}

TEST(FileName, FoldersOfAFileAreMade) {
    simulated::Machine machine;
    machine.volumes.addDirectory(u"C:\\closed");
    machine.volumes.denyWrite(u"C:\\closed");
    const simulated::Running running(machine);
    const struct {
        const char* path;
        const char* expected;
    } cases[] = {{"C:/a/b/c/file.cfg", "made"},
                 {"C:/a/b/c/file.cfg", "made"},
                 {"C:/file.cfg", "made"},
                 {"C:", "made"},
                 {"C:/closed/d/file.cfg", "status 311"},
                 {"Q:/d/file.cfg", "status 311"}};
    for (const auto& c : cases) {
        EXPECT_EQ(statusOf([&] {
                      createParentDirectories(canonicalize(FileName(c.path)));
                      return "made";
                  }),
                  c.expected)
            << c.path;
    }
    EXPECT_TRUE(machine.volumes.isDirectory(u"C:\\a\\b\\c"));
    EXPECT_FALSE(machine.volumes.exists(u"C:\\a\\b\\c\\file.cfg"));
    EXPECT_THROW(createParentDirectories(FileName("C:/a/b")), std::logic_error);
}

}  // namespace
