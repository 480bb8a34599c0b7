#pragma once
// clsMailNamespace: the "MAPI" namespace of the mail host: the open stores (the profile's own
// first, archive stores after it), their default folders, items and folders by ID, new items, and
// the transport that sends them. Owns the stores.
// Created for one profile by whoever runs the engine or a command. Event-loop thread only.
// Failure: members log "MailHost->Member: ..." and give a neutral value; nothing throws.

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/clsLogFile.h"
#include "mailhost/clsMailFolder.h"
#include "mailhost/clsMailItem.h"
#include "mailhost/clsMailItems.h"
#include "mailhost/transport/clsMailTransport.h"

class clsMailNamespace {
public:
    clsMailNamespace(clsLogFile& log, std::string profileName);
    ~clsMailNamespace();
    clsMailNamespace(const clsMailNamespace&) = delete;
    clsMailNamespace& operator=(const clsMailNamespace&) = delete;

    // The first store added is the default store.
    void AddStore(std::unique_ptr<clsMailStore> store);
    // AddStore of an archive: opens (creating when missing) a Maildir++ tree at path.
    bool AddStore(const std::filesystem::path& path, std::string displayName);

    // The top-level folders: one store root per store.
    std::vector<clsMailFolder> Folders();
    std::optional<clsMailFolder> GetDefaultFolder(DefaultFolder folder);
    std::optional<clsMailItem> GetItemFromID(std::string_view entryID,
                                             std::string_view storeID = "");
    std::optional<clsMailFolder> GetFolderFromID(std::string_view entryID,
                                                 std::string_view storeID = "");
    clsMailItem CreateItem() { return clsMailItem::NewItem(*this); }
    const std::string& CurrentProfileName() const { return mProfileName; }

    // How new items leave: a transport, or none for the Outbox. From is the sender written on them.
    void SetTransport(std::unique_ptr<clsMailTransport> transport, clsMailAddress from);
    const clsMailAddress& SenderAddress() const { return mFrom; }
    // The user's own addresses (the profile's), which tell sent mail from received mail.
    void SetOwnAddresses(std::vector<std::string> addresses) {
        mOwnAddresses = std::move(addresses);
    }
    const std::vector<std::string>& OwnAddresses() const { return mOwnAddresses; }
    // Sends a finished message through the transport and files a copy in Sent Items; without a
    // transport it files the message in the Outbox instead.
    bool Deliver(std::string_view message, const std::vector<clsMailAddress>& recipients);

    clsMailStore* DefaultStore();
    clsMailStore* FindStore(std::string_view storeID);
    clsLogFile& Log() { return mLog; }

private:
    std::optional<clsMailFolder> FolderOf(clsMailStore& store, std::string_view folderID);

    clsLogFile& mLog;
    std::string mProfileName;
    std::vector<std::unique_ptr<clsMailStore>> mStores;
    std::unique_ptr<clsMailTransport> mTransport;
    clsMailAddress mFrom;
    std::vector<std::string> mOwnAddresses;
};
