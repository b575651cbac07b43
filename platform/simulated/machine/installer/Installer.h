// The Windows Installer of the machine: its products and their cached packages, the sessions of
// running installations, the handles that a process holds, and the installer's settings of it.
#pragma once

#include <windef.h>
#include <msi.h>
#include <msiquery.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "simulated/machine/Names.h"
#include "simulated/machine/installer/Package.h"
#include "simulated/machine/installer/ProductList.h"

namespace simulated {

/// A running installation, as its custom actions see it.
struct InstallSession {
    std::map<std::u16string, std::u16string> properties = {};
    std::set<MSIRUNMODE> modes = {};
    /// In a deferred session an action can read the properties CustomActionData, ProductCode and
    /// UserSID and the modes 16 to 18 alone; it can set no property and open no database.
    bool deferred = false;
    Package database = {};
};

/// One call of MsiConfigureProductExW, with the installer's settings that it ran under.
struct ConfigureCall {
    std::u16string product;
    int level;
    INSTALLSTATE state;
    std::u16string commandLine;
    INSTALLUILEVEL uiLevel;
    std::u16string logFile;
};

/// An object that an MSIHANDLE refers to.
class MsiObject {
public:
    virtual ~MsiObject() = default;
    virtual std::string description() const = 0;
};

class Installer {
public:
    /// The installer's settings of a process.
    struct ProcessSettings {
        INSTALLUILEVEL uiLevel = INSTALLUILEVEL_DEFAULT;
        INSTALLUI_HANDLERW handler = nullptr;
        DWORD handlerFilter = 0;
        LPVOID handlerContext = nullptr;
        DWORD logMode = 0;
        std::u16string logFile;
    };

    // The machine's products.

    /// Installs a product; the installer enumerates products in the order in which they were added.
    /// The reference is valid until the product is removed.
    ///
    ///     machine.installer.addProduct({u"{…}", {{u"VersionString", u"1.2"}}})
    ///         .package.table(u"Property", {u"Property", u"Value"})
    ///         .row({u"INSTALLDIR", u"C:\\x"});
    Product& addProduct(Product product) { return products_.add(std::move(product)); }

    /// Removes a product as an uninstallation does; returns false if it isn't installed.
    bool removeProduct(std::u16string_view code) { return products_.remove(code); }

    /// Returns the product with this code, or null.
    Product* product(std::u16string_view code) { return products_.find(code); }

    const ProductList& products() const { return products_; }

    /// Puts a package at a path that belongs to no product.
    Package& addPackage(const std::u16string& path);

    /// Returns the package at a path, or null: a product's cached package or one of `addPackage`.
    /// Paths are compared without case.
    const Package* packageAt(std::u16string_view path) const;

    // Running installations. A session exists until the restart; its handle is the argument of an
    // action.

    MSIHANDLE openSession(std::map<std::u16string, std::u16string> properties = {});
    /// Opens the session of a deferred action in mode 16, with "CustomActionData" as its input.
    MSIHANDLE openDeferredSession(const std::u16string& customActionData);
    InstallSession& session(MSIHANDLE handle);
    /// Returns a property of a session; an empty string if it isn't set.
    std::u16string property(MSIHANDLE session, const std::u16string& name) const;

    /// The lines that the installer's log received, of all sessions.
    const std::vector<std::u16string>& log() const { return log_; }

    // Operations on products.

    /// Called by MsiConfigureProductExW, whose status it returns. Without it a product that shall
    /// be absent is removed, and the status is 0.
    std::function<UINT(const ConfigureCall&)> onConfigure;
    /// Sends a message to the handler that the process has set; returns 0 if no handler takes it.
    int sendMessage(UINT type, const std::u16string& text) const;

    // The process.

    const ProcessSettings& settings() const { return settings_; }

    /// Describes each open handle except those of sessions.
    std::vector<std::string> openHandles() const;

    /// Ends the process: closes its handles and resets its settings.
    void endProcess();
    /// Restarts Windows: ends the sessions.
    void restart();
    /// Appends the facts that outlive a process, one a line.
    void describe(std::vector<std::string>& facts) const;

    // For Windows' functions alone.

    /// Whether MsiEnumProductsW accepts an index. Windows takes 0 at any time, and otherwise the
    /// index that follows the last one that it answered in this process.
    bool acceptsProductIndex(DWORD index) const { return index == 0 || index == nextProduct_; }
    /// Records that the product at this index was handed out.
    void passProduct(DWORD index) { nextProduct_ = index + 1; }

    MSIHANDLE add(std::shared_ptr<MsiObject> object);
    /// Closes a handle; returns false if it isn't open. The session of a closed handle exists on.
    bool close(MSIHANDLE handle);
    template <class T>
    std::shared_ptr<T> find(MSIHANDLE handle) const {
        const auto found = handles_.find(handle);
        return found == handles_.end() ? nullptr : std::dynamic_pointer_cast<T>(found->second);
    }
    /// Returns the session of an open handle, or null.
    InstallSession* openSessionOf(MSIHANDLE handle);
    ProcessSettings& settings() { return settings_; }
    void addLogLine(std::u16string line) { log_.push_back(std::move(line)); }
    UINT configure(const ConfigureCall& call);

private:
    ProductList products_;
    DWORD nextProduct_ = 0;
    NameMap<Package> packages_;  // by path
    std::map<MSIHANDLE, std::unique_ptr<InstallSession>> sessions_;
    std::set<MSIHANDLE> closedSessions_;
    std::map<MSIHANDLE, std::shared_ptr<MsiObject>> handles_;
    MSIHANDLE nextHandle_ = 1;
    std::vector<std::u16string> log_;
    ProcessSettings settings_;
};

}  // namespace simulated
