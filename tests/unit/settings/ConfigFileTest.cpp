// Configuration files on a machine: their paths, reading them, and what `save` leaves there.
#include "settings/share/FileName.h"
#include "support/OnMachine.h"
#include "support/Settings.h"

namespace {

using namespace settings_impl;
using ConfigFile = OnMachine;

/// The path as a load or save takes it, or the status of its refusal.
std::string canonical(const std::string& path) {
    try {
        return canonicalize(FileName(checkPath(path))).text();
    } catch (const settings::Exception& e) {
        return std::to_string(e.code());
    }
}

TEST_F(ConfigFile, PathsAreCheckedAndStandAlone) {
    machine.volumes.addDirectory(u"C:\\Work\\Deep");
    machine.volumes.setCurrentDirectory(u"C:\\Work\\Deep");
    const std::pair<std::string, std::vector<std::string>> rows[] = {
        {"as it is",
         {"C:/" + std::string(256, 'x'), "C:/com1/x", "C:/COM1.txt", "C:/COM10", "C:/a\x7F", "a:/x",
          "z:/x", "A:/x", "Z:"}},
        {"C:/a/c.cfg", {"C:/a/./b/../c.cfg", "C:\\\\a//c.cfg\\"}},
        {"x", {"C:/../x"}},
        {"C:/Work/Deep", {"///", "../Deep"}},
        {"C:/Work/Deep/server/x", {"server/x", "\\\\server\\x"}},
        {"200", {"\xE3_x"}},  // lead bytes only: no UTF-8 for Windows
        {"310", {"C:/" + std::string(257, 'x'), std::string(250, 'x')}},
        {"311", {"",       "C:/..",    "../../../../x", "C:/COM1/x", "NUL",    "C:/a:b", "1:/x",
                 "a/C:/x", "C:/a\x1F", "C:/a\"b",       "C:/a<b",    "C:/a>b", "C:/a|b", "C:/a?b",
                 "C:/a*b", "@:/x",     "C:/LPT9",       "[:/x",      "`:/x",   "{:/x"}},
        {"312", {"C:/x\xFF", "C:/x\xC3"}},
    };
    for (const auto& [expected, paths] : rows) {
        for (const std::string& path : paths) {
            EXPECT_EQ(canonical(path), expected == "as it is" ? path : expected) << path;
        }
    }
}

TEST_F(ConfigFile, FilesAreReadWhole) {
    const std::string mark = "\xEF\xBB\xBF";
    const std::tuple<std::string, settings::Status, std::string> rows[] = {
        {mark + mark + "a=1", settings::kSuccess, mark + "a=1"},
        // Zero bytes end keys and values.
        {{"a\0b=1\0x\n\0x=3\nc=4\x1A", 17}, settings::kSuccess, "=3|a=1|c=4\x1A"},
        {std::string(0xFFFFF - 4, '#') + "\na=1", settings::kSuccess, "a=1"},
        {std::string(0x100000 - 4, '#') + "\na=1", settings::kFileTooLong, ""},
    };
    for (const auto& [content, status, dump] : rows) {
        machine.volumes.addFile(u"C:\\d\\x.cfg", content);
        Context context;
        EXPECT_EQ(context.loadFile("C:\\d\\.\\x.cfg"), status);
        EXPECT_EQ(context.dump(), dump);
    }
    EXPECT_EQ(Context().loadFile("C:/d"), settings::kCannotOpen);
    machine.volumes.addFile(u"C:\\d\\x.cfg", "bare\na=1");
    for (const bool stop : {true, false}) {
        Context context;
        EXPECT_EQ(context.loadFile("C:/d/x.cfg", {.stopOnError = stop}), settings::kBadLines);
        EXPECT_EQ(context.dump(), stop ? "" : "a=1");
    }
    EXPECT_EQ(Context().loadFile("C:/d/x.cfg", {.bareKeys = true}), settings::kSuccess);
}

/// A new file has plain line feeds, one that is written over the system's line ends.
TEST_F(ConfigFile, SavingCreatesAndOverwrites) {
    const Context context("b=2\na= x\nbare\nempty=");
    for (const char* text : {"a=x\nb=2\nbare\nempty=\n", "a=x\r\nb=2\r\nbare\r\nempty=\r\n"}) {
        EXPECT_EQ(api.save(context.get(), "C:\\n\\m\\x.cfg"), settings::kSuccess);
        EXPECT_EQ(machine.volumes.content(u"C:\\n\\m\\x.cfg"), text);
    }
    EXPECT_EQ(machine.volumes.security(u"C:\\n\\m\\x.cfg"),
              "D:(A;;FA;;;SY)(A;;FA;;;BA)(A;;FR;;;WD)");
    EXPECT_EQ(api.save(Context().get(), "C:/empty.cfg"), settings::kSuccess);
    EXPECT_EQ(machine.volumes.content(u"C:\\empty.cfg"), " ");
    machine.volumes.lock(u"C:\\n\\m\\x.cfg");
    const std::tuple<const char*, const char*, settings::Status> failures[] = {
        {"C:/e/x.cfg", "_wmkdir", settings::kPathRefused},
        // A file that is there but can't be opened is never replaced by a new one.
        {"C:/n/m/x.cfg", "-", settings::kCannotOpen},
        {"C:/empty.cfg", "_wfreopen", settings::kCannotOpen},
        {"C:/empty.cfg", "fwrite", settings::kShortWrite},
        {"C:/y.cfg", "ConvertStringSecurityDescriptorToSecurityDescriptorW", settings::kCannotOpen},
        {"C:/z.cfg", "_open_osfhandle", settings::kCannotOpen},
        {"C:/w.cfg", "_write", settings::kShortWrite},
    };
    for (const auto& [path, function, status] : failures) {
        machine.calls.failCall(function, 1);
        EXPECT_EQ(api.save(context.get(), path), status) << path << function;
    }
}

}  // namespace
