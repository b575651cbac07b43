// The objects that the installer's handles refer to, and the rules that its functions share.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "simulated/machine/Machine.h"
#include "simulated/machine/installer/PackageQuery.h"
#include "simulated/machine/Wide.h"

namespace simulated {

class MsiRecord : public MsiObject {
public:
    /// A record has its template in field 0, followed by `count` fields.
    explicit MsiRecord(std::size_t count) : fields(count + 1) {}
    explicit MsiRecord(const PackageQuery::Row& values) : fields(1) {
        fields.insert(fields.end(), values.begin(), values.end());
    }
    std::string description() const override { return "record"; }

    std::size_t count() const { return fields.size() - 1; }

    PackageQuery::Row fields;
};

/// A database; it is read as it was when it was opened.
class MsiDatabase : public MsiObject {
public:
    MsiDatabase(std::string path, const Package& opened)
        : package(std::make_shared<const Package>(opened)), path_(std::move(path)) {}
    std::string description() const override { return "database " + path_; }

    const std::shared_ptr<const Package> package;

private:
    std::string path_;
};

class MsiView : public MsiObject {
public:
    MsiView(std::shared_ptr<const Package> package, const std::u16string& text, PackageQuery query)
        : text_(text), query_(std::move(query)), package_(std::move(package)) {}
    std::string description() const override { return "view " + toUtf8(text_); }

    /// Runs the query. Returns false if there are too few parameters, or if the view was executed
    /// before and neither closed nor read to its end.
    bool execute(const MsiRecord* parameters);
    bool executed() const { return executed_; }
    /// Returns the next row, or nothing after the last one. The call after that starts again with
    /// the first row.
    std::optional<PackageQuery::Row> fetch();
    void close() { executed_ = false; }

private:
    std::u16string text_;
    PackageQuery query_;
    std::shared_ptr<const Package> package_;
    std::vector<PackageQuery::Row> rows_;
    std::size_t next_ = 0;
    bool executed_ = false;
    bool isFetched_ = false;  ///< all rows
};

inline Installer& installer() {
    return Machine::current().installer;
}

/// Returns the object of an open handle; refuses a handle of another type or none.
template <class T>
std::shared_ptr<T> msiObject(MSIHANDLE handle) {
    auto found = installer().find<T>(handle);
    demand(found != nullptr, ERROR_INVALID_HANDLE);
    return found;
}

/// Returns the session of an open handle; refuses any other handle.
InstallSession& openSession(MSIHANDLE handle);

/// Copies a string to a caller by the installer's rule. `count` holds the size of the buffer, with
/// the NUL, and receives the length of the string, without it. With a null buffer the length alone
/// is returned. A string that doesn't fit is cut, ends in a NUL, and the call fails with
/// ERROR_MORE_DATA.
void copyText(const std::u16string& text, LPWSTR buffer, DWORD* count);

/// Returns the template of a record with each "[n]" replaced by that field.
std::u16string formatRecord(const MsiRecord& record);

}  // namespace simulated
