#include "windows/customactions/DebugBreak.h"

#include <windows.h>

#include <stdexcept>

#include "common/share/Text.h"
#include "windows/common/FileUtils.h"
#include "windows/common/SysInfo.h"

namespace {

/// Distinguishes a variable that is not set from an empty one, which its value can't.
bool isSet(const tstring& variableName) {
    TCHAR probe[1] = {};
    SetLastError(ERROR_SUCCESS);
    GetEnvironmentVariableW(variableName.c_str(), probe, 1);
    return GetLastError() != ERROR_ENVVAR_NOT_FOUND;
}

void showBox(const SourceLocation& location, const tstring& variableName) {
    const Text reason = Text() << _T("debug break. Reason: environment variable ") << variableName
                               << _T(" is set.");
    const Text message =
        Text() << formatLocatedMessage(std::runtime_error(reason.utf8()), location);
    const Text title =
        Text() << _T("Norv installer: ")
               << FileUtils::basename(SysInfo::getModulePath(SysInfo::getCurrentModuleHandle()));
    MessageBoxW(nullptr, message.str().c_str(), title.str().c_str(),
                MB_OK | MB_ICONINFORMATION | MB_TASKMODAL | MB_SETFOREGROUND | MB_TOPMOST);
}

}  // namespace

void checkDebugBreak(const SourceLocation& location, const tstring& variableName,
                     const tstring& actionName) {
    if (!isSet(variableName)) {
        return;
    }
    const tstring value = SysInfo::getEnvVariable(variableName, tstring());
    if (value != _T("*") && value.find(actionName) == tstring::npos) {
        return;
    }
    showBox(location, variableName);
}
