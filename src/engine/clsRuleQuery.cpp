#include "engine/clsRuleQuery.h"

#include "foundation/CommonHelpers.h"

std::string_view clsRuleQuery::Domain(std::string_view address) {
    const size_t at = address.find('@');
    return at == std::string_view::npos ? std::string_view() : address.substr(at);
}

std::string clsRuleQuery::Build(std::string_view sender, const clsRecipientSet& recipients,
                                bool includeDisabled, bool incoming) {
    std::string sql = "SELECT ID, BodyContains, SubjectContains, StopProcessing FROM Rules WHERE";
    if (!includeDisabled) {
        sql += " Enabled=TRUE AND";
    }
    sql += " FromEmail IN (\"" + SQLEscapeString(sender, false) + "\",'" +
           SQLEscapeString(Domain(sender), false) + "','')";
    sql += " AND ToEmail IN (";
    bool first = true;
    for (const std::string& address : recipients.Keys()) {
        sql += first ? "'" : ",'";
        sql +=
            SQLEscapeString(address, false) + "','" + SQLEscapeString(Domain(address), false) + "'";
        first = false;
    }
    sql += incoming ? ") AND IncomingRule=TRUE" : ") AND IncomingRule=FALSE";
    sql += " ORDER BY Priority;";
    return sql;
}
