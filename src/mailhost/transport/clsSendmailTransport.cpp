#include "mailhost/transport/clsSendmailTransport.h"

#include <sysexits.h>

#include <exception>
#include <utility>

#include "mailhost/transport/clsChildProcess.h"

namespace {

// CRLF to LF: the sendmail interface reads local text and writes the line ends of the wire.
std::string WithLocalLineEnds(std::string_view message) {
    std::string local;
    local.reserve(message.size());
    for (size_t at = 0; at < message.size(); ++at) {
        if (!(message[at] == '\r' && at + 1 < message.size() && message[at + 1] == '\n')) {
            local += message[at];
        }
    }
    return local;
}

clsStatus ExitFailure(const clsChildOutcome& outcome) {
    const std::string said = clsChildProcess::FirstLine(outcome.Errors);
    const std::string how = outcome.Signal != 0
                                ? "was killed by signal " + std::to_string(outcome.Signal)
                                : "exited with status " + std::to_string(outcome.ExitStatus);
    // EX_TEMPFAIL: the mail system asks to be tried again later.
    const clsStatus::Code code =
        outcome.ExitStatus == EX_TEMPFAIL ? clsStatus::Code::Temporary : clsStatus::Code::Io;
    return clsStatus::Error(code, how + (said.empty() ? "" : ": " + said),
                            outcome.ExitStatus > 0 ? outcome.ExitStatus : 0);
}

}  // namespace

clsSendmailTransport::clsSendmailTransport(std::string program, std::chrono::milliseconds timeout)
    : mProgram(std::move(program)), mTimeout(timeout) {}

clsStatus clsSendmailTransport::Send(std::string_view message, std::string_view envelopeFrom,
                                     const std::vector<std::string>& recipients) {
    try {
        clsStatus status = CheckEnvelope(envelopeFrom, recipients);
        if (status.IsOk()) {
            status = Run(message, envelopeFrom, recipients);
        }
        return status.IsOk()
                   ? std::move(status)
                   : clsStatus::Error(status.GetCode(),
                                      "sendmail " + mProgram + ": " + status.Description(),
                                      status.Number());
    } catch (const std::exception& error) {  // only allocation failures reach here
        return clsStatus::Error(clsStatus::Code::Io, "sendmail " + mProgram + ": " + error.what());
    }
}

clsStatus clsSendmailTransport::Run(std::string_view message, std::string_view envelopeFrom,
                                    const std::vector<std::string>& recipients) const {
    // -i: a line with a lone dot is text, not the end; "--": no recipient is read as an option.
    std::vector<std::string> argv = {mProgram, "-i", "-f",
                                     envelopeFrom.empty() ? "<>" : std::string(envelopeFrom), "--"};
    argv.insert(argv.end(), recipients.begin(), recipients.end());
    clsChildOutcome outcome;
    clsStatus status = clsChildProcess::Run(argv, WithLocalLineEnds(message), mTimeout, outcome);
    if (status.IsOk() && outcome.ExitStatus != 0) {
        return ExitFailure(outcome);
    }
    return status;
}
