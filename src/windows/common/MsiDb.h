// Databases of the Windows Installer.
#pragma once

#include <windows.h>
#include <msi.h>
#include <msiquery.h>

#include "common/share/tstring.h"
#include "common/windows/WinAutoHandle.h"
#include "windows/common/Guid.h"

namespace msi {

/// Calls MsiCloseHandle unless the handle is 0. Logs a failure.
void closeMSIHANDLE(MSIHANDLE handle) noexcept;

/// Calls MsiViewClose, then MsiCloseHandle, unless the handle is 0. Logs a failure; a view that
/// can't be closed keeps its handle.
void closeDatabaseView(MSIHANDLE handle) noexcept;

/// A record, or none. Fields are numbered from 1; field 0 is the template.
class DatabaseRecord {
public:
    /// Holds no record.
    DatabaseRecord() = default;
    /// Creates a record with empty fields. Throws msi::Error.
    explicit DatabaseRecord(UINT fieldCount);
    /// Takes ownership of a record handle.
    static DatabaseRecord fromHandle(MSIHANDLE handle);

    explicit operator bool() const { return static_cast<bool>(handle_); }
    MSIHANDLE get() const { return handle_.get(); }

    /// Throws msi::Error.
    UINT getFieldCount() const;
    /// Throws msi::Error.
    void setString(UINT field, const tstring& value);
    /// Returns the string of field 1. Throws msi::Error.
    tstring getString() const;

private:
    AutoHandle<MSIHANDLE, closeMSIHANDLE> handle_;
};

/// A database, closed by the destructor.
class Database {
public:
    /// Opens a package file for reading. Throws msi::Error.
    explicit Database(const tstring& path);
    /// Opens the cached package of an installed product for reading. Throws msi::Error.
    explicit Database(const Guid& productCode);
    /// Opens the database of the running installation, whose name is "*CA*". Throws msi::Error.
    explicit Database(MSIHANDLE session);

    MSIHANDLE get() const { return handle_.get(); }

    /// Returns a value of the table "Property". Throws msi::NoMoreItemsError if it doesn't exist,
    /// msi::Error for other failures. The name is inserted into a query without escaping.
    tstring getProperty(const tstring& name) const;

    /// The same, but returns an empty string on failure. A missing name is not logged.
    tstring tryGetProperty(const tstring& name) const;

private:
    tstring name_;
    AutoHandle<MSIHANDLE, closeMSIHANDLE> handle_;
};

/// The rows of a query's result. The database must outlive the view.
class DatabaseView {
public:
    /// Opens and executes the query; the fields of the record, if there is one, are its parameters.
    /// Throws msi::Error.
    DatabaseView(const Database& database, const tstring& query,
                 const DatabaseRecord& parameters = DatabaseRecord());

    /// Returns the next row, or no record after the last one. Throws msi::Error.
    DatabaseRecord tryFetch();

    /// Returns the next row; throws msi::NoMoreItemsError after the last one.
    DatabaseRecord fetch();

private:
    tstring query_;
    AutoHandle<MSIHANDLE, closeDatabaseView> handle_;
};

}  // namespace msi
