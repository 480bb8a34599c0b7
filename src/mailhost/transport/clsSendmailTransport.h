#pragma once
// clsSendmailTransport: hands a message to the local mail system through its sendmail program
// ("sendmail -i -f FROM -- RCPT..."), started without a shell, the message on its stdin with the
// local LF line ends that every sendmail expects. Success is exit status 0; the whole hand-over
// is bounded by the time-out, after which the program is killed.
// Event-loop thread only; Send blocks until sendmail ends. Never throws: failures come back as a
// clsStatus with the exit status and the first line sendmail wrote to stderr.

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "mailhost/transport/clsMailTransport.h"

class clsSendmailTransport final : public clsMailTransport {
public:
    static constexpr std::string_view kDefaultProgram = "/usr/sbin/sendmail";

    // program: an absolute path.
    clsSendmailTransport(std::string program, std::chrono::milliseconds timeout);

    clsStatus Send(std::string_view message, std::string_view envelopeFrom,
                   const std::vector<std::string>& recipients) override;

private:
    clsStatus Run(std::string_view message, std::string_view envelopeFrom,
                  const std::vector<std::string>& recipients) const;

    std::string mProgram;
    std::chrono::milliseconds mTimeout;
};
