#include "settings/share/NumberText.h"

#include <locale.h>
#include <stdio.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "settings/share/Bytes.h"
#include "settings/share/ExceptionCode.h"

namespace settings_impl {

namespace {

constexpr std::string_view kLeadingBlanks = " \t\n\v";
/// The white space that a stream skips before a number.
constexpr std::string_view kStreamBlanks = " \t\n\v\f\r";

std::string_view skip(std::string_view text, std::string_view set) {
    text.remove_prefix(std::min(text.find_first_not_of(set), text.size()));
    return text;
}

/// Returns the string in lower case without leading white space; its first characters decide the
/// base.
std::string prepare(std::string_view text) {
    return lowerCase(skip(text, kLeadingBlanks));
}

int chooseBase(std::string_view text) {
    if (text.starts_with("0x") || text.starts_with("-0x")) {
        return 16;
    }
    return text.starts_with("0") || text.starts_with("-0") ? 8 : 10;
}

bool isDigit(char byte) {
    return byte >= '0' && byte <= '9';
}

bool isSign(char byte) {
    return byte == '+' || byte == '-';
}

/// Returns the characters that a stream collects for a number before it converts them. They need
/// not be a number: "1e" and "." are collected too.
std::string_view collectDouble(std::string_view text) {
    std::size_t end = !text.empty() && isSign(text[0]) ? 1 : 0;
    bool digits = false;
    bool point = false;
    bool exponent = false;
    while (end < text.size()) {
        const char byte = text[end];
        if (isDigit(byte)) {
            digits = true;
        } else if (byte == '.' && !point && !exponent) {
            point = true;
        } else if (byte == 'e' && digits && !exponent) {
            exponent = true;
            if (end + 1 < text.size() && isSign(text[end + 1])) {
                ++end;
            }
        } else {
            break;
        }
        ++end;
    }
    return text.substr(0, end);
}

/// Whether the collected characters are a complete number.
bool isWholeDouble(std::string_view field) {
    return std::any_of(field.begin(), field.end(), isDigit) &&
           (isDigit(field.back()) || field.back() == '.');
}

/// Returns the decimal point of the process's locale, the only part of it that `atof` and "%g" use.
const char* localPoint() {
    return localeconv()->decimal_point;
}

std::string withPoint(std::string text, std::string_view from, std::string_view to) {
    if (const std::size_t point = text.find(from); point != std::string::npos) {
        text.replace(point, from.size(), to);
    }
    return text;
}

}  // namespace

std::int32_t textToInt(std::string_view text) {
    const std::string prepared = prepare(text);
    const int base = chooseBase(prepared);
    std::string_view rest = skip(prepared, kStreamBlanks);
    const bool negative = rest.starts_with('-');
    if (negative || rest.starts_with('+')) {
        rest.remove_prefix(1);
    }
    if (base == 16 && rest.starts_with("0x")) {
        rest.remove_prefix(2);
    }
    std::uint64_t magnitude = 0;
    const auto read = std::from_chars(rest.data(), rest.data() + rest.size(), magnitude, base);
    const std::uint64_t largest = std::numeric_limits<std::int32_t>::max();
    if (read.ec != std::errc() || magnitude > largest + (negative ? 1 : 0)) {
        fail<settings::kBadValue>();
    }
    const auto number = static_cast<std::int64_t>(magnitude);
    return static_cast<std::int32_t>(negative ? -number : number);
}

double textToDouble(std::string_view text) {
    const std::string prepared = prepare(text);
    const std::string field(collectDouble(skip(prepared, kStreamBlanks)));
    const double number = std::atof(withPoint(field, ".", localPoint()).c_str());
    if (!isWholeDouble(field) || std::isinf(number)) {
        fail<settings::kBadValue>();
    }
    return number;
}

bool textToBool(std::string_view text) {
    const std::string lowered = lowerCase(text);
    if (lowered == "yes" || lowered == "true") {
        return true;
    }
    if (lowered == "no" || lowered == "false") {
        return false;
    }
    return textToInt(lowered) != 0;
}

std::string numberToText(std::int32_t number) {
    return std::to_string(number);
}

std::string numberToText(double number) {
    // The longest result is "-1.23457e+308". Windows' own formatting is used: that of the C++
    // run-time would add 40 KB to the DLL.
    char buffer[32];
    _snprintf(buffer, sizeof buffer, "%g", number);
    std::string text = withPoint(buffer, localPoint(), ".");
    // msvcrt.dll writes every exponent with three digits.
    const auto exponent = text.find('e');
    if (exponent != std::string::npos && text.size() - exponent == 5 && text[exponent + 2] == '0') {
        text.erase(exponent + 2, 1);
    }
    return text;
}

std::string boolToText(bool flag) {
    return flag ? "true" : "false";
}

}  // namespace settings_impl
