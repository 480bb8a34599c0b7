#include <gtest/gtest.h>

#include <chrono>
#include <functional>

#include "mailhost/mime/clsMessageComposer.h"
#include "mailhost/transport/SmtpReceiverPeer.h"
#include "mailhost/transport/clsMailTransport.h"

namespace {

using namespace std::chrono_literals;

constexpr const char* kUser = "corvel";
constexpr const char* kPassword = "s3cret pass";

std::vector<std::string> ComposedAndForward() {
    clsOutgoingMessage message;
    message.From = {"Jörg Müller", "sender@example.org", RecipientKind::To};
    message.Recipients = {{"Ann", "ann@example.org", RecipientKind::To}};
    message.Subject = "Grüße aus Köln – über SMTP";
    // A line with a lone dot and lines starting with dots: SMTP stuffs them and must undo it.
    message.Body = "Hallo Ann,\nschöne Grüße.\n.\n..two dots\n.one dot\nEnde\n";
    // Its epilogue is what GMime's own re-serialisation of a parsed message gets wrong.
    const std::string original =
        "From: Carl <carl@example.net>\r\nSubject: =?utf-8?q?Pr=C3=BCfung?=\r\n"
        "Content-Type: multipart/mixed; boundary=\"XX\"\r\n\r\npreamble\r\n--XX\r\n"
        "Content-Type: text/plain\r\n\r\n.starts with a dot\r\n--XX--\r\n\r\n";
    return {clsMessageComposer::Compose(message),
            clsMessageComposer::Forward(original, message.From, message.Recipients, "See below.")};
}

}  // namespace

// One refused recipient does not stop the others; the messages arrive byte for byte.
TEST(SmtpTransport, MessagesArriveByteForByteInEveryTlsMode) {
    const std::vector<std::string> messages = ComposedAndForward();
    for (const auto& [tls, scheme] :
         {std::pair{"starttls", "smtp"}, std::pair{"smtps", "smtps"}, std::pair{"none", "smtp"}}) {
        SCOPED_TRACE(tls);
        // In the clear only when TLS is not required, and so without AUTH.
        const bool clear = std::string(tls) == "none";
        clsSmtpReceiverPeer peer({tls, clear ? "" : kUser, kPassword, {"nobody@example.org"}});
        ASSERT_NE(peer.Port(), 0);
        clsStatus made = clsStatus::Ok();
        const std::unique_ptr<clsMailTransport> transport =
            MakeMailTransport(peer.Settings(scheme), made);
        ASSERT_TRUE(transport) << made.Description();

        for (const std::string& message : messages) {
            const clsStatus status =
                transport->Send(message, "sender@example.org",
                                {"ann@example.org", "nobody@example.org", "hidden@example.org"});
            ASSERT_TRUE(status.IsOk()) << status.Description();
            EXPECT_EQ(transport->RejectedRecipients(),
                      std::vector<std::string>{"nobody@example.org"});
        }

        const std::vector<clsReceivedMessage> received = peer.Received();
        ASSERT_EQ(received.size(), messages.size());
        for (size_t at = 0; at < messages.size(); ++at) {
            EXPECT_EQ(received[at].Bytes, messages[at]);
            EXPECT_EQ(received[at].Envelope,
                      (std::vector<std::string>{"sender@example.org", "ann@example.org",
                                                "hidden@example.org"}));
        }
    }
}

TEST(SmtpTransport, FailuresAreReportedQuicklyAndNothingIsDelivered) {
    struct Case {
        const char* Name;
        clsSmtpReceiverPeer::clsOptions Peer;
        std::function<void(clsTransportSettings&)> Change;
        clsStatus::Code Code;
        const char* Says;
    };
    const clsSmtpReceiverPeer::clsOptions normal{"starttls", kUser, kPassword, {}};
    const clsSilentServer silent;
    const std::string silentUrl = "smtp://127.0.0.1:" + std::to_string(silent.Port());
    const Case cases[] = {
        {"wrong password", normal,
         [](clsTransportSettings& s) { s.PasswordCommand = "echo wrong"; }, clsStatus::Code::Denied,
         "authentication failed"},
        {"no STARTTLS but TLS required",
         {"none", "", "", {}},
         [](clsTransportSettings& s) { s.RequireTls = true; },
         clsStatus::Code::Denied,
         "offers no STARTTLS"},
        {"certificate not trusted", normal,
         [](clsTransportSettings& s) { s.CaFile = "/etc/ssl/certs/ca-certificates.crt"; },
         clsStatus::Code::Denied, "certificate is not trusted"},
        {"every recipient refused",
         {"starttls", kUser, kPassword, {"ann@example.org"}},
         [](clsTransportSettings&) {},
         clsStatus::Code::Io,
         "550 5.1.1 No such user here"},
        {"a server that never answers", normal, [&](clsTransportSettings& s) { s.Url = silentUrl; },
         clsStatus::Code::Temporary, "timed out"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.Name);
        clsSmtpReceiverPeer peer(c.Peer);
        ASSERT_NE(peer.Port(), 0);
        clsTransportSettings settings = peer.Settings();
        settings.Timeout = 2s;
        c.Change(settings);
        clsStatus status = clsStatus::Ok();
        const std::unique_ptr<clsMailTransport> transport = MakeMailTransport(settings, status);
        ASSERT_TRUE(transport) << status.Description();
        const auto start = std::chrono::steady_clock::now();

        status =
            transport->Send("Subject: x\r\n\r\nx\r\n", "sender@example.org", {"ann@example.org"});

        EXPECT_LT(std::chrono::steady_clock::now() - start, 2500ms);
        EXPECT_EQ(status.GetCode(), c.Code);
        EXPECT_TRUE(Holds(status.Description(), c.Says)) << status.Description();
        EXPECT_FALSE(Holds(status.Description(), kPassword));
        EXPECT_TRUE(peer.Received().empty());
    }
}
