#include "windows/common/MsiDb.h"

#include "support/OnMachine.h"
#include "support/Thrown.h"

namespace {

using Lines = std::vector<std::string>;

const tstring kCode = u"{4A03706F-666A-4037-7777-5F2748764D10}";

class MsiDb : public OnMachine {
protected:
    MsiDb() {
        machine.installer.addProduct({kCode, {{u"LocalPackage", u"C:\\au.msi"}}, {}, {}})
            .package.table(u"Property", {u"Property", u"Value"})
            .row({u"A", u"1"});
    }

    static tstring readPackage() { return msi::Database(Guid(kCode)).getProperty(u"A"); }
    static void fillRecord() { msi::DatabaseRecord(1).setString(1, u"x"); }
};

TEST_F(MsiDb, NamesTheCallThatFails) {
    const std::pair<const char*, const char*> rows[] = {
        {"MsiRecordGetStringW", "MsiRecordGetString(3, 1) failed. MSI error [1610]"},
        {"MsiGetProductInfoW",
         "MsiGetProductInfo({4A03706F-666A-4037-7777-5F2748764D10}, LocalPackage) failed. "
         "MSI error [1610]"},
        {"MsiOpenDatabaseW",
         "MsiOpenDatabase(C:\\au.msi, MSIDBOPEN_READONLY) failed. MSI error [1610]"},
        {"MsiDatabaseOpenViewW",
         "MsiDatabaseOpenView(SELECT Value FROM Property WHERE Property = 'A') failed. "
         "MSI error [1610]"},
        {"MsiViewExecute",
         "MsiViewExecute(SELECT Value FROM Property WHERE Property = 'A') failed. "
         "MSI error [1610]"},
        {"MsiViewFetch",
         "MsiViewFetch(SELECT Value FROM Property WHERE Property = 'A') failed. "
         "MSI error [1610]"},
        {"MsiRecordGetFieldCount", "MsiRecordGetFieldCount() failed. MSI error [1627]"},
    };
    for (const auto& [function, failure] : rows) {
        machine.calls.failCall(function, 1, 1610);
        const std::string thrown = thrownText(readPackage);
        EXPECT_TRUE(thrown.starts_with(failure)) << thrown;
        EXPECT_EQ(machine.installer.openHandles(), Lines()) << function;
    }
}

TEST_F(MsiDb, NamesTheCallThatFailsForASession) {
    const MSIHANDLE session = machine.installer.openSession();
    machine.calls.failCall("MsiGetActiveDatabase", 1);
    EXPECT_TRUE(thrownText([&] {
                    msi::Database{session};
                }).starts_with("MsiGetActiveDatabase() failed. MSI error [1627]"));
}

TEST_F(MsiDb, NamesTheCallThatFailsForARecord) {
    machine.calls.failCall("MsiCreateRecord", 1);
    EXPECT_TRUE(thrownText(fillRecord).starts_with("MsiCreateRecord(1) failed. MSI error [1627]"));
    machine.calls.failCall("MsiRecordSetStringW", 1, 1610);
    EXPECT_TRUE(
        thrownText(fillRecord).starts_with("MsiRecordSetString(1, x) failed. MSI error [1610]"));
}

TEST_F(MsiDb, LogsAFailedClose) {
    for (const char* function : {"MsiViewClose", "MsiCloseHandle"}) {
        machine.calls.failCall(function, 1, 1610);
        EXPECT_EQ(readPackage(), u"1");
        machine.installer.endProcess();
    }
    EXPECT_EQ(logMessages(machine, "WARNING"), (Lines{"MsiViewClose(2) failed with error=1610",
                                                      "MsiCloseHandle(6) failed with error=1610"}));
}

TEST_F(MsiDb, LogsAFailedQueryButNotAMissingProperty) {
    const msi::Database package{Guid(kCode)};
    EXPECT_EQ(package.tryGetProperty(u"B"), u"");
    EXPECT_EQ(log(), Lines());
    EXPECT_EQ(package.tryGetProperty(u"it's"), u"");
    EXPECT_EQ(logMessages(machine, "ERROR").size(), 1u);
}

}  // namespace
