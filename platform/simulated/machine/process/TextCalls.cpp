// Conversion between code pages and UTF-16, as far as it is asked for: strictly from UTF-8 and from
// Windows-1252 as the system's code page, and into UTF-8.
#include <windows.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string>

#include "simulated/machine/Machine.h"

using namespace simulated;

namespace {

/// Windows-1252 from 0x80 to 0x9F; the five bytes that it leaves open stand for themselves.
constexpr std::array<char16_t, 32> k1252 = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

std::u16string fromUtf8Page(std::string_view bytes) {
    std::u16string wide = fromUtf8(bytes);
    // What was replaced on the way doesn't come back as it was.
    demand(toUtf8(wide) == bytes, ERROR_NO_UNICODE_TRANSLATION);
    return wide;
}

std::u16string from1252(std::string_view bytes) {
    std::u16string wide;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        wide += byte >= 0x80 && byte < 0xA0 ? k1252[byte - 0x80] : static_cast<char16_t>(byte);
    }
    return wide;
}

/// Hands a result out, or its length for a size of 0; what fits is written even when not all does.
template <class Character>
int deliver(const std::basic_string<Character>& result, Character* buffer, int size) {
    if (size == 0) {
        return static_cast<int>(result.size());
    }
    demand(buffer != nullptr, ERROR_INVALID_PARAMETER);
    const std::size_t written = std::min(result.size(), static_cast<std::size_t>(size));
    std::copy_n(result.begin(), written, buffer);
    demand(written == result.size(), ERROR_INSUFFICIENT_BUFFER);
    return static_cast<int>(written);
}

}  // namespace

extern "C" {

int WINAPI MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR text, int length, LPWSTR buffer,
                               int size) {
    return call("MultiByteToWideChar", ERROR_NO_UNICODE_TRANSLATION, [&] {
        demand(text != nullptr && length != 0 && size >= 0, ERROR_INVALID_PARAMETER);
        if ((codePage != CP_UTF8 && codePage != CP_ACP) || flags != MB_ERR_INVALID_CHARS) {
            notSupported("MultiByteToWideChar", "code page " + std::to_string(codePage) +
                                                    ", flags " + std::to_string(flags));
        }
        const std::string_view bytes(
            text, length < 0 ? std::strlen(text) + 1 : static_cast<std::size_t>(length));
        return deliver(codePage == CP_UTF8 ? fromUtf8Page(bytes) : from1252(bytes), buffer, size);
    });
}

int WINAPI WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR text, int length, LPSTR buffer,
                               int size, LPCSTR defaultChar, LPBOOL usedDefaultChar) {
    return call("WideCharToMultiByte", ERROR_NO_UNICODE_TRANSLATION, [&] {
        demand(text != nullptr && length != 0 && size >= 0, ERROR_INVALID_PARAMETER);
        if (codePage != CP_UTF8 || flags != 0 || length < 0 || defaultChar != nullptr ||
            usedDefaultChar != nullptr) {
            notSupported("WideCharToMultiByte", "anything but a counted text into UTF-8");
        }
        return deliver(toUtf8({text, static_cast<std::size_t>(length)}), buffer, size);
    });
}

}  // extern "C"
