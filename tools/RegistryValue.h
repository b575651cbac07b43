// How a registry value stands in a description, for both tools.
#pragma once

#include <windows.h>

#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

/// `toUtf8` gives nothing for a text that UTF-8 can't hold. A value that isn't of its type's usual
/// form stands in hexadecimal digits.
template <class ToUtf8>
nlohmann::json registryValueJson(DWORD type, const std::vector<BYTE>& data, const ToUtf8& toUtf8) {
    using nlohmann::json;
    std::basic_string<WCHAR> units(data.size() / sizeof(WCHAR), 0);
    if (!units.empty()) {
        std::memcpy(units.data(), data.data(), units.size() * sizeof(WCHAR));
    }
    const std::optional<std::string> text = toUtf8(units);
    const bool isText = text && data.size() % sizeof(WCHAR) == 0 && text->ends_with('\0');
    const std::size_t end = text ? text->find('\0') : 0;
    if (isText && end + 1 == text->size() && (type == REG_SZ || type == REG_EXPAND_SZ)) {
        return type == REG_SZ ? json(text->substr(0, end)) : json{{"expand", text->substr(0, end)}};
    }
    if (type == REG_DWORD && data.size() == sizeof(DWORD)) {
        DWORD number;
        std::memcpy(&number, data.data(), sizeof(number));
        return number;
    }
    std::string digits;
    for (const BYTE byte : data) {
        constexpr const char* kDigits = "0123456789abcdef";
        digits += {kDigits[byte >> 4], kDigits[byte & 15]};
    }
    return {{"type", type}, {"hex", digits}};
}
