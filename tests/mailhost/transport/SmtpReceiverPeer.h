#pragma once
// Test peers for the SMTP transport: a self-signed certificate for 127.0.0.1 made with openssl,
// the aiosmtpd receiver of tests/peers/smtp_receiver.py run as a child process (killed when the
// object goes) with the transport settings that reach it, and a listening socket that never
// answers.

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "mailhost/MailhostTestSupport.h"
#include "mailhost/clsMailNamespace.h"
#include "mailhost/transport/clsChildProcess.h"
#include "mailhost/transport/clsMailTransport.h"

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

    // The shell prints its own pid, which exec hands on to the receiver; the receiver then
    // prints its port.
    explicit clsSmtpReceiverPeer(const clsOptions& options) : mOptions(options) {
        const clsTestCertificate& certificate = clsTestCertificate::Shared();
        if (!certificate.Made) {
            return;  // Port() says 0
        }
        std::string command = "echo $$; exec /usr/bin/python3 " +
                              Quoted(CORVEL_FIXTURES "/../peers/smtp_receiver.py") + " --folder " +
                              Quoted(mFolder.Path()) + " --tls " + Quoted(options.Tls) +
                              " --cert " + Quoted(certificate.Certificate) + " --key " +
                              Quoted(certificate.Key);
        if (!options.User.empty()) {
            command +=
                " --user " + Quoted(options.User) + " --password " + Quoted(options.Password);
        }
        for (const std::string& rejected : options.Rejected) {
            command += " --reject " + Quoted(rejected);
        }
        mOutput =
            ::popen((command + " 2>" + Quoted(mFolder.Path() / "receiver.log")).c_str(), "re");
        if (mOutput == nullptr || std::fscanf(mOutput, "%d %d", &mPid, &mPort) != 2) {
            mPort = 0;
        }
    }
    ~clsSmtpReceiverPeer() {
        if (mPid > 0) {
            ::kill(mPid, SIGKILL);
        }
        if (mOutput != nullptr) {
            ::pclose(mOutput);
        }
    }
    clsSmtpReceiverPeer(const clsSmtpReceiverPeer&) = delete;
    clsSmtpReceiverPeer& operator=(const clsSmtpReceiverPeer&) = delete;

    // 0 when the receiver, or the certificate it needs, did not start.
    int Port() const { return mPort; }
    // Settings that reach this receiver: its user and password, its certificate trusted, TLS
    // required unless it offers none.
    clsTransportSettings Settings(const std::string& scheme = "smtp") const {
        return {scheme + "://127.0.0.1:" + std::to_string(mPort),  mOptions.User,
                "printf '%s\\n' " + Quoted(mOptions.Password),     mOptions.Tls != "none",
                clsTestCertificate::Shared().Certificate.string(), std::chrono::seconds(10)};
    }

    // The messages received so far, in arrival order.
    std::vector<clsReceivedMessage> Received() const {
        std::vector<clsReceivedMessage> messages;
        for (int number = 1;; ++number) {
            const std::string base = (mFolder.Path() / std::to_string(number)).string();
            if (!std::filesystem::exists(base + ".eml")) {
                return messages;
            }
            messages.push_back({ReadWholeFile(base + ".eml"), ReadLines(base + ".envelope")});
        }
    }

private:
    // Our own paths and test values hold no single quote.
    static std::string Quoted(const std::filesystem::path& text) {
        return "'" + text.string() + "'";
    }

    clsOptions mOptions;
    clsTempFolder mFolder;
    FILE* mOutput = nullptr;
    pid_t mPid = 0;
    int mPort = 0;
};

// Sends the namespace's mail from me@example.org with settings.
inline void SendThrough(clsMailNamespace& mapi, const clsTransportSettings& settings) {
    clsStatus status = clsStatus::Ok();
    auto transport = MakeMailTransport(settings, status);
    ASSERT_TRUE(transport) << status.Description();
    mapi.SetTransport(std::move(transport), {"Me", "me@example.org", RecipientKind::To});
}

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
