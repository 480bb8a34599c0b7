#pragma once
// classRulesDatabase: the one relational store, Rules.mdb (an SQLite file spoken to in the Jet
// dialect through clsDbConnection): its schema, creation, upgrade and compaction; rule records and
// their actions; rule groups; stored options with a cache for Booleans. All SQL is built as text;
// user text goes through SQLEscapeString.
// Owned by the engine (or a command of the command line). Event-loop thread only.
// Failure: every public member logs through AddErrorLog ("RulesDatabase->Member") and returns its
// neutral value (false, nothing, 0, empty); no exception leaves the class.

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "database/clsDbConnection.h"
#include "database/clsLoggedConnection.h"
#include "database/clsRecordset.h"
#include "database/clsRuleRecord.h"
#include "foundation/clsListControl.h"
#include "foundation/clsLogFile.h"
#include "foundation/clsUserInterface.h"

class classRulesDatabase {
public:
    static constexpr double kSchemaVersion = 1.9;
    // The FromEmail/ToEmail tables belong to a schema version this program does not reach.
    static constexpr double kEmailTablesVersion = 1.91;
    static constexpr std::string_view kCancelSentinel = "#CV#Cancel#";

    classRulesDatabase(clsLogFile& log, clsUserInterface& ui);
    ~classRulesDatabase();
    classRulesDatabase(const classRulesDatabase&) = delete;
    classRulesDatabase& operator=(const classRulesDatabase&) = delete;

    // Connection.
    bool OpenDatabase(const std::filesystem::path& file, bool createIfMissing);
    void CloseDatabase();
    bool ReopenDatabase();
    bool CreateDatabase();
    bool CompactDatabase();
    bool IsOpen() const { return mConnection.IsOpen(); }
    const std::filesystem::path& DatabaseFile() const { return mConnection.File(); }
    void SetDatabaseFile(std::filesystem::path file) { mConnection.SetFile(std::move(file)); }
    const std::string& ConnectionString() const { return mConnection.ConnectionString(); }

    // Primitives. GetRS gives nothing on failure; ForEachRow and RunCommand false.
    std::unique_ptr<clsRecordset> GetRS(std::string_view sql) { return mConnection.GetRS(sql); }
    bool ForEachRow(std::string_view sql, const clsDbConnection::RowReader& read) {
        return mConnection.ForEachRow(sql, read);
    }
    bool RunCommand(std::string_view sql, long& recordsAffected) {
        return mConnection.RunCommand(sql, recordsAffected);
    }
    std::int32_t GetLastID() { return mConnection.GetLastID(); }
    double GetVersion();
    // Reads the first field of the first row of a query, as a number; 0 when there is none.
    std::int64_t GetCount(std::string_view sql) { return mConnection.GetCount(sql); }

    // Rule records.
    bool AddUpdateRule(clsRuleRecord& rule);
    void DeleteRule(std::int32_t id);
    bool GetRule(std::int32_t id, clsRuleRecord& rule);
    void ReadRuleFromCurrentRecord(const clsRecordset& rs, clsRuleRecord& rule);
    // The actions of the listed rules, cut after the first (by priority) that stops processing.
    std::vector<clsRuleAction> GetRuleActions(const std::vector<std::int32_t>& ruleIDs);
    static std::string RuleSingleLineDescription(const clsRuleRecord& rule);
    // Merges the rules (with their actions and groups) and blocked senders of another Rules.mdb
    // into this one; returns the number of rules taken, or -1 when source is no rules database.
    long ImportRules(const std::filesystem::path& source);

    // Groups.
    std::int32_t GetGroupID(std::string_view name);
    void PopulateRuleGroupCombo(clsListControl& list);
    void CreateNewGroup(clsListControl& list);

    // Stored options.
    void SaveOption(std::string_view section, std::string_view name, std::string_view value);
    void SaveOptionBoolean(std::string_view section, std::string_view name, bool value);
    std::string ReadOption(std::string_view section, std::string_view name,
                           std::string_view defaultValue);
    bool ReadBooleanOption(std::string_view section, std::string_view name, bool defaultValue);
    int ReadCheckboxValue(std::string_view section, std::string_view name, bool defaultValue);

    static std::string SQLBoolean(bool value) { return value ? "TRUE" : "FALSE"; }
    // "mm/dd/yyyy hh:nn:ss" of the present local time, for #date# literals.
    static std::string JetNow();
    clsLogFile& Log() { return mLog; }

private:
    void UpgradeDatabase();
    void BuildMissingTables();
    void ConvertVersion1Rules();
    void WriteVersion();
    void ValidateRulePriorities();
    bool FindIdenticalRule(clsRuleRecord& rule);
    void InsertRule(clsRuleRecord& rule);
    void UpdateRule(const clsRuleRecord& rule);
    void StoreAction(std::int32_t ruleID, clsRuleAction& action);
    void ReadActionFromCurrentRecord(const clsRecordset& rs, clsRuleAction& action) const;
    std::vector<clsRuleAction> ReadActions(std::string_view sql);
    void RunLogged(std::string_view routine, std::string_view sql);

    clsLogFile& mLog;
    clsUserInterface& mUi;
    clsLoggedConnection mConnection;
    std::map<std::string, bool> mBooleanCache;
};
