// corvel profile add|list|show
#include <CLI/CLI.hpp>
#include <memory>

#include "cli/CommandTable.h"

namespace {

struct clsProfileArguments {
    clsMailProfile Profile;
    std::string Maildir;
    bool MakeDefault = false;
};

void PrintProfile(std::ostream& out, const clsMailProfile& profile, bool isDefault) {
    out << "Name: " << profile.Name << (isDefault ? " (default)" : "") << "\n"
        << "Maildir: " << profile.Maildir.string() << "\n"
        << "Store name: " << profile.StoreName << "\n"
        << "Transport: " << profile.Transport.Url << "\n";
    if (!profile.Transport.User.empty()) {
        out << "SMTP user: " << profile.Transport.User << "\n"
            << "Password command: " << profile.Transport.PasswordCommand << "\n";
    }
    out << "Require TLS: " << (profile.Transport.RequireTls ? "yes" : "no") << "\n";
    for (const std::string& address : profile.Addresses) {
        out << "Address: " << address << "\n";
    }
}

int AddProfile(clsCommandContext& context, clsProfileArguments& args) {
    if (args.Profile.Name.find_first_of("\\\r\n") != std::string::npos) {
        return context.Fail("a profile name cannot hold a backslash or a line break");
    }
    args.Profile.Maildir = std::filesystem::absolute(args.Maildir);
    clsStatus status = clsStatus::Ok();
    MakeMailTransport(args.Profile.Transport, status);
    if (!status.IsOk()) {
        return context.Fail(status.Description());
    }
    const bool first = context.Profiles().Names().empty();
    if (!context.Profiles().Save(args.Profile) ||
        ((first || args.MakeDefault) && !context.Profiles().SetDefault(args.Profile.Name))) {
        return context.Fail("cannot store the profile: " +
                            context.Registry().LastError().Description());
    }
    context.Out() << "Profile " << args.Profile.Name << ": " << args.Profile.Maildir.string()
                  << "\n";
    return 0;
}

int ListProfiles(clsCommandContext& context) {
    const std::string defaultName = context.Profiles().DefaultName();
    for (const std::string& name : context.Profiles().Names()) {
        const auto profile = context.Profiles().Get(name);
        context.Out() << name << (name == defaultName ? " (default)" : "") << "\t"
                      << (profile ? profile->Maildir.string() : "") << "\n";
    }
    return 0;
}

int ShowProfile(clsCommandContext& context, const std::string& name) {
    const auto profile = context.Profiles().Get(name);
    if (!profile) {
        return context.Fail("there is no profile '" + name + "'; `corvel profile list` shows them");
    }
    PrintProfile(context.Out(), *profile, context.Profiles().DefaultName() == name);
    return 0;
}

void AddProfileOptions(CLI::App& add, clsProfileArguments& a) {
    add.add_option("NAME", a.Profile.Name, "The profile's name")->required();
    add.add_option("--maildir", a.Maildir, "The Maildir++ tree holding the mail (made if missing)")
        ->required();
    add.add_option("--store-name", a.Profile.StoreName,
                   "The store's name, the first part of folder paths (\\\\Mailbox\\Inbox)")
        ->capture_default_str();
    add.add_option("--transport", a.Profile.Transport.Url,
                   "How mail leaves: outbox (kept in the Outbox folder), smtp://host:port "
                   "(STARTTLS), smtps://host:port, or sendmail[:/path]")
        ->capture_default_str();
    add.add_option("--smtp-user", a.Profile.Transport.User, "User name for SMTP AUTH");
    add.add_option("--password-command", a.Profile.Transport.PasswordCommand,
                   "Command whose first output line is the SMTP password (e.g. 'pass show mail')");
    add.add_flag("!--allow-plain-smtp", a.Profile.Transport.RequireTls,
                 "Send over smtp:// even when the server offers no STARTTLS");
    add.add_option("--ca-file", a.Profile.Transport.CaFile, "Extra CA certificates to trust");
    add.add_option("--address", a.Profile.Addresses,
                   "Your own address (repeatable); the first one is the sender of new mail");
    add.add_option("--from-name", a.Profile.FromName, "Your name on mail you send");
    add.add_flag("--default", a.MakeDefault, "Make this the default profile");
}

}  // namespace

void AddProfileCommand(CLI::App& app, clsCommandAction& selected) {
    CLI::App* profile =
        app.add_subcommand("profile", "Mail profiles: which Maildir, how mail leaves");
    auto args = std::make_shared<clsProfileArguments>();
    CLI::App* add = profile->add_subcommand("add", "Add a profile, or replace one of that name");
    AddProfileOptions(*add, *args);
    add->callback([&selected, args] {
        selected = [args](clsCommandContext& c) { return AddProfile(c, *args); };
    });
    profile->add_subcommand("list", "List the profiles and their Maildirs")->callback([&selected] {
        selected = ListProfiles;
    });
    CLI::App* show = profile->add_subcommand("show", "Show a profile's settings");
    show->add_option("NAME", args->Profile.Name, "The profile's name")->required();
    show->callback([&selected, args] {
        selected = [args](clsCommandContext& c) { return ShowProfile(c, args->Profile.Name); };
    });
}
