#pragma once
// A Maildir store in a temporary folder, opened as a namespace, helpers that write mail into it
// the way another program would, and text checks for logs, output and composed mail.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "mailhost/clsMailItems.h"
#include "mailhost/clsMailNamespace.h"
#include "mailhost/maildir/clsMaildirStore.h"
#include "support/TestSupport.h"

// How often part occurs in text; whether it does.
inline size_t Occurrences(std::string_view text, std::string_view part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string_view::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}
inline bool Holds(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

// Mail as composed for the wire, compared without its carriage returns.
inline std::string WithoutCr(std::string text) {
    std::erase(text, '\r');
    return text;
}
// Whether every line ends in CRLF, the last one too, with no lone CR or LF anywhere.
inline bool EveryLineEndsInCrlf(std::string_view bytes) {
    for (size_t at = 0; at < bytes.size(); ++at) {
        if ((bytes[at] == '\n' && (at == 0 || bytes[at - 1] != '\r')) ||
            (bytes[at] == '\r' && (at + 1 == bytes.size() || bytes[at + 1] != '\n'))) {
            return false;
        }
    }
    return bytes.ends_with("\r\n");
}

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

// Calls visit(folder, item) for every item of every folder of the Maildir at root, read through
// the mail host as any other program would read it.
template <typename Visit>
void ForEachStoredItem(const std::filesystem::path& root, Visit visit) {
    clsMailFixture mail;
    mail.Root = root;
    mail.OpenStore(false);
    const auto walk = [&visit](const clsMailFolder& folder, const auto& self) -> void {
        const clsMailItems items = folder.Items();
        for (long i = 1; i <= items.Count(); ++i) {
            if (const auto item = items.Item(i)) {
                visit(folder, *item);
            }
        }
        for (const clsMailFolder& child : folder.Folders()) {
            self(child, self);
        }
    };
    for (const clsMailFolder& top :
         mail.Mapi ? mail.Mapi->Folders() : std::vector<clsMailFolder>()) {
        walk(top, walk);
    }
}
