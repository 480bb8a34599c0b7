// classCorvel: settings, start-up, the data folder, stopping and the counts.
#include "engine/classCorvel.h"

#include <cstdlib>
#include <system_error>

namespace {

constexpr std::string_view kEngineSection = "Rules Engine";
constexpr std::string_view kAntispamSection = "Antispam";
constexpr std::string_view kOptionsSection = "Options";
constexpr std::string_view kRulesSection = "Rules";

std::string VersionText() {
    return std::to_string(CORVEL_VERSION_MAJOR) + "." + std::to_string(CORVEL_VERSION_MINOR) + "." +
           std::to_string(CORVEL_VERSION_PATCH);
}

}  // namespace

classCorvel::classCorvel(clsEngineHost host) : mHost(std::move(host)) {}

classCorvel::~classCorvel() { Quit(); }

clsMailNamespace* classCorvel::Mapi() {
    return mHost.Application ? mHost.Application->GetNamespace("MAPI") : nullptr;
}

bool classCorvel::InitialiseEngine() {
    if (!mLog) {
        return false;
    }
    const std::string prefix = "Corvel->InitialiseEngine: ";
    std::string step = "start";
    try {
        mLog->AddLog(prefix + "engine initialising (" + VersionText() + ")");
        mHost.Ui.ShowStatus("Checking profile...");
        mLog->AddLog(prefix + "checking profile");
        step = "data folder";
        mDataFolder = ChooseDataFolder();
        mLog->AddLog(prefix + "data file location = " + mDataFolder.string());
        mHost.Ui.ShowStatus("Opening database...");
        mLog->AddLog(prefix + "opening database");
        step = "database";
        mDatabase = std::make_unique<classRulesDatabase>(*mLog, mHost.Ui);
        mDatabase->OpenDatabase(mDataFolder / kDatabaseName, true);
        mStatistics.Initialise(mDatabase.get());
        mRunning = true;
        mLog->AddLog(prefix + "Initialise spam engine");
        step = "spam engine";
        StartSpamFilter();
        mLog->AddLog(prefix + "reading settings");
        step = "settings";
        ReadSettings();
        mLog->AddLog(prefix + "initialise Options form");
        mHost.Ui.ShowStatus("Loading rules...");
        mLog->AddLog(prefix + "loading rules");
        step = "rules";
        ReadRules();
        step = "folder cache";
        InitialiseFolderCache();
        mLog->AddLog(prefix + "Initialise autoreplies");
        step = "autoreplies";
        if (mHost.AutoReplies && Mapi()) {
            mAutoReply = mHost.AutoReplies(*Mapi(), *mLog);
        }
        step = "intake";
        StartIntake();
        return true;
    } catch (const std::exception& error) {
        mLog->AddErrorLog(prefix + step, error);
        return mRunning;
    }
}

std::filesystem::path classCorvel::ChooseDataFolder() {
    if (!mHost.FixedDataFolder.empty()) {
        return mHost.FixedDataFolder;
    }
    const std::string stored = mHost.Settings.ReadText(kRulesSection, "Data File Location", "");
    std::filesystem::path folder =
        stored.empty() ? mHost.DefaultDataFolder : std::filesystem::path(stored);
    const std::string profile = Mapi() ? Mapi()->CurrentProfileName() : "";
    if (OutlookProfileSupport() && !profile.empty()) {
        folder /= profile;
        std::error_code ignored;  // a folder that cannot be made fails at the database's open
        std::filesystem::create_directories(folder, ignored);
    }
    return folder;
}

void classCorvel::ReadSettings() {
    classRulesDatabase& db = *mDatabase;
    const std::string delay = db.ReadOption(kEngineSection, "Process Delay", "0");
    try {
        mProcessDelay = static_cast<std::int16_t>(std::stoi(delay));
    } catch (const std::exception&) {
        mLog->AddLog("Corvel->ReadSettings: Process Delay is not a number: " + delay);
        mProcessDelay = 0;
    }
    mEnabled = db.ReadBooleanOption(kEngineSection, "Enabled", false);
    mCheckJunk = db.ReadBooleanOption(kEngineSection, "Check Junk", false);
    mUseJunkSuspects = db.ReadBooleanOption(kAntispamSection, "Use Junk Suspects", false);
    mSkipDuplicateCheck =
        mHost.Settings.ReadBoolean(kOptionsSection, "Skip Duplicate Check", false);
    mSearchAllMailboxes = db.ReadBooleanOption(kOptionsSection, "Multiple Mailbox Search", false);
    // The scores' defaults become stored values, as the options form expects to find them.
    db.SaveOption(kAntispamSection, "Minimum Spam Score",
                  db.ReadOption(kAntispamSection, "Minimum Spam Score", "0.8"));
    db.SaveOption(kAntispamSection, "Maximum Ham Score",
                  db.ReadOption(kAntispamSection, "Maximum Ham Score", "0.2"));
    if (mSpamFilter) {
        mSpamFilter->ApplySettings(ReadAntispamSettings());
    }
}

