#pragma once
// A Maildir store in a temporary folder, opened as a namespace, and helpers that write mail into
// it the way another program would.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "mailhost/clsMailItems.h"
#include "mailhost/clsMailNamespace.h"
#include "mailhost/maildir/clsMaildirStore.h"
#include "support/TestSupport.h"

inline std::string TestMessage(std::string_view subject, std::string_view body = "Hello.\n",
                               std::string_view from = "Ann Example <ann@example.org>") {
    return "From: " + std::string(from) +
           "\nTo: Bob <bob@example.net>\nSubject: " + std::string(subject) + "\nMessage-ID: <" +
           std::string(subject.substr(0, 20)) + "@example.org>\n\n" + std::string(body);
}

// Delivers as an MTA does: write in tmp/, rename into new/.
inline void Deliver(const std::filesystem::path& folder, const std::string& name,
                    const std::string& message) {
    const std::filesystem::path temporary = folder / "tmp" / name;
    std::ofstream(temporary, std::ios::binary) << message;
    std::filesystem::rename(temporary, folder / "new" / name);
}

inline void SetTime(const std::filesystem::path& path, std::time_t seconds) {
    const timespec times[2] = {{seconds, 0}, {seconds, 0}};
    ::utimensat(AT_FDCWD, path.c_str(), times, 0);
}

// The subjects of a folder's items, oldest first.
inline std::vector<std::string> SubjectsOf(const clsMailFolder& folder) {
    std::vector<std::string> subjects;
    const clsMailItems items = folder.Items();
    for (long i = 1; i <= items.Count(); ++i) {
        subjects.push_back(items.Item(i)->Subject());
    }
    return subjects;
}

struct clsMailFixture : clsTestEnvironment {
    std::filesystem::path Root = Folder.Path() / "Maildir";
    std::unique_ptr<clsMailNamespace> Mapi;
    clsMaildirStore* Store = nullptr;

    void OpenStore(bool create = true) {
        clsStatus status = clsStatus::Ok();
        auto store = clsMaildirStore::Open(Root, "Mailbox", create, status);
        ASSERT_TRUE(store) << status.Description();
        Store = store.get();
        Mapi = std::make_unique<clsMailNamespace>(Log, "Test");
        Mapi->AddStore(std::move(store));
    }
    clsMailFolder FolderAt(std::string_view id) {
        auto folder = Mapi->GetFolderFromID(id);
        EXPECT_TRUE(folder) << id;
        return *folder;
    }
    std::vector<std::string> Subjects(std::string_view folderID) {
        return SubjectsOf(FolderAt(folderID));
    }
};
