#include "database/classRulesDatabase.h"

#include <unistd.h>

#include <ctime>
#include <sstream>

#include "database/clsSchemaBuilder.h"

namespace {

constexpr std::string_view kComponent = "RulesDatabase->";

std::string Entry(std::string_view routine) {
    return std::string(kComponent) + std::string(routine);
}

// A number as the original program printed doubles: shortest form, "1.9", "1.85", "0".
std::string NumberText(double value) {
    std::ostringstream text;
    text.precision(15);
    text << value;
    return text.str();
}

}  // namespace

classRulesDatabase::classRulesDatabase(clsLogFile& log, clsUserInterface& ui)
    : mLog(log),
      mUi(ui),
      mConnection(log, "RulesDatabase",
                  [this](const std::filesystem::path& file) { return OpenDatabase(file, false); }) {
}

classRulesDatabase::~classRulesDatabase() { CloseDatabase(); }

std::string classRulesDatabase::JetNow() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    char buffer[32];
    const size_t length = std::strftime(buffer, sizeof buffer, "%m/%d/%Y %H:%M:%S", &local);
    return std::string(buffer, length);
}

bool classRulesDatabase::OpenDatabase(const std::filesystem::path& file, bool createIfMissing) {
    std::string_view step = "connect";
    try {
        if (mConnection.IsOpenOn(file)) {
            return true;
        }
        mConnection.Remember(file);
        mLog.AddLog(Entry("OpenDatabase: ") + file.string());
        if (!std::filesystem::exists(file)) {
            mLog.AddLog(file.string() + " not found");
            if (!createIfMissing || !CreateDatabase()) {
                CloseDatabase();  // a half-built file is not left open as if it were whole
                return false;
            }
        }
        if (!mConnection.Connect(false, "OpenDatabase")) {
            return false;
        }
        step = "upgrade";
        if (GetVersion() < kSchemaVersion) {
            UpgradeDatabase();
        }
        step = "validate priorities";
        ValidateRulePriorities();
        return true;
    } catch (const std::exception& error) {
        mLog.AddErrorLog(Entry("OpenDatabase (") + std::string(step) + ")", error);
    }
    return false;
}

void classRulesDatabase::CloseDatabase() { mConnection.Close(); }

bool classRulesDatabase::ReopenDatabase() { return mConnection.Reopen(); }

bool classRulesDatabase::CreateDatabase() {
    if (mConnection.IsOpen()) {
        return false;
    }
    try {
        mLog.AddLog(Entry("CreateDatabase: Creating new database"));
        if (!mConnection.Connect(true, "CreateDatabase")) {
            return false;
        }
        clsSchemaBuilder builder(mConnection.Connection(), mLog);
        const bool built = builder.BuildTable(clsSchemaBuilder::RulesTable()) &&
                           builder.BuildTable(clsSchemaBuilder::SpamSendersTable());
        UpgradeDatabase();
        return built;
    } catch (const std::exception& error) {
        mLog.AddErrorLog(Entry("CreateDatabase"), error);
    }
    return false;
}

void classRulesDatabase::RunLogged(std::string_view routine, std::string_view sql) {
    long affected = 0;
    if (!RunCommand(sql, affected)) {
        mLog.AddLog(Entry(routine) + ": failed: " + std::string(sql), 1);
    }
}

double classRulesDatabase::GetVersion() {
    if ((!mConnection.IsOpen() && !ReopenDatabase()) ||
        !mConnection.Connection().TableExists("Version")) {
        return 0;  // a new or pre-versioning database
    }
    const std::unique_ptr<clsRecordset> rs = GetRS("SELECT Version FROM Version WHERE ID=1");
    return rs && !rs->Eof() ? rs->Field("Version").AsDouble() : 0;
}

void classRulesDatabase::UpgradeDatabase() {
    const double oldVersion = GetVersion();
    mUi.ShowStatus("Upgrading database from v" + NumberText(oldVersion) + " to v" +
                   NumberText(kSchemaVersion) + "...");
    mLog.AddLog(Entry("UpgradeDatabase: Upgrading from v") + NumberText(oldVersion) + " to v" +
                NumberText(kSchemaVersion));
    BuildMissingTables();
    if (oldVersion == 1.0) {
        ConvertVersion1Rules();
    }
    if (oldVersion < 1.87) {
        RunLogged("UpgradeDatabase", "UPDATE Rules SET Enabled=TRUE;");
    }
    WriteVersion();
    mUi.ShowStatus("Database upgrade complete.");
}

void classRulesDatabase::BuildMissingTables() {
    clsSchemaBuilder builder(mConnection.Connection(), mLog);
    builder.BuildTable(clsSchemaBuilder::RulesTable());
    // Made with the database, but a file someone else created first (the folder cache) lacks it.
    builder.BuildTable(clsSchemaBuilder::SpamSendersTable());
    if constexpr (kSchemaVersion >= kEmailTablesVersion) {
        for (std::string_view table : {"FromEmail", "ToEmail"}) {
            builder.BuildTable(clsSchemaBuilder::EmailTable(table));
        }
    }
    for (const clsTableDefinition& table : clsSchemaBuilder::UpgradeTables()) {
        builder.BuildTable(table);
    }
}

