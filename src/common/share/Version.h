// Version numbers: a fixed count of components, and the text that they were made of.
#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "common/share/PmtError.h"
#include "common/share/tstring.h"

namespace VersionDetails {

/// One decimal number of the 32-bit signed range out of a whole token: digits only. Throws
/// std::runtime_error for anything else.
std::int32_t parseComponent(std::basic_string_view<TCHAR> token);

/// The same without a throw: whether the token is a number, which then is in `component`.
bool tryParseComponent(std::basic_string_view<TCHAR> token, std::int32_t& component);

/// Reads dotted numbers ("2.8.51.9") and stops silently at the first token that is none.
struct Parser {
    static constexpr const char* kInitName =
        "VersionDetails::Base<5,struct VersionDetails::Parser,4>::init";

    /// `count` takes in the room behind `destination` and gives back how many numbers were read.
    /// Returns how many characters of `text` were not consumed. Throws std::length_error without
    /// any room.
    std::size_t operator()(const tstring& text, std::int32_t* destination,
                           std::size_t& count) const;

    /// Whether that many components make a version.
    static bool isPrecise(const std::int32_t*, std::size_t) { return true; }
};

[[noreturn]] void throwUnrecognized(const tstring& text, std::size_t unrecognized,
                                    const SourceLocation& where);
[[noreturn]] void throwTooShort(const tstring& text, const SourceLocation& where);

/// `N` components, read by `TextParser`, which must find `M` of them at least. Versions are
/// compared by their components, from the first to the last; the text takes no part.
template <std::size_t N, class TextParser, std::size_t M>
class Base {
public:
    static constexpr std::size_t kComponents = N;

    /// All components 0, no text.
    Base() = default;

    /// Makes this value the version that `text` spells; what the text doesn't give is 0. Throws
    /// std::runtime_error if it spells none, and then the value is of no use.
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

    /// The text that `init` was given, character for character.
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
