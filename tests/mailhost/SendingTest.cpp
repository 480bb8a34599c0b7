// Sending through the object model: without a transport, mail waits in the Outbox; a new item and
// a forward reach a real SMTP receiver over STARTTLS with AUTH and a copy of each lands in Sent
// Items; a wrong password fails quickly and keeps nothing.
#include "MailhostTestSupport.h"
#include "mailhost/clsMailItems.h"
#include "mailhost/mime/clsMimeMessage.h"
#include "mailhost/transport/SmtpReceiverPeer.h"

namespace {

clsMailItem NewItem(clsMailFixture& f, const std::string& subject) {
    clsMailItem item = f.Mapi->CreateItem();
    item.SetSubject(subject);
    item.AddRecipient("ann@example.net");
    return item;
}

}  // namespace

TEST(Sending, MailWaitsInTheOutboxOrArrivesIntactAndIsKeptInSentItems) {
    clsMailFixture f;
    f.OpenStore();
    const clsMailFolder outbox = *f.Mapi->GetDefaultFolder(DefaultFolder::Outbox);
    const clsMailFolder sent = *f.Mapi->GetDefaultFolder(DefaultFolder::SentMail);
    EXPECT_FALSE(f.Mapi->CreateItem().Send()) << "no recipients";
    ASSERT_TRUE(NewItem(f, "later").Send());
    EXPECT_EQ(SubjectsOf(outbox), std::vector<std::string>{"later"});
    EXPECT_EQ(sent.Items().Count(), 0);

    clsSmtpReceiverPeer peer({"starttls", "corvel", "right", {}});
    ASSERT_NE(peer.Port(), 0);
    SendThrough(*f.Mapi, peer.Settings());
    clsMailItem fresh = NewItem(f, "Grüße aus Köln");
    fresh.SetBody("Zeile eins\nZeile zwei\n");
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
        EXPECT_TRUE(EveryLineEndsInCrlf(message.Bytes)) << message.Bytes;
    }
    EXPECT_EQ(clsMimeMessage::Parse(received[0].Bytes).Subject(), "Grüße aus Köln");
    EXPECT_EQ(clsMimeMessage::Parse(received[0].Bytes).Body(), "Zeile eins\r\nZeile zwei\r\n");
    EXPECT_EQ(received[1].Envelope,
              (std::vector<std::string>{"me@example.org", "boss@example.net"}));
    EXPECT_EQ(clsMimeMessage::Parse(received[1].Bytes).Subject(), "Fw: Quarterly report");
    // Its lines end in CRLF, as checked above.
    EXPECT_TRUE(Holds(WithoutCr(received[1].Bytes), original)) << "the original travels whole";
    ASSERT_EQ(sent.Items().Count(), 2);
    EXPECT_EQ(sent.Items().Item(1)->Subject(), "Grüße aus Köln");
    EXPECT_FALSE(sent.Items().Item(2)->UnRead());
    EXPECT_EQ(outbox.Items().Count(), 1);
}
