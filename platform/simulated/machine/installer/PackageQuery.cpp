#include "simulated/machine/installer/PackageQuery.h"

#include <algorithm>
#include <regex>

#include "simulated/machine/Calls.h"
#include "simulated/machine/Wide.h"

namespace simulated {

namespace {

#define NORV_CONDITION R"((\w+) ?= ?('[^']*'|\?))"
const std::regex kShape(R"(SELECT (\*|\w+) FROM (\w+)( WHERE ()" NORV_CONDITION
                        "( OR " NORV_CONDITION ")*))?");
const std::regex kCondition(NORV_CONDITION);

}  // namespace

std::optional<std::size_t> Table::column(const std::u16string& name) const {
    const auto found = std::find(columns_.begin(), columns_.end(), name);
    if (found == columns_.end()) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(found - columns_.begin());
}

std::optional<PackageQuery> PackageQuery::parse(const std::u16string& text,
                                                const Package& package) {
    if (std::count(text.begin(), text.end(), u'\'') % 2 != 0) {
        return std::nullopt;
    }
    const std::string query = toUtf8(text);
    std::smatch parts;
    if (!std::regex_match(query, parts, kShape)) {
        notSupported("MsiDatabaseOpenViewW", "the query \"" + query + "\"");
    }
    PackageQuery result;
    result.table_ = package.find(fromUtf8(parts[2].str()));
    if (result.table_ == nullptr) {
        return std::nullopt;
    }
    if (parts[1] != "*") {
        result.column_ = result.table_->column(fromUtf8(parts[1].str()));
        if (!result.column_) {
            return std::nullopt;
        }
    }
    const std::string conditions = parts[4];
    for (std::sregex_iterator condition(conditions.begin(), conditions.end(), kCondition), end;
         condition != end; ++condition) {
        if (!result.addCondition((*condition)[1], (*condition)[2])) {
            return std::nullopt;
        }
    }
    return result;
}

bool PackageQuery::addCondition(const std::string& columnName, const std::string& value) {
    const auto column = table_->column(fromUtf8(columnName));
    if (!column) {
        return false;
    }
    if (value == "?") {
        alternatives_.push_back({*column, std::nullopt});
        ++parameterCount_;
    } else {
        alternatives_.push_back({*column, fromUtf8(value.substr(1, value.size() - 2))});
    }
    return true;
}

std::vector<PackageQuery::Row> PackageQuery::run(const Row& parameters) const {
    std::vector<Row> result;
    for (const Row& row : table_->rows()) {
        auto parameter = parameters.begin();
        bool fits = alternatives_.empty();
        for (const Condition& condition : alternatives_) {
            fits =
                row[condition.column] == (condition.text ? *condition.text : *parameter++) || fits;
        }
        if (fits) {
            result.push_back(column_ ? Row{row[*column_]} : row);
        }
    }
    return result;
}

}  // namespace simulated
