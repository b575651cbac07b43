#include "common/share/Version.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <vector>

#include "common/share/Text.h"
#include "common/share/tstrings.h"

namespace VersionDetails {

bool tryParseComponent(std::basic_string_view<TCHAR> token, std::int32_t& component) {
    constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max();
    std::int32_t number = 0;
    for (const TCHAR c : token) {
        if (c < _T('0') || c > _T('9')) {
            return false;
        }
        const std::int32_t digit = c - _T('0');
        if (number > (kMax - digit) / 10) {
            return false;
        }
        number = number * 10 + digit;
    }
    if (token.empty()) {
        return false;
    }
    component = number;
    return true;
}

std::int32_t parseComponent(std::basic_string_view<TCHAR> token) {
    std::int32_t component = 0;
    if (!tryParseComponent(token, component)) {
        raise<std::runtime_error>("VersionDetails::parseComponent",
                                  Text() << _T("Failed to recognize version component in [")
                                         << tstring(token) << _T("]"));
    }
    return component;
}

std::size_t Parser::operator()(const tstring& text, std::int32_t* destination,
                               std::size_t& count) const {
    if (count == 0) {
        raise<std::length_error>("VersionDetails::Parser::operator ()",
                                 "Destination buffer can't be empty");
    }
    std::vector<tstring> tokens;
    tstrings::split(tokens, text, _T("."));
    const std::size_t limit = std::min(count, tokens.size());
    std::size_t consumed = 0;
    std::size_t read = 0;
    for (; read < limit && tryParseComponent(tokens[read], destination[read]); ++read) {
        const bool hasNext = read + 1 < limit;
        consumed += tokens[read].size() + (hasNext ? 1 : 0);
    }
    if (consumed > text.size()) {
        raise<std::runtime_error>(
            "VersionDetails::Parser::operator ()",
            Text() << _T("[") << consumed << _T(" < ") << text.size() << _T("] failed"));
    }
    count = read;
    // A trailing dot does not start a number: it belongs to the part that was not recognised.
    if (!tokens.empty() && tokens.back().empty() && consumed == text.size()) {
        --consumed;
    }
    return text.size() - consumed;
}

void throwUnrecognized(const tstring& text, std::size_t unrecognized, const SourceLocation& where) {
    raise<std::runtime_error>(where,
                              Text() << _T("Failed to parse [") << text
                                     << _T("] version string completely. Number of unrecognized ")
                                        _T("characters is ")
                                     << unrecognized);
}

void throwTooShort(const tstring& text, const SourceLocation& where) {
    raise<std::runtime_error>(where, Text() << _T("Failed to parse [") << text
                                            << _T("] version string. The string is too short"));
}

}  // namespace VersionDetails
