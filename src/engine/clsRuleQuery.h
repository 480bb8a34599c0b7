#pragma once
// clsRuleQuery: the text of the one query that finds the rules that may apply to an item, built
// from its sender, recipients and direction, with every value through the SQL literal escaper.
// The sender's address goes in double quotes, every other value in single quotes; both are
// literals in the database's dialect. Pure; any thread; never throws but std::bad_alloc.

#include <string>
#include <string_view>

#include "engine/clsRecipientSet.h"

class clsRuleQuery {
public:
    static std::string Build(std::string_view sender, const clsRecipientSet& recipients,
                             bool includeDisabled, bool incoming);
    // From the first "@" on, or "" when there is none.
    static std::string_view Domain(std::string_view address);
};
