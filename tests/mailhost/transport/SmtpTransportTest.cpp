#include <gtest/gtest.h>

#include <chrono>
#include <functional>

#include "mailhost/mime/clsMessageComposer.h"
#include "mailhost/mime/clsMimeMessage.h"
#include "mailhost/transport/SmtpReceiverPeer.h"
#include "mailhost/transport/clsMailTransport.h"

namespace {

using namespace std::chrono_literals;

constexpr const char* kUser = "corvel";
constexpr const char* kPassword = "s3cret pass";

clsTransportSettings SettingsFor(const clsSmtpReceiverPeer& peer, const std::string& scheme) {
    clsTransportSettings settings;
    settings.Url = peer.Url(scheme);
    settings.User = kUser;
    settings.PasswordCommand = std::string("printf '%s\\n' '") + kPassword + "'";
    settings.CaFile = clsTestCertificate::Shared().Certificate.string();
    settings.Timeout = 10s;
    return settings;
}

clsStatus SendWith(const clsTransportSettings& settings, const std::string& message,
                   const std::vector<std::string>& recipients) {
    clsStatus made = clsStatus::Ok();
    const std::unique_ptr<clsMailTransport> transport = MakeMailTransport(settings, made);
    if (!transport) {
        return made;
    }
    return transport->Send(message, "sender@example.org", recipients);
}

bool EveryLineEndsInCrlf(const std::string& bytes) {
    for (size_t at = bytes.find('\n'); at != std::string::npos; at = bytes.find('\n', at + 1)) {
        if (at == 0 || bytes[at - 1] != '\r') {
            return false;
        }
    }
    return bytes.size() >= 2 && bytes.compare(bytes.size() - 2, 2, "\r\n") == 0;
}

std::string HeaderBlock(const std::string& bytes) {
    return bytes.substr(0, bytes.find("\r\n\r\n"));
}

clsOutgoingMessage NewMessage() {
    clsOutgoingMessage message;
    message.From = {"Jörg Müller", "sender@example.org", RecipientKind::To};
    message.Recipients = {{"Ann", "ann@example.org", RecipientKind::To},
                          {"Bea", "bea@example.org", RecipientKind::Cc},
                          {"Hidden", "hidden@example.org", RecipientKind::Bcc}};
    message.Subject = "Grüße aus Köln – über SMTP";
    // A line with a lone dot and lines starting with dots: SMTP stuffs them and must undo it.
    message.Body = "Hallo Ann,\nschöne Grüße.\n.\n..two dots\n.one dot\nEnde\n";
    return message;
}

bool WaitedLessThan(std::chrono::steady_clock::time_point start, std::chrono::milliseconds limit) {
    return std::chrono::steady_clock::now() - start < limit;
}

}  // namespace

TEST(SmtpTransport, ComposedMessageArrivesIntactOverStartTlsAndImplicitTls) {
    ASSERT_TRUE(clsTestCertificate::Shared().Made);
    const std::string composed = clsMessageComposer::Compose(NewMessage());
    ASSERT_FALSE(composed.empty());
    for (const std::string scheme : {"smtp", "smtps"}) {
        SCOPED_TRACE(scheme);
        clsSmtpReceiverPeer peer({scheme == "smtp" ? "starttls" : "smtps", kUser, kPassword, {}});
        ASSERT_NE(peer.Port(), 0);

        const clsStatus status =
            SendWith(SettingsFor(peer, scheme), composed,
                     {"ann@example.org", "bea@example.org", "hidden@example.org"});

        ASSERT_TRUE(status.IsOk()) << status.Description();
        const std::vector<clsReceivedMessage> received = peer.Received();
        ASSERT_EQ(received.size(), 1u);
        EXPECT_EQ(received[0].Bytes, composed);
        EXPECT_TRUE(EveryLineEndsInCrlf(received[0].Bytes));
        EXPECT_EQ(received[0].Envelope,
                  (std::vector<std::string>{"sender@example.org", "ann@example.org",
                                            "bea@example.org", "hidden@example.org"}));
        EXPECT_EQ(HeaderBlock(received[0].Bytes).find("hidden@example.org"), std::string::npos);
    }
}

TEST(SmtpTransport, ForwardArrivesWithTheOriginalAttachedByteForByte) {
    ASSERT_TRUE(clsTestCertificate::Shared().Made);
    clsSmtpReceiverPeer peer({"starttls", kUser, kPassword, {}});
    ASSERT_NE(peer.Port(), 0);
    // Its epilogue is what GMime's own re-serialisation of a parsed message gets wrong.
    const std::string original =
        "From: Carl <carl@example.net>\r\nSubject: =?utf-8?q?Pr=C3=BCfung?=\r\n"
        "Content-Type: multipart/mixed; boundary=\"XX\"\r\n\r\npreamble\r\n--XX\r\n"
        "Content-Type: text/plain\r\n\r\n.starts with a dot\r\n--XX--\r\n\r\n";
    const std::string forward =
        clsMessageComposer::Forward(original, {"", "sender@example.org", RecipientKind::To},
                                    {{"", "ann@example.org", RecipientKind::To}}, "See below.");

    const clsStatus status = SendWith(SettingsFor(peer, "smtp"), forward, {"ann@example.org"});

    ASSERT_TRUE(status.IsOk()) << status.Description();
    const std::vector<clsReceivedMessage> received = peer.Received();
    ASSERT_EQ(received.size(), 1u);
    const std::string& bytes = received[0].Bytes;
    EXPECT_EQ(bytes, forward);
    const size_t part = bytes.find("Content-Type: message/rfc822\r\n");
    ASSERT_NE(part, std::string::npos);
    const size_t start = bytes.find("\r\n\r\n", part) + 4;
    EXPECT_EQ(bytes.compare(start, original.size(), original), 0);
    EXPECT_EQ(bytes.compare(start + original.size(), 4, "\r\n--"), 0);
    EXPECT_EQ(clsMimeMessage::Parse(bytes).Subject(), "Fw: Prüfung");
}

