// The auto-updater, as its installer leaves it on a simulated machine.
#pragma once

#include <optional>
#include <string>

#include "simulated/machine/Machine.h"

namespace updater {

inline const std::u16string kProductCode = u"{4A03706F-666A-4037-7777-5F2748764D10}";

/// The directory of its executables on a 64-bit Windows.
inline const std::u16string kDirectory =
    u"C:\\Program Files (x86)\\Common Files\\Norv\\Norv Update";

/// The updater's registration tool.
inline const std::u16string kTool = kDirectory + u"\\vomlit.exe";
/// The id that a package's component of this tool has.
inline const std::u16string kToolComponentId = u"{4D5AF522-0BDC-475C-987E-5F111CD11028}";

/// What is installed of it; without a value the property or registry value is missing.
struct Updater {
    std::optional<std::u16string> fullVersion = u"2.8.51.9";     ///< of the package
    std::optional<std::u16string> productVersion = u"2.8.51.9";  ///< of the package
    std::optional<std::u16string> registryVersion = {};
    std::string missingExecutable = {};  ///< "vomlit"
};

void install(simulated::Machine& machine, const Updater& installed = {});

}  // namespace updater
