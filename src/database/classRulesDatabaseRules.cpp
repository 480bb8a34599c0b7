// classRulesDatabase: rule records and their actions.
#include <algorithm>

#include "database/classRulesDatabase.h"
#include "foundation/CommonHelpers.h"

namespace {

std::string Quote(std::string_view text) { return "'" + SQLEscapeString(text, false) + "'"; }

// "Column='text'" or, for an empty criterion, one that an empty text and Null both satisfy.
std::string Criterion(std::string_view column, std::string_view value) {
    if (value.empty()) {
        return "(" + std::string(column) + "='' OR " + std::string(column) + " IS NULL)";
    }
    return std::string(column) + "=" + Quote(value);
}

std::string JoinIDs(const std::vector<std::int32_t>& ids, std::string_view separator) {
    std::string joined;
    for (std::int32_t id : ids) {
        joined += (joined.empty() ? "" : std::string(separator)) + std::to_string(id);
    }
    return joined;
}

std::string ImportanceWord(std::string_view letter) {
    const std::string lower = AsciiLower(std::string(letter));
    if (lower == "h") {
        return "high";
    }
    if (lower == "n") {
        return "normal";
    }
    return lower == "l" ? "low" : "";
}

}  // namespace

bool classRulesDatabase::AddUpdateRule(clsRuleRecord& rule) {
    try {
        rule.SubjectContains = AsciiLower(rule.SubjectContains);
        rule.BodyContains = AsciiLower(rule.BodyContains);
        mLog.AddLog("RulesDatabase->AddUpdateRule: Subject=" + rule.SubjectContains);
        mLog.AddLog("RulesDatabase->AddUpdateRule: Body=" + rule.BodyContains);
        if (rule.ID >= 1) {
            UpdateRule(rule);
        } else if (!FindIdenticalRule(rule)) {
            InsertRule(rule);
        }
        if (rule.ID < 1) {
            throw std::runtime_error("the rule was not stored");
        }
        for (clsRuleAction& action : rule.Actions) {
            StoreAction(rule.ID, action);
        }
        return true;
    } catch (const std::exception& error) {
        mLog.AddErrorLog("RulesDatabase->AddUpdateRule", error);
    }
    mUi.ShowMessage("Failed to create/update rule.", "Critical Error", MessageButtons::Ok,
                    MessageIcon::Critical, MessageAnswer::Ok);
    return false;
}

void classRulesDatabase::UpdateRule(const clsRuleRecord& rule) {
    long affected = 0;
    const std::string sql =
        "UPDATE Rules SET FromEmail=" + Quote(rule.FromEmail) + ", ToEmail=" + Quote(rule.ToEmail) +
        ", SubjectContains=" + Quote(rule.SubjectContains) +
        ", BodyContains=" + Quote(rule.BodyContains) +
        ", Priority=" + std::to_string(rule.Priority) + ", RuleName=" + Quote(rule.RuleName) +
        ", StopProcessing=" + SQLBoolean(rule.StopProcessing) +
        ", IncomingRule=" + SQLBoolean(rule.IncomingRule) +
        ",GroupID=" + std::to_string(rule.GroupID) + ",Enabled=" + SQLBoolean(rule.Enabled) +
        " WHERE ID=" + std::to_string(rule.ID);
    if (!RunCommand(sql, affected)) {
        throw std::runtime_error("the rule could not be updated");
    }
}

bool classRulesDatabase::FindIdenticalRule(clsRuleRecord& rule) {
    const std::string sql = "SELECT ID FROM Rules WHERE " + Criterion("FromEmail", rule.FromEmail) +
                            " AND " + Criterion("ToEmail", rule.ToEmail) + " AND " +
                            Criterion("SubjectContains", rule.SubjectContains) + " AND " +
                            Criterion("BodyContains", rule.BodyContains) +
                            " AND IncomingRule=" + SQLBoolean(rule.IncomingRule) +
                            " AND StopProcessing=" + SQLBoolean(rule.StopProcessing);
    const std::unique_ptr<clsRecordset> rs = GetRS(sql);
    if (!rs || rs->RecordCount() != 1) {
        return false;
    }
    rule.ID = static_cast<std::int32_t>(rs->Field("ID").AsLong());
    return true;
}

void classRulesDatabase::InsertRule(clsRuleRecord& rule) {
    long affected = 0;
    const std::string sql =
        "INSERT INTO Rules (GroupID, FromEmail, ToEmail, SubjectContains, BodyContains, RuleName, "
        "Priority, IncomingRule, Enabled) VALUES (" +
        std::to_string(rule.GroupID) + ", " + Quote(rule.FromEmail) + ", " + Quote(rule.ToEmail) +
        ", " + Quote(rule.SubjectContains) + ", " + Quote(rule.BodyContains) + ", " +
        Quote(rule.RuleName) + ", " + std::to_string(rule.Priority) + ", " +
        SQLBoolean(rule.IncomingRule) + ", " + SQLBoolean(rule.Enabled) + ");";
    if (!RunCommand(sql, affected) || affected != 1) {
        return;
    }
    rule.ID = GetLastID();
    if (rule.Priority == 0) {
        rule.Priority = rule.ID;
        RunCommand("UPDATE Rules SET Priority=" + std::to_string(rule.ID) +
                       " WHERE ID=" + std::to_string(rule.ID),
                   affected);
    }
    // The insert has no StopProcessing column: a stopping rule gets its flag from the update.
    if (rule.StopProcessing) {
        UpdateRule(rule);
    }
}

