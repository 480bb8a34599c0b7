#include "database/clsSchemaBuilder.h"

namespace {

using Column = clsColumnDefinition;

constexpr Column Id() { return Column{"ID", AdoType::Integer, 0, true}; }
constexpr Column Text(std::string_view name, int size = 0) {
    return Column{name, AdoType::VarWChar, size};
}
constexpr Column Of(std::string_view name, AdoType type) { return Column{name, type}; }

std::string Quoted(std::string_view name) { return "\"" + std::string(name) + "\""; }

std::string Declaration(const Column& column) {
    switch (column.Type) {
        case AdoType::Integer:
            return "INTEGER";
        case AdoType::Double:
            return "DOUBLE";
        case AdoType::Date:
            return "DATETIME";
        case AdoType::Boolean:  // a Jet Yes/No field is never Null
            return "BOOLEAN NOT NULL DEFAULT 0";
        case AdoType::VarWChar:
            return column.Size > 0 ? "VARCHAR(" + std::to_string(column.Size) + ") COLLATE NOCASE"
                                   : "TEXT COLLATE NOCASE";
        case AdoType::LongVarWChar:
            return "LONGTEXT COLLATE NOCASE";
    }
    return "TEXT";
}

std::string ColumnSql(const Column& column, const clsTableDefinition& table) {
    std::string sql = Quoted(column.Name) + " " + Declaration(column);
    if (column.AutoIncrement) {
        sql += " CONSTRAINT " + Quoted(table.KeyName) + " PRIMARY KEY AUTOINCREMENT";
    }
    if (column.Default != Column::kNoDefault) {
        // A Boolean's declaration has a default already; a given one replaces it.
        const size_t at = sql.find(" DEFAULT ");
        sql = (at == std::string::npos ? sql : sql.substr(0, at)) + " DEFAULT " +
              std::string(column.Default);
    }
    return sql;
}

}  // namespace

clsTableDefinition clsSchemaBuilder::RulesTable() {
    return {"Rules",
            "RulesTable",
            {Id(), Text("RuleName", 255), Of("Priority", AdoType::Integer), Text("FromEmail", 255),
             Text("ToEmail", 255), Text("SubjectContains"), Text("BodyContains"),
             Of("StopProcessing", AdoType::Boolean), Of("IncomingRule", AdoType::Boolean),
             Of("GroupID", AdoType::Integer), Column{"ProcessAfter", AdoType::Date, 0, false, true},
             Column{"Enabled", AdoType::Boolean, 0, false, true, "1"}},
            "PK_ID",
            "ID"};
}

clsTableDefinition clsSchemaBuilder::SpamSendersTable() {
    return {
        "Spam Senders", "SpamSendersTable", {Text("EmailAddress", 255)}, "PK_Name", "EmailAddress"};
}

clsTableDefinition clsSchemaBuilder::EmailTable(std::string_view name) {
    return {name,
            name == "FromEmail" ? "FromEmailTable" : "ToEmailTable",
            {Id(), Of("RuleID", AdoType::Integer), Text("Email", 255), Text("ContactID")},
            "PK_ID",
            "ID"};
}

clsTableDefinition clsSchemaBuilder::CorpusTable(std::string_view name) {
    return {name,
            "CorpusTable",
            {Id(), Text("Token", 255), Of("Count", AdoType::Integer)},
            "PK_ID",
            "ID"};
}

std::vector<clsTableDefinition> clsSchemaBuilder::UpgradeTables() {
    std::vector<clsTableDefinition> tables = {
        {"RuleActions",
         "ActionsTable",
         {Id(), Of("RuleID", AdoType::Integer), Of("Copy", AdoType::Boolean), Text("TargetFolder"),
          Of("Delete", AdoType::Boolean), Of("MarkAsRead", AdoType::Boolean),
          Text("ChangeImportanceTo", 1), Text("ForwardTo"), Text("AutoReply")},
         "PK_ID",
         "ID"},
        {"Actions",
         "ActionListTable",
         {Id(), Of("RuleID", AdoType::Integer), Of("Action", AdoType::Integer), Text("Target")},
         "PK_ID",
         "ID"},
        {"Groups", "GroupsTable", {Id(), Text("Name"), Text("Description")}, "PK_ID", "ID"},
        {"Group Members",
         "GroupMembersTable",
         {Id(), Of("GroupID", AdoType::Integer), Of("RuleID", AdoType::Integer),
          Of("RuleActionID", AdoType::Integer)},
         "PK_ID",
         "ID"},
        {"Options",
         "OptionsTable",
         {Id(), Text("Section", 255), Text("Name", 255), Of("Value", AdoType::LongVarWChar)},
         "PK_ID",
         "ID"},
        {"Spam Headers",
         "SpamHeadersTable",
         {Text("Header"), Column{"Criteria", AdoType::VarWChar, 0, false, true}},
         "PK_Header",
         "Header"}};
    for (std::string_view corpus : {"Good_Corpus", "Bad_Corpus", "Good_Headers", "Bad_Headers"}) {
        tables.push_back(CorpusTable(corpus));
    }
    tables.push_back({"Version",
                      "VersionTable",
                      {Of("ID", AdoType::Integer), Of("Version", AdoType::Double),
                       Of("Last Update", AdoType::Date)},
                      "",
                      ""});
    return tables;
}

std::string clsSchemaBuilder::CreateTableSql(const clsTableDefinition& table) {
    std::string sql = "CREATE TABLE " + Quoted(table.Name) + " (";
    bool keyInline = false;
    const char* separator = "";
    for (const Column& column : table.Columns) {
        if (column.Optional) {
            continue;
        }
        sql += separator + ColumnSql(column, table);
        separator = ", ";
        keyInline = keyInline || column.AutoIncrement;
    }
    if (!table.KeyName.empty() && !keyInline) {
        sql += ", CONSTRAINT " + Quoted(table.KeyName) + " PRIMARY KEY (" +
               Quoted(table.KeyColumn) + ")";
    }
    return sql + ")";
}

bool clsSchemaBuilder::BuildTable(const clsTableDefinition& table) {
    bool built = true;
    if (!mConnection.TableExists(table.Name)) {
        mLog.AddLog("RulesDatabase->" + std::string(table.Routine) + ": Building " +
                    std::string(table.Name) + " table");
        const clsStatus status = mConnection.ExecuteNative(CreateTableSql(table));
        if (!status.IsOk()) {
            mLog.AddErrorLog("RulesDatabase->" + std::string(table.Routine), status);
            return false;
        }
    }
    for (const Column& column : table.Columns) {
        if (column.Optional) {
            built = AddOptionalField(table, column) && built;
        }
    }
    return built;
}

bool clsSchemaBuilder::AddOptionalField(const clsTableDefinition& table, const Column& column) {
    if (mConnection.ColumnExists(table.Name, column.Name)) {
        return true;
    }
    const clsStatus status = mConnection.ExecuteNative("ALTER TABLE " + Quoted(table.Name) +
                                                       " ADD COLUMN " + ColumnSql(column, table));
    if (!status.IsOk()) {
        mLog.AddErrorLog("RulesDatabase->OptionalField", status);
        return false;
    }
    return true;
}
