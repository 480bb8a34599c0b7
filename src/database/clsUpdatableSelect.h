#pragma once
// clsUpdatableSelect: decides whether a translated SELECT reads plain rows of exactly one table
// (one table after FROM, no JOIN or comma, no DISTINCT, GROUP BY, HAVING, compound SELECT,
// aggregate or window function) and if so adds that table's rowid as a last result column, so the
// recordset can write its rows back, and orders rows that tie (or all rows, without ORDER BY) by
// rowid, as Jet returns them in store order. Used by clsDbConnection::Query. Pure function: any
// thread.
// Failure: std::nullopt, meaning "not updatable"; the caller runs the statement as it is.

#include <optional>
#include <string>
#include <string_view>

class clsUpdatableSelect {
public:
    static constexpr std::string_view kRowIdColumn = "__corvel_rowid";

    static std::optional<std::string> AddRowId(std::string_view sqliteSql);
};
