#include "windows/common/MsiCA.h"

#include <stdexcept>

#include "common/share/Logger.h"
#include "common/share/PmtError.h"
#include "common/share/Text.h"
#include "windows/common/MsiError.h"
#include "windows/common/MsiRead.h"

namespace msi {

tstring getProperty(MSIHANDLE session, const tstring& name) {
    return readText(_T("MsiGetProperty"), session, name, [&](LPWSTR value, DWORD* count) {
        return MsiGetPropertyW(session, name.c_str(), value, count);
    });
}

tstring CAImpl::getProperty(const tstring& name) const {
    return msi::getProperty(session_, name);
}

void CAImpl::setProperty(const tstring& name, const tstring& value) {
    constexpr const char* kFunction = "msi::CAImpl::setProperty";
    if (value.empty()) {
        raise<std::invalid_argument>(kFunction, Text() << _T("Attempt to assign empty value to '")
                                                       << name << _T("' MSI property"));
    }
    LOG_TRACE(kFunction,
              Text() << _T("Setting MSI property '") << name << _T("' to '") << value << _T("'"));
    const UINT status = MsiSetPropertyW(session_, name.c_str(), value.c_str());
    if (status != ERROR_SUCCESS) {
        raise<Error>(kFunction,
                     Text() << _T("MsiSetProperty(") << name << _T(", ") << value << _T(") failed"),
                     status);
    }
}

tstring CAImpl::runModes() const {
    constexpr int kLastMode = MSIRUNMODE_COMMIT;
    tstring modes;
    for (int mode = 0; mode <= kLastMode; ++mode) {
        modes += MsiGetMode(session_, static_cast<MSIRUNMODE>(mode)) ? _T('1') : _T('0');
    }
    return modes;
}

}  // namespace msi
