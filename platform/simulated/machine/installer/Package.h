// An installer database: tables of named columns and rows.
#pragma once

#include <winerror.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace simulated {

/// One table. All values are strings; an empty one is null, as in the installer.
class Table {
public:
    Table() = default;
    explicit Table(std::vector<std::u16string> columns) : columns_(std::move(columns)) {}

    /// Adds a row: its values in the order of the columns; those left out are null.
    Table& row(std::vector<std::u16string> values) {
        values.resize(columns_.size());
        rows_.push_back(std::move(values));
        return *this;
    }

    const std::vector<std::u16string>& columns() const { return columns_; }
    const std::vector<std::vector<std::u16string>>& rows() const { return rows_; }

    /// Returns the index of a column, or nothing. Names are case-sensitive.
    std::optional<std::size_t> column(const std::u16string& name) const;

private:
    std::vector<std::u16string> columns_;
    std::vector<std::vector<std::u16string>> rows_;
};

/// A database of a package file or of a running installation.
class Package {
public:
    /// Returns the table of this name; creates it if it is missing.
    Table& table(const std::u16string& name, const std::vector<std::u16string>& columns) {
        return tables_.try_emplace(name, Table(columns)).first->second;
    }

    /// Returns the table of this name, or null. Names are case-sensitive.
    const Table* find(const std::u16string& name) const {
        const auto found = tables_.find(name);
        return found == tables_.end() ? nullptr : &found->second;
    }

    /// Makes every try to open the package fail with this status, as a damaged or locked file does.
    Package& unreadable(std::uint32_t status) {
        openStatus_ = status;
        return *this;
    }

    /// Returns the status of opening; 0 unless the package was made unreadable.
    std::uint32_t openStatus() const { return openStatus_; }

private:
    std::map<std::u16string, Table> tables_;
    std::uint32_t openStatus_ = 0;
};

}  // namespace simulated
