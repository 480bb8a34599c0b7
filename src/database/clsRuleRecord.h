#pragma once
// clsRuleRecord: one rule as it travels between the engine, the rule editor and the database:
// its criteria and its ordered actions. A plain value, copied freely.

#include <cstdint>
#include <string>
#include <vector>

struct clsRuleAction {
    std::int32_t ActionID = 0;  // RuleActions.ID; 0 = not yet stored
    std::int32_t RuleID = 0;    // the rule it belongs to, as read back; 0 = not yet stored
    bool Copy = false;          // with a TargetFolder: copy (true) or move (false)
    std::string TargetFolder;   // folder path; empty = no move or copy
    bool Delete = false;
    bool MarkAsRead = false;
    std::string ChangeImportanceTo;  // "H", "N" or "L" (either case); empty = unchanged
    std::string ForwardTo;
    std::string AutoReply;  // auto-reply template reference
};

struct clsRuleRecord {
    std::int32_t ID = 0;  // Rules.ID; 0 = not yet stored
    std::string RuleName;
    std::int32_t Priority = 0;  // lower runs first; 0 on a new rule = take the new ID
    std::string FromEmail;      // empty = any sender
    std::string ToEmail;        // empty = any recipient
    std::string SubjectContains;
    std::string BodyContains;
    bool StopProcessing = false;
    bool IncomingRule = true;  // true = on arrival, false = on sending
    std::int32_t GroupID = 0;
    bool Enabled = true;
    std::vector<clsRuleAction> Actions;
};
