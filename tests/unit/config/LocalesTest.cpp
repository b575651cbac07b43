#include "windows/common/Locales.h"

#include <gtest/gtest.h>

#include "common/share/tstrings.h"
#include "support/LogReader.h"
#include "support/Thrown.h"

namespace {

/// The name and id of the user's language, or what is thrown.
std::string userLanguage() {
    LocaleInfo info;
    const std::string thrown = thrownText([&] { Locale().language()(info); });
    return thrown == "nothing" ? tstrings::toUtf8(info.name) + std::to_string(info.id) : thrown;
}

TEST(Locales, TheFirstSupportedPreferredLanguageDecides) {
    // Languages, the call that fails or 0, and what the outcome begins with.
    const std::tuple<std::vector<std::u16string>, int, std::string> cases[] = {
        {{u"0411", u"0011", u"0409", u"0009"}, 0, "ja1041"},
        {{u"0411", u"0007", u"0009", u"0011"}, 0, "en1033"},
        {{u"0409", u"0011"}, 0, "ja"},
        {{u"0411", u"0804", u"0011"}, 0, "zh_CN2052"},
        {{u"1004"}, 0, "zh_CN"},
        {{u"0404"}, 0, "en"},
        {{}, 0, "en"},
        {{u"0", u"-0001", u" +0X11"}, 0, "ja"},
        {{u"-ffef"}, 0, "ja"},
        {{u"04G9"}, 0, "Cannot get langID: 04G9"},
        {{u"0409 "}, 0, "Cannot get langID: 0409 "},
        {{}, 1, "GetThreadPreferredUILanguages (detect size) failed. System error [87]"},
        {{}, 2, "GetThreadPreferredUILanguages (get values) failed. System error [87]"},
    };
    for (const auto& [languages, failing, expected] : cases) {
        simulated::Machine machine;
        machine.facts.uiLanguages = languages;
        const simulated::Running running(machine);
        if (failing != 0) {
            machine.calls.failCall("GetThreadPreferredUILanguages", failing, 87);
        }
        EXPECT_EQ(userLanguage().substr(0, expected.size()), expected);
        EXPECT_EQ(logMessages(machine, "INFO"),
                  std::vector<std::string>{"PreferredUILanguages: Vista+"});
    }
}

TEST(Locales, AnOlderWindowsIsAskedForItsDefaults) {
    simulated::Machine machine;
    machine.modules.hideFunction(u"kernel32", "GetThreadPreferredUILanguages");
    machine.facts.threadLocale = 0x20404;
    machine.facts.userLanguage = 0x0011;
    machine.facts.systemLanguage = 0x0409;
    const simulated::Running running(machine);
    EXPECT_EQ(Locale::preferredLanguages(),
              (std::vector<LANGID>{0x404, 4, 0x11, 0x409, 9, 0x409, 9}));
    EXPECT_EQ(userLanguage(), "zh_CN2052");
    EXPECT_TRUE(logHas(machine, "PreferredUILanguages: XP fallback"));
}

}  // namespace
