// Formatting by the rules of Windows' printf family: wide for texts and numbers of 32 bits, narrow
// for texts and "%g". It is no call of Windows' and passes no gate.
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

/// One conversion of a wide format: "%s", or "%", zeros or blanks to a width, and the letter of a
/// number.
std::u16string convert(const std::string& conversion, std::va_list& arguments, char16_t) {
    const char letter = conversion.back();
    if (conversion == "%s") {
        const auto* const text = va_arg(arguments, const char16_t*);
        return text == nullptr ? u"(null)" : text;
    }
    const bool isNumber = letter == 'd' || letter == 'u' || letter == 'X';
    if (!isNumber || conversion.find_first_not_of("0123456789", 1) != conversion.size() - 1) {
        notSupported("_vsnwprintf", "the conversion " + conversion);
    }
    char number[64];
    const int length =
        std::snprintf(number, sizeof(number), conversion.c_str(), va_arg(arguments, unsigned));
    return fromUtf8({number, static_cast<std::size_t>(length)});
}

/// One conversion of a narrow format: "%s", or "%g" with an exponent of three digits, as msvcrt.dll
/// gives each number.
std::string convert(const std::string& conversion, std::va_list& arguments, char) {
    if (conversion == "%s") {
        return va_arg(arguments, const char*);
    }
    if (conversion != "%g") {
        notSupported("_snprintf", "the conversion " + conversion);
    }
    char buffer[32];
    std::snprintf(buffer, sizeof(buffer), "%g", va_arg(arguments, double));
    std::string number = buffer;
    const std::size_t exponent = number.find('e');
    if (exponent != std::string::npos && number.size() - exponent == 4) {
        number.insert(exponent + 2, 1, '0');
    }
    return number;
}

/// Puts as much of the text that a format makes into the buffer as fits, with a NUL where there is
/// room for one. The length, or -1 when not all fits.
template <class Char>
int print(Char* buffer, std::size_t size, std::basic_string_view<Char> rest,
          std::va_list& arguments) {
    const auto isDigit = [](Char c) { return c >= '0' && c <= '9'; };
    std::basic_string<Char> result;
    while (!rest.empty()) {
        const std::size_t plain = std::min(rest.find(Char{'%'}), rest.size());
        result += rest.substr(0, plain);
        rest.remove_prefix(plain);
        if (rest.empty()) {
            break;
        }
        const auto letter = std::find_if_not(rest.begin() + 1, rest.end(), isDigit);
        const std::string conversion(rest.begin(), letter == rest.end() ? letter : letter + 1);
        result += conversion == "%%" ? std::basic_string<Char>(1, '%')
                                     : convert(conversion, arguments, Char());
        rest.remove_prefix(conversion.size());
    }
    const std::size_t written = std::min(result.size(), size);
    result.copy(buffer, written);
    if (written < size) {
        buffer[written] = Char();
    }
    return written == result.size() ? static_cast<int>(written) : -1;
}

}  // namespace

extern "C" int _vsnwprintf(char16_t* buffer, std::size_t size, const char16_t* format,
                           std::va_list given) {
    std::va_list arguments;
    va_copy(arguments, given);
    const int length = print(buffer, size, std::u16string_view(argument(format)), arguments);
    va_end(arguments);
    return length;
}

extern "C" int _snprintf(char* buffer, size_t count, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int length = print(buffer, count, std::string_view(format), arguments);
    va_end(arguments);
    return length;
}
