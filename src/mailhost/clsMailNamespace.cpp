#include "mailhost/clsMailNamespace.h"

#include "mailhost/maildir/clsMaildirStore.h"
#include "mailhost/mime/clsMimeMessage.h"

namespace {

FolderRole RoleOf(DefaultFolder folder) {
    switch (folder) {
        case DefaultFolder::DeletedItems:
            return FolderRole::DeletedItems;
        case DefaultFolder::Outbox:
            return FolderRole::Outbox;
        case DefaultFolder::SentMail:
            return FolderRole::SentMail;
        case DefaultFolder::Inbox:
            return FolderRole::Inbox;
        case DefaultFolder::Drafts:
            return FolderRole::Drafts;
        case DefaultFolder::Junk:
            return FolderRole::Junk;
    }
    return FolderRole::None;
}

}  // namespace

clsMailNamespace::clsMailNamespace(clsLogFile& log, std::string profileName)
    : mLog(log), mProfileName(std::move(profileName)) {
    clsMimeMessage::Initialise();
}

clsMailNamespace::~clsMailNamespace() = default;

void clsMailNamespace::AddStore(std::unique_ptr<clsMailStore> store) {
    if (store) {
        mStores.push_back(std::move(store));
    }
}

bool clsMailNamespace::AddStore(const std::filesystem::path& path, std::string displayName) {
    for (const auto& store : mStores) {
        if (store->StoreID() ==
            "maildir:" + std::filesystem::absolute(path).lexically_normal().string()) {
            return true;  // already open
        }
    }
    clsStatus status = clsStatus::Ok();
    auto store = clsMaildirStore::Open(path, std::move(displayName), true, status);
    if (!store) {
        mLog.AddErrorLog("MailHost->AddStore: " + path.string(), status);
        return false;
    }
    mStores.push_back(std::move(store));
    return true;
}

std::vector<clsMailFolder> clsMailNamespace::Folders() {
    std::vector<clsMailFolder> roots;
    for (const auto& store : mStores) {
        if (auto root = FolderOf(*store, "")) {
            roots.push_back(std::move(*root));
        }
    }
    return roots;
}

clsMailStore* clsMailNamespace::DefaultStore() {
    return mStores.empty() ? nullptr : mStores.front().get();
}

clsMailStore* clsMailNamespace::FindStore(std::string_view storeID) {
    for (const auto& store : mStores) {
        if (store->StoreID() == storeID) {
            return store.get();
        }
    }
    return nullptr;
}

std::optional<clsMailFolder> clsMailNamespace::FolderOf(clsMailStore& store,
                                                        std::string_view folderID) {
    const auto entry = store.Folder(folderID);
    return entry ? std::optional<clsMailFolder>(clsMailFolder(*this, store, *entry)) : std::nullopt;
}

std::optional<clsMailFolder> clsMailNamespace::GetDefaultFolder(DefaultFolder folder) {
    clsMailStore* store = DefaultStore();
    const auto id = store ? store->FolderForRole(RoleOf(folder)) : std::nullopt;
    if (!id) {
        mLog.AddLog("MailHost->GetDefaultFolder: no folder " +
                    std::to_string(static_cast<int>(folder)));
        return std::nullopt;
    }
    return FolderOf(*store, *id);
}

std::optional<clsMailFolder> clsMailNamespace::GetFolderFromID(std::string_view entryID,
                                                               std::string_view storeID) {
    for (const auto& store : mStores) {
        if (storeID.empty() || store->StoreID() == storeID) {
            if (auto folder = FolderOf(*store, entryID)) {
                return folder;
            }
        }
    }
    return std::nullopt;
}

std::optional<clsMailItem> clsMailNamespace::GetItemFromID(std::string_view entryID,
                                                           std::string_view storeID) {
    const size_t slash = entryID.rfind('/');
    if (slash == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view folderID = entryID.substr(0, slash);
    const std::string_view key = entryID.substr(slash + 1);
    for (const auto& store : mStores) {
        if (!storeID.empty() && store->StoreID() != storeID) {
            continue;
        }
        const auto folder = FolderOf(*store, folderID);
        const auto entry = folder ? store->FindItem(folderID, key) : std::nullopt;
        if (entry) {
            return clsMailItem(*folder, *entry);
        }
    }
    return std::nullopt;
}

void clsMailNamespace::SetTransport(std::unique_ptr<clsMailTransport> transport,
                                    clsMailAddress from) {
    mTransport = std::move(transport);
    mFrom = std::move(from);
}

bool clsMailNamespace::Deliver(std::string_view message,
                               const std::vector<clsMailAddress>& recipients) {
    clsMailStore* store = DefaultStore();
    if (store == nullptr) {
        return false;
    }
    const FolderRole filedIn = mTransport ? FolderRole::SentMail : FolderRole::Outbox;
    if (mTransport) {
        std::vector<std::string> addresses;
        for (const clsMailAddress& recipient : recipients) {
            addresses.push_back(recipient.Address);
        }
        const clsStatus status = mTransport->Send(message, mFrom.Address, addresses);
        if (!status.IsOk()) {
            mLog.AddErrorLog("MailHost->Send", status);
            return false;
        }
    }
    const auto folderID = store->FolderForRole(filedIn);
    if (!folderID || !store->AppendMessage(*folderID, message, true)) {
        mLog.AddErrorLog("MailHost->Send: filing the message", store->LastError());
        return false;
    }
    return true;
}
