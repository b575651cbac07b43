// Sessions, databases and products of the installer.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "common/share/tstrings.h"
#include "simulated/machine/Machine.h"
#include "support/LogReader.h"
#include "support/Thrown.h"
#include "windows/common/MsiCA.h"
#include "windows/common/MsiDb.h"
#include "windows/common/MsiError.h"
#include "windows/common/MsiLogAppender.h"
#include "windows/common/MsiUtils.h"
#include "windows/common/Resources.h"

namespace {

using tstrings::toUtf8;
using Lines = std::vector<std::string>;

const std::u16string kCode = u"{4A03706F-666A-4037-7777-5F2748764D10}";

class InstallerCalls : public testing::Test {
protected:
    ~InstallerCalls() override { EXPECT_TRUE(machine.installer.openHandles().empty()); }

    simulated::Package& addProduct(const std::map<std::u16string, std::u16string>& info = {}) {
        return machine.installer.addProduct({kCode, info, {}, {}}).package;
    }

    simulated::Machine machine;
    simulated::Running running{machine};
    MSIHANDLE session = machine.installer.openSession();
    std::map<std::u16string, std::u16string>& properties =
        machine.installer.session(session).properties;
};

TEST_F(InstallerCalls, ReadTextsOfAnyLength) {
    EXPECT_EQ(msi::getProperty(session, _T("Unset")), u"");
    for (const auto& [length, calls] : {std::pair{0u, 1u}, {19, 1}, {20, 2}, {40, 3}, {1000, 7}}) {
        const std::u16string text(length, u'\u4e2d');
        properties[u"P"] = text;
        machine.calls.clearJournal();
        EXPECT_EQ(msi::getProperty(session, _T("P")), text);
        EXPECT_EQ(machine.calls.count("MsiGetPropertyW"), calls) << length;
    }
    EXPECT_EQ(thrownText([] { msi::getProperty(999, _T("P")); }),
              "MsiGetProperty(999, P) failed. MSI error [6](The handle given to the installer is "
              "not valid.)");
    EXPECT_TRUE(thrownBy([] {
                    msi::getProperty(999, _T("P"));
                }).find(" at msi::`anonymous-namespace'::getProperty(): ") != std::string::npos);
}

TEST_F(InstallerCalls, SetPropertiesThroughTheSessionObject) {
    UINT status = 0;
    msi::CAImpl ca(session, status);
    properties[u"P"] = u"old";
    EXPECT_EQ(thrownText([&] { ca.setProperty(_T("P"), _T("")); }),
              "Attempt to assign empty value to 'P' MSI property");
    EXPECT_EQ(ca.getProperty(_T("P")), u"old");
    ca.setProperty(_T("P"), _T("0"));
    EXPECT_EQ(properties[u"P"], u"0");
    EXPECT_EQ(logMessages(machine, "TRACE"), Lines{"Setting MSI property 'P' to '0'"});
    machine.calls.failCall("MsiSetPropertyW", 1, 1627);
    EXPECT_EQ(thrownText([&] { ca.setProperty(_T("P"), _T("1")); }),
              "MsiSetProperty(P, 1) failed. MSI error [1627](A function of the installer failed.)");

    EXPECT_EQ(ca.runModes(), u"0000000000000000000");
    machine.installer.session(session).modes = {MSIRUNMODE_ADMIN, MSIRUNMODE_SCHEDULED,
                                                MSIRUNMODE_COMMIT};
    EXPECT_EQ(ca.runModes(), u"1000000000000000101");
    EXPECT_EQ(status, 0u);
}

TEST_F(InstallerCalls, DescribeStatusesByTheInstallersTexts) {
    const auto text = [](UINT status) { return std::string(msi::Error(_T("x"), status).what()); };
    EXPECT_EQ(text(1605), "x. MSI error [1605](The product is not installed.)");
    EXPECT_EQ(text(0x10000 + 1605), "x. MSI error [67141](The product is not installed.)");
    // In a block that has strings, and in one that has none.
    EXPECT_EQ(text(1604), "x. MSI error [1604]()");
    EXPECT_EQ(text(40'000), "x. MSI error [40000](No description)");
    EXPECT_EQ(msi::NoMoreItemsError(_T("x")).status(), 259u);

    const HMODULE library =
        LoadLibraryExW(u"C:\\Windows\\System32\\msimsg.dll", nullptr, LOAD_LIBRARY_AS_DATAFILE);
    machine.modules.setString(u"msimsg.dll", 1234, u"two");
    EXPECT_EQ(Resource(1234, library).toString(), u"two");
    EXPECT_EQ(Resource(1235, library).toString(), u"");
    const std::string missing = thrownText([&] { Resource(30'000, library).toString(); });
    EXPECT_TRUE(
        missing.starts_with("cannot find resource (name='#30000', type='#6'). System error [181"))
        << missing;
    FreeLibrary(library);

    machine.modules.hideModule(u"msimsg.dll");
    EXPECT_EQ(text(1605), "x. MSI error [1605]");
    EXPECT_TRUE(logHas(machine,
                       "LoadLibraryExW(C:\\Windows\\System32\\msimsg.dll) failed with system error "
                       "126 (The module could not be found)"));
    // A status that can't be described keeps its meaning.
    machine.calls.failAll("GetSystemDirectoryW");
    EXPECT_FALSE(msi::isProductInstalled(Guid(kCode)));
}

TEST_F(InstallerCalls, QueryDatabases) {
    EXPECT_EQ(thrownText([] { msi::Database(Guid(kCode)); }),
              "MsiGetProductInfo({4A03706F-666A-4037-7777-5F2748764D10}, LocalPackage) failed. MSI "
              "error [1605](The product is not installed.)");
    auto& package = addProduct({{u"LocalPackage", u"C:\\Windows\\Installer\\au.msi"}});
    package.table(u"Property", {u"Property", u"Value"}).row({u"A", u"1"}).row({u"Empty", u""});
    {
        const msi::Database database{Guid(kCode)};
        EXPECT_EQ(database.getProperty(_T("A")), u"1");
        EXPECT_EQ(database.tryGetProperty(_T("Empty")), u"");
        EXPECT_EQ(database.tryGetProperty(_T("Missing")), u"");
        EXPECT_EQ(logRecords(machine).size(), 0u);
        EXPECT_THROW(database.getProperty(_T("Missing")), msi::NoMoreItemsError);
        EXPECT_TRUE(thrownText([&] { database.getProperty(_T("Missing")); })
                        .starts_with("No more items in [SELECT Value FROM Property WHERE Property "
                                     "= 'Missing'] query. MSI error [259]"));
        EXPECT_EQ(database.tryGetProperty(_T("it's")), u"");
        EXPECT_TRUE(logMentions(machine,
                                "MsiDatabaseOpenView(SELECT Value FROM Property WHERE "
                                "Property = 'it's') failed. MSI error [1615]"));

        msi::DatabaseView view(database, _T("SELECT * FROM Property"));
        msi::DatabaseRecord first = view.fetch();
        EXPECT_TRUE(view.tryFetch());
        EXPECT_FALSE(view.tryFetch());
        EXPECT_EQ(first.getFieldCount(), 2u);
        EXPECT_EQ(first.getString(), u"A");

        msi::DatabaseRecord parameter(1);
        parameter.setString(1, _T("A"));
        msi::DatabaseView chosen(database, _T("SELECT Value FROM Property WHERE Property = ?"),
                                 parameter);
        EXPECT_EQ(chosen.fetch().getString(), u"1");
        const auto fails = [](auto call, const char* start) {
            const std::string text = thrownText(call);
            EXPECT_TRUE(text.starts_with(start)) << text;
        };
        fails(
            [&] { msi::DatabaseView(database, _T("SELECT Value FROM Property WHERE Value = ?")); },
            "MsiViewExecute(SELECT Value FROM");
        fails([&] { parameter.setString(7, _T("x")); }, "MsiRecordSetString(7, x) failed. MSI err");
        fails([] { msi::DatabaseRecord().getFieldCount(); },
              "MsiRecordGetFieldCount() failed. MSI error [1627]");
        fails([] { msi::DatabaseRecord(70'000); },
              "MsiCreateRecord(70000) failed. MSI error [1627]");
        fails([] { msi::Database(MSIHANDLE{0}); },
              "MsiGetActiveDatabase() failed. MSI error [1627]");
        machine.calls.failAll("MsiViewFetch", 1610);
        fails([&] { view.tryFetch(); },
              "MsiViewFetch(SELECT * FROM Property) failed. MSI error [1610");
        machine.calls.clearPlans();
    }
    package.unreadable(1619);
    EXPECT_EQ(thrownText([] { msi::Database(Guid(kCode)); }),
              "MsiOpenDatabase(C:\\Windows\\Installer\\au.msi, MSIDBOPEN_READONLY) failed. MSI "
              "error [1619](The installation package could not be opened.)");

    machine.installer.session(session).database.table(u"T", {u"C"}).row({u"x"});
    EXPECT_EQ(msi::DatabaseView(msi::Database(session), _T("SELECT C FROM T")).fetch().getString(),
              u"x");
}

TEST_F(InstallerCalls, LogHandlesThatCannotBeClosed) {
    addProduct().table(u"Property", {u"Property", u"Value"}).row({u"A", u"1"});
    MSIHANDLE view = 0;
    {
        const msi::Database database{Guid(kCode)};
        MsiDatabaseOpenViewW(database.get(), u"SELECT Value FROM Property", &view);
        machine.calls.failCall("MsiViewClose", 1, 6);
        machine.calls.clearJournal();
        msi::closeDatabaseView(view);
        EXPECT_EQ(machine.calls.count("MsiCloseHandle"), 0u);
        machine.calls.failCall("MsiCloseHandle", 1, 6);
    }
    const auto warnings = logMessages(machine, "WARNING");
    ASSERT_EQ(warnings.size(), 2u);
    EXPECT_EQ(warnings[0], "MsiViewClose(" + std::to_string(view) + ") failed with error=6");
    EXPECT_TRUE(warnings[1].starts_with("MsiCloseHandle("));
    machine.installer.endProcess();
}

TEST_F(InstallerCalls, CopyTheLogToTheInstallersLog) {
    LogAppender* const before = Logger::instance().appender();
    {
        const msi::MsiLogAppender appender(session);
        LOG_WARNING("f", _T("[1] stays"));
        std::thread([this] {
            const simulated::Running there(machine);
            LOG_INFO("g", _T("elsewhere"));
        }).join();
        // The failure to send one is not sent, and the text that describes it neither.
        machine.modules.hideModule(u"msimsg.dll");
        machine.calls.failAll("MsiCreateRecord");
        EXPECT_THROW(LOG_INFO("h", _T("lost")), msi::Error);
        machine.calls.clearPlans();
    }
    EXPECT_EQ(Logger::instance().appender(), before);
    LOG_INFO("i", _T("alone"));

    const auto& lines = machine.installer.log();
    ASSERT_EQ(lines.size(), 2u);
    const std::string first = toUtf8(lines[0]);
    EXPECT_TRUE(first.starts_with("Norv [12:00:0")) << first;
    EXPECT_NE(first.find(" InstallerTest.cpp:"), std::string::npos) << first;
    EXPECT_TRUE(first.ends_with(" (f)] WARNING: [1] stays")) << first;
    EXPECT_NE(toUtf8(lines[1]).find(" (TID: "), std::string::npos) << toUtf8(lines[1]);
    EXPECT_EQ(logMessages(machine, "INFO"), (Lines{"elsewhere", "alone"}));
}

/// Has another thread log while it is given a record.
struct Interrupted : LogAppender {
    explicit Interrupted(simulated::Machine& where) : machine(where) {}
    void append(const LogEvent& event) override {
        if (event.levelName == u"WARNING") {
            std::thread([this] {
                const simulated::Running there(machine);
                LOG_INFO("g", _T("elsewhere"));
            }).join();
        }
    }
    simulated::Machine& machine;
};

TEST_F(InstallerCalls, SendRecordsOfAThreadWhileAnotherSends) {
    Interrupted interrupted(machine);
    LogAppender* const before = Logger::instance().appender();
    Logger::instance().setAppender(&interrupted);
    {
        const msi::MsiLogAppender appender(session);
        // The warning about it comes amid the sending.
        machine.calls.failCall("MsiCloseHandle", 1, 6);
        LOG_INFO("f", _T("first"));
        LOG_INFO("f", _T("second"));
    }
    Logger::instance().setAppender(before);
    const auto& lines = machine.installer.log();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_TRUE(lines[1].ends_with(u" (g)] INFO: elsewhere")) << toUtf8(lines[1]);
    machine.installer.endProcess();
}

TEST_F(InstallerCalls, TellWhetherAProductIsInstalled) {
    EXPECT_FALSE(msi::isProductInstalled(Guid(kCode)));
    EXPECT_EQ(msi::tryGetProductInfo(Guid(kCode), _T("ProductName")), u"");
    addProduct({{u"ProductName", u"Updater"}});
    EXPECT_TRUE(msi::isProductInstalled(Guid(kCode)));
    EXPECT_EQ(msi::tryGetProductInfo(Guid(kCode), _T("ProductName")), u"Updater");
    machine.calls.failCall("MsiGetProductInfoW", 1, 1608);
    EXPECT_FALSE(msi::isProductInstalled(Guid(kCode)));
    machine.calls.failCall("MsiGetProductInfoW", 1, 1610);
    EXPECT_TRUE(msi::isProductInstalled(Guid(kCode)));
}

TEST(ActionData, QuotesItsCommandLine) {
    const struct {
        const char16_t* extra;
        std::map<tstring, tstring> properties;
        const char* commandLine;
    } cases[] = {
        {u" \t", {}, ""},
        {u"\t/x  y ", {}, "/x  y"},
        {u"", {{u"KEY", u""}}, "KEY=\"\""},
        {u"", {{u"KEY", u"a\tb"}}, "KEY=\"a\tb\""},
        {u"", {{u"KEY", u"a\" b"}}, "KEY=\"a\"\" b\""},
        {u"/x ", {{u"B", u"a\"b"}, {u"A", u" 1"}}, "/x A=\" 1\" B=a\"\"b"},
    };
    for (const auto& c : cases) {
        msi::ActionData data;
        data.extraArguments = c.extra;
        data.properties = c.properties;
        EXPECT_EQ(toUtf8(data.commandLine()), c.commandLine);
    }
}

struct Messages : msi::ActionData::Callback {
    void onMessage(UINT type, UINT flags, const tstring& text) override {
        received.push_back(std::to_string(type >> 24) + " " + std::to_string(flags) + " " +
                           toUtf8(text));
        if (text == u"throw") {
            throw 1;
        }
    }
    Lines received;
};

TEST_F(InstallerCalls, RemoveAProductUnderSettingsOfTheirOwn) {
    Messages messages;
    msi::ActionData data;
    data.productCode = Guid(kCode);
    data.uiLevel = INSTALLUILEVEL_BASIC;
    data.logFile = u"C:\\x.log";
    data.callback = &messages;
    data.properties = {{u"REMOVE", u"ALL"}};
    UINT status = 0;
    machine.installer.onConfigure = [&](const simulated::ConfigureCall& call) -> UINT {
        EXPECT_EQ(call.level, 65535);
        EXPECT_EQ(call.state, INSTALLSTATE_ABSENT);
        EXPECT_EQ(call.commandLine, u"REMOVE=ALL");
        EXPECT_EQ(call.uiLevel, INSTALLUILEVEL_BASIC);
        EXPECT_EQ(call.logFile, u"C:\\x.log");
        EXPECT_EQ(machine.installer.settings().logMode, 4096u);
        EXPECT_EQ(machine.installer.settings().handlerFilter, 0xFFFFFFFFu);
        EXPECT_EQ(machine.installer.sendMessage(INSTALLMESSAGE_WARNING | 0x31, u"words"), 0);
        EXPECT_EQ(machine.installer.sendMessage(INSTALLMESSAGE_INFO, u"throw"), 0);
        const auto& settings = machine.installer.settings();
        EXPECT_EQ(settings.handler(settings.handlerContext, INSTALLMESSAGE_INFO, nullptr), 0);
        EXPECT_EQ(settings.handler(nullptr, INSTALLMESSAGE_INFO, u"words"), 0);
        return status;
    };
    addProduct();
    for (const UINT outcome : {0u, 1641u, 3010u, 1603u}) {
        status = outcome;
        const std::string thrown = thrownText([&] { defaultUninstaller().uninstall(data); });
        EXPECT_EQ(thrown, outcome != 1603 ? "nothing"
                                          : "MsiConfigureProductEx(" + toUtf8(kCode) +
                                                ", 65535, 2, REMOVE=ALL) failed [1603]. MSI error "
                                                "[1603](The installation ended with a fatal "
                                                "error.)");
        EXPECT_EQ(machine.installer.settings().uiLevel, INSTALLUILEVEL_DEFAULT);
        EXPECT_EQ(machine.installer.settings().handler, nullptr);
        EXPECT_EQ(machine.installer.settings().logMode, 0u);
    }
    const std::string done = "MsiConfigureProductEx(" + toUtf8(kCode) + ", 65535, 2, REMOVE=ALL) ";
    EXPECT_EQ(logMessages(machine, "INFO"),
              (Lines{done + "succeeded", done + "succeeded [1641]", done + "succeeded [3010]"}));
    ASSERT_EQ(messages.received.size(), 8u);
    EXPECT_EQ(messages.received[0], "2 49 words");
    EXPECT_EQ(logMessages(machine, "ERROR"), Lines(4, "Unknown exception caught"));
}

}  // namespace
