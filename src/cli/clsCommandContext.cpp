#include "cli/clsCommandContext.h"

#include <cstdlib>
#include <system_error>

clsCommandContext::clsCommandContext(const clsGlobalOptions& options, std::ostream& out,
                                     std::ostream& err)
    : mOut(out),
      mErr(err),
      mRegistry(clsRegistryLocations::FromEnvironment()),
      mSettings(mRegistry),
      mDataFolder(ChooseDataFolder(options)) {
    mLog = std::make_unique<clsLogFile>(mSettings, mDataFolder, "Corvel");
    mUi = std::make_unique<clsConsoleUserInterface>(*mLog, err, options.Verbose);
}

clsCommandContext::~clsCommandContext() {
    mDatabase.reset();  // closes the database before the log it writes to goes
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
