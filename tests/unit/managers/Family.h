// A machine with products of the family, as the installer leaves them, and the setup manager run on
// it. Products are written as "r64:1.8.0_45": QVR (r), QVK (k) or graphics (g), bits, version. The
// same text is the same product; "-" is none.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "common/windows/WinErrorHandling.h"
#include "simulated/machine/Machine.h"
#include "simulated/machine/Wide.h"
#include "support/LogReader.h"
#include "windows/installerdll/NorvSetupManager.h"

namespace family {

using simulated::fromUtf8;
using simulated::toUtf8;
using simulated::View;
using Strings = std::vector<std::string>;

InstalledNorv product(std::string_view text);
std::vector<InstalledNorv> products(std::string_view texts);  ///< between blanks
std::string name(const InstalledNorv* product);

inline const tstring kVendor = _T("HKLM\\Software\\Halvorex");
inline const tstring kEnvironment =
    _T("HKLM\\SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment");
inline const tstring kAts =
    _T("HKLM\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Accessibility\\ATs");
inline const tstring kMenu = _T("C:\\ProgramData\\Microsoft\\Windows\\Start Menu\\Programs");

struct Family {
    explicit Family(std::string_view installed = "-");

    /// Lays down what a product's installer does, files and version key, and lists it. Every file
    /// of the product holds the product's text.
    void put(std::string_view text);
    bool update(UpdateAction action, std::string_view text);
    /// "+r64:17 -r64:17 ...": each product comes or goes, and the update runs.
    void run(std::string_view steps);
    /// What one manager does of an update that changes nothing.
    void handle(NorvSetupManager::Callback& manager);

    /// The subkeys of a key: "QVR=17{11 17} Tool", with "CurrentVersion" where there is one. "gone"
    /// without the key.
    std::string tree(const tstring& key, View view = View::Bits64) const;
    std::string value(const tstring& key, const tstring& name, View view = View::Bits64) const;
    std::string values(const tstring& key) const;  ///< "name=text|..."
    /// Names of the files of a directory, without those below, between "|".
    std::string files(const tstring& directory) const;
    Strings errors() const { return logMessages(machine, "ERROR"); }
    /// The functions that have logged an error, each followed by a blank.
    std::string catchPoints() const;

    simulated::Machine machine;
    simulated::Running running{machine};
    InstallConfigData config;
    std::vector<InstalledNorv> listed;
};

}  // namespace family
