#pragma once
// clsCommandContext: what every command of the command line works on: the data folder, the
// settings store, the log, and (opened on demand) the rules database in the data folder.
// One per run of `corvel`; main thread only. Failures are printed to the error stream as
// "corvel: <what happened>; <what to do>" and reported as exit code 1.

#include <filesystem>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>

#include "cli/clsConsoleUserInterface.h"
#include "database/classRulesDatabase.h"
#include "engine/classCorvel.h"
#include "foundation/clsLogFile.h"
#include "foundation/clsRegistryAccess.h"
#include "foundation/clsSettings.h"
#include "intake/clsIntake.h"
#include "mailhost/clsFolderCache.h"
#include "mailhost/clsMailNamespace.h"
#include "mailhost/clsMailProfiles.h"
#include "spam/clsSpamFilter.h"

struct clsGlobalOptions {
    std::string DataDir;  // empty: "Data File Location" or $XDG_DATA_HOME/corvel
    std::string Profile;  // empty: the default profile
    bool Verbose = false;
};

class clsCommandContext {
public:
    static constexpr std::string_view kDatabaseName = "Rules.mdb";

    clsCommandContext(const clsGlobalOptions& options, std::ostream& out, std::ostream& err);
    ~clsCommandContext();

    // Makes the data folder and the log. False (and a message printed) when it cannot.
    bool Prepare();
    // Opens (creating when missing) the rules database. False (and a message printed) on failure.
    bool OpenDatabase();

    // Opens the profile's mail store and the folder cache (built when empty). False (and a
    // message printed) on failure.
    bool OpenMail();
    // A folder by path ("\\Mailbox\Inbox\Clients") or name, through the folder cache; the
    // cache is built again once when the folder is not in it. Prints why when there is none.
    std::optional<clsMailFolder> FindFolder(std::string_view pathOrName);
    // Opens the profile's mail store. False (and a message printed) on failure.
    bool OpenApplication();
    clsMailApplication& Application() { return *mApplication; }
    // What the engine is made with on application: this context's stores, user interface and
    // factories (the intake's included).
    clsEngineHost MakeEngineHost(clsMailApplication* application);
    // Opens the profile's mail and starts the engine on the data folder, which then owns its own
    // rules database and folder cache. False (and a message printed) on failure.
    bool OpenEngine();
    // A folder by path or name through the engine's folder cache; prints why when there is none.
    std::optional<clsMailFolder> FindEngineFolder(std::string_view pathOrName);
    classCorvel& Engine() { return *mEngine; }
    // The engine's analyser, queue and watched folders; valid after OpenEngine.
    clsIntake& Intake() { return *mIntake; }
    // The engine's spam filter; valid after OpenEngine.
    clsSpamFilter& SpamFilter() { return *mSpamFilter; }

    classRulesDatabase& Database() { return *mDatabase; }
    clsMailNamespace& Mail() { return *mApplication->GetNamespace("MAPI"); }
    clsFolderCache& FolderCache() { return *mFolderCache; }
    clsMailProfiles& Profiles() { return mProfiles; }
    clsRegistryAccess& Registry() { return mRegistry; }
    clsLogFile& Log() { return *mLog; }
    clsUserInterface& Ui() { return *mUi; }
    const std::filesystem::path& DataFolder() const { return mDataFolder; }
    bool Verbose() const { return mVerbose; }
    std::ostream& Out() { return mOut; }
    std::ostream& Err() { return mErr; }

    // Prints "corvel: message" to the error stream; returns the exit code 1.
    int Fail(std::string_view message);

    // The default data folder: $XDG_DATA_HOME/corvel, ~/.local/share/corvel without it.
    static std::filesystem::path DefaultDataFolder();

private:
    std::filesystem::path ChooseDataFolder(const clsGlobalOptions& options) const;
    std::optional<clsMailFolder> FindInCache(clsFolderCache& cache, std::string_view pathOrName);
    // How the engine makes its auto-reply sender (the services layer's classAutoReply).
    static clsAutoReplyFactory MakeAutoReplyFactory();
    // How the engine makes its spam filter; the filter made is also kept for the spam commands.
    clsSpamEngineFactory MakeSpamFilterFactory();

    std::ostream& mOut;
    std::ostream& mErr;
    clsRegistryAccess mRegistry;
    clsSettings mSettings;
    std::filesystem::path mDataFolder;
    std::unique_ptr<clsLogFile> mLog;
    std::unique_ptr<clsConsoleUserInterface> mUi;
    std::string mProfileName;
    bool mDataFolderGiven = false;
    bool mVerbose = false;
    clsMailProfiles mProfiles;
    std::unique_ptr<classRulesDatabase> mDatabase;
    std::unique_ptr<clsMailApplication> mApplication;
    std::unique_ptr<clsFolderCache> mFolderCache;
    std::unique_ptr<classCorvel> mEngine;
    clsSpamFilter* mSpamFilter = nullptr;  // owned by the engine
    clsIntake* mIntake = nullptr;          // owned by the engine
};
