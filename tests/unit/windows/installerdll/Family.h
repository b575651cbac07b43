// A machine with products of the family, as their installers leave them, and the managers of shared
// state run on it.
//
//     Family pc({qvr("17"), qvk("1.8.0_60", 32)});
//     pc.handle(RegistryManager());
//     EXPECT_EQ(pc.value(kVendor + u"\\QVR", u"CurrentVersion"), "17");
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
inline const char* const kNone = "none";

/// The product with Zepmark, or without one of its files.
Product withZepmark(Product product);
Product without(Product product, const tstring& file);

struct Family {
    explicit Family(const std::vector<Product>& installed, bool is64BitSystem = true);

    /// Runs all managers for a change of one of the listed products.
    bool update(UpdateAction action, const Product& changed);
    /// Runs one manager for an update that changes nothing; a failure is logged.
    void handle(NorvSetupManager::Callback&& manager);

    /// Returns the paths of all subkeys; kNone if there is no such key.
    Strings subkeys(const tstring& key, View view = View::Bits64) const;
    std::string value(const tstring& key, const tstring& name, View view = View::Bits64) const;
    /// Returns the paths of all files in a directory.
    Strings files(const tstring& directory) const;
    /// Returns the content of a file; kNone if there is none.
    std::string content(const tstring& path) const;
    /// Returns the functions that logged an error.
    Strings failedFunctions() const;

    simulated::Machine machine;
    simulated::Running running{machine};
    InstallConfigData config;
    std::vector<InstalledNorv> listed;  ///< as detection returns them
};

}  // namespace family
