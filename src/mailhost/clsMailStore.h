#pragma once
// clsMailStore: one backend's mail store (a Maildir++ tree now, an IMAP account later) in the
// terms the object model needs: folders by opaque ID, items by a key that survives flag changes
// and the store's own moves, raw message bytes, and the store's user properties. The object
// model (clsMailNamespace, clsMailFolder, clsMailItem) is the only caller; nothing else knows
// which backend it talks to.
// Owned by clsMailNamespace. Event-loop thread only.
// Failure: members return a neutral value (nothing, false, empty) and set LastError().

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/clsStatus.h"
#include "mailhost/clsMailTypes.h"

class clsUserPropertyStore;

enum class FolderRole { None, Inbox, SentMail, Junk, DeletedItems, Drafts, Outbox };

struct clsFolderEntry {
    std::string ID;    // opaque; "" is the store's root, which holds folders but no mail
    std::string Name;  // display name
    FolderRole Role = FolderRole::None;
};

struct clsItemEntry {
    std::string Key;  // unique in the store; kept by moves and flag changes
    bool Seen = false;
    clsTimePoint Received;
    std::uintmax_t Size = 0;
};

class clsMailStore {
public:
    virtual ~clsMailStore() = default;
    clsMailStore(const clsMailStore&) = delete;
    clsMailStore& operator=(const clsMailStore&) = delete;

    virtual const std::string& StoreID() const = 0;
    virtual const std::string& DisplayName() const = 0;

    virtual std::optional<clsFolderEntry> Folder(std::string_view folderID) = 0;
    // Direct sub-folders, in display order (the Inbox first at the top).
    virtual std::vector<clsFolderEntry> SubFolders(std::string_view folderID) = 0;
    // The folder of that role; created with its usual name when the store has none.
    virtual std::optional<std::string> FolderForRole(FolderRole role) = 0;
    virtual std::optional<std::string> CreateFolder(std::string_view parentID,
                                                    std::string_view name) = 0;

    // The folder's items, oldest first; items that arrive later are appended at the end.
    virtual const std::vector<clsItemEntry>& ListItems(std::string_view folderID) = 0;
    virtual std::optional<clsItemEntry> FindItem(std::string_view folderID,
                                                 std::string_view key) = 0;
    virtual std::optional<std::string> ReadMessage(std::string_view folderID,
                                                   std::string_view key) = 0;
    virtual bool SetSeen(std::string_view folderID, std::string_view key, bool seen) = 0;
    // Each gives the item's key in the target folder.
    virtual std::optional<std::string> MoveItem(std::string_view folderID, std::string_view key,
                                                std::string_view targetFolderID) = 0;
    virtual std::optional<std::string> CopyItem(std::string_view folderID, std::string_view key,
                                                std::string_view targetFolderID) = 0;
    virtual std::optional<std::string> AppendMessage(std::string_view folderID,
                                                     std::string_view message, bool seen) = 0;
    // Removes the item for good (the object model moves to Deleted Items first).
    virtual bool RemoveItem(std::string_view folderID, std::string_view key) = 0;
    // Replaces the message's bytes in one step, keeping its key, flags and received time.
    virtual bool ReplaceMessage(std::string_view folderID, std::string_view key,
                                std::string_view message) = 0;

    virtual clsUserPropertyStore& Properties() = 0;

    const clsStatus& LastError() const { return mLastError; }

protected:
    clsMailStore() = default;
    void SetLastError(clsStatus status) { mLastError = std::move(status); }

private:
    clsStatus mLastError = clsStatus::Ok();
};
