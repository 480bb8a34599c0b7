// classRulesDatabase: bringing the rules of another rules database into this one. The import
// merges: the rules already here stay, a rule identical to one here is reused rather than
// doubled, groups are matched by name and blocked senders are added when missing.
#include <map>
#include <stdexcept>

#include "database/classRulesDatabase.h"
#include "foundation/CommonHelpers.h"

namespace {

using Code = clsStatus::Code;

constexpr std::string_view kEntry = "RulesDatabase->ImportRules";
constexpr std::string_view kSavepoint = "import_rules";

// One row per action, a rule without actions giving one row whose action fields are Null.
constexpr std::string_view kRulesWithActions =
    "SELECT * FROM Rules LEFT JOIN RuleActions ON Rules.ID = RuleActions.RuleID "
    "ORDER BY Rules.Priority, Rules.ID, RuleActions.ID";

std::string Quote(std::string_view text) { return "'" + SQLEscapeString(text, false) + "'"; }

// The source, read only: it must hold the rule tables, so that any other SQLite file (or a
// damaged one) is refused before anything here changes.
clsStatus OpenSource(clsDbConnection& source, const std::filesystem::path& file) {
    clsStatus status = source.Open(file, false);
    if (status.IsOk()) {
        status = source.ExecuteNative("PRAGMA query_only = ON");
    }
    if (status.IsOk() && (!source.TableExists("Rules") || !source.TableExists("RuleActions"))) {
        status = clsStatus::Error(Code::Invalid, "no rules tables in it");
    }
    if (!status.IsOk()) {
        return clsStatus::Error(status.GetCode(),
                                file.string() + " is no rules database: " + status.Description(),
                                status.Number());
    }
    return status;
}

// The source's group IDs and the IDs here of the groups of the same names (made when missing).
std::map<std::int32_t, std::int32_t> MapGroups(classRulesDatabase& target,
                                               clsDbConnection& source) {
    std::map<std::int32_t, std::int32_t> groups;
    std::unique_ptr<clsRecordset> rs;
    if (!source.TableExists("Groups") || !source.Query("SELECT ID, Name FROM Groups", rs).IsOk()) {
        return groups;
    }
    for (; !rs->Eof(); rs->MoveNext()) {
        groups[static_cast<std::int32_t>(rs->Field("ID").AsLong())] =
            target.GetGroupID(rs->Field("Name").AsText());
    }
    return groups;
}

// The source's rules with all their actions, in priority order.
std::vector<clsRuleRecord> ReadSourceRules(classRulesDatabase& target, clsDbConnection& source) {
    std::unique_ptr<clsRecordset> rs;
    if (clsStatus status = source.Query(kRulesWithActions, rs); !status.IsOk()) {
        throw std::runtime_error("cannot read the rules: " + status.Description());
    }
    // Rules from before rules could be switched off have no Enabled column: they are all on.
    const bool hasEnabled = source.ColumnExists("Rules", "Enabled");
    std::vector<clsRuleRecord> rules;
    for (; !rs->Eof(); rs->MoveNext()) {
        clsRuleRecord row;
        target.ReadRuleFromCurrentRecord(*rs, row);
        row.Enabled = row.Enabled || !hasEnabled;
        if (rs->Field("RuleActions.ID").IsNull()) {
            row.Actions.clear();
        }
        if (!rules.empty() && rules.back().ID == row.ID) {
            rules.back().Actions.insert(rules.back().Actions.end(), row.Actions.begin(),
                                        row.Actions.end());
        } else {
            rules.push_back(std::move(row));
        }
    }
    return rules;
}

long MergeBlockedSenders(classRulesDatabase& target, clsDbConnection& source) {
    std::unique_ptr<clsRecordset> rs;
    if (!source.TableExists("Spam Senders") ||
        !source.Query("SELECT EmailAddress FROM [Spam Senders]", rs).IsOk()) {
        return 0;
    }
    long added = 0;
    for (; !rs->Eof(); rs->MoveNext()) {
        const std::string address = rs->Field("EmailAddress").AsText();
        long affected = 0;
        if (!address.empty() &&
            target.GetCount("SELECT COUNT(*) FROM [Spam Senders] WHERE EmailAddress=" +
                            Quote(address)) == 0 &&
            target.RunCommand(
                "INSERT INTO [Spam Senders] (EmailAddress) VALUES (" + Quote(address) + ")",
                affected)) {
            added += affected;
        }
    }
    return added;
}

// The source's rules after every rule here, in the source's order, with their groups mapped.
long StoreRules(classRulesDatabase& target, clsDbConnection& source) {
    const std::vector<clsRuleRecord> rules = ReadSourceRules(target, source);
    const std::map<std::int32_t, std::int32_t> groups = MapGroups(target, source);
    auto priority =
        static_cast<std::int32_t>(target.GetCount("SELECT MAX(Priority) AS Top FROM Rules"));
    long imported = 0;
    for (clsRuleRecord rule : rules) {
        const auto group = groups.find(rule.GroupID);
        rule.GroupID = group == groups.end() ? 0 : group->second;
        rule.ID = 0;
        rule.Priority = ++priority;
        for (clsRuleAction& action : rule.Actions) {
            action.ActionID = 0;
        }
        imported += target.AddUpdateRule(rule) ? 1 : 0;
    }
    return imported;
}

void RollBack(clsDbConnection& connection, clsLogFile& log) {
    const std::string name(kSavepoint);
    if (!connection.ExecuteNative("ROLLBACK TO " + name).IsOk() ||
        !connection.ExecuteNative("RELEASE " + name).IsOk()) {
        log.AddLog(std::string(kEntry) + ": the partial import could not be undone");
    }
}

}  // namespace

long classRulesDatabase::ImportRules(const std::filesystem::path& source) {
    std::string_view step = "open";
    clsDbConnection& here = mConnection.Connection();
    bool inSavepoint = false;
    try {
        clsDbConnection from;
        clsStatus status = OpenSource(from, source);
        if (status.IsOk() && !IsOpen() && !ReopenDatabase()) {
            status = clsStatus::Error(Code::Invalid, "the rules database is not open");
        }
        if (status.IsOk()) {
            status = here.ExecuteNative("SAVEPOINT " + std::string(kSavepoint));
            inSavepoint = status.IsOk();
        }
        if (!status.IsOk()) {
            mLog.AddErrorLog(kEntry, status);
            return -1;
        }
        step = "rules";
        const long imported = StoreRules(*this, from);
        step = "blocked senders";
        const long senders = MergeBlockedSenders(*this, from);
        step = "commit";
        if (status = here.ExecuteNative("RELEASE " + std::string(kSavepoint)); !status.IsOk()) {
            throw std::runtime_error(status.Description());
        }
        inSavepoint = false;
        mLog.AddLog(std::string(kEntry) + ": " + std::to_string(imported) + " rules and " +
                    std::to_string(senders) + " blocked senders imported from " + source.string());
        return imported;
    } catch (const std::exception& error) {
        mLog.AddErrorLog(std::string(kEntry) + " (" + std::string(step) + ")", error);
    }
    if (inSavepoint) {  // nothing of a failed import stays
        RollBack(here, mLog);
    }
    return -1;
}
