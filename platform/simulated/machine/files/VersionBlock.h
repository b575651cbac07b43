// The version resource of a file, as Windows lays it out.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include <windef.h>
#include <winver.h>

namespace simulated {

/// The size of what precedes the VS_FIXEDFILEINFO: lengths, type, key and padding.
constexpr std::size_t kVersionHeadSize = 40;

/// A block with a VS_FIXEDFILEINFO of this file and product version, and no texts.
std::string versionBlock(const std::array<WORD, 4>& version);

/// The VS_FIXEDFILEINFO within a block: where it begins and how long it says it is, cut to what is
/// there. Null in a block that is none.
struct VersionValue {
    const char* data = nullptr;
    std::size_t size = 0;
};
VersionValue versionValue(std::string_view block);

/// "1.2.3.4", or a word for a block that is broken.
std::string describeVersion(std::string_view block);

}  // namespace simulated
