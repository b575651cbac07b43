// The session that the Windows Installer gives to a custom action.
#pragma once

#include <windows.h>
#include <msi.h>
#include <msiquery.h>

#include "common/share/tstring.h"

namespace msi {

/// A property of the session; one that isn't set reads as empty. Throws msi::Error.
tstring getProperty(MSIHANDLE session, const tstring& name);

/// The session as an action with a status of its own sees it.
class CA {
public:
    virtual ~CA() = default;

    /// One that isn't set reads as empty. Throws msi::Error.
    virtual tstring getProperty(const tstring& name) const = 0;

    /// Throws std::invalid_argument for an empty value, msi::Error if the installer refuses.
    virtual void setProperty(const tstring& name, const tstring& value) = 0;

    /// One character for each of the installer's run modes 0 to 18, "1" where it is set.
    virtual tstring runModes() const = 0;
};

/// The session behind a handle, which stays the installer's.
class CAImpl : public CA {
public:
    /// `status` is what the action will return; it must outlive this object.
    CAImpl(MSIHANDLE session, UINT& status) : session_(session), status_(status) {}

    tstring getProperty(const tstring& name) const override;
    void setProperty(const tstring& name, const tstring& value) override;
    tstring runModes() const override;

private:
    MSIHANDLE session_;
    [[maybe_unused]] UINT& status_;  ///< no operation sets it
};

}  // namespace msi
