// String operations.
#pragma once

#include <concepts>
#include <string>
#include <vector>

#include "common/share/Text.h"
#include "common/share/tstring.h"

namespace tstrings {

enum class CompareType { Exact = 0, IgnoreCase = 1 };

/// Which tokens `split` keeps: all, or only those of two and more characters.
enum class SplitType { KeepAll = 0, NoShort = 1 };

/// printf-style formatting by the rules of Windows' wide functions: "%s" takes a wide string.
/// Format and arguments are not checked against each other. Throws std::invalid_argument for a null
/// format.
tstring unsafe_format(const TCHAR* format, ...);

/// Compares two strings; ignoring case means comparing them in lower case.
bool equals(const tstring& a, const tstring& b, CompareType type = CompareType::Exact);

bool startsWith(const tstring& text, const tstring& prefix, CompareType type = CompareType::Exact);

/// Converts ASCII letters to lower case; other characters do not change.
tstring toLower(const tstring& text);

/// Replaces each occurrence from left to right; replacements are not searched again. An empty
/// `search` changes nothing.
tstring replace(const tstring& text, const tstring& search, const tstring& replacement);

/// Removes the characters of `set` from both ends.
tstring trim(const tstring& text, const tstring& set);

/// Appends the tokens of `text` to `result`. The delimiter is a whole string; an empty string or
/// delimiter yields no token. With NoShort an empty last token is dropped too.
void split(std::vector<tstring>& result, const tstring& text, const tstring& delimiter,
           SplitType type = SplitType::KeepAll);

/// Converts UTF-16 to UTF-8. Throws std::runtime_error when Windows fails to convert.
std::string toUtf8(const tstring& text);

/// Converts UTF-8 to UTF-16; returns an empty string for invalid UTF-8.
tstring fromUtf8(const std::string& text);

/// Returns the number in decimal digits.
template <std::integral Number>
tstring toString(Number number) {
    return (Text() << number).str();
}

}  // namespace tstrings
