// A machine with products of the family, as the installer leaves them, and the setup manager run on
// it. Products are written as "r64:1.8.0_45": QVR (r), QVK (k) or graphics (g), bits, version. The
// same text is the same product.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "common/windows/WinErrorHandling.h"
#include "simulated/machine/Machine.h"
#include "simulated/machine/Wide.h"
#include "windows/installerdll/NorvSetupManager.h"

namespace family {

using simulated::fromUtf8;
using simulated::toUtf8;
using simulated::View;

InstalledNorv product(std::string_view text);
std::string name(const InstalledNorv& product);

/// Between blanks; "-" for an empty list or a null pointer.
std::vector<InstalledNorv> products(std::string_view text);
std::string names(InstalledNorvRange products);
std::string name(const InstalledNorv* product);

inline const tstring kVendor = _T("HKLM\\Software\\Halvorex");
inline const tstring kMenu = _T("C:\\ProgramData\\Microsoft\\Windows\\Start Menu\\Programs");

class Family {
public:
    Family();

    /// Lays down what a product's installer does, files and version key, and lists it.
    InstalledNorv put(std::string_view text);
    /// The installer's list loses the product; what lies on the machine stays.
    void drop(std::string_view text);

    /// Runs the setup manager for a product that is listed.
    bool update(UpdateAction action, std::string_view text);
    bool install(std::string_view text);  ///< `put` and the update
    bool remove(std::string_view text);   ///< the update and what the installer deletes after it
    /// "+r64:17 -r64:17 ...", in this order.
    void run(std::string_view steps);

    /// What one manager does, whatever the others would.
    void handle(NorvSetupManager::Callback& manager, UpdateAction action = UpdateAction::None,
                std::string_view changed = "");

    /// The family keys of a view: "QVR{17,21}=21", names of subkeys and "CurrentVersion".
    std::string familyKeys(View view) const;
    std::string value(const tstring& key, const tstring& valueName, View view = View::Bits64) const;
    /// Names of the files of a directory, without those below, between "|".
    std::string files(const tstring& directory) const;

    simulated::Machine machine;
    simulated::Running running{machine};
    InstallConfigData config;
    std::vector<InstalledNorv> listed;
};

}  // namespace family
