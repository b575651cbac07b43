// The JSON of a registry value and of bytes in a description, for both tools.
#pragma once

#include <windows.h>

#include <cstring>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

/// Returns bytes in lower-case hexadecimal digits, two for each.
template <class Bytes>
std::string hexDigits(const Bytes& bytes) {
    constexpr const char* kDigits = "0123456789abcdef";
    std::string digits;
    for (const auto one : bytes) {
        const auto byte = static_cast<unsigned char>(one);
        digits += {kDigits[byte >> 4], kDigits[byte & 15]};
    }
    return digits;
}

/// Returns a value of the registry as a description has it: in its type's notation, or in
/// hexadecimal digits if its bytes don't have the encoding of the type or can't be converted to
/// UTF-8.
template <class ToUtf8, class FromUtf8>
nlohmann::json registryValueJson(DWORD type, const std::vector<BYTE>& data, const ToUtf8& toUtf8,
                                 const FromUtf8& fromUtf8) {
    using nlohmann::json;
    std::basic_string<WCHAR> units(data.size() / sizeof(WCHAR), 0);
    if (!units.empty()) {
        std::memcpy(units.data(), data.data(), units.size() * sizeof(WCHAR));
    }
    std::string text = toUtf8(units);
    const bool isText = data.size() % sizeof(WCHAR) == 0 && fromUtf8(text) == units &&
                        !text.empty() && text.find('\0') == text.size() - 1;
    if (isText && (type == REG_SZ || type == REG_EXPAND_SZ)) {
        text.pop_back();
        return type == REG_SZ ? json(text) : json{{"expand", text}};
    }
    if (type == REG_DWORD && data.size() == sizeof(DWORD)) {
        DWORD number;
        std::memcpy(&number, data.data(), sizeof(number));
        return number;
    }
    return {{"type", type}, {"hex", hexDigits(data)}};
}
