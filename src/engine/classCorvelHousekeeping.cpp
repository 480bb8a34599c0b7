// classCorvel: checking the rules' folders, exporting and importing the rule store, and the
// one-time conversion of the first-generation rule files.
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <system_error>

#include "database/clsCsvTable.h"
#include "database/clsDataFile.h"
#include "engine/classCorvel.h"
#include "foundation/CommonHelpers.h"
#include "foundation/clsZipArchive.h"

namespace {

constexpr std::string_view kRulesSection = "Rules";
constexpr std::string_view kGenerationName = "Version";
constexpr std::string_view kFirstGeneration = "1";
constexpr std::string_view kConvertedGeneration = "3";
constexpr std::string_view kIncomingFile = "Incoming Mail.csv";
constexpr std::string_view kOutgoingFile = "Outgoing Mail.csv";
constexpr std::string_view kJunkFile = "Junk Mail.csv";

struct clsLoadedFile {
    std::string_view File, One, Many;
};
constexpr clsLoadedFile kFirstGenerationFiles[] = {
    {kIncomingFile, "incoming rule", "incoming rules"},
    {kOutgoingFile, "outgoing rule", "outgoing rules"},
    {kJunkFile, "junk address", "junk addresses"}};

// The columns of a first-generation rule file and the fields they are kept under while converted.
struct clsRuleColumn {
    std::string_view Field, Column;
};
constexpr clsRuleColumn kRuleColumns[] = {{"FromEmail", "From"},
                                          {"ToEmail", "To"},
                                          {"SubjectContains", "Including this text in subject"},
                                          {"BodyContains", "Including this text in body"},
                                          {"StopProcessing", "Stop Processing?"},
                                          {"TargetFolder", "Target Folder"},
                                          {"Copy", "Copy or Move"},
                                          {"MarkAsRead", "Mark as read"}};

// A flag of the first-generation files is set by "True", "Yes", "Y", "1" or "-1", in any case.
bool IsSet(std::string_view cell) {
    const std::string text = AsciiLower(std::string(Trimmed(cell)));
    return text == "true" || text == "yes" || text == "y" || text == "1" || text == "-1";
}

// The row's cells under their field names, keyed by its number; "RuleID" is filled once stored.
void KeepRow(const clsCsvTable& table, long row, const std::string& key, clsDataFile& rows) {
    for (const clsRuleColumn& column : kRuleColumns) {
        rows.SetValue(key, column.Field, table.Cell(row, column.Column));
    }
    rows.SetValue(key, "RuleID", "");
}

clsRuleRecord RuleFromRow(const clsDataFile& rows, const std::string& key, bool incoming) {
    clsRuleRecord rule;
    rule.IncomingRule = incoming;
    rule.FromEmail = Trimmed(rows.GetValue(key, "FromEmail"));
    rule.ToEmail = Trimmed(rows.GetValue(key, "ToEmail"));
    rule.SubjectContains = rows.GetValue(key, "SubjectContains");
    rule.BodyContains = rows.GetValue(key, "BodyContains");
    rule.StopProcessing = IsSet(rows.GetValue(key, "StopProcessing"));
    clsRuleAction& action = rule.Actions.emplace_back();
    action.TargetFolder = Trimmed(rows.GetValue(key, "TargetFolder"));
    action.Copy = AsciiLower(std::string(Trimmed(rows.GetValue(key, "Copy")))) == "c";
    action.MarkAsRead = IsSet(rows.GetValue(key, "MarkAsRead"));
    return rule;
}

// A spreadsheet's blank line (",,,,,,,") is no rule: made into one it would match every message.
bool IsBlankRow(const clsDataFile& rows, const std::string& key) {
    return std::all_of(std::begin(kRuleColumns), std::end(kRuleColumns),
                       [&](const clsRuleColumn& c) { return rows.GetValue(key, c.Field).empty(); });
}

// A file without one of the columns is no rule file: nothing of it is converted.
std::string_view MissingColumn(const clsCsvTable& table) {
    for (const clsRuleColumn& column : kRuleColumns) {
        if (!table.HasColumn(column.Column)) {
            return column.Column;
        }
    }
    return {};
}

std::string LoadedText(long count, const clsLoadedFile& file) {
    return count == 1 ? "1 " + std::string(file.One) + " loaded."
                      : std::to_string(count) + " " + std::string(file.Many) + " loaded.";
}

std::filesystem::path ImportFolder() {
    const char* base = std::getenv("TMPDIR");
    return std::filesystem::path(base && *base ? base : "/tmp") /
           ("corvel-import-" + std::to_string(::getpid()));
}

// Whatever was left there goes first; the folder is the user's own, since archives are private.
clsStatus MakeEmptyFolder(const std::filesystem::path& folder) {
    std::error_code error;
    std::filesystem::remove_all(folder, error);
    if (!error) {
        std::filesystem::create_directory(folder, error);
    }
    if (!error) {
        std::filesystem::permissions(folder, std::filesystem::perms::owner_all, error);
    }
    return error ? clsStatus::Error(clsStatus::Code::Io,
                                    "cannot make " + folder.string() + ": " + error.message(),
                                    error.value())
                 : clsStatus::Ok();
}

}  // namespace

