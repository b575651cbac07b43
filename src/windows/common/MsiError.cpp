#include "windows/common/MsiError.h"

#include <string>

#include "common/share/LogException.h"
#include "common/share/Text.h"
#include "common/share/tstrings.h"
#include "common/windows/WinAutoHandle.h"
#include "common/windows/WinErrorHandling.h"
#include "windows/common/Paths.h"
#include "windows/common/Resources.h"
#include "windows/common/SysInfo.h"

namespace msi {

namespace {

/// Returns the installer's text of a status, which its library stores under the low 16 bits.
tstring descriptionIn(HMODULE library, UINT status) {
    try {
        return Resource(status & 0xFFFF, library).toString();
    } catch (const std::exception&) {
        return _T("No description");
    }
}

/// Returns "(<description>)", or nothing if the installer's texts can't be loaded.
tstring describe(UINT status) {
    const tstring path = FileUtils::combinePath(SysInfo::getSystemDir(), _T("msimsg.dll"));
    const LoadedLibrary library(LoadLibraryExW(path.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE));
    if (!library) {
        logFailedCall("msi::`anonymous-namespace'::describe",
                      FailedCall(nullptr) << _T("LoadLibraryExW(") << path << _T(")"));
        return tstring();
    }
    return Text() << _T("(") << descriptionIn(library.get(), status) << _T(")");
}

std::string composeError(const tstring& text, UINT status) {
    Text detail;
    detail << _T("MSI error [") << status << _T("]");
    // The status must reach its handler whether or not it can be described.
    runLogged("msi::`anonymous-namespace'::composeError", [&] { detail << describe(status); });
    return joinErrorMessage(tstrings::toUtf8(text), detail.utf8());
}

}  // namespace

Error::Error(const tstring& text, UINT status)
    : std::runtime_error(composeError(text, status)), status_(status) {}

NoMoreItemsError::NoMoreItemsError(const tstring& text) : Error(text, ERROR_NO_MORE_ITEMS) {}

}  // namespace msi
