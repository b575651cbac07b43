// Path arithmetic on strings; never accesses the file system. Separators are backslash and forward
// slash.
#pragma once

#include "common/share/tstring.h"

namespace FileUtils {

/// Returns everything before the last component and its separators: "a" of "a\\b". Empty without a
/// separator or if nothing precedes it.
tstring dirname(const tstring& path);

/// Returns the characters after the last separator: the whole path without one, nothing if it ends
/// with one.
tstring basename(const tstring& path);

/// Returns the part from the last dot of the last component: ".gz" of "a.tar.gz", ".x" of ".x".
/// Empty without a dot and for a last component "..".
tstring suffix(const tstring& path);

/// Returns the path with its suffix replaced by `newSuffix`.
tstring replaceSuffix(const tstring& path, const tstring& newSuffix);

/// Returns the path without trailing separators.
tstring removeTrailingSlash(const tstring& path);

/// Returns `a` without trailing separators, one backslash, and `b` without one leading separator.
/// If one of them is empty, returns the other one unchanged.
tstring combinePath(const tstring& a, const tstring& b);

/// Returns whether the string contains one of < > " | ? *, which are illegal in paths.
bool hasIllegalPathCharacter(const tstring& path);

/// Returns whether the string contains one of those, a control character, a colon or a separator,
/// which are illegal in file names.
bool hasIllegalFileNameCharacter(const tstring& name);

}  // namespace FileUtils
