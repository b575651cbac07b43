#include "simulated/machine/shell/Guid.h"

#include <cstdint>
#include <cstring>

#include "simulated/machine/Wide.h"

namespace simulated {

namespace {

/// The bytes of a GUID in the order of its string; the four dashes precede the places 4, 6, 8
/// and 10.
constexpr std::size_t kByteOrder[16] = {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};

bool isDashBefore(std::size_t byte) {
    return byte == 4 || byte == 6 || byte == 8 || byte == 10;
}

int hexDigit(char16_t unit) {
    const char16_t upper = upperCase(unit);
    if (upper >= u'0' && upper <= u'9') {
        return upper - u'0';
    }
    return upper >= u'A' && upper <= u'F' ? upper - u'A' + 10 : -1;
}

}  // namespace

bool parseGuid(std::u16string_view text, GUID& guid) {
    if (text.size() != kGuidLength || text.front() != u'{' || text.back() != u'}') {
        return false;
    }
    std::uint8_t bytes[16];
    std::size_t at = 1;
    for (std::size_t i = 0; i < sizeof(bytes); ++i) {
        if (isDashBefore(i) && text[at++] != u'-') {
            return false;
        }
        const int high = hexDigit(text[at]);
        const int low = hexDigit(text[at + 1]);
        if (high < 0 || low < 0) {
            return false;
        }
        bytes[kByteOrder[i]] = static_cast<std::uint8_t>(high * 16 + low);
        at += 2;
    }
    std::memcpy(&guid, bytes, sizeof(bytes));
    return true;
}

std::u16string guidText(const GUID& guid) {
    constexpr std::u16string_view kDigits = u"0123456789ABCDEF";
    std::uint8_t bytes[16];
    std::memcpy(bytes, &guid, sizeof(bytes));
    std::u16string text = u"{";
    for (std::size_t i = 0; i < sizeof(bytes); ++i) {
        if (isDashBefore(i)) {
            text += u'-';
        }
        text += kDigits[bytes[kByteOrder[i]] >> 4];
        text += kDigits[bytes[kByteOrder[i]] & 0xF];
    }
    return text + u'}';
}

}  // namespace simulated
