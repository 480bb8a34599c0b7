#pragma once
// clsMessageComposer: builds outgoing messages as RFC 5322 bytes with CRLF line ends: a new
// message from its fields, and a forward of an existing message. Header texts that are not ASCII
// are RFC 2047 encoded; bodies are UTF-8, quoted-printable when needed. Never throws.

#include <string>
#include <string_view>
#include <vector>

#include "mailhost/clsMailTypes.h"

struct clsOutgoingMessage {
    clsMailAddress From;
    std::vector<clsMailAddress> Recipients;  // To, Cc and Bcc by their Kind; Bcc is not written
    std::string Subject;
    std::string Body;      // plain text
    std::string HTMLBody;  // optional: with it the message is multipart/alternative
    Importance ItemImportance = Importance::Normal;
    std::vector<std::pair<std::string, std::string>> ExtraHeaders;  // written as given
};

class clsMessageComposer {
public:
    // Date, Message-ID (@ the From domain), MIME-Version are added.
    static std::string Compose(const clsOutgoingMessage& message);
    // A forward: "Fw: " + the original subject unless it already begins so; the note as the
    // plain text, then the original attached whole as message/rfc822.
    static std::string Forward(std::string_view originalMessage, const clsMailAddress& from,
                               const std::vector<clsMailAddress>& to, std::string_view note);
};
