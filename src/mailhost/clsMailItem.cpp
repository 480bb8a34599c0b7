#include "mailhost/clsMailItem.h"

#include <map>

#include "mailhost/clsMailItemState.h"
#include "mailhost/clsMailNamespace.h"
#include "mailhost/mime/clsMimeMessage.h"

namespace {

// Where a cleared read-receipt request is remembered: the message itself is not rewritten.
constexpr std::string_view kReadReceiptProperty = "CV-ReadReceiptRequested";

}  // namespace

clsMailItem::clsMailItem(clsMailFolder folder, const clsItemEntry& entry)
    : mState(std::make_shared<clsMailItemState>()) {
    mState->Namespace = &folder.Namespace();
    mState->Folder = std::move(folder);
    mState->Entry = entry;
}

clsMailItem clsMailItem::NewItem(clsMailNamespace& mapi) {
    auto state = std::make_shared<clsMailItemState>();
    state->Namespace = &mapi;
    return clsMailItem(std::move(state));
}

const clsMimeMessage& clsMailItem::Message() const {
    if (!mState->Parsed) {
        const auto bytes = mState->Folder ? mState->Store().ReadMessage(mState->Folder->EntryID(),
                                                                        mState->Entry.Key)
                                          : std::nullopt;
        mState->Parsed = clsMimeMessage::Parse(bytes.value_or(""));
        if (mState->Folder && !bytes) {
            mState->Log().AddErrorLog("MailHost->ReadItem", mState->Store().LastError());
        }
    }
    return *mState->Parsed;
}

std::string clsMailItem::EntryID() const {
    return mState->Folder ? mState->Folder->EntryID() + "/" + mState->Entry.Key : std::string();
}

std::string clsMailItem::StoreID() const {
    return mState->Folder ? mState->Folder->StoreID() : std::string();
}

std::optional<clsMailFolder> clsMailItem::Parent() const { return mState->Folder; }

std::string clsMailItem::TypeName() const {
    return mState->Folder ? Message().TypeName() : "MailItem";
}

std::string clsMailItem::Subject() const {
    return mState->Folder ? Message().Subject() : mState->Subject;
}

std::string clsMailItem::Body() const { return mState->Folder ? Message().Body() : mState->Body; }

std::string clsMailItem::SenderEmailAddress() const {
    return mState->Folder ? Message().Sender().Address : mState->Namespace->SenderAddress().Address;
}

std::string clsMailItem::SenderName() const {
    return mState->Folder ? Message().Sender().Name : mState->Namespace->SenderAddress().Name;
}

std::vector<clsMailAddress> clsMailItem::RecipientAddresses() const {
    return mState->Folder ? Message().Recipients() : mState->Recipients;
}

std::vector<std::string> clsMailItem::Recipients() const {
    std::vector<std::string> recipients;
    for (const clsMailAddress& address : RecipientAddresses()) {
        recipients.push_back(address.DisplayString());
    }
    return recipients;
}

std::string clsMailItem::TransportHeaders() const {
    return mState->Folder ? Message().Headers() : std::string();
}

clsTimePoint clsMailItem::ReceivedTime() const { return mState->Entry.Received; }

clsTimePoint clsMailItem::CreationTime() const {
    return mState->Folder ? Message().Date().value_or(mState->Entry.Received)
                          : std::chrono::system_clock::now();
}

bool clsMailItem::UnRead() const {
    return mState->PendingUnRead.value_or(mState->Folder ? !mState->Entry.Seen : false);
}

void clsMailItem::SetUnRead(bool unread) { mState->PendingUnRead = unread; }

Importance clsMailItem::GetImportance() const {
    return mState->PendingImportance.value_or(mState->Folder ? Message().GetImportance()
                                                             : Importance::Normal);
}

void clsMailItem::SetImportance(Importance importance) { mState->PendingImportance = importance; }

bool clsMailItem::ReadReceiptRequested() const {
    if (const auto stored = FindUserProperty(kReadReceiptProperty)) {
        return stored->Text == "true";
    }
    return mState->Folder && Message().ReadReceiptRequested();
}

void clsMailItem::SetReadReceiptRequested(bool requested) {
    AddUserProperty(kReadReceiptProperty, {UserPropertyType::YesNo, requested ? "true" : "false"});
}

std::optional<clsUserPropertyValue> clsMailItem::FindUserProperty(std::string_view name) const {
    for (const auto& [pendingName, value] : mState->PendingProperties) {
        if (pendingName.size() == name.size() &&
            std::equal(name.begin(), name.end(), pendingName.begin(), [](char a, char b) {
                return std::tolower(static_cast<unsigned char>(a)) ==
                       std::tolower(static_cast<unsigned char>(b));
            })) {
            return value;
        }
    }
    return mState->Folder ? mState->Store().Properties().Find(mState->Entry.Key, name)
                          : std::nullopt;
}

void clsMailItem::AddUserProperty(std::string_view name, clsUserPropertyValue value) {
    mState->PendingProperties[std::string(name)] = std::move(value);
}

clsUserPropertyStore::Properties clsMailItem::UserProperties() const {
    clsUserPropertyStore::Properties all = mState->Folder
                                               ? mState->Store().Properties().All(mState->Entry.Key)
                                               : clsUserPropertyStore::Properties();
    for (const auto& [name, value] : mState->PendingProperties) {
        all[name] = value;
    }
    return all;
}

bool clsMailItem::Save() {
    if (!mState->Folder) {
        return false;  // a new item is stored by Send
    }
    clsMailStore& store = mState->Store();
    const std::string& folderID = mState->Folder->EntryID();
    const std::string& key = mState->Entry.Key;
    bool saved = true;
    for (const auto& [name, value] : mState->PendingProperties) {
        saved = store.Properties().Set(key, name, value) && saved;
    }
    mState->PendingProperties.clear();
    if (mState->PendingImportance && *mState->PendingImportance != Message().GetImportance()) {
        const auto bytes = store.ReadMessage(folderID, key);
        saved = bytes &&
                store.ReplaceMessage(
                    folderID, key,
                    clsMimeMessage::WithImportance(*bytes, *mState->PendingImportance)) &&
                saved;
        mState->Parsed.reset();
    }
    mState->PendingImportance.reset();
    if (mState->PendingUnRead) {
        saved = store.SetSeen(folderID, key, !*mState->PendingUnRead) && saved;
        mState->Entry.Seen = !*mState->PendingUnRead;
        mState->PendingUnRead.reset();
    }
    if (!saved) {
        mState->Log().AddErrorLog("MailHost->Save: " + EntryID(), store.LastError());
    }
    return saved;
}
