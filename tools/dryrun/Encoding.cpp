#include "dryrun/Encoding.h"

#include "simulated/machine/Wide.h"

namespace {

std::string fromUtf16(const std::string& bytes, std::size_t high, std::size_t low) {
    std::u16string units;
    for (std::size_t i = 2; i + 1 < bytes.size(); i += 2) {
        const auto byte = [&](std::size_t offset) {
            return static_cast<unsigned>(static_cast<unsigned char>(bytes[i + offset]));
        };
        units += static_cast<char16_t>(byte(high) << 8 | byte(low));
    }
    return simulated::toUtf8(units);
}

}  // namespace

std::string utf8Of(const std::string& bytes) {
    if (bytes.starts_with("\xFF\xFE")) {
        return fromUtf16(bytes, 1, 0);
    }
    if (bytes.starts_with("\xFE\xFF")) {
        return fromUtf16(bytes, 0, 1);
    }
    return bytes.starts_with("\xEF\xBB\xBF") ? bytes.substr(3) : bytes;
}
