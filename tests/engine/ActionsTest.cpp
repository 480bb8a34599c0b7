// What matched rules do to an item: filing once per folder, moves then copies, the copy marker,
// a missing folder, and a forward and an auto-reply at a real SMTP receiver. Importance, reading
// and deletion are checked end to end in RulesEndToEndTest.
#include "EngineTestSupport.h"
#include "mailhost/transport/SmtpReceiverPeer.h"
#include "services/classAutoReply.h"

namespace {

clsRuleRecord RuleFor(std::string subject, std::vector<clsRuleAction> actions) {
    clsRuleRecord rule;
    rule.SubjectContains = std::move(subject);
    rule.Actions = std::move(actions);
    return rule;
}

}  // namespace

TEST(Actions, FilingCopiesOncePerFolderCopiesTheMovedItemAndNoDuplicate) {
    clsEngineFixture f;
    f.Start({"Inbox/X", "Inbox/Y"});
    const std::string x = "\\\\Mailbox\\Inbox\\X";
    const std::string y = "\\\\Mailbox\\Inbox\\Y";
    f.AddRule(RuleFor("twice", {clsEngineFixture::FileTo(x, true)}));
    f.AddRule(RuleFor("twice", {clsEngineFixture::FileTo("X", true)}));  // X by its name
    f.AddRule(RuleFor("move", {clsEngineFixture::FileTo(x, false)}));
    f.AddRule(RuleFor("move", {clsEngineFixture::FileTo(y, true)}));
    f.AddRule(RuleFor("own", {clsEngineFixture::FileTo("\\\\Mailbox\\Inbox", true)}));
    for (const char* subject : {"copy twice", "move then copy", "own folder"}) {
        f.DeliverMail(subject);
    }
    EXPECT_EQ(f.Engine->ProcessFolder(f.FolderAt("INBOX"), true, -1, 0), 3);

    using Subjects = std::vector<std::string>;
    EXPECT_EQ(f.Subjects("INBOX"), (Subjects{"copy twice", "own folder"}));
    EXPECT_EQ(f.Subjects("INBOX/X"), (Subjects{"copy twice", "move then copy"}));
    EXPECT_EQ(f.Subjects("INBOX/Y"), (Subjects{"move then copy"}));
    EXPECT_FALSE(Holds(f.LogText(), "Duplicate item"));

    const clsMailItem copy = *f.FolderAt("INBOX/Y").Items().Item(1);
    EXPECT_EQ(copy.FindUserProperty("RRCreated").value_or(clsUserPropertyValue{}).Text, "true");
    EXPECT_TRUE(f.Engine->AlreadyProcessed(copy));
    EXPECT_EQ(f.Engine->ProcessFolder(f.FolderAt("INBOX/Y"), true, -1, 0), 0);
    EXPECT_EQ(f.Engine->ProcessFolder(f.FolderAt("INBOX/Y"), false, -1, 0), 1);
    EXPECT_EQ(f.Subjects("INBOX/Y").size(), 1U);

    // A duplicate (same subject and body) is not copied again, quotes in the subject too.
    f.AddRule(RuleFor("dup", {clsEngineFixture::FileTo("X", true)}));
    clsMailItem item = f.DeliverMail("a \"dup\"", "same body\n");
    f.Engine->ProcessItem(item, false, false, "y");
    f.Engine->ProcessItem(item, true, false, "y");
    EXPECT_EQ(f.Subjects("INBOX/X").size(), 3U);
    EXPECT_TRUE(
        Holds(f.LogText(), "Corvel->copyItem: Duplicate item (a \"dup\") not copied to folder X"));
    clsMailItem other = f.DeliverMail("a \"dup\"", "another body\n");
    f.Engine->ProcessItem(other, false, false, "y");
    EXPECT_EQ(f.Subjects("INBOX/X").size(), 4U) << "same subject, other body: not a duplicate";
}

TEST(Actions, AMissingFolderIsReportedOnceAndTheOtherActionsRun) {
    clsEngineFixture f;
    f.Start();
    clsRuleAction missing = clsEngineFixture::FileTo("\\\\Mailbox\\Gone", false);
    missing.MarkAsRead = true;
    clsRuleAction again = clsEngineFixture::FileTo("\\\\Mailbox\\Gone", true);
    again.ChangeImportanceTo = "h";
    f.AddRule(RuleFor("lost", {missing, again}));
    f.AddRule(RuleFor("", {}));  // a rule for every item, that does nothing
    f.DeliverMail("lost mail", "The original text.\n");
    f.Engine->ProcessFolder(f.FolderAt("INBOX"), true, -1, 0);

    const clsMailItems inbox = f.FolderAt("INBOX").Items();
    ASSERT_EQ(inbox.Count(), 2);
    EXPECT_FALSE(inbox.Item(1)->UnRead());
    EXPECT_EQ(inbox.Item(1)->GetImportance(), Importance::High);
    const clsMailItem report = *inbox.Item(2);
    EXPECT_EQ(report.Subject(), "Rule failed - couldn't locate folder \"\\\\Mailbox\\Gone\"");
    const std::string body = WithoutCr(report.Body());  // composed with CRLF line ends
    EXPECT_TRUE(Holds(body,
                      "The original text.\n\n\nThe above message could not be sorted.  "
                      "Please check your configuration and the existence of the "
                      "specified folder."))
        << body;
    EXPECT_TRUE(Holds(f.LogText(),
                      "Corvel->ApplyAction: Couldn't find folder to copy to - "
                      "\\\\Mailbox\\Gone"));
    f.Engine->ProcessFolder(f.FolderAt("INBOX"), false, -1, 0);
    clsMailItem filed = *f.FolderAt("INBOX").Items().Item(2);
    f.Engine->ProcessIncomingItem(filed, false);
    EXPECT_EQ(f.FolderAt("INBOX").Items().Count(), 2) << "the report was matched";
    EXPECT_TRUE(f.FolderAt("INBOX").Items().Item(2)->UnRead());
}

TEST(Actions, AForwardAndAnAutoReplyArriveAtARealSmtpReceiver) {
    clsSmtpReceiverPeer peer({"starttls", "corvel", "right", {}});
    ASSERT_NE(peer.Port(), 0);
    clsEngineFixture f;
    f.Start({}, [](clsMailNamespace& mapi, clsLogFile& log) {
        return std::make_unique<classAutoReply>(mapi, log);
    });
    SendThrough(f.Mapi(), peer.Settings());
    const std::int32_t reply = static_cast<classAutoReply*>(f.Engine->AutoReply())
                                   ->CreateTemplate("Away", "Dear <-[SenderName]->, back soon.");
    clsRuleAction forward;
    forward.ForwardTo = "boss@example.net";
    forward.AutoReply = std::to_string(reply);
    f.AddRule(RuleFor("quarterly", {forward}));
    f.DeliverMail("Quarterly figures", "Numbers.\n");
    f.Engine->ProcessFolder(f.FolderAt("INBOX"), true, -1, 0);
    const auto received = peer.Received();
    ASSERT_EQ(received.size(), 2U);
    EXPECT_EQ(received[0].Envelope,
              (std::vector<std::string>{"me@example.org", "ann@example.org"}));
    EXPECT_TRUE(Holds(received[0].Bytes, "Dear Ann Example, back soon."));
    EXPECT_EQ(received[1].Envelope,
              (std::vector<std::string>{"me@example.org", "boss@example.net"}));
    EXPECT_TRUE(Holds(received[1].Bytes, "Subject: Fw: Quarterly figures"));
    EXPECT_TRUE(Holds(received[1].Bytes, "Numbers."));
}
