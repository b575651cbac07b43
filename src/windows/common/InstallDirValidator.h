// Checks a directory that a product is to be installed into.
#pragma once

#include <windows.h>

#include <vector>

#include "common/share/tstring.h"
#include "windows/common/NorvEnvironment.h"

class InstallDirValidator {
public:
    // Statuses of the package's own, not Windows error codes.
    static constexpr UINT kNotEmpty = 610018;
    static constexpr UINT kSemicolon = 610019;
    static constexpr UINT kNetwork = 610020;
    static constexpr UINT kTooShort = 610021;

    /// The home directories of `products` may contain files already.
    explicit InstallDirValidator(const std::vector<InstalledNorv>& products)
        : products_(products) {}

    /// Returns 0 if the directory is acceptable, otherwise the first of the statuses above that
    /// applies, in the order too short, network, semicolon, not empty.
    UINT validate(const tstring& path) const;

    /// Logs it if so.
    bool isSemicolonInPath(const tstring& path) const;

    /// Returns whether the path is a directory that is not empty and not the home of one of the
    /// products. Logs it if so.
    bool isDirNotEmpty(const tstring& path) const;

private:
    std::vector<InstalledNorv> products_;
};
