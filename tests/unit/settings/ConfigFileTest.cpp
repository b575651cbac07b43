// Configuration files on a machine: reading them, and what `save` leaves there.
#include <gtest/gtest.h>

#include "simulated/machine/Machine.h"
#include "unit/settings/Library.h"

namespace {

constexpr std::size_t kLimit = 0x100000;

/// A file of comments and one entry at its end, of exactly `size` bytes.
std::string fileOf(std::size_t size) {
    std::string text(size, '#');
    const std::string tail = "\nlast=1";
    return text.replace(size - tail.size(), tail.size(), tail);
}

TEST(ConfigFile, FilesAreReadWhole) {
    simulated::Machine machine;
    const simulated::Running running(machine);
    const struct {
        const char* what;
        std::string content;
        settings::Status status;
        std::string dump;
    } cases[] = {
        {"empty", "", settings::kSuccess, ""},
        {"a byte order mark",
         "\xEF\xBB\xBF"
         "a=1",
         settings::kSuccess, "a=1"},
        {"a mark alone", "\xEF\xBB\xBF", settings::kSuccess, ""},
        {"two marks",
         "\xEF\xBB\xBF\xEF\xBB\xBF"
         "a=1",
         settings::kSuccess,
         "\xEF\xBB\xBF"
         "a=1"},
        {"half a mark", "\xEF\xBB", settings::kTextNotUtf8, ""},
        {"UTF-16",
         std::string("\xFF\xFE"
                     "a\0=\0001\0",
                     8),
         settings::kTextNotUtf8, ""},
        {"zero bytes end keys and values",
         std::string("a\0b=1\0"
                     "2\n\0x=3\nc=4",
                     16),
         settings::kSuccess, "=3|a=1|c=4"},
        {"Japanese", "a=\xE6\x97\xA5\xE6\x9C\xAC\r\n", settings::kSuccess,
         "a=\xE6\x97\xA5\xE6\x9C\xAC"},
        {"Ctrl-Z and CR LF stay bytes", "a=1\x1A\r\nb=2", settings::kSuccess, "a=1\x1A|b=2"},
        {"a lead byte at the end", "a=1\xE6", settings::kTextNotUtf8, ""},
        {"a bad line", "a=1\nb", settings::kBadLines, ""},
        {"the largest", fileOf(kLimit - 1), settings::kSuccess, "last=1"},
        {"one byte more", fileOf(kLimit), settings::kFileTooLong, ""},
        {"much more", fileOf(kLimit * 2), settings::kFileTooLong, ""},
    };
    for (const auto& c : cases) {
        machine.volumes.addFile(u"C:\\d\\x.cfg", c.content);
        Context context;
        EXPECT_EQ(context.loadFile("C:\\d\\.\\x.cfg"), c.status) << c.what;
        EXPECT_EQ(context.dump(), c.dump) << c.what;
        machine.volumes.lock(u"C:\\d\\x.cfg");
        EXPECT_EQ(context.loadFile("C:\\d\\x.cfg"), settings::kCannotOpen) << c.what;
        machine.volumes.unlock(u"C:\\d\\x.cfg");
    }
    Context context;
    EXPECT_EQ(context.loadFile("C:/d"), settings::kCannotOpen);
    EXPECT_EQ(context.loadFile("C:/d/none"), settings::kCannotOpen);
    EXPECT_EQ(context.loadFile(""), settings::kPathRefused);
    EXPECT_EQ(context.loadFile("C:/d/x?"), settings::kPathRefused);
    EXPECT_EQ(context.loadFile("C:/" + std::string(260, 'x')), settings::kPathTooLong);
    EXPECT_EQ(context.loadFile("C:/\xFF"), settings::kPathNotUtf8);
    machine.calls.failAll("fread");
    EXPECT_EQ(context.loadFile("C:/d/x.cfg"), settings::kReadError);
}

TEST(ConfigFile, TheRuntimeFileLiesInTheCommonFilesFolder) {
    simulated::Machine machine;
    const simulated::Running running(machine);
    const settings_api api = settingsTable();
    const char* path = nullptr;
    for (const auto& [folder, expected] :
         {std::pair(u"C:\\Program Files (x86)\\Common Files",
                    "C:\\Program Files (x86)\\Common Files\\Dovrin\\Norv\\norv.settings.cfg"),
          std::pair(u"C:\\\u65E5", "C:\\\xE6\x97\xA5\\Dovrin\\Norv\\norv.settings.cfg")}) {
        machine.volumes.addDirectory(folder);
        machine.shell.setFolder(44, folder);
        const Context context;
        EXPECT_EQ(api.getPath(context.handle.get(), &path), settings::kSuccess);
        EXPECT_STREQ(path, expected);
    }
    machine.calls.failCall("SHGetFolderPathW", 1);
    try {
        api.create();
        FAIL();
    } catch (const settings::Exception& e) {
        EXPECT_EQ(e.code(), settings::kFailure);
        EXPECT_STREQ(e.what(), "");
    }
}

TEST(ConfigFile, SavingCreatesAndOverwrites) {
    simulated::Machine machine;
    const simulated::Running running(machine);
    Context context("b=2\na= x\nbare\nempty=");
    const auto save = [&](const char* path) {
        return context.api.save(context.handle.get(), path);
    };
    EXPECT_EQ(save("C:\\new\\folder\\x.cfg"), settings::kSuccess);
    EXPECT_EQ(machine.volumes.content(u"C:\\new\\folder\\x.cfg"), "a=x\nb=2\nbare\nempty=\n");
    const std::string rights = "D:(A;;FA;;;SY)(A;;FA;;;BA)(A;;FR;;;WD)";
    EXPECT_EQ(machine.volumes.security(u"C:\\new\\folder\\x.cfg"), rights);

    EXPECT_EQ(save("C:/new/folder/x.cfg"), settings::kSuccess);
    EXPECT_EQ(machine.volumes.content(u"C:\\new\\folder\\x.cfg"),
              "a=x\r\nb=2\r\nbare\r\nempty=\r\n");
    EXPECT_EQ(machine.volumes.security(u"C:\\new\\folder\\x.cfg"), rights);
    Context again;
    EXPECT_EQ(again.loadFile("C:/new/folder/x.cfg", {.bareKeys = true}), settings::kSuccess);
    EXPECT_EQ(again.dump(), context.dump());

    const Context empty;
    EXPECT_EQ(empty.api.save(empty.handle.get(), "C:/empty.cfg"), settings::kSuccess);
    EXPECT_EQ(machine.volumes.content(u"C:\\empty.cfg"), " ");

    EXPECT_EQ(save(""), settings::kPathRefused);
    EXPECT_EQ(save("C:/AUX"), settings::kPathRefused);
    EXPECT_EQ(save("Q:/x/y.cfg"), settings::kPathRefused);
    machine.volumes.setReadOnly(u"C:\\empty.cfg");
    EXPECT_EQ(save("C:/empty.cfg"), settings::kCannotOpen);
}

TEST(ConfigFile, AFailedSaveTellsWhereItFailed) {
    const struct {
        const char* function;
        bool exists;
        settings::Status status;
    } cases[] = {
        {"ConvertStringSecurityDescriptorToSecurityDescriptorW", false, settings::kCannotOpen},
        {"CreateFileW", false, settings::kCannotOpen},
        {"_open_osfhandle", false, settings::kCannotOpen},
        {"_write", false, settings::kShortWrite},
        {"_wfreopen", true, settings::kCannotOpen},
        {"fwrite", true, settings::kShortWrite},
        {"_wmkdir", false, settings::kPathRefused},
    };
    for (const auto& c : cases) {
        simulated::Machine machine;
        const simulated::Running running(machine);
        if (c.exists) {
            machine.volumes.addFile(u"C:\\d\\x.cfg", "old");
        }
        const Context context("a=1");
        machine.calls.failAll(c.function);
        EXPECT_EQ(context.api.save(context.handle.get(), "C:/d/x.cfg"), c.status) << c.function;
        machine.calls.clearPlans();
        machine.volumes.addDirectory(u"C:\\d");
        EXPECT_TRUE(machine.handles.open().empty()) << c.function;
    }
}

}  // namespace
