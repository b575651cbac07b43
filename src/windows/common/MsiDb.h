// Databases of the Windows Installer.
#pragma once

#include <windows.h>
#include <msi.h>
#include <msiquery.h>

#include "common/share/tstring.h"
#include "common/windows/WinAutoHandle.h"
#include "windows/common/Guid.h"

namespace msi {

/// MsiCloseHandle; 0 is skipped. A failure is a log record.
void closeMSIHANDLE(MSIHANDLE handle) noexcept;

/// MsiViewClose, then MsiCloseHandle; 0 is skipped. A failure is a log record, and a view that
/// can't be closed keeps its handle.
void closeDatabaseView(MSIHANDLE handle) noexcept;

/// A record, or none. Field numbers count from 1; field 0 is the template.
class DatabaseRecord {
public:
    /// No record.
    DatabaseRecord() = default;
    /// A new record with empty fields. Throws msi::Error.
    explicit DatabaseRecord(UINT fieldCount);
    /// Takes over a record of the installer's.
    static DatabaseRecord fromHandle(MSIHANDLE handle);

    explicit operator bool() const { return static_cast<bool>(handle_); }
    MSIHANDLE get() const { return handle_.get(); }

    /// Throws msi::Error.
    UINT getFieldCount() const;
    /// Throws msi::Error.
    void setString(UINT field, const tstring& value);
    /// The text of field 1. Throws msi::Error.
    tstring getString() const;

private:
    AutoHandle<MSIHANDLE, closeMSIHANDLE> handle_;
};

/// A database, closed with this object.
class Database {
public:
    /// Opens the cached package of an installed product for reading. Throws msi::Error.
    explicit Database(const Guid& productCode);
    /// Takes the database of the running installation, whose name is "*CA*". Throws msi::Error.
    explicit Database(MSIHANDLE session);

    MSIHANDLE get() const { return handle_.get(); }

    /// A value of the table "Property". Throws msi::NoMoreItemsError if there is none of that name,
    /// msi::Error for other failures. The name is put into a query as it stands.
    tstring getProperty(const tstring& name) const;

    /// The same, but empty for every failure. A name that isn't there leaves no record.
    tstring tryGetProperty(const tstring& name) const;

private:
    tstring name_;
    AutoHandle<MSIHANDLE, closeMSIHANDLE> handle_;
};

/// The rows that a query gives. The database must outlive the view.
class DatabaseView {
public:
    /// Opens and executes the query; its parameters are the fields of the record, if there is one.
    /// Throws msi::Error.
    DatabaseView(const Database& database, const tstring& query,
                 const DatabaseRecord& parameters = DatabaseRecord());

    /// The next row; no record behind the last one. Throws msi::Error.
    DatabaseRecord tryFetch();

    /// The next row; throws msi::NoMoreItemsError behind the last one.
    DatabaseRecord fetch();

private:
    tstring query_;
    AutoHandle<MSIHANDLE, closeDatabaseView> handle_;
};

}  // namespace msi
