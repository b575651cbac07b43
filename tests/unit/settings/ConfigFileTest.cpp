// Configuration files on a machine: their paths, reading them, and what `save` leaves there.
#include <gtest/gtest.h>

#include "settings/share/FileName.h"
#include "simulated/machine/Machine.h"
#include "support/Settings.h"

namespace {

using namespace settings_impl;

class ConfigFile : public testing::Test {
protected:
    void TearDown() override { EXPECT_TRUE(machine.handles.open().empty()); }

    simulated::Machine machine;
    const simulated::Running running{machine};
};

/// The path as a load or save takes it.
std::string canonical(const std::string& path) {
    try {
        return canonicalize(FileName(checkPath(path))).text();
    } catch (const settings::Exception& e) {
        return "status " + std::to_string(e.code());
    }
}

TEST_F(ConfigFile, PathsAreCheckedAndStandAlone) {
    machine.volumes.addDirectory(u"C:\\Work\\Deep");
    machine.volumes.setCurrentDirectory(u"C:\\Work\\Deep");
    const struct {
        const char* expected;
        std::vector<std::string> paths;
    } cases[] = {
        {"as it is",
         {"C:/" + std::string(256, 'x'), "C:/com1/x", "C:/COM1.txt", "C:/COM10", "C:/COM0",
          "C:/a\x7F", "a:/x", "z:/x", "A:/x", "Z:"}},
        {"C:/a/c.cfg", {"C:/a/./b/../c.cfg", "C:\\\\a//c.cfg\\"}},
        {"x", {"C:/../x"}},
        {"C:/Work/Deep", {"/", "///", "../Deep"}},
        {"C:/Work/Deep/server/x", {"server/x", "\\\\server\\x"}},
        {"status 200", {"\xE3_x"}},  // lead bytes only: no UTF-8 for Windows
        {"status 310",
         {"C:/" + std::string(257, 'x'), "C:/\xC3\xA9" + std::string(255, 'x'),
          std::string(250, 'x')}},
        {"status 311",
         {"", "C:/..", "C:/../../x", "../../../../x", "C:/COM1/x", "NUL", "C:/a:b", "1:/x",
          "a/C:/x", "C:/a\x1F", "C:/a\"b", "C:/a<b", "C:/a|b", "C:/a?b", "@:/x", "C:/LPT9", "[:/x",
          "`:/x", "{:/x"}},
        {"status 312", {"C:/x\xFF", "C:/x\xC3"}},
    };
    for (const auto& c : cases) {
        for (const std::string& path : c.paths) {
            EXPECT_EQ(canonical(path), &c == cases ? path : c.expected) << path;
        }
    }
    const FileName done("C:/a/../b", true);
    EXPECT_EQ(canonicalize(done).text(), done.text());
    EXPECT_THROW(createParentDirectories(FileName("C:/a/b")), std::logic_error);
    for (const auto& [function, call] :
         {std::pair("_wgetcwd", 1u), std::pair("MultiByteToWideChar", 1u),
          std::pair("MultiByteToWideChar", 2u), std::pair("WideCharToMultiByte", 1u),
          std::pair("WideCharToMultiByte", 2u)}) {
        machine.calls.failCall(function, call);
        EXPECT_EQ(canonical("x"), "status 200") << function;
        machine.calls.clearPlans();
    }
}

/// A file of comments and one entry at its end, of exactly `size` bytes.
std::string fileOf(std::size_t size) {
    const std::string tail = "\nlast=1";
    return std::string(size - tail.size(), '#') + tail;
}

TEST_F(ConfigFile, FilesAreReadWhole) {
    const std::string mark = "\xEF\xBB\xBF";
    const std::size_t limit = 0x100000;
    // Zero bytes end keys and values.
    const char zeros[] = "a\0b=1\0x\n\0x=3\nc=4";
    const struct {
        std::string content;
        settings::Status status;
        std::string dump;
    } cases[] = {
        {"", settings::kSuccess, ""},
        {mark + "a=1", settings::kSuccess, "a=1"},
        {mark + mark + "a=1", settings::kSuccess, mark + "a=1"},
        {"\xEF\xBB", settings::kTextNotUtf8, ""},
        {{zeros, sizeof(zeros) - 1}, settings::kSuccess, "=3|a=1|c=4"},
        {"a=1\x1A\r\nb=2", settings::kSuccess, "a=1\x1A|b=2"},
        {"a=1\nb", settings::kBadLines, ""},
        {fileOf(limit - 1), settings::kSuccess, "last=1"},
        {fileOf(limit), settings::kFileTooLong, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        machine.volumes.addFile(u"C:\\d\\x.cfg", c.content);
        Context context;
        EXPECT_EQ(context.loadFile("C:\\d\\.\\x.cfg"), c.status);
        EXPECT_EQ(context.dump(), c.dump);
    }
    EXPECT_EQ(Context().loadFile("C:/d"), settings::kCannotOpen);
    EXPECT_EQ(Context().loadFile("C:/\xFF"), settings::kPathNotUtf8);
    machine.calls.failAll("fread");
    EXPECT_EQ(Context().loadFile("C:/d/x.cfg"), settings::kReadError);
}

TEST_F(ConfigFile, TheRuntimeFileLiesInTheCommonFilesFolder) {
    machine.volumes.addDirectory(u"C:\\\u65E5");
    machine.shell.setFolder(44, u"C:\\\u65E5");
    const char* path = nullptr;
    const Context context;
    EXPECT_EQ(api.getPath(context.get(), &path), settings::kSuccess);
    EXPECT_STREQ(path, "C:\\\xE6\x97\xA5\\Dovrin\\Norv\\norv.settings.cfg");
    machine.calls.failCall("SHGetFolderPathW", 1);
    try {
        api.create();
        FAIL();
    } catch (const settings::Exception& e) {
        EXPECT_EQ(e.code(), settings::kFailure);
        EXPECT_STREQ(e.what(), "");
    }
}

TEST_F(ConfigFile, SavingCreatesAndOverwrites) {
    Context context("b=2\na= x\nbare\nempty=");
    for (const char* text : {"a=x\nb=2\nbare\nempty=\n", "a=x\r\nb=2\r\nbare\r\nempty=\r\n"}) {
        EXPECT_EQ(api.save(context.get(), "C:\\n\\m\\x.cfg"), settings::kSuccess);
        EXPECT_EQ(machine.volumes.content(u"C:\\n\\m\\x.cfg"), text);
        EXPECT_EQ(machine.volumes.security(u"C:\\n\\m\\x.cfg"),
                  "D:(A;;FA;;;SY)(A;;FA;;;BA)(A;;FR;;;WD)");
        Context again;
        EXPECT_EQ(again.loadFile("C:/n/m/x.cfg", {.bareKeys = true}), settings::kSuccess);
        EXPECT_EQ(again.dump(), context.dump());
    }
    EXPECT_EQ(api.save(Context().get(), "C:/empty.cfg"), settings::kSuccess);
    EXPECT_EQ(machine.volumes.content(u"C:\\empty.cfg"), " ");
}

TEST_F(ConfigFile, AFailedSaveTellsWhereItFailed) {
    machine.volumes.addFile(u"C:\\d\\old.cfg", "old");
    machine.volumes.addFile(u"C:\\d\\locked.cfg", "old");
    machine.volumes.lock(u"C:\\d\\locked.cfg");
    machine.volumes.addDirectory(u"C:\\closed");
    machine.volumes.denyWrite(u"C:\\closed");
    const struct {
        const char* path;
        const char* function;
        settings::Status status;
    } cases[] = {
        {"", nullptr, settings::kPathRefused},
        {"C:", nullptr, settings::kCannotOpen},
        {"Q:/x/y.cfg", nullptr, settings::kPathRefused},
        {"C:/closed/d/x.cfg", nullptr, settings::kPathRefused},
        {"C:/e/x.cfg", "_wmkdir", settings::kPathRefused},
        // A file that is there but can't be opened is never replaced by a new one.
        {"C:/d/locked.cfg", nullptr, settings::kCannotOpen},
        {"C:/d/old.cfg", "_wfopen", settings::kCannotOpen},
        {"C:/d/old.cfg", "_wfreopen", settings::kCannotOpen},
        {"C:/d/old.cfg", "fwrite", settings::kShortWrite},
        {"C:/d/x.cfg", "ConvertStringSecurityDescriptorToSecurityDescriptorW",
         settings::kCannotOpen},
        {"C:/d/y.cfg", "CreateFileW", settings::kCannotOpen},
        {"C:/d/z.cfg", "_open_osfhandle", settings::kCannotOpen},
        {"C:/d/w.cfg", "_write", settings::kShortWrite},
    };
    const Context context("a=1");
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        if (c.function) {
            machine.calls.failAll(c.function);
        }
        EXPECT_EQ(api.save(context.get(), c.path), c.status);
        machine.calls.clearPlans();
        EXPECT_TRUE(machine.handles.open().empty());
    }
}

}  // namespace
