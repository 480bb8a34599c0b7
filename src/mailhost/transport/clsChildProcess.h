#pragma once
// clsChildProcess: runs one program to completion without a shell: posix_spawn of an absolute
// path, the input written to its stdin, stdout and stderr collected, all within a time-out. The
// child runs in a process group of its own, so a time-out kills whatever it started too. Used
// by the sendmail transport and the password command.
// Any thread; blocks the caller until the child ends or the time-out passes. Never throws:
// failures to start and time-outs come back as a clsStatus.

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/clsStatus.h"

struct clsChildOutcome {
    int ExitStatus = -1;  // the child's exit code; -1 when a signal ended it
    int Signal = 0;       // the signal that ended it, 0 when it exited
    std::string Output;   // stdout, at most kOutputLimit bytes
    std::string Errors;   // stderr, at most kOutputLimit bytes
};

class clsChildProcess {
public:
    static constexpr size_t kOutputLimit = 64 * 1024;

    // argv[0] is the program's absolute path. Ok when the child ran and ended (whatever its exit
    // status); Io when it could not start; Temporary when it did not end within timeout (it and
    // its process group are killed).
    static clsStatus Run(const std::vector<std::string>& argv, std::string_view input,
                         std::chrono::milliseconds timeout, clsChildOutcome& outcome);

    // The first line of a child's stderr, without control characters and at most 200 bytes:
    // enough to say what went wrong in a status description.
    static std::string FirstLine(std::string_view text);
};
