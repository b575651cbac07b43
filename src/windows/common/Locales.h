// In which language the system speaks to the user of this machine.
//
// A text is compiled in: a getter takes a Locale and returns the text in its language. A getter is
// written as
//
//     const TCHAR* msgTitle(const Locale& locale) {
//         static constexpr LocalizedText text{_T("english"), _T("german"), _T("japanese"),
//                                             _T("chinese")};
//         return text.in(locale);
//     }
//
// and its caller asks for `getText(msgTitle, Locale())`.
#pragma once

#include <vector>

#include "common/share/tstring.h"

/// The record of one language. The numbers are Windows' language ids.
struct LocaleInfo {
    LANGID id;
    const TCHAR* name;             ///< "en"
    const TCHAR* alternativeName;  ///< a second short name, or null
    LANGID matchedIds[4];          ///< the ids that select this language; a 0 ends the list early
};

/// A language. Two of them are equal if they have the same function.
class Locale {
public:
    /// Fills the record of a language.
    using Language = void (*)(LocaleInfo& info);

    static void english(LocaleInfo& info);
    static void chinese(LocaleInfo& info);
    static void japanese(LocaleInfo& info);
    static void german(LocaleInfo& info);

    /// Looks at each supported language in turn until told to stop.
    class LocaleObserver {
    public:
        virtual ~LocaleObserver() = default;
        /// Returns true to go on.
        virtual bool visit(const Locale& locale) = 0;
    };

    /// The language of the machine: the first of the preferred ones that is supported, or English.
    /// Throws what preferredLanguages throws.
    Locale();
    explicit Locale(Language function) : language_(function) {}

    Language language() const { return language_; }
    bool operator==(const Locale&) const = default;

    /// Walks English, Chinese and Japanese, in this order.
    static void forEach(LocaleObserver& observer);

    /// The language ids of the calling thread and its user, most wanted first. Throws
    /// PmtError<SysError> when Windows doesn't tell them, PmtError<std::runtime_error> when its
    /// answer is no list of ids.
    static std::vector<LANGID> preferredLanguages();

private:
    /// Whether a supported language has `id` among its matched ids; if so, `locale` becomes it.
    static bool isSupported(LANGID id, Locale& locale);

    Language language_;
};

/// One text in every language. A locale that is none of the four gets the English one.
struct LocalizedText {
    const TCHAR* english;
    const TCHAR* german;
    const TCHAR* japanese;
    const TCHAR* chinese;

    const TCHAR* in(const Locale& locale) const;
};

/// A text of static lifetime in the language of the locale.
using TextGetter = const TCHAR* (*)(const Locale& locale);

tstring getText(TextGetter getter, const Locale& locale);
