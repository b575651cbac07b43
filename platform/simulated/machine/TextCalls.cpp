// Conversion between code pages and UTF-16: UTF-8, and Windows-1252 as the system's code page.
// There is no best fit: a character that 1252 lacks becomes the default character.
#include <windows.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string>

#include "simulated/machine/Machine.h"

using namespace simulated;

namespace {

constexpr char16_t kReplacement = 0xFFFD;

/// Windows-1252 from 0x80 to 0x9F; the five bytes that it leaves open stand for themselves.
constexpr std::array<char16_t, 32> k1252 = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

struct Wide {
    std::u16string text;
    bool valid = true;
};

struct Narrow {
    std::string text;
    bool valid = true;
    bool usedDefault = false;
};

unsigned byteAt(std::string_view text, std::size_t index) {
    return index < text.size() ? static_cast<unsigned char>(text[index]) : 0u;
}

/// The range of the second byte of a sequence, and the number of bytes behind the first; by
/// Unicode's "Well-Formed UTF-8 Byte Sequences".
struct Lead {
    unsigned following = 0;
    unsigned least = 0x80;
    unsigned most = 0xBF;
};

Lead leadOf(unsigned byte) {
    if (byte >= 0xC2 && byte <= 0xDF) {
        return {1};
    }
    if (byte >= 0xE0 && byte <= 0xEF) {
        return {2, byte == 0xE0 ? 0xA0u : 0x80u, byte == 0xED ? 0x9Fu : 0xBFu};
    }
    if (byte >= 0xF0 && byte <= 0xF4) {
        return {3, byte == 0xF0 ? 0x90u : 0x80u, byte == 0xF4 ? 0x8Fu : 0xBFu};
    }
    return {};
}

void appendPoint(std::u16string& text, char32_t point) {
    if (point >= 0x10000) {
        text += static_cast<char16_t>(0xD800 + ((point - 0x10000) >> 10));
        point = 0xDC00 + ((point - 0x10000) & 0x3FF);
    }
    text += static_cast<char16_t>(point);
}

/// The longest piece that could have begun a character gives one U+FFFD, together with a second
/// byte that continues a character but not this one.
Wide fromUtf8Page(std::string_view bytes) {
    Wide wide;
    for (std::size_t i = 0; i < bytes.size();) {
        const unsigned first = byteAt(bytes, i++);
        if (first < 0x80) {
            wide.text += static_cast<char16_t>(first);
            continue;
        }
        Lead lead = leadOf(first);
        bool whole = lead.following > 0;
        char32_t point = first & (0x3Fu >> lead.following);
        for (; whole && lead.following > 0; --lead.following) {
            const unsigned next = byteAt(bytes, i);
            whole = next >= lead.least && next <= lead.most;
            point = point << 6 | (next & 0x3F);
            lead.least = 0x80;
            lead.most = 0xBF;
            i += next >= 0x80 && next <= 0xBF ? 1 : 0;
        }
        appendPoint(wide.text, whole ? point : kReplacement);
        wide.valid = wide.valid && whole;
    }
    return wide;
}

Wide from1252(std::string_view bytes) {
    Wide wide;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const unsigned byte = byteAt(bytes, i);
        wide.text += byte >= 0x80 && byte < 0xA0 ? k1252[byte - 0x80] : static_cast<char16_t>(byte);
    }
    return wide;
}

bool isSurrogate(char16_t unit) {
    return unit >= 0xD800 && unit < 0xE000;
}

Narrow toUtf8Page(std::u16string_view text) {
    Narrow narrow{toUtf8(text)};
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool pair = text[i] < 0xDC00 && i + 1 < text.size() && isSurrogate(text[i + 1]) &&
                          text[i + 1] >= 0xDC00;
        narrow.valid = narrow.valid && (!isSurrogate(text[i]) || pair);
        i += isSurrogate(text[i]) && pair ? 1 : 0;
    }
    return narrow;
}

