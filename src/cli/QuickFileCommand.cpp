// corvel rules from-message ITEM
#include <CLI/CLI.hpp>
#include <memory>

#include "cli/CommandTable.h"

namespace {

struct clsQuickFileArguments {
    std::string EntryID;
    std::string Folder;
};

int QuickFile(clsCommandContext& context, const clsQuickFileArguments& args) {
    if (!context.OpenEngine()) {
        return 1;
    }
    classCorvel& engine = context.Engine();
    const auto item = context.Mail().GetItemFromID(args.EntryID);
    if (!item) {
        return context.Fail("there is no item '" + args.EntryID +
                            "'; `corvel items FOLDER` lists items with their IDs");
    }
    std::string folder = args.Folder;
    if (folder.empty()) {
        folder = engine.FindBestFolderMatchByFolder(*item);
        if (folder.empty()) {
            return context.Fail(
                "no folder fits this message's sender or subject; name one with "
                "--folder");
        }
    } else if (const auto found = context.FindEngineFolder(folder)) {
        folder = found->FolderPath();
    } else {
        return 1;
    }
    const bool incoming = !(item->Parent() && item->Parent()->Role() == FolderRole::SentMail);
    const std::int32_t before = engine.InboxRulesCount() + engine.SentRulesCount();
    if (!engine.CreateFileRule(*item, folder, incoming)) {
        return context.Fail("no rule could be made: the message has no plain " +
                            std::string(incoming ? "sender" : "recipient") +
                            " address, or the log says why");
    }
    const std::int32_t made = engine.InboxRulesCount() + engine.SentRulesCount() - before;
    context.Out() << "Folder: " << folder << "\n"
                  << (made > 0 ? "Rules made: " + std::to_string(made)
                               : std::string("An identical rule exists already"))
                  << "\n";
    return 0;
}

}  // namespace

void AddQuickFileCommand(CLI::App& app, clsCommandAction& selected) {
    auto args = std::make_shared<clsQuickFileArguments>();
    CLI::App* rules = app.get_subcommand("rules");
    CLI::App* command = rules->add_subcommand(
        "from-message",
        "Quick file: make a rule that files mail like this message (from its sender; for sent "
        "mail, to its recipients) in the folder that best fits it");
    command->add_option("ITEM", args->EntryID, "The item's EntryID (see `corvel items FOLDER`)")
        ->required();
    command->add_option("--folder", args->Folder,
                        "File to this folder instead of the best guess (path or name)");
    command->callback([&selected, args] {
        selected = [args](clsCommandContext& c) { return QuickFile(c, *args); };
    });
}