clsAntispamSettings classCorvel::ReadAntispamSettings() {
    classRulesDatabase& db = *mDatabase;
    clsAntispamSettings settings;
    const auto score = [&](std::string_view name, double fallback) {
        const std::string text = db.ReadOption(kAntispamSection, name, "");
        char* end = nullptr;
        const double value = std::strtod(text.c_str(), &end);
        return end != text.c_str() ? value : fallback;
    };
    settings.MinimumSpamScore = score("Minimum Spam Score", settings.MinimumSpamScore);
    settings.MaximumHamScore = score("Maximum Ham Score", settings.MaximumHamScore);
    settings.BalanceDatabase = db.ReadBooleanOption(kAntispamSection, "Balance Database", false);
    settings.SpamLinksDefiniteSpam =
        db.ReadBooleanOption(kAntispamSection, "Spam Links Definite Spam", false);
    settings.UseExistingSpamHeaders =
        db.ReadBooleanOption(kAntispamSection, "Use Existing Spam Headers", false);
    settings.UseJunkSuspects = mUseJunkSuspects;
    settings.UriBlockList =
        db.ReadOption(kAntispamSection, "URI Block List", settings.UriBlockList);
    settings.IpBlockList = db.ReadOption(kAntispamSection, "IP Block List", settings.IpBlockList);
    settings.DnsServer = db.ReadOption(kAntispamSection, "DNS Server", settings.DnsServer);
    settings.DnsTimeoutMilliseconds =
        static_cast<int>(score("DNS Timeout", settings.DnsTimeoutMilliseconds));
    return settings;
}

// The filter works on the corpora of the data folder, so a new folder means a new filter.
void classCorvel::StartSpamFilter() {
    if (mHost.SpamFilters) {
        mSpamFilter = mHost.SpamFilters(*mDatabase, *mLog, mDataFolder);
    }
}

void classCorvel::InitialiseFolderCache() {
    const std::string prefix = "Corvel->InitialiseEngine: ";
    mLog->AddLog(prefix + "Initialise folderCache object");
    clsMailNamespace* mapi = Mapi();
    if (!mapi) {
        mLog->AddLog(prefix + "no mail host, so no folder cache");
        return;
    }
    mFolderCache = std::make_unique<clsFolderCache>(*mLog, mHost.Ui, *mapi);
    mLog->AddLog(prefix + "open FolderCache database");
    mFolderCache->OpenDatabase(mDataFolder / kDatabaseName);
    if (!mDatabase->ReadBooleanOption("Folder Cache", "Assume Valid", false)) {
        mLog->AddLog(prefix + "build folder cache");
        mFolderCache->BuildFolderCache();
        return;
    }
    mLog->AddLog(prefix + "check whether to rebuild folder cache");
    if (mFolderCache->CachedFolderCount() < 1) {
        mLog->AddLog(prefix + "rebuild folder cache");
        mFolderCache->BuildFolderCache();
    }
}

// The analyser, queue and folder monitor work on the open database and folder cache, so they are
// made after them and let go before them.
void classCorvel::StartIntake() {
    if (!mHost.Intake) {
        return;
    }
    const std::string prefix = "Corvel->InitialiseEngine: ";
    mLog->AddLog(prefix + "Initialise message analyser");
    mIntake = mHost.Intake(*this);
    mLog->AddLog(prefix + "initialising watched folders");
    if (mIntake) {
        mIntake->LoadState(kMonitoredFoldersSection);
    }
}

void classCorvel::StopIntake() {
    if (mIntake) {
        mIntake->SaveState(kMonitoredFoldersSection);
        mIntake.reset();
    }
}

