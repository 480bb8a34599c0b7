#pragma once
// clsSmtpTransport: SMTP submission with libcurl. "smtp://" upgrades with STARTTLS (required
// when RequireTls is set, tried otherwise), "smtps://" speaks TLS from the start; AUTH when a
// user is set, with the password read from the password command at each send and wiped after.
// One bad recipient does not stop the others: the refused ones are listed by
// RejectedRecipients(). Connecting, each server reply and any stall are bounded by Timeout.
// Event-loop thread only; Send blocks until the server has taken the message or refused it.
// Never throws: failures come back as a clsStatus that names the server and says what to check.

#include <string>
#include <string_view>
#include <vector>

#include "mailhost/transport/clsMailTransport.h"

class clsSmtpTransport final : public clsMailTransport {
public:
    explicit clsSmtpTransport(clsTransportSettings settings);

    clsStatus Send(std::string_view message, std::string_view envelopeFrom,
                   const std::vector<std::string>& recipients) override;
    std::vector<std::string> RejectedRecipients() const override { return mRejected; }

private:
    clsStatus Transfer(std::string_view message, std::string_view envelopeFrom,
                       const std::vector<std::string>& recipients, const std::string& password);
    // "SMTP smtp://host:port: " with any user name or password in the URL left out.
    std::string Where() const;

    clsTransportSettings mSettings;
    std::vector<std::string> mRejected;
};
