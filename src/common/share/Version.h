// Version numbers: a fixed number of components and the string that they were parsed from.
#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "common/share/PmtError.h"
#include "common/share/tstring.h"

namespace VersionDetails {

/// Parses a whole token as a decimal number of 32 signed bits: digits only. Throws
/// std::runtime_error for anything else.
std::int32_t parseComponent(std::basic_string_view<TCHAR> token);

/// The same without throwing: returns whether the token is a number and, if so, stores it in
/// `component`.
bool tryParseComponent(std::basic_string_view<TCHAR> token, std::int32_t& component);

/// Parses dotted numbers ("2.8.51.9") and stops silently at the first token that is not a number.
struct Parser {
    static constexpr const char* kInitName =
        "VersionDetails::Base<5,struct VersionDetails::Parser,4>::init";

    /// `count` is the capacity of `destination` on entry and the number of components parsed on
    /// return. Returns how many characters of `text` were not consumed. Throws std::length_error if
    /// the capacity is 0.
    std::size_t operator()(const tstring& text, std::int32_t* destination,
                           std::size_t& count) const;

    /// Returns whether that many components make a version.
    static bool isPrecise(const std::int32_t*, std::size_t) { return true; }
};

[[noreturn]] void throwUnrecognized(const tstring& text, std::size_t unrecognized,
                                    const SourceLocation& where);
[[noreturn]] void throwTooShort(const tstring& text, const SourceLocation& where);

/// `N` components, parsed by `TextParser`, which has to find at least `M` of them. Versions are
/// compared by their components, from the first to the last; the string is ignored.
template <std::size_t N, class TextParser, std::size_t M>
class Base {
public:
    static constexpr std::size_t kComponents = N;

    /// All components are 0 and the string is empty.
    Base() = default;

    /// Parses `text` into this version; components that it doesn't have become 0. Throws
    /// std::runtime_error if it is not a version; the value is unspecified then.
    void init(const tstring& text) {
        components_.fill(0);
        sourceText_.clear();
        std::size_t count = N;
        const std::size_t left = TextParser()(text, components_.data(), count);
        if (left != 0) {
            throwUnrecognized(text, left, TextParser::kInitName);
        }
        if (count < M || !TextParser::isPrecise(components_.data(), count)) {
            throwTooShort(text, TextParser::kInitName);
        }
        sourceText_ = text;
    }

    /// Returns the string passed to `init`, unchanged.
    const tstring& sourceText() const { return sourceText_; }

    std::int32_t operator[](std::size_t index) const { return components_[index]; }
    std::int32_t& operator[](std::size_t index) { return components_[index]; }

    friend bool operator==(const Base& a, const Base& b) { return a.components_ == b.components_; }
    friend std::strong_ordering operator<=>(const Base& a, const Base& b) {
        return a.components_ <=> b.components_;
    }

private:
    std::array<std::int32_t, N> components_{};
    tstring sourceText_;
};

}  // namespace VersionDetails
