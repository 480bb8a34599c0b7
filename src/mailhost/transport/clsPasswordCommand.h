#pragma once
// clsPasswordCommand: gets a password from the user's own command ("pass show mail", "secret-tool
// lookup ...") instead of keeping it in the settings: the command runs with /bin/sh -c, and the
// first line of its output is the password. The password never appears in a status description
// or log entry, and the command's text does not either (it may hold a secret of its own).
// Any thread; blocks for at most the time-out. Never throws.

#include <chrono>
#include <string>

#include "foundation/clsStatus.h"

class clsPasswordCommand {
public:
    static constexpr std::chrono::milliseconds kDefaultTimeout{10000};

    explicit clsPasswordCommand(std::string command,
                                std::chrono::milliseconds timeout = kDefaultTimeout);

    // Runs the command; on success password holds the first line of its output without the line
    // end. A command that exits non-zero, is killed, prints nothing or takes too long fails with
    // a description that says so (and quotes the first line of its stderr).
    clsStatus Read(std::string& password) const;

    // Overwrites the text's bytes before it is cleared, so a password does not linger in memory.
    static void Wipe(std::string& text);

private:
    std::string mCommand;
    std::chrono::milliseconds mTimeout;
};
