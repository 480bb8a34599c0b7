// Which rules an item matches: criteria, recipients, direction, the processed marker, and
// addresses built to break the query. Order, stop and switched-off rules are checked end to end in
// RulesEndToEndTest.
#include "EngineTestSupport.h"

namespace {

clsRuleRecord MarkReadRule(std::string from, std::string subject = "", std::string body = "") {
    clsRuleRecord rule;
    rule.FromEmail = std::move(from);
    rule.SubjectContains = std::move(subject);
    rule.BodyContains = std::move(body);
    rule.Actions.emplace_back().MarkAsRead = true;
    return rule;
}

}  // namespace

TEST(Matching, CriteriaRecipientsAndDirectionDecideWhichItemsMatch) {
    clsEngineFixture f;
    f.Start();
    f.AddRule(MarkReadRule("", "invoice"));
    f.AddRule(MarkReadRule("@example.com", "", "payment"));
    f.AddRule(MarkReadRule("", "größe", "ärger"));  // non-ASCII, any case
    clsRuleRecord sent = MarkReadRule("", "sent only");
    sent.IncomingRule = false;
    f.AddRule(sent);
    clsRuleRecord toList = MarkReadRule("");
    toList.ToEmail = "@lists.example.net";
    f.AddRule(toList);
    struct {
        const char *Subject, *Body, *From;
        bool Matches;
        const char* To = "Bob <bob@example.net>";
    } const cases[] = {
        {"FW: INVOICE 12", "x", "a@x.org", true},
        {"Hello", "the PAYMENT is late", "ann@example.com", true},
        {"Hello", "the payment is late", "ann@sub.example.com", false},
        {"Hello", "the payment is late", "ann@example.com.evil", false},
        {"GRÖßE", "Viel ÄRGER heute\n", "a@x.org", true},
        {"sent only", "x", "a@x.org", false},
        {"list", "b", "a@x.org", true, "Dev <DEV@Lists.Example.Net>"},
        {"list", "b", "a@x.org", false, "bare@example.net, \"Q\" <\"q y\"@lists.example.net>"},
    };
    for (const auto& c : cases) {
        clsMailItem item = f.DeliverMail(c.Subject, c.Body, c.From, c.To);
        EXPECT_EQ(f.Engine->ProcessItem(item, false, false, "y"), c.Matches)
            << c.Subject << " to " << c.To;
    }
    clsMailItem sentItem = f.DeliverMail("sent only");
    EXPECT_TRUE(f.Engine->ProcessSentItem(sentItem, true, false));
}

// The processed marker: an item is matched once unless asked again. The engine's own report of a
// missing folder never gets one (ActionsTest); a user's subject that merely starts alike does.
TEST(Matching, AnItemIsProcessedOnceAndTheEnginesOwnReportNever) {
    clsEngineFixture f;
    f.Start();
    f.AddRule(MarkReadRule("", "twice"));
    f.AddRule(MarkReadRule("", "failed"));
    clsMailItem item = f.DeliverMail("twice");
    EXPECT_TRUE(f.Engine->ProcessItem(item, false, false, "y"));
    EXPECT_FALSE(f.Engine->ProcessItem(item, false, false, "y"));
    EXPECT_TRUE(Holds(f.LogText(), "Corvel->ProcessItem: already processed this item, skipping"));
    EXPECT_TRUE(f.Engine->ProcessItem(item, true, false, "y"));

    clsMailItem lower = f.DeliverMail("rule failed - a user's own subject");
    f.Engine->ProcessIncomingItem(lower, false);
    EXPECT_TRUE(f.Engine->AlreadyProcessed(lower));
}

TEST(Matching, ASenderBuiltToBreakTheQueryIsNoSenderAtAll) {
    clsEngineFixture f;
    f.Start();
    f.AddRule(MarkReadRule("@evil.org"));
    f.AddRule(MarkReadRule("x@evil.org"));
    f.AddRule(MarkReadRule("", "anyone"));
    for (const std::string& from :
         {std::string("\"x' OR 1=1 --\"@evil.org"),
          std::string("\"x\\\" OR \\\"1\\\"=\\\"1\"@evil.org"),
          std::string("x') OR ('1'='1@evil.org"), std::string("x\0@evil.org", 11)}) {
        clsMailItem item = f.DeliverMail("hostile", "body", from);
        EXPECT_EQ(f.Engine->FindSender(item), "") << from;
        EXPECT_FALSE(f.Engine->ProcessItem(item, false, false, "y")) << from;
        clsMailItem anyone = f.DeliverMail("anyone", "body", from);
        EXPECT_TRUE(f.Engine->ProcessItem(anyone, false, false, "y")) << from;
    }
    EXPECT_FALSE(Holds(f.LogText(), "OR 1=1")) << "a hostile address reached the log";
}
