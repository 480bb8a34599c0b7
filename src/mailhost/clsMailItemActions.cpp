// clsMailItem: copying, moving, deleting, forwarding and sending.
#include "mailhost/clsMailItem.h"
#include "mailhost/clsMailItemState.h"
#include "mailhost/mime/clsMessageComposer.h"

namespace {

// Moves or copies between two stores: the bytes and the properties go over, then (for a move)
// the original goes.
std::optional<std::string> TransferBetweenStores(clsMailStore& from, const std::string& folderID,
                                                 const clsItemEntry& entry, clsMailStore& to,
                                                 const std::string& targetID, bool keepOriginal) {
    const auto bytes = from.ReadMessage(folderID, entry.Key);
    const auto key = bytes ? to.AppendMessage(targetID, *bytes, entry.Seen) : std::nullopt;
    if (!key) {
        return std::nullopt;
    }
    for (const auto& [name, value] : from.Properties().All(entry.Key)) {
        to.Properties().Set(*key, name, value);
    }
    if (!keepOriginal && from.RemoveItem(folderID, entry.Key)) {
        from.Properties().RemoveAll(entry.Key);
    }
    return key;
}

}  // namespace

std::optional<clsMailItem> clsMailItem::Copy() const {
    return mState->Folder ? CopyTo(*mState->Folder) : std::nullopt;
}

std::optional<clsMailItem> clsMailItem::CopyTo(const clsMailFolder& target) const {
    if (!mState->Folder) {
        return std::nullopt;
    }
    clsMailStore& store = mState->Store();
    const std::string& folderID = mState->Folder->EntryID();
    std::optional<std::string> key;
    if (&target.Store() == &store) {
        key = store.CopyItem(folderID, mState->Entry.Key, target.EntryID());
        if (key) {
            store.Properties().CopyAll(mState->Entry.Key, *key);
        }
    } else {
        key = TransferBetweenStores(store, folderID, mState->Entry, target.Store(),
                                    target.EntryID(), true);
    }
    const auto entry = key ? target.Store().FindItem(target.EntryID(), *key) : std::nullopt;
    if (!entry) {
        mState->Log().AddErrorLog("MailHost->Copy: " + EntryID() + " to " + target.FolderPath(),
                                  target.Store().LastError());
        return std::nullopt;
    }
    return clsMailItem(target, *entry);
}

std::optional<clsMailItem> clsMailItem::Move(const clsMailFolder& target) const {
    if (!mState->Folder) {
        return std::nullopt;
    }
    clsMailStore& store = mState->Store();
    const std::string& folderID = mState->Folder->EntryID();
    std::optional<std::string> key;
    if (&target.Store() == &store) {
        key = store.MoveItem(folderID, mState->Entry.Key, target.EntryID());
        if (key && *key != mState->Entry.Key) {
            store.Properties().Rename(mState->Entry.Key, *key);
        }
    } else {
        key = TransferBetweenStores(store, folderID, mState->Entry, target.Store(),
                                    target.EntryID(), false);
    }
    const auto entry = key ? target.Store().FindItem(target.EntryID(), *key) : std::nullopt;
    if (!entry) {
        mState->Log().AddErrorLog("MailHost->Move: " + EntryID() + " to " + target.FolderPath(),
                                  target.Store().LastError());
        return std::nullopt;
    }
    return clsMailItem(target, *entry);
}

bool clsMailItem::Delete() const {
    if (!mState->Folder) {
        return false;
    }
    clsMailStore& store = mState->Store();
    if (mState->Folder->Role() == FolderRole::DeletedItems) {
        const bool removed = store.RemoveItem(mState->Folder->EntryID(), mState->Entry.Key);
        if (removed) {
            store.Properties().RemoveAll(mState->Entry.Key);
        }
        return removed;
    }
    const auto trashID = store.FolderForRole(FolderRole::DeletedItems);
    const auto trash = trashID ? store.Folder(*trashID) : std::nullopt;
    return trash && Move(clsMailFolder(*mState->Namespace, store, *trash)).has_value();
}

std::optional<clsMailItem> clsMailItem::Forward() const {
    if (!mState->Folder) {
        return std::nullopt;
    }
    const auto bytes = mState->Store().ReadMessage(mState->Folder->EntryID(), mState->Entry.Key);
    if (!bytes) {
        mState->Log().AddErrorLog("MailHost->Forward: " + EntryID(), mState->Store().LastError());
        return std::nullopt;
    }
    clsMailItem forward = NewItem(*mState->Namespace);
    forward.mState->Forwarded = *bytes;
    forward.mState->Subject = Subject();
    return forward;
}

void clsMailItem::SetSubject(std::string subject) { mState->Subject = std::move(subject); }
void clsMailItem::SetBody(std::string body) { mState->Body = std::move(body); }
void clsMailItem::SetHTMLBody(std::string html) { mState->HTMLBody = std::move(html); }

void clsMailItem::AddRecipient(std::string address, RecipientKind kind) {
    clsMailAddress recipient;
    recipient.Address = std::move(address);
    recipient.Kind = kind;
    mState->Recipients.push_back(std::move(recipient));
}

void clsMailItem::AddHeader(std::string name, std::string value) {
    mState->Headers.emplace_back(std::move(name), std::move(value));
}

bool clsMailItem::Send() {
    clsMailNamespace& mapi = *mState->Namespace;
    if (mState->Folder || mState->Recipients.empty()) {
        mapi.Log().AddLog("MailHost->Send: only a new item with recipients can be sent");
        return false;
    }
    std::string message;
    if (mState->Forwarded) {
        message = clsMessageComposer::Forward(*mState->Forwarded, mapi.SenderAddress(),
                                              mState->Recipients, mState->Body);
    } else {
        clsOutgoingMessage outgoing;
        outgoing.From = mapi.SenderAddress();
        outgoing.Recipients = mState->Recipients;
        outgoing.Subject = mState->Subject;
        outgoing.Body = mState->Body;
        outgoing.HTMLBody = mState->HTMLBody;
        outgoing.ItemImportance = mState->PendingImportance.value_or(Importance::Normal);
        outgoing.ExtraHeaders = mState->Headers;
        message = clsMessageComposer::Compose(outgoing);
    }
    return mapi.Deliver(message, mState->Recipients);
}
