// corvel stats
#include <CLI/CLI.hpp>

#include "cli/CommandTable.h"

namespace {

int ShowStatistics(clsCommandContext& context) {
    if (!context.OpenEngine()) {
        return 1;
    }
    const clsStatistics& statistics = context.Engine().Statistics();
    context.Out() << "Rules for arriving mail\t" << statistics.IncomingRuleCount() << "\n"
                  << "Rules for sent mail\t" << statistics.OutgoingRuleCount() << "\n"
                  << "Blocked senders\t" << statistics.JunkAddressCount() << "\n";
    return 0;
}

}  // namespace

void AddStatsCommand(CLI::App& app, clsCommandAction& selected) {
    app.add_subcommand("stats",
                       "Show how many rules and blocked senders there are (the activity counters "
                       "belong to a running `corvel run` and start at 0 each time)")
        ->callback([&selected] { selected = ShowStatistics; });
}