Narrow to1252(std::u16string_view text, LPCSTR defaultChar) {
    Narrow narrow;
    for (const char16_t unit : text) {
        const auto special = std::find(k1252.begin(), k1252.end(), unit);
        if (special != k1252.end()) {
            narrow.text += static_cast<char>(0x80 + (special - k1252.begin()));
        } else if (unit < 0x80 || (unit >= 0xA0 && unit < 0x100)) {
            narrow.text += static_cast<char>(unit);
        } else {
            narrow.text += defaultChar == nullptr ? '?' : *defaultChar;
            narrow.usedDefault = true;
        }
    }
    return narrow;
}

/// Hands a result out, or its length for a size of 0; what fits is written even when not all does.
template <class Character>
int deliver(const std::basic_string<Character>& result, Character* buffer, int size) {
    if (size == 0) {
        return static_cast<int>(result.size());
    }
    const std::size_t written = std::min(result.size(), static_cast<std::size_t>(size));
    std::copy_n(result.begin(), written, buffer);
    return written == result.size() ? static_cast<int>(written)
                                    : failWith(ERROR_INSUFFICIENT_BUFFER);
}

bool isKnown(UINT codePage) {
    return codePage == CP_UTF8 || codePage == CP_ACP || codePage == 1252;
}

}  // namespace

extern "C" {

int WINAPI MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR text, int length, LPWSTR buffer,
                               int size) {
    Call call("MultiByteToWideChar");
    if (call.fails()) {
        return failWith(call.status(ERROR_NO_UNICODE_TRANSLATION));
    }
    if (text == nullptr || length == 0 || size < 0 || (buffer == nullptr && size != 0) ||
        !isKnown(codePage)) {
        return failWith(ERROR_INVALID_PARAMETER);
    }
    const bool utf8 = codePage == CP_UTF8;
    if ((flags & ~(MB_ERR_INVALID_CHARS | (utf8 ? 0 : MB_PRECOMPOSED))) != 0) {
        return failWith(ERROR_INVALID_FLAGS);
    }
    const std::size_t count = length < 0 ? std::strlen(text) + 1 : static_cast<std::size_t>(length);
    const std::string_view bytes(text, count);
    const Wide wide = utf8 ? fromUtf8Page(bytes) : from1252(bytes);
    if (!wide.valid && (flags & MB_ERR_INVALID_CHARS) != 0) {
        return failWith(ERROR_NO_UNICODE_TRANSLATION);
    }
    return deliver(wide.text, buffer, size);
}

int WINAPI WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR text, int length, LPSTR buffer,
                               int size, LPCSTR defaultChar, LPBOOL usedDefaultChar) {
    Call call("WideCharToMultiByte");
    if (call.fails()) {
        return failWith(call.status(ERROR_NO_UNICODE_TRANSLATION));
    }
    const bool utf8 = codePage == CP_UTF8;
    if (text == nullptr || length == 0 || size < 0 || (buffer == nullptr && size != 0) ||
        !isKnown(codePage) || (utf8 && (defaultChar != nullptr || usedDefaultChar != nullptr))) {
        return failWith(ERROR_INVALID_PARAMETER);
    }
    if ((flags & ~(utf8 ? WC_ERR_INVALID_CHARS : WC_NO_BEST_FIT_CHARS)) != 0) {
        return failWith(ERROR_INVALID_FLAGS);
    }
    const std::size_t count = length < 0 ? std::char_traits<char16_t>::length(text) + 1
                                         : static_cast<std::size_t>(length);
    const std::u16string_view units(text, count);
    const Narrow narrow = utf8 ? toUtf8Page(units) : to1252(units, defaultChar);
    if (!narrow.valid && (flags & WC_ERR_INVALID_CHARS) != 0) {
        return failWith(ERROR_NO_UNICODE_TRANSLATION);
    }
    if (usedDefaultChar != nullptr) {
        *usedDefaultChar = narrow.usedDefault ? TRUE : FALSE;
    }
    return deliver(narrow.text, buffer, size);
}

}  // extern "C"
