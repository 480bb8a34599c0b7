// connect: start-up and shut-down of the daemon, in the mail host's order of events.
#include "intake/connect.h"

#include <system_error>

#include "mailhost/clsMailNamespace.h"

namespace {

std::string VersionText() {
    return std::to_string(CORVEL_VERSION_MAJOR) + "." + std::to_string(CORVEL_VERSION_MINOR) + "." +
           std::to_string(CORVEL_VERSION_PATCH);
}

}  // namespace

connect::connect(clsConnectHost host) : mHost(std::move(host)), mTimers(mHost.Loop, mHost.Log) {}

connect::~connect() {
    if (mEngine) {
        ooL_Quit();
    }
}

void connect::AddinInstance_Initialize() {
    mFatalError = false;
    mDisabled = false;
    try {
        std::error_code error;
        std::filesystem::create_directories(mHost.DataFolder, error);
        if (error) {
            mHost.Ui.ShowMessage("Fatal Error initialising log-file", "", MessageButtons::Ok,
                                 MessageIcon::Exclamation, MessageAnswer::Ok);
            mFatalError = true;
        }
        mHost.Log.SetPath(mHost.DataFolder);
        mHost.Log.SetMaxFileSize(1048576);
        mProfileName = kUnknownProfile;
        mHost.Log.AddLog("Connect->Initialise: version " + VersionText());
    } catch (const std::exception& error) {
        mHost.Log.AddErrorLog("Connect->Initialise", error);
        mHost.Log.AddLog("Connect->Initialise: version " + VersionText());
    }
}

void connect::AddinInstance_OnConnection(clsMailApplication* application, int connectMode) {
    mApplication = application;
    mHost.Log.AddLog("Connect->OnConnection: global hook set");
    if (connectMode == kAfterStartup) {
        InitialiseEngines();  // no start-up-complete event will follow
    }
}

void connect::AddinInstance_OnStartupComplete() { InitialiseEngines(); }

void connect::InitialiseEngines() {
    if (mFatalError) {
        return;
    }
    try {
        mHost.Ui.ShowStatus("Checking helper library...");
        mHost.Log.AddLog(
            "Connect->InitialiseEngines: no helper library to check or register on this platform; "
            "the mail host provides its operations");
        mHost.Ui.ShowStatus("Initialising main engine...");
        clsEngineHost engineHost = mHost.EngineHost(mApplication);
        // The engine makes its intake again when its data folder changes: follow it.
        engineHost.Intake = clsIntake::Factory(mHost.Ticks, [this](clsIntake& intake) {
            mIntake = &intake;
            mTimers.SetWork(mEngineRunning ? mIntake : nullptr);
        });
        mEngine = std::make_unique<classCorvel>(std::move(engineHost));
    } catch (const std::exception& error) {
        mHost.Log.AddErrorLog("Connect->InitialiseEngines", error);
    }
    mHost.Log.AddLog("Outlook Corvel v" + VersionText() + " starting up");
}

void connect::ReadProfileName() {
    mProfileName = kUnknownProfile;
    try {
        clsMailNamespace* mapi = mApplication ? mApplication->GetNamespace("MAPI") : nullptr;
        if (mapi && !mapi->CurrentProfileName().empty()) {
            mProfileName = mapi->CurrentProfileName();
            ChangeLogPath();
        }
    } catch (const std::exception& error) {
        mHost.Log.AddErrorLog("Connect->ProfileName", error);
    }
}

// Each profile keeps its own log below the data folder.
void connect::ChangeLogPath() {
    const std::filesystem::path folder =
        mProfileName == kUnknownProfile ? mHost.DataFolder : mHost.DataFolder / mProfileName;
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    mHost.Log.AddLog("Changing log path to: " + folder.string());
    mHost.Log.SetPath(folder);
}

void connect::ooL_Startup() {
    if (!mFatalError && mProfileName == kUnknownProfile) {
        ReadProfileName();
    }
}

void connect::ooL_MAPILogonComplete() {
    if (mFatalError || mDisabled) {
        return;
    }
    const std::string prefix = "Connect->MAPILogonComplete: ";
    try {
        if (mProfileName == kUnknownProfile) {
            ReadProfileName();
        }
        mHost.Log.AddLog(prefix + "Outlook Profile = " + mProfileName);
        if (mProfileName == kUnknownProfile || !mEngine) {
            mHost.Log.AddLog(prefix + "couldn't determine Outlook profile");
            mHost.Ui.ShowStatus("Critical error - no Outlook profile");
            return;
        }
        StartEngine();
        SinkItemEvents();
        mHost.Log.AddLog(prefix + "initialisation finished");
    } catch (const std::exception& error) {
        mHost.Log.AddErrorLog("Connect->MAPILogonComplete", error);
    }
}

void connect::StartEngine() {
    mEngine->SetLogFile(mHost.Log);
    mEngine->InitialiseEngine();
    mEngineRunning = true;
    mTimers.SetWork(mIntake);
    mTimers.StartIncomingMailTimer();
}

void connect::SinkItemEvents() {
    clsMailNamespace* mapi = mApplication ? mApplication->GetNamespace("MAPI") : nullptr;
    if (!mapi) {
        return;
    }
    if (const auto inbox = mapi->GetDefaultFolder(DefaultFolder::Inbox)) {
        mInboxItems = std::make_unique<clsItemsEventSink>(
            mHost.Loop, mHost.Log, *inbox, [this](clsMailItem& item) { OnInboxItemAdd(item); });
    }
    if (const auto sent = mapi->GetDefaultFolder(DefaultFolder::SentMail)) {
        mSentItems = std::make_unique<clsItemsEventSink>(
            mHost.Loop, mHost.Log, *sent, [this](clsMailItem& item) { OnSentItemAdd(item); });
    }
}

// A watched folder's new items go through the analyser and the queue; acting on them here as
// well would act on each twice.
bool connect::LeftToFolderMonitor(const clsMailItem& item) {
    const std::optional<clsMailFolder> folder = item.Parent();
    return mIntake && folder && mIntake->Watches(*folder);
}

void connect::OnInboxItemAdd(clsMailItem& item) {
    if (Engine() && mEngine->enabled() && !LeftToFolderMonitor(item)) {
        mEngine->ProcessIncomingItem(item, mEngine->SpamEngineEnabled());
    }
}

void connect::OnSentItemAdd(clsMailItem& item) {
    if (Engine() && mEngine->enabled() && !LeftToFolderMonitor(item)) {
        mEngine->ProcessSentItem(item, false, false);
    }
}

void connect::StopTimer() {
    mTimers.DisableMailTimer();
    mTimers.SetShuttingDown();
}

void connect::AddinInstance_OnBeginShutdown() {
    mHost.Log.AddLog("OnBeginShutdown received");
    StopTimer();
}

void connect::AddinInstance_OnDisconnection() { StopTimer(); }

void connect::ooL_Quit() {
    try {
        StopTimer();
        mInboxItems.reset();
        mSentItems.reset();
        mTimers.SetWork(nullptr);
        mEngineRunning = false;
        mIntake = nullptr;
        if (mEngine) {
            mEngine->Quit();
            mEngine.reset();
        }
        mHost.Log.AddLog("Corvel completed disconnection from Outlook.");
    } catch (const std::exception& error) {
        mHost.Log.AddErrorLog("Connect->Quit", error);
    }
}

void connect::AddinInstance_Terminate() {
    mHost.Log.AddLog(mFatalError ? "Corvel terminated with fatal error condition."
                                 : "Corvel terminated.");
}