void classRulesDatabase::StoreAction(std::int32_t ruleID, clsRuleAction& action) {
    long affected = 0;
    if (action.ActionID > 0) {
        RunCommand("UPDATE RuleActions SET Copy=" + SQLBoolean(action.Copy) + ", TargetFolder=" +
                       Quote(action.TargetFolder) + ", [Delete]=" + SQLBoolean(action.Delete) +
                       ", MarkAsRead=" + SQLBoolean(action.MarkAsRead) + ", ChangeImportanceTo=" +
                       Quote(action.ChangeImportanceTo) + ", ForwardTo=" + Quote(action.ForwardTo) +
                       ", AutoReply=" + Quote(action.AutoReply) +
                       " WHERE id=" + std::to_string(action.ActionID),
                   affected);
        return;
    }
    const std::string find =
        "SELECT ID FROM RuleActions WHERE  " + Criterion("TargetFolder", action.TargetFolder) +
        " AND " + Criterion("AutoReply", action.AutoReply) + " AND " +
        Criterion("ChangeImportanceTo", action.ChangeImportanceTo) +
        (action.Copy ? " AND Copy=True" : " AND Copy=False") +
        (action.Delete ? " AND [Delete]=True" : " AND [Delete]=False") + " AND " +
        Criterion("ForwardTo", action.ForwardTo) +
        (action.MarkAsRead ? " AND MarkAsRead=True" : " AND MarkAsRead=False") +
        " AND RuleID=" + std::to_string(ruleID);
    if (const std::unique_ptr<clsRecordset> rs = GetRS(find); rs && !rs->Eof()) {
        action.ActionID = static_cast<std::int32_t>(rs->Field("ID").AsLong());
        return;
    }
    const std::string insert =
        "INSERT INTO RuleActions (RuleID, Copy, TargetFolder, [Delete], MarkAsRead, "
        "ChangeImportanceTo, ForwardTo, AutoReply) VALUES (" +
        std::to_string(ruleID) + ", " + SQLBoolean(action.Copy) + ", " +
        Quote(action.TargetFolder) + ", " + SQLBoolean(action.Delete) + ", " +
        SQLBoolean(action.MarkAsRead) + "," + Quote(action.ChangeImportanceTo) + "," +
        Quote(action.ForwardTo) + "," + Quote(action.AutoReply) + ")";
    if (RunCommand(insert, affected) && affected == 1) {
        action.ActionID = GetLastID();
    }
}

void classRulesDatabase::DeleteRule(std::int32_t id) {
    long affected = 0;
    RunCommand("DELETE FROM RuleActions WHERE RuleID=" + std::to_string(id), affected);
    RunCommand("DELETE FROM Rules WHERE ID=" + std::to_string(id), affected);
}

bool classRulesDatabase::GetRule(std::int32_t id, clsRuleRecord& rule) {
    const std::unique_ptr<clsRecordset> rs =
        GetRS("SELECT * FROM Rules WHERE ID=" + std::to_string(id));
    if (!rs || rs->Eof()) {
        return false;
    }
    ReadRuleFromCurrentRecord(*rs, rule);
    return rule.ID == id;
}

void classRulesDatabase::ReadRuleFromCurrentRecord(const clsRecordset& rs, clsRuleRecord& rule) {
    try {
        const bool withActions = rs.HasField("TargetFolder");
        rule = clsRuleRecord{};
        rule.ID = static_cast<std::int32_t>(rs.Field(withActions ? "Rules.ID" : "ID").AsLong());
        rule.RuleName = rs.Field("RuleName").AsText();
        rule.FromEmail = rs.Field("FromEmail").AsText();
        rule.ToEmail = rs.Field("ToEmail").AsText();
        rule.SubjectContains = rs.Field("SubjectContains").AsText();
        rule.BodyContains = rs.Field("BodyContains").AsText();
        rule.StopProcessing = rs.Field("StopProcessing").AsBool();
        rule.IncomingRule = rs.Field("IncomingRule").AsBool();
        rule.Priority = static_cast<std::int32_t>(rs.Field("Priority").AsLong());
        rule.GroupID = static_cast<std::int32_t>(rs.Field("GroupID").AsLong());
        rule.Enabled = rs.Field("Enabled").AsBool();
        if (withActions) {
            rule.Actions.resize(1);
            ReadActionFromCurrentRecord(rs, rule.Actions.front());
            rule.Actions.front().ActionID =
                static_cast<std::int32_t>(rs.Field("RuleActions.ID").AsLong());
        } else {
            rule.Actions =
                ReadActions("SELECT * FROM RuleActions WHERE RuleID=" + std::to_string(rule.ID));
        }
    } catch (const std::exception& error) {
        mLog.AddErrorLog("RulesDatabase->ReadRuleFromCurrentRecord", error);
    }
}

