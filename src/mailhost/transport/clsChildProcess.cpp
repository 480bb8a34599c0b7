#include "mailhost/transport/clsChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <thread>
#include <utility>

namespace {

using Clock = std::chrono::steady_clock;

class clsDescriptor {
public:
    clsDescriptor() = default;
    explicit clsDescriptor(int fd) : mFd(fd) {}
    ~clsDescriptor() { Close(); }
    clsDescriptor(const clsDescriptor&) = delete;
    clsDescriptor& operator=(const clsDescriptor&) = delete;
    clsDescriptor& operator=(clsDescriptor&& other) noexcept {
        Close();
        mFd = std::exchange(other.mFd, -1);
        return *this;
    }
    int Get() const { return mFd; }
    bool IsOpen() const { return mFd >= 0; }
    void Close() {
        if (mFd >= 0) {
            ::close(mFd);
            mFd = -1;
        }
    }

private:
    int mFd = -1;
};

// Both ends of the child's three standard streams. stdin is a socket pair rather than a pipe so
// that writing to a child that stopped reading gives EPIPE (MSG_NOSIGNAL) instead of SIGPIPE.
struct clsChannels {
    clsDescriptor Input, ChildInput, Output, ChildOutput, Errors, ChildErrors;
};

clsStatus SystemError(std::string_view what, int error) {
    return clsStatus::Error(clsStatus::Code::Io, std::string(what) + ": " + std::strerror(error),
                            error);
}

clsStatus OpenChannels(clsChannels& channels) {
    int input[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, input) != 0) {
        return SystemError("cannot make a socket pair", errno);
    }
    channels.Input = clsDescriptor(input[0]);
    channels.ChildInput = clsDescriptor(input[1]);
    int output[2];
    int errors[2];
    if (::pipe2(output, O_CLOEXEC) != 0) {
        return SystemError("cannot make a pipe", errno);
    }
    channels.Output = clsDescriptor(output[0]);
    channels.ChildOutput = clsDescriptor(output[1]);
    if (::pipe2(errors, O_CLOEXEC) != 0) {
        return SystemError("cannot make a pipe", errno);
    }
    channels.Errors = clsDescriptor(errors[0]);
    channels.ChildErrors = clsDescriptor(errors[1]);
    return clsStatus::Ok();
}

