#pragma once
// classRule: a rule handle kept only so that its members exist for callers written against it;
// rule data travels as clsRuleRecord. Every getter gives 0 or false and the loaders do nothing.

#include <cstdint>

class clsRecordset;

class classRule {
public:
    std::int32_t ID() const { return 0; }
    std::int16_t ActionCount() const { return 0; }
    bool Copy() const { return false; }
    void LoadRule(std::int32_t /*id*/) {}
    void LoadRuleFromRS(const clsRecordset& /*rs*/) {}
};
