#include "windows/customactions/SetMsiProperty.h"

#include <msiquery.h>

#include "common/share/Logger.h"

UINT setMsiProperty(MSIHANDLE session, const tstring& name, const tstring& value) {
    constexpr const char* kFunction = "`anonymous-namespace'::setMsiProperty";
    if (value.empty()) {
        return ERROR_SUCCESS;
    }
    LOG_TRACE(kFunction, Text() << _T("Setting PROPERTY ") << name << _T(" to ") << value);
    const UINT status = MsiSetPropertyW(session, name.c_str(), value.c_str());
    if (status != ERROR_SUCCESS) {
        LOG_ERROR(kFunction,
                  Text() << name << _T(" is NOT set. MsiSetProperty failed with ") << status);
    }
    return status;
}
