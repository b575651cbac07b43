#include "windows/common/InstallDirValidator.h"

#include <shlwapi.h>

#include <algorithm>

#include "common/share/Logger.h"
#include "common/share/Text.h"
#include "common/share/tstrings.h"
#include "windows/common/FileUtils.h"

UINT InstallDirValidator::validate(const tstring& path) const {
    const FileUtils::PathType type = FileUtils::pathType(path);
    if (type == FileUtils::PathType::Invalid) {
        LOG_ERROR("InstallDirValidator::validate",
                  Text() << _T("INSTALLDIR ") << path
                         << _T(" path is too short. It is not supported by this product."));
        return kTooShort;
    }
    if (type == FileUtils::PathType::Network) {
        return kNetwork;
    }
    if (isSemicolonInPath(path)) {
        return kSemicolon;
    }
    if (isDirNotEmpty(path)) {
        return kNotEmpty;
    }
    return ERROR_SUCCESS;
}

bool InstallDirValidator::isSemicolonInPath(const tstring& path) const {
    if (path.find(_T(';')) == tstring::npos) {
        return false;
    }
    LOG_ERROR("InstallDirValidator::isSemicolonInPath",
              Text() << _T("INSTALLDIR path ") << path
                     << _T(" contains a semi-colon. It is not supported by this product."));
    return true;
}

bool InstallDirValidator::isDirNotEmpty(const tstring& path) const {
    if (!FileUtils::isDirectory(path) || PathIsDirectoryEmptyW(path.c_str())) {
        return false;
    }
    const bool isHome =
        std::any_of(products_.begin(), products_.end(), [&](const InstalledNorv& product) {
            return tstrings::equals(product.homeDir, path, tstrings::CompareType::IgnoreCase);
        });
    if (isHome) {
        return false;
    }
    LOG_ERROR("InstallDirValidator::isDirNotEmpty",
              Text() << _T("INSTALLDIR ") << path
                     << _T(" is not empty. It is not supported by this product."));
    return true;
}
