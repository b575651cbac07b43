// Judges a directory that a product is to be installed into.
#pragma once

#include <windows.h>

#include <vector>

#include "common/share/tstring.h"
#include "windows/common/NorvEnvironment.h"

class InstallDirValidator {
public:
    // Statuses of the package's own, no Windows error codes.
    static constexpr UINT kNotEmpty = 610018;
    static constexpr UINT kSemicolon = 610019;
    static constexpr UINT kNetwork = 610020;
    static constexpr UINT kTooShort = 610021;

    /// `products` are those whose own directories may hold files already.
    explicit InstallDirValidator(const std::vector<InstalledNorv>& products)
        : products_(products) {}

    /// 0 if the directory is acceptable, else the first of the statuses above that fits, in the
    /// order too short, network, semicolon, not empty.
    UINT validate(const tstring& path) const;

    /// Logs it if so.
    bool isSemicolonInPath(const tstring& path) const;

    /// Whether it is a directory that holds something and is not the home of a listed product. Logs
    /// it if so.
    bool isDirNotEmpty(const tstring& path) const;

private:
    std::vector<InstalledNorv> products_;
};
