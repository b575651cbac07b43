// The calls of a custom action on its session.
#include <windows.h>
#include <msiquery.h>

#include <algorithm>

#include "simulated/machine/installer/MsiObjects.h"

using namespace simulated;

namespace {

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
    return statusCall("MsiGetPropertyW", ERROR_FUNCTION_FAILED, [&] {
        demand(name != nullptr, ERROR_INVALID_PARAMETER);
        const bool isShown = isReadable(openSession(session), name);
        giveText(isShown ? installer().property(session, name) : u"", value, count);
    });
}

UINT WINAPI MsiSetPropertyW(MSIHANDLE session, LPCWSTR name, LPCWSTR value) {
    return statusCall("MsiSetPropertyW", ERROR_FUNCTION_FAILED, [&] {
        demand(name != nullptr, ERROR_INVALID_PARAMETER);
        InstallSession& found = openSession(session);
        demand(!found.deferred, ERROR_FUNCTION_FAILED);
        const std::u16string text(argument(value));
        if (name[0] == u'\0' && text.empty()) {
            return;
        }
        demand(isPropertyName(name), ERROR_FUNCTION_FAILED);
        if (text.empty()) {
            found.properties.erase(name);
        } else {
            found.properties[name] = text;
        }
    });
}

BOOL WINAPI MsiGetMode(MSIHANDLE session, MSIRUNMODE mode) {
    return call("MsiGetMode", ERROR_INVALID_HANDLE, [&] {
        const InstallSession& found = openSession(session);
        const bool isShown = !found.deferred || mode >= MSIRUNMODE_SCHEDULED;
        return BOOL{isShown && found.modes.contains(mode)};
    });
}

int WINAPI MsiProcessMessage(MSIHANDLE session, INSTALLMESSAGE type, MSIHANDLE record) {
    return call("MsiProcessMessage", ERROR_INVALID_HANDLE, kMessageFailed, [&] {
        openSession(session);
        const auto message = msiObject<MsiRecord>(record);
        if (type != INSTALLMESSAGE_INFO) {
            notSupported("MsiProcessMessage", "messages that aren't INSTALLMESSAGE_INFO");
        }
        installer().addLogLine(formatRecord(*message));
        return 0;
    });
}

MSIHANDLE WINAPI MsiGetActiveDatabase(MSIHANDLE session) {
    return call("MsiGetActiveDatabase", ERROR_INVALID_HANDLE, [&] {
        const InstallSession& found = openSession(session);
        demand(!found.deferred, ERROR_INVALID_HANDLE);
        return installer().add(std::make_shared<MsiDatabase>("of the session", found.database));
    });
}

}  // extern "C"
