#pragma once
// Test peers for the SMTP transport: a self-signed certificate for 127.0.0.1 made with openssl,
// the aiosmtpd receiver of tests/peers/smtp_receiver.py run as a child process (killed when the
// object goes), and a listening socket that never answers.

#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "mailhost/transport/clsChildProcess.h"
#include "support/TestSupport.h"

// A key and a certificate for IP 127.0.0.1 and DNS localhost, made once per test run.
struct clsTestCertificate {
    clsTempFolder Folder;
    std::filesystem::path Certificate = Folder.Path() / "cert.pem";
    std::filesystem::path Key = Folder.Path() / "key.pem";
    bool Made = false;

    clsTestCertificate() {
        clsChildOutcome outcome;
        const clsStatus status = clsChildProcess::Run(
            {"/usr/bin/openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt",
             "ec_paramgen_curve:prime256v1", "-nodes", "-days", "2", "-subj", "/CN=localhost",
             "-addext", "subjectAltName=IP:127.0.0.1,DNS:localhost", "-keyout", Key.string(),
             "-out", Certificate.string()},
            {}, std::chrono::seconds(30), outcome);
        Made = status.IsOk() && outcome.ExitStatus == 0;
    }

    static const clsTestCertificate& Shared() {
        static const clsTestCertificate certificate;
        return certificate;
    }
};

struct clsReceivedMessage {
    std::string Bytes;                  // the DATA bytes as the server took them
    std::vector<std::string> Envelope;  // MAIL FROM, then each accepted RCPT TO
};

class clsSmtpReceiverPeer {
public:
    struct clsOptions {
        std::string Tls = "starttls";  // "none", "starttls" or "smtps"
        std::string User;              // empty: no AUTH
        std::string Password;
        std::vector<std::string> Rejected;  // recipients refused with 550
    };

    explicit clsSmtpReceiverPeer(const clsOptions& options) {
        const clsTestCertificate& certificate = clsTestCertificate::Shared();
        std::vector<std::string> argv = {
            "/usr/bin/python3",
            std::string(CORVEL_FIXTURES) + "/../peers/smtp_receiver.py",
            "--folder",
            mFolder.Path().string(),
            "--tls",
            options.Tls,
            "--cert",
            certificate.Certificate.string(),
            "--key",
            certificate.Key.string()};
        if (!options.User.empty()) {
            argv.insert(argv.end(), {"--user", options.User, "--password", options.Password});
        }
        for (const std::string& rejected : options.Rejected) {
            argv.insert(argv.end(), {"--reject", rejected});
        }
        Start(argv);
    }
    ~clsSmtpReceiverPeer() {
        if (mPid > 0) {
            ::kill(mPid, SIGKILL);
            ::waitpid(mPid, nullptr, 0);
        }
    }
    clsSmtpReceiverPeer(const clsSmtpReceiverPeer&) = delete;
    clsSmtpReceiverPeer& operator=(const clsSmtpReceiverPeer&) = delete;

    // 0 when the receiver did not start.
    int Port() const { return mPort; }
    std::string Url(const std::string& scheme) const {
        return scheme + "://127.0.0.1:" + std::to_string(mPort);
    }

    // The messages received so far, in arrival order.
    std::vector<clsReceivedMessage> Received() const {
        std::vector<clsReceivedMessage> messages;
        for (int number = 1;; ++number) {
            const std::filesystem::path base = mFolder.Path() / std::to_string(number);
            if (!std::filesystem::exists(base.string() + ".eml")) {
                return messages;
            }
            messages.push_back(
                {ReadWholeFile(base.string() + ".eml"), ReadLines(base.string() + ".envelope")});
        }
    }

private:
    void Start(const std::vector<std::string>& argv) {
        int output[2];
        if (::pipe2(output, O_CLOEXEC) != 0) {
            return;
        }
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
        const std::string log = (mFolder.Path() / "receiver.log").string();
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, log.c_str(),
                                         O_WRONLY | O_CREAT | O_TRUNC, 0600);
        std::vector<char*> arguments;
        for (const std::string& argument : argv) {
            arguments.push_back(const_cast<char*>(argument.c_str()));
        }
        arguments.push_back(nullptr);
        if (posix_spawn(&mPid, argv[0].c_str(), &actions, nullptr, arguments.data(), environ) !=
            0) {
            mPid = 0;
        }
        posix_spawn_file_actions_destroy(&actions);
        ::close(output[1]);
        mPort = ReadPort(output[0]);
        ::close(output[0]);
    }

    // The first line the receiver prints, within 15 s.
    static int ReadPort(int fd) {
        std::string line;
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(15);
        while (line.find('\n') == std::string::npos &&
               std::chrono::steady_clock::now() < deadline) {
            pollfd watched{fd, POLLIN, 0};
            char buffer[64];
            ssize_t got = 0;
            if (::poll(&watched, 1, 100) > 0 && (got = ::read(fd, buffer, sizeof buffer)) <= 0) {
                break;
            }
            line.append(buffer, static_cast<size_t>(std::max<ssize_t>(got, 0)));
        }
        return line.find('\n') == std::string::npos ? 0 : std::stoi(line);
    }

    clsTempFolder mFolder;
    pid_t mPid = 0;
    int mPort = 0;
};

// A server that takes connections (the kernel completes them) and never says a word.
class clsSilentServer {
public:
    clsSilentServer() : mSocket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        auto* generic = reinterpret_cast<sockaddr*>(&address);
        if (::bind(mSocket, generic, length) == 0 && ::listen(mSocket, 8) == 0 &&
            ::getsockname(mSocket, generic, &length) == 0) {
            mPort = ntohs(address.sin_port);
        }
    }
    ~clsSilentServer() { ::close(mSocket); }
    clsSilentServer(const clsSilentServer&) = delete;
    clsSilentServer& operator=(const clsSilentServer&) = delete;

    int Port() const { return mPort; }

private:
    int mSocket;
    int mPort = 0;
};
