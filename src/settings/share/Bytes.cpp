#include "settings/share/Bytes.h"

#include <algorithm>

namespace settings_impl {

namespace {

/// How many bytes the form has that this byte leads, 0 if it leads none.
std::size_t formLength(unsigned char lead) {
    if (lead < 0x80) {
        return 1;
    }
    if (lead < 0xC0) {
        return 0;
    }
    if (lead < 0xE0) {
        return 2;
    }
    if (lead < 0xF0) {
        return 3;
    }
    if (lead < 0xF8) {
        return 4;
    }
    if (lead < 0xFC) {
        return 5;
    }
    return lead < 0xFE ? 6 : 0;
}

char lower(char byte) {
    return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte + 32) : byte;
}

}  // namespace

bool isUtf8(std::string_view text) {
    std::size_t position = 0;
    while (position < text.size()) {
        const std::size_t length = formLength(static_cast<unsigned char>(text[position]));
        if (length == 0 || length > text.size() - position) {
            return false;
        }
        position += length;
    }
    return true;
}

std::string lowerCase(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), lower);
    return result;
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return lower(x) == lower(y); });
}

}  // namespace settings_impl
