#include "mailhost/clsMailFolder.h"

#include "mailhost/clsMailItems.h"
#include "mailhost/clsMailNamespace.h"

std::string clsMailFolder::FolderPath() const {
    std::string path;
    for (std::optional<clsMailFolder> folder = *this; folder; folder = folder->Parent()) {
        path = "\\" + folder->Name() + path;
    }
    return "\\" + path;
}

std::optional<clsMailFolder> clsMailFolder::Parent() const {
    if (IsStoreRoot()) {
        return std::nullopt;
    }
    const size_t slash = mEntry.ID.rfind('/');
    const std::string parentID = slash == std::string::npos ? "" : mEntry.ID.substr(0, slash);
    const auto entry = mStore->Folder(parentID);
    return entry ? std::optional<clsMailFolder>(clsMailFolder(*mNamespace, *mStore, *entry))
                 : std::nullopt;
}

std::vector<clsMailFolder> clsMailFolder::Folders() const {
    std::vector<clsMailFolder> folders;
    for (clsFolderEntry& entry : mStore->SubFolders(mEntry.ID)) {
        folders.emplace_back(*mNamespace, *mStore, std::move(entry));
    }
    return folders;
}

std::optional<clsMailFolder> clsMailFolder::AddFolder(std::string_view name) const {
    const auto id = mStore->CreateFolder(mEntry.ID, name);
    const auto entry = id ? mStore->Folder(*id) : std::nullopt;
    if (!entry) {
        mNamespace->Log().AddErrorLog("MailHost->AddFolder", mStore->LastError());
        return std::nullopt;
    }
    return clsMailFolder(*mNamespace, *mStore, *entry);
}

clsMailItems clsMailFolder::Items() const {
    return clsMailItems(*this,
                        IsStoreRoot() ? std::vector<clsItemEntry>() : mStore->ListItems(mEntry.ID));
}
