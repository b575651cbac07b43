#include "windows/common/ComUtils.h"

#include <objbase.h>

#include "common/share/Logger.h"
#include "common/windows/WinErrorHandling.h"

ComInitializer::ComInitializer() : initialized_(false) {
    const HRESULT status = CoInitialize(nullptr);
    initialized_ = SUCCEEDED(status);
    if (!initialized_) {
        LOG_WARNING("ComInitializer::ComInitializer",
                    Text() << _T("CoInitialize failed with ") << describeComError(status));
    }
}

ComInitializer::~ComInitializer() {
    if (initialized_) {
        CoUninitialize();
    }
}
