#include "windows/common/MsiUtils.h"

#include <optional>

#include "common/share/LogException.h"
#include "common/share/Logger.h"
#include "common/share/PmtError.h"
#include "common/share/Text.h"
#include "common/share/tstrings.h"
#include "windows/common/MsiError.h"
#include "windows/common/MsiRead.h"

namespace msi {

namespace {

constexpr const TCHAR* kBlanks = _T(" \t");

bool isSuccess(UINT status) {
    return status == ERROR_SUCCESS || status == ERROR_SUCCESS_REBOOT_INITIATED ||
           status == ERROR_SUCCESS_REBOOT_REQUIRED;
}

/// As long as it exists, passes every message of the installer to a callback.
class CallbackTrigger {
public:
    explicit CallbackTrigger(ActionData::Callback* callback) {
        constexpr DWORD kAllMessages = 0xFFFFFFFF;
        MsiSetExternalUIW(adapter, kAllMessages, callback);
    }
    ~CallbackTrigger() { MsiSetExternalUIW(nullptr, 0, nullptr); }
    CallbackTrigger(const CallbackTrigger&) = delete;
    CallbackTrigger& operator=(const CallbackTrigger&) = delete;

private:
    static int WINAPI adapter(LPVOID context, UINT messageType, LPCWSTR message) noexcept {
        constexpr UINT kTypeMask = 0xFF000000;
        constexpr int kInstallerGoesOn = 0;
        if (context == nullptr || message == nullptr) {
            return kInstallerGoesOn;
        }
        runLogged("msi::`anonymous-namespace'::CallbackTrigger::adapter", [&] {
            static_cast<ActionData::Callback*>(context)->onMessage(
                messageType & kTypeMask, messageType & ~kTypeMask, message);
        });
        return kInstallerGoesOn;
    }
};

class StateImpl : public ActionData::State {
public:
    explicit StateImpl(const ActionData& data)
        : previousLevel_(MsiSetInternalUI(data.uiLevel, nullptr)) {
        if (data.logFile.empty()) {
            MsiEnableLogW(0, nullptr, 0);
        } else {
            MsiEnableLogW(INSTALLLOGMODE_VERBOSE, data.logFile.c_str(), 0);
        }
        if (data.callback != nullptr) {
            trigger_.emplace(data.callback);
        }
    }
    ~StateImpl() override {
        trigger_.reset();
        MsiEnableLogW(0, nullptr, 0);
        MsiSetInternalUI(previousLevel_, nullptr);
    }

private:
    INSTALLUILEVEL previousLevel_;
    std::optional<CallbackTrigger> trigger_;
};

/// Quotes a value for the installer's command line: quotes inside are doubled; a value with a blank
/// is put in quotes.
tstring quoted(const tstring& value) {
    tstring result = tstrings::replace(value, _T("\""), _T("\"\""));
    if (result.empty()) {
        return _T("\"\"");
    }
    if (result.find_first_of(kBlanks) != tstring::npos) {
        return Text() << _T("\"") << result << _T("\"");
    }
    return result;
}

ActionStatus handleMsiStatus(Text& call, UINT status) {
    if (!isSuccess(status)) {
        call << _T("failed [") << status << _T("]");
        return ActionStatus(call.utf8(), status);
    }
    call << _T("succeeded");
    if (status != ERROR_SUCCESS) {
        call << _T(" [") << status << _T("]");
    }
    LOG_INFO("msi::`anonymous-namespace'::handleMsiStatus", call);
    return ActionStatus(std::string(), status);
}

class Uninstaller : public ProductUninstaller {
public:
    void uninstall(const ActionData& data) override {
        const auto state = data.createState();
        const ActionStatus status = data.configure(data.commandLine());
        if (!status.succeeded()) {
            status.throwIt();
        }
    }
};

}  // namespace

tstring getProductInfo(const Guid& productCode, const tstring& name) {
    const tstring code = productCode.toString();
    return readText(_T("MsiGetProductInfo"), code, name, [&](LPWSTR value, DWORD* count) {
        return MsiGetProductInfoW(code.c_str(), name.c_str(), value, count);
    });
}

tstring tryGetProductInfo(const Guid& productCode, const tstring& name) {
    try {
        return getProductInfo(productCode, name);
    } catch (const std::exception&) {
        return tstring();
    }
}

bool isProductInstalled(const Guid& productCode) {
    try {
        getProductInfo(productCode, INSTALLPROPERTY_VERSIONSTRING);
    } catch (const Error& e) {
        return e.status() != ERROR_UNKNOWN_PRODUCT && e.status() != ERROR_UNKNOWN_PROPERTY;
    }
    return true;
}

bool ActionStatus::succeeded() const {
    return isSuccess(status_);
}

void ActionStatus::throwIt() const {
    raise<Error>("msi::ActionStatus::throwIt", Text() << failure_, status_);
}

std::unique_ptr<ActionData::State> ActionData::createState() const {
    return std::make_unique<StateImpl>(*this);
}

tstring ActionData::commandLine() const {
    const tstring extra = tstrings::trim(extraArguments, kBlanks);
    Text list;
    for (const auto& [key, value] : properties) {
        list << _T(" ") << key << _T("=") << quoted(value);
    }
    const tstring arguments = tstrings::trim(list, kBlanks);
    const bool needsBlank = !extra.empty() && !arguments.empty();
    return Text() << extra << (needsBlank ? _T(" ") : _T("")) << arguments;
}

ActionStatus ActionData::configure(const tstring& arguments) const {
    const tstring code = productCode.toString();
    const UINT status = MsiConfigureProductExW(code.c_str(), INSTALLLEVEL_MAXIMUM,
                                               INSTALLSTATE_ABSENT, arguments.c_str());
    Text call;
    call << _T("MsiConfigureProductEx(") << code << _T(", ")
         << static_cast<int>(INSTALLLEVEL_MAXIMUM) << _T(", ")
         << static_cast<int>(INSTALLSTATE_ABSENT) << _T(", ") << arguments << _T(") ");
    return handleMsiStatus(call, status);
}

}  // namespace msi

ProductUninstaller& defaultUninstaller() {
    static msi::Uninstaller uninstaller;
    return uninstaller;
}