TEST(SmtpTransport, FailuresAreReportedQuicklyAndNothingIsDelivered) {
    ASSERT_TRUE(clsTestCertificate::Shared().Made);
    struct Case {
        const char* Name;
        clsSmtpReceiverPeer::clsOptions Peer;
        std::function<void(clsTransportSettings&)> Change;
        clsStatus::Code Code;
        const char* Says;
    };
    const Case cases[] = {
        {"wrong password",
         {"starttls", kUser, kPassword, {}},
         [](clsTransportSettings& s) { s.PasswordCommand = "echo wrong"; },
         clsStatus::Code::Denied,
         "authentication failed"},
        {"no STARTTLS but TLS required",
         {"none", "", "", {}},
         [](clsTransportSettings& s) { s.User.clear(); },
         clsStatus::Code::Denied,
         "offers no STARTTLS"},
        {"certificate not trusted",
         {"starttls", kUser, kPassword, {}},
         [](clsTransportSettings& s) { s.CaFile = "/etc/ssl/certs/ca-certificates.crt"; },
         clsStatus::Code::Denied,
         "certificate is not trusted"},
        {"password command fails",
         {"starttls", kUser, kPassword, {}},
         [](clsTransportSettings& s) { s.PasswordCommand = "exit 4"; },
         clsStatus::Code::Io,
         "password command failed with exit status 4"},
        {"every recipient refused",
         {"starttls", kUser, kPassword, {"ann@example.org"}},
         [](clsTransportSettings&) {},
         clsStatus::Code::Io,
         "550 5.1.1 No such user here"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.Name);
        clsSmtpReceiverPeer peer(c.Peer);
        ASSERT_NE(peer.Port(), 0);
        clsTransportSettings settings = SettingsFor(peer, "smtp");
        c.Change(settings);
        const auto start = std::chrono::steady_clock::now();

        const clsStatus status = SendWith(settings, "Subject: x\r\n\r\nx\r\n", {"ann@example.org"});

        EXPECT_TRUE(WaitedLessThan(start, 5s));
        EXPECT_EQ(status.GetCode(), c.Code);
        EXPECT_NE(status.Description().find(c.Says), std::string::npos) << status.Description();
        EXPECT_EQ(status.Description().find(kPassword), std::string::npos);
        EXPECT_TRUE(peer.Received().empty());
    }
}

TEST(SmtpTransport, ServerThatNeverAnswersTimesOutWithinTheTimeout) {
    clsSilentServer server;
    ASSERT_NE(server.Port(), 0);
    clsTransportSettings settings;
    settings.Url = "smtp://127.0.0.1:" + std::to_string(server.Port());
    settings.Timeout = 2s;
    const auto start = std::chrono::steady_clock::now();

    const clsStatus status = SendWith(settings, "Subject: x\r\n\r\nx\r\n", {"ann@example.org"});

    EXPECT_TRUE(WaitedLessThan(start, 2500ms));
    EXPECT_EQ(status.GetCode(), clsStatus::Code::Temporary);
    EXPECT_NE(status.Description().find("timed out"), std::string::npos) << status.Description();
}

TEST(SmtpTransport, OneRefusedRecipientDoesNotStopTheOthers) {
    ASSERT_TRUE(clsTestCertificate::Shared().Made);
    clsSmtpReceiverPeer peer({"starttls", kUser, kPassword, {"nobody@example.org"}});
    ASSERT_NE(peer.Port(), 0);
    clsStatus made = clsStatus::Ok();
    const std::unique_ptr<clsMailTransport> transport =
        MakeMailTransport(SettingsFor(peer, "smtp"), made);
    ASSERT_TRUE(transport);

    const clsStatus status =
        transport->Send("Subject: x\r\n\r\nx\r\n", "sender@example.org",
                        {"ann@example.org", "nobody@example.org", "bea@example.org"});

    ASSERT_TRUE(status.IsOk()) << status.Description();
    EXPECT_EQ(transport->RejectedRecipients(), std::vector<std::string>{"nobody@example.org"});
    const std::vector<clsReceivedMessage> received = peer.Received();
    ASSERT_EQ(received.size(), 1u);
    EXPECT_EQ(
        received[0].Envelope,
        (std::vector<std::string>{"sender@example.org", "ann@example.org", "bea@example.org"}));
}

TEST(SmtpTransport, SendsInTheClearOnlyWhenTlsIsNotRequired) {
    clsSmtpReceiverPeer peer({"none", "", "", {}});
    ASSERT_NE(peer.Port(), 0);
    clsTransportSettings settings;
    settings.Url = peer.Url("smtp");
    settings.RequireTls = false;

    const clsStatus status = SendWith(settings, "Subject: x\r\n\r\nx\r\n", {"ann@example.org"});

    ASSERT_TRUE(status.IsOk()) << status.Description();
    EXPECT_EQ(peer.Received().size(), 1u);
}
