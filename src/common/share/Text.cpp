#include "common/share/Text.h"

#include <charconv>

namespace {

constexpr char32_t kReplacement = 0xFFFD;

void appendCodePoint(tstring& text, char32_t point) {
    if (point < 0x10000) {
        text.push_back(static_cast<TCHAR>(point));
        return;
    }
    point -= 0x10000;
    text.push_back(static_cast<TCHAR>(0xD800 + (point >> 10)));
    text.push_back(static_cast<TCHAR>(0xDC00 + (point & 0x3FF)));
}

void appendCodePoint(std::string& text, char32_t point) {
    if (point < 0x80) {
        text.push_back(static_cast<char>(point));
    } else if (point < 0x800) {
        text.push_back(static_cast<char>(0xC0 | (point >> 6)));
        text.push_back(static_cast<char>(0x80 | (point & 0x3F)));
    } else if (point < 0x10000) {
        text.push_back(static_cast<char>(0xE0 | (point >> 12)));
        text.push_back(static_cast<char>(0x80 | ((point >> 6) & 0x3F)));
        text.push_back(static_cast<char>(0x80 | (point & 0x3F)));
    } else {
        text.push_back(static_cast<char>(0xF0 | (point >> 18)));
        text.push_back(static_cast<char>(0x80 | ((point >> 12) & 0x3F)));
        text.push_back(static_cast<char>(0x80 | ((point >> 6) & 0x3F)));
        text.push_back(static_cast<char>(0x80 | (point & 0x3F)));
    }
}

/// Removes and returns the first code point of a UTF-8 string; an invalid byte counts as U+FFFD.
char32_t takeCodePoint(std::string_view& utf8) {
    const auto byteAt = [&](std::size_t i) { return static_cast<unsigned char>(utf8[i]); };
    const unsigned char lead = byteAt(0);
    const int length = lead < 0x80   ? 1
                       : lead < 0xC2 ? 0
                       : lead < 0xE0 ? 2
                       : lead < 0xF0 ? 3
                       : lead < 0xF5 ? 4
                                     : 0;
    char32_t point = length == 1 ? lead : lead & (0x7Fu >> length);
    bool valid = length != 0 && utf8.size() >= static_cast<std::size_t>(length);
    for (int i = 1; valid && i < length; ++i) {
        valid = (byteAt(static_cast<std::size_t>(i)) & 0xC0) == 0x80;
        point = (point << 6) | (byteAt(static_cast<std::size_t>(i)) & 0x3Fu);
    }
    constexpr char32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
    if (!valid || point < kLeast[length] || point > 0x10FFFF ||
        (point >= 0xD800 && point < 0xE000)) {
        utf8.remove_prefix(1);
        return kReplacement;
    }
    utf8.remove_prefix(static_cast<std::size_t>(length));
    return point;
}

}  // namespace

// Defined here, not inline: they are used in some hundreds of places.
Text::Text() = default;
Text::Text(const Text& other) = default;
Text::~Text() = default;

Text& Text::operator<<(const tstring& text) {
    text_ += text;
    return *this;
}

Text& Text::operator<<(const TCHAR* text) {
    text_ += text != nullptr ? text : _T("NULL");
    return *this;
}

Text& Text::operator<<(TCHAR character) {
    text_.push_back(character);
    return *this;
}

Text& Text::operator<<(std::string_view utf8) {
    text_.reserve(text_.size() + utf8.size());
    while (!utf8.empty()) {
        appendCodePoint(text_, takeCodePoint(utf8));
    }
    return *this;
}

Text& Text::operator<<(const Hex& number) {
    char digits[16];
    const auto result = std::to_chars(digits, digits + sizeof(digits), number.value, 16);
    const auto count = static_cast<int>(result.ptr - digits);
    for (int i = count; i < number.width; ++i) {
        text_.push_back(_T('0'));
    }
    for (const char* digit = digits; digit != result.ptr; ++digit) {
        const bool letter = *digit >= 'a';
        text_.push_back(
            static_cast<TCHAR>(letter && number.upperCase ? *digit - 'a' + 'A' : *digit));
    }
    return *this;
}

Text& Text::operator<<(const void* address) {
    return *this << _T("0x") << Hex{reinterpret_cast<std::uintptr_t>(address)};
}

std::string Text::utf8() const {
    std::string result;
    result.reserve(text_.size());
    for (std::size_t i = 0; i < text_.size(); ++i) {
        const auto unit = static_cast<std::uint16_t>(text_[i]);
        char32_t point = unit;
        if (unit >= 0xD800 && unit < 0xE000) {
            const auto next =
                i + 1 < text_.size() ? static_cast<std::uint16_t>(text_[i + 1]) : std::uint16_t{0};
            if (unit < 0xDC00 && next >= 0xDC00 && next < 0xE000) {
                point = 0x10000 + ((unit - 0xD800u) << 10) + (next - 0xDC00u);
                ++i;
            } else {
                point = kReplacement;
            }
        }
        appendCodePoint(result, point);
    }
    return result;
}

Text& Text::appendSigned(std::int64_t number) {
    char digits[24];
    const auto result = std::to_chars(digits, digits + sizeof(digits), number);
    text_.append(digits, result.ptr);
    return *this;
}

Text& Text::appendUnsigned(std::uint64_t number) {
    char digits[24];
    const auto result = std::to_chars(digits, digits + sizeof(digits), number);
    text_.append(digits, result.ptr);
    return *this;
}
