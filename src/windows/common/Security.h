// The user and rights of this process, and security descriptors in string form. Every failure
// throws SysError.
#pragma once

#include <vector>

#include "common/share/PmtError.h"
#include "common/share/tstring.h"

namespace security {

/// A security identifier, stored by value.
class Sid {
public:
    /// Parses the string form, "S-1-5-18", or an alias, "BA".
    explicit Sid(const tstring& text);

    /// Copies an identifier that Windows owns.
    static Sid fromPSID(PSID sid);

    /// Returns the user of this process's token.
    static Sid processOwnerUser();

    /// Returns the string form.
    tstring toString() const;

    /// Returns the identifier for a Windows call; valid as long as this object.
    PSID get() const { return const_cast<BYTE*>(bytes_); }

private:
    Sid() = default;
    void copyFrom(PSID sid, const SourceLocation& where);

    alignas(DWORD) BYTE bytes_[SECURITY_MAX_SID_SIZE] = {};
};

/// Returns whether the Administrators group is in this process's token, even if only to deny: about
/// membership, not about elevation.
bool isUserAdmin();

/// Returns whether this process is elevated; before Windows Vista, whether its user is an
/// administrator.
bool isProcessElevated();

/// A self-relative security descriptor.
class SecurityDescriptor {
public:
    /// Parses a string in the security descriptor definition language.
    explicit SecurityDescriptor(const tstring& text);

    /// Returns the descriptor for a Windows call; valid as long as this object.
    PSECURITY_DESCRIPTOR get() const { return const_cast<BYTE*>(bytes_.data()); }

private:
    std::vector<BYTE> bytes_;
};

}  // namespace security
