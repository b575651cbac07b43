// The installer's SQL, as far as it reads: SELECT columns FROM table WHERE condition.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "simulated/machine/Package.h"

namespace simulated {

/// A query that has been checked against its database.
///
///     SELECT <column>, … | * FROM <table> [WHERE <condition>]
///
/// A condition compares a column with a literal in single quotes, with another column or with the
/// parameter marker "?" by = or <>, or tests it by IS NULL or IS NOT NULL; AND binds tighter than
/// OR, parentheses group. Keywords have no case, names have. A name may stand in grave accents, and
/// a column behind its table's name and a dot. A literal can't hold a single quote.
class PackageQuery {
public:
    /// Nothing if the text is no such query or names a table or column that the package lacks.
    static std::optional<PackageQuery> parse(const std::u16string& text, const Package& package);

    /// The number of parameter markers.
    std::size_t parameterCount() const { return parameterCount_; }

    /// The rows of the package that fit, in its order, cut to the chosen columns. There must be as
    /// many parameters as markers.
    std::vector<std::vector<std::u16string>> run(
        const Package& package, const std::vector<std::u16string>& parameters) const;

private:
    friend class PackageQueryParser;

    struct Operand {
        enum class Kind { Column, Literal, Parameter } kind;
        std::size_t index = 0;  // of the column or the parameter
        std::u16string text;    // of the literal
    };

    struct Condition {
        enum class Kind { And, Or, Equal, NotEqual } kind;
        std::vector<Condition> parts;  // of And and Or
        Operand left{};
        Operand right{};

        bool holds(const std::vector<std::u16string>& row,
                   const std::vector<std::u16string>& parameters) const;
    };

    static const std::u16string& valueOf(const Operand& operand,
                                         const std::vector<std::u16string>& row,
                                         const std::vector<std::u16string>& parameters);

    std::u16string table_;
    std::vector<std::size_t> columns_;
    std::optional<Condition> condition_;
    std::size_t parameterCount_ = 0;
};

}  // namespace simulated
