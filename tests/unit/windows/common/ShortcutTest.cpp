#include "windows/common/Shortcut.h"

#include "support/OnMachine.h"
#include "support/Thrown.h"

namespace {

using ShortcutTest = OnMachine;

TEST_F(ShortcutTest, NeedsTargetFolderDescriptionAndName) {
    const ComInitializer com;
    for (tstring Shortcut::*member :
         {&Shortcut::target, &Shortcut::folder, &Shortcut::description, &Shortcut::name}) {
        Shortcut shortcut = {u"N", u"What", u"C:\\", u"C:\\x", u"", Shortcut::kAlwaysUrl, u""};
        EXPECT_EQ(shortcut.create(), u"C:\\N.url");
        (shortcut.*member).clear();
        EXPECT_EQ(thrownText([&] { shortcut.create(); }), "Shortcut not configured properly");
    }
    EXPECT_EQ(machine.calls.count("IShellLinkW::SetArguments"), 0u) << "there are none";
}

TEST_F(ShortcutTest, AFailedStartOfComIsLogged) {
    machine.calls.failCall("CoInitialize", 1, ERROR_ACCESS_DENIED);
    { const ComInitializer failing; }
    EXPECT_EQ(log(), std::vector<std::string>{
                         "WARNING ComUtils.cpp ComInitializer::ComInitializer: CoInitialize "
                         "failed with COM error 0x80070005 (Access is denied)"});
}

}  // namespace
