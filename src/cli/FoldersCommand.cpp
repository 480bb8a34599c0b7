// corvel folders [--rebuild] | folders find NAME | folders create PATH
#include <CLI/CLI.hpp>
#include <map>
#include <memory>

#include "cli/CommandTable.h"

namespace {

struct clsFolderArguments {
    bool Rebuild = false;
    std::string Name;
    std::string Store;
};

// The cached tree, indented by depth: rows come parents first, siblings by name.
int PrintTree(clsCommandContext& context, bool rebuild) {
    if (!context.OpenMail()) {
        return 1;
    }
    if (rebuild && !context.FolderCache().BuildFolderCache()) {
        return context.Fail("the folder cache could not be built; see the log");
    }
    std::map<std::int64_t, std::vector<std::pair<std::string, std::int64_t>>> children;
    std::unique_ptr<clsRecordset> rs = context.FolderCache().GetTreeviewRS();
    for (; rs && !rs->Eof(); rs->MoveNext()) {
        children[rs->Field("Parent").AsLong()].emplace_back(rs->Field("Name").AsText(),
                                                            rs->Field("ID").AsLong());
    }
    std::vector<std::pair<std::int64_t, int>> stack;  // (id, depth), walked depth first
    for (auto it = children[0].rbegin(); it != children[0].rend(); ++it) {
        stack.emplace_back(it->second, 0);
    }
    while (!stack.empty()) {
        const auto [id, depth] = stack.back();
        stack.pop_back();
        context.Out() << std::string(static_cast<size_t>(depth) * 2, ' ')
                      << context.FolderCache().GetPathByID(static_cast<std::int32_t>(id)) << "\n";
        const auto& below = children[id];
        for (auto it = below.rbegin(); it != below.rend(); ++it) {
            stack.emplace_back(it->second, depth + 1);
        }
    }
    return 0;
}

int Find(clsCommandContext& context, const clsFolderArguments& args) {
    if (!context.OpenMail()) {
        return 1;
    }
    const std::string store =
        args.Store.empty() ? context.FolderCache().DefaultStoreID() : args.Store;
    const auto folder = context.FolderCache().FindFolderFuzzy(args.Name, store);
    if (!folder) {
        return context.Fail("no single folder's name holds '" + args.Name +
                            "'; give more of the name, or see `corvel folders`");
    }
    context.Out() << folder->FolderPath() << "\n";
    return 0;
}

int Create(clsCommandContext& context, const clsFolderArguments& args) {
    if (!context.OpenMail()) {
        return 1;
    }
    if (args.Name.rfind("\\\\", 0) != 0) {
        return context.Fail(
            "give the full path of the new folder, e.g. '\\\\Mailbox\\Inbox\\Clients'");
    }
    const auto folder = context.FolderCache().CreateMappedFolder(args.Name);
    if (!folder) {
        return context.Fail(
            "cannot create " + args.Name +
            " (its store must exist; names cannot hold \".\" or \"/\"); see the log");
    }
    context.FolderCache().BuildFolderCache();
    context.Out() << folder->FolderPath() << "\n";
    return 0;
}

}  // namespace

void AddFoldersCommand(CLI::App& app, clsCommandAction& selected) {
    CLI::App* folders = app.add_subcommand("folders", "The folder tree of the profile's mail");
    auto args = std::make_shared<clsFolderArguments>();
    folders->add_flag("--rebuild", args->Rebuild, "Read the folder tree again before printing it");
    folders->callback([&selected, folders, args] {
        if (folders->get_subcommands().empty()) {
            selected = [args](clsCommandContext& c) { return PrintTree(c, args->Rebuild); };
        }
    });
    CLI::App* find = folders->add_subcommand("find", "Find a folder by (part of) its name");
    find->add_option("NAME", args->Name, "The name or a part of it (any case)")->required();
    find->add_option("--store", args->Store, "The store's ID (default: the profile's store)");
    find->callback(
        [&selected, args] { selected = [args](clsCommandContext& c) { return Find(c, *args); }; });
    CLI::App* create = folders->add_subcommand("create", "Create a folder and any missing parents");
    create->add_option("PATH", args->Name, "Full path, e.g. '\\\\Mailbox\\Inbox\\Clients'")
        ->required();
    create->callback([&selected, args] {
        selected = [args](clsCommandContext& c) { return Create(c, *args); };
    });
}
