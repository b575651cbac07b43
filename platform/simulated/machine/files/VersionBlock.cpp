#include "simulated/machine/files/VersionBlock.h"

#include <windows.h>

#include <algorithm>
#include <cstring>

namespace simulated {

namespace {

/// The head of VS_VERSIONINFO: three numbers, the key and padding to 32 bits.
struct VersionHead {
    WORD length;
    WORD valueLength;
    WORD type;
    WCHAR key[16];
    WORD padding;
};
static_assert(sizeof(VersionHead) == kVersionHeadSize);

constexpr std::u16string_view kKey = u"VS_VERSION_INFO";

}  // namespace

std::string versionBlock(const std::array<WORD, 4>& version) {
    VersionHead head = {};
    VS_FIXEDFILEINFO value = {};
    head.length = sizeof(head) + sizeof(value);
    head.valueLength = sizeof(value);
    kKey.copy(head.key, kKey.size());
    value.dwSignature = VS_FFI_SIGNATURE;
    value.dwStrucVersion = VS_FFI_STRUCVERSION;
    value.dwFileVersionMS = static_cast<DWORD>(version[0]) << 16 | version[1];
    value.dwFileVersionLS = static_cast<DWORD>(version[2]) << 16 | version[3];
    value.dwProductVersionMS = value.dwFileVersionMS;
    value.dwProductVersionLS = value.dwFileVersionLS;
    std::string block(sizeof(head) + sizeof(value), '\0');
    std::memcpy(block.data(), &head, sizeof(head));
    std::memcpy(block.data() + sizeof(head), &value, sizeof(value));
    return block;
}

VersionValue versionValue(std::string_view block) {
    VersionHead head;
    if (block.size() < sizeof(head)) {
        return {};
    }
    std::memcpy(&head, block.data(), sizeof(head));
    if (std::u16string_view(head.key, kKey.size()) != kKey || head.key[kKey.size()] != 0) {
        return {};
    }
    const std::size_t room = std::min<std::size_t>(head.length, block.size());
    const std::size_t most = room < sizeof(head) ? 0 : room - sizeof(head);
    return {block.data() + sizeof(head), std::min<std::size_t>(head.valueLength, most)};
}

std::string describeVersion(std::string_view block) {
    VS_FIXEDFILEINFO value;
    const VersionValue found = versionValue(block);
    if (found.size < sizeof(value)) {
        return "broken";
    }
    std::memcpy(&value, found.data, sizeof(value));
    std::string text;
    for (const DWORD part : {value.dwFileVersionMS, value.dwFileVersionLS}) {
        text += text.empty() ? "" : ".";
        text += std::to_string(part >> 16) + "." + std::to_string(part & 0xffff);
    }
    return text;
}

}  // namespace simulated
