// Messages for the user about a bad install configuration. "%s" is replaced by an argument: the
// first one by the file or the switches, the second one by the line.
#pragma once

#include "windows/common/Locales.h"

const TCHAR* msgPathTooLong(const Locale& locale);
const TCHAR* msgPathInvalid(const Locale& locale);
const TCHAR* msgPathNotPlainText(const Locale& locale);
const TCHAR* msgMalformedLine(const Locale& locale);
const TCHAR* msgNotPlainText(const Locale& locale);
const TCHAR* msgFileTooLong(const Locale& locale);
const TCHAR* msgCannotOpen(const Locale& locale);
const TCHAR* msgNoPermission(const Locale& locale);
const TCHAR* msgWriteFailed(const Locale& locale);
const TCHAR* msgReadError(const Locale& locale);
const TCHAR* msgBadSwitches(const Locale& locale);
const TCHAR* msgInternalError(const Locale& locale);
const TCHAR* msgTitle(const Locale& locale);
