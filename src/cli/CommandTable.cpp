#include "cli/CommandTable.h"

#include <CLI/CLI.hpp>

namespace {

constexpr const char* kDescription =
    "Corvel files your mail by your rules, keeps blocked senders, filters spam and archives old "
    "mail.\nIts rules, options and corpora live in Rules.mdb (an SQLite file) in the data folder; "
    "its log is Corvel.log beside it.";

void AddCommands(CLI::App& app, clsCommandAction& selected) {
    using AddCommand = void (*)(CLI::App&, clsCommandAction&);
    for (AddCommand add :
         {AddRulesCommand, AddOptionsCommand, AddGroupsCommand, AddDbCommand, AddRegistryCommand,
          AddProfileCommand, AddFoldersCommand, AddItemsCommand, AddShowCommand,
          AddTemplatesCommand, AddProcessCommand, AddBlockedCommand, AddStatsCommand,
          AddQuickFileCommand, AddSpamCommand, AddRunCommand, AddDaemonCommands}) {
        add(app, selected);
    }
}

}  // namespace

int RunCorvel(int argc, const char* const* argv, std::ostream& out, std::ostream& err) {
    CLI::App app(kDescription, "corvel");
    clsGlobalOptions options;
    app.add_option("--data-dir", options.DataDir,
                   "Data folder holding Rules.mdb and the log (default: the stored \"Data File "
                   "Location\", else $XDG_DATA_HOME/corvel)");
    app.add_option("--profile", options.Profile,
                   "Mail profile to work on (default: the default profile; a first run makes "
                   "\"Default\" on a Maildir in the data folder)");
    app.add_flag("-v,--verbose", options.Verbose, "Print progress and status lines");
    app.set_version_flag("--version", CORVEL_VERSION);
    clsCommandAction selected;
    AddCommands(app, selected);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error, out, err);
    }
    if (!selected) {  // a command group without its sub-command: show what it offers
        const CLI::App* given = &app;
        while (!given->get_subcommands().empty()) {
            given = given->get_subcommands().front();
        }
        err << given->help() << "corvel: choose one of the sub-commands above\n";
        return 1;
    }
    try {
        clsCommandContext context(options, out, err);
        return selected(context);
    } catch (const std::exception& error) {  // a bug: say so rather than abort
        err << "corvel: internal error: " << error.what() << "\n";
        return 2;
    }
}
