// Configuration files on a machine: loading and saving them.
#include "settings/share/ConfigFile.h"

#include "support/OnMachine.h"
#include "support/Settings.h"

namespace {

class ConfigFileTest : public OnMachine {
protected:
    void write(const std::string& content) { machine.volumes.addFile(kPath, content); }

    static constexpr const char16_t* kPath = u"C:\\d\\x.cfg";
};

TEST_F(ConfigFileTest, OneByteOrderMarkIsSkipped) {
    write(
        "\xEF\xBB\xBF\xEF\xBB\xBF"
        "a=1");
    Context context;
    EXPECT_EQ(context.loadFile("C:\\d\\.\\x.cfg"), settings::kSuccess);
    EXPECT_EQ(context.dump(),
              "\xEF\xBB\xBF"
              "a=1");
}

TEST_F(ConfigFileTest, ZeroBytesEndKeysAndValues) {
    write(std::string("a\0b=1\0x\n\0x=3\nc=4\x1A", 17));
    Context context;
    EXPECT_EQ(context.loadFile("C:/d/x.cfg"), settings::kSuccess);
    EXPECT_EQ(context.dump(), "=3|a=1|c=4\x1A");
}

TEST_F(ConfigFileTest, FilesOfLessThanAMebibyteAreReadWhole) {
    constexpr std::size_t kLimit = 0x100000;
    const std::string lastLine = "\na=1";
    write(std::string(kLimit - 1 - lastLine.size(), '#') + lastLine);
    Context context;
    EXPECT_EQ(context.loadFile("C:/d/x.cfg"), settings::kSuccess);
    EXPECT_EQ(context.dump(), "a=1");

    write(std::string(kLimit - lastLine.size(), '#') + lastLine);
    EXPECT_EQ(Context().loadFile("C:/d/x.cfg"), settings::kFileTooLong);
}

TEST_F(ConfigFileTest, DirectoriesCannotBeOpened) {
    machine.volumes.addDirectory(u"C:\\d");
    EXPECT_EQ(Context().loadFile("C:/d"), settings::kCannotOpen);
}

TEST_F(ConfigFileTest, KeysWithoutAValueAreAnOption) {
    write("bare\na=1");
    Context refusing;
    EXPECT_EQ(refusing.loadFile("C:/d/x.cfg", {.stopOnError = false}), settings::kBadLines);
    EXPECT_EQ(refusing.dump(), "a=1");
    Context stopping;
    EXPECT_EQ(stopping.loadFile("C:/d/x.cfg", {.stopOnError = true}), settings::kBadLines);
    EXPECT_EQ(stopping.dump(), "");
    EXPECT_EQ(Context().loadFile("C:/d/x.cfg", {.bareKeys = true}), settings::kSuccess);
}

TEST_F(ConfigFileTest, SavingCreatesTheFileWithItsDirectoriesAndRights) {
    const Context context("b=2\na= x\nbare\nempty=");
    EXPECT_EQ(api.save(context.get(), "C:\\n\\m\\x.cfg"), settings::kSuccess);
    EXPECT_EQ(machine.volumes.content(u"C:\\n\\m\\x.cfg"), "a=x\nb=2\nbare\nempty=\n");
    EXPECT_EQ(machine.volumes.security(u"C:\\n\\m\\x.cfg"),
              "D:(A;;FA;;;SY)(A;;FA;;;BA)(A;;FR;;;WD)");
}

TEST_F(ConfigFileTest, OverwritingUsesTheSystemsLineEnds) {
    machine.volumes.addFile(kPath, "old=1");
    const Context context("b=2\na=x");
    EXPECT_EQ(api.save(context.get(), "C:\\d\\x.cfg"), settings::kSuccess);
    EXPECT_EQ(machine.volumes.content(kPath), "a=x\r\nb=2\r\n");
}

TEST_F(ConfigFileTest, AnEmptyConfigurationIsSavedAsOneBlank) {
    EXPECT_EQ(api.save(Context().get(), "C:/empty.cfg"), settings::kSuccess);
    EXPECT_EQ(machine.volumes.content(u"C:\\empty.cfg"), " ");
}

TEST_F(ConfigFileTest, AnExistingFileThatCannotBeOpenedIsNotReplaced) {
    machine.volumes.addFile(kPath, "old=1");
    machine.volumes.lock(kPath);
    EXPECT_EQ(api.save(Context("a=1").get(), "C:/d/x.cfg"), settings::kCannotOpen);
    EXPECT_EQ(machine.volumes.content(kPath), "old=1");
}

TEST_F(ConfigFileTest, EachFailedCallOfASaveHasItsStatus) {
    machine.volumes.addFile(u"C:\\existing.cfg", "old=1");
    const struct {
        const char* path;
        const char* failing;
        settings::Status status;
    } rows[] = {
        {"C:/e/x.cfg", "_wmkdir", settings::kPathRefused},
        {"C:/existing.cfg", "_wfreopen", settings::kCannotOpen},
        {"C:/existing.cfg", "fwrite", settings::kShortWrite},
        {"C:/y.cfg", "ConvertStringSecurityDescriptorToSecurityDescriptorW", settings::kCannotOpen},
        {"C:/z.cfg", "_open_osfhandle", settings::kCannotOpen},
        {"C:/w.cfg", "_write", settings::kShortWrite},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.path) + " " + row.failing);
        machine.calls.failCall(row.failing, 1);
        EXPECT_EQ(api.save(Context("a=1").get(), row.path), row.status);
    }
}

}  // namespace
