#pragma once
// clsSchemaBuilder: the tables of Rules.mdb as data, and the one routine that builds a table from
// its definition. Column types keep the ADO type codes the schema was designed with; each becomes
// the SQLite declaration that behaves as Jet's column did (text compares without regard to case,
// Yes/No columns are never Null). Optional columns are added to tables that lack them.
// Used by classRulesDatabase while it creates or upgrades a database. Event-loop thread only.
// Failure: each table or column that cannot be built is logged and false returned; the caller
// goes on with the next one.

#include <string>
#include <string_view>
#include <vector>

#include "database/clsDbConnection.h"
#include "foundation/clsLogFile.h"

enum class AdoType {
    Integer = 3,
    Double = 5,
    Date = 7,
    Boolean = 11,
    VarWChar = 202,
    LongVarWChar = 203
};

struct clsColumnDefinition {
    std::string_view Name;
    AdoType Type;
    int Size = 0;                // declared length of VarWChar; 0 = the provider's default
    bool AutoIncrement = false;  // the table's ID
    bool Optional = false;       // added through the optional-field routine
    std::string_view Default = kNoDefault;

    static constexpr std::string_view kNoDefault = "#NONE#";
};

struct clsTableDefinition {
    std::string_view Name;
    std::string_view Routine;  // the building routine's name in the log
    std::vector<clsColumnDefinition> Columns;
    std::string_view KeyName;  // "" = no primary key
    std::string_view KeyColumn;
};

class clsSchemaBuilder {
public:
    clsSchemaBuilder(clsDbConnection& connection, clsLogFile& log)
        : mConnection(connection), mLog(log) {}

    // Builds the table when it is missing; gives an existing table its missing optional columns.
    bool BuildTable(const clsTableDefinition& table);

    static clsTableDefinition RulesTable();
    static clsTableDefinition SpamSendersTable();
    // Every table after Rules, in the order an upgrade builds them (the corpora included).
    static std::vector<clsTableDefinition> UpgradeTables();
    static clsTableDefinition EmailTable(std::string_view name);
    static clsTableDefinition CorpusTable(std::string_view name);
    static std::string CreateTableSql(const clsTableDefinition& table);

private:
    bool AddOptionalField(const clsTableDefinition& table, const clsColumnDefinition& column);

    clsDbConnection& mConnection;
    clsLogFile& mLog;
};
