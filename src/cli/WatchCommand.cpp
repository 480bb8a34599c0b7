// corvel watch list | add FOLDER [--interval SECONDS] | remove FOLDER
// corvel engine enable | disable | status
#include <CLI/CLI.hpp>
#include <memory>

#include "cli/CommandTable.h"
#include "cli/clsRunLock.h"

namespace {

constexpr int kDefaultInterval = 5;

// The daemon saves its watched folders when it stops, which would undo a change made beside it.
bool RefuseWhileRunning(clsCommandContext& context) {
    const auto holder = clsRunLock(context.DataFolder()).Holder();
    if (holder) {
        context.Fail("`corvel run` (process " + std::to_string(*holder) +
                     ") works on this data folder and would undo the change when it stops; stop "
                     "it, change the watched folders, then start it again");
    }
    return holder.has_value();
}

int ListWatched(clsCommandContext& context) {
    if (!context.OpenEngine()) {
        return 1;
    }
    for (const clsMonitoredFolder* watched : context.Intake().FolderMonitor().Folders()) {
        if (watched->Folder()) {
            context.Out() << watched->Folder()->FolderPath() << "\t" << watched->CheckInterval()
                          << " s\n";
        }
    }
    return 0;
}

int ChangeWatched(clsCommandContext& context, const std::string& name, int interval, bool add) {
    if (!context.Prepare() || RefuseWhileRunning(context)) {
        return 1;
    }
    const std::optional<clsMailFolder> folder = context.FindEngineFolder(name);
    if (!folder) {
        return 1;
    }
    clsFolderMonitor& monitor = context.Intake().FolderMonitor();
    const long before = monitor.FolderCount();
    if (add) {
        monitor.AddFolder(*folder, static_cast<std::int16_t>(interval));
    } else {
        monitor.RemoveFolder(*folder);
    }
    if (add && monitor.FolderCount() == before) {
        context.Out() << folder->FolderPath() << " is watched already; interval now " << interval
                      << " s\n";
    } else {
        context.Out() << (add ? "Watching " : "No longer watching ") << folder->FolderPath()
                      << "\n";
    }
    if (add && !clsMonitoredFolder::BackgroundCheckOn(context.Engine())) {
        // The new-mail check misses what arrives after the queue has emptied the folder.
        context.Out() << "Note: the background check is off, so mail arriving after the folder "
                         "has been emptied waits for more mail; switch it on with: corvel options "
                         "set \"Rules Engine\" \"Enable background check\" true\n";
    }
    return 0;  // the engine's Quit stores the watched folders
}

void AddWatchCommand(CLI::App& app, clsCommandAction& selected) {
    CLI::App* watch = app.add_subcommand(
        "watch",
        "The watched folders: `corvel run` looks in each for new mail every interval and hands "
        "it to the rules and the junk checks");
    watch->add_subcommand("list", "List the watched folders and their intervals")
        ->callback([&selected] { selected = ListWatched; });
    for (const bool add : {true, false}) {
        auto folder = std::make_shared<std::string>();
        auto interval = std::make_shared<int>(kDefaultInterval);
        CLI::App* change = watch->add_subcommand(
            add ? "add" : "remove",
            add ? "Watch a folder (or change its interval)" : "Stop watching");
        change->add_option("FOLDER", *folder, "A folder path (\\\\Mailbox\\Inbox) or name")
            ->required();
        if (add) {
            change
                ->add_option("--interval", *interval,
                             "Seconds between checks (default 5; 33 or more means at every "
                             "tick of the mail timer, about twice a second)")
                ->check(CLI::Range(1, 32767));
        }
        change->callback([&selected, folder, interval, add] {
            selected = [folder, interval, add](clsCommandContext& c) {
                return ChangeWatched(c, *folder, *interval, add);
            };
        });
    }
}

int SwitchEngine(clsCommandContext& context, bool enable) {
    if (!context.OpenEngine()) {
        return 1;
    }
    context.Engine().Setenabled(enable);
    context.Out() << "The engine is " << (enable ? "enabled" : "disabled")
                  << (clsRunLock(context.DataFolder()).Holder()
                          ? "; the running daemon takes it up when it next starts"
                          : "")
                  << "\n";
    return 0;
}

int EngineStatus(clsCommandContext& context) {
    if (!context.OpenEngine()) {
        return 1;
    }
    context.Out() << (context.Engine().enabled() ? "enabled\n" : "disabled\n");
    return 0;
}

void AddEngineCommand(CLI::App& app, clsCommandAction& selected) {
    CLI::App* engine = app.add_subcommand(
        "engine",
        "Switch the rules engine on or off: while it is off, `corvel run` leaves new "
        "mail alone (the setting \"Enabled\" of \"Rules Engine\")");
    engine->add_subcommand("enable", "Switch the engine on")->callback([&selected] {
        selected = [](clsCommandContext& c) { return SwitchEngine(c, true); };
    });
    engine->add_subcommand("disable", "Switch the engine off")->callback([&selected] {
        selected = [](clsCommandContext& c) { return SwitchEngine(c, false); };
    });
    engine->add_subcommand("status", "Say whether the engine is on")->callback([&selected] {
        selected = EngineStatus;
    });
}

}  // namespace

void AddDaemonCommands(CLI::App& app, clsCommandAction& selected) {
    AddWatchCommand(app, selected);
    AddEngineCommand(app, selected);
}
