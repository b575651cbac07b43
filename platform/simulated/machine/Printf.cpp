// Formatting by the rules of Windows' wide printf family, for texts and numbers of 32 bits. It is
// no call of Windows' and passes no gate.
#include <windows.h>
#include <wchar.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <string>

#include "simulated/machine/Calls.h"
#include "simulated/machine/Names.h"

using namespace simulated;

namespace {

/// One conversion: "%s", or "%", zeros or blanks to a width, and the letter of a number.
std::u16string formatOne(std::string conversion, std::va_list& arguments) {
    const char letter = conversion.back();
    if (conversion == "%s") {
        const auto* const text = va_arg(arguments, const char16_t*);
        return text == nullptr ? u"(null)" : text;
    }
    const bool isNumber = letter == 'd' || letter == 'u' || letter == 'X';
    if (!isNumber || conversion.find_first_not_of("0123456789", 1) != conversion.size() - 1) {
        notServed("_vsnwprintf", "the conversion " + conversion);
    }
    char number[64];
    const int length =
        std::snprintf(number, sizeof(number), conversion.c_str(), va_arg(arguments, unsigned));
    return fromUtf8({number, static_cast<std::size_t>(length)});
}

/// The exponent of a number gets the three digits that msvcrt.dll gives each.
void lengthenExponent(std::string& number) {
    const std::size_t exponent = number.find('e');
    if (exponent != std::string::npos && number.size() - exponent == 4) {
        number.insert(exponent + 2, 1, '0');
    }
}

/// What fits, with a NUL where there is room for it. The length, or -1 when not all fits.
template <class Char>
int deliver(const std::basic_string<Char>& text, Char* buffer, std::size_t size) {
    const std::size_t written = std::min(text.size(), size);
    text.copy(buffer, written);
    if (written < size) {
        buffer[written] = Char();
    }
    return written == text.size() ? static_cast<int>(written) : -1;
}

}  // namespace

extern "C" int _vsnwprintf(char16_t* buffer, std::size_t size, const char16_t* format,
                           std::va_list given) {
    std::va_list arguments;
    va_copy(arguments, given);
    std::u16string result;
    std::u16string_view rest = argument(format);
    while (!rest.empty()) {
        const std::size_t plain = std::min(rest.find(u'%'), rest.size());
        result += rest.substr(0, plain);
        rest.remove_prefix(plain);
        if (rest.starts_with(u"%%")) {
            result += u'%';
            rest.remove_prefix(2);
        } else if (!rest.empty()) {
            const std::size_t end =
                std::min(rest.find_first_not_of(u"0123456789", 1), rest.size() - 1);
            result += formatOne(toUtf8(rest.substr(0, end + 1)), arguments);
            rest.remove_prefix(end + 1);
        }
    }
    va_end(arguments);
    return deliver(result, buffer, size);
}

extern "C" int _snprintf(char* buffer, size_t count, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::va_list again;
    va_copy(again, arguments);
    std::string text(static_cast<std::size_t>(std::vsnprintf(nullptr, 0, format, again)), '\0');
    va_end(again);
    std::vsnprintf(text.data(), text.size() + 1, format, arguments);
    va_end(arguments);
    if (std::string_view(format) == "%g") {
        lengthenExponent(text);
    }
    return deliver(text, buffer, count);
}
