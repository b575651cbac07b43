// Who runs this process, and security descriptors from their text form. Every failure is a
// SysError.
#pragma once

#include <vector>

#include "common/share/PmtError.h"
#include "common/share/tstring.h"

namespace security {

/// A security identifier, held by value.
class Sid {
public:
    /// From its string form, "S-1-5-18", or an alias, "BA".
    explicit Sid(const tstring& text);

    /// A copy of an identifier that Windows holds.
    static Sid fromPSID(PSID sid);

    /// The user of this process's token.
    static Sid processOwnerUser();

    /// The string form.
    tstring toString() const;

    /// The identifier for a Windows call; it lives as long as this object.
    PSID get() const { return const_cast<BYTE*>(bytes_); }

private:
    Sid() = default;
    void copyFrom(PSID sid, const SourceLocation& where);

    alignas(DWORD) BYTE bytes_[SECURITY_MAX_SID_SIZE] = {};
};

/// Whether the Administrators group is in this process's token, be it only to deny: the answer is
/// about membership, not about elevation.
bool isUserAdmin();

/// Whether this process is elevated; before Windows Vista, whether its user is an administrator.
bool isProcessElevated();

/// A self-relative security descriptor.
class SecurityDescriptor {
public:
    /// From its text in the security descriptor definition language.
    explicit SecurityDescriptor(const tstring& text);

    /// The descriptor for a Windows call; it lives as long as this object.
    PSECURITY_DESCRIPTOR get() const { return const_cast<BYTE*>(bytes_.data()); }

private:
    std::vector<BYTE> bytes_;
};

}  // namespace security
