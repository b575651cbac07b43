// A machine with products of the family, as their installers leave them, and the setup manager run
// on it. Products are written as "r64:1.8.0_45": QVR (r), QVK (k) or graphics (g), bits, version.
// The same text is the same product, in "C:\r64-1.8.0_45".
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "builders/Product.h"
#include "simulated/machine/Machine.h"
#include "simulated/machine/Wide.h"
#include "support/LogReader.h"
#include "windows/installerdll/NorvSetupManager.h"

namespace family {

using simulated::fromUtf8;
using simulated::toUtf8;
using simulated::View;
using Strings = std::vector<std::string>;

inline const tstring kVendor = u"HKLM\\Software\\Halvorex";
inline const tstring kClasses = u"HKLM\\Software\\Classes";
inline const tstring kEnvironment =
    u"HKLM\\SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment";
inline const tstring kAts =
    u"HKLM\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Accessibility\\ATs";
inline const tstring kMenu = u"C:\\ProgramData\\Microsoft\\Windows\\Start Menu\\Programs";

/// The product without one of its files.
Product without(Product product, const tstring& file);

struct Family {
    explicit Family(const std::string& installed, bool is64BitSystem = true);
    explicit Family(const std::vector<Product>& installed);

    /// One of those that are listed.
    InstalledNorv product(const std::string& text) const;
    bool update(UpdateAction action = UpdateAction::None, const std::string& text = "");
    /// What one manager does of an update that changes nothing; a failure is logged.
    void handle(NorvSetupManager::Callback&& manager);

    /// What is below a key: "[name=text|...]{subkey[...]{...} subkey}", with "%=" for a text that
    /// expands, without what installers write into version keys. "gone" without the key.
    std::string tree(const tstring& key, View view = View::Bits64) const;
    std::string value(const tstring& key, const tstring& name) const;
    std::string files(const tstring& directory) const;  ///< also those below, between "|"
    std::string catchPoints() const;  ///< what has logged an error, each followed by a blank

    simulated::Machine machine;
    simulated::Running running{machine};
    InstallConfigData config;
    std::vector<InstalledNorv> listed;  ///< as detection finds them
};

}  // namespace family