// The child gets its streams, an empty signal mask, default handling of the signals a daemon
// commonly ignores, and a process group of its own.
int Spawn(const std::vector<std::string>& argv, const clsChannels& channels, pid_t& pid) {
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
    posix_spawn_file_actions_adddup2(&actions, channels.ChildInput.Get(), STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, channels.ChildOutput.Get(), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, channels.ChildErrors.Get(), STDERR_FILENO);
    sigset_t noSignals;
    sigset_t defaults;
    sigemptyset(&noSignals);
    sigemptyset(&defaults);
    for (int signalNumber : {SIGPIPE, SIGHUP, SIGINT, SIGTERM, SIGCHLD}) {
        sigaddset(&defaults, signalNumber);
    }
    posix_spawnattr_setsigmask(&attributes, &noSignals);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(
        &attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
    std::vector<char*> arguments;
    for (const std::string& argument : argv) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    const int error =
        posix_spawn(&pid, argv[0].c_str(), &actions, &attributes, arguments.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return error;
}

std::string Seconds(std::chrono::milliseconds timeout) {
    return timeout.count() % 1000 == 0 ? std::to_string(timeout.count() / 1000) + " s"
                                       : std::to_string(timeout.count()) + " ms";
}

void Record(int waitStatus, clsChildOutcome& outcome) {
    outcome.ExitStatus = WIFEXITED(waitStatus) ? WEXITSTATUS(waitStatus) : -1;
    outcome.Signal = WIFSIGNALED(waitStatus) ? WTERMSIG(waitStatus) : 0;
}

clsStatus KillOnTimeOut(pid_t pid, std::chrono::milliseconds timeout, clsChildOutcome& outcome) {
    ::kill(-pid, SIGKILL);
    int waitStatus = 0;
    while (::waitpid(pid, &waitStatus, 0) < 0 && errno == EINTR) {
    }
    Record(waitStatus, outcome);
    return clsStatus::Error(clsStatus::Code::Temporary,
                            "did not finish within " + Seconds(timeout) + " and was stopped");
}

// Keeps feeding while input is left and the child still reads it.
bool Feed(int fd, std::string_view input, size_t& written) {
    const size_t chunk = std::min<size_t>(input.size() - written, 64 * 1024);
    const ssize_t sent = ::send(fd, input.data() + written, chunk, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent < 0) {
        return errno == EINTR || errno == EAGAIN;  // EPIPE: the child stopped reading
    }
    written += static_cast<size_t>(sent);
    return written < input.size();
}

// Keeps reading until end of file; what passes the limit is read and dropped.
bool Drain(int fd, std::string& sink) {
    char buffer[4096];
    const ssize_t got = ::read(fd, buffer, sizeof buffer);
    if (got < 0) {
        return errno == EINTR || errno == EAGAIN;
    }
    const size_t room =
        clsChildProcess::kOutputLimit - std::min(sink.size(), clsChildProcess::kOutputLimit);
    sink.append(buffer, std::min(room, static_cast<size_t>(got)));
    return got > 0;
}

// Writes the input and reads both outputs until the child closes them; false on the deadline.
bool Exchange(clsChannels& channels, std::string_view input, Clock::time_point deadline,
              clsChildOutcome& outcome) {
    size_t written = 0;
    if (input.empty()) {
        channels.Input.Close();
    }
    while (channels.Output.IsOpen() || channels.Errors.IsOpen()) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0) {
            return false;
        }
        pollfd watched[] = {{channels.Input.Get(), POLLOUT, 0},
                            {channels.Output.Get(), POLLIN, 0},
                            {channels.Errors.Get(), POLLIN, 0}};
        if (::poll(watched, 3, static_cast<int>(left.count())) < 0 && errno != EINTR) {
            return false;
        }
        if (watched[0].revents != 0 && !Feed(channels.Input.Get(), input, written)) {
            channels.Input.Close();
        }
        if (watched[1].revents != 0 && !Drain(channels.Output.Get(), outcome.Output)) {
            channels.Output.Close();
        }
        if (watched[2].revents != 0 && !Drain(channels.Errors.Get(), outcome.Errors)) {
            channels.Errors.Close();
        }
    }
    return true;
}

// Waits for the child's end; false on the deadline.
bool Reap(pid_t pid, Clock::time_point deadline, clsChildOutcome& outcome) {
    for (;;) {
        int waitStatus = 0;
        const pid_t done = ::waitpid(pid, &waitStatus, WNOHANG);
        if (done == pid) {
            Record(waitStatus, outcome);
            return true;
        }
        if ((done < 0 && errno != EINTR) || Clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

}  // namespace

clsStatus clsChildProcess::Run(const std::vector<std::string>& argv, std::string_view input,
                               std::chrono::milliseconds timeout, clsChildOutcome& outcome) {
    outcome = clsChildOutcome{};
    if (argv.empty() || argv[0].empty() || argv[0].front() != '/') {
        return clsStatus::Error(clsStatus::Code::Invalid, "the program needs an absolute path");
    }
    clsChannels channels;
    clsStatus status = OpenChannels(channels);
    if (!status.IsOk()) {
        return status;
    }
    pid_t pid = 0;
    if (const int error = Spawn(argv, channels, pid); error != 0) {
        return SystemError("cannot start " + argv[0], error);
    }
    channels.ChildInput.Close();
    channels.ChildOutput.Close();
    channels.ChildErrors.Close();
    const Clock::time_point deadline = Clock::now() + timeout;
    if (!Exchange(channels, input, deadline, outcome) || !Reap(pid, deadline, outcome)) {
        return KillOnTimeOut(pid, timeout, outcome);
    }
    return clsStatus::Ok();
}

std::string clsChildProcess::FirstLine(std::string_view text) {
    std::string line;
    for (const char c : text.substr(0, text.find('\n'))) {
        if (static_cast<unsigned char>(c) >= 0x20 && c != 0x7f) {
            line += c;
        }
    }
    return line.size() > 200 ? line.substr(0, 200) : line;
}
