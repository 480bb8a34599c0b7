// corvel items FOLDER | corvel show ITEM
#include <CLI/CLI.hpp>
#include <ctime>
#include <memory>

#include "cli/CommandTable.h"
#include "mailhost/mime/clsMimeMessage.h"

namespace {

struct clsItemArguments {
    std::string Target;
    long Limit = -1;
};

// Tabs and line breaks inside a field would break the one-line-per-item listing.
std::string OneLine(std::string text) {
    for (char& c : text) {
        if (c == '\t' || c == '\r' || c == '\n') {
            c = ' ';
        }
    }
    return text;
}

std::string LocalTime(clsTimePoint time) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    std::tm local{};
    localtime_r(&seconds, &local);
    char text[32];
    return std::string(text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local));
}

int ListItems(clsCommandContext& context, const clsItemArguments& args) {
    const auto folder = context.FindFolder(args.Target);
    if (!folder) {
        return 1;
    }
    const clsMailItems items = folder->Items();
    const long last = args.Limit >= 0 ? std::min(args.Limit, items.Count()) : items.Count();
    for (long i = 1; i <= last; ++i) {
        const auto item = items.Item(i);
        if (!item) {
            continue;  // gone since the listing
        }
        context.Out() << i << "\t" << item->EntryID() << "\t" << item->TypeName() << "\t"
                      << OneLine(item->SenderEmailAddress()) << "\t" << OneLine(item->Subject())
                      << "\n";
    }
    return 0;
}

constexpr const char* kImportance[] = {"low", "normal", "high"};

int ShowItem(clsCommandContext& context, const std::string& entryID) {
    if (!context.OpenMail()) {
        return 1;
    }
    const auto item = context.Mail().GetItemFromID(entryID);
    if (!item) {
        return context.Fail("there is no item '" + entryID +
                            "'; `corvel items FOLDER` lists items with their IDs");
    }
    std::ostream& out = context.Out();
    const std::string headers = item->TransportHeaders();
    out << headers << (headers.empty() || headers.back() == '\n' ? "" : "\n") << "\n"
        << "EntryID: " << item->EntryID() << "\n"
        << "Folder: " << (item->Parent() ? item->Parent()->FolderPath() : "") << "\n"
        << "Type: " << item->TypeName() << "\n"
        << "Subject: " << item->Subject() << "\n"
        << "From: " << item->SenderName() << " <" << item->SenderEmailAddress() << ">\n";
    for (const std::string& recipient : item->Recipients()) {
        out << "Recipient: " << recipient << "\n";
    }
    out << "Received: " << LocalTime(item->ReceivedTime()) << "\n"
        << "Unread: " << (item->UnRead() ? "yes" : "no") << "\n"
        << "Importance: " << kImportance[static_cast<int>(item->GetImportance())] << "\n";
    for (const auto& [name, value] : item->UserProperties()) {
        out << "Property " << name << ": " << value.Text << "\n";
    }
    if (!item->Message().Ok()) {
        out << "Problem: " << item->Message().Error() << "\n";
    }
    out << "\n"
        << item->Body() << (item->Body().empty() || item->Body().back() == '\n' ? "" : "\n");
    return 0;
}

}  // namespace

void AddItemsCommand(CLI::App& app, clsCommandAction& selected) {
    auto args = std::make_shared<clsItemArguments>();
    CLI::App* items = app.add_subcommand(
        "items", "List a folder's items: index, EntryID, type, sender and subject");
    items->add_option("FOLDER", args->Target, "Folder path ('\\\\Mailbox\\Inbox') or name")
        ->required();
    items->add_option("--limit", args->Limit, "List at most this many items")
        ->check(CLI::NonNegativeNumber);
    items->callback([&selected, args] {
        selected = [args](clsCommandContext& c) { return ListItems(c, *args); };
    });
}

void AddShowCommand(CLI::App& app, clsCommandAction& selected) {
    auto entryID = std::make_shared<std::string>();
    CLI::App* show = app.add_subcommand(
        "show", "Show an item: its headers, decoded subject and body, and user properties");
    show->add_option("ITEM", *entryID, "The item's EntryID (see `corvel items FOLDER`)")
        ->required();
    show->callback([&selected, entryID] {
        selected = [entryID](clsCommandContext& c) { return ShowItem(c, *entryID); };
    });
}
