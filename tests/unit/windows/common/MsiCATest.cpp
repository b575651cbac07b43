#include "windows/common/MsiCA.h"

#include "support/OnMachine.h"
#include "support/Thrown.h"

namespace {

class MsiCA : public OnMachine {
protected:
    const MSIHANDLE session = machine.installer.openSession();
    simulated::InstallSession& installing = machine.installer.session(session);
    UINT status = ERROR_SUCCESS;
    msi::CAImpl ca{session, status};
};

TEST_F(MsiCA, ReadsPropertiesOfAnyLength) {
    for (const std::size_t length : {0, 19, 20, 1000}) {
        installing.properties[u"P"] = tstring(length, u'\u4e2d');
        EXPECT_EQ(ca.getProperty(u"P"), tstring(length, u'\u4e2d'));
    }
}

TEST_F(MsiCA, RefusesToSetAnEmptyValue) {
    EXPECT_EQ(thrownText([&] { ca.setProperty(u"P", u""); }),
              "Attempt to assign empty value to 'P' MSI property");
}

TEST_F(MsiCA, NamesThePropertyOfAFailedCall) {
    machine.calls.failCall("MsiSetPropertyW", 1, 1610);
    EXPECT_TRUE(thrownText([&] {
                    ca.setProperty(u"P", u"1");
                }).starts_with("MsiSetProperty(P, 1) failed. MSI error [1610]"));
    machine.calls.failCall("MsiGetPropertyW", 1, 1610);
    EXPECT_TRUE(thrownText([&] {
                    ca.getProperty(u"P");
                }).starts_with("MsiGetProperty(1, P) failed. MSI error [1610]"));
}

TEST_F(MsiCA, ReturnsADigitForEachRunMode) {
    tstring digits(MSIRUNMODE_COMMIT + 1, u'0');
    for (const MSIRUNMODE mode : {MSIRUNMODE_ADMIN, MSIRUNMODE_SCHEDULED, MSIRUNMODE_COMMIT}) {
        installing.modes.insert(mode);
        digits[mode] = u'1';
    }
    EXPECT_EQ(ca.runModes(), digits);
}

}  // namespace
