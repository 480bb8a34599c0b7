// clsMaildirStore: opening the tree and its folders.
#include "mailhost/maildir/clsMaildirStore.h"

#include <algorithm>
#include <fstream>
#include <set>

#include "mailhost/maildir/clsMaildirName.h"

namespace {

constexpr std::string_view kInbox = "INBOX";

struct clsRoleName {
    FolderRole Role;
    std::string_view Name;  // the first name of a role is the one a new store gets
};

// Names by which Maildir trees of other programs call their special folders.
constexpr clsRoleName kRoleNames[] = {{FolderRole::SentMail, "Sent Items"},
                                      {FolderRole::SentMail, "Sent"},
                                      {FolderRole::SentMail, "Sent Messages"},
                                      {FolderRole::SentMail, "Sent Mail"},
                                      {FolderRole::Junk, "Junk E-mail"},
                                      {FolderRole::Junk, "Junk"},
                                      {FolderRole::Junk, "Spam"},
                                      {FolderRole::Junk, "Junk Mail"},
                                      {FolderRole::DeletedItems, "Deleted Items"},
                                      {FolderRole::DeletedItems, "Trash"},
                                      {FolderRole::DeletedItems, "Deleted Messages"},
                                      {FolderRole::Drafts, "Drafts"},
                                      {FolderRole::Outbox, "Outbox"}};

bool EqualsNoCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
        return std::tolower(static_cast<unsigned char>(x)) ==
               std::tolower(static_cast<unsigned char>(y));
    });
}

FolderRole RoleOf(std::string_view folderID) {
    if (folderID == kInbox) {
        return FolderRole::Inbox;
    }
    for (const clsRoleName& role : kRoleNames) {
        if (EqualsNoCase(folderID, role.Name)) {
            return role.Role;
        }
    }
    return FolderRole::None;
}

std::string_view LastPart(std::string_view folderID) {
    const size_t slash = folderID.rfind('/');
    return slash == std::string_view::npos ? folderID : folderID.substr(slash + 1);
}

std::string_view ParentOf(std::string_view folderID) {
    const size_t slash = folderID.rfind('/');
    return slash == std::string_view::npos ? std::string_view() : folderID.substr(0, slash);
}

bool MakeMaildir(const std::filesystem::path& folder, bool markAsFolder) {
    std::error_code error;
    for (const char* sub : {"cur", "new", "tmp"}) {
        std::filesystem::create_directories(folder / sub, error);
        if (error) {
            return false;
        }
    }
    if (markAsFolder && !std::filesystem::exists(folder / "maildirfolder")) {
        std::ofstream(folder / "maildirfolder");  // Maildir++ marks sub-folders so
    }
    return true;
}

// ".A.B" -> "A/B"; ".INBOX.x" keeps INBOX in upper case; nothing for a name that is no folder.
std::optional<std::string> FolderIDOfDirectory(std::string_view name) {
    if (name.size() < 2 || name.front() != '.' || name == "..") {
        return std::nullopt;
    }
    std::string id;
    size_t start = 1;
    while (start <= name.size()) {
        const size_t dot = std::min(name.find('.', start), name.size());
        const auto part = clsMaildirName::DecodeFolderName(name.substr(start, dot - start));
        if (!part || part->empty()) {
            return std::nullopt;
        }
        id += (id.empty() ? "" : "/") +
              (id.empty() && EqualsNoCase(*part, kInbox) ? std::string(kInbox) : *part);
        start = dot + 1;
    }
    return id;
}

}  // namespace

clsMaildirStore::clsMaildirStore(std::filesystem::path root, std::string displayName)
    : mRoot(std::move(root)),
      mStoreID("maildir:" + mRoot.string()),
      mDisplayName(std::move(displayName)) {}

std::unique_ptr<clsMaildirStore> clsMaildirStore::Open(const std::filesystem::path& root,
                                                       std::string displayName, bool create,
                                                       clsStatus& status) {
    std::error_code error;
    const std::filesystem::path absolute =
        std::filesystem::absolute(root, error).lexically_normal();
    const bool exists = std::filesystem::is_directory(absolute / "cur", error);
    if (!exists && !create) {
        status = clsStatus::Error(clsStatus::Code::NotFound,
                                  "no Maildir at " + absolute.string() + " (it has no cur/)");
        return nullptr;
    }
    // A folder that holds other things is somebody's data, not a Maildir to make: a slip of the
    // path must not litter a home folder with cur/, new/ and tmp/.
    if (!exists && std::filesystem::is_directory(absolute, error) &&
        !std::filesystem::is_empty(absolute, error)) {
        status = clsStatus::Error(clsStatus::Code::Invalid,
                                  absolute.string() +
                                      " is neither a Maildir (no cur/) nor empty; give a Maildir "
                                      "or a new folder");
        return nullptr;
    }
    if (!MakeMaildir(absolute, false)) {
        status =
            clsStatus::Error(clsStatus::Code::Io, "cannot make a Maildir at " + absolute.string());
        return nullptr;
    }
    std::unique_ptr<clsMaildirStore> store(new clsMaildirStore(absolute, std::move(displayName)));
    if (!exists) {  // a new store gets the default folders under their usual names
        for (FolderRole role : {FolderRole::SentMail, FolderRole::Junk, FolderRole::DeletedItems,
                                FolderRole::Drafts, FolderRole::Outbox}) {
            store->FolderForRole(role);
        }
    }
    if (!store->mProperties.Open(absolute / kPropertiesFile)) {
        status = store->mProperties.LastError();
        return nullptr;
    }
    status = clsStatus::Ok();
    return store;
}

