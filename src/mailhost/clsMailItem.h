#pragma once
// clsMailItem: a handle on one mail item: a stored message (read lazily through clsMimeMessage)
// or a new one being written (NewItem, Forward) until it is sent. Changes to UnRead, Importance,
// ReadReceiptRequested and user properties wait in the item until Save. Copies of a handle share
// its state. Valid while the clsMailNamespace that made it lives. Event-loop thread only.
// Failure: members give a neutral value and log through the namespace; nothing throws.

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "mailhost/clsMailFolder.h"
#include "mailhost/clsUserPropertyStore.h"

class clsMimeMessage;
struct clsMailItemState;

class clsMailItem {
public:
    clsMailItem(clsMailFolder folder, const clsItemEntry& entry);
    // A new, empty item that Send will send through the namespace's transport.
    static clsMailItem NewItem(clsMailNamespace& mapi);

    // The folder's EntryID, "/", the item's key; "" for an item not yet stored.
    std::string EntryID() const;
    std::string StoreID() const;
    std::optional<clsMailFolder> Parent() const;
    // "MailItem", "ReportItem" (delivery reports) or "MeetingItem" (invitations).
    std::string TypeName() const;

    std::string Subject() const;
    std::string Body() const;
    std::string SenderEmailAddress() const;
    std::string SenderName() const;
    // Each recipient as "Name <address>".
    std::vector<std::string> Recipients() const;
    std::vector<clsMailAddress> RecipientAddresses() const;
    std::string TransportHeaders() const;
    clsTimePoint ReceivedTime() const;
    clsTimePoint CreationTime() const;

    bool UnRead() const;
    void SetUnRead(bool unread);
    Importance GetImportance() const;
    void SetImportance(Importance importance);
    bool ReadReceiptRequested() const;
    void SetReadReceiptRequested(bool requested);

    // UserProperties: Find gives the value (a pending one first); Add sets one until Save.
    std::optional<clsUserPropertyValue> FindUserProperty(std::string_view name) const;
    void AddUserProperty(std::string_view name, clsUserPropertyValue value);
    clsUserPropertyStore::Properties UserProperties() const;

    // Writes what is pending: flags, importance (the message is rewritten), user properties.
    bool Save();
    // A copy in the same folder, its user properties included.
    std::optional<clsMailItem> Copy() const;
    // A copy made straight in target, so that no half-done copy is ever left beside the item.
    std::optional<clsMailItem> CopyTo(const clsMailFolder& target) const;
    std::optional<clsMailItem> Move(const clsMailFolder& target) const;
    // Into Deleted Items; an item already there is removed for good.
    bool Delete() const;
    // A new item forwarding this one; add recipients, then Send.
    std::optional<clsMailItem> Forward() const;

    // New items only.
    void SetSubject(std::string subject);
    void SetBody(std::string body);
    void SetHTMLBody(std::string html);
    void AddRecipient(std::string address, RecipientKind kind = RecipientKind::To);
    // A header field of the host's own ("Auto-Submitted"), written as given.
    void AddHeader(std::string name, std::string value);
    // Sends through the transport (or files it in the Outbox) and saves a copy in Sent Items.
    bool Send();

    // The parsed message (empty for a new item).
    const clsMimeMessage& Message() const;

private:
    explicit clsMailItem(std::shared_ptr<clsMailItemState> state) : mState(std::move(state)) {}
    std::shared_ptr<clsMailItemState> mState;
};
