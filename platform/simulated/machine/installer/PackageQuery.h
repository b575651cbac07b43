// The queries on a package that are supported, all of one shape:
//
//     SELECT <column> | * FROM <table> [WHERE <column> = <value> [OR <column> = <value>] …]
//
// A value is a string in single quotes or the parameter marker "?".
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "simulated/machine/installer/Package.h"

namespace simulated {

/// A query that has been checked against its database, which has to outlive it.
class PackageQuery {
public:
    using Row = std::vector<std::u16string>;

    /// Reads a query. Returns nothing if a quotation isn't closed, or if the table or a column is
    /// missing. Any other query that hasn't the shape is not supported.
    static std::optional<PackageQuery> parse(const std::u16string& text, const Package& package);

    /// The number of parameter markers.
    std::size_t parameterCount() const { return parameterCount_; }

    /// Returns the rows that match, in their order, cut to the chosen column. There must be as many
    /// parameters as markers.
    std::vector<Row> run(const Row& parameters) const;

private:
    struct Condition {
        std::size_t column;
        std::optional<std::u16string> text;  ///< none for a marker
    };

    /// Adds a condition; returns false if there is no such column.
    bool addCondition(const std::string& column, const std::string& value);

    const Table* table_ = nullptr;
    std::optional<std::size_t> column_;    ///< none for "*"
    std::vector<Condition> alternatives_;  ///< every row matches if there are none
    std::size_t parameterCount_ = 0;
};

}  // namespace simulated
