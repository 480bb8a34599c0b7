// corvel process FOLDER
#include <CLI/CLI.hpp>
#include <memory>

#include "cli/CommandTable.h"

namespace {

struct clsProcessArguments {
    std::string Folder;
    bool Reprocess = false;
    bool IncludeDisabled = false;
    long MaxItems = -1;
    long MaxMatches = 0;
};

int ProcessFolder(clsCommandContext& context, const clsProcessArguments& args) {
    const auto folder = context.FindEngineFolder(args.Folder);
    if (!folder) {
        return 1;
    }
    classCorvel& engine = context.Engine();
    const long count = engine.ProcessFolder(*folder, !args.Reprocess, args.MaxItems,
                                            args.MaxMatches, args.IncludeDisabled, args.Reprocess);
    context.Out() << count << " items processed in " << folder->FolderPath() << "; "
                  << engine.RulesProcessedSuccess()
                  << " matched a rule or came from a blocked sender\n";
    return 0;
}

}  // namespace

void AddProcessCommand(CLI::App& app, clsCommandAction& selected) {
    auto args = std::make_shared<clsProcessArguments>();
    CLI::App* process = app.add_subcommand(
        "process",
        "Run the rules over a folder's items (items already processed are skipped; a folder of "
        "sent mail gets the rules for sent mail)");
    process->add_option("FOLDER", args->Folder, "Folder path ('\\\\Mailbox\\Inbox') or name")
        ->required();
    process->add_flag("--reprocess", args->Reprocess,
                      "Also run the rules over items processed before");
    process->add_flag("--include-disabled", args->IncludeDisabled,
                      "Also apply rules that are switched off");
    process->add_option("--max-items", args->MaxItems, "Stop after this many items")
        ->check(CLI::NonNegativeNumber);
    process
        ->add_option("--max-matches", args->MaxMatches, "Stop after this many items matched a rule")
        ->check(CLI::PositiveNumber);
    process->callback([&selected, args] {
        selected = [args](clsCommandContext& c) { return ProcessFolder(c, *args); };
    });
}
