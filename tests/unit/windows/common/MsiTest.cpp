// Sessions, databases and products of the installer.
#include <set>
#include <thread>

#include "common/share/tstrings.h"
#include "support/OnMachine.h"
#include "support/Thrown.h"
#include "windows/common/MsiCA.h"
#include "windows/common/MsiDb.h"
#include "windows/common/MsiError.h"
#include "windows/common/MsiLogAppender.h"
#include "windows/common/MsiUtils.h"

namespace {

using tstrings::toUtf8;
using Lines = std::vector<std::string>;

const tstring kCode = u"{4A03706F-666A-4037-7777-5F2748764D10}";

class InstallerCalls : public OnMachine {
protected:
    InstallerCalls() {
        machine.installer.addProduct({kCode, {{u"LocalPackage", u"C:\\au.msi"}}, {}, {}})
            .package.table(u"Property", {u"Property", u"Value"})
            .row({u"A", u"1"});
    }
    MSIHANDLE session = machine.installer.openSession();
    simulated::InstallSession& installing = machine.installer.session(session);
};

TEST_F(InstallerCalls, ReadAndSetProperties) {
    for (const std::size_t length : {0, 19, 20, 1000}) {
        installing.properties[u"P"] = tstring(length, u'\u4e2d');
        EXPECT_EQ(msi::getProperty(session, u"P"), installing.properties[u"P"]);
    }
    UINT status = 0;
    msi::CAImpl ca(session, status);
    EXPECT_EQ(thrownText([&] { ca.setProperty(u"P", u""); }),
              "Attempt to assign empty value to 'P' MSI property");
    installing.modes = {MSIRUNMODE_ADMIN, MSIRUNMODE_SCHEDULED, MSIRUNMODE_COMMIT};
    EXPECT_EQ(ca.runModes(), u"1000000000000000101");
}

TEST_F(InstallerCalls, DescribeStatusesByTheInstallersTexts) {
    const auto text = [](UINT status) { return std::string(msi::Error(u"x", status).what()); };
    EXPECT_EQ(text(0x10000 + 1605), "x. MSI error [67141](The product is not installed.)");
    // In a block that has strings, and in one that has none.
    EXPECT_EQ(text(1604), "x. MSI error [1604]()");
    EXPECT_EQ(text(40'000), "x. MSI error [40000](No description)");
    machine.calls.failCall("LoadResource", 1);
    EXPECT_EQ(text(1605), "x. MSI error [1605](No description)");
    machine.modules.hideModule(u"msimsg.dll");
    EXPECT_EQ(text(1605), "x. MSI error [1605]");
    EXPECT_TRUE(logHas(machine,
                       "LoadLibraryExW(C:\\Windows\\System32\\msimsg.dll) failed with system error "
                       "126 (The module could not be found)"));
    // A status that can't be described keeps its meaning.
    machine.calls.failAll("GetSystemDirectoryW");
    for (const auto& [status, installed] : {std::pair{1605u, false}, {1608, false}, {1610, true}}) {
        machine.calls.failCall("MsiGetProductInfoW", 1, status);
        EXPECT_EQ(msi::isProductInstalled(Guid(kCode)), installed);
    }
}

TEST_F(InstallerCalls, AreNamedWhenTheyFail) {
    UINT status = 0;
    msi::CAImpl ca(session, status);
    std::set<std::string> told;
    const auto tell = [&](const std::string& text) {
        // Without the numbers of handles and the description of the status.
        told.insert(std::regex_replace(text, std::regex("([(])\\d+|\\][(].*"), "$1"));
    };
    for (std::uint64_t n = 1; machine.calls.count() + 1 >= n; ++n) {
        machine.calls.clearJournal();
        machine.calls.failCall(n, 1610);
        tell(thrownText([&] {
            ca.setProperty(u"P", u"1");
            ca.getProperty(u"P");
            msi::Database{session};
            const msi::Database package{Guid(kCode)};
            EXPECT_EQ(package.getProperty(u"A"), u"1");
            msi::DatabaseRecord(1).setString(1, u"x");
        }));
        machine.handles.closeAll();
    }
    machine.calls.clearPlans();
    for (const std::string& warning : logMessages(machine, "WARNING")) {
        tell(warning);
    }
    const std::string code = toUtf8(kCode);
    const std::string query = "(SELECT Value FROM Property WHERE Property = 'A') failed";
    EXPECT_EQ(told, (std::set<std::string>{
                        "IIDFromString(" + code + ") failed",
                        "MsiCloseHandle() failed with error=1610",
                        "MsiCreateRecord() failed. MSI error [1627",
                        "MsiDatabaseOpenView" + query + ". MSI error [1610",
                        "MsiGetActiveDatabase() failed. MSI error [1627",
                        "MsiGetProductInfo(" + code + ", LocalPackage) failed. MSI error [1610",
                        "MsiGetProperty(, P) failed. MSI error [1610",
                        "MsiOpenDatabase(C:\\au.msi, MSIDBOPEN_READONLY) failed. MSI error [1610",
                        "MsiRecordGetFieldCount() failed. MSI error [1627",
                        "MsiRecordGetString(, 1) failed. MSI error [1610",
                        "MsiRecordSetString(, x) failed. MSI error [1610",
                        "MsiSetProperty(P, 1) failed. MSI error [1610",
                        "MsiViewClose() failed with error=1610",
                        "MsiViewExecute" + query + ". MSI error [1610",
                        "MsiViewFetch" + query + ". MSI error [1610",
                        "StringFromGUID2() failed",
                        "nothing",
                    }));
    clearLog(machine);
    const msi::Database package{Guid(kCode)};
    EXPECT_EQ(package.tryGetProperty(u"B") + package.tryGetProperty(u"it's"), u"");
    EXPECT_EQ(logMessages(machine, "ERROR").size(), 1u);
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
    EXPECT_EQ(log, (Lines{"Norv [12:00:0 MsiTest.cpp: (f)] INFO: [1] stays",
                          "Norv [12:00:0 (TID: ) MsiTest.cpp: (g)] INFO: elsewhere",
                          "Norv [12:00:0 MsiTest.cpp: (f)] INFO: last"}));
}

struct Messages : msi::ActionData::Callback {
    void onMessage(UINT type, UINT flags, const tstring& text) override {
        received.insert((Text() << (type >> 24) << " " << flags << " " << text).utf8());
        if (text == u"throw") {
            throw 1;
        }
    }
    std::set<std::string> received;
};

TEST_F(InstallerCalls, RemoveAProductUnderSettingsOfTheirOwn) {
    const auto& settings = machine.installer.settings();
    Messages messages;
    msi::ActionData data;
    data.productCode = Guid(kCode);
    data.uiLevel = INSTALLUILEVEL_BASIC;
    data.callback = &messages;
    data.extraArguments = u"\t/x  y ";
    data.properties = {{u"B", u"a\"b"}, {u"A", u""}, {u"C", u"a\t\"b"}};
    UINT status = 0;
    machine.installer.onConfigure = [&](const simulated::ConfigureCall& call) {
        EXPECT_EQ(std::tuple(call.uiLevel, toUtf8(call.logFile), settings.logMode,
                             settings.handlerFilter),
                  std::tuple(INSTALLUILEVEL_BASIC, toUtf8(data.logFile),
                             data.logFile.empty() ? 0u : 4096u, 0xFFFFFFFFu));
        EXPECT_EQ(machine.installer.sendMessage(INSTALLMESSAGE_WARNING | 0x31, u"words"), 0);
        EXPECT_EQ(machine.installer.sendMessage(INSTALLMESSAGE_INFO, u"throw"), 0);
        EXPECT_EQ(settings.handler(settings.handlerContext, INSTALLMESSAGE_INFO, nullptr), 0);
        return status;
    };
    Lines order;
    machine.calls.observe([&](const std::string& name) {
        if (name.starts_with("MsiSet") || name == "MsiEnableLogW") {
            order.push_back(name);
        }
    });
    std::string told;
    for (const UINT outcome : {0u, 1641u, 3010u, 1603u}) {
        status = outcome;
        told += thrownText([&] { defaultUninstaller().uninstall(data); }) + "\n";
        EXPECT_EQ(std::tuple(settings.uiLevel, settings.logMode, settings.handler),
                  std::tuple(INSTALLUILEVEL_DEFAULT, 0u, nullptr));
        data.logFile = u"C:\\x.log";
    }
    const std::string call = "MsiConfigureProductEx(" + toUtf8(kCode) +
                             ", 65535, 2, /x  y A=\"\" B=a\"\"b C=\"a\t\"\"b\") ";
    EXPECT_EQ(told, "nothing\nnothing\nnothing\n" + call +
                        "failed [1603]. MSI error [1603](The installation ended with a fatal "
                        "error.)\n");
    EXPECT_EQ(logMessages(machine, "INFO"),
              (Lines{call + "succeeded", call + "succeeded [1641]", call + "succeeded [3010]"}));
    EXPECT_EQ(messages.received, (std::set<std::string>{"2 49 words", "4 0 throw"}));
    EXPECT_EQ(logMessages(machine, "ERROR"), Lines(4, "Unknown exception caught"));
    order.resize(6);
    EXPECT_EQ(order, (Lines{"MsiSetInternalUI", "MsiEnableLogW", "MsiSetExternalUIW",
                            "MsiSetExternalUIW", "MsiEnableLogW", "MsiSetInternalUI"}));
}

}  // namespace
