#include "settings/share/Bytes.h"

#include <algorithm>
#include <bit>

namespace settings_impl {

namespace {

/// Returns the length of the sequence that this lead byte starts, which is its number of leading
/// one bits; 0 if it is not a lead byte.
std::size_t formLength(unsigned char lead) {
    const int ones = std::countl_one(lead);
    return ones == 0 ? 1 : ones == 1 || ones > 6 ? 0 : static_cast<std::size_t>(ones);
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