void classCorvel::StopSpamFilter() {
    if (mSpamFilter) {
        mSpamFilter->Close();
        mSpamFilter.reset();
    }
}

bool classCorvel::OpenStores() {
    const std::filesystem::path file = mDataFolder / kDatabaseName;
    bool opened = mDatabase->OpenDatabase(file, true);
    if (mFolderCache) {
        opened = mFolderCache->OpenDatabase(file) && opened;
    }
    return opened;
}

void classCorvel::CloseStores() {
    if (mFolderCache) {
        mFolderCache->CloseDatabase();
    }
    mDatabase->CloseDatabase();
}

bool classCorvel::ChangeRulesLocation(const std::filesystem::path& folder) {
    if (!mRunning || folder.empty()) {
        return false;
    }
    try {
        std::error_code error;  // a folder named on the command line may not exist yet
        std::filesystem::create_directories(folder, error);
        StopIntake();
        StopSpamFilter();
        CloseStores();
        mDataFolder = folder;
        mHost.Settings.SaveText(kRulesSection, "Data File Location", folder.string());
        const bool opened = OpenStores();
        StartSpamFilter();
        ReadSettings();
        ReadRules();
        StartIntake();
        if (opened) {
            mHost.Ui.ShowMessage("Data files location has been changed.", "Success",
                                 MessageButtons::Ok, MessageIcon::Information, MessageAnswer::Ok);
        }
        return opened;
    } catch (const std::exception& error) {
        mLog->AddErrorLog("Corvel->ChangeRulesLocation", error);
        return false;
    }
}

void classCorvel::Quit() {
    if (!mRunning) {
        return;
    }
    mRunning = false;
    StopIntake();
    mAutoReply.reset();
    StopSpamFilter();
    if (mFolderCache) {
        mFolderCache->CloseDatabase();
        mFolderCache.reset();
    }
    mDatabase->CloseDatabase();
    mLog->AddLog("Corvel->Quit: Corvel engine stopped.");
}

void classCorvel::SetProcessDelay(std::int16_t delay) {
    mProcessDelay = delay;
    if (mDatabase) {  // nothing to store in before the engine started
        mDatabase->SaveOption(kEngineSection, "Process Delay", std::to_string(delay));
    }
}

void classCorvel::Setenabled(bool value) {
    mEnabled = value;
    if (mDatabase) {  // nothing to store in before the engine started
        mDatabase->SaveOptionBoolean(kEngineSection, "Enabled", value);
    }
}

void classCorvel::SetSpamEngineEnabled(bool value) {
    mCheckJunk = value;
    if (mDatabase) {  // nothing to store in before the engine started
        mDatabase->SaveOptionBoolean(kEngineSection, "Check Junk", value);
    }
}

void classCorvel::SetUseJunkSuspectsFolder(bool value) {
    mUseJunkSuspects = value;
    if (mDatabase) {  // nothing to store in before the engine started
        mDatabase->SaveOptionBoolean(kAntispamSection, "Use Junk Suspects", value);
    }
}

void classCorvel::SetDuplicateCheck(bool value) {
    mSkipDuplicateCheck = !value;
    mHost.Settings.SaveBoolean(kOptionsSection, "Skip Duplicate Check", mSkipDuplicateCheck);
}

// Written to the settings store but read at start-up from the option table: a change lasts
// until the next start unless the option table holds it too. Kept so on purpose.
void classCorvel::SetSearchAllMailboxes(bool value) {
    mSearchAllMailboxes = value;
    mHost.Settings.SaveBoolean(kOptionsSection, "Multiple Mailbox Search", value);
}

bool classCorvel::OutlookProfileSupport() const {
    return mHost.Settings.ReadBoolean(kRulesSection, "Profile Support", false);
}

void classCorvel::SetOutlookProfileSupport(bool value) {
    mHost.Settings.SaveBoolean(kRulesSection, "Profile Support", value);
}

std::int32_t classCorvel::InboxRulesCount() { return mStatistics.IncomingRuleCount(); }
std::int32_t classCorvel::SentRulesCount() { return mStatistics.OutgoingRuleCount(); }
std::int32_t classCorvel::JunkAddressCount() { return mStatistics.JunkAddressCount(); }
