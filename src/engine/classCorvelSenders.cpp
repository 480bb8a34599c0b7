// classCorvel: sent items, who sent an item and to whom, and the blocked senders.
#include <algorithm>

#include "engine/classCorvel.h"
#include "engine/clsQueryAddress.h"
#include "foundation/CommonHelpers.h"

namespace {}  // namespace

bool classCorvel::ProcessSentItem(clsMailItem& item, bool reprocess, bool includeDisabled) {
    SetIncoming(false);
    ++mEmailsProcessed;
    return ProcessItem(item, reprocess, includeDisabled);
}

std::string classCorvel::FindSender(const clsMailItem& item) {
    try {
        if (item.TypeName() != "MailItem") {
            return "";
        }
        const std::string sender = item.SenderEmailAddress();
        if (!sender.empty() && !clsQueryAddress::IsSafe(sender)) {
            // Never logged as it stands: it may hold anything a sender chose to put there.
            mLog->AddLog("Corvel->FindSender: the sender is not a plain address (" +
                         std::to_string(sender.size()) + " bytes); treated as no sender");
            return "";
        }
        mLog->AddLog("Corvel->FindSender: Sender = " + sender);
        return sender;
    } catch (const std::exception& error) {
        mLog->AddErrorLog("Corvel->FindSender", error);
        return "";
    }
}

// A rule without a recipient condition (empty ToEmail) must match every item, and the query
// finds it through an empty entry of the recipient list: the set therefore always starts with the
// empty address. Each recipient reads as "Name <address>"; what is between the brackets is kept,
// in lower case, when it is a plain address.
void classCorvel::GetRecipients(const clsMailItem& item, clsRecipientSet& recipients) {
    const std::string prefix = "Corvel->GetRecipients: ";
    try {
        recipients.Add("");
        std::vector<std::string> entries;
        for (const clsMailAddress& address : item.RecipientAddresses()) {
            entries.push_back(address.Address.empty()
                                  ? address.Name
                                  : address.Name + " <" + address.Address + ">");
        }
        mLog->AddLog(prefix + std::to_string(entries.size()) + " recipients read");
        mLog->AddLog(prefix + "array lbound=0");
        mLog->AddLog(prefix +
                     "array ubound=" + std::to_string(static_cast<long>(entries.size()) - 1));
        for (const std::string& entry : entries) {
            const size_t open = entry.rfind('<');
            const size_t close = open == std::string::npos ? open : entry.find('>', open);
            const std::string address = close == std::string::npos
                                            ? ""
                                            : AsciiLower(entry.substr(open + 1, close - open - 1));
            if (clsQueryAddress::IsSafe(address)) {
                recipients.Add(address);
            } else {
                mLog->AddLog(prefix + "unexpected recipient = " + entry);
            }
        }
    } catch (const std::exception& error) {
        mLog->AddErrorLog("Corvel->GetRecipients", error);
    }
}

bool classCorvel::ProcessJunk(clsMailItem& item, bool force) {
    if ((!force && !mCheckJunk) || !mDatabase ||
        !mDatabase->ReadBooleanOption("Filters", "Junk List", false)) {
        return false;
    }
    const std::string sender = FindSender(item);
    if (!IsJunkSender(sender)) {
        return false;
    }
    if (MoveItem(item, "Junk E-mail")) {
        mLog->AddLog("Corvel->ProcessJunk: Junk sender (" + sender + ") mail moved to Junk E-mail");
        return true;
    }
    mLog->AddLog("Corvel->Junk sender (" + sender + "): the mail could not be moved");
    return false;
}

// The blocked-sender statements put the address between double quotes without escaping it, so
// only a plain address may reach them: anything else is refused before any SQL is made.
bool classCorvel::IsJunkSender(std::string_view address) {
    if (address.empty() || !clsQueryAddress::IsSafe(address) || !mDatabase) {
        return false;
    }
    const auto rs =
        mDatabase->GetRS("SELECT EmailAddress FROM [Spam Senders] WHERE EmailAddress=\"" +
                         std::string(address) + "\"");
    return rs && !rs->Eof();
}

bool classCorvel::IsJunkSenderMsg(const clsMailItem& item) {
    return IsJunkSender(FindSender(item));
}

void classCorvel::AddJunkSender(const clsMailItem& item) {
    const std::string sender(Trimmed(FindSender(item), " "));
    if (sender.empty()) {
        mLog->AddLog("Couldn't determine the sender of the email.  Cannot add to Junk list.");
        return;
    }
    AddJunkSenderEmail(sender);
}

void classCorvel::RemoveJunkSender(const clsMailItem& item) {
    const std::string sender(Trimmed(FindSender(item), " "));
    if (sender.empty()) {
        mLog->AddLog(
            "Corvel->RemoveJunkSender: Couldn't determine the sender of the email.  Cannot remove "
            "from Junk list.");
        return;
    }
    RemoveJunkSenderEmail(sender);
}

bool classCorvel::AddJunkSenderEmail(std::string_view address) {
    return RunSenderCommand(
        "Corvel->AddJunkSenderEmail", address,
        "INSERT INTO [Spam Senders] (EmailAddress) VALUES (\"" + std::string(address) + "\");");
}

bool classCorvel::RemoveJunkSenderEmail(std::string_view address) {
    return RunSenderCommand(
        "Corvel->RemoveJunkSenderEmail", address,
        "DELETE FROM [Spam Senders] WHERE EmailAddress=\"" + std::string(address) + "\";");
}

bool classCorvel::RunSenderCommand(std::string_view routine, std::string_view address,
                                   const std::string& sql) {
    if (!clsQueryAddress::IsSafe(address)) {
        mLog->AddLog(std::string(routine) + ": not a plain address, nothing stored");
        return false;
    }
    long affected = 0;
    return mDatabase && mDatabase->RunCommand(sql, affected);
}
