#include "windows/customactions/UpdaterActions.h"

#include "builders/Product.h"
#include "support/Updater.h"
#include "unit/windows/customactions/ActionTest.h"

namespace {

using family::Product;
using family::qvk;
using family::qvr;
using tstrings::toUtf8;
using updater::kTool;

const tstring kTemp = u"C:\\Users\\User\\AppData\\Local\\Temp\\";
const TCHAR* const kMoved = u"DisableVomlitExe";
const TCHAR* const kKeep = u"AUVERSIONSINSTALLED";

class UpdaterActions : public ActionTest {
protected:
    /// The content of the updater's tool, or "none" if it isn't there.
    std::string tool() { return volumes.content(kTool).value_or("none"); }

    /// The updater and a runtime whose package has the component of the tool.
    Product installProviders() {
        updater::install(machine);
        Product runtime = qvr("1.8.0_45-b13");
        runtime.packageComponents[u"registration"] = updater::kToolComponentId;
        install(machine, runtime);
        return runtime;
    }
};

TEST_F(UpdaterActions, SearchNoProductsWithoutTheTool) {
    EXPECT_EQ(disableVomlitExe(session), 0u);
    EXPECT_EQ(machine.calls.count("MsiEnumProductsW"), 0u);
}

TEST_F(UpdaterActions, KeepAToolThatNoProductProvides) {
    volumes.addFile(kTool, "tool");
    install(machine, qvr("21"));
    EXPECT_EQ(disableVomlitExe(session), 0u);
    EXPECT_EQ(logMessages(machine, "WARNING").back(),
              "Unexpected state: '" + toUtf8(kTool) +
                  "' path exists, but no products that provide it detected.");
    EXPECT_EQ(tool(), "tool");
}

TEST_F(UpdaterActions, MoveTheToolAsideAndNoteItsProviders) {
    const Product runtime = installProviders();
    const Product byName = qvr("21");
    install(machine, byName);
    machine.installer.product(byName.code)
        ->package.table(u"Component", {})
        .row({u"vomlitcomponent", u""});
    ASSERT_EQ(disableVomlitExe(session), 0u);

    const tstring value = property(kMoved);
    const tstring providers =
        updater::kProductCode + u"*" + runtime.code + u"*" + byName.code + u"*";
    EXPECT_EQ(value.substr(0, providers.size()), providers);
    const tstring file = value.substr(value.rfind(u'*') + 1);
    EXPECT_TRUE(file.starts_with(kTemp)) << toUtf8(file);
    EXPECT_EQ(volumes.content(file), "updater");
    EXPECT_EQ(tool(), "none");
    EXPECT_TRUE(logHas(machine, "DisableVomlitExe=[" + toUtf8(value) + "]"));
}

TEST_F(UpdaterActions, LeaveThePropertyWhenTheToolCannotBeMoved) {
    installProviders();
    property(kMoved) = u"x";
    volumes.lock(kTool);
    EXPECT_ANY_THROW(disableVomlitExe(session));
    EXPECT_EQ(property(kMoved), u"x");
}

TEST_F(UpdaterActions, DoNotRestoreTheToolWhenTheInstallerRefusedTheProperty) {
    installProviders();
    machine.calls.failCall("MsiSetPropertyW", 1, 1608);
    EXPECT_EQ(disableVomlitExe(session), 1608u);
    EXPECT_EQ(restoreVomlitExe(session), 0u);
    EXPECT_EQ(tool(), "none") << "nothing says where it was moved to";
}

TEST_F(UpdaterActions, FailWhenTheRuntimesPackageCannotBeOpened) {
    const Product runtime = installProviders();
    machine.installer.product(runtime.code)->package.unreadable(1619);
    EXPECT_ANY_THROW(disableVomlitExe(session));
}

TEST_F(UpdaterActions, MoveTheToolBackForTheLastOfItsProviders) {
    installProviders();
    ASSERT_EQ(disableVomlitExe(session), 0u);
    machine.installer.removeProduct(updater::kProductCode);
    EXPECT_EQ(restoreVomlitExe(session), 0u);
    EXPECT_EQ(tool(), "updater");
}

TEST_F(UpdaterActions, DoNotReplaceAToolThatIsThereAgain) {
    installProviders();
    ASSERT_EQ(disableVomlitExe(session), 0u);
    volumes.addFile(kTool, "new");
    EXPECT_ANY_THROW(restoreVomlitExe(session));
    EXPECT_EQ(tool(), "new");
}

TEST_F(UpdaterActions, RestoreNothingForProductsThatWereRemoved) {
    property(kMoved) = updater::kProductCode + u"*" + kTemp;
    EXPECT_EQ(restoreVomlitExe(session), 0u);
}

TEST_F(UpdaterActions, LogAPropertyThatIsNoList) {
    property(kMoved) = u"x";
    EXPECT_EQ(restoreVomlitExe(session), 0u);
    EXPECT_TRUE(logHas(machine, "Unexpected value of 'DisableVomlitExe' property=x"));
}

TEST_F(UpdaterActions, FailAtAListWithAnEmptyProductCode) {
    property(kMoved) = u"*" + kTemp;
    EXPECT_ANY_THROW(restoreVomlitExe(session));
}

class UpgradedProducts : public UpdaterActions {
protected:
    UpgradedProducts() {
        machine.installer.session(session)
            .database.table(u"Upgrade", {u"UpgradeCode", u"ActionProperty"})
            .row({u"{…}", u"OTHER"})
            .row({u"{…}", u"OLDER"});
        install(machine, qvk("17"));
        install(machine, legacy);
        property(u"OLDER") = u";x;ab;{1};" + legacy.code;
    }
    const Product legacy = qvr("1.8.0_45-b13");
};

TEST_F(UpgradedProducts, DoNotKeepTheUpdater) {
    EXPECT_EQ(disableAUUninstall(session), 0u);
    EXPECT_EQ(property(kKeep), u"");
    EXPECT_EQ(logMessages(machine, "ERROR").size(), 2u) << "codes that are none";
}

TEST_F(UpgradedProducts, KeepTheUpdaterForARuntimeThatStays) {
    install(machine, qvr("17", 32));
    EXPECT_EQ(disableAUUninstall(session), 0u);
    EXPECT_EQ(property(kKeep), u";");
}

}  // namespace
