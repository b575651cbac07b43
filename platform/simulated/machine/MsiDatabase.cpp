// The calls on databases, views and records.
#include <windows.h>
#include <msiquery.h>

#include "simulated/machine/Machine.h"
#include "simulated/machine/MsiObjects.h"

using namespace simulated;

namespace {

Installer& installer() {
    return Machine::current().installer;
}

constexpr UINT kNoFieldCount = 0xFFFFFFFF;
constexpr UINT kMostFields = 0xFFFF;

/// Takes the place of a handle that a call gives out.
UINT giveHandle(MSIHANDLE* handle, std::shared_ptr<MsiObject> object) {
    *handle = installer().add(std::move(object));
    return ERROR_SUCCESS;
}

}  // namespace

extern "C" {

UINT WINAPI MsiCloseHandle(MSIHANDLE handle) {
    Call call("MsiCloseHandle");
    if (call.fails()) {
        return call.status(ERROR_INVALID_HANDLE);
    }
    return handle == 0 || installer().close(handle) ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
}

UINT WINAPI MsiOpenDatabaseW(LPCWSTR path, LPCWSTR persist, MSIHANDLE* database) {
    Call call("MsiOpenDatabaseW");
    if (call.fails()) {
        return call.status(ERROR_OPEN_FAILED);
    }
    // A package is never written: the other ways of opening aren't there.
    if (path == nullptr || database == nullptr || persist != MSIDBOPEN_READONLY) {
        return ERROR_INVALID_PARAMETER;
    }
    const Package* const package = installer().packageAt(path);
    if (package == nullptr) {
        return ERROR_OPEN_FAILED;
    }
    if (package->openStatus() != ERROR_SUCCESS) {
        return package->openStatus();
    }
    return giveHandle(database, std::make_shared<MsiDatabase>(toUtf8(path), *package));
}

UINT WINAPI MsiDatabaseOpenViewW(MSIHANDLE database, LPCWSTR query, MSIHANDLE* view) {
    Call call("MsiDatabaseOpenViewW");
    if (call.fails()) {
        return call.status(ERROR_BAD_QUERY_SYNTAX);
    }
    if (view == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    const auto found = installer().find<MsiDatabase>(database);
    if (found == nullptr) {
        return ERROR_INVALID_HANDLE;
    }
    const std::u16string text(argument(query));
    auto parsed = PackageQuery::parse(text, *found->package);
    if (!parsed) {
        return ERROR_BAD_QUERY_SYNTAX;
    }
    return giveHandle(view, std::make_shared<MsiView>(found->package, text, std::move(*parsed)));
}

UINT WINAPI MsiViewExecute(MSIHANDLE view, MSIHANDLE parameters) {
    Call call("MsiViewExecute");
    if (call.fails()) {
        return call.status(ERROR_FUNCTION_FAILED);
    }
    const auto found = installer().find<MsiView>(view);
    const auto record = installer().find<MsiRecord>(parameters);
    if (found == nullptr || (parameters != 0 && record == nullptr)) {
        return ERROR_INVALID_HANDLE;
    }
    return found->execute(record.get()) ? ERROR_SUCCESS : ERROR_FUNCTION_FAILED;
}

UINT WINAPI MsiViewFetch(MSIHANDLE view, MSIHANDLE* record) {
    Call call("MsiViewFetch");
    if (call.fails()) {
        return call.status(ERROR_FUNCTION_FAILED);
    }
    if (record == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    const auto found = installer().find<MsiView>(view);
    if (found == nullptr) {
        return ERROR_INVALID_HANDLE;
    }
    if (!found->executed()) {
        return ERROR_FUNCTION_FAILED;
    }
    const auto row = found->fetch();
    if (!row) {
        *record = 0;
        return ERROR_NO_MORE_ITEMS;
    }
    return giveHandle(record, std::make_shared<MsiRecord>(*row));
}

UINT WINAPI MsiViewClose(MSIHANDLE view) {
    Call call("MsiViewClose");
    if (call.fails()) {
        return call.status(ERROR_FUNCTION_FAILED);
    }
    const auto found = installer().find<MsiView>(view);
    if (found == nullptr) {
        return ERROR_INVALID_HANDLE;
    }
    found->close();
    return ERROR_SUCCESS;
}

MSIHANDLE WINAPI MsiCreateRecord(UINT fieldCount) {
    Call call("MsiCreateRecord");
    if (call.fails() || fieldCount > kMostFields) {
        return 0;
    }
    return installer().add(std::make_shared<MsiRecord>(fieldCount));
}

UINT WINAPI MsiRecordGetFieldCount(MSIHANDLE record) {
    Call call("MsiRecordGetFieldCount");
    const auto found = installer().find<MsiRecord>(record);
    if (call.fails() || found == nullptr) {
        return kNoFieldCount;
    }
    return static_cast<UINT>(found->count());
}

UINT WINAPI MsiRecordSetStringW(MSIHANDLE record, UINT field, LPCWSTR value) {
    Call call("MsiRecordSetStringW");
    if (call.fails()) {
        return call.status(ERROR_INVALID_PARAMETER);
    }
    const auto found = installer().find<MsiRecord>(record);
    if (found == nullptr) {
        return ERROR_INVALID_HANDLE;
    }
    if (field > found->count()) {
        return ERROR_INVALID_FIELD;
    }
    found->fields[field] = value == nullptr ? u"" : value;
    return ERROR_SUCCESS;
}

UINT WINAPI MsiRecordGetStringW(MSIHANDLE record, UINT field, LPWSTR value, DWORD* count) {
    Call call("MsiRecordGetStringW");
    if (call.fails()) {
        return call.status(ERROR_INVALID_PARAMETER);
    }
    const auto found = installer().find<MsiRecord>(record);
    if (found == nullptr) {
        return ERROR_INVALID_HANDLE;
    }
    return giveText(field <= found->count() ? found->fields[field] : u"", value, count);
}

}  // extern "C"
