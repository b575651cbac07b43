// The functions on databases, views and records.
#include <windows.h>
#include <msiquery.h>

#include "simulated/machine/installer/MsiObjects.h"

using namespace simulated;

namespace {

constexpr UINT kNoFieldCount = 0xFFFFFFFF;
constexpr UINT kMaxFields = 0xFFFF;

/// Adds an object and stores its handle.
template <class T, class... Arguments>
void storeHandle(MSIHANDLE* handle, Arguments&&... arguments) {
    *handle = installer().add(std::make_shared<T>(std::forward<Arguments>(arguments)...));
}

}  // namespace

extern "C" {

UINT WINAPI MsiCloseHandle(MSIHANDLE handle) {
    return statusCall("MsiCloseHandle", ERROR_INVALID_HANDLE, [&] {
        demand(handle == 0 || installer().close(handle), ERROR_INVALID_HANDLE);
    });
}

UINT WINAPI MsiOpenDatabaseW(LPCWSTR path, LPCWSTR persist, MSIHANDLE* database) {
    return statusCall("MsiOpenDatabaseW", ERROR_OPEN_FAILED, [&] {
        demand(path != nullptr && database != nullptr, ERROR_INVALID_PARAMETER);
        if (persist != MSIDBOPEN_READONLY) {
            notSupported("MsiOpenDatabaseW", "opening for writing");
        }
        const Package* const package = installer().packageAt(path);
        demand(package != nullptr, ERROR_OPEN_FAILED);
        check(package->openStatus());
        storeHandle<MsiDatabase>(database, toUtf8(path), *package);
    });
}

UINT WINAPI MsiDatabaseOpenViewW(MSIHANDLE database, LPCWSTR query, MSIHANDLE* view) {
    return statusCall("MsiDatabaseOpenViewW", ERROR_BAD_QUERY_SYNTAX, [&] {
        demand(view != nullptr, ERROR_INVALID_PARAMETER);
        const auto found = msiObject<MsiDatabase>(database);
        const std::u16string text(argument(query));
        auto parsed = PackageQuery::parse(text, *found->package);
        demand(parsed.has_value(), ERROR_BAD_QUERY_SYNTAX);
        storeHandle<MsiView>(view, found->package, text, std::move(*parsed));
    });
}

UINT WINAPI MsiViewExecute(MSIHANDLE view, MSIHANDLE parameters) {
    return statusCall("MsiViewExecute", ERROR_FUNCTION_FAILED, [&] {
        const auto found = msiObject<MsiView>(view);
        const auto record = parameters == 0 ? nullptr : msiObject<MsiRecord>(parameters);
        demand(found->execute(record.get()), ERROR_FUNCTION_FAILED);
    });
}

UINT WINAPI MsiViewFetch(MSIHANDLE view, MSIHANDLE* record) {
    return statusCall("MsiViewFetch", ERROR_FUNCTION_FAILED, [&] {
        demand(record != nullptr, ERROR_INVALID_PARAMETER);
        const auto found = msiObject<MsiView>(view);
        demand(found->executed(), ERROR_FUNCTION_FAILED);
        const auto row = found->fetch();
        *record = 0;
        demand(row.has_value(), ERROR_NO_MORE_ITEMS);
        storeHandle<MsiRecord>(record, *row);
    });
}

UINT WINAPI MsiViewClose(MSIHANDLE view) {
    return statusCall("MsiViewClose", ERROR_FUNCTION_FAILED,
                      [&] { msiObject<MsiView>(view)->close(); });
}

MSIHANDLE WINAPI MsiCreateRecord(UINT fieldCount) {
    return call("MsiCreateRecord", ERROR_NOT_ENOUGH_MEMORY, [&] {
        demand(fieldCount <= kMaxFields, ERROR_INVALID_PARAMETER);
        return installer().add(std::make_shared<MsiRecord>(fieldCount));
    });
}

UINT WINAPI MsiRecordGetFieldCount(MSIHANDLE record) {
    return call("MsiRecordGetFieldCount", ERROR_INVALID_HANDLE, kNoFieldCount,
                [&] { return static_cast<UINT>(msiObject<MsiRecord>(record)->count()); });
}

UINT WINAPI MsiRecordSetStringW(MSIHANDLE record, UINT field, LPCWSTR value) {
    return statusCall("MsiRecordSetStringW", ERROR_INVALID_PARAMETER, [&] {
        const auto found = msiObject<MsiRecord>(record);
        demand(field <= found->count(), ERROR_INVALID_FIELD);
        found->fields[field] = argument(value);
    });
}

UINT WINAPI MsiRecordGetStringW(MSIHANDLE record, UINT field, LPWSTR value, DWORD* count) {
    return statusCall("MsiRecordGetStringW", ERROR_INVALID_PARAMETER, [&] {
        const auto found = msiObject<MsiRecord>(record);
        copyText(field <= found->count() ? found->fields[field] : u"", value, count);
    });
}

}  // extern "C"