void classRulesDatabase::ConvertVersion1Rules() {
    const std::unique_ptr<clsRecordset> rs = GetRS("SELECT * FROM Rules");
    long priority = 0;
    for (; rs && !rs->Eof(); rs->MoveNext()) {
        const std::string id = rs->Field("ID").AsText();
        // The first layout's values go in as they stand, between double quotes, unescaped.
        RunLogged("UpgradeDatabase",
                  "INSERT INTO RuleActions (RuleID, Copy, TargetFolder, [Delete], MarkAsRead, "
                  "ChangeImportanceTo) VALUES (" +
                      id + ", " + SQLBoolean(rs->Field("Copy").AsBool()) + ", \"" +
                      rs->Field("TargetFolder").AsText() + "\", FALSE, " +
                      SQLBoolean(rs->Field("MarkAsRead").AsBool()) + ", \"\");");
        RunLogged("UpgradeDatabase", "UPDATE Rules SET Priority=" + std::to_string(++priority) +
                                         " WHERE ID=" + id + ";");
    }
    for (std::string_view column : {"TargetFolder", "Copy", "MarkAsRead"}) {
        const clsStatus status = mConnection.Connection().ExecuteNative(
            "ALTER TABLE \"Rules\" DROP COLUMN \"" + std::string(column) + "\"");
        if (!status.IsOk()) {
            mLog.AddErrorLog(Entry("UpgradeDatabase"), status);
        }
    }
}

void classRulesDatabase::WriteVersion() {
    const std::string version = NumberText(kSchemaVersion);
    const std::string date = JetNow();
    long affected = 0;
    RunCommand(
        "UPDATE Version SET Version=" + version + ", [Last Update]=#" + date + "# WHERE ID=1;",
        affected);
    if (affected < 1) {
        RunLogged("UpgradeDatabase",
                  "INSERT INTO Version (ID, Version, [Last Update]) VALUES (1, " + version + ", #" +
                      date + "#);");
    }
}

void classRulesDatabase::ValidateRulePriorities() {
    try {
        mUi.ShowStatus("Validating rule priorities...");
        const std::unique_ptr<clsRecordset> dups = GetRS(
            "SELECT Priority, COUNT(Priority) AS Dups FROM Rules GROUP BY Priority HAVING "
            "(COUNT(Priority)>1);");
        if (!dups || dups->Eof()) {
            return;
        }
        mUi.ShowStatus("Updating rule priorities...");
        mLog.AddLog(Entry("ValidateRulePriorities: Updating rule priorities"));
        const std::unique_ptr<clsRecordset> rs =
            GetRS("SELECT Priority FROM Rules ORDER BY Priority");
        std::int64_t priority = 0;
        for (; rs && !rs->Eof(); rs->MoveNext()) {
            rs->SetField("Priority", clsDbValue(++priority));
        }
        if (rs && !rs->UpdateBatch()) {
            mLog.AddErrorLog(Entry("ValidateRulePriorities"), rs->LastError());
        }
    } catch (const std::exception& error) {
        mLog.AddErrorLog(Entry("ValidateRulePriorities"), error);
    }
}

bool classRulesDatabase::CompactDatabase() {
    try {
        const std::filesystem::path source = mConnection.File();
        if (source.empty() || (!mConnection.IsOpen() && !ReopenDatabase())) {
            return false;
        }
        const std::filesystem::path target = std::filesystem::path(
            source.string() + ".compact-" + std::to_string(::getpid()) + ".mdb");
        mLog.AddLog(Entry("CompactDatabase: source=") + source.string());
        mLog.AddLog(Entry("CompactDatabase: target=") + target.string());
        std::filesystem::remove(target);
        // SQLite compacts from an open connection, into a file beside the database so that the
        // swap below (copy to "<file>2", rename it over the original) stays on one file system.
        const clsStatus status = mConnection.Connection().CompactInto(target);
        CloseDatabase();
        if (!status.IsOk()) {
            mLog.AddErrorLog(Entry("CompactDatabase"), status);
            ReopenDatabase();
            return false;
        }
        const std::filesystem::path copy = source.string() + "2";
        std::filesystem::copy_file(target, copy, std::filesystem::copy_options::overwrite_existing);
        // rename replaces the original in one step, so a crash leaves one whole database.
        std::filesystem::rename(copy, source);
        std::filesystem::remove(target);
        return ReopenDatabase();
    } catch (const std::exception& error) {
        mLog.AddErrorLog(Entry("CompactDatabase"), error);
    }
    ReopenDatabase();
    return false;
}
