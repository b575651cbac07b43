// The texts of the Start menu entries and of the accessibility entry, in the user's language.
#pragma once

#include "windows/common/Locales.h"

namespace menu_texts {

const TCHAR* enableAssistLink(const Locale& locale);
const TCHAR* assistLinkHint(const Locale& locale);
const TCHAR* about(const Locale& locale);
const TCHAR* aboutHint(const Locale& locale);
const TCHAR* checkForUpdates(const Locale& locale);
const TCHAR* checkForUpdatesHint(const Locale& locale);
const TCHAR* configure(const Locale& locale);
const TCHAR* configureHint(const Locale& locale);
const TCHAR* getHelp(const Locale& locale);
const TCHAR* getHelpHint(const Locale& locale);
const TCHAR* referenceDocs(const Locale& locale);
const TCHAR* referenceDocsHint(const Locale& locale);
const TCHAR* learnMore(const Locale& locale);
const TCHAR* visitSite(const Locale& locale);

}  // namespace menu_texts
