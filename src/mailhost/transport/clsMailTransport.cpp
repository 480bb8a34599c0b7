#include "mailhost/transport/clsMailTransport.h"

#include <strings.h>

#include <algorithm>
#include <exception>

#include "mailhost/transport/clsChildProcess.h"
#include "mailhost/transport/clsSendmailTransport.h"
#include "mailhost/transport/clsSmtpTransport.h"

namespace {

bool SafeAddress(std::string_view address) {
    return std::none_of(address.begin(), address.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte <= 0x20 || byte == 0x7f || c == '<' || c == '>';
    });
}

bool StartsWithNoCase(std::string_view url, std::string_view prefix) {
    return url.size() >= prefix.size() &&
           ::strncasecmp(url.data(), prefix.data(), prefix.size()) == 0;
}

clsStatus Unusable(std::string detail) {
    return clsStatus::Error(clsStatus::Code::Invalid, "mail transport: " + std::move(detail));
}

std::unique_ptr<clsMailTransport> MakeSmtpTransport(const clsTransportSettings& settings,
                                                    clsStatus& status) {
    const size_t host = settings.Url.find("://") + 3;
    if (host >= settings.Url.size() || settings.Url[host] == '/' || settings.Url[host] == ':') {
        status = Unusable("\"" + settings.Url + "\" names no server");
        return nullptr;
    }
    if (!settings.User.empty() && settings.PasswordCommand.empty()) {
        status = Unusable("a user is set for " + settings.Url + " but no password command");
        return nullptr;
    }
    return std::make_unique<clsSmtpTransport>(settings);
}

std::unique_ptr<clsMailTransport> MakeSendmailTransport(const clsTransportSettings& settings,
                                                        clsStatus& status) {
    constexpr std::string_view kScheme = "sendmail";
    std::string program(clsSendmailTransport::kDefaultProgram);
    if (settings.Url.size() > kScheme.size()) {
        program = settings.Url.substr(kScheme.size() + 1);
    }
    if (settings.Url.size() > kScheme.size() &&
        (settings.Url[kScheme.size()] != ':' || program.empty() || program.front() != '/')) {
        status = Unusable("\"" + settings.Url + "\": give sendmail as sendmail:/absolute/path");
        return nullptr;
    }
    return std::make_unique<clsSendmailTransport>(program, settings.Timeout);
}

}  // namespace

clsStatus clsMailTransport::CheckEnvelope(std::string_view envelopeFrom,
                                          const std::vector<std::string>& recipients) {
    if (recipients.empty()) {
        return clsStatus::Error(clsStatus::Code::Invalid, "the message has no recipients");
    }
    if (!SafeAddress(envelopeFrom)) {
        return clsStatus::Error(clsStatus::Code::Invalid,
                                "the sender address is not usable in an envelope");
    }
    for (const std::string& recipient : recipients) {
        if (recipient.empty() || !SafeAddress(recipient)) {
            return clsStatus::Error(clsStatus::Code::Invalid,
                                    "the recipient address \"" +
                                        clsChildProcess::FirstLine(recipient) +
                                        "\" is not usable in an envelope");
        }
    }
    return clsStatus::Ok();
}

std::unique_ptr<clsMailTransport> MakeMailTransport(const clsTransportSettings& settings,
                                                    clsStatus& status) {
    status = clsStatus::Ok();
    try {
        if (settings.Timeout.count() <= 0) {
            status = Unusable("the time-out must be at least one second");
            return nullptr;
        }
        if (::strcasecmp(settings.Url.c_str(), "outbox") == 0) {
            return nullptr;
        }
        if (StartsWithNoCase(settings.Url, "smtp://") ||
            StartsWithNoCase(settings.Url, "smtps://")) {
            return MakeSmtpTransport(settings, status);
        }
        if (StartsWithNoCase(settings.Url, "sendmail")) {
            return MakeSendmailTransport(settings, status);
        }
        status = Unusable("\"" + settings.Url + "\" is not smtp://, smtps://, sendmail or outbox");
    } catch (const std::exception& error) {  // only allocation failures reach here
        status =
            clsStatus::Error(clsStatus::Code::Io, std::string("mail transport: ") + error.what());
    }
    return nullptr;
}
