#include "simulated/machine/Wide.h"

#include <locale.h>
#include <wctype.h>

#include <algorithm>

namespace simulated {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool isHighSurrogate(char32_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}
bool isLowSurrogate(char32_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

void appendUtf8(std::string& text, char32_t c) {
    constexpr unsigned kHeads[] = {0, 0xC0, 0xE0, 0xF0};
    const unsigned behind = c < 0x80 ? 0 : c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
    text += static_cast<char>(kHeads[behind] | (c >> (6 * behind)));
    for (unsigned i = behind; i-- > 0;) {
        text += static_cast<char>(0x80 | ((c >> (6 * i)) & 0x3F));
    }
}

void appendUtf16(std::u16string& text, char32_t c) {
    if (c < 0x10000) {
        text += static_cast<char16_t>(c);
        return;
    }
    text += static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
    text += static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
}

/// Reads one character and moves past it; returns U+FFFD and moves one byte if there is none.
char32_t nextCharacter(std::string_view utf8, std::size_t& at) {
    const auto byteAt = [&](std::size_t i) {
        return i < utf8.size() ? static_cast<unsigned char>(utf8[i]) : 0u;
    };
    const char32_t first = byteAt(at);
    if (first < 0x80) {
        ++at;
        return first;
    }
    const std::size_t length = first >= 0xF5   ? 0
                               : first >= 0xF0 ? 4
                               : first >= 0xE0 ? 3
                               : first >= 0xC2 ? 2
                                               : 0;
    char32_t c = length == 0 ? 0 : first & (0xFFu >> (length + 1));
    for (std::size_t i = 1; i < length; ++i) {
        if ((byteAt(at + i) & 0xC0) != 0x80) {
            ++at;
            return kReplacement;
        }
        c = (c << 6) | (byteAt(at + i) & 0x3F);
    }
    const char32_t least = length == 4 ? 0x10000 : length == 3 ? 0x800 : 0x80;
    if (c < least || c > 0x10FFFF || isHighSurrogate(c) || isLowSurrogate(c)) {
        ++at;
        return kReplacement;
    }
    at += length;
    return c;
}

}  // namespace

std::string toUtf8(std::u16string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        char32_t c = text[i];
        if (isHighSurrogate(c) && i + 1 < text.size() && isLowSurrogate(text[i + 1])) {
            c = 0x10000 + ((c - 0xD800) << 10) + (text[++i] - 0xDC00u);
        } else if (isHighSurrogate(c) || isLowSurrogate(c)) {
            c = kReplacement;
        }
        appendUtf8(result, c);
    }
    return result;
}

std::u16string fromUtf8(std::string_view utf8) {
    std::u16string result;
    for (std::size_t at = 0; at < utf8.size();) {
        appendUtf16(result, nextCharacter(utf8, at));
    }
    return result;
}

char16_t upperCase(char16_t unit) {
    if (unit < 0x80) {
        return unit >= u'a' && unit <= u'z' ? static_cast<char16_t>(unit - 0x20) : unit;
    }
    // Never freed: a library may still call the machine as the program ends.
    static const locale_t unicode = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    const wint_t upper = towupper_l(unit, unicode);
    // Windows' table has pairs alone: it leaves dotless i, long s, the micro sign and such.
    return towlower_l(upper, unicode) == unit ? static_cast<char16_t>(upper) : unit;
}

std::u16string upperCase(std::u16string_view text) {
    std::u16string result(text);
    std::transform(result.begin(), result.end(), result.begin(),
                   [](char16_t unit) { return upperCase(unit); });
    return result;
}

bool sameText(std::u16string_view a, std::u16string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char16_t left, char16_t right) {
        return left == right || upperCase(left) == upperCase(right);
    });
}

}  // namespace simulated
