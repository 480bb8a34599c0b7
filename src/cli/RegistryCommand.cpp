// corvel registry export|import
#include <CLI/CLI.hpp>
#include <memory>

#include "cli/CommandTable.h"

namespace {

struct clsRegistryArguments {
    std::string File;
    std::string Key = "HKEY_CURRENT_USER\\" + std::string(clsSettings::kSettingsRoot);
};

int Export(clsCommandContext& context, const clsRegistryArguments& args) {
    if (!context.Registry().ExportToReg(args.File, args.Key)) {
        const clsStatus& error = context.Registry().LastError();
        return context.Fail("cannot export " + args.Key + " to " + args.File + ": " +
                            error.Description() + "; check the key (`HKCU\\...`) and the path");
    }
    return 0;
}

int Import(clsCommandContext& context, const clsRegistryArguments& args) {
    const bool imported = context.Registry().ImportFromReg(args.File);
    const clsStatus& error = context.Registry().LastError();
    if (!imported) {
        return context.Fail("cannot import " + args.File + ": " + error.Description());
    }
    if (!error.IsOk()) {  // some lines were skipped; the rest is in
        context.Err() << "corvel: warning: " << error.Description() << "\n";
    }
    return 0;
}

}  // namespace

void AddRegistryCommand(CLI::App& app, clsCommandAction& selected) {
    CLI::App* registry = app.add_subcommand(
        "registry", "Export and import settings as registry-editor (REGEDIT4) files");
    auto args = std::make_shared<clsRegistryArguments>();

    CLI::App* exportCommand =
        registry->add_subcommand("export", "Write a key and its sub-keys to FILE");
    exportCommand->add_option("FILE", args->File, "The .reg file to write")->required();
    exportCommand->add_option("KEY", args->Key, "The key, e.g. HKCU\\Software\\KESTO\\Corvel")
        ->capture_default_str();
    exportCommand->callback([&selected, args] {
        selected = [args](clsCommandContext& c) { return Export(c, *args); };
    });

    CLI::App* importCommand = registry->add_subcommand("import", "Read keys and values from FILE");
    importCommand->add_option("FILE", args->File, "The .reg file to read")
        ->required()
        ->check(CLI::ExistingFile);
    importCommand->callback([&selected, args] {
        selected = [args](clsCommandContext& c) { return Import(c, *args); };
    });
}
