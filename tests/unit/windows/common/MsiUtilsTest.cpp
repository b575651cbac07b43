#include "windows/common/MsiUtils.h"

#include "support/OnMachine.h"
#include "support/Thrown.h"

namespace {

using Lines = std::vector<std::string>;

const tstring kCode = u"{4A03706F-666A-4037-7777-5F2748764D10}";

struct Messages : msi::ActionData::Callback {
    void onMessage(UINT type, UINT flags, const tstring& text) override {
        types.push_back(type);
        allFlags.push_back(flags);
        texts.push_back(text);
        if (text == u"throw") {
            throw 1;
        }
    }
    std::vector<UINT> types, allFlags;
    std::vector<tstring> texts;
};

class MsiUtils : public OnMachine {
protected:
    MsiUtils() {
        machine.installer.addProduct({kCode, {}, {}, {}});
        data.productCode = Guid(kCode);
    }

    /// Removes the product, for which the installer returns this status. Returns what is thrown.
    std::string uninstall(UINT status = ERROR_SUCCESS) {
        machine.installer.onConfigure = [=, this](const simulated::ConfigureCall&) {
            during = machine.installer.settings();
            return status;
        };
        return thrownText([&] { defaultUninstaller().uninstall(data); });
    }

    msi::ActionData data;
    simulated::Installer::ProcessSettings during;
};

TEST_F(MsiUtils, AProductIsInstalledUnlessTheInstallerDoesNotKnowIt) {
    const std::pair<UINT, bool> rows[] = {
        {ERROR_SUCCESS, true},
        {ERROR_UNKNOWN_PRODUCT, false},
        {ERROR_UNKNOWN_PROPERTY, false},
        {ERROR_BAD_CONFIGURATION, true},
    };
    for (const auto& [status, isInstalled] : rows) {
        machine.calls.failCall("MsiGetProductInfoW", 1, status);
        EXPECT_EQ(msi::isProductInstalled(Guid(kCode)), isInstalled) << status;
    }
}

TEST_F(MsiUtils, UninstallPassesTheExtraArgumentsAndQuotesProperties) {
    data.extraArguments = u"\t/x  y ";
    data.properties = {{u"B", u"a\"b"}, {u"A", u""}, {u"C", u"a\t\"b"}};
    EXPECT_EQ(uninstall(), "nothing");
    EXPECT_EQ(logMessages(machine, "INFO"),
              Lines{"MsiConfigureProductEx({4A03706F-666A-4037-7777-5F2748764D10}, 65535, 2, "
                    "/x  y A=\"\" B=a\"\"b C=\"a\t\"\"b\") succeeded"});
}

TEST_F(MsiUtils, UninstallSucceedsAlsoIfWindowsHasToRestart) {
    EXPECT_EQ(uninstall(ERROR_SUCCESS_REBOOT_INITIATED), "nothing");
    EXPECT_EQ(uninstall(ERROR_SUCCESS_REBOOT_REQUIRED), "nothing");
    EXPECT_EQ(logMessages(machine, "INFO"),
              (Lines{"MsiConfigureProductEx({4A03706F-666A-4037-7777-5F2748764D10}, 65535, 2, ) "
                     "succeeded [1641]",
                     "MsiConfigureProductEx({4A03706F-666A-4037-7777-5F2748764D10}, 65535, 2, ) "
                     "succeeded [3010]"}));
}

TEST_F(MsiUtils, UninstallThrowsAnotherStatus) {
    EXPECT_EQ(uninstall(ERROR_INSTALL_FAILURE),
              "MsiConfigureProductEx({4A03706F-666A-4037-7777-5F2748764D10}, 65535, 2, ) failed "
              "[1603]. MSI error [1603](The installation ended with a fatal error.)");
    EXPECT_EQ(logMessages(machine, "INFO"), Lines());
}

TEST_F(MsiUtils, UninstallHasSettingsOfItsOwn) {
    Messages messages;
    data.uiLevel = INSTALLUILEVEL_BASIC;
    data.logFile = u"C:\\x.log";
    data.callback = &messages;
    uninstall();
    EXPECT_EQ(during.uiLevel, INSTALLUILEVEL_BASIC);
    EXPECT_EQ(during.logFile, u"C:\\x.log");
    EXPECT_EQ(during.logMode, DWORD{INSTALLLOGMODE_VERBOSE});
    EXPECT_EQ(during.handlerFilter, 0xFFFFFFFFu);
    const auto& after = machine.installer.settings();
    EXPECT_EQ(after.uiLevel, INSTALLUILEVEL_DEFAULT);
    EXPECT_EQ(after.logMode, 0u);
    EXPECT_EQ(after.handler, nullptr);
}

TEST_F(MsiUtils, UninstallWithoutALogFileSwitchesTheLogOff) {
    MsiEnableLogW(INSTALLLOGMODE_VERBOSE, u"C:\\old.log", 0);
    uninstall();
    EXPECT_EQ(during.logMode, 0u);
}

TEST_F(MsiUtils, UninstallPassesMessagesToTheCallback) {
    Messages messages;
    data.callback = &messages;
    machine.installer.onConfigure = [&](const simulated::ConfigureCall&) {
        const auto& settings = machine.installer.settings();
        EXPECT_EQ(machine.installer.sendMessage(INSTALLMESSAGE_WARNING | MB_ICONERROR, u"words"),
                  0);
        EXPECT_EQ(machine.installer.sendMessage(INSTALLMESSAGE_INFO, u"throw"), 0);
        EXPECT_EQ(settings.handler(settings.handlerContext, INSTALLMESSAGE_INFO, nullptr), 0);
        return UINT{ERROR_SUCCESS};
    };
    defaultUninstaller().uninstall(data);
    EXPECT_EQ(messages.types, (std::vector<UINT>{INSTALLMESSAGE_WARNING, INSTALLMESSAGE_INFO}));
    EXPECT_EQ(messages.allFlags, (std::vector<UINT>{MB_ICONERROR, 0}));
    EXPECT_EQ(messages.texts, (std::vector<tstring>{u"words", u"throw"}));
    EXPECT_EQ(logMessages(machine, "ERROR"), Lines{"Unknown exception caught"});
}

}  // namespace