void classRulesDatabase::ReadActionFromCurrentRecord(const clsRecordset& rs,
                                                     clsRuleAction& action) const {
    action.TargetFolder = rs.Field("TargetFolder").AsText();
    action.Copy = rs.Field("Copy").AsBool();
    action.MarkAsRead = rs.Field("MarkAsRead").AsBool();
    action.ChangeImportanceTo = rs.Field("ChangeImportanceTo").AsText();
    action.ForwardTo = rs.Field("ForwardTo").AsText();
    action.AutoReply = rs.Field("AutoReply").AsText();
    action.Delete = rs.Field("Delete").AsBool();
}

std::vector<clsRuleAction> classRulesDatabase::ReadActions(std::string_view sql) {
    std::vector<clsRuleAction> actions;
    const std::unique_ptr<clsRecordset> rs = GetRS(sql);
    for (; rs && !rs->Eof(); rs->MoveNext()) {
        clsRuleAction& action = actions.emplace_back();
        ReadActionFromCurrentRecord(*rs, action);
        action.ActionID = static_cast<std::int32_t>(rs->Field("ID").AsLong());
        action.RuleID = static_cast<std::int32_t>(rs->Field("RuleID").AsLong());
    }
    return actions;
}

std::vector<clsRuleAction> classRulesDatabase::GetRuleActions(
    const std::vector<std::int32_t>& ruleIDs) {
    if (ruleIDs.empty()) {
        return {};
    }
    const std::string which = ruleIDs.size() == 1 ? "ID=" + std::to_string(ruleIDs.front())
                                                  : "ID IN (" + JoinIDs(ruleIDs, ",") + ")";
    std::vector<std::int32_t> collected;
    const std::unique_ptr<clsRecordset> rules = GetRS(
        "SELECT ID, Priority, StopProcessing FROM Rules WHERE (" + which + ") ORDER BY Priority;");
    for (; rules && !rules->Eof(); rules->MoveNext()) {
        collected.push_back(static_cast<std::int32_t>(rules->Field("ID").AsLong()));
        if (rules->Field("StopProcessing").AsBool()) {
            break;  // rules of lower rank are cut off
        }
    }
    if (collected.empty()) {
        return {};
    }
    std::vector<clsRuleAction> actions = ReadActions("SELECT * FROM RuleActions WHERE RuleID IN (" +
                                                     JoinIDs(collected, ", ") + ");");
    // The rows come in stored order; the rules act in priority order, each rule's own actions in
    // their stored order.
    const auto rank = [&collected](const clsRuleAction& action) {
        return std::find(collected.begin(), collected.end(), action.RuleID) - collected.begin();
    };
    std::stable_sort(
        actions.begin(), actions.end(),
        [&rank](const clsRuleAction& a, const clsRuleAction& b) { return rank(a) < rank(b); });
    return actions;
}

std::string classRulesDatabase::RuleSingleLineDescription(const clsRuleRecord& rule) {
    std::string text = rule.IncomingRule ? "On arrival," : "On sending,";
    if (!rule.FromEmail.empty()) {
        text += " if from " + rule.FromEmail;
    }
    if (!rule.ToEmail.empty()) {
        text += (rule.FromEmail.empty() ? " if to " : " and to ") + rule.ToEmail;
    }
    if (!rule.SubjectContains.empty()) {
        text += " if the subject contains " + rule.SubjectContains;
    }
    if (!rule.BodyContains.empty()) {
        text += " if the message contains " + rule.BodyContains;
    }
    for (size_t i = 0; i < rule.Actions.size(); ++i) {
        const clsRuleAction& action = rule.Actions[i];
        if (i > 0) {
            text += ",";
        }
        if (!action.TargetFolder.empty()) {
            text += std::string(action.Copy ? " copy" : " move") + " to " + action.TargetFolder;
        }
        if (!action.AutoReply.empty()) {
            text += " send autoreply";
        }
        if (action.MarkAsRead) {
            text += ", mark as read";
        }
        if (const std::string word = ImportanceWord(action.ChangeImportanceTo); !word.empty()) {
            text += "and change to " + word + " importance";
        }
        if (!action.ForwardTo.empty()) {
            text += ", forward to " + action.ForwardTo;
        }
    }
    if (rule.StopProcessing) {
        text += " and stop processing.";
    }
    return text;
}
