// Path arithmetic: text in, text out, no look at the file system. The separators are backslash and
// forward slash.
#pragma once

#include "common/share/tstring.h"

namespace FileUtils {

/// Everything before the last component, without the separators in front of it: "a" of "a\\b".
/// Empty without a separator, and when nothing stands before it.
tstring dirname(const tstring& path);

/// What follows the last separator: the whole path without one, empty when the path ends in one.
tstring basename(const tstring& path);

/// From the last dot of the last component to the end: ".gz" of "a.tar.gz", ".x" of ".x". Empty
/// without a dot, and for a last component "..".
tstring suffix(const tstring& path);

/// The path without its suffix, then `newSuffix`.
tstring replaceSuffix(const tstring& path, const tstring& newSuffix);

/// The path without any separator at its end.
tstring removeTrailingSlash(const tstring& path);

/// `a` without trailing separators, one backslash, `b` without one leading separator. If one of
/// them is empty, the other as it is.
tstring combinePath(const tstring& a, const tstring& b);

/// Whether the text holds one of < > " | ? *, which no path may hold.
bool hasIllegalPathCharacter(const tstring& path);

/// Whether the text holds one of those, a control character, a colon or a separator: no part of a
/// file's name may.
bool hasIllegalFileNameCharacter(const tstring& name);

}  // namespace FileUtils
