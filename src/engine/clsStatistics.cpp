#include "engine/clsStatistics.h"

#include "database/classRulesDatabase.h"

std::int32_t clsStatistics::IncomingRuleCount() const { return Count(kIncomingRuleCountSql); }
std::int32_t clsStatistics::OutgoingRuleCount() const { return Count(kOutgoingRuleCountSql); }
std::int32_t clsStatistics::JunkAddressCount() const { return Count(kJunkAddressCountSql); }

std::int32_t clsStatistics::Count(const char* sql) const {
    // GetCount traps and logs its own failures and gives 0.
    return mDatabase ? static_cast<std::int32_t>(mDatabase->GetCount(sql)) : 0;
}