long classCorvel::VerifyRules() {
    try {
        long missing = 0;
        const std::unique_ptr<clsRecordset> rs =
            mDatabase ? mDatabase->GetRS("SELECT * FROM RULES") : nullptr;
        for (; rs && !rs->Eof(); rs->MoveNext()) {
            clsRuleRecord rule;
            mDatabase->ReadRuleFromCurrentRecord(*rs, rule);
            missing += VerifyRule(rule);
        }
        return missing;
    } catch (const std::exception& error) {
        mLog->AddErrorLog("Corvel->VerifyRules", error);
    }
    return 0;
}

long classCorvel::VerifyRule(const clsRuleRecord& rule) {
    try {
        if (!mFolderCache) {  // without a mail host there is nothing to look folders up in
            mLog->AddLog("Corvel->VerifyRule: no folder cache, nothing verified");
            return 0;
        }
        long missing = 0;
        for (const clsRuleAction& action : rule.Actions) {
            if (!action.TargetFolder.empty() && !mFolderCache->FindFolder(action.TargetFolder)) {
                mLog->AddLog("Corvel->VerifyRule: Folder not found - " + action.TargetFolder +
                             " (rule ID = " + std::to_string(rule.ID) + ")");
                ++missing;
            }
        }
        return missing;
    } catch (const std::exception& error) {
        mLog->AddErrorLog("Corvel->VerifyRule", error);
    }
    return 0;
}

bool classCorvel::ExportRulesToFile(const std::filesystem::path& file) {
    if (!mDatabase) {
        return false;
    }
    clsStatus status = clsStatus::Ok();
    try {
        CloseStores();  // no connection open, so the file on disk is the whole database
        status = clsZipArchive(file).Write(
            {{std::string(kDatabaseName), mDataFolder / std::string(kDatabaseName)}});
    } catch (const std::exception& error) {
        status = clsStatus::Error(clsStatus::Code::Io, error.what());
    }
    if (status.IsOk()) {
        mHost.Ui.ShowMessage("Rules exported.", "Export Complete", MessageButtons::Ok,
                             MessageIcon::Information, MessageAnswer::Ok);
    } else {
        mLog->AddErrorLog("Corvel->ExportRulesToFile", status);
        mHost.Ui.ShowMessage("Error:\n" + status.Description(), "Export Failed", MessageButtons::Ok,
                             MessageIcon::Exclamation, MessageAnswer::Ok);
    }
    OpenStores();
    return status.IsOk();
}

bool classCorvel::ImportRulesFromFile(const std::filesystem::path& file) {
    const std::string routine = "Corvel->ImportRulesFromFile";
    if (!mDatabase) {
        return false;
    }
    const std::filesystem::path folder = ImportFolder();
    long imported = -1;
    try {
        mLog->AddLog(routine + ": Importing from  " + file.string());
        clsStatus status = MakeEmptyFolder(folder);
        mLog->AddLog(routine + ": Extracting to " + folder.string());
        if (status.IsOk()) {
            status = clsZipArchive(file).ExtractTo(folder);
        }
        const std::filesystem::path extracted = folder / std::string(kDatabaseName);
        std::error_code error;
        if (!status.IsOk()) {
            mLog->AddErrorLog(routine, status);
        } else if (std::filesystem::is_regular_file(extracted, error)) {
            // Only the database is open while it takes the rules in; the folder cache follows.
            CloseStores();
            if (mDatabase->OpenDatabase(mDataFolder / std::string(kDatabaseName), false)) {
                imported = mDatabase->ImportRules(extracted);
            }
        }
    } catch (const std::exception& error) {
        mLog->AddErrorLog(routine, error);
    }
    OpenStores();
    if (imported < 0) {
        mHost.Ui.ShowMessage("Invalid import file:\n" + file.string(), "Import Failed",
                             MessageButtons::Ok, MessageIcon::Exclamation, MessageAnswer::Ok);
    }
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
    return imported >= 0;
}

