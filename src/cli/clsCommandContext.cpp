#include "cli/clsCommandContext.h"

#include <cstdlib>
#include <system_error>

#include "services/classAutoReply.h"

clsCommandContext::clsCommandContext(const clsGlobalOptions& options, std::ostream& out,
                                     std::ostream& err)
    : mOut(out),
      mErr(err),
      mRegistry(clsRegistryLocations::FromEnvironment()),
      mSettings(mRegistry),
      mDataFolder(ChooseDataFolder(options)),
      mProfileName(options.Profile),
      mDataFolderGiven(!options.DataDir.empty()),
      mVerbose(options.Verbose),
      mProfiles(mSettings) {
    mLog = std::make_unique<clsLogFile>(mSettings, mDataFolder, "Corvel");
    mUi = std::make_unique<clsConsoleUserInterface>(*mLog, err, options.Verbose);
}

clsCommandContext::~clsCommandContext() {
    // In reverse order of use: the cache walks the namespace, everything writes to the log.
    if (mEngine) {
        mEngine->Quit();
        mEngine.reset();
    }
    mFolderCache.reset();
    mApplication.reset();
    mDatabase.reset();
}

std::filesystem::path clsCommandContext::DefaultDataFolder() {
    if (const char* dataHome = std::getenv("XDG_DATA_HOME"); dataHome && *dataHome == '/') {
        return std::filesystem::path(dataHome) / "corvel";
    }
    const char* home = std::getenv("HOME");
    return std::filesystem::path(home ? home : ".") / ".local" / "share" / "corvel";
}

std::filesystem::path clsCommandContext::ChooseDataFolder(const clsGlobalOptions& options) const {
    if (!options.DataDir.empty()) {
        return std::filesystem::absolute(options.DataDir);
    }
    const std::string stored = mSettings.ReadText("Rules", "Data File Location", "");
    return stored.empty() ? DefaultDataFolder() : std::filesystem::path(stored);
}

bool clsCommandContext::Prepare() {
    std::error_code error;
    std::filesystem::create_directories(mDataFolder, error);
    if (error || !std::filesystem::is_directory(mDataFolder)) {
        Fail("cannot create the data folder " + mDataFolder.string() + " (" + error.message() +
             "); choose another with --data-dir");
        return false;
    }
    return true;
}

bool clsCommandContext::OpenDatabase() {
    if (mDatabase) {
        return true;
    }
    if (!Prepare()) {
        return false;
    }
    auto database = std::make_unique<classRulesDatabase>(*mLog, *mUi);
    const std::filesystem::path file = mDataFolder / kDatabaseName;
    if (!database->OpenDatabase(file, true)) {
        Fail("cannot open the rules database " + file.string() + "; the log " +
             mLog->FullFilename().string() + " says why");
        return false;
    }
    mDatabase = std::move(database);
    return true;
}

int clsCommandContext::Fail(std::string_view message) {
    mErr << "corvel: " << message << "\n";
    return 1;
}

bool clsCommandContext::OpenApplication() {
    if (mApplication) {
        return true;
    }
    if (!Prepare()) {
        return false;
    }
    const auto profile = mProfiles.Resolve(mProfileName, mDataFolder);
    if (!profile) {
        Fail("there is no profile '" + mProfileName + "'; `corvel profile list` shows them");
        return false;
    }
    clsStatus status = clsStatus::Ok();
    mApplication = clsMailProfiles::OpenProfile(*profile, *mLog, status);
    if (!mApplication) {
        Fail("cannot open the mail of profile '" + profile->Name + "': " + status.Description() +
             "; `corvel profile show " + profile->Name + "` shows its settings");
        return false;
    }
    return true;
}

bool clsCommandContext::OpenMail() {
    if (mFolderCache) {
        return true;
    }
    if (!OpenDatabase() || !OpenApplication()) {
        return false;
    }
    mFolderCache = std::make_unique<clsFolderCache>(*mLog, *mUi, Mail());
    if (!mFolderCache->OpenDatabase(mDataFolder / kDatabaseName)) {
        Fail("cannot open the folder cache in " + (mDataFolder / kDatabaseName).string());
        return false;
    }
    if (mFolderCache->CachedFolderCount() < 1) {
        mFolderCache->BuildFolderCache();
    }
    return true;
}

bool clsCommandContext::OpenEngine() {
    if (mEngine) {
        return true;
    }
    if (!OpenApplication()) {
        return false;
    }
    auto engine = std::make_unique<classCorvel>(MakeEngineHost(mApplication.get()));
    engine->SetLogFile(*mLog);
    if (!engine->InitialiseEngine() || !engine->RulesDatabase().IsOpen()) {
        Fail("the engine could not start on " + mDataFolder.string() + "; the log " +
             mLog->FullFilename().string() + " says why");
        return false;
    }
    mEngine = std::move(engine);
    return true;
}

clsEngineHost clsCommandContext::MakeEngineHost(clsMailApplication* application) {
    return {.Settings = mSettings,
            .Ui = *mUi,
            .Application = application,
            .DefaultDataFolder = DefaultDataFolder(),
            .FixedDataFolder = mDataFolderGiven ? mDataFolder : std::filesystem::path(),
            .AutoReplies = MakeAutoReplyFactory(),
            .SpamFilters = MakeSpamFilterFactory(),
            .Intake = clsIntake::Factory(clsTickCounter::System(),
                                         [this](clsIntake& intake) { mIntake = &intake; })};
}

std::optional<clsMailFolder> clsCommandContext::FindFolder(std::string_view pathOrName) {
    return OpenMail() ? FindInCache(*mFolderCache, pathOrName) : std::nullopt;
}

std::optional<clsMailFolder> clsCommandContext::FindEngineFolder(std::string_view pathOrName) {
    return OpenEngine() ? FindInCache(*mEngine->cvFolderCache(), pathOrName) : std::nullopt;
}

std::optional<clsMailFolder> clsCommandContext::FindInCache(clsFolderCache& cache,
                                                            std::string_view pathOrName) {
    auto folder = cache.FindFolder(pathOrName);
    if (!folder) {  // made since the cache was built, perhaps by another program
        cache.BuildFolderCache();
        folder = cache.FindFolder(pathOrName);
    }
    if (!folder) {
        Fail("no single folder answers to '" + std::string(pathOrName) +
             "'; `corvel folders` lists them, and a full path (\\\\Mailbox\\Inbox\\Name) "
             "settles a name that several folders have");
    }
    return folder;
}

clsAutoReplyFactory clsCommandContext::MakeAutoReplyFactory() {
    return [](clsMailNamespace& mapi, clsLogFile& log) -> std::unique_ptr<clsAutoReplySender> {
        return std::make_unique<classAutoReply>(mapi, log);
    };
}

clsSpamEngineFactory clsCommandContext::MakeSpamFilterFactory() {
    return [this](classRulesDatabase& db, clsLogFile& log,
                  const std::filesystem::path& dataFolder) -> std::unique_ptr<clsSpamEngine> {
        auto filter = std::make_unique<clsSpamFilter>(db, log, dataFolder);
        mSpamFilter = filter.get();
        return filter;
    };
}
