// Sending through the object model: a new item and a forward reach a real SMTP receiver over
// STARTTLS with AUTH, and a copy of each lands in Sent Items; without a transport, the Outbox.
#include <chrono>

#include "MailhostTestSupport.h"
#include "mailhost/clsMailItems.h"
#include "mailhost/mime/clsMimeMessage.h"
#include "mailhost/transport/SmtpReceiverPeer.h"

namespace {

using namespace std::chrono_literals;

void UseSmtp(clsMailFixture& f, const clsSmtpReceiverPeer& peer, const std::string& password) {
    clsTransportSettings settings;
    settings.Url = peer.Url("smtp");
    settings.User = "corvel";
    settings.PasswordCommand = "echo '" + password + "'";
    settings.CaFile = clsTestCertificate::Shared().Certificate.string();
    settings.Timeout = 10s;
    clsStatus status = clsStatus::Ok();
    auto transport = MakeMailTransport(settings, status);
    ASSERT_TRUE(transport) << status.Description();
    clsMailAddress me;
    me.Name = "Me";
    me.Address = "me@example.org";
    f.Mapi->SetTransport(std::move(transport), me);
}

}  // namespace

TEST(Sending, NewItemsAndForwardsArriveIntactAndAreKeptInSentItems) {
    ASSERT_TRUE(clsTestCertificate::Shared().Made);
    clsSmtpReceiverPeer peer({"starttls", "corvel", "right", {}});
    ASSERT_NE(peer.Port(), 0);
    clsMailFixture f;
    f.OpenStore();
    UseSmtp(f, peer, "right");

    clsMailItem fresh = f.Mapi->CreateItem();
    fresh.SetSubject("Grüße aus Köln");
    fresh.SetBody("Zeile eins\nZeile zwei\n");
    fresh.AddRecipient("ann@example.net");
    ASSERT_TRUE(fresh.Send());

    const std::string original = TestMessage("Quarterly report", "Numbers attached.\n");
    Deliver(f.Root, "1.A.host", original);
    auto forward = f.FolderAt("INBOX").Items().Item(1)->Forward();
    ASSERT_TRUE(forward);
    forward->AddRecipient("boss@example.net");
    ASSERT_TRUE(forward->Send());

    const std::vector<clsReceivedMessage> received = peer.Received();
    ASSERT_EQ(received.size(), 2U);
    for (const clsReceivedMessage& message : received) {
        for (size_t at = message.Bytes.find('\n'); at != std::string::npos;
             at = message.Bytes.find('\n', at + 1)) {
            ASSERT_EQ(message.Bytes[at - 1], '\r') << "a bare line feed at " << at;
        }
    }
    EXPECT_EQ(clsMimeMessage::Parse(received[0].Bytes).Subject(), "Grüße aus Köln");
    EXPECT_EQ(clsMimeMessage::Parse(received[0].Bytes).Body(), "Zeile eins\r\nZeile zwei\r\n");
    EXPECT_EQ(received[1].Envelope,
              (std::vector<std::string>{"me@example.org", "boss@example.net"}));
    EXPECT_EQ(clsMimeMessage::Parse(received[1].Bytes).Subject(), "Fw: Quarterly report");
    std::string originalOnTheWire;  // SMTP carries lines ending in CRLF
    for (char c : original) {
        originalOnTheWire += c == '\n' ? std::string("\r\n") : std::string(1, c);
    }
    EXPECT_NE(received[1].Bytes.find(originalOnTheWire), std::string::npos)
        << "the original travels whole";

    const clsMailFolder sent = *f.Mapi->GetDefaultFolder(DefaultFolder::SentMail);
    ASSERT_EQ(sent.Items().Count(), 2);
    EXPECT_EQ(sent.Items().Item(1)->Subject(), "Grüße aus Köln");
    EXPECT_FALSE(sent.Items().Item(2)->UnRead());
    EXPECT_EQ(f.Mapi->GetDefaultFolder(DefaultFolder::Outbox)->Items().Count(), 0);
}

TEST(Sending, AWrongPasswordFailsQuicklyWithAClearErrorAndKeepsNothing) {
    ASSERT_TRUE(clsTestCertificate::Shared().Made);
    clsSmtpReceiverPeer peer({"starttls", "corvel", "right", {}});
    clsMailFixture f;
    f.OpenStore();
    UseSmtp(f, peer, "wrong");
    clsMailItem item = f.Mapi->CreateItem();
    item.SetSubject("never");
    item.AddRecipient("ann@example.net");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(item.Send());
    EXPECT_LT(std::chrono::steady_clock::now() - start, 9s) << "it did not wait for the time-out";
    EXPECT_TRUE(peer.Received().empty());
    EXPECT_EQ(f.Mapi->GetDefaultFolder(DefaultFolder::SentMail)->Items().Count(), 0);
    EXPECT_NE(f.LogText().find("MailHost->Send"), std::string::npos);
}

TEST(Sending, WithoutATransportMailWaitsInTheOutbox) {
    clsMailFixture f;
    f.OpenStore();
    clsMailItem item = f.Mapi->CreateItem();
    item.SetSubject("later");
    item.AddRecipient("ann@example.net");
    EXPECT_FALSE(f.Mapi->CreateItem().Send()) << "no recipients";
    ASSERT_TRUE(item.Send());
    const clsMailFolder outbox = *f.Mapi->GetDefaultFolder(DefaultFolder::Outbox);
    ASSERT_EQ(outbox.Items().Count(), 1);
    EXPECT_EQ(outbox.Items().Item(1)->Subject(), "later");
    EXPECT_EQ(f.Mapi->GetDefaultFolder(DefaultFolder::SentMail)->Items().Count(), 0);
}
