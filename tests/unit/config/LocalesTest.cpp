#include "windows/common/Locales.h"

#include <gtest/gtest.h>

#include <set>

#include "common/share/tstrings.h"
#include "support/LogReader.h"
#include "support/Thrown.h"
#include "windows/common/Messages.h"

namespace {

std::string nameOf(const Locale& locale) {
    LocaleInfo info;
    locale.language()(info);
    return tstrings::toUtf8(info.name);
}

TEST(Locales, TheFirstSupportedPreferredLanguageDecides) {
    const struct {
        std::vector<std::u16string> languages;
        const char* expected;
    } cases[] = {{{u"0411", u"0011", u"0409", u"0009"}, "ja"},
                 {{u"0411", u"0007", u"0009", u"0011"}, "en"},
                 {{u"0409", u"0011"}, "ja"},
                 {{u"0411", u"0804", u"0011"}, "zh_CN"},
                 {{u"1004"}, "zh_CN"},
                 {{u"0404"}, "en"},
                 {{}, "en"},
                 {{u"0", u"-0001", u" +0X11"}, "ja"},
                 {{u"-ffef"}, "ja"}};
    for (const auto& c : cases) {
        simulated::Machine machine;
        machine.facts.uiLanguages = c.languages;
        const simulated::Running running(machine);
        EXPECT_EQ(nameOf(Locale()), c.expected) << testing::PrintToString(c.languages);
        EXPECT_EQ(logMessages(machine, "INFO"),
                  std::vector<std::string>{"PreferredUILanguages: Vista+"});
    }
}

TEST(Locales, AnOlderWindowsIsAskedForItsDefaults) {
    const struct {
        std::uint32_t thread;
        std::uint16_t user;
        std::uint16_t system;
        std::vector<LANGID> ids;
        const char* expected;
    } cases[] = {
        {0x0411, 0x0409, 0x0009, {0x411, 0x11, 0x409, 9, 9, 0x409, 9}, "ja"},
        {0x20404, 0x0011, 0x0409, {0x404, 4, 0x11, 0x409, 9, 0x409, 9}, "zh_CN"},
    };
    for (const auto& c : cases) {
        simulated::Machine machine;
        machine.modules.hideFunction(u"kernel32", "GetThreadPreferredUILanguages");
        machine.facts.threadLocale = c.thread;
        machine.facts.userLanguage = c.user;
        machine.facts.systemLanguage = c.system;
        const simulated::Running running(machine);
        EXPECT_EQ(Locale::preferredLanguages(), c.ids);
        EXPECT_EQ(nameOf(Locale()), c.expected);
        EXPECT_TRUE(logHas(machine, "PreferredUILanguages: XP fallback"));
    }
}

TEST(Locales, AFailedQuestionNamesItsCall) {
    const struct {
        int failingCall;  ///< 0: none fails
        const char16_t* language;
        std::string text;  ///< its beginning
    } cases[] = {
        {1, u"0409", "GetThreadPreferredUILanguages (detect size) failed. System error [87]"},
        {2, u"0409", "GetThreadPreferredUILanguages (get values) failed. System error [87]"},
        {0, u"04G9", "Cannot get langID: 04G9"},
        {0, u"0409 ", "Cannot get langID: 0409 "},
    };
    for (const auto& c : cases) {
        simulated::Machine machine;
        machine.facts.uiLanguages = {c.language};
        const simulated::Running running(machine);
        if (c.failingCall != 0) {
            machine.calls.failCall("GetThreadPreferredUILanguages", c.failingCall, 87);
        }
        EXPECT_EQ(thrownText(Locale::preferredLanguages).substr(0, c.text.size()), c.text);
    }
}

TEST(Locales, TextsExistInFourLanguagesWithTheSameArguments) {
    const struct {
        TextGetter getter;
        int arguments;
    } texts[] = {{msgPathTooLong, 0},   {msgPathInvalid, 0},  {msgPathNotPlainText, 0},
                 {msgMalformedLine, 2}, {msgNotPlainText, 1}, {msgFileTooLong, 1},
                 {msgCannotOpen, 1},    {msgNoPermission, 1}, {msgWriteFailed, 0},
                 {msgReadError, 1},     {msgBadSwitches, 1},  {msgInternalError, 0},
                 {msgTitle, 0}};
    const struct {
        Locale::Language language;
        tstring head;
    } languages[] = {
        {Locale::english, _T("Unable to install Norv\n\n")},
        {Locale::german, _T("Norv kann nicht installiert werden\n\n")},
        {Locale::japanese,
         _T("Norv\u3092\u30A4\u30F3\u30B9\u30C8\u30FC\u30EB\u3067\u304D\u307E")
         _T("\u305B\u3093\n\n")},
        {Locale::chinese, _T("\u65E0\u6CD5\u5B89\u88C5 Norv\n\n")},
    };
    std::set<tstring> seen;
    for (const auto& text : texts) {
        for (const auto& language : languages) {
            const tstring shown = getText(text.getter, Locale(language.language));
            SCOPED_TRACE(tstrings::toUtf8(shown));
            EXPECT_TRUE(seen.insert(shown).second);
            EXPECT_EQ(shown.starts_with(language.head), text.getter != msgTitle);
            std::vector<tstring> pieces;
            tstrings::split(pieces, shown, _T("%s"));
            EXPECT_EQ(std::ssize(pieces) - 1, text.arguments);
        }
        EXPECT_EQ(getText(text.getter, Locale([](LocaleInfo&) {})),
                  getText(text.getter, Locale(Locale::english)));
    }
    EXPECT_EQ(getText(msgTitle, Locale(Locale::german)),
              _T("Norv-Installation nicht abgeschlossen"));
}

}  // namespace
