// The token of the simulated process, and the binary and text notations of identifiers and
// descriptors.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace simulated {

/// A group of a token. The identifier is written "S-1-..." or as an alias such as "BA".
struct TokenGroup {
    std::u16string sid;
    std::uint32_t attributes = 0x7;  ///< mandatory, enabled, by default; 0x10 is "for deny only"
};

/// The token of the process: by default an elevated administrator.
struct Security {
    std::u16string user = u"S-1-5-21-1004336348-1177238915-682003330-1001";
    std::vector<TokenGroup> groups = {{u"WD"}, {u"BA", 0xF}, {u"BU"}, {u"S-1-5-11"}};
    bool elevated = true;

    /// Makes the user the account LocalSystem.
    void becomeLocalSystem();
    /// Makes the user an administrator with a filtered token: the group only denies.
    void becomeFilteredAdministrator();
    void becomeOrdinaryUser();

    bool isLocalSystem() const;
    /// Whether the token may write where only administrators may: in HKLM, below the folders of
    /// Windows and of programs, and to the list of moves at the restart.
    bool administers() const;
};

using Bytes = std::vector<std::uint8_t>;

/// Returns the binary SID for "S-1-..." or an alias; nothing for any other text.
std::optional<Bytes> parseSid(std::u16string_view text);
/// Returns "S-1-..." for a valid binary SID.
std::u16string formatSid(const void* sid);

/// Returns the self-relative descriptor for an SDDL text: "D:" and entries that allow.
Bytes parseDescriptor(std::u16string_view text);

/// Returns the SDDL text of a descriptor that `parseDescriptor` made: "D:(A;OICI;FA;;;SY)".
std::string describeDescriptor(std::span<const std::uint8_t> descriptor);

}  // namespace simulated
