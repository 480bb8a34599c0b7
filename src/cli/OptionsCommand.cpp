// corvel options get|set
#include <CLI/CLI.hpp>
#include <memory>

#include "cli/CommandTable.h"

namespace {

struct clsOptionArguments {
    std::string Section, Name, Value;
};

// No stored text can hold it, so it tells "not stored" apart from an empty value.
constexpr std::string_view kMissing = "\x01missing\x01";

int GetOption(clsCommandContext& context, const clsOptionArguments& args) {
    if (!context.OpenDatabase()) {
        return 1;
    }
    const std::string value = context.Database().ReadOption(args.Section, args.Name, kMissing);
    if (value == kMissing) {
        return context.Fail("no option '" + args.Name + "' is stored in section '" + args.Section +
                            "'; `corvel options set` stores one");
    }
    context.Out() << value << "\n";
    return 0;
}

int SetOption(clsCommandContext& context, const clsOptionArguments& args) {
    if (!context.OpenDatabase()) {
        return 1;
    }
    context.Database().SaveOption(args.Section, args.Name, args.Value);
    if (context.Database().ReadOption(args.Section, args.Name, kMissing) != args.Value) {
        return context.Fail("the option was not stored; see the log " +
                            context.Log().FullFilename().string());
    }
    return 0;
}

}  // namespace

void AddOptionsCommand(CLI::App& app, clsCommandAction& selected) {
    CLI::App* options = app.add_subcommand(
        "options", "Read and write the options stored in the rules database, by section and name");
    auto args = std::make_shared<clsOptionArguments>();

    CLI::App* get = options->add_subcommand("get", "Print a stored option");
    get->add_option("SECTION", args->Section, "Section, e.g. \"Antispam\"")->required();
    get->add_option("NAME", args->Name, "Name, e.g. \"Minimum Spam Score\"")->required();
    get->callback([&selected, args] {
        selected = [args](clsCommandContext& c) { return GetOption(c, *args); };
    });

    CLI::App* set = options->add_subcommand("set", "Store an option (replacing its value)");
    set->add_option("SECTION", args->Section, "Section, e.g. \"Rules Engine\"")->required();
    set->add_option("NAME", args->Name, "Name, e.g. \"Enabled\"")->required();
    set->add_option("VALUE", args->Value, "Value; Booleans are \"true\" and \"false\"")->required();
    set->callback([&selected, args] {
        selected = [args](clsCommandContext& c) { return SetOption(c, *args); };
    });
}
