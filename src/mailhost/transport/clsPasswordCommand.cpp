#include "mailhost/transport/clsPasswordCommand.h"

#include <string.h>

#include <utility>

#include "mailhost/transport/clsChildProcess.h"

namespace {

clsStatus Failed(clsStatus::Code code, const std::string& detail, const std::string& errors) {
    const std::string firstLine = clsChildProcess::FirstLine(errors);
    return clsStatus::Error(code, "the password command " + detail +
                                      (firstLine.empty() ? "" : " (it said: " + firstLine + ")"));
}

}  // namespace

clsPasswordCommand::clsPasswordCommand(std::string command, std::chrono::milliseconds timeout)
    : mCommand(std::move(command)), mTimeout(timeout) {}

clsStatus clsPasswordCommand::Read(std::string& password) const {
    Wipe(password);
    if (mCommand.empty()) {
        return clsStatus::Error(clsStatus::Code::Invalid, "no password command is set");
    }
    clsChildOutcome outcome;
    clsStatus status = clsChildProcess::Run({"/bin/sh", "-c", mCommand}, {}, mTimeout, outcome);
    std::string& output = outcome.Output;
    const size_t lineEnd = output.find_first_of("\r\n");
    if (status.IsOk() && outcome.ExitStatus == 0 && lineEnd != 0 && !output.empty()) {
        password.assign(output, 0, lineEnd);
        Wipe(output);
        return clsStatus::Ok();
    }
    Wipe(output);
    if (!status.IsOk()) {
        return Failed(status.GetCode(), status.Description(), outcome.Errors);
    }
    if (outcome.Signal != 0) {
        return Failed(clsStatus::Code::Io, "was killed by signal " + std::to_string(outcome.Signal),
                      outcome.Errors);
    }
    if (outcome.ExitStatus != 0) {
        return Failed(clsStatus::Code::Io,
                      "failed with exit status " + std::to_string(outcome.ExitStatus),
                      outcome.Errors);
    }
    return Failed(clsStatus::Code::NotFound, "printed no password on its first line",
                  outcome.Errors);
}

void clsPasswordCommand::Wipe(std::string& text) {
    explicit_bzero(text.data(), text.size());
    text.clear();
}
