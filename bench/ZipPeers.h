// Other libraries that read archives, to measure ours beside them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct ZipPeer {
    const char* name;
    /// Opens the archive, finds and reads one entry, closes it. The bytes read.
    std::uint64_t (*readOne)(const std::string& archive, const char* entry);
    /// Opens the archive, reads every entry in order, closes it. The bytes read.
    std::uint64_t (*readAll)(const std::string& archive);
};

/// Those that this build found; each reads the archive from memory.
std::vector<ZipPeer> zipPeers();
