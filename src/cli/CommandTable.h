#pragma once
// The command line's one command table: each command adds its sub-command to the parser, and
// the callback of the sub-command that was given leaves behind the action to run. RunCorvel
// parses, prepares the context and runs that action. Main thread only; returns the exit code.

#include <functional>
#include <ostream>

#include "cli/clsCommandContext.h"

namespace CLI {
class App;
}

using clsCommandAction = std::function<int(clsCommandContext&)>;

void AddRulesCommand(CLI::App& app, clsCommandAction& selected);
void AddOptionsCommand(CLI::App& app, clsCommandAction& selected);
void AddGroupsCommand(CLI::App& app, clsCommandAction& selected);
void AddDbCommand(CLI::App& app, clsCommandAction& selected);
void AddRegistryCommand(CLI::App& app, clsCommandAction& selected);
void AddProfileCommand(CLI::App& app, clsCommandAction& selected);
void AddFoldersCommand(CLI::App& app, clsCommandAction& selected);
void AddItemsCommand(CLI::App& app, clsCommandAction& selected);
void AddShowCommand(CLI::App& app, clsCommandAction& selected);
void AddProcessCommand(CLI::App& app, clsCommandAction& selected);
void AddBlockedCommand(CLI::App& app, clsCommandAction& selected);
void AddStatsCommand(CLI::App& app, clsCommandAction& selected);
// Adds "from-message" to the "rules" command, so it comes after AddRulesCommand.
void AddQuickFileCommand(CLI::App& app, clsCommandAction& selected);
void AddTemplatesCommand(CLI::App& app, clsCommandAction& selected);
void AddSpamCommand(CLI::App& app, clsCommandAction& selected);
void AddRunCommand(CLI::App& app, clsCommandAction& selected);
// corvel watch and corvel engine: what the daemon works on.
void AddDaemonCommands(CLI::App& app, clsCommandAction& selected);

int RunCorvel(int argc, const char* const* argv, std::ostream& out, std::ostream& err);
