#pragma once
// clsMailFolder: a handle on one folder of a store: its identity (EntryID, StoreID), its place
// in the tree (Name, FolderPath "\\Store\Inbox\Clients", Parent, Folders) and its Items. Cheap to
// copy; valid while the clsMailNamespace that made it lives. Event-loop thread only.
// Failure: members give a neutral value; the store's LastError() says why.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "mailhost/clsMailStore.h"

class clsMailNamespace;
class clsMailItems;

class clsMailFolder {
public:
    clsMailFolder(clsMailNamespace& mapi, clsMailStore& store, clsFolderEntry entry)
        : mNamespace(&mapi), mStore(&store), mEntry(std::move(entry)) {}

    const std::string& EntryID() const { return mEntry.ID; }
    const std::string& StoreID() const { return mStore->StoreID(); }
    const std::string& Name() const { return mEntry.Name; }
    FolderRole Role() const { return mEntry.Role; }
    // "\\" + the store's name, then each folder's name from the top, separated by "\".
    std::string FolderPath() const;
    // The item class the folder holds: mail folders only here.
    std::string DefaultMessageClass() const { return "IPF.Note"; }
    bool IsStoreRoot() const { return mEntry.ID.empty(); }

    std::optional<clsMailFolder> Parent() const;
    std::vector<clsMailFolder> Folders() const;
    // Folders.Add: a new sub-folder, or nothing (a name with ".", "/" or "\" cannot be made).
    std::optional<clsMailFolder> AddFolder(std::string_view name) const;
    clsMailItems Items() const;

    clsMailStore& Store() const { return *mStore; }
    clsMailNamespace& Namespace() const { return *mNamespace; }

private:
    clsMailNamespace* mNamespace;
    clsMailStore* mStore;
    clsFolderEntry mEntry;
};
