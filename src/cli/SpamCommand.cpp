// corvel spam train | check | headers | stats
#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>

#include "cli/CommandTable.h"
#include "foundation/CommonHelpers.h"
#include "mailhost/clsUserPropertyBatch.h"
#include "mailhost/mime/clsMimeMessage.h"
#include "spam/clsParsedItems.h"
#include "spam/clsSpamTraining.h"

namespace {

struct clsSpamArguments {
    std::string Good, Bad;
    clsSpamTrainingOptions Training;
    std::string Item, File, Folder;
    bool Debug = false;
    std::string Header, Criteria;
};

std::string Probability(double p) {
    char text[32];
    std::snprintf(text, sizeof text, "%.6f", p);
    return text;
}

// The two scores of the options decide the verdict, as they decide where the engine files mail.
struct clsVerdicts {
    explicit clsVerdicts(classRulesDatabase& db)
        : Spam(
              std::strtod(db.ReadOption("Antispam", "Minimum Spam Score", "0.8").c_str(), nullptr)),
          Ham(std::strtod(db.ReadOption("Antispam", "Maximum Ham Score", "0.2").c_str(), nullptr)) {
    }
    std::string_view Of(double p) const { return p >= Spam ? "spam" : p > Ham ? "unsure" : "good"; }
    double Spam, Ham;
};

int Train(clsCommandContext& context, const clsSpamArguments& args) {
    if (!context.FindEngineFolder(args.Good) || !context.FindEngineFolder(args.Bad)) {
        return 1;
    }
    clsSpamTraining training(context.SpamFilter(), *context.Engine().cvFolderCache(), context.Log(),
                             context.Ui());
    const bool built = training.Build(args.Good, args.Bad, args.Training);
    const clsSpamTrainingCounters& counters = training.Counters();
    context.Out() << "Good messages: " << counters.EmailsGood << "\n"
                  << "Good tokens: " << counters.TokensGood << "\n"
                  << "Bad messages: " << counters.EmailsBad << "\n"
                  << "Bad tokens: " << counters.TokensBad << "\n"
                  << "Skipped (trained before): " << counters.Skipped << "\n";
    return built ? 0 : context.Fail("the spam database was not saved; the log says why");
}

int CheckFolder(clsCommandContext& context, const std::string& name) {
    const auto folder = context.FindEngineFolder(name);
    if (!folder) {
        return 1;
    }
    const clsVerdicts verdicts(context.Engine().RulesDatabase());
    std::map<std::string_view, long> counts;
    std::vector<clsItemEntry> entries;
    if (!folder->IsStoreRoot()) {
        entries = folder->Store().ListItems(folder->EntryID());
    }
    const std::size_t listed = entries.size();
    clsParsedItems items(*folder, std::move(entries));
    // Each judgement looks up the item's training marks: the file is checked for other writers
    // once for the folder rather than on every look-up.
    const clsUserPropertyBatch marks(folder->Store().Properties());
    while (const auto parsed = items.Next()) {
        const double p = context.SpamFilter().ParsedMessageSpamProbability(
            parsed->Item, parsed->Message, nullptr);
        const std::string_view verdict = verdicts.Of(p);
        ++counts[verdict];
        context.Out() << Probability(p) << "\t" << verdict << "\t" << parsed->Item.EntryID()
                      << "\n";
    }
    context.Out() << "# " << listed << " items in " << folder->FolderPath() << ": "
                  << counts["spam"] << " spam, " << counts["unsure"] << " unsure, "
                  << counts["good"] << " good\n";
    return 0;
}

int CheckOne(clsCommandContext& context, const clsSpamArguments& args) {
    std::string debug;
    std::string* debugText = args.Debug ? &debug : nullptr;
    double p = 0;
    if (!args.File.empty()) {
        const auto raw = ReadFileBytes(args.File);
        if (!raw) {
            return context.Fail("cannot read the message file " + args.File);
        }
        const clsMimeMessage message = clsMimeMessage::Parse(*raw);
        p = context.SpamFilter().TextSpamProbability(message.Body(), message.Headers() + "\r\n",
                                                     debugText);
    } else if (const auto item = context.Mail().GetItemFromID(args.Item)) {
        p = context.SpamFilter().MessageSpamProbability(*item, debugText);
    } else {
        return context.Fail("there is no item '" + args.Item +
                            "'; `corvel items FOLDER` lists items with their IDs");
    }
    context.Out() << Probability(p) << "\t" << clsVerdicts(context.Engine().RulesDatabase()).Of(p)
                  << "\n"
                  << debug;
    return 0;
}

int Check(clsCommandContext& context, const clsSpamArguments& args) {
    const int given = !args.Item.empty() + !args.File.empty() + !args.Folder.empty();
    if (given != 1) {
        return context.Fail("give exactly one of ITEM, --file FILE and --folder FOLDER");
    }
    if (!context.OpenEngine()) {
        return 1;
    }
    return args.Folder.empty() ? CheckOne(context, args) : CheckFolder(context, args.Folder);
}

int ListHeaders(clsCommandContext& context) {
    if (!context.OpenEngine()) {
        return 1;
    }
    for (const clsSpamHeaderRule& rule : context.SpamFilter().SpamHeaderRules()) {
        context.Out() << rule.Header << "\t" << rule.Criteria << "\n";
    }
    return 0;
}

int ChangeHeaders(clsCommandContext& context, const clsSpamArguments& args, bool add) {
    if (!context.OpenEngine()) {
        return 1;
    }
    clsSpamFilter& filter = context.SpamFilter();
    if (add && !filter.SetSpamHeaderRule(args.Header, args.Criteria)) {
        return context.Fail("'" + args.Criteria +
                            "' is no criteria: give a number, or a comparison and a number "
                            "(>5, >=5, <0.5, =1)");
    }
    if (!add && !filter.RemoveSpamHeaderRule(args.Header)) {
        context.Out() << "There is no rule for the header " << args.Header << "\n";
        return 0;
    }
    if (!filter.SaveSpamHeaders()) {
        return context.Fail("the spam headers could not be saved; the log says why");
    }
    context.Out() << (add ? "Saved " : "Removed ") << args.Header << "\n";
    return 0;
}

int Stats(clsCommandContext& context) {
    if (!context.OpenEngine()) {
        return 1;
    }
    clsSpamFilter& filter = context.SpamFilter();
    context.Out() << "Good messages: " << filter.GoodCount() << "\n"
                  << "Good tokens: " << filter.GoodTokenCount() << "\n"
                  << "Good corpus version: " << filter.GoodCorpusVersion() << "\n"
                  << "Bad messages: " << filter.BadCount() << "\n"
                  << "Bad tokens: " << filter.BadTokenCount() << "\n"
                  << "Bad corpus version: " << filter.BadCorpusVersion() << "\n"
                  << "Spam header rules: " << filter.SpamHeaderRules().size() << "\n";
    return 0;
}

void AddCheck(CLI::App& spam, clsCommandAction& selected) {
    auto args = std::make_shared<clsSpamArguments>();
    CLI::App* check = spam.add_subcommand(
        "check",
        "Judge a message: prints its spam probability and verdict (spam, unsure, good after the "
        "options \"Minimum Spam Score\" and \"Maximum Ham Score\")");
    check->add_option("ITEM", args->Item, "The item's EntryID (`corvel items FOLDER` lists them)");
    check->add_option("--file", args->File, "A message file (RFC 5322) instead of an item");
    check->add_option("--folder", args->Folder,
                      "Judge every item of a folder: a line per item (probability, verdict, "
                      "EntryID), then a summary line starting with #");
    check->add_flag("--debug", args->Debug, "Also print the reasoning: tokens and checks");
    check->callback(
        [&selected, args] { selected = [args](clsCommandContext& c) { return Check(c, *args); }; });
}

void AddTrain(CLI::App& spam, clsCommandAction& selected) {
    auto args = std::make_shared<clsSpamArguments>();
    CLI::App* train = spam.add_subcommand(
        "train",
        "Build the spam database from a folder of good mail and a folder of junk (items trained "
        "before are skipped); prints progress, then the messages and tokens of each side");
    train->add_option("--good", args->Good, "Folder of good mail (path or name)")->required();
    train->add_option("--bad", args->Bad, "Folder of junk (path or name)")->required();
    train->add_flag("--clear", args->Training.ClearDatabase, "Start from an empty database");
    train->add_flag("--balance", args->Training.BalanceGoodAndBad,
                    "Scale the smaller side up to the larger one's message count");
    train->add_flag("--subfolders", args->Training.IncludeSubfolders,
                    "Also train from every folder below the two");
    train->callback(
        [&selected, args] { selected = [args](clsCommandContext& c) { return Train(c, *args); }; });
}

void AddHeaders(CLI::App& spam, clsCommandAction& selected) {
    CLI::App* headers = spam.add_subcommand(
        "headers",
        "Spam header rules: mail whose header holds a score that meets the criteria is junk "
        "(when the option \"Use Existing Spam Headers\" is on)");
    headers->require_subcommand(1);
    headers->add_subcommand("list", "List the rules")->callback([&selected] {
        selected = ListHeaders;
    });
    for (const bool add : {true, false}) {
        auto args = std::make_shared<clsSpamArguments>();
        CLI::App* change = headers->add_subcommand(
            add ? "add" : "remove", add ? "Add or replace the rule of a header" : "Remove a rule");
        change->add_option("HEADER", args->Header, "Header name, e.g. X-Spam-Score")->required();
        if (add) {
            change
                ->add_option("CRITERIA", args->Criteria,
                             "A number (at least) or a comparison: >5, >=5, <0.5, =1")
                ->required();
        }
        change->callback([&selected, args, add] {
            selected = [args, add](clsCommandContext& c) { return ChangeHeaders(c, *args, add); };
        });
    }
}

}  // namespace

void AddSpamCommand(CLI::App& app, clsCommandAction& selected) {
    CLI::App* spam = app.add_subcommand(
        "spam", "The spam filter: train it on your mail, judge messages, header rules, figures");
    spam->require_subcommand(1);
    AddTrain(*spam, selected);
    AddCheck(*spam, selected);
    AddHeaders(*spam, selected);
    spam->add_subcommand("stats", "Messages and tokens in the spam database")
        ->callback([&selected] { selected = Stats; });
}
