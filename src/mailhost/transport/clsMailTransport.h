#pragma once
// clsMailTransport: sends one finished message (RFC 5322 bytes with CRLF line ends) to its
// envelope recipients. Backends: SMTP submission (libcurl: STARTTLS, SMTPS, AUTH with a password
// from a command), a local sendmail, and the Outbox folder (handled by the mail host itself, so
// it has no transport object). Made by MakeMailTransport from a profile's settings.
// Event-loop thread only. Send never throws and never hangs: every network step has a time-out;
// failures come back as a clsStatus whose description says what to check.

#include <chrono>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/clsStatus.h"

struct clsTransportSettings {
    // "smtp://host[:port]" (STARTTLS when the server offers it; required with RequireTls),
    // "smtps://host[:port]", "sendmail[:/path/to/sendmail]", or "outbox" (the default).
    std::string Url = "outbox";
    std::string User;             // empty: no AUTH
    std::string PasswordCommand;  // run with /bin/sh -c; its first output line is the password
    bool RequireTls = true;       // smtp://: refuse to send in the clear
    std::string CaFile;           // extra CA bundle to trust (tests use a self-signed one); the
                                  // system's certificates stay trusted
    // Bounds each network step: connecting, each server reply, any stall in the transfer. The
    // whole send may take this plus one second per 64 KiB of message; sendmail gets this whole.
    std::chrono::seconds Timeout{30};
};

class clsMailTransport {
public:
    virtual ~clsMailTransport() = default;
    // envelopeFrom "" sends with the null return path (auto-replies). Ok when the message was
    // handed over for at least one recipient.
    virtual clsStatus Send(std::string_view message, std::string_view envelopeFrom,
                           const std::vector<std::string>& recipients) = 0;
    // The recipients the server refused in the last Send that still went to the others; a
    // sendmail reports such refusals by a bounce instead, so it has none.
    virtual std::vector<std::string> RejectedRecipients() const { return {}; }

protected:
    // Envelope addresses reach a protocol line or an argument list: Invalid for an empty list, an
    // empty recipient, or an address with blanks, control characters or angle brackets.
    static clsStatus CheckEnvelope(std::string_view envelopeFrom,
                                   const std::vector<std::string>& recipients);
};

// Nothing for "outbox" (the caller files the message in the Outbox); a transport otherwise;
// nothing with status set for a URL it cannot use.
std::unique_ptr<clsMailTransport> MakeMailTransport(const clsTransportSettings& settings,
                                                    clsStatus& status);
