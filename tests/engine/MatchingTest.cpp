// Which rules an item matches: criteria, order, stop, direction, the processed marker, and
// senders built to break the query.
#include "EngineTestSupport.h"

namespace {

clsRuleRecord MarkReadRule(std::string from, std::string subject = "", std::string body = "") {
    clsRuleRecord rule;
    rule.FromEmail = std::move(from);
    rule.SubjectContains = std::move(subject);
    rule.BodyContains = std::move(body);
    clsRuleAction action;
    action.MarkAsRead = true;
    rule.Actions.push_back(action);
    return rule;
}

}  // namespace

TEST(Matching, CriteriaDecideWhichItemsMatch) {
    clsEngineFixture f;
    f.Start();
    f.AddRule(MarkReadRule("", "invoice"));
    f.AddRule(MarkReadRule("@example.com", "", "payment"));
    f.AddRule(MarkReadRule("", "Report", "quarterly"));
    f.AddRule(MarkReadRule("", "größe", "ärger"));  // non-ASCII, any case
    struct {
        const char* Subject;
        const char* Body;
        const char* From;
        bool Matches;
    } const cases[] = {
        {"FW: INVOICE 12", "x", "a@x.org", true},
        {"Invoices", "x", "a@x.org", true},
        {"inv oice", "x", "a@x.org", false},
        {"Hello", "the PAYMENT is late", "ann@example.com", true},
        {"Hello", "the payment is late", "ann@sub.example.com", false},
        {"Hello", "the payment is late", "ann@example.com.evil", false},
        {"Report", "the yearly numbers", "a@x.org", false},
        {"Report", "the Quarterly numbers", "a@x.org", true},
        {"GRÖßE", "Viel ÄRGER heute\n", "a@x.org", true},
    };
    for (const auto& c : cases) {
        clsMailItem item = f.DeliverMail(c.Subject, c.Body, c.From);
        EXPECT_EQ(f.Engine->ProcessItem(item, false, false, "y"), c.Matches) << c.Subject;
    }
}

TEST(Matching, PriorityStopDirectionAndSwitchedOffRules) {
    clsEngineFixture f;
    f.Start();
    clsRuleRecord first = MarkReadRule("", "news");
    first.Priority = 1;
    first.StopProcessing = true;
    f.AddRule(first);
    clsRuleRecord second = MarkReadRule("", "news");
    second.Priority = 2;
    second.Actions.front().ChangeImportanceTo = "H";
    f.AddRule(second);
    clsRuleRecord sent = MarkReadRule("", "sent only");
    sent.IncomingRule = false;
    f.AddRule(sent);
    clsRuleRecord off = MarkReadRule("", "switched off");
    off.Enabled = false;
    f.AddRule(off);

    clsMailItem news = f.DeliverMail("Daily news");
    EXPECT_TRUE(f.Engine->ProcessItem(news, false, false, "y"));
    clsMailItem reread = *f.FolderAt("INBOX").Items().Item(1);
    EXPECT_FALSE(reread.UnRead());
    EXPECT_EQ(reread.GetImportance(), Importance::Normal) << "the second rule ran after a stop";

    clsMailItem sentItem = f.DeliverMail("sent only");
    EXPECT_FALSE(f.Engine->ProcessItem(sentItem, false, false, "y"));
    EXPECT_TRUE(f.Engine->ProcessSentItem(sentItem, true, false));

    clsMailItem offItem = f.DeliverMail("switched off");
    EXPECT_FALSE(f.Engine->ProcessItem(offItem, false, false, "y"));
    EXPECT_TRUE(f.Engine->ProcessItem(offItem, true, true, "y"));
}

// The processed marker: an item is matched once unless asked again; the engine's own report of a
// missing folder never gets one.
TEST(Matching, AnItemIsProcessedOnceAndTheEnginesOwnReportNever) {
    clsEngineFixture f;
    f.Start();
    f.AddRule(MarkReadRule("", "twice"));
    f.AddRule(MarkReadRule("", "failed"));
    clsMailItem item = f.DeliverMail("twice");
    EXPECT_FALSE(f.Engine->AlreadyProcessed(item));
    EXPECT_TRUE(f.Engine->ProcessItem(item, false, false, "y"));
    EXPECT_TRUE(f.Engine->AlreadyProcessed(item));
    EXPECT_FALSE(f.Engine->ProcessItem(item, false, false, "y"));
    EXPECT_TRUE(Holds(f.LogText(), "Corvel->ProcessItem: already processed this item, skipping"));
    EXPECT_TRUE(f.Engine->ProcessItem(item, true, false, "y"));

    clsMailItem report = f.DeliverMail("Rule failed - couldn't locate folder \"X\"");
    f.Engine->ProcessIncomingItem(report, false);
    EXPECT_FALSE(f.Engine->AlreadyProcessed(report));
    clsMailItem lower = f.DeliverMail("rule failed - a user's own subject");
    f.Engine->ProcessIncomingItem(lower, false);
    EXPECT_TRUE(f.Engine->AlreadyProcessed(lower));
    EXPECT_FALSE(f.FolderAt("INBOX").Items().Item(3)->UnRead());
    EXPECT_TRUE(f.FolderAt("INBOX").Items().Item(2)->UnRead());
}

TEST(Matching, ASenderBuiltToBreakTheQueryIsNoSenderAtAll) {
    clsEngineFixture f;
    f.Start();
    f.AddRule(MarkReadRule("@evil.org"));
    f.AddRule(MarkReadRule("x@evil.org"));
    f.AddRule(MarkReadRule("", "anyone"));
    const std::string nul("x\0@evil.org", 11);
    for (const std::string& from : {std::string("\"x' OR 1=1 --\"@evil.org"),
                                    std::string("\"x\\\" OR \\\"1\\\"=\\\"1\"@evil.org"),
                                    std::string("x') OR ('1'='1@evil.org"), nul}) {
        clsMailItem item = f.DeliverMail("hostile", "body", from);
        EXPECT_EQ(f.Engine->FindSender(item), "") << from;
        EXPECT_FALSE(f.Engine->ProcessItem(item, false, false, "y")) << from;
        clsMailItem anyone = f.DeliverMail("anyone", "body", from);
        EXPECT_TRUE(f.Engine->ProcessItem(anyone, false, false, "y")) << from;
    }
    const std::string log = f.LogText();
    EXPECT_FALSE(Holds(log, "OR 1=1")) << "a hostile address reached the log";
}

TEST(Matching, RecipientsDecideRulesForThem) {
    clsEngineFixture f;
    f.Start();
    clsRuleRecord toList = MarkReadRule("");
    toList.ToEmail = "@lists.example.net";
    f.AddRule(toList);
    clsMailItem listMail = f.DeliverMail("one", "b", "a@x.org", "Dev <DEV@Lists.Example.Net>");
    EXPECT_TRUE(f.Engine->ProcessItem(listMail, false, false, "y"));
    clsMailItem other =
        f.DeliverMail("two", "b", "a@x.org", "bare@example.net, \"Q\" <\"q y\"@y.z>");
    clsRecipientSet recipients;
    f.Engine->GetRecipients(other, recipients);
    EXPECT_EQ(recipients.Keys(), (std::vector<std::string>{"", "bare@example.net"}));
    EXPECT_FALSE(f.Engine->ProcessItem(other, false, false, "y"));
}
