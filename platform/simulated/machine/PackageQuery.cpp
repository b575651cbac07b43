#include "simulated/machine/PackageQuery.h"

#include <algorithm>

namespace simulated {

namespace {

struct Token {
    enum class Kind { Word, QuotedName, Literal, Symbol, End } kind;
    std::u16string text;
};

bool isWordUnit(char16_t unit) {
    return (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z') ||
           (unit >= u'0' && unit <= u'9') || unit == u'_' || unit > 0x7F;
}

/// Splits a query; nothing if a quotation isn't closed or a character has no place in a query.
std::optional<std::vector<Token>> tokenize(const std::u16string& text) {
    std::vector<Token> tokens;
    std::size_t at = 0;
    while (at < text.size()) {
        const char16_t unit = text[at];
        if (unit == u' ' || unit == u'\t' || unit == u'\r' || unit == u'\n') {
            ++at;
        } else if (isWordUnit(unit)) {
            const auto end = std::find_if_not(text.begin() + static_cast<std::ptrdiff_t>(at),
                                              text.end(), isWordUnit);
            const auto length = static_cast<std::size_t>(end - text.begin()) - at;
            tokens.push_back({Token::Kind::Word, text.substr(at, length)});
            at += length;
        } else if (unit == u'\'' || unit == u'`') {
            const std::size_t end = text.find(unit, at + 1);
            if (end == std::u16string::npos) {
                return std::nullopt;
            }
            tokens.push_back({unit == u'`' ? Token::Kind::QuotedName : Token::Kind::Literal,
                              text.substr(at + 1, end - at - 1)});
            at = end + 1;
        } else if (text.compare(at, 2, u"<>") == 0) {
            tokens.push_back({Token::Kind::Symbol, u"<>"});
            at += 2;
        } else if (std::u16string_view(u"*,.=?()").find(unit) != std::u16string_view::npos) {
            tokens.push_back({Token::Kind::Symbol, std::u16string(1, unit)});
            ++at;
        } else {
            return std::nullopt;
        }
    }
    tokens.push_back({Token::Kind::End, u""});
    return tokens;
}

}  // namespace

/// Thrown inside the parser alone.
struct BadQuery {};

class PackageQueryParser {
public:
    PackageQueryParser(std::vector<Token> tokens, const Package& package)
        : tokens_(std::move(tokens)), package_(package) {}

    PackageQuery parse() {
        expectKeyword(u"SELECT");
        const std::vector<ColumnName> names = parseColumnNames();
        expectKeyword(u"FROM");
        query_.table_ = parseName();
        table_ = package_.find(query_.table_);
        if (table_ == nullptr) {
            throw BadQuery();
        }
        chooseColumns(names);
        if (takeKeyword(u"WHERE")) {
            query_.condition_ = parseOr();
        }
        if (tokens_[at_].kind != Token::Kind::End) {
            throw BadQuery();
        }
        return query_;
    }

private:
    using Condition = PackageQuery::Condition;
    using Operand = PackageQuery::Operand;

    struct ColumnName {
        std::u16string table;  // empty: not named
        std::u16string column;
    };

    static bool isKeyword(const Token& token, std::u16string_view keyword) {
        return token.kind == Token::Kind::Word &&
               std::equal(token.text.begin(), token.text.end(), keyword.begin(), keyword.end(),
                          [](char16_t unit, char16_t upper) {
                              return unit == upper || unit == upper + (u'a' - u'A');
                          });
    }

    bool takeKeyword(std::u16string_view keyword) {
        const bool found = isKeyword(tokens_[at_], keyword);
        at_ += found ? 1 : 0;
        return found;
    }

    void expectKeyword(std::u16string_view keyword) {
        if (!takeKeyword(keyword)) {
            throw BadQuery();
        }
    }

    bool takeSymbol(std::u16string_view symbol) {
        const bool found = tokens_[at_].kind == Token::Kind::Symbol && tokens_[at_].text == symbol;
        at_ += found ? 1 : 0;
        return found;
    }

    std::u16string parseName() {
        const Token& token = tokens_[at_];
        if (token.kind != Token::Kind::Word && token.kind != Token::Kind::QuotedName) {
            throw BadQuery();
        }
        for (const std::u16string_view reserved :
             {u"SELECT", u"FROM", u"WHERE", u"AND", u"OR", u"IS", u"NOT", u"NULL"}) {
            if (isKeyword(token, reserved)) {
                throw BadQuery();
            }
        }
        ++at_;
        return token.text;
    }

    ColumnName parseColumnName() {
        const std::u16string first = parseName();
        if (!takeSymbol(u".")) {
            return {u"", first};
        }
        return {first, parseName()};
    }

    /// Empty for "*".
    std::vector<ColumnName> parseColumnNames() {
        std::vector<ColumnName> names;
        if (takeSymbol(u"*")) {
            return names;
        }
        do {
            names.push_back(parseColumnName());
        } while (takeSymbol(u","));
        return names;
    }

