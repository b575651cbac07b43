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

namespace simulated {

/// An installed product.
struct Product {
    std::u16string code;  ///< in registry form, with braces
    /// What MsiGetProductInfoW tells; an attribute that the installer knows and that isn't here
    /// reads as empty. Without "LocalPackage" the installer chooses the cached package's path.
    std::map<std::u16string, std::u16string> properties = {};
    std::u16string upgradeCode = {};  ///< empty: the product has none
    Package package = {};             ///< the cached package
};

/// A running installation, as its custom actions see it.
struct InstallSession {
    std::map<std::u16string, std::u16string> properties = {};
    std::set<MSIRUNMODE> modes = {};
    /// A deferred session shows its actions no more than the properties CustomActionData,
    /// ProductCode and UserSID and the modes 16 to 18, and lets them set and query nothing.
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

/// An object behind an MSIHANDLE.
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

    /// Installs a product; the installer enumerates products in the order of their adding. The
    /// reference is good until the product is removed.
    ///
    ///     machine.installer.addProduct({u"{…}", {{u"VersionString", u"1.2"}}})
    ///         .package.table(u"Property", {u"Property", u"Value"})
    ///         .row({u"INSTALLDIR", u"C:\\x"});
    Product& addProduct(Product product);

    /// Removes a product as an uninstallation does; false if it isn't installed.
    bool removeProduct(const std::u16string& code);

    /// The product of a code, which has no case; null if it isn't installed.
    Product* product(const std::u16string& code);

    /// The installed products, in the installer's order.
    const std::vector<std::unique_ptr<Product>>& products() const { return products_; }

    /// Puts a package at a path that belongs to no product.
    Package& addPackage(const std::u16string& path);

    /// The package at a path, which has no case: a product's cached one or one of `addPackage`.
    const Package* packageAt(const std::u16string& path) const;

    // Running installations. A session lives until the restart; its handle is the one that an
    // action gets.

    MSIHANDLE openSession(std::map<std::u16string, std::u16string> properties = {});
    /// A session of a deferred action, with its one readable input; its mode is 16.
    MSIHANDLE openDeferredSession(const std::u16string& customActionData);
    InstallSession& session(MSIHANDLE handle);
    /// A session's property; empty if it isn't set.
    std::u16string property(MSIHANDLE session, const std::u16string& name) const;

    /// The lines that the installer's log received, of all sessions.
    const std::vector<std::u16string>& log() const { return log_; }

    // Operations on products.

    /// Decides what MsiConfigureProductExW does to a product and gives its status. Without one the
    /// product goes if it is to be absent, and the status is 0.
    std::function<UINT(const ConfigureCall&)> onConfigure;
    /// Sends a message to the handler that the process has set; 0 if none wants it.
    int sendMessage(UINT type, const std::u16string& text) const;

    // The process.

    const ProcessSettings& settings() const { return settings_; }

    /// Describes each open handle but those of sessions.
    std::vector<std::string> openHandles() const;

    /// The end of a process: its handles and settings go.
    void endProcess();
    /// A restart: the sessions go too.
    void restart();
    /// The facts that outlive a process, one a line.
    void describe(std::vector<std::string>& facts) const;

    // For the calls alone.

    MSIHANDLE add(std::shared_ptr<MsiObject> object);
    /// Closes a handle, also that of a session, which stays; false if it isn't open.
    bool close(MSIHANDLE handle);
    template <class T>
    std::shared_ptr<T> find(MSIHANDLE handle) const {
        const auto found = handles_.find(handle);
        return found == handles_.end() ? nullptr : std::dynamic_pointer_cast<T>(found->second);
    }
    /// The session behind an open handle, or null.
    InstallSession* openSessionOf(MSIHANDLE handle);
    ProcessSettings& settings() { return settings_; }
    void addLogLine(std::u16string line) { log_.push_back(std::move(line)); }
    UINT configure(const ConfigureCall& call);

private:
    std::vector<std::unique_ptr<Product>> products_;
    std::size_t addedProducts_ = 0;
    NameMap<Package> packages_;  // by path
    std::map<MSIHANDLE, std::unique_ptr<InstallSession>> sessions_;
    std::set<MSIHANDLE> closedSessions_;
    std::map<MSIHANDLE, std::shared_ptr<MsiObject>> handles_;
    MSIHANDLE nextHandle_ = 1;
    std::vector<std::u16string> log_;
    ProcessSettings settings_;
};

/// Whether two product or upgrade codes are the same GUID.
bool sameCode(std::u16string_view a, std::u16string_view b);

}  // namespace simulated
