#include "RulesDatabaseTestSupport.h"

namespace {

clsRuleRecord Rule(std::string from, std::string subject, std::vector<clsRuleAction> actions = {}) {
    clsRuleRecord rule;
    rule.FromEmail = std::move(from);
    rule.SubjectContains = std::move(subject);
    rule.Actions = std::move(actions);
    return rule;
}

clsRuleAction MoveTo(std::string folder) {
    clsRuleAction action;
    action.TargetFolder = std::move(folder);
    return action;
}

}  // namespace

TEST(RulesDatabaseAddUpdateRule, NewRulesTakeTheirIDAsPriorityAndIdenticalOnesAreReused) {
    clsDatabaseFixture f;
    ASSERT_TRUE(f.Open());
    clsRuleRecord first =
        Rule("boss@example.com", "Quarterly REPORT", {MoveTo("\\\\Mailbox\\Boss")});
    ASSERT_TRUE(f.Db.AddUpdateRule(first));
    EXPECT_EQ(first.ID, 1);
    EXPECT_EQ(first.Priority, 1);
    EXPECT_EQ(first.SubjectContains, "quarterly report");
    EXPECT_GT(first.Actions[0].ActionID, 0);

    clsRuleRecord again =
        Rule("boss@example.com", "quarterly report", {MoveTo("\\\\Mailbox\\Boss")});
    ASSERT_TRUE(f.Db.AddUpdateRule(again));
    EXPECT_EQ(again.ID, first.ID);
    EXPECT_EQ(again.Actions[0].ActionID, first.Actions[0].ActionID);
    EXPECT_EQ(f.Scalar("SELECT COUNT(*) FROM Rules"), "1");
    EXPECT_EQ(f.Scalar("SELECT COUNT(*) FROM RuleActions"), "1");

    clsRuleRecord outgoing = Rule("boss@example.com", "quarterly report");
    outgoing.IncomingRule = false;
    ASSERT_TRUE(f.Db.AddUpdateRule(outgoing));
    EXPECT_NE(outgoing.ID, first.ID) << "the direction is part of a rule's identity";
}

TEST(RulesDatabaseAddUpdateRule, AnEmptyCriterionMatchesAStoredNull) {
    clsDatabaseFixture f;
    ASSERT_TRUE(f.Open());
    f.Run(
        "INSERT INTO Rules (FromEmail, ToEmail, SubjectContains, BodyContains, Priority, "
        "IncomingRule) VALUES ('a@b.org', NULL, NULL, '', 4, TRUE)");
    clsRuleRecord rule = Rule("a@b.org", "");
    ASSERT_TRUE(f.Db.AddUpdateRule(rule));
    EXPECT_EQ(rule.ID, 1);
    EXPECT_EQ(f.Scalar("SELECT COUNT(*) FROM Rules"), "1");
}

TEST(RulesDatabaseAddUpdateRule, EveryFieldRoundTripsAndUpdatesReplaceThem) {
    clsDatabaseFixture f;
    ASSERT_TRUE(f.Open());
    clsRuleRecord rule = Rule("@example.org", "news");
    rule.RuleName = "Newsletters";
    rule.ToEmail = "me@example.net";
    rule.BodyContains = "unsubscribe";
    rule.StopProcessing = true;
    rule.Enabled = false;
    rule.GroupID = f.Db.GetGroupID("Lists");
    clsRuleAction action = MoveTo("\\\\Mailbox\\News");
    action.Copy = true;
    action.MarkAsRead = true;
    action.ChangeImportanceTo = "L";
    action.ForwardTo = "archive@example.net";
    action.AutoReply = "7";
    action.Delete = true;
    rule.Actions = {action, MoveTo("Elsewhere")};
    ASSERT_TRUE(f.Db.AddUpdateRule(rule));

    clsRuleRecord read;
    ASSERT_TRUE(f.Db.GetRule(rule.ID, read));
    EXPECT_EQ(read.RuleName, "Newsletters");
    EXPECT_EQ(read.ToEmail, "me@example.net");
    EXPECT_EQ(read.BodyContains, "unsubscribe");
    EXPECT_TRUE(read.StopProcessing) << "a new rule's stop flag must be stored";
    EXPECT_FALSE(read.Enabled);
    EXPECT_EQ(read.GroupID, rule.GroupID);
    ASSERT_EQ(read.Actions.size(), 2U);
    const clsRuleAction& stored = read.Actions[0];
    EXPECT_TRUE(stored.Copy && stored.MarkAsRead && stored.Delete);
    EXPECT_EQ(stored.ChangeImportanceTo, "L");
    EXPECT_EQ(stored.ForwardTo, "archive@example.net");
    EXPECT_EQ(stored.AutoReply, "7");
    EXPECT_EQ(read.Actions[1].TargetFolder, "Elsewhere");

    read.SubjectContains = "Digest";
    read.Actions[0].TargetFolder = "\\\\Mailbox\\Digests";
    ASSERT_TRUE(f.Db.AddUpdateRule(read));
    clsRuleRecord updated;
    ASSERT_TRUE(f.Db.GetRule(rule.ID, updated));
    EXPECT_EQ(updated.SubjectContains, "digest");
    EXPECT_EQ(updated.Actions[0].TargetFolder, "\\\\Mailbox\\Digests");
    EXPECT_EQ(f.Scalar("SELECT COUNT(*) FROM RuleActions"), "2");
}

