// The version resource of an executable file.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "common/share/tstring.h"

/// The whole version information block of a file.
class VersionResource {
public:
    /// Reads the block. Throws SysError, also if the file has none.
    explicit VersionResource(const tstring& path);

    const tstring& path() const { return path_; }
    const std::vector<BYTE>& block() const { return block_; }

private:
    tstring path_;
    std::vector<BYTE> block_;
};

namespace FileUtils {

/// Returns the four numbers of the file version, the highest first. Throws SysError or
/// std::runtime_error.
std::array<std::uint16_t, 4> getFileVersion(const tstring& path);

}  // namespace FileUtils
