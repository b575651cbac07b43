// Who the simulated process runs as, and the binary and text forms of identifiers and descriptors.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace simulated {

/// A group of a token. The identifier is a text of the S-1-... form or an alias such as "BA".
struct TokenGroup {
    std::u16string sid;
    std::uint32_t attributes = 0x7;  ///< mandatory, enabled, by default; 0x10 is "for deny only"
};

/// The token of the process: by default an elevated administrator.
struct Security {
    std::u16string user = u"S-1-5-21-1004336348-1177238915-682003330-1001";
    std::vector<TokenGroup> groups = {{u"WD"}, {u"BA", 0xF}, {u"BU"}, {u"S-1-5-11"}};
    bool elevated = true;

    /// The account LocalSystem.
    void becomeLocalSystem();
    /// An administrator whose token is filtered: the group is there for denying only.
    void becomeFilteredAdministrator();
    void becomeOrdinaryUser();

    bool isLocalSystem() const;
    /// Whether the token may write where an administrator may and an ordinary user mayn't: in HKLM,
    /// below Windows' and the programs' folders, and what is put off until the restart.
    bool administers() const;
};

using Bytes = std::vector<std::uint8_t>;

/// A binary SID from "S-1-..." or an alias; none when the text is neither.
std::optional<Bytes> parseSid(std::u16string_view text);
/// "S-1-..." of a valid binary SID.
std::u16string formatSid(const void* sid);

/// A self-relative descriptor from its SDDL text: "D:" and entries that allow.
Bytes parseDescriptor(std::u16string_view text);

/// The SDDL text of a descriptor that `parseDescriptor` made, for comparing: "D:(A;OICI;FA;;;SY)".
std::string describeDescriptor(std::span<const std::uint8_t> descriptor);

}  // namespace simulated
