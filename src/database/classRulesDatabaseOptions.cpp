// classRulesDatabase: rule groups and stored options.
#include <algorithm>

#include "database/classRulesDatabase.h"
#include "foundation/CommonHelpers.h"

namespace {

// What ReadOption gives for a missing option here; no stored text holds it.
constexpr std::string_view kNoStoredValue = "\x01";

std::string Escaped(std::string_view text) { return SQLEscapeString(text, false); }

std::string OptionQuery(std::string_view section, std::string_view name) {
    return "SELECT [Value] FROM [Options] WHERE [Section]='" + Escaped(section) + "' AND [Name]='" +
           Escaped(name) + "';";
}

std::string OptionInsert(std::string_view section, std::string_view name, std::string_view value) {
    return "INSERT INTO [Options] ([Section], [Name], [Value]) VALUES ('" + Escaped(section) +
           "', '" + Escaped(name) + "', '" + Escaped(value) + "');";
}

std::string CacheKey(std::string_view section, std::string_view name) {
    return std::string(section) + "-" + std::string(name);
}

}  // namespace

std::int32_t classRulesDatabase::GetGroupID(std::string_view name) {
    try {
        // Group names go in between double quotes as they stand, unescaped.
        const std::string quoted = "\"" + std::string(name) + "\"";
        if (const std::unique_ptr<clsRecordset> rs =
                GetRS("SELECT ID FROM Groups WHERE Name=" + quoted + ";");
            rs && !rs->Eof()) {
            return static_cast<std::int32_t>(rs->Field("ID").AsLong());
        }
        const std::string sql =
            "INSERT INTO Groups (Name, Description) VALUES (" + quoted + ",\"\");";
        long affected = 0;
        if (!RunCommand(sql, affected) || affected < 1) {
            mLog.AddLog("RulesDatabase->GetGroupID: RunCommand returned 0 rows: " + sql);
            return 0;
        }
        return GetLastID();
    } catch (const std::exception& error) {
        mLog.AddErrorLog("RulesDatabase->GetGroupID", error);
    }
    return 0;
}

void classRulesDatabase::PopulateRuleGroupCombo(clsListControl& list) {
    try {
        list.Clear();
        list.AddItem("No group", 0);
        const std::unique_ptr<clsRecordset> rs = GetRS("SELECT * FROM Groups ORDER BY Name;");
        for (; rs && !rs->Eof(); rs->MoveNext()) {
            list.AddItem(rs->Field("Name").AsText(), rs->Field("ID").AsLong());
        }
    } catch (const std::exception& error) {
        mLog.AddErrorLog("RulesDatabase->PopulateRuleGroupsCombo", error);
    }
}

void classRulesDatabase::CreateNewGroup(clsListControl& list) {
    try {
        const std::string name =
            mUi.AskText("Enter a name for the new rule group", "Create new group", kCancelSentinel);
        if (name.empty() || name == kCancelSentinel) {
            return;
        }
        long affected = 0;
        if (!RunCommand("INSERT INTO Groups (Name, Description) VALUES (\"" + name + "\", \"\");",
                        affected)) {
            return;
        }
        const std::int32_t id = GetLastID();
        mLog.AddLog("Added group (ID = " + std::to_string(id) + ")");
        list.AddItem(name, id);
        list.SetCurrentIndex(list.ItemCount() - 1);
    } catch (const std::exception& error) {
        mLog.AddErrorLog("RulesDatabase->cmdNewGroup", error);
    }
}

void classRulesDatabase::SaveOption(std::string_view section, std::string_view name,
                                    std::string_view value) {
    try {
        // Start-up writes some options back every time; an unchanged one costs no disk sync.
        if (ReadOption(section, name, kNoStoredValue) == value) {
            return;
        }
        long affected = 0;
        RunCommand("DELETE FROM [Options] WHERE [Section]='" + Escaped(section) + "' AND [Name]='" +
                       Escaped(name) + "';",
                   affected);
        RunCommand(OptionInsert(section, name, value), affected);
    } catch (const std::exception& error) {
        mLog.AddErrorLog("RulesDatabase->SaveOption", error);
    }
}

void classRulesDatabase::SaveOptionBoolean(std::string_view section, std::string_view name,
                                           bool value) {
    try {
        long affected = 0;
        RunCommand("DELETE FROM [Options] WHERE Section='" + Escaped(section) + "' AND [Name]='" +
                       Escaped(name) + "';",
                   affected);
        RunCommand(OptionInsert(section, name, value ? "true" : "false"), affected);
        mBooleanCache[CacheKey(section, name)] = value;
    } catch (const std::exception& error) {
        mLog.AddErrorLog("RulesDatabase->SaveOption", error);
    }
}

std::string classRulesDatabase::ReadOption(std::string_view section, std::string_view name,
                                           std::string_view defaultValue) {
    try {
        const std::unique_ptr<clsRecordset> rs = GetRS(OptionQuery(section, name));
        if (rs && !rs->Eof()) {
            return rs->Field("Value").AsText();
        }
    } catch (const std::exception& error) {
        mLog.AddErrorLog("RulesDatabase->ReadOption", error);
    }
    return std::string(defaultValue);
}

bool classRulesDatabase::ReadBooleanOption(std::string_view section, std::string_view name,
                                           bool defaultValue) {
    const std::string key = CacheKey(section, name);
    if (const auto cached = mBooleanCache.find(key); cached != mBooleanCache.end()) {
        return cached->second;
    }
    bool value = defaultValue;
    try {
        const std::unique_ptr<clsRecordset> rs = GetRS(OptionQuery(section, name));
        if (rs && !rs->Eof()) {
            const std::string text = AsciiLower(rs->Field("Value").AsText());
            value = !(text == "0" || text == "false");
        }
    } catch (const std::exception& error) {
        mLog.AddErrorLog("RulesDatabase->ReadBooleanOption", error);
    }
    mBooleanCache[key] = value;
    return value;
}

int classRulesDatabase::ReadCheckboxValue(std::string_view section, std::string_view name,
                                          bool defaultValue) {
    return ReadBooleanOption(section, name, defaultValue) ? 1 : 0;
}
