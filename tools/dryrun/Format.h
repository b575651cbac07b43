// The format of descriptions, which docs/dry-run.md describes. Errors are one line.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

using Json = nlohmann::json;

/// What is wrong with a description or a call, in one line.
class BadInput : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};
/// Throws it; `found` is by default the value, which may be long.
[[noreturn]] void refuse(const std::string& place, const std::string& expected, const Json& value,
                         std::string found = {});

/// The name among `known`, which is not empty, that is most like another one.
std::string nearestName(std::string_view name, const std::vector<std::string>& known);

/// Reads a description: what it gives has the members and types of the format. Throws BadInput for
/// anything else, such as a text of more than 64 MB or a name twice in one object; `name` is how
/// messages call the text.
Json parseDescription(const std::string& name, const std::string& bytes);
/// Throws BadInput for what is no description.
void expectDescription(const std::string& name, const Json& description);

/// An absolute path without a separator at its end; nothing for anything else.
std::optional<std::u16string> pathOf(std::string text);

/// The form of a path in which no call refuses it for its length.
std::u16string unlimitedPath(const std::u16string& path);

/// Up to `most` numbers of 16 bits with dots between; those left out at the end are 0.
std::optional<std::array<std::uint16_t, 4>> versionOf(const std::string& text, std::size_t most);

/// The type, such as DRIVE_FIXED, of a drive of a kind, such as "fixed".
std::optional<unsigned> driveTypeOf(const std::string& kind);

/// Returns the bytes of pairs of hexadecimal digits.
std::optional<std::vector<std::uint8_t>> bytesOf(const std::string& digits);
