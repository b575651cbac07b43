#include "simulated/machine/Names.h"

#include <algorithm>

namespace simulated {

bool NameLess::operator()(std::u16string_view a, std::u16string_view b) const {
    const std::size_t common = std::min(a.size(), b.size());
    for (std::size_t i = 0; i < common; ++i) {
        // Most names that are compared begin alike.
        if (a[i] == b[i]) {
            continue;
        }
        const char16_t left = upperCase(a[i]);
        const char16_t right = upperCase(b[i]);
        if (left != right) {
            return left < right;
        }
    }
    return a.size() < b.size();
}

std::vector<std::u16string> components(std::u16string_view path) {
    std::vector<std::u16string> pieces;
    while (!path.empty()) {
        const std::size_t end = std::min(path.find(u'\\'), path.size());
        if (end > 0) {
            pieces.emplace_back(path.substr(0, end));
        }
        path.remove_prefix(std::min(end + 1, path.size()));
    }
    return pieces;
}

std::uint32_t copyOut(std::u16string_view text, char16_t* buffer, std::uint32_t size) {
    const auto length = static_cast<std::uint32_t>(text.size());
    if (buffer == nullptr || size <= length) {
        return length + 1;
    }
    std::copy(text.begin(), text.end(), buffer);
    buffer[length] = u'\0';
    return length;
}

}  // namespace simulated
