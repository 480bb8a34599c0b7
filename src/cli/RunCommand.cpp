// corvel run: the daemon in the foreground, until SIGTERM or SIGINT.
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <iostream>

#include "cli/CommandTable.h"
#include "cli/clsRunLock.h"
#include "intake/connect.h"

namespace {

// Log entries on the error stream too, for --verbose.
class clsStderrMirror final : public clsTextMirror {
public:
    explicit clsStderrMirror(std::ostream& err) : mErr(err) {}
    void SetText(std::string text) override { mErr << text << std::endl; }

private:
    std::ostream& mErr;
};

// SIGTERM and SIGINT become readable events on the loop instead of interrupting it anywhere.
class clsShutdownSignals {
public:
    clsShutdownSignals() {
        sigemptyset(&mSignals);
        sigaddset(&mSignals, SIGTERM);
        sigaddset(&mSignals, SIGINT);
        pthread_sigmask(SIG_BLOCK, &mSignals, &mPrevious);
        mDescriptor = signalfd(-1, &mSignals, SFD_CLOEXEC | SFD_NONBLOCK);
    }
    ~clsShutdownSignals() {
        close(mDescriptor);
        pthread_sigmask(SIG_SETMASK, &mPrevious, nullptr);
    }
    clsShutdownSignals(const clsShutdownSignals&) = delete;
    clsShutdownSignals& operator=(const clsShutdownSignals&) = delete;
    int Descriptor() const { return mDescriptor; }
    void Drain() const {
        signalfd_siginfo info{};
        while (read(mDescriptor, &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
        }
    }

private:
    sigset_t mSignals{};
    sigset_t mPrevious{};
    int mDescriptor = -1;
};

void StartUp(connect& addin, clsMailApplication& application) {
    addin.AddinInstance_Initialize();
    addin.AddinInstance_OnConnection(&application, connect::kAtStartup);
    addin.ooL_Startup();
    addin.AddinInstance_OnStartupComplete();
    addin.ooL_MAPILogonComplete();
}

void ShutDown(connect& addin) {
    addin.AddinInstance_OnBeginShutdown();
    addin.AddinInstance_OnDisconnection();
    addin.ooL_Quit();
}

std::string Summary(connect& addin) {
    classCorvel& engine = *addin.Engine();
    std::string text =
        "corvel: running on profile '" + addin.ProfileName() + "', data in " +
        engine.RulesLocation().string() + ", watching " +
        std::to_string(addin.Intake() ? addin.Intake()->FolderMonitor().FolderCount() : 0) +
        " folder(s)";
    if (!engine.enabled()) {
        text += "; the engine is switched off (`corvel engine enable` switches it on)";
    }
    return text + "; stop with Ctrl-C or SIGTERM\n";
}

int RunDaemon(clsCommandContext& context) {
    if (!context.Prepare() || !context.OpenApplication()) {
        return 1;
    }
    clsRunLock lock(context.DataFolder());
    if (!lock.Acquire()) {
        const auto holder = lock.Holder();
        return context.Fail("another `corvel run` works on " + context.DataFolder().string() +
                            (holder ? " (process " + std::to_string(*holder) + ")" : "") +
                            "; stop it first");
    }
    clsStderrMirror mirror(context.Err());
    if (context.Verbose()) {
        context.Log().SetTextBoxControl(&mirror);
    }
    const clsShutdownSignals signals;
    clsEventLoop loop;
    loop.SetErrorHandler(
        [&context](const std::exception& error) { context.Log().AddErrorLog("EventLoop", error); });
    connect addin(clsConnectHost{
        .Log = context.Log(),
        .Ui = context.Ui(),
        .Loop = loop,
        .Ticks = clsTickCounter::System(),
        .DataFolder = context.DataFolder(),
        .EngineHost = [&context](clsMailApplication* app) { return context.MakeEngineHost(app); }});
    StartUp(addin, context.Application());
    if (!addin.Engine()) {
        addin.AddinInstance_Terminate();
        context.Log().SetTextBoxControl(nullptr);
        return context.Fail("the daemon could not start; the log " +
                            context.Log().FullFilename().string() + " says why");
    }
    context.Err() << Summary(addin) << std::flush;
    loop.Watch(signals.Descriptor(), [&] {
        signals.Drain();
        ShutDown(addin);
        loop.Stop();
    });
    loop.Run();
    addin.AddinInstance_Terminate();
    context.Log().SetTextBoxControl(nullptr);
    return 0;
}

}  // namespace

void AddRunCommand(CLI::App& app, clsCommandAction& selected) {
    app.add_subcommand(
           "run",
           "Run the daemon in the foreground: new mail in the Inbox and Sent Items and in the "
           "watched folders (`corvel watch`) is filed by the rules and checked for junk while the "
           "engine is enabled (`corvel engine enable`). Logs to the profile's log file below the "
           "data folder, and with --verbose to the error stream too; stops cleanly on SIGTERM or "
           "Ctrl-C")
        ->callback([&selected] { selected = RunDaemon; });
}
