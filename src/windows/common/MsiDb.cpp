#include "windows/common/MsiDb.h"

#include "common/share/LogException.h"
#include "common/share/Logger.h"
#include "common/share/PmtError.h"
#include "common/share/Text.h"
#include "windows/common/MsiError.h"
#include "windows/common/MsiRead.h"
#include "windows/common/MsiUtils.h"

namespace msi {

namespace {

constexpr const TCHAR* kActiveDatabaseName = _T("*CA*");
constexpr const char* kGetProperty = "msi::Database::getProperty";
constexpr const char* kOpenDatabase = "msi::`anonymous-namespace'::openDatabase";

/// For failed calls that don't return a status.
constexpr UINT kNoStatus = ERROR_FUNCTION_FAILED;

MSIHANDLE openDatabase(const tstring& path) {
    MSIHANDLE database = 0;
    const UINT status = MsiOpenDatabaseW(path.c_str(), MSIDBOPEN_READONLY, &database);
    if (status != ERROR_SUCCESS) {
        raise<Error>(kOpenDatabase,
                     Text() << _T("MsiOpenDatabase(") << path << _T(", MSIDBOPEN_READONLY) failed"),
                     status);
    }
    return database;
}

MSIHANDLE openDatabase(MSIHANDLE session) {
    const MSIHANDLE database = MsiGetActiveDatabase(session);
    if (database == 0) {
        raise<Error>(kOpenDatabase, Text() << _T("MsiGetActiveDatabase() failed"), kNoStatus);
    }
    return database;
}

/// Logs a failed close and never throws, also if the record can't be written: handles are closed by
/// destructors.
void logFailedClose(const SourceLocation& where, const TCHAR* call, MSIHANDLE handle,
                    UINT status) noexcept {
    try {
        LOG_WARNING(where,
                    Text() << call << _T("(") << handle << _T(") failed with error=") << status);
    } catch (...) {
    }
}

}  // namespace

void closeMSIHANDLE(MSIHANDLE handle) noexcept {
    if (handle == 0) {
        return;
    }
    const UINT status = MsiCloseHandle(handle);
    if (status != ERROR_SUCCESS) {
        logFailedClose("msi::closeMSIHANDLE", _T("MsiCloseHandle"), handle, status);
    }
}

void closeDatabaseView(MSIHANDLE handle) noexcept {
    if (handle == 0) {
        return;
    }
    const UINT status = MsiViewClose(handle);
    if (status != ERROR_SUCCESS) {
        logFailedClose("msi::closeDatabaseView", _T("MsiViewClose"), handle, status);
        return;
    }
    closeMSIHANDLE(handle);
}

DatabaseRecord::DatabaseRecord(UINT fieldCount) : handle_(MsiCreateRecord(fieldCount)) {
    if (!handle_) {
        raise<Error>("msi::DatabaseRecord::DatabaseRecord",
                     Text() << _T("MsiCreateRecord(") << fieldCount << _T(") failed"), kNoStatus);
    }
}

DatabaseRecord DatabaseRecord::fromHandle(MSIHANDLE handle) {
    DatabaseRecord record;
    record.handle_.reset(handle);
    return record;
}

UINT DatabaseRecord::getFieldCount() const {
    const UINT count = MsiRecordGetFieldCount(get());
    // An invalid handle returns -1.
    if (static_cast<int>(count) < 1) {
        raise<Error>("msi::DatabaseRecord::getFieldCount",
                     Text() << _T("MsiRecordGetFieldCount() failed"), kNoStatus);
    }
    return count;
}

void DatabaseRecord::setString(UINT field, const tstring& value) {
    const UINT status = MsiRecordSetStringW(get(), field, value.c_str());
    if (status != ERROR_SUCCESS) {
        raise<Error>(
            "msi::DatabaseRecord::setString",
            Text() << _T("MsiRecordSetString(") << field << _T(", ") << value << _T(") failed"),
            status);
    }
}

tstring DatabaseRecord::getString() const {
    constexpr UINT kField = 1;
    return readText(_T("MsiRecordGetString"), get(), kField, [&](LPWSTR value, DWORD* count) {
        return MsiRecordGetStringW(get(), kField, value, count);
    });
}

Database::Database(const tstring& path) : name_(path), handle_(openDatabase(path)) {}

Database::Database(const Guid& productCode)
    : Database(getProductInfo(productCode, INSTALLPROPERTY_LOCALPACKAGE)) {}

Database::Database(MSIHANDLE session)
    : name_(kActiveDatabaseName), handle_(openDatabase(session)) {}

tstring Database::getProperty(const tstring& name) const {
    const tstring query = Text() << _T("SELECT Value FROM Property WHERE Property = '") << name
                                 << _T("'");
    DatabaseView view(*this, query);
    const DatabaseRecord record = view.fetch();
    if (record.getFieldCount() != 1) {
        raise<Error>(kGetProperty,
                     Text() << _T("record.getFieldCount(") << name_ << _T(", ") << query
                            << _T(") returned unexpected value"),
                     UINT{ERROR_SUCCESS});
    }
    return record.getString();
}

tstring Database::tryGetProperty(const tstring& name) const {
    try {
        return getProperty(name);
    } catch (const NoMoreItemsError&) {
        // A package need not have the property.
    } catch (...) {
        logCaught(kGetProperty);
    }
    return tstring();
}

DatabaseView::DatabaseView(const Database& database, const tstring& query,
                           const DatabaseRecord& parameters)
    : query_(query) {
    const auto check = [&](const TCHAR* call, UINT status,
                           const SourceLocation& where = "msi::DatabaseView::DatabaseView") {
        if (status != ERROR_SUCCESS) {
            raise<Error>(where, Text() << call << _T("(") << query << _T(") failed"), status);
        }
    };
    MSIHANDLE view = 0;
    check(_T("MsiDatabaseOpenView"), MsiDatabaseOpenViewW(database.get(), query.c_str(), &view));
    handle_.reset(view);
    check(_T("MsiViewExecute"), MsiViewExecute(view, parameters.get()));
}

DatabaseRecord DatabaseView::tryFetch() {
    MSIHANDLE record = 0;
    const UINT status = MsiViewFetch(handle_.get(), &record);
    if (status == ERROR_NO_MORE_ITEMS) {
        return DatabaseRecord();
    }
    if (status != ERROR_SUCCESS) {
        raise<Error>("msi::DatabaseView::tryFetch",
                     Text() << _T("MsiViewFetch(") << query_ << _T(") failed"), status);
    }
    return DatabaseRecord::fromHandle(record);
}

DatabaseRecord DatabaseView::fetch() {
    DatabaseRecord record = tryFetch();
    if (!record) {
        raise<NoMoreItemsError>(
            "msi::DatabaseView::fetch",
            (Text() << _T("No more items in [") << query_ << _T("] query")).str());
    }
    return record;
}

}  // namespace msi
