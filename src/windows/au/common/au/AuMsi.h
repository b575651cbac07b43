// The auto-updater: a product of its own, with a package of its own and executables in a fixed
// directory.
#pragma once

#include <cstdint>

#include "common/share/Version.h"
#include "common/share/tstring.h"

namespace au {

using Version = VersionDetails::Base<5, VersionDetails::Parser, 4>;

/// The updater's product code, in registry form.
inline constexpr const TCHAR* kProductCode = _T("{4A03706F-666A-4037-7777-5F2748764D10}");

/// Returns the path of the updater's registration tool, whether or not it exists. Throws ComError.
tstring registrationToolPath();

struct InstalledState {
    static constexpr std::int32_t kNotInstalled = 0;  ///< or not readable
    static constexpr std::int32_t kComplete = 1;
    static constexpr std::int32_t kIncomplete = 2;  ///< at least one executable is missing

    /// Detects the state of this machine. Never throws: every failure is logged.
    static InstalledState detect();

    Version version;  ///< all 0 if unknown
    std::int32_t state = kNotInstalled;
};

}  // namespace au
