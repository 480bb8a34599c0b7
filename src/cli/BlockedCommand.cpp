// corvel blocked list | add ADDRESS | remove ADDRESS
#include <CLI/CLI.hpp>
#include <memory>

#include "cli/CommandTable.h"
#include "engine/clsQueryAddress.h"

namespace {

int ListBlocked(clsCommandContext& context) {
    if (!context.OpenEngine()) {
        return 1;
    }
    const auto rs = context.Engine().RulesDatabase().GetRS(
        "SELECT EmailAddress FROM [Spam Senders] ORDER BY EmailAddress");
    if (!rs) {
        return context.Fail("cannot read the blocked senders; the log says why");
    }
    for (; !rs->Eof(); rs->MoveNext()) {
        context.Out() << rs->Field("EmailAddress").AsText() << "\n";
    }
    return 0;
}

int ChangeBlocked(clsCommandContext& context, const std::string& address, bool add) {
    if (!clsQueryAddress::IsSafe(address)) {
        return context.Fail("'" + address +
                            "' is not a plain address (name@example.com); blocked senders are "
                            "whole addresses, without quotes, blanks or brackets");
    }
    if (!context.OpenEngine()) {
        return 1;
    }
    classCorvel& engine = context.Engine();
    const bool present = engine.IsJunkSender(address);
    if (add == present) {
        context.Out() << address << (add ? " is blocked already\n" : " is not blocked\n");
        return 0;
    }
    if (!(add ? engine.AddJunkSenderEmail(address) : engine.RemoveJunkSenderEmail(address))) {
        return context.Fail("the blocked senders could not be changed; the log says why");
    }
    context.Out() << (add ? "Blocked " : "Unblocked ") << address << "\n";
    return 0;
}

}  // namespace

void AddBlockedCommand(CLI::App& app, clsCommandAction& selected) {
    CLI::App* blocked = app.add_subcommand(
        "blocked",
        "The blocked senders: their mail is moved to Junk E-mail when the options \"Check Junk\" "
        "(Rules Engine) and \"Junk List\" (Filters) are on");
    blocked->add_subcommand("list", "List the blocked addresses")->callback([&selected] {
        selected = ListBlocked;
    });
    for (const bool add : {true, false}) {
        auto address = std::make_shared<std::string>();
        CLI::App* change = blocked->add_subcommand(add ? "add" : "remove",
                                                   add ? "Block an address" : "Unblock an address");
        change->add_option("ADDRESS", *address, "A whole address, name@example.com")->required();
        change->callback([&selected, address, add] {
            selected = [address, add](clsCommandContext& c) {
                return ChangeBlocked(c, *address, add);
            };
        });
    }
}
