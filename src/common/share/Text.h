// Composes the message of a log record or an exception. Used in place of wide streams, which triple
// the size of the DLL and don't support 16-bit characters outside Windows.
#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>

#include "common/share/tstring.h"

namespace text_detail {

template <class T>
concept Character = std::same_as<T, char> || std::same_as<T, wchar_t> || std::same_as<T, char8_t> ||
    std::same_as<T, char16_t> || std::same_as<T, char32_t>;

}  // namespace text_detail

/// A number to be formatted in hexadecimal digits.
struct Hex {
    std::uint64_t value;
    int width = 0;           ///< minimum number of digits, padded with zeros
    bool upperCase = false;  ///< the letters of the digits
};

/// A string that grows by `<<`. It calls no Windows function, so composing preserves the last
/// error.
class Text {
public:
    Text();
    Text(const Text& other);
    ~Text();
    Text& operator<<(const tstring& text);
    /// A null pointer is written as "NULL".
    Text& operator<<(const TCHAR* text);
    Text& operator<<(TCHAR character);
    /// UTF-8, as messages of exceptions are; invalid bytes become U+FFFD.
    Text& operator<<(std::string_view utf8);
    Text& operator<<(const char* utf8) { return *this << std::string_view(utf8); }
    Text& operator<<(const std::string& utf8) { return *this << std::string_view(utf8); }
    Text& operator<<(const Hex& number);
    Text& operator<<(const Text& text) { return *this << text.text_; }
    /// Written as "1" or "0".
    Text& operator<<(bool flag) { return *this << (flag ? _T('1') : _T('0')); }
    /// Decimal.
    template <class Number>
    requires std::integral<Number> &&
        (!text_detail::Character<Number>)&&(!std::same_as<Number, bool>)Text&
        operator<<(Number number) {
        if constexpr (std::is_signed_v<Number>) {
            return appendSigned(number);
        } else {
            return appendUnsigned(number);
        }
    }
    /// An address: "0x" and hexadecimal digits.
    Text& operator<<(const void* address);

    const tstring& str() const { return text_; }
    operator const tstring&() const { return text_; }

    /// Returns the string in UTF-8; an unpaired surrogate becomes U+FFFD.
    std::string utf8() const;

private:
    Text& appendSigned(std::int64_t number);
    Text& appendUnsigned(std::uint64_t number);

    tstring text_;
};
