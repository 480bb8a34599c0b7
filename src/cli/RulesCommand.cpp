// corvel rules add|list|show|delete|verify|export|import
#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>

#include "cli/CommandTable.h"

namespace {

struct clsRuleOptions {
    std::string Name, From, To, Subject, Body, MoveTo, CopyTo, Importance, Forward, AutoReply;
    std::string Group;
    bool MarkRead = false, Delete = false, Stop = false, Outgoing = false, Disabled = false;
    std::int32_t Priority = 0;
    std::int32_t ID = 0;
};

bool HasControlOrQuote(std::string_view text) {
    return std::any_of(text.begin(), text.end(), [](unsigned char c) {
        return c < 0x20 || c == 0x7f || c == '"' || c == '<' || c == '>' || c == ',' || c == ';' ||
               c == ' ';
    });
}

// An address criterion is "local@domain" or "@domain": what a sender or recipient is matched on.
// Anything else could never match and usually means a typing slip.
std::string AddressProblem(std::string_view text, bool domainAllowed) {
    const size_t at = text.find('@');
    if (text.size() > 255) {
        return "is longer than 255 characters";
    }
    if (HasControlOrQuote(text)) {
        return "holds blanks, quotes, angle brackets, commas or control characters";
    }
    if (at == std::string_view::npos || at + 1 == text.size() ||
        text.find('@', at + 1) != std::string_view::npos) {
        return "is not an address (name@example.com)";
    }
    if (at == 0 && !domainAllowed) {
        return "is a domain; a full address is needed here";
    }
    return {};
}

std::vector<clsRuleAction> ActionsOf(const clsRuleOptions& options) {
    std::vector<clsRuleAction> actions;
    for (const auto& [target, copy] :
         {std::pair{&options.CopyTo, true}, {&options.MoveTo, false}}) {
        if (!target->empty()) {
            clsRuleAction& action = actions.emplace_back();
            action.Copy = copy;
            action.TargetFolder = *target;
        }
    }
    const bool hasFlags = options.MarkRead || options.Delete || !options.Importance.empty() ||
                          !options.Forward.empty() || !options.AutoReply.empty();
    if (hasFlags && actions.empty()) {
        actions.emplace_back();
    }
    if (hasFlags) {
        clsRuleAction& first = actions.front();
        first.MarkAsRead = options.MarkRead;
        first.Delete = options.Delete;
        first.ChangeImportanceTo = options.Importance;
        std::transform(first.ChangeImportanceTo.begin(), first.ChangeImportanceTo.end(),
                       first.ChangeImportanceTo.begin(),
                       [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
        first.ForwardTo = options.Forward;
        first.AutoReply = options.AutoReply;
    }
    return actions;
}

std::string CheckOptions(const clsRuleOptions& options) {
    for (const auto& [flag, value, domainAllowed] :
         {std::tuple{"--from", &options.From, true}, std::tuple{"--to", &options.To, true},
          std::tuple{"--forward", &options.Forward, false}}) {
        if (!value->empty()) {
            if (const std::string problem = AddressProblem(*value, domainAllowed);
                !problem.empty()) {
                return std::string(flag) + " '" + *value + "' " + problem;
            }
        }
    }
    if (options.Group.find('"') != std::string::npos) {
        return "--group: a group name cannot hold a double quote";
    }
    if (ActionsOf(options).empty()) {
        return "a rule needs an action: give --move-to, --copy-to, --mark-read, --importance, "
               "--forward, --autoreply or --delete";
    }
    return {};
}

int AddRule(clsCommandContext& context, const clsRuleOptions& options) {
    if (const std::string problem = CheckOptions(options); !problem.empty()) {
        return context.Fail(problem);
    }
    if (!context.OpenDatabase()) {
        return 1;
    }
    clsRuleRecord rule;
    rule.RuleName = options.Name;
    rule.Priority = options.Priority;
    rule.FromEmail = options.From;
    rule.ToEmail = options.To;
    rule.SubjectContains = options.Subject;
    rule.BodyContains = options.Body;
    rule.StopProcessing = options.Stop;
    rule.IncomingRule = !options.Outgoing;
    rule.Enabled = !options.Disabled;
    rule.Actions = ActionsOf(options);
    if (!options.Group.empty()) {
        rule.GroupID = context.Database().GetGroupID(options.Group);
        if (rule.GroupID == 0) {
            return context.Fail("cannot create the group '" + options.Group + "'; see the log");
        }
    }
    if (!context.Database().AddUpdateRule(rule)) {
        return context.Fail("the rule was not stored; the log " +
                            context.Log().FullFilename().string() + " says why");
    }
    context.Out() << "Rule " << rule.ID << ": "
                  << classRulesDatabase::RuleSingleLineDescription(rule) << "\n";
    return 0;
}

int ListRules(clsCommandContext& context) {
    if (!context.OpenDatabase()) {
        return 1;
    }
    std::unique_ptr<clsRecordset> rs =
        context.Database().GetRS("SELECT * FROM Rules ORDER BY Priority");
    for (; rs && !rs->Eof(); rs->MoveNext()) {
        clsRuleRecord rule;
        context.Database().ReadRuleFromCurrentRecord(*rs, rule);
        context.Out() << rule.ID << "\t" << rule.Priority << "\t"
                      << classRulesDatabase::RuleSingleLineDescription(rule)
                      << (rule.Enabled ? "" : "\t(disabled)") << "\n";
    }
    return rs ? 0 : context.Fail("cannot read the rules; see the log");
}

void PrintAction(std::ostream& out, size_t number, const clsRuleAction& action) {
    out << "Action " << number << ":";
    if (!action.TargetFolder.empty()) {
        out << (action.Copy ? " copy to " : " move to ") << action.TargetFolder << ";";
    }
    if (action.MarkAsRead) {
        out << " mark as read;";
    }
    if (!action.ChangeImportanceTo.empty()) {
        out << " importance " << action.ChangeImportanceTo << ";";
    }
    if (!action.ForwardTo.empty()) {
        out << " forward to " << action.ForwardTo << ";";
    }
    if (!action.AutoReply.empty()) {
        out << " auto-reply " << action.AutoReply << ";";
    }
    if (action.Delete) {
        out << " delete;";
    }
    out << "\n";
}

// Reads rule id; false (with the message printed) when there is no such rule.
bool LoadRule(clsCommandContext& context, std::int32_t id, clsRuleRecord& rule) {
    if (!context.OpenDatabase()) {
        return false;
    }
    if (!context.Database().GetRule(id, rule)) {
        context.Fail("there is no rule " + std::to_string(id) + "; `corvel rules list` shows them");
        return false;
    }
    return true;
}

int ShowRule(clsCommandContext& context, std::int32_t id) {
    clsRuleRecord rule;
    if (!LoadRule(context, id, rule)) {
        return 1;
    }
    std::ostream& out = context.Out();
    out << "ID: " << rule.ID << "\nName: " << rule.RuleName << "\nPriority: " << rule.Priority
        << "\nEnabled: " << (rule.Enabled ? "yes" : "no")
        << "\nApplies: " << (rule.IncomingRule ? "on arrival" : "on sending")
        << "\nGroup: " << rule.GroupID << "\nFrom: " << rule.FromEmail << "\nTo: " << rule.ToEmail
        << "\nSubject contains: " << rule.SubjectContains
        << "\nBody contains: " << rule.BodyContains
        << "\nStop processing: " << (rule.StopProcessing ? "yes" : "no") << "\n";
    for (size_t i = 0; i < rule.Actions.size(); ++i) {
        PrintAction(out, i + 1, rule.Actions[i]);
    }
    out << "Description: " << classRulesDatabase::RuleSingleLineDescription(rule) << "\n";
    return 0;
}

int DeleteRule(clsCommandContext& context, std::int32_t id) {
    clsRuleRecord rule;
    if (!LoadRule(context, id, rule)) {
        return 1;
    }
    context.Database().DeleteRule(id);
    context.Out() << "Deleted rule " << id << "\n";
    return 0;
}

std::string Counted(std::int64_t count, std::string_view noun) {
    return std::to_string(count) + " " + std::string(noun) + (count == 1 ? "" : "s");
}

// Each action's folder is looked up on its own, so that every missing one can be named.
int VerifyRules(clsCommandContext& context) {
    if (!context.OpenEngine()) {
        return 1;
    }
    classCorvel& engine = context.Engine();
    std::unique_ptr<clsRecordset> rs =
        engine.RulesDatabase().GetRS("SELECT * FROM Rules ORDER BY Priority");
    if (!rs) {
        return context.Fail("cannot read the rules; the log " +
                            context.Log().FullFilename().string() + " says why");
    }
    long rules = 0, missing = 0;
    for (; !rs->Eof(); rs->MoveNext(), ++rules) {
        clsRuleRecord rule;
        engine.RulesDatabase().ReadRuleFromCurrentRecord(*rs, rule);
        for (const clsRuleAction& action : rule.Actions) {
            clsRuleRecord probe = rule;
            probe.Actions = {action};
            if (engine.VerifyRule(probe) > 0) {
                context.Out() << "rule " << rule.ID << ": folder not found: " << action.TargetFolder
                              << "\n";
                ++missing;
            }
        }
    }
    if (missing > 0) {
        return context.Fail(Counted(missing, "rule folder") +
                            " not found; create them with `corvel folders create` "
                            "or change the rules");
    }
    context.Out() << "Every folder of the " << Counted(rules, "rule") << " exists\n";
    return 0;
}

std::int64_t RuleCount(clsCommandContext& context) {
    return context.Engine().RulesDatabase().GetCount("SELECT COUNT(*) AS Total FROM Rules");
}

int ExportRules(clsCommandContext& context, const std::string& file) {
    if (!context.OpenEngine()) {
        return 1;
    }
    const std::filesystem::path path = std::filesystem::absolute(file);
    context.Log().AddLog("Corvel->ExportRules: Exporting to " + path.string());
    if (!context.Engine().ExportRulesToFile(path)) {
        return context.Fail("cannot export the rules to " + path.string() +
                            "; choose a folder you can write to (the log " +
                            context.Log().FullFilename().string() + " says more)");
    }
    context.Out() << "Exported " << Counted(RuleCount(context), "rule") << " to " << path.string()
                  << "\n";
    return 0;
}

int ImportRules(clsCommandContext& context, const std::string& file) {
    if (!context.OpenEngine()) {
        return 1;
    }
    const std::filesystem::path path = std::filesystem::absolute(file);
    const std::int64_t before = RuleCount(context);
    if (!context.Engine().ImportRulesFromFile(path)) {
        return context.Fail("cannot import the rules from " + path.string() +
                            "; give an archive made by `corvel rules export` (the log " +
                            context.Log().FullFilename().string() + " says more)");
    }
    // Rules identical to ones here are reused, so only the new ones count.
    context.Out() << "Imported " << Counted(RuleCount(context) - before, "rule") << " from "
                  << path.string() << "\n";
    return 0;
}

void AddRuleFieldOptions(CLI::App& add, clsRuleOptions& o) {
    add.add_option("--name", o.Name, "Name of the rule");
    add.add_option("--from", o.From, "Sender address, or @domain, to match");
    add.add_option("--to", o.To, "Recipient address, or @domain, to match");
    add.add_option("--subject", o.Subject, "Text the subject must contain (any case)");
    add.add_option("--body", o.Body, "Text the message body must contain (any case)");
    add.add_option("--priority", o.Priority, "Order of evaluation, lower first (default: last)")
        ->check(CLI::NonNegativeNumber);
    add.add_option("--group", o.Group, "Rule group; created when missing");
    add.add_flag("--stop", o.Stop, "Stop processing later rules when this one matches");
    add.add_flag("--outgoing", o.Outgoing, "Apply to sent mail instead of arriving mail");
    add.add_flag("--disabled", o.Disabled, "Store the rule switched off");
}

void AddRuleActionOptions(CLI::App& add, clsRuleOptions& o) {
    add.add_option("--move-to", o.MoveTo,
                   "Move to this folder (a path such as '\\\\Mailbox\\Inbox\\Boss', or a name)");
    add.add_option("--copy-to", o.CopyTo, "Copy to this folder");
    add.add_flag("--mark-read", o.MarkRead, "Mark the message as read");
    add.add_option("--importance", o.Importance,
                   "Change the importance: H (high), N (normal) or L (low)")
        ->check(CLI::IsMember({"H", "N", "L"}, CLI::ignore_case));
    add.add_option("--forward", o.Forward, "Forward the message to this address");
    add.add_option("--autoreply", o.AutoReply, "Answer with this auto-reply template");
    add.add_flag("--delete", o.Delete, "Delete the message (it goes to Deleted Items)");
}

void AddRulesArchiveCommands(CLI::App& rules, clsCommandAction& selected) {
    rules.add_subcommand("verify", "Name every rule folder that does not exist (exit 1 if any)")
        ->callback([&selected] { selected = VerifyRules; });

    auto file = std::make_shared<std::string>("rules.zip");
    CLI::App* exportCommand =
        rules.add_subcommand("export", "Save the whole rule store (Rules.mdb) in a zip archive");
    exportCommand->add_option("FILE", *file, "The archive to write")->capture_default_str();
    exportCommand->callback([&selected, file] {
        selected = [file](clsCommandContext& c) { return ExportRules(c, *file); };
    });

    CLI::App* importCommand = rules.add_subcommand(
        "import", "Add the rules, groups and blocked senders of an exported archive");
    importCommand->add_option("FILE", *file, "The archive to read")
        ->required()
        ->check(CLI::ExistingFile);
    importCommand->callback([&selected, file] {
        selected = [file](clsCommandContext& c) { return ImportRules(c, *file); };
    });
}

}  // namespace

void AddRulesCommand(CLI::App& app, clsCommandAction& selected) {
    CLI::App* rules =
        app.add_subcommand("rules", "Add, list, show, delete, verify, export and import rules");
    auto options = std::make_shared<clsRuleOptions>();

    CLI::App* add = rules->add_subcommand("add", "Add a rule (an identical stored rule is reused)");
    AddRuleFieldOptions(*add, *options);
    AddRuleActionOptions(*add, *options);
    add->callback([&selected, options] {
        selected = [options](clsCommandContext& c) { return AddRule(c, *options); };
    });

    rules->add_subcommand("list", "List the rules: ID, priority and description, by priority")
        ->callback([&selected] { selected = ListRules; });

    CLI::App* show = rules->add_subcommand("show", "Show every field and action of a rule");
    show->add_option("ID", options->ID, "The rule's ID (see `corvel rules list`)")->required();
    show->callback([&selected, options] {
        selected = [options](clsCommandContext& c) { return ShowRule(c, options->ID); };
    });

    CLI::App* remove = rules->add_subcommand("delete", "Delete a rule and its actions");
    remove->add_option("ID", options->ID, "The rule's ID (see `corvel rules list`)")->required();
    remove->callback([&selected, options] {
        selected = [options](clsCommandContext& c) { return DeleteRule(c, options->ID); };
    });

    AddRulesArchiveCommands(*rules, selected);
}
