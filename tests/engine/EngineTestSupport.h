#pragma once
// The engine started on a Maildir in a temporary folder, as a command or the daemon starts it,
// and helpers that deliver mail and store rules.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engine/classCorvel.h"
#include "mailhost/MailhostTestSupport.h"
#include "mailhost/clsMailApplication.h"
#include "mailhost/maildir/clsMaildirStore.h"

struct clsEngineFixture : clsTestEnvironment {
    std::filesystem::path DataFolder = Folder.Path() / "data";
    std::filesystem::path Root = DataFolder / "Maildir";
    std::unique_ptr<clsMailApplication> Application;
    std::unique_ptr<classCorvel> Engine;
    int Delivered = 0;

    // Opens (making) the store, creates the folders (paths below the store, "Inbox/Clients"),
    // and starts the engine, which caches them.
    void Start(const std::vector<std::string>& folders = {}, clsAutoReplyFactory replies = {}) {
        clsStatus status = clsStatus::Ok();
        auto store = clsMaildirStore::Open(Root, "Mailbox", true, status);
        ASSERT_TRUE(store) << status.Description();
        auto mapi = std::make_unique<clsMailNamespace>(Log, "Test");
        mapi->AddStore(std::move(store));
        Application = std::make_unique<clsMailApplication>(std::move(mapi));
        for (const std::string& path : folders) {
            MakeFolder(path);
        }
        Engine = std::make_unique<classCorvel>(clsEngineHost{.Settings = Settings,
                                                             .Ui = Ui,
                                                             .Application = Application.get(),
                                                             .DefaultDataFolder = DataFolder,
                                                             .FixedDataFolder = {},
                                                             .AutoReplies = std::move(replies),
                                                             .SpamFilters = {},
                                                             .Intake = {}});
        Engine->SetLogFile(Log);
        ASSERT_TRUE(Engine->InitialiseEngine());
    }
    clsMailNamespace& Mapi() { return *Application->GetNamespace("MAPI"); }

    // "Inbox/Clients" or "Archive": each missing part is made.
    void MakeFolder(const std::string& path) {
        std::optional<clsMailFolder> folder = Mapi().Folders().front();
        for (size_t start = 0; start <= path.size();) {
            const size_t slash = std::min(path.find('/', start), path.size());
            const std::string name = path.substr(start, slash - start);
            std::optional<clsMailFolder> next;
            for (const clsMailFolder& child : folder->Folders()) {
                next = child.Name() == name ? std::optional(child) : next;
            }
            folder = next ? next : folder->AddFolder(name);
            ASSERT_TRUE(folder) << path;
            start = slash + 1;
        }
    }
    clsMailFolder FolderAt(std::string_view id) {
        auto folder = Mapi().GetFolderFromID(id);
        EXPECT_TRUE(folder) << id;
        return *folder;
    }
    // Delivers into the Inbox as an MTA would and hands back the new item.
    clsMailItem DeliverMail(std::string_view subject, std::string_view body = "Hello.\n",
                            std::string_view from = "Ann Example <ann@example.org>",
                            std::string_view to = "Bob <bob@example.net>") {
        const std::string message = "From: " + std::string(from) + "\nTo: " + std::string(to) +
                                    "\nSubject: " + std::string(subject) + "\n\n" +
                                    std::string(body);
        const std::string name = std::to_string(++Delivered) + ".T.host";
        Deliver(Root, name, message);
        const auto item = Mapi().GetItemFromID("INBOX/" + name);
        EXPECT_TRUE(item) << "delivered mail not found: " << subject;
        return item ? *item : Mapi().CreateItem();
    }
    std::vector<std::string> Subjects(std::string_view folderID) {
        return SubjectsOf(FolderAt(folderID));
    }
    std::int32_t AddRule(clsRuleRecord rule) {
        EXPECT_TRUE(Engine->RulesDatabase().AddUpdateRule(rule));
        return rule.ID;
    }
    static clsRuleAction FileTo(std::string path, bool copy) {
        clsRuleAction action;
        action.TargetFolder = std::move(path);
        action.Copy = copy;
        return action;
    }
};
