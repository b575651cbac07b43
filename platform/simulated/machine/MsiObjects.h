// What stands behind the installer's handles, and the rules that its calls share.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "simulated/machine/Calls.h"
#include "simulated/machine/Installer.h"
#include "simulated/machine/PackageQuery.h"
#include "simulated/machine/Wide.h"

namespace simulated {

class MsiRecord : public MsiObject {
public:
    /// A record has its template in field 0 and `count` fields behind it.
    explicit MsiRecord(std::size_t count) : fields(count + 1) {}
    explicit MsiRecord(const std::vector<std::u16string>& values) : fields(1) {
        fields.insert(fields.end(), values.begin(), values.end());
    }
    std::string description() const override { return "record"; }

    std::size_t count() const { return fields.size() - 1; }

    std::vector<std::u16string> fields;
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

    /// Runs the query; false if there are too few parameters. `parameters` may be null.
    bool execute(const MsiRecord* parameters);
    bool executed() const { return executed_; }
    /// The next row; nothing behind the last one.
    std::optional<std::vector<std::u16string>> fetch();
    void close() { executed_ = false; }

private:
    std::u16string text_;
    PackageQuery query_;
    std::shared_ptr<const Package> package_;
    std::vector<std::vector<std::u16string>> rows_;
    std::size_t next_ = 0;
    bool executed_ = false;
};

/// The installer's rule for a text that it gives out. `count` holds the buffer's size, which counts
/// the NUL, and gets the text's length, which doesn't. A null buffer asks for the length alone. A
/// text that doesn't fit is cut, with its NUL, and the status is ERROR_MORE_DATA.
UINT giveText(const std::u16string& text, LPWSTR buffer, DWORD* count);

/// The text that a record makes by its template, as MsiFormatRecord does for "[n]" and
/// "[property]". Without a template it lists the fields: "1: a 2: b ".
std::u16string formatRecord(const MsiRecord& record, const InstallSession& session);

}  // namespace simulated
