// The string operations of the library.
#pragma once

#include <concepts>
#include <string>
#include <vector>

#include "common/share/Text.h"
#include "common/share/tstring.h"

namespace tstrings {

enum class CompareType { Exact = 0, IgnoreCase = 1 };

/// What `split` keeps: everything, or no token of fewer than two characters.
enum class SplitType { KeepAll = 0, NoShort = 1 };

/// printf-style formatting by the rules of Windows' wide functions: "%s" takes a wide text. Nothing
/// matches format and arguments against each other. A null format throws std::invalid_argument.
tstring unsafe_format(const TCHAR* format, ...);

/// Equality; without case, of the lower-cased texts.
bool equals(const tstring& a, const tstring& b, CompareType type = CompareType::Exact);

bool startsWith(const tstring& text, const tstring& prefix, CompareType type = CompareType::Exact);

/// Lower-cases ASCII letters; every other character stays.
tstring toLower(const tstring& text);

/// Replaces each occurrence from left to right; what was put in is not searched again. An empty
/// `search` changes nothing.
tstring replace(const tstring& text, const tstring& search, const tstring& replacement);

/// Removes the characters of `set` from both ends.
tstring trim(const tstring& text, const tstring& set);

/// Appends the tokens of `text` to `result`. The delimiter is one whole text; an empty text or
/// delimiter gives no token. With NoShort the last token also goes when nothing is left for it.
void split(std::vector<tstring>& result, const tstring& text, const tstring& delimiter,
           SplitType type = SplitType::KeepAll);

/// UTF-16 to UTF-8. Throws std::runtime_error when Windows contradicts itself.
std::string toUtf8(const tstring& text);

/// UTF-8 to UTF-16; text that is no UTF-8 gives the empty text.
tstring fromUtf8(const std::string& text);

/// Decimal.
template <std::integral Number>
tstring toString(Number number) {
    return (Text() << number).str();
}

}  // namespace tstrings
