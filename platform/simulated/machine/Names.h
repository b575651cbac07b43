// Containers of names, which Windows compares without case, and the reading of wide arguments.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "simulated/machine/Wide.h"

namespace simulated {

/// Orders names by their upper case, as the registry and directories do.
struct NameLess {
    using is_transparent = void;
    bool operator()(std::u16string_view a, std::u16string_view b) const;
};

template <class Value>
using NameMap = std::map<std::u16string, Value, NameLess>;

/// The pieces between backslashes; empty ones are left out.
std::vector<std::u16string> components(std::u16string_view path);

/// A NUL-terminated argument; a null pointer reads as empty.
inline std::u16string_view argument(const char16_t* text) {
    return text == nullptr ? std::u16string_view() : std::u16string_view(text);
}

/// Copies a text with its NUL as the functions that return a length do: the length without the NUL,
/// or, when the buffer is too small, the size that is needed with it. `size` counts characters.
std::uint32_t copyOut(std::u16string_view text, char16_t* buffer, std::uint32_t size);

}  // namespace simulated
