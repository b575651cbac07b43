// What stands behind the installer's handles, and the rules that its calls share.
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
    /// A record has its template in field 0 and `count` fields behind it.
    explicit MsiRecord(std::size_t count) : fields(count + 1) {}
    explicit MsiRecord(const PackageQuery::Row& values) : fields(1) {
        fields.insert(fields.end(), values.begin(), values.end());
    }
    std::string description() const override { return "record"; }

    std::size_t count() const { return fields.size() - 1; }

    PackageQuery::Row fields;
};

/// A database is read as it stood when it was opened.
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

    /// Runs the query; false if there are too few parameters, or if it runs already: a view is
    /// executed again when all rows have been fetched or it has been closed.
    bool execute(const MsiRecord* parameters);
    bool executed() const { return executed_; }
    /// Returns the next row; once nothing after the last one, and then the first row again.
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

/// The open object behind a handle; refuses if there is none of this type.
template <class T>
std::shared_ptr<T> msiObject(MSIHANDLE handle) {
    auto found = installer().find<T>(handle);
    demand(found != nullptr, ERROR_INVALID_HANDLE);
    return found;
}

/// The session behind an open handle; refuses if there is none.
InstallSession& openSession(MSIHANDLE handle);

/// The installer's rule for a text that it gives out. `count` holds the buffer's size, which counts
/// the NUL, and gets the text's length, which doesn't. A null buffer asks for the length alone. A
/// text that doesn't fit is cut, with its NUL, and refused with ERROR_MORE_DATA.
void giveText(const std::u16string& text, LPWSTR buffer, DWORD* count);

/// The text that a record makes by its template, in which "[n]" stands for a field.
std::u16string formatRecord(const MsiRecord& record);

}  // namespace simulated