TEST(RulesDatabaseAddUpdateRule, HostileAndHugeTextsAreStoredIntact) {
    const std::string hostile =
        "it's \"quoted\" [x] 50% a_b * #1 ÄÖÜ ßœ 日本 x'); DROP TABLE Rules; --";
    std::string huge;
    while (huge.size() < 1024 * 1024) {
        huge += "lorem ipsum ' \" [] % _ * # ünïcödé ";
    }
    for (const std::string& text : {hostile, huge}) {
        SCOPED_TRACE(text.size());
        clsDatabaseFixture f;
        ASSERT_TRUE(f.Open());
        clsRuleRecord rule = Rule("", text, {MoveTo(text)});
        rule.RuleName = text;
        rule.BodyContains = text;
        rule.Actions[0].ForwardTo = text;
        ASSERT_TRUE(f.Db.AddUpdateRule(rule));
        clsRuleRecord read;
        ASSERT_TRUE(f.Db.GetRule(rule.ID, read));
        EXPECT_EQ(read.RuleName, text);
        EXPECT_EQ(read.SubjectContains, rule.SubjectContains);  // lower-cased on the way in
        EXPECT_EQ(read.BodyContains, rule.BodyContains);
        EXPECT_EQ(read.Actions.at(0).TargetFolder, text);
        EXPECT_EQ(read.Actions.at(0).ForwardTo, text);
        EXPECT_EQ(f.Scalar("SELECT COUNT(*) FROM Rules"), "1") << "the table survived";
    }
}

TEST(RulesDatabaseDeleteRule, RemovesTheRuleAndItsActionsOnly) {
    clsDatabaseFixture f;
    ASSERT_TRUE(f.Open());
    clsRuleRecord a = Rule("a@x.org", "", {MoveTo("A")});
    clsRuleRecord b = Rule("b@x.org", "", {MoveTo("B")});
    ASSERT_TRUE(f.Db.AddUpdateRule(a) && f.Db.AddUpdateRule(b));
    f.Db.DeleteRule(a.ID);
    clsRuleRecord read;
    EXPECT_FALSE(f.Db.GetRule(a.ID, read));
    EXPECT_TRUE(f.Db.GetRule(b.ID, read));
    EXPECT_EQ(f.Scalar("SELECT COUNT(*) FROM RuleActions"), "1");
}

TEST(RulesDatabaseGetRuleActions, InPriorityOrderUpToTheFirstStoppingRule) {
    clsDatabaseFixture f;
    ASSERT_TRUE(f.Open());
    std::vector<std::int32_t> ids;
    for (int priority : {3, 2, 1}) {  // stored in the reverse of their priority order
        clsRuleRecord rule = Rule("p" + std::to_string(priority) + "@x.org", "",
                                  {MoveTo("Folder" + std::to_string(priority))});
        rule.Priority = priority;
        rule.StopProcessing = priority == 2;
        ASSERT_TRUE(f.Db.AddUpdateRule(rule));
        ids.push_back(rule.ID);
    }
    std::vector<std::string> folders;
    for (const clsRuleAction& action : f.Db.GetRuleActions(ids)) {
        folders.push_back(action.TargetFolder);
    }
    EXPECT_EQ(folders, (std::vector<std::string>{"Folder1", "Folder2"}));
    EXPECT_EQ(f.Db.GetRuleActions({ids[0]}).size(), 1U);
    EXPECT_TRUE(f.Db.GetRuleActions({}).empty());
}

TEST(RuleSingleLineDescription, ComposesThePiecesInOrder) {
    struct Case {
        clsRuleRecord Rule;
        std::string Expected;
    };
    clsRuleRecord moveAndRead = Rule("boss@example.com", "", {MoveTo("\\\\Mailbox\\Inbox\\Boss")});
    moveAndRead.Actions[0].MarkAsRead = true;
    clsRuleRecord sending = Rule("", "invoice");
    sending.IncomingRule = false;
    sending.ToEmail = "@client.org";
    sending.BodyContains = "due";
    sending.StopProcessing = true;
    clsRuleAction copy = MoveTo("Clients");
    copy.Copy = true;
    clsRuleAction others;
    others.AutoReply = "3";
    others.ChangeImportanceTo = "h";
    others.ForwardTo = "me@home.org";
    sending.Actions = {copy, others};
    clsRuleRecord fromAndTo = Rule("a@b.c", "");
    fromAndTo.ToEmail = "d@e.f";
    clsRuleAction low;
    low.ChangeImportanceTo = "L";
    fromAndTo.Actions = {low};
    for (const Case& c :
         {Case{moveAndRead,
               "On arrival, if from boss@example.com move to \\\\Mailbox\\Inbox\\Boss, mark as "
               "read"},
          Case{sending,
               "On sending, if to @client.org if the subject contains invoice if the message "
               "contains due copy to Clients, send autoreplyand change to high importance, forward "
               "to me@home.org and stop processing."},
          Case{fromAndTo, "On arrival, if from a@b.c and to d@e.fand change to low importance"}}) {
        EXPECT_EQ(classRulesDatabase::RuleSingleLineDescription(c.Rule), c.Expected);
    }
}
