// The texts that Windows keeps for statuses, as far as the machine has them.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace simulated {

/// The system's messages for FormatMessageW; each ends in CR LF.
std::map<std::uint32_t, std::u16string> systemTexts();

/// The string table of the installer's msimsg.dll.
std::map<std::uint32_t, std::u16string> installerTexts();

}  // namespace simulated
