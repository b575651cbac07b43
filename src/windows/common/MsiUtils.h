// Products in the Windows Installer's list: their properties, and operations on them.
#pragma once

#include <windows.h>
#include <msi.h>

#include <map>
#include <memory>
#include <string>

#include "common/share/tstring.h"
#include "windows/common/Guid.h"

namespace msi {

/// Returns the installer's property `name` of a product, such as "LocalPackage". Throws msi::Error.
tstring getProductInfo(const Guid& productCode, const tstring& name);

/// The same, but returns an empty string on failure.
tstring tryGetProductInfo(const Guid& productCode, const tstring& name);

/// Returns whether the product is in the installer's list.
bool isProductInstalled(const Guid& productCode);

/// The result of an operation on a product.
class ActionStatus {
public:
    ActionStatus(const std::string& failure, UINT status) : failure_(failure), status_(status) {}

    /// Also true for the statuses that request a restart.
    bool succeeded() const;
    UINT status() const { return status_; }
    /// Returns the failed call, in UTF-8; empty after a success.
    const std::string& failure() const { return failure_; }

    /// Throws this status as msi::Error.
    [[noreturn]] void throwIt() const;

private:
    std::string failure_;
    UINT status_;
};

/// An operation on a product. Only one at a time: the installer's settings that `createState`
/// changes belong to the process.
struct ActionData {
    /// Receives the installer's messages during the operation, on the installer's threads.
    class Callback {
    public:
        virtual ~Callback() = default;
        /// `type` is the message type (INSTALLMESSAGE_...), `flags` are the buttons and icon of the
        /// box.
        virtual void onMessage(UINT type, UINT flags, const tstring& text) = 0;
    };

    /// Changes the installer's settings as long as it exists.
    class State {
    public:
        virtual ~State() = default;
    };

    /// Sets the level, log and message handler of the installer.
    std::unique_ptr<State> createState() const;

    /// Returns the extra arguments, then each property as KEY=value, quoted if need be.
    tstring commandLine() const;

    /// Removes the product.
    ActionStatus configure(const tstring& arguments) const;

    std::map<tstring, tstring> properties;
    tstring extraArguments;
    INSTALLUILEVEL uiLevel = INSTALLUILEVEL_NONE;
    Callback* callback = nullptr;  ///< may be null; not owned
    tstring logFile;               ///< a verbose log; empty for none
    Guid productCode;
};

}  // namespace msi

/// Removes a product.
class ProductUninstaller {
public:
    virtual ~ProductUninstaller() = default;
    /// Throws msi::Error.
    virtual void uninstall(const msi::ActionData& data) = 0;
};

/// Returns the uninstaller of every product without one of its own: the Windows Installer.
ProductUninstaller& defaultUninstaller();
