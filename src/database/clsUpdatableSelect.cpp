#include "database/clsUpdatableSelect.h"

#include <exception>
#include <initializer_list>
#include <vector>

#include "database/clsSqlTokenizer.h"

namespace {

using Token = clsSqlTokenizer::Token;
using Kind = clsSqlTokenizer::Kind;

bool IsAnyWord(const Token& token, std::initializer_list<std::string_view> words) {
    for (std::string_view word : words) {
        if (clsSqlTokenizer::IsWord(token, word)) {
            return true;
        }
    }
    return false;
}

// Words that make the rows something other than one table's rows, wherever they stand outside
// parentheses.
bool SpoilsRows(const Token& token) {
    return IsAnyWord(token, {"DISTINCT", "GROUP", "HAVING", "UNION", "INTERSECT", "EXCEPT",
                             "WINDOW", "OVER", "JOIN"});
}

bool IsAggregate(const Token& token) {
    return IsAnyWord(token, {"COUNT", "SUM", "AVG", "MIN", "MAX", "TOTAL", "GROUP_CONCAT",
                             "STRING_AGG", "FIRST", "LAST", "STDEV", "VAR"});
}

// Words that may follow the table name where an alias could stand.
bool EndsTableReference(const Token& token) {
    return IsAnyWord(token, {"WHERE", "ORDER", "LIMIT"});
}

bool IsName(const Token& token) {
    return (token.What == Kind::Word || token.What == Kind::Bracketed) &&
           !EndsTableReference(token) && !SpoilsRows(token);
}

// The non-blank tokens outside parentheses, in order; false when the text cannot be read.
bool TopLevelTokens(std::string_view sql, std::vector<Token>& topLevel) {
    std::vector<Token> tokens;
    if (!clsSqlTokenizer::Split(sql, tokens).IsOk()) {
        return false;
    }
    int depth = 0;
    for (std::size_t i = 0; i < tokens.size(); ++i) {
        const Token& token = tokens[i];
        if (clsSqlTokenizer::IsPunctuation(token, ')')) {
            --depth;
        } else if (depth == 0 && token.What != Kind::Blank) {
            topLevel.push_back(token);
        }
        if (clsSqlTokenizer::IsPunctuation(token, '(')) {
            ++depth;
        }
    }
    return depth == 0;
}

// Reads "name[.name...] [[AS] alias]" at index; gives the text that qualifies the rowid.
bool ReadTableReference(const std::vector<Token>& tokens, std::size_t& index,
                        std::string& qualifier) {
    if (index >= tokens.size() || !IsName(tokens[index])) {
        return false;
    }
    const char* start = tokens[index].Text.data();
    while (index + 2 < tokens.size() && clsSqlTokenizer::IsPunctuation(tokens[index + 1], '.') &&
           IsName(tokens[index + 2])) {
        index += 2;
    }
    const Token& last = tokens[index++];
    qualifier.assign(start, static_cast<std::size_t>(last.Text.data() + last.Text.size() - start));
    if (index < tokens.size() && clsSqlTokenizer::IsWord(tokens[index], "AS")) {
        ++index;
        if (index >= tokens.size() || !IsName(tokens[index])) {
            return false;
        }
    }
    if (index < tokens.size() && IsName(tokens[index])) {
        qualifier = tokens[index++].Text;  // an alias hides the table's own name
    }
    return true;
}

std::size_t OffsetOf(std::string_view sql, const Token& token) {
    return static_cast<std::size_t>(token.Text.data() - sql.data());
}

// The index of the FROM after a select list of plain columns, or tokens.size().
std::size_t PlainFrom(const std::vector<Token>& tokens) {
    std::size_t from = 1;
    for (; from < tokens.size() && !clsSqlTokenizer::IsWord(tokens[from], "FROM"); ++from) {
        const bool call =
            from + 1 < tokens.size() && clsSqlTokenizer::IsPunctuation(tokens[from + 1], '(');
        if (SpoilsRows(tokens[from]) || (call && IsAggregate(tokens[from]))) {
            return tokens.size();
        }
    }
    return from;
}

// Checks the clauses from index on; gives where the ORDER BY list ends (at LIMIT or the end of
// the text) and whether there is one, or nothing when a clause spoils the rows.
std::optional<std::size_t> OrderByEnd(std::string_view sql, const std::vector<Token>& tokens,
                                      std::size_t index, bool& ordered) {
    ordered = false;
    for (; index < tokens.size(); ++index) {
        if (SpoilsRows(tokens[index])) {
            return std::nullopt;
        }
        if (clsSqlTokenizer::IsWord(tokens[index], "LIMIT")) {
            return OffsetOf(sql, tokens[index]);
        }
        ordered = ordered || clsSqlTokenizer::IsWord(tokens[index], "ORDER");
    }
    return sql.size();
}

}  // namespace

std::optional<std::string> clsUpdatableSelect::AddRowId(std::string_view sqliteSql) {
    try {
        std::vector<Token> tokens;
        if (!TopLevelTokens(sqliteSql, tokens) || tokens.empty() ||
            !clsSqlTokenizer::IsWord(tokens[0], "SELECT")) {
            return std::nullopt;
        }
        const std::size_t from = PlainFrom(tokens);
        std::size_t index = from + 1;
        std::string qualifier;
        if (from == tokens.size() || !ReadTableReference(tokens, index, qualifier) ||
            (index < tokens.size() && !EndsTableReference(tokens[index]))) {
            return std::nullopt;
        }
        bool ordered = false;
        const std::optional<std::size_t> orderEnd = OrderByEnd(sqliteSql, tokens, index, ordered);
        if (!orderEnd) {
            return std::nullopt;
        }
        // Jet hands rows that tie in the ORDER BY (or all rows, without one) over in store order.
        const std::size_t fromOffset = OffsetOf(sqliteSql, tokens[from]);
        return std::string(sqliteSql.substr(0, fromOffset)) + ", " + qualifier + ".rowid AS " +
               std::string(kRowIdColumn) + " " +
               std::string(sqliteSql.substr(fromOffset, *orderEnd - fromOffset)) +
               (ordered ? ", " : " ORDER BY ") + qualifier + ".rowid " +
               std::string(sqliteSql.substr(*orderEnd));
    } catch (const std::exception&) {
        return std::nullopt;
    }
}
