// The language in which the library addresses the user of this machine.
//
// Localised texts are compiled in: a getter takes a Locale and returns the text in its language. A
// getter is written as
//
//     const TCHAR* msgTitle(const Locale& locale) {
//         static constexpr LocalizedText text{_T("english"), _T("german"), _T("japanese"),
//                                             _T("chinese")};
//         return text.in(locale);
//     }
//
// and called by `getText(msgTitle, Locale())`.
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
    /// Fills in the record of a language.
    using Language = void (*)(LocaleInfo& info);

    static void english(LocaleInfo& info);
    static void chinese(LocaleInfo& info);
    static void japanese(LocaleInfo& info);
    static void german(LocaleInfo& info);

    /// Visits each supported language in turn until `visit` returns false.
    class LocaleObserver {
    public:
        virtual ~LocaleObserver() = default;
        /// Returns true to continue.
        virtual bool visit(const Locale& locale) = 0;
    };

    /// Selects the language of the machine: the first preferred one that is supported, or English.
    /// Throws what preferredLanguages throws.
    Locale();
    explicit Locale(Language function) : language_(function) {}

    Language language() const { return language_; }
    bool operator==(const Locale&) const = default;

    /// Visits English, Chinese and Japanese, in this order.
    static void forEach(LocaleObserver& observer);

    /// Returns the language ids of the calling thread and its user, the preferred one first. Throws
    /// PmtError<SysError> if Windows fails to report them, PmtError<std::runtime_error> if it
    /// reports something else than ids.
    static std::vector<LANGID> preferredLanguages();

private:
    /// Returns whether a supported language has `id` among its matched ids; if so, stores it in
    /// `locale`.
    static bool isSupported(LANGID id, Locale& locale);

    Language language_;
};

/// A text in every language. A locale that is none of the four gets the English text.
struct LocalizedText {
    const TCHAR* english;
    const TCHAR* german;
    const TCHAR* japanese;
    const TCHAR* chinese;

    const TCHAR* in(const Locale& locale) const;
};

/// Returns a string of static lifetime in the language of the locale.
using TextGetter = const TCHAR* (*)(const Locale& locale);

tstring getText(TextGetter getter, const Locale& locale);
