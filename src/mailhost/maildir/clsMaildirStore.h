#pragma once
// clsMaildirStore: a Maildir++ tree as a mail store, readable by Dovecot, Courier, mutt and
// mbsync alike. The root's own cur/new/tmp is the Inbox; every other folder is a directory
// ".Name" (".Parent.Child" below a parent, ".INBOX.Child" below the Inbox) with its names in
// modified UTF-7. Messages are written in tmp/ and renamed into new/ or cur/; flags live in the
// file name ("S" is read). An item's key is its file name's unique part, so moves and flag changes
// keep it, and so do the user properties, kept in "corvel-properties.sqlite" at the root.
// Owned by clsMailNamespace. Event-loop thread only. Failures set LastError() and give neutral
// values; no message is ever lost: writes go through tmp/ and one rename.

#include <filesystem>
#include <map>
#include <memory>

#include "mailhost/clsMailStore.h"
#include "mailhost/clsUserPropertyStore.h"
#include "mailhost/maildir/clsMaildirListing.h"

class clsMaildirStore final : public clsMailStore {
public:
    static constexpr std::string_view kPropertiesFile = "corvel-properties.sqlite";

    // Opens the tree at root; with create, makes it (and its default folders) when missing.
    static std::unique_ptr<clsMaildirStore> Open(const std::filesystem::path& root,
                                                 std::string displayName, bool create,
                                                 clsStatus& status);

    const std::string& StoreID() const override { return mStoreID; }
    const std::string& DisplayName() const override { return mDisplayName; }
    const std::filesystem::path& Root() const { return mRoot; }

    std::optional<clsFolderEntry> Folder(std::string_view folderID) override;
    std::vector<clsFolderEntry> SubFolders(std::string_view folderID) override;
    std::optional<std::string> FolderForRole(FolderRole role) override;
    std::optional<std::string> CreateFolder(std::string_view parentID,
                                            std::string_view name) override;

    const std::vector<clsItemEntry>& ListItems(std::string_view folderID) override;
    std::optional<clsItemEntry> FindItem(std::string_view folderID, std::string_view key) override;
    std::optional<std::string> ReadMessage(std::string_view folderID,
                                           std::string_view key) override;
    bool SetSeen(std::string_view folderID, std::string_view key, bool seen) override;
    std::optional<std::string> MoveItem(std::string_view folderID, std::string_view key,
                                        std::string_view targetFolderID) override;
    std::optional<std::string> CopyItem(std::string_view folderID, std::string_view key,
                                        std::string_view targetFolderID) override;
    std::optional<std::string> AppendMessage(std::string_view folderID, std::string_view message,
                                             bool seen) override;
    bool RemoveItem(std::string_view folderID, std::string_view key) override;
    bool ReplaceMessage(std::string_view folderID, std::string_view key,
                        std::string_view message) override;

    clsUserPropertyStore& Properties() override { return mProperties; }

private:
    clsMaildirStore(std::filesystem::path root, std::string displayName);

    // "" for the Inbox (the root), ".A.B" for "A/B"; nothing for an ID that names no folder.
    std::optional<std::filesystem::path> FolderDirectory(std::string_view folderID);
    std::vector<std::string> AllFolderIDs() const;
    clsMaildirListing& Listing(std::string_view folderID);
    // The item's file, or nothing (LastError set).
    std::optional<std::filesystem::path> FileOf(std::string_view folderID, std::string_view key);
    // Writes the message into folder's tmp/ and syncs it; with sameAs, its times are copied.
    std::optional<std::filesystem::path> WriteTemporary(std::string_view message,
                                                        const std::filesystem::path& folder,
                                                        const std::filesystem::path& sameAs);
    bool Fail(clsStatus::Code code, std::string description);

    std::filesystem::path mRoot;
    std::string mStoreID;
    std::string mDisplayName;
    std::map<std::string, std::unique_ptr<clsMaildirListing>, std::less<>> mListings;
    clsUserPropertyStore mProperties;
};
