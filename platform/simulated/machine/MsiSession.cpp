// The calls of a custom action on its session.
#include <windows.h>
#include <msiquery.h>

#include <algorithm>

#include "simulated/machine/Machine.h"
#include "simulated/machine/MsiObjects.h"

using namespace simulated;

namespace {

Installer& installer() {
    return Machine::current().installer;
}

/// Where MsiProcessMessage has no answer to give, and where it fails.
constexpr int kNoAnswer = 0;
constexpr int kMessageFailed = -1;

bool isReadable(const InstallSession& session, const std::u16string& name) {
    return !session.deferred || name == u"CustomActionData" || name == u"ProductCode" ||
           name == u"UserSID";
}

bool isPropertyName(const std::u16string& name) {
    return !name.empty() && !(name[0] >= u'0' && name[0] <= u'9') &&
           std::all_of(name.begin(), name.end(), [](char16_t unit) {
               return (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z') ||
                      (unit >= u'0' && unit <= u'9') || unit == u'_' || unit == u'.' || unit > 0x7F;
           });
}

}  // namespace

extern "C" {

UINT WINAPI MsiGetPropertyW(MSIHANDLE session, LPCWSTR name, LPWSTR value, DWORD* count) {
    Call call("MsiGetPropertyW");
    if (call.fails()) {
        return call.status(ERROR_FUNCTION_FAILED);
    }
    if (name == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    const InstallSession* const found = installer().openSessionOf(session);
    if (found == nullptr) {
        return ERROR_INVALID_HANDLE;
    }
    return giveText(isReadable(*found, name) ? installer().property(session, name) : u"", value,
                    count);
}

UINT WINAPI MsiSetPropertyW(MSIHANDLE session, LPCWSTR name, LPCWSTR value) {
    Call call("MsiSetPropertyW");
    if (call.fails()) {
        return call.status(ERROR_FUNCTION_FAILED);
    }
    if (name == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    InstallSession* const found = installer().openSessionOf(session);
    if (found == nullptr) {
        return ERROR_INVALID_HANDLE;
    }
    if (found->deferred) {
        return ERROR_FUNCTION_FAILED;
    }
    const bool clears = value == nullptr || value[0] == u'\0';
    if (!isPropertyName(name)) {
        return name[0] == u'\0' && clears ? ERROR_SUCCESS : ERROR_FUNCTION_FAILED;
    }
    if (clears) {
        found->properties.erase(name);
    } else {
        found->properties[name] = value;
    }
    return ERROR_SUCCESS;
}

BOOL WINAPI MsiGetMode(MSIHANDLE session, MSIRUNMODE mode) {
    Call call("MsiGetMode");
    const InstallSession* const found = installer().openSessionOf(session);
    if (call.fails() || found == nullptr) {
        return FALSE;
    }
    const bool isShown = !found->deferred || mode >= MSIRUNMODE_SCHEDULED;
    return isShown && found->modes.contains(mode) ? TRUE : FALSE;
}

int WINAPI MsiProcessMessage(MSIHANDLE session, INSTALLMESSAGE type, MSIHANDLE record) {
    Call call("MsiProcessMessage");
    const InstallSession* const found = installer().openSessionOf(session);
    const auto message = installer().find<MsiRecord>(record);
    if (call.fails() || found == nullptr || message == nullptr) {
        return kMessageFailed;
    }
    const std::u16string text = formatRecord(*message, *found);
    installer().addLogLine(text);
    return type == INSTALLMESSAGE_INFO ? kNoAnswer : installer().sendMessage(type, text);
}

MSIHANDLE WINAPI MsiGetActiveDatabase(MSIHANDLE session) {
    Call call("MsiGetActiveDatabase");
    const InstallSession* const found = installer().openSessionOf(session);
    if (call.fails() || found == nullptr || found->deferred) {
        return 0;
    }
    return installer().add(std::make_shared<MsiDatabase>("of the session", found->database));
}

}  // extern "C"
