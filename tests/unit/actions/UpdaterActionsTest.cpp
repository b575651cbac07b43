#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/share/tstrings.h"
#include "simulated/machine/Machine.h"
#include "support/LogReader.h"
#include "support/Products.h"
#include "windows/customactions/UpdaterActions.h"

namespace {

using products::Product;
using products::qvk;
using products::qvr;
using tstrings::toUtf8;
using Lines = std::vector<std::string>;

const std::u16string kTool = products::kUpdaterFolder + u"\\vomlit.exe";
constexpr const char16_t* kTemp = u"C:\\Users\\User\\AppData\\Local\\Temp";

class UpdaterActions : public testing::Test {
protected:
    ~UpdaterActions() override { EXPECT_TRUE(machine.installer.openHandles().empty()); }

    std::u16string property(const char16_t* name) {
        return machine.installer.property(session, name);
    }
    void set(const char16_t* name, const std::u16string& value) {
        machine.installer.session(session).properties[name] = value;
    }

    Product provider(const std::u16string& version) {
        Product product = qvr(version);
        product.providesVomlit = true;
        return product;
    }

    /// The content of the tool, or "-" if it isn't there.
    std::string tool() { return machine.volumes.content(kTool).value_or("-"); }

    simulated::Machine machine;
    simulated::Running running{machine};
    MSIHANDLE session = machine.installer.openSession();
};

TEST_F(UpdaterActions, LeaveAMachineWithoutTheToolAlone) {
    products::install(machine, provider(u"17"));
    const auto before = machine.describe();
    EXPECT_EQ(disableVomlitExe(session), 0u);
    EXPECT_EQ(property(u"DisableVomlitExe"), u"");
    EXPECT_EQ(machine.calls.count("MsiEnumProductsW"), 0u);
    EXPECT_EQ(restoreVomlitExe(session), 0u);
    EXPECT_TRUE(logHas(machine, "Unexpected value of 'DisableVomlitExe' property="));
    machine.volumes.addFile(kTool, "tool");
    products::uninstall(machine, provider(u"17"));
    products::install(machine, qvr(u"17"));
    EXPECT_EQ(disableVomlitExe(session), 0u);
    EXPECT_EQ(logMessages(machine, "WARNING").back(),
              "Unexpected state: '" + toUtf8(kTool) +
                  "' path exists, but no products that provide it detected.");
    EXPECT_EQ(tool(), "tool");
    EXPECT_EQ(machine.volumes.files(kTemp).size(), 1u);  // the log
}

TEST_F(UpdaterActions, MoveTheToolAsideAndBack) {
    products::installUpdater(machine);
    const Product first = provider(u"1.8.0_45-b13");
    const Product second = provider(u"17");
    products::install(machine, qvr(u"21"));
    products::install(machine, second);
    products::install(machine, first);
    const std::string before = tool();
    ASSERT_EQ(disableVomlitExe(session), 0u);

    const std::u16string value = property(u"DisableVomlitExe");
    const std::u16string head =
        products::kUpdaterCode + u"*" + first.code + u"*" + second.code + u"*" + kTemp + u"\\";
    ASSERT_TRUE(value.starts_with(head) && value.ends_with(u".tmp")) << toUtf8(value);
    const std::u16string hidden = value.substr(value.rfind(u'*') + 1);
    EXPECT_TRUE(logHas(machine, "DisableVomlitExe=[" + toUtf8(value) + "]"));
    EXPECT_EQ(tool(), "-");
    EXPECT_EQ(machine.volumes.content(hidden), before);

    // Nobody provides it any more: it stays where it is.
    machine.installer.removeProduct(products::kUpdaterCode);
    machine.installer.removeProduct(first.code);
    machine.installer.removeProduct(second.code);
    EXPECT_EQ(restoreVomlitExe(session), 0u);
    EXPECT_EQ(tool(), "-");

    // The last of the providers is enough, but a file that stands there isn't replaced.
    machine.installer.addProduct({second.code, {}, {}, {}});
    machine.volumes.addFile(kTool, "new");
    EXPECT_ANY_THROW(restoreVomlitExe(session));
    EXPECT_EQ(tool(), "new");
    machine.volumes.remove(kTool);
    EXPECT_EQ(restoreVomlitExe(session), 0u);
    EXPECT_EQ(tool(), before);
    EXPECT_FALSE(machine.volumes.exists(hidden));
}

TEST_F(UpdaterActions, LeaveTheToolWhenItCannotBeHidden) {
    products::installUpdater(machine);
    machine.volumes.lock(kTool);
    EXPECT_ANY_THROW(disableVomlitExe(session));
    EXPECT_EQ(property(u"DisableVomlitExe"), u"");
    machine.volumes.unlock(kTool);

    machine.calls.failCall("MsiSetPropertyW", 1, 1627);
    EXPECT_EQ(disableVomlitExe(session), 1627u);
    EXPECT_EQ(tool(), "-");

    // A runtime whose package can't be asked.
    products::installUpdater(machine);
    products::install(machine, qvr(u"1.8.0_45-b13"));
    machine.installer.product(qvr(u"1.8.0_45-b13").code)->package.unreadable(1619);
    EXPECT_ANY_THROW(disableVomlitExe(session));
    EXPECT_NE(tool(), "-");
}

TEST_F(UpdaterActions, ReadTheStateAsItStands) {
    machine.installer.addProduct({products::kUpdaterCode, {}, {}, {}});
    const std::u16string code = products::kUpdaterCode;
    const struct {
        std::u16string value;
        bool throws;
        const char* tool;
    } cases[] = {
        {u"", false, "-"},
        {code, false, "-"},
        {u"C:\\Windows\\Temp\\t", false, "-"},
        {u"*C:\\Windows\\Temp\\t", true, "-"},
        {code + u"*", true, "-"},
        {code + u"**C:\\Windows\\Temp\\t", false, "hidden"},
        {u"**C:\\Windows\\Temp\\t", true, "-"},
        {u"{00000000-0000-0000-0000-000000000001}*C:\\Windows\\Temp\\t", false, "-"},
        {u"{00000000-0000-0000-0000-000000000001}*" + code + u"*C:\\Windows\\Temp\\t", false,
         "hidden"},
        {u"4a03706f-666a-4037-7777-5f2748764d10*C:\\Windows\\Temp\\t", false, "hidden"},
        {u"{4A03706F*C:\\Windows\\Temp\\t", true, "-"},
        {u"{4A03706F-666A-4037-7777-5F2748764D10*C:\\Windows\\Temp\\t", true, "-"},
        {code + u"*C:\\Windows\\Temp\\gone", true, "-"},
        {code + u"*C:\\Windows\\Temp\\t|?", true, "-"},
        {code + u"*C:\\" + std::u16string(32'000, u'x'), true, "-"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(toUtf8(c.value).substr(0, 100));
        machine.volumes.addFile(u"C:\\Windows\\Temp\\t", "hidden");
        set(u"DisableVomlitExe", c.value);
        if (c.throws) {
            EXPECT_ANY_THROW(restoreVomlitExe(session));
        } else {
            EXPECT_EQ(restoreVomlitExe(session), 0u);
        }
        EXPECT_EQ(tool(), c.tool);
        if (machine.volumes.exists(kTool)) {
            machine.volumes.remove(kTool);
        }
    }
}

TEST_F(UpdaterActions, KeepTheUpdaterForRuntimesThatStay) {
    const Product legacy = qvr(u"1.8.0_45-b13");
    const Product zentra = qvr(u"17", 32);
    const struct {
        const char* name;
        std::vector<Product> installed;
        std::vector<std::u16string> upgradeRows;
        std::u16string older;  ///< the property that the first row names
        const char16_t* result;
        std::size_t errors;
    } cases[] = {
        {"no runtime", {}, {u"OLDER"}, u"", u"", 0},
        {"kits alone", {qvk(u"17")}, {}, u"", u"", 0},
        {"one stays", {legacy}, {}, u"", u";", 0},
        {"one replaced", {legacy}, {u"OLDER"}, legacy.code, u"", 0},
        {"both replaced",
         {legacy, zentra},
         {u"OLDER"},
         legacy.code + u";" + zentra.code + u";",
         u"",
         0},
        {"one of two", {legacy, zentra}, {u"OTHER", u"OLDER"}, legacy.code, u";", 0},
        {"bad tokens", {legacy}, {u"OLDER"}, u";x;ab;{1};" + legacy.code, u"", 2},
        {"lower case", {legacy}, {u"OLDER", u"OLDER"}, tstrings::toLower(legacy.code), u"", 0},
        {"half a brace", {legacy}, {u"OLDER"}, legacy.code.substr(1), u";", 1},
        {"null name", {legacy}, {u""}, u"", u";", 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        for (const Product& product : c.installed) {
            products::install(machine, product);
        }
        auto& installing = machine.installer.session(session);
        installing.database = {};
        auto& upgrade = installing.database.table(u"Upgrade", {u"UpgradeCode", u"ActionProperty"});
        for (const auto& row : c.upgradeRows) {
            upgrade.row({u"{…}", row});
        }
        installing.properties.erase(u"AUVERSIONSINSTALLED");
        set(u"OLDER", c.older);
        EXPECT_EQ(disableAUUninstall(session), 0u);
        EXPECT_EQ(property(u"AUVERSIONSINSTALLED"), c.result);
        EXPECT_EQ(logMessages(machine, "ERROR").size(), c.errors);
        clearLog(machine);
        for (const Product& product : c.installed) {
            products::uninstall(machine, product);
        }
    }
    // Without the table or its column there is no answer.
    machine.installer.session(session).database = {};
    EXPECT_ANY_THROW(disableAUUninstall(session));
    machine.installer.session(session).database.table(u"Upgrade", {u"UpgradeCode"});
    EXPECT_ANY_THROW(disableAUUninstall(session));
    EXPECT_ANY_THROW(disableAUUninstall(0));
}

}  // namespace
