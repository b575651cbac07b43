// The functions that a custom action calls on its session.
#include <windows.h>
#include <msiquery.h>

#include "simulated/machine/installer/MsiObjects.h"

using namespace simulated;

namespace {

constexpr int kMessageFailed = -1;

bool isReadable(const InstallSession& session, const std::u16string& name) {
    return !session.deferred || name == u"CustomActionData" || name == u"ProductCode" ||
           name == u"UserSID";
}

}  // namespace

extern "C" {

UINT WINAPI MsiGetPropertyW(MSIHANDLE session, LPCWSTR name, LPWSTR value, DWORD* count) {
    return statusCall("MsiGetPropertyW", ERROR_FUNCTION_FAILED, [&] {
        demand(name != nullptr, ERROR_INVALID_PARAMETER);
        const bool isShown = isReadable(openSession(session), name);
        copyText(isShown ? installer().property(session, name) : u"", value, count);
    });
}

UINT WINAPI MsiSetPropertyW(MSIHANDLE session, LPCWSTR name, LPCWSTR value) {
    return statusCall("MsiSetPropertyW", ERROR_FUNCTION_FAILED, [&] {
        InstallSession& found = openSession(session);
        demand(name != nullptr, ERROR_INVALID_PARAMETER);
        demand(!found.deferred, ERROR_FUNCTION_FAILED);
        const std::u16string text(argument(value));
        if (text.empty()) {
            found.properties.erase(name);
            return;
        }
        demand(name[0] != u'\0', ERROR_FUNCTION_FAILED);
        found.properties[name] = text;
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