void classCorvel::ReadRules() {
    try {
        if (Trimmed(mHost.Settings.ReadText(kRulesSection, kGenerationName, "")) !=
            kFirstGeneration) {
            return;
        }
        long most = 0;
        for (const clsLoadedFile& file : kFirstGenerationFiles) {
            clsCsvTable table;
            if (const clsStatus status = table.Open(mDataFolder / std::string(file.File));
                !status.IsOk()) {
                mLog->AddErrorLog("Corvel->ReadRules", status);
            }
            mLog->AddLog(LoadedText(table.RowCount(), file));
            most = std::max(most, table.RowCount());
        }
        if (most >= 2) {
            ConvertRulesv1tov3();
        }
    } catch (const std::exception& error) {
        mLog->AddErrorLog("Corvel->ReadRules", error);
    }
}

void classCorvel::ConvertRulesv1tov3() {
    const std::string routine = "Corvel->ConvertRulesv1tov3";
    try {
        if (!mDatabase || !mDatabase->IsOpen()) {
            mLog->AddLog(routine + ": the rules database is not open, nothing converted");
            return;
        }
        mLog->AddLog(routine + ": Converting rules to version 3");
        mHost.Ui.ShowStatus("Converting rules from v1 to v3...");
        const bool incomingDone = ConvertRules(kIncomingFile, true);
        const bool outgoingDone = ConvertRules(kOutgoingFile, false);
        ConvertJunkAddressesv1tov3();
        mLog->AddLog(routine + ": Rules converted successfully");
        // Raised only when every rule is in: a rerun reuses the rules stored already.
        if (incomingDone && outgoingDone) {
            mHost.Settings.SaveText(kRulesSection, kGenerationName, kConvertedGeneration);
        } else {
            mLog->AddLog(routine + ": not every rule was converted; the next start tries again");
        }
    } catch (const std::exception& error) {
        mLog->AddErrorLog(routine, error);
    }
}

void classCorvel::ConvertIncomingRulesv1tov3() { ConvertRules(kIncomingFile, true); }

void classCorvel::ConvertOutgoingRulesv1tov3() { ConvertRules(kOutgoingFile, false); }

bool classCorvel::ConvertRules(std::string_view fileName, bool incoming) {
    const std::string routine =
        incoming ? "Corvel->ConvertIncomingRulesv1tov3" : "Corvel->ConvertOutgoingRulesv1tov3";
    if (!mDatabase) {
        return false;
    }
    try {
        mHost.Ui.ShowStatus(incoming ? "Convert incoming rules to v3"
                                     : "Convert outgoing rules to v3");
        clsCsvTable table;
        if (const clsStatus status = table.Open(mDataFolder / std::string(fileName));
            !status.IsOk()) {
            mLog->AddErrorLog(routine, status);
            return status.GetCode() == clsStatus::Code::NotFound;  // no file, nothing to convert
        }
        if (const std::string_view missing = MissingColumn(table); !missing.empty()) {
            mLog->AddLog(routine + ": " + std::string(fileName) + " has no column \"" +
                         std::string(missing) + "\"");
            return false;
        }
        bool all = true;
        clsDataFile rows;  // the rows as read, kept beside the files as a record
        for (long row = 1; row <= table.RowCount(); ++row) {
            const std::string key = std::to_string(row);
            KeepRow(table, row, key, rows);
            if (IsBlankRow(rows, key)) {
                continue;
            }
            clsRuleRecord rule = RuleFromRow(rows, key, incoming);
            if (mDatabase->AddUpdateRule(rule)) {
                rows.SetValue(key, "RuleID", std::to_string(rule.ID));
            } else {
                mLog->AddLog("Failed to convert incoming rule " + key);  // in both directions
                all = false;
            }
        }
        rows.SaveAs(mDataFolder / ("Converted " + std::string(fileName)));
        return all;
    } catch (const std::exception& error) {
        mLog->AddErrorLog(routine, error);
    }
    return false;
}

void classCorvel::ConvertJunkAddressesv1tov3() {
    const std::string routine = "Corvel->ConvertJunkAddressesv1tov3";
    try {
        clsCsvTable table;
        if (const clsStatus status = table.Open(mDataFolder / std::string(kJunkFile));
            !status.IsOk()) {
            mLog->AddErrorLog(routine, status);
        }
        long imported = 0;
        for (long row = 1; row <= table.RowCount(); ++row) {
            const std::string address(Trimmed(table.Cell(row, "Email Address")));
            imported += !address.empty() && AddJunkSenderEmail(address) ? 1 : 0;
        }
        mLog->AddLog(routine + ": " + std::to_string(imported) +
                     " junk senders imported to database");
    } catch (const std::exception& error) {
        mLog->AddErrorLog(routine, error);
    }
}
