// The session that the Windows Installer passes to a custom action.
#pragma once

#include <windows.h>
#include <msi.h>
#include <msiquery.h>

#include "common/share/tstring.h"

namespace msi {

/// Returns a property of the session; empty if it isn't set. Throws msi::Error.
tstring getProperty(MSIHANDLE session, const tstring& name);

/// The session as seen by an action with a status of its own.
class CA {
public:
    virtual ~CA() = default;

    /// Empty if the property isn't set. Throws msi::Error.
    virtual tstring getProperty(const tstring& name) const = 0;

    /// Throws std::invalid_argument for an empty value, msi::Error if the installer refuses.
    virtual void setProperty(const tstring& name, const tstring& value) = 0;

    /// Returns one character for each of the installer's run modes 0 to 18, "1" where it is set.
    virtual tstring runModes() const = 0;
};

/// The session of a handle, which the installer owns.
class CAImpl : public CA {
public:
    /// `status` is the future return value of the action; it must outlive this object.
    CAImpl(MSIHANDLE session, UINT& status) : session_(session), status_(status) {}

    tstring getProperty(const tstring& name) const override;
    void setProperty(const tstring& name, const tstring& value) override;
    tstring runModes() const override;

private:
    MSIHANDLE session_;
    [[maybe_unused]] UINT& status_;  ///< no operation sets it
};

}  // namespace msi
