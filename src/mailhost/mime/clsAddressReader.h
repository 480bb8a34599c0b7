#pragma once
// clsAddressReader: turns GMime's parsed address lists into clsMailAddress values that are safe to
// pass on: groups flattened into their members, names decoded to UTF-8 with control characters
// removed, addresses stripped of control characters and kept only when what remains is a
// plausible addr-spec ("local@domain"); otherwise Address is "" rather than garbage.
// Stateless; any thread once clsMimeMessage::Initialise() ran. Never throws but std::bad_alloc.

#include <gmime/gmime.h>

#include <string>
#include <string_view>
#include <vector>

#include "mailhost/clsMailTypes.h"

class clsAddressReader {
public:
    // Every mailbox of the list in order, group members in their group's place; entries with
    // neither a name nor an address are left out. list may be null.
    static std::vector<clsMailAddress> Mailboxes(InternetAddressList* list, RecipientKind kind);
    // The address with control characters and surrounding blanks removed, or "" when it is not a
    // plausible addr-spec: a dot-atom or quoted local part, "@", and a domain of dot-separated
    // labels or an address literal in brackets. Bytes above 0x7F count as letters (SMTPUTF8).
    static std::string CleanAddress(std::string_view address);
    // The name with each run of control characters turned into a space, blanks trimmed, as valid
    // UTF-8.
    static std::string CleanName(std::string_view name);

private:
    static bool IsPlausibleLocalPart(std::string_view local);
    static bool IsPlausibleDomain(std::string_view domain);
    static clsMailAddress FromMailbox(InternetAddress* mailbox, RecipientKind kind);
};
