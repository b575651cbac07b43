// Configuration files on a machine: reading them, and what `save` leaves there.
#include <gtest/gtest.h>

#include "simulated/machine/Machine.h"
#include "unit/settings/Library.h"

namespace {

class ConfigFile : public testing::Test {
protected:
    void TearDown() override { EXPECT_TRUE(machine.handles.open().empty()); }

    simulated::Machine machine;
    const simulated::Running running{machine};
};

/// A file of comments and one entry at its end, of exactly `size` bytes.
std::string fileOf(std::size_t size) {
    const std::string tail = "\nlast=1";
    return std::string(size - tail.size(), '#') + tail;
}

TEST_F(ConfigFile, FilesAreReadWhole) {
    const std::string mark = "\xEF\xBB\xBF";
    const std::size_t limit = 0x100000;
    const struct {
        std::string content;
        settings::Status status;
        std::string dump;
    } cases[] = {
        {"", settings::kSuccess, ""},
        {mark + "a=1", settings::kSuccess, "a=1"},
        {mark, settings::kSuccess, ""},
        {mark + mark + "a=1", settings::kSuccess, mark + "a=1"},
        {"\xEF\xBB", settings::kTextNotUtf8, ""},
        {"\xFF\xFE", settings::kTextNotUtf8, ""},
        // Zero bytes end keys and values.
        {std::string("a\0b=1\0"
                     "2\n\0x=3\nc=4",
                     16),
         settings::kSuccess, "=3|a=1|c=4"},
        {"a=1\x1A\r\nb=2", settings::kSuccess, "a=1\x1A|b=2"},
        {"a=1\nb", settings::kBadLines, ""},
        {fileOf(limit - 1), settings::kSuccess, "last=1"},
        {fileOf(limit), settings::kFileTooLong, ""},
        {fileOf(limit * 2), settings::kFileTooLong, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        machine.volumes.addFile(u"C:\\d\\x.cfg", c.content);
        Context context;
        EXPECT_EQ(context.loadFile("C:\\d\\.\\x.cfg"), c.status);
        EXPECT_EQ(context.dump(), c.dump);
    }
    Context context;
    EXPECT_EQ(context.loadFile("C:/d"), settings::kCannotOpen);
    EXPECT_EQ(context.loadFile(""), settings::kPathRefused);
    EXPECT_EQ(context.loadFile("C:/" + std::string(260, 'x')), settings::kPathTooLong);
    EXPECT_EQ(context.loadFile("C:/\xFF"), settings::kPathNotUtf8);
    machine.calls.failAll("fread");
    EXPECT_EQ(context.loadFile("C:/d/x.cfg"), settings::kReadError);
}

TEST_F(ConfigFile, TheRuntimeFileLiesInTheCommonFilesFolder) {
    machine.volumes.addDirectory(u"C:\\\u65E5");
    machine.shell.setFolder(44, u"C:\\\u65E5");
    const char* path = nullptr;
    const Context context;
    EXPECT_EQ(api.getPath(context.handle.get(), &path), settings::kSuccess);
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
    const std::string rights = "D:(A;;FA;;;SY)(A;;FA;;;BA)(A;;FR;;;WD)";
    for (const char* text : {"a=x\nb=2\nbare\nempty=\n", "a=x\r\nb=2\r\nbare\r\nempty=\r\n"}) {
        EXPECT_EQ(api.save(context.handle.get(), "C:\\n\\x.cfg"), settings::kSuccess);
        EXPECT_EQ(machine.volumes.content(u"C:\\n\\x.cfg"), text);
        EXPECT_EQ(machine.volumes.security(u"C:\\n\\x.cfg"), rights);
        Context again;
        EXPECT_EQ(again.loadFile("C:/n/x.cfg", {.bareKeys = true}), settings::kSuccess);
        EXPECT_EQ(again.dump(), context.dump());
    }
    const Context empty;
    EXPECT_EQ(api.save(empty.handle.get(), "C:/empty.cfg"), settings::kSuccess);
    EXPECT_EQ(machine.volumes.content(u"C:\\empty.cfg"), " ");
}

TEST_F(ConfigFile, AFailedSaveTellsWhereItFailed) {
    machine.volumes.addFile(u"C:\\d\\old.cfg", "old");
    machine.volumes.addFile(u"C:\\d\\locked.cfg", "old");
    machine.volumes.lock(u"C:\\d\\locked.cfg");
    const struct {
        const char* path;
        const char* function;
        settings::Status status;
    } cases[] = {
        {"", nullptr, settings::kPathRefused},
        {"C:/AUX", nullptr, settings::kPathRefused},
        {"Q:/x/y.cfg", nullptr, settings::kPathRefused},
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
        EXPECT_EQ(api.save(context.handle.get(), c.path), c.status);
        machine.calls.clearPlans();
        EXPECT_TRUE(machine.handles.open().empty());
    }
}

}  // namespace
