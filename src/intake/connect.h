#pragma once
// connect: the daemon's lifecycle. It raises, in the order a mail host raises them, the events
// that start and stop the whole system: Initialise (the log and the version line), connection to
// the mail host, start-up complete (the engine object is made), log-on complete (with a known
// profile the engine starts, the mail timer runs and the Inbox and Sent Items raise item events),
// then begin-shutdown, disconnection and quit (the timer stops re-arming, the engine quits and
// saves the watched folders) and termination's last log line. There is no helper library to
// check or register on this platform: the mail host layer does its work.
// Owned by `corvel run`; everything runs on the event loop's thread. Failure: every event traps
// its own failures and logs them under "Connect->Event"; a fatal error leaves the daemon inert.

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "engine/classCorvel.h"
#include "intake/clsEventLoop.h"
#include "intake/clsIntake.h"
#include "intake/clsItemsEventSink.h"
#include "intake/modTimers.h"

// What the daemon's owner hands the lifecycle object.
struct clsConnectHost {
    clsLogFile& Log;
    clsUserInterface& Ui;
    clsEventLoop& Loop;
    const clsTickCounter& Ticks;
    // The per-user data folder; each profile's log goes to a folder of its name below it.
    std::filesystem::path DataFolder;
    // How to make the engine for a host application (the intake factory is added here).
    std::function<clsEngineHost(clsMailApplication*)> EngineHost;
};

class connect {
public:
    static constexpr std::string_view kUnknownProfile = "Unknown";
    // The host's connect modes: loaded after its start-up, or at its start-up.
    static constexpr int kAfterStartup = 0;
    static constexpr int kAtStartup = 1;

    explicit connect(clsConnectHost host);
    ~connect();
    connect(const connect&) = delete;
    connect& operator=(const connect&) = delete;

    void AddinInstance_Initialize();
    void AddinInstance_OnConnection(clsMailApplication* application, int connectMode);
    void ooL_Startup();
    void AddinInstance_OnStartupComplete();
    void ooL_MAPILogonComplete();
    void AddinInstance_OnBeginShutdown();
    void AddinInstance_OnDisconnection();
    void ooL_Quit();
    void AddinInstance_Terminate();

    bool FatalError() const { return mFatalError; }
    const std::string& ProfileName() const { return mProfileName; }
    // The running engine and its intake; nothing before log-on or after quit.
    classCorvel* Engine() { return mEngineRunning ? mEngine.get() : nullptr; }
    clsIntake* Intake() { return mEngineRunning ? mIntake : nullptr; }
    modTimers& Timers() { return mTimers; }

private:
    void InitialiseEngines();
    void ReadProfileName();
    void ChangeLogPath();
    void StartEngine();
    void SinkItemEvents();
    void OnInboxItemAdd(clsMailItem& item);
    void OnSentItemAdd(clsMailItem& item);
    bool LeftToFolderMonitor(const clsMailItem& item);
    void StopTimer();

    clsConnectHost mHost;
    modTimers mTimers;
    clsMailApplication* mApplication = nullptr;
    std::unique_ptr<classCorvel> mEngine;
    clsIntake* mIntake = nullptr;  // owned by the engine
    std::unique_ptr<clsItemsEventSink> mInboxItems;
    std::unique_ptr<clsItemsEventSink> mSentItems;
    std::string mProfileName{kUnknownProfile};
    bool mFatalError = false;
    bool mDisabled = false;
    bool mEngineRunning = false;
};
