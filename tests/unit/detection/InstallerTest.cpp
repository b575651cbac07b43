// Sessions, databases and products of the installer.
#include <gtest/gtest.h>

#include <regex>
#include <set>
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

namespace {

using tstrings::toUtf8;
using Lines = std::vector<std::string>;

const std::u16string kCode = u"{4A03706F-666A-4037-7777-5F2748764D10}";

class InstallerCalls : public testing::Test {
protected:
    ~InstallerCalls() override { EXPECT_TRUE(machine.installer.openHandles().empty()); }

    /// With a property "A" and an empty one.
    void addProduct() {
        machine.installer.addProduct({kCode, {{u"LocalPackage", u"C:\\au.msi"}}, {}, {}})
            .package.table(u"Property", {u"Property", u"Value"})
            .row({u"A", u"1"})
            .row({u"Empty", u""});
    }

    simulated::Machine machine;
    simulated::Running running{machine};
    MSIHANDLE session = machine.installer.openSession();
    std::map<std::u16string, std::u16string>& properties =
        machine.installer.session(session).properties;
};

TEST_F(InstallerCalls, ReadAndSetProperties) {
    for (const auto& [length, calls] : {std::pair{0u, 1u}, {19, 1}, {20, 2}, {1000, 7}}) {
        properties[u"P"] = std::u16string(length, u'\u4e2d');
        machine.calls.clearJournal();
        EXPECT_EQ(msi::getProperty(session, _T("P")), properties[u"P"]);
        EXPECT_EQ(machine.calls.count("MsiGetPropertyW"), calls) << length;
    }
    UINT status = 0;
    msi::CAImpl ca(session, status);
    ca.setProperty(_T("P"), _T("0"));
    EXPECT_EQ(thrownText([&] { ca.setProperty(_T("P"), _T("")); }),
              "Attempt to assign empty value to 'P' MSI property");
    EXPECT_EQ(ca.getProperty(_T("P")), u"0");
    EXPECT_EQ(logMessages(machine, "TRACE"), Lines{"Setting MSI property 'P' to '0'"});
    machine.installer.session(session).modes = {MSIRUNMODE_ADMIN, MSIRUNMODE_SCHEDULED,
                                                MSIRUNMODE_COMMIT};
    EXPECT_EQ(ca.runModes(), u"1000000000000000101");
}

TEST_F(InstallerCalls, DescribeStatusesByTheInstallersTexts) {
    const auto text = [](UINT status) { return std::string(msi::Error(_T("x"), status).what()); };
    EXPECT_EQ(text(0x10000 + 1605), "x. MSI error [67141](The product is not installed.)");
    // In a block that has strings, and in one that has none.
    EXPECT_EQ(text(1604), "x. MSI error [1604]()");
    EXPECT_EQ(text(40'000), "x. MSI error [40000](No description)");

    machine.modules.hideModule(u"msimsg.dll");
    EXPECT_EQ(text(1605), "x. MSI error [1605]");
    EXPECT_TRUE(logHas(machine,
                       "LoadLibraryExW(C:\\Windows\\System32\\msimsg.dll) failed with system error "
                       "126 (The module could not be found)"));
    // A status that can't be described keeps its meaning.
    machine.calls.failAll("GetSystemDirectoryW");
    EXPECT_FALSE(msi::isProductInstalled(Guid(kCode)));
    addProduct();
    EXPECT_TRUE(msi::isProductInstalled(Guid(kCode)));
    EXPECT_EQ(msi::tryGetProductInfo(Guid(kCode), _T("LocalPackage")), u"C:\\au.msi");
    for (const UINT status : {1608u, 1610u}) {
        machine.calls.failCall("MsiGetProductInfoW", 1, status);
        EXPECT_EQ(msi::isProductInstalled(Guid(kCode)), status == 1610);
    }
}

TEST_F(InstallerCalls, QueryDatabases) {
    addProduct();
    const msi::Database database{Guid(kCode)};
    EXPECT_EQ(database.tryGetProperty(_T("Empty")), u"");
    EXPECT_EQ(database.tryGetProperty(_T("Missing")), u"");
    EXPECT_EQ(logRecords(machine).size(), 0u);
    EXPECT_EQ(database.tryGetProperty(_T("it's")), u"");
    EXPECT_EQ(logMessages(machine, "ERROR").size(), 1u);

    msi::DatabaseView all(database, _T("SELECT * FROM Property"));
    EXPECT_EQ(all.fetch().getFieldCount(), 2u);
    EXPECT_TRUE(all.tryFetch());
    EXPECT_FALSE(all.tryFetch());
    msi::DatabaseRecord parameter(1);
    parameter.setString(1, _T("A"));
    const tstring query = _T("SELECT Value FROM Property WHERE Property = ?");
    EXPECT_EQ(msi::DatabaseView(database, query, parameter).fetch().getString(), u"1");

    const auto fails = [&](const char* failing, const std::string& text, const auto& call) {
        machine.calls.failCall(failing, 1, 1610);
        const std::string thrown = thrownText(call);
        EXPECT_TRUE(thrown.starts_with(text + " failed. MSI error [16")) << thrown;
    };
    UINT status = 0;
    msi::CAImpl ca(session, status);
    const std::string name = std::to_string(session) + ", P)";
    const auto open = [] { msi::Database{Guid(kCode)}; };
    const auto view = [&] { msi::DatabaseView(database, query); };
    fails("MsiGetPropertyW", "MsiGetProperty(" + name, [&] { ca.getProperty(_T("P")); });
    fails("MsiSetPropertyW", "MsiSetProperty(P, 1)", [&] { ca.setProperty(_T("P"), _T("1")); });
    fails("MsiGetProductInfoW", "MsiGetProductInfo(" + toUtf8(kCode) + ", LocalPackage)", open);
    fails("MsiOpenDatabaseW", "MsiOpenDatabase(C:\\au.msi, MSIDBOPEN_READONLY)", open);
    fails("MsiGetActiveDatabase", "MsiGetActiveDatabase()", [&] { msi::Database{session}; });
    fails("MsiDatabaseOpenViewW", "MsiDatabaseOpenView(" + toUtf8(query) + ")", view);
    fails("MsiViewExecute", "MsiViewExecute(" + toUtf8(query) + ")", view);
    fails("MsiViewFetch", "MsiViewFetch(SELECT * FROM Property)", [&] { all.tryFetch(); });
    fails("MsiCreateRecord", "MsiCreateRecord(1)", [] { msi::DatabaseRecord{1}; });
    fails("MsiRecordGetFieldCount", "MsiRecordGetFieldCount()",
          [&] { msi::DatabaseRecord().getFieldCount(); });
    fails("MsiRecordSetStringW", "MsiRecordSetString(1, x)",
          [&] { parameter.setString(1, _T("x")); });
    EXPECT_TRUE(thrownText([&] { database.getProperty(_T("B")); })
                    .starts_with("No more items in [SELECT Value FROM Property WHERE Property = "
                                 "'B'] query. MSI error [259]"));

    machine.calls.clearJournal();
    machine.calls.failCall("MsiViewClose", 1, 6);
    msi::DatabaseView(database, _T("SELECT * FROM Property"));
    EXPECT_EQ(machine.calls.count("MsiCloseHandle"), 0u);
    machine.calls.failCall("MsiCloseHandle", 1, 6);
    msi::DatabaseRecord{1};
    std::string warnings;
    for (const std::string& warning : logMessages(machine, "WARNING")) {
        warnings += std::regex_replace(warning, std::regex("[(]\\d+"), "(") + "\n";
    }
    EXPECT_EQ(warnings,
              "MsiViewClose() failed with error=6\nMsiCloseHandle() failed with error=6\n");
    machine.installer.endProcess();
}

/// Has another thread log while it is given a warning.
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

TEST_F(InstallerCalls, CopyTheLogToTheInstallersLog) {
    Interrupted interrupted(machine);
    LogAppender* const before = Logger::instance().appender();
    Logger::instance().setAppender(&interrupted);
    {
        const msi::MsiLogAppender appender(session);
        // The warning about it comes amid the sending and is not sent, but that of another thread.
        machine.calls.failCall("MsiCloseHandle", 1, 6);
        LOG_INFO("f", _T("[1] stays"));
        // The failure to send one is not sent, and the text that describes it neither.
        machine.modules.hideModule(u"msimsg.dll");
        machine.calls.failAll("MsiCreateRecord");
        EXPECT_THROW(LOG_INFO("h", _T("lost")), msi::Error);
        machine.calls.clearPlans();
        LOG_INFO("f", _T("last"));
    }
    EXPECT_EQ(Logger::instance().appender(), &interrupted);
    Logger::instance().setAppender(before);

    Lines log;
    for (const auto& line : machine.installer.log()) {
        log.push_back(
            std::regex_replace(toUtf8(line), std::regex("(12:00:0|cpp:|TID: )[0-9.]+"), "$01"));
    }
    EXPECT_EQ(log, (Lines{"Norv [12:00:0 InstallerTest.cpp: (f)] INFO: [1] stays",
                          "Norv [12:00:0 (TID: ) InstallerTest.cpp: (g)] INFO: elsewhere",
                          "Norv [12:00:0 InstallerTest.cpp: (f)] INFO: last"}));
    machine.installer.endProcess();
}

TEST(ActionData, QuotesItsCommandLine) {
    msi::ActionData data;
    data.extraArguments = u" \t";
    EXPECT_EQ(data.commandLine(), u"");
    data.extraArguments = u"\t/x  y ";
    EXPECT_EQ(data.commandLine(), u"/x  y");
    data.properties = {{u"B", u"a\"b"}, {u"A", u""}, {u"C", u"a\t\"b"}};
    EXPECT_EQ(data.commandLine(), u"/x  y A=\"\" B=a\"\"b C=\"a\t\"\"b\"");
}

struct Messages : msi::ActionData::Callback {
    void onMessage(UINT type, UINT flags, const tstring& text) override {
        received.insert(std::to_string(type >> 24) + " " + std::to_string(flags) + " " +
                        toUtf8(text));
        if (text == u"throw") {
            throw 1;
        }
    }
    std::set<std::string> received;
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
    const auto& settings = machine.installer.settings();
    machine.installer.onConfigure = [&](const simulated::ConfigureCall& call) -> UINT {
        EXPECT_EQ(std::tuple(call.uiLevel, toUtf8(call.logFile), settings.logMode,
                             settings.handlerFilter),
                  std::tuple(INSTALLUILEVEL_BASIC, "C:\\x.log", 4096u, 0xFFFFFFFFu));
        EXPECT_EQ(machine.installer.sendMessage(INSTALLMESSAGE_WARNING | 0x31, u"words"), 0);
        EXPECT_EQ(machine.installer.sendMessage(INSTALLMESSAGE_INFO, u"throw"), 0);
        EXPECT_EQ(settings.handler(settings.handlerContext, INSTALLMESSAGE_INFO, nullptr), 0);
        EXPECT_EQ(settings.handler(nullptr, INSTALLMESSAGE_INFO, u"words"), 0);
        return status;
    };
    addProduct();
    const std::string call = "MsiConfigureProductEx(" + toUtf8(kCode) + ", 65535, 2, REMOVE=ALL) ";
    const auto uninstall = [&] { defaultUninstaller().uninstall(data); };
    for (const UINT outcome : {0u, 1641u, 3010u}) {
        status = outcome;
        EXPECT_EQ(thrownText(uninstall), "nothing");
    }
    status = 1603;
    EXPECT_EQ(thrownText(uninstall),
              call + "failed [1603]. MSI error [1603](The installation ended with a fatal error.)");
    EXPECT_EQ(std::tuple(settings.uiLevel, settings.logMode, settings.handler),
              std::tuple(INSTALLUILEVEL_DEFAULT, 0u, nullptr));
    EXPECT_EQ(logMessages(machine, "INFO"),
              (Lines{call + "succeeded", call + "succeeded [1641]", call + "succeeded [3010]"}));
    EXPECT_EQ(messages.received, (std::set<std::string>{"2 49 words", "4 0 throw"}));
    EXPECT_EQ(logMessages(machine, "ERROR"), Lines(4, "Unknown exception caught"));
}

}  // namespace
