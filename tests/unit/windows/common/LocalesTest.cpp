#include "windows/common/Locales.h"

#include <gtest/gtest.h>

#include "support/LogReader.h"
#include "support/Thrown.h"

namespace {

using Languages = std::vector<std::u16string>;

/// Returns the name of the language selected for a user's preferred language ids, or the message of
/// the exception.
std::string selected(const Languages& preferred) {
    simulated::Machine machine;
    machine.facts.uiLanguages = preferred;
    const simulated::Running running(machine);
    LocaleInfo info;
    const std::string thrown = thrownText([&] { Locale().language()(info); });
    EXPECT_EQ(logMessages(machine, "INFO"),
              std::vector<std::string>{"PreferredUILanguages: Vista+"});
    return thrown == "nothing" ? simulated::toUtf8(info.name) : thrown;
}

TEST(Locales, TheFirstSupportedPreferredLanguageIsSelected) {
    EXPECT_EQ(selected({u"0411", u"0011", u"0409", u"0009"}), "ja");
    EXPECT_EQ(selected({u"0411", u"0804", u"0011"}), "zh_CN");
    EXPECT_EQ(selected({u"0411", u"0007", u"0009", u"0011"}), "en");
    EXPECT_EQ(selected({u"0409", u"0011"}), "ja") << "English is selected by its neutral id only";
}

TEST(Locales, SingaporesChineseCountsAsChineseAndTaiwansDoesNot) {
    EXPECT_EQ(selected({u"1004"}), "zh_CN");
    EXPECT_EQ(selected({u"0404"}), "en");
}

TEST(Locales, EnglishIsTheFallback) {
    EXPECT_EQ(selected({}), "en");
}

TEST(Locales, IdsAreParsedAsAStreamParsesHexadecimalNumbers) {
    EXPECT_EQ(selected({u"0", u"-0001", u" +0X11"}), "ja");
    EXPECT_EQ(selected({u"-ffef"}), "ja");
    EXPECT_EQ(selected({u"04G9"}), "Cannot get langID: 04G9");
    EXPECT_EQ(selected({u"0409 "}), "Cannot get langID: 0409 ");
}

TEST(Locales, AFailedQueryIsThrown) {
    simulated::Machine machine;
    const simulated::Running running(machine);
    const auto failure = [&](int call) {
        machine.calls.failCall("GetThreadPreferredUILanguages", call, 87);
        return thrownText([] { Locale(); });
    };
    EXPECT_TRUE(failure(1).starts_with(
        "GetThreadPreferredUILanguages (detect size) failed. System error [87]"));
    machine.calls.clearJournal();
    EXPECT_TRUE(failure(2).starts_with(
        "GetThreadPreferredUILanguages (get values) failed. System error [87]"));
}

TEST(Locales, ALanguageHasWindowsId) {
    LocaleInfo info;
    Locale::chinese(info);
    EXPECT_EQ(info.id, 0x0804);
    Locale::japanese(info);
    EXPECT_EQ(info.id, 0x0411);
}

TEST(Locales, AWindowsWithoutPreferredLanguagesHasDefaults) {
    simulated::Machine machine;
    machine.modules.hideFunction(u"kernel32", "GetThreadPreferredUILanguages");
    machine.facts.threadLocale = 0x20404;
    machine.facts.userLanguage = 0x0011;
    machine.facts.systemLanguage = 0x0409;
    const simulated::Running running(machine);
    EXPECT_EQ(Locale::preferredLanguages(),
              (std::vector<LANGID>{0x404, 4, 0x11, 0x409, 9, 0x409, 9}));
    EXPECT_TRUE(logHas(machine, "PreferredUILanguages: XP fallback"));
}

}  // namespace
