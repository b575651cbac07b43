// Products that the Windows Installer has installed: what it knows of one, and an operation on one.
#pragma once

#include <windows.h>
#include <msi.h>

#include <map>
#include <memory>
#include <string>

#include "common/share/tstring.h"
#include "windows/common/Guid.h"

namespace msi {

/// What the installer knows of a product under a name such as "LocalPackage". Throws msi::Error.
tstring getProductInfo(const Guid& productCode, const tstring& name);

/// The same, but empty for every failure.
tstring tryGetProductInfo(const Guid& productCode, const tstring& name);

/// Whether the installer knows the product.
bool isProductInstalled(const Guid& productCode);

/// How an operation on a product ended.
class ActionStatus {
public:
    ActionStatus(const std::string& failure, UINT status) : failure_(failure), status_(status) {}

    /// Also for the statuses that ask for a restart.
    bool succeeded() const;
    UINT status() const { return status_; }
    /// What failed, in UTF-8; empty after a success.
    const std::string& failure() const { return failure_; }

    /// Throws this status as msi::Error.
    [[noreturn]] void throwIt() const;

private:
    std::string failure_;
    UINT status_;
};

/// One operation on one product. Not for two at a time: the installer's settings that `createState`
/// changes belong to the process.
struct ActionData {
    /// Receives the installer's messages during the operation, on the installer's threads.
    class Callback {
    public:
        virtual ~Callback() = default;
        /// `type` is the message type (INSTALLMESSAGE_...), `flags` the boxes and icons asked for.
        virtual void onMessage(UINT type, UINT flags, const tstring& text) = 0;
    };

    /// Keeps the installer's settings changed for as long as it lives.
    class State {
    public:
        virtual ~State() = default;
    };

    /// Sets level, log and message handler of the installer.
    std::unique_ptr<State> createState() const;

    /// The extra arguments, then each property as KEY=value, quoted where needed.
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

/// The uninstaller of every product that has none of its own: the Windows Installer.
ProductUninstaller& defaultUninstaller();