    std::size_t findColumn(const ColumnName& name) const {
        const auto column = table_->column(name.column);
        if (!column || (!name.table.empty() && name.table != query_.table_)) {
            throw BadQuery();
        }
        return *column;
    }

    void chooseColumns(const std::vector<ColumnName>& names) {
        for (const ColumnName& name : names) {
            query_.columns_.push_back(findColumn(name));
        }
        for (std::size_t i = 0; names.empty() && i < table_->columns().size(); ++i) {
            query_.columns_.push_back(i);
        }
    }

    Condition parseOr() {
        return parseChain(u"OR", Condition::Kind::Or, &PackageQueryParser::parseAnd);
    }

    Condition parseAnd() {
        return parseChain(u"AND", Condition::Kind::And, &PackageQueryParser::parseTerm);
    }

    Condition parseChain(std::u16string_view keyword, Condition::Kind kind,
                         Condition (PackageQueryParser::*parsePart)()) {
        Condition chain{kind, {(this->*parsePart)()}};
        while (takeKeyword(keyword)) {
            chain.parts.push_back((this->*parsePart)());
        }
        return chain;
    }

    Condition parseTerm() {
        if (takeSymbol(u"(")) {
            Condition inner = parseOr();
            if (!takeSymbol(u")")) {
                throw BadQuery();
            }
            return inner;
        }
        const Operand left{Operand::Kind::Column, findColumn(parseColumnName()), u""};
        if (takeKeyword(u"IS")) {
            const bool negated = takeKeyword(u"NOT");
            expectKeyword(u"NULL");
            return {negated ? Condition::Kind::NotEqual : Condition::Kind::Equal,
                    {},
                    left,
                    Operand{Operand::Kind::Literal, 0, u""}};
        }
        const bool equal = takeSymbol(u"=");
        if (!equal && !takeSymbol(u"<>")) {
            throw BadQuery();
        }
        return {
            equal ? Condition::Kind::Equal : Condition::Kind::NotEqual, {}, left, parseOperand()};
    }

    Operand parseOperand() {
        if (takeSymbol(u"?")) {
            return {Operand::Kind::Parameter, query_.parameterCount_++, u""};
        }
        if (tokens_[at_].kind == Token::Kind::Literal) {
            return {Operand::Kind::Literal, 0, tokens_[at_++].text};
        }
        return {Operand::Kind::Column, findColumn(parseColumnName()), u""};
    }

    std::vector<Token> tokens_;
    const Package& package_;
    const Table* table_ = nullptr;
    std::size_t at_ = 0;
    PackageQuery query_;
};

std::optional<std::size_t> Table::column(const std::u16string& name) const {
    const auto found = std::find(columns_.begin(), columns_.end(), name);
    if (found == columns_.end()) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(found - columns_.begin());
}

std::optional<PackageQuery> PackageQuery::parse(const std::u16string& text,
                                                const Package& package) {
    auto tokens = tokenize(text);
    if (!tokens) {
        return std::nullopt;
    }
    try {
        return PackageQueryParser(std::move(*tokens), package).parse();
    } catch (const BadQuery&) {
        return std::nullopt;
    }
}

std::vector<std::vector<std::u16string>> PackageQuery::run(
    const Package& package, const std::vector<std::u16string>& parameters) const {
    std::vector<std::vector<std::u16string>> result;
    for (const std::vector<std::u16string>& row : package.find(table_)->rows()) {
        if (condition_ && !condition_->holds(row, parameters)) {
            continue;
        }
        std::vector<std::u16string> chosen;
        for (const std::size_t column : columns_) {
            chosen.push_back(row[column]);
        }
        result.push_back(std::move(chosen));
    }
    return result;
}

const std::u16string& PackageQuery::valueOf(const Operand& operand,
                                            const std::vector<std::u16string>& row,
                                            const std::vector<std::u16string>& parameters) {
    switch (operand.kind) {
        case Operand::Kind::Column:
            return row[operand.index];
        case Operand::Kind::Parameter:
            return parameters[operand.index];
        case Operand::Kind::Literal:
            break;
    }
    return operand.text;
}

bool PackageQuery::Condition::holds(const std::vector<std::u16string>& row,
                                    const std::vector<std::u16string>& parameters) const {
    const auto partHolds = [&](const Condition& part) { return part.holds(row, parameters); };
    switch (kind) {
        case Kind::And:
            return std::all_of(parts.begin(), parts.end(), partHolds);
        case Kind::Or:
            return std::any_of(parts.begin(), parts.end(), partHolds);
        case Kind::Equal:
            return valueOf(left, row, parameters) == valueOf(right, row, parameters);
        case Kind::NotEqual:
            break;
    }
    return valueOf(left, row, parameters) != valueOf(right, row, parameters);
}

}  // namespace simulated