bool clsMaildirStore::Fail(clsStatus::Code code, std::string description) {
    SetLastError(clsStatus::Error(code, std::move(description)));
    return false;
}

std::vector<std::string> clsMaildirStore::AllFolderIDs() const {
    std::set<std::string> ids;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(mRoot, error)) {
        const auto id = FolderIDOfDirectory(entry.path().filename().string());
        if (!id || !entry.is_directory(error)) {
            continue;
        }
        // A deeper folder implies its parents, even when they have no directory of their own.
        for (std::string_view part = *id; !part.empty(); part = ParentOf(part)) {
            ids.emplace(part);
        }
    }
    return {ids.begin(), ids.end()};
}

std::optional<std::filesystem::path> clsMaildirStore::FolderDirectory(std::string_view folderID) {
    if (folderID == kInbox) {
        return mRoot;
    }
    if (folderID.empty()) {
        return std::nullopt;  // the store's root holds no mail
    }
    std::string directory;
    for (std::string_view rest = folderID; !rest.empty();) {
        const size_t slash = rest.find('/');
        directory += "." + clsMaildirName::EncodeFolderName(rest.substr(0, slash));
        rest = slash == std::string_view::npos ? std::string_view() : rest.substr(slash + 1);
    }
    return mRoot / directory;
}

std::optional<clsFolderEntry> clsMaildirStore::Folder(std::string_view folderID) {
    if (folderID.empty()) {
        return clsFolderEntry{"", mDisplayName, FolderRole::None};
    }
    if (folderID == kInbox) {
        return clsFolderEntry{std::string(kInbox), "Inbox", FolderRole::Inbox};
    }
    const std::vector<std::string> ids = AllFolderIDs();
    if (std::find(ids.begin(), ids.end(), folderID) == ids.end()) {
        Fail(clsStatus::Code::NotFound, "no folder \"" + std::string(folderID) + "\"");
        return std::nullopt;
    }
    return clsFolderEntry{std::string(folderID), std::string(LastPart(folderID)), RoleOf(folderID)};
}

std::vector<clsFolderEntry> clsMaildirStore::SubFolders(std::string_view folderID) {
    std::vector<clsFolderEntry> folders;
    if (folderID.empty()) {
        folders.push_back(*Folder(kInbox));
    }
    for (const std::string& id : AllFolderIDs()) {
        if (ParentOf(id) == folderID && id != kInbox) {
            folders.push_back({id, std::string(LastPart(id)), RoleOf(id)});
        }
    }
    const auto byName = [](const clsFolderEntry& a, const clsFolderEntry& b) {
        if (a.Role == FolderRole::Inbox || b.Role == FolderRole::Inbox) {
            return a.Role == FolderRole::Inbox && b.Role != FolderRole::Inbox;
        }
        return std::lexicographical_compare(a.Name.begin(), a.Name.end(), b.Name.begin(),
                                            b.Name.end(), [](char x, char y) {
                                                return std::tolower(static_cast<unsigned char>(x)) <
                                                       std::tolower(static_cast<unsigned char>(y));
                                            });
    };
    std::sort(folders.begin(), folders.end(), byName);
    return folders;
}

std::optional<std::string> clsMaildirStore::FolderForRole(FolderRole role) {
    if (role == FolderRole::Inbox) {
        return std::string(kInbox);
    }
    const std::vector<std::string> ids = AllFolderIDs();
    for (const clsRoleName& name : kRoleNames) {  // in order of preference
        const auto found = std::find_if(ids.begin(), ids.end(), [&](const std::string& id) {
            return name.Role == role && EqualsNoCase(id, name.Name);
        });
        if (found != ids.end()) {
            return *found;
        }
    }
    const auto usual = std::find_if(std::begin(kRoleNames), std::end(kRoleNames),
                                    [role](const clsRoleName& name) { return name.Role == role; });
    return usual == std::end(kRoleNames) ? std::nullopt : CreateFolder("", usual->Name);
}

std::optional<std::string> clsMaildirStore::CreateFolder(std::string_view parentID,
                                                         std::string_view name) {
    if (!clsMaildirName::IsValidFolderName(name) ||
        (parentID.empty() && EqualsNoCase(name, kInbox))) {
        Fail(
            clsStatus::Code::Invalid,
            "a folder name may not be empty, \"Inbox\" at the top, or hold \".\", \"/\" or \"\\\"");
        return std::nullopt;
    }
    const std::string id =
        parentID.empty() ? std::string(name) : std::string(parentID) + "/" + std::string(name);
    const auto directory = FolderDirectory(id);
    if (!directory || !MakeMaildir(*directory, true)) {
        Fail(clsStatus::Code::Io, "cannot create the folder \"" + id + "\"");
        return std::nullopt;
    }
    return id;
}

clsMaildirListing& clsMaildirStore::Listing(std::string_view folderID) {
    auto found = mListings.find(folderID);
    if (found == mListings.end()) {
        const auto directory = FolderDirectory(folderID);
        found = mListings
                    .emplace(std::string(folderID),
                             std::make_unique<clsMaildirListing>(
                                 directory.value_or(mRoot / ".corvel-no-such-folder")))
                    .first;
    }
    return *found->second;
}
