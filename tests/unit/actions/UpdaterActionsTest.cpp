#include "windows/customactions/UpdaterActions.h"

#include <algorithm>

#include "common/share/tstrings.h"
#include "support/OnMachine.h"
#include "support/Products.h"

namespace {

using products::Product;
using products::qvr;
using tstrings::toUtf8;

const std::u16string kTool = products::kUpdaterFolder + u"\\vomlit.exe";
const std::u16string kTemp = u"C:\\Users\\User\\AppData\\Local\\Temp\\";

class UpdaterActions : public OnMachine {
protected:
    ~UpdaterActions() override { EXPECT_TRUE(machine.installer.openHandles().empty()); }

    std::u16string& property(const char16_t* name) {
        return machine.installer.session(session).properties[name];
    }
    /// The content of the tool, or "-" if it isn't there.
    std::string tool() { return machine.volumes.content(kTool).value_or("-"); }

    MSIHANDLE session = machine.installer.openSession();
};

TEST_F(UpdaterActions, MoveTheToolAsideAndBack) {
    EXPECT_EQ(disableVomlitExe(session), 0u);
    EXPECT_EQ(machine.calls.count("MsiEnumProductsW"), 0u);  // no tool
    property(u"DisableVomlitExe") = u"x";
    EXPECT_EQ(restoreVomlitExe(session), 0u);
    EXPECT_TRUE(logHas(machine, "Unexpected value of 'DisableVomlitExe' property=x"));

    machine.volumes.addFile(kTool, "tool");
    products::install(machine, qvr(u"21"));
    EXPECT_EQ(disableVomlitExe(session), 0u);
    EXPECT_EQ(logMessages(machine, "WARNING").back(),
              "Unexpected state: '" + toUtf8(kTool) +
                  "' path exists, but no products that provide it detected.");
    EXPECT_EQ(tool(), "tool");

    products::installUpdater(machine);
    Product provider = qvr(u"1.8.0_45-b13");
    provider.providesVomlit = true;
    products::install(machine, provider);
    const std::string before = tool();
    machine.volumes.lock(kTool);
    EXPECT_ANY_THROW(disableVomlitExe(session));
    EXPECT_EQ(property(u"DisableVomlitExe"), u"x");
    machine.volumes.unlock(kTool);
    ASSERT_EQ(disableVomlitExe(session), 0u);
    const std::u16string value = property(u"DisableVomlitExe");
    const std::u16string head = products::kUpdaterCode + u"*" + provider.code + u"*" + kTemp;
    ASSERT_TRUE(value.starts_with(head) && value.ends_with(u".tmp")) << toUtf8(value);
    EXPECT_TRUE(logHas(machine, "DisableVomlitExe=[" + toUtf8(value) + "]"));
    EXPECT_EQ(tool(), "-");
    EXPECT_EQ(machine.volumes.content(value.substr(value.rfind(u'*') + 1)), before);

    // The last of the providers is enough, but a file that stands there isn't replaced.
    machine.installer.removeProduct(products::kUpdaterCode);
    machine.volumes.addFile(kTool, "new");
    EXPECT_ANY_THROW(restoreVomlitExe(session));
    EXPECT_EQ(tool(), "new");
    machine.calls.failCall("MsiSetPropertyW", 1, 1608);
    EXPECT_EQ(disableVomlitExe(session), 1608u);
    EXPECT_EQ(restoreVomlitExe(session), 0u);
    EXPECT_EQ(tool(), before);

    // A runtime whose package can't be asked.
    machine.installer.product(provider.code)->package.unreadable(1619);
    EXPECT_ANY_THROW(disableVomlitExe(session));
}

TEST_F(UpdaterActions, ReadTheStateAsItStands) {
    machine.installer.addProduct({products::kUpdaterCode, {}, {}, {}});
    const std::u16string code = products::kUpdaterCode;
    const std::u16string gone = u"{00000000-0000-0000-0000-000000000001}";
    const std::u16string file = kTemp + u"t";
    const std::pair<std::u16string, std::string> cases[] = {
        {code, "-"},
        {u"*" + file, "throws"},
        {code + u"*", "throws"},
        {gone + u"*" + file, "-"},
        {gone + u"*" + code + u"*" + file, "hidden"},
        {code + u"*" + kTemp + u"gone", "throws"},
    };
    for (const auto& [value, expected] : cases) {
        machine.volumes.addFile(file, "hidden");
        property(u"DisableVomlitExe") = value;
        std::string outcome = "throws";
        try {
            EXPECT_EQ(restoreVomlitExe(session), 0u);
            outcome = tool();
        } catch (const std::exception&) {
        }
        EXPECT_EQ(outcome, expected) << toUtf8(value);
        if (machine.volumes.exists(kTool)) {
            machine.volumes.remove(kTool);
        }
    }
}

TEST_F(UpdaterActions, KeepTheUpdaterForRuntimesThatStay) {
    const Product legacy = qvr(u"1.8.0_45-b13");
    const Product zentra = qvr(u"17", 32);
    const struct {
        std::vector<Product> installed;
        std::vector<std::u16string> rows;
        std::u16string older;  ///< a property that a row may name
        const char16_t* result;
        std::size_t errors;
    } cases[] = {
        {{products::qvk(u"17")}, {}, u"", u"", 0},
        {{legacy}, {}, u"", u";", 0},
        {{legacy, zentra}, {u"OLDER"}, legacy.code + u";" + zentra.code + u";", u"", 0},
        {{legacy, zentra}, {u"OTHER", u"OLDER"}, legacy.code, u";", 0},
        {{legacy}, {u"OLDER"}, u";x;ab;{1};" + legacy.code, u"", 2},
    };
    for (const auto& c : cases) {
        std::ranges::for_each(c.installed, [&](auto& p) { products::install(machine, p); });
        auto& installing = machine.installer.session(session);
        installing.database = {};
        auto& upgrade = installing.database.table(u"Upgrade", {u"UpgradeCode", u"ActionProperty"});
        std::ranges::for_each(c.rows, [&](auto& row) { upgrade.row({u"{…}", row}); });
        installing.properties = {{u"OLDER", c.older}};
        EXPECT_EQ(disableAUUninstall(session), 0u);
        EXPECT_EQ(property(u"AUVERSIONSINSTALLED"), c.result) << toUtf8(c.older);
        EXPECT_EQ(logMessages(machine, "ERROR").size(), c.errors);
        clearLog(machine);
        std::ranges::for_each(c.installed, [&](auto& p) { products::uninstall(machine, p); });
    }
    // Without the table there is no answer.
    machine.installer.session(session).database = {};
    EXPECT_ANY_THROW(disableAUUninstall(session));
}

}  // namespace
