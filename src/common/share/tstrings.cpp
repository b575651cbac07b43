#include "common/share/tstrings.h"

#include <wchar.h>

#include <algorithm>
#include <cstdarg>
#include <stdexcept>

#include "common/share/GrowingBuffer.h"
#include "common/share/PmtError.h"

namespace tstrings {

namespace {

constexpr std::size_t kFormatStep = 256;

std::string toMultiByte(const tstring& text, UINT codePage, DWORD flags) {
    const auto unexpected = [](const SourceLocation& where =
                                   "tstrings::`anonymous-namespace'::toMultiByte") {
        raise<std::runtime_error>(where, "Unexpected reply from WideCharToMultiByte()");
    };
    const int length = static_cast<int>(text.size());
    const int needed =
        WideCharToMultiByte(codePage, flags, text.data(), length, nullptr, 0, nullptr, nullptr);
    if (needed < 0) {
        unexpected();
    }
    std::string result(static_cast<std::size_t>(needed), '\0');
    if (needed > 0 && WideCharToMultiByte(codePage, flags, text.data(), length, result.data(),
                                          needed, nullptr, nullptr) != needed) {
        unexpected();
    }
    return result;
}

tstring fromMultiByte(const std::string& text, UINT codePage, DWORD flags) {
    const auto unexpected = [](const SourceLocation& where =
                                   "tstrings::`anonymous-namespace'::fromMultiByte") {
        raise<std::runtime_error>(where, "Unexpected reply from MultiByteToWideChar()");
    };
    const int length = static_cast<int>(text.size());
    const int needed = MultiByteToWideChar(codePage, flags, text.data(), length, nullptr, 0);
    if (needed < 0) {
        unexpected();
    }
    tstring result(static_cast<std::size_t>(needed), _T('\0'));
    if (needed > 0 && MultiByteToWideChar(codePage, flags, text.data(), length, result.data(),
                                          needed) != needed) {
        unexpected();
    }
    return result;
}

}  // namespace

tstring unsafe_format(const TCHAR* format, ...) {
    if (format == nullptr) {
        raise<std::invalid_argument>("tstrings::unsafe_format", "Destination buffer can't be NULL");
    }
    std::va_list arguments;
    va_start(arguments, format);
    const tstring result = readGrowing<tstring>(kFormatStep, [&](TCHAR* text, std::size_t size) {
        std::va_list again;
        va_copy(again, arguments);
        const int length = _vsnwprintf(text, size, format, again);
        va_end(again);
        return length < 0 ? size + kFormatStep : static_cast<std::size_t>(length);
    });
    va_end(arguments);
    return result;
}

bool equals(const tstring& a, const tstring& b, CompareType type) {
    if (a.size() != b.size()) {
        return false;
    }
    return type == CompareType::Exact ? a == b : toLower(a) == toLower(b);
}

bool startsWith(const tstring& text, const tstring& prefix, CompareType type) {
    return text.size() >= prefix.size() && equals(text.substr(0, prefix.size()), prefix, type);
}

tstring toLower(const tstring& text) {
    tstring result = text;
    for (TCHAR& c : result) {
        if (c >= _T('A') && c <= _T('Z')) {
            c = static_cast<TCHAR>(c - _T('A') + _T('a'));
        }
    }
    return result;
}

tstring replace(const tstring& text, const tstring& search, const tstring& replacement) {
    if (search.empty()) {
        return text;
    }
    tstring result;
    std::size_t from = 0;
    for (std::size_t hit; (hit = text.find(search, from)) != tstring::npos;
         from = hit + search.size()) {
        result.append(text, from, hit - from).append(replacement);
    }
    return result.append(text, from, tstring::npos);
}

tstring trim(const tstring& text, const tstring& set) {
    const auto first = text.find_first_not_of(set);
    if (first == tstring::npos) {
        return tstring();
    }
    return text.substr(first, text.find_last_not_of(set) - first + 1);
}

void split(std::vector<tstring>& result, const tstring& text, const tstring& delimiter,
           SplitType type) {
    if (text.empty() || delimiter.empty()) {
        return;
    }
    const auto append = [&](const tstring& token) {
        if (type == SplitType::KeepAll || token.size() >= 2) {
            result.push_back(token);
        }
    };
    std::size_t from = 0;
    for (std::size_t hit; (hit = text.find(delimiter, from)) != tstring::npos;
         from = hit + delimiter.size()) {
        append(text.substr(from, hit - from));
    }
    append(text.substr(from));
}

std::string toUtf8(const tstring& text) {
    return text.empty() ? std::string() : toMultiByte(text, CP_UTF8, 0);
}

tstring fromUtf8(const std::string& text) {
    return text.empty() ? tstring() : fromMultiByte(text, CP_UTF8, MB_ERR_INVALID_CHARS);
}

}  // namespace tstrings
