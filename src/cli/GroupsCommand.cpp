// corvel groups list|add
#include <CLI/CLI.hpp>
#include <memory>

#include "cli/CommandTable.h"

namespace {

// Prints the groups as the rule editor's pick list holds them: ID, then name.
class clsPrintedList final : public clsListControl {
public:
    explicit clsPrintedList(std::ostream& out) : mOut(out) {}
    void Clear() override { mCount = 0; }
    void AddItem(std::string text, std::int64_t data) override {
        mOut << data << "\t" << text << "\n";
        ++mCount;
    }
    int ItemCount() const override { return mCount; }
    void SetCurrentIndex(int) override {}

private:
    std::ostream& mOut;
    int mCount = 0;
};

int ListGroups(clsCommandContext& context) {
    if (!context.OpenDatabase()) {
        return 1;
    }
    clsPrintedList list(context.Out());
    context.Database().PopulateRuleGroupCombo(list);
    return 0;
}

int AddGroup(clsCommandContext& context, const std::string& name) {
    // Group names go into their queries unescaped, between double quotes.
    if (name.empty() || name.find('"') != std::string::npos) {
        return context.Fail("a group name must not be empty or hold a double quote");
    }
    if (!context.OpenDatabase()) {
        return 1;
    }
    const std::int32_t id = context.Database().GetGroupID(name);
    if (id == 0) {
        return context.Fail("the group was not created; see the log " +
                            context.Log().FullFilename().string());
    }
    context.Out() << "Group " << id << ": " << name << "\n";
    return 0;
}

}  // namespace

void AddGroupsCommand(CLI::App& app, clsCommandAction& selected) {
    CLI::App* groups = app.add_subcommand("groups", "List and add rule groups");
    groups->add_subcommand("list", "List the groups: ID and name (0 is \"No group\")")
        ->callback([&selected] { selected = ListGroups; });
    auto name = std::make_shared<std::string>();
    CLI::App* add = groups->add_subcommand("add", "Add a group (an existing one is reused)");
    add->add_option("NAME", *name, "The group's name")->required();
    add->callback([&selected, name] {
        selected = [name](clsCommandContext& c) { return AddGroup(c, *name); };
    });
}
