// Windows Installer: sessions, databases, views, records.
#pragma once

#include <msi.h>

#define MSIDBOPEN_READONLY (static_cast<LPCWSTR>(nullptr))

enum MSIRUNMODE {
    MSIRUNMODE_ADMIN = 0,
    MSIRUNMODE_SCHEDULED = 16,
    MSIRUNMODE_COMMIT = 18,
};

extern "C" {

UINT WINAPI MsiGetPropertyW(MSIHANDLE session, LPCWSTR name, LPWSTR value, DWORD* count);
UINT WINAPI MsiSetPropertyW(MSIHANDLE session, LPCWSTR name, LPCWSTR value);
BOOL WINAPI MsiGetMode(MSIHANDLE session, MSIRUNMODE mode);
int WINAPI MsiProcessMessage(MSIHANDLE session, INSTALLMESSAGE type, MSIHANDLE record);
MSIHANDLE WINAPI MsiGetActiveDatabase(MSIHANDLE session);

UINT WINAPI MsiOpenDatabaseW(LPCWSTR path, LPCWSTR persist, MSIHANDLE* database);
UINT WINAPI MsiDatabaseOpenViewW(MSIHANDLE database, LPCWSTR query, MSIHANDLE* view);
UINT WINAPI MsiViewExecute(MSIHANDLE view, MSIHANDLE parameters);
UINT WINAPI MsiViewFetch(MSIHANDLE view, MSIHANDLE* record);
UINT WINAPI MsiViewClose(MSIHANDLE view);

MSIHANDLE WINAPI MsiCreateRecord(UINT fieldCount);
UINT WINAPI MsiRecordGetFieldCount(MSIHANDLE record);
UINT WINAPI MsiRecordSetStringW(MSIHANDLE record, UINT field, LPCWSTR value);
UINT WINAPI MsiRecordGetStringW(MSIHANDLE record, UINT field, LPWSTR value, DWORD* count);

}  // extern "C"
