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

// Everything a rule and its actions store but the numbers the database gives them.
auto Stored(const clsRuleAction& a) {
    return std::tie(a.Copy, a.TargetFolder, a.Delete, a.MarkAsRead, a.ChangeImportanceTo,
                    a.ForwardTo, a.AutoReply);
}
void ExpectStoredAsWritten(classRulesDatabase& db, const clsRuleRecord& written) {
    clsRuleRecord read;
    ASSERT_TRUE(db.GetRule(written.ID, read));
    const auto stored = [](const clsRuleRecord& r) {
        return std::tie(r.RuleName, r.FromEmail, r.ToEmail, r.SubjectContains, r.BodyContains,
                        r.StopProcessing, r.IncomingRule, r.GroupID, r.Enabled);
    };
    EXPECT_EQ(stored(read), stored(written));
    ASSERT_EQ(read.Actions.size(), written.Actions.size());
    for (std::size_t i = 0; i < read.Actions.size(); ++i) {
        EXPECT_EQ(Stored(read.Actions[i]), Stored(written.Actions[i])) << "action " << i;
    }
}

}  // namespace

using RulesDatabaseRules = clsOpenDatabaseTest;

TEST_F(RulesDatabaseRules, NewRulesTakeTheirIDAsPriorityAndIdenticalOnesAreReused) {
    // A rule as an older version stored it, empty criteria as Null or "": "" matches both.
    Run("INSERT INTO Rules (FromEmail, ToEmail, SubjectContains, BodyContains, Priority, "
        "IncomingRule) VALUES ('a@b.org', NULL, NULL, '', 4, TRUE)");
    clsRuleRecord old = Rule("a@b.org", "");
    ASSERT_TRUE(Db.AddUpdateRule(old));
    EXPECT_EQ(old.ID, 1);

    clsRuleRecord first = Rule("boss@example.com", "Quarterly REPORT", {MoveTo("Boss")});
    ASSERT_TRUE(Db.AddUpdateRule(first));
    EXPECT_EQ(first.ID, 2);
    EXPECT_EQ(first.Priority, 2);
    EXPECT_EQ(first.SubjectContains, "quarterly report");
    EXPECT_GT(first.Actions[0].ActionID, 0);
    clsRuleRecord again = Rule("boss@example.com", "quarterly report", {MoveTo("Boss")});
    ASSERT_TRUE(Db.AddUpdateRule(again));
    EXPECT_EQ(again.ID, first.ID);
    EXPECT_EQ(again.Actions[0].ActionID, first.Actions[0].ActionID);
    EXPECT_EQ(Scalar("SELECT COUNT(*) FROM Rules"), "2");
    EXPECT_EQ(Scalar("SELECT COUNT(*) FROM RuleActions"), "1");

    clsRuleRecord outgoing = Rule("boss@example.com", "quarterly report");
    outgoing.IncomingRule = false;
    ASSERT_TRUE(Db.AddUpdateRule(outgoing));
    EXPECT_NE(outgoing.ID, first.ID) << "the direction is part of a rule's identity";
}

// Quotes of both kinds, LIKE's wildcards, non-ASCII letters, an attempt to end the statement early
// and a megabyte of text, in every text field; updates replace every field.
TEST(RulesDatabaseAddUpdateRule, EveryFieldRoundTripsIntactAndUpdatesReplaceThem) {
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
        clsRuleRecord rule = Rule(text, text, {MoveTo(text), MoveTo("Elsewhere")});
        rule.RuleName = rule.ToEmail = rule.BodyContains = text;
        rule.StopProcessing = true;  // a new rule's stop flag must be stored too
        rule.Enabled = false;
        rule.GroupID = f.Db.GetGroupID("Lists");
        clsRuleAction& action = rule.Actions[0];
        action.Copy = action.MarkAsRead = action.Delete = true;
        action.ChangeImportanceTo = "L";
        action.ForwardTo = text;
        action.AutoReply = "7";
        ASSERT_TRUE(f.Db.AddUpdateRule(rule));
        ExpectStoredAsWritten(f.Db, rule);  // the subject lower-cased on the way in
        EXPECT_EQ(f.Scalar("SELECT COUNT(*) FROM Rules"), "1") << "the table survived";
        if (text.size() > hostile.size()) {
            continue;  // updating the megabyte rule as well would only double the time
        }

        rule.SubjectContains = "Digest";
        rule.Actions[0].TargetFolder = "\\\\Mailbox\\Digests";
        ASSERT_TRUE(f.Db.AddUpdateRule(rule));
        EXPECT_EQ(rule.SubjectContains, "digest");
        ExpectStoredAsWritten(f.Db, rule);
        EXPECT_EQ(f.Scalar("SELECT COUNT(*) FROM RuleActions"), "2");
    }
}

TEST_F(RulesDatabaseRules, ActionsComeInPriorityOrderUpToTheFirstStoppingRuleAndGoWithTheirRule) {
    std::vector<std::int32_t> ids;
    for (int priority : {3, 2, 1}) {  // stored in the reverse of their priority order
        const std::string n = std::to_string(priority);
        clsRuleRecord rule = Rule("p" + n + "@x.org", "", {MoveTo("Folder" + n)});
        rule.Priority = priority;
        rule.StopProcessing = priority == 2;
        ASSERT_TRUE(Db.AddUpdateRule(rule));
        ids.push_back(rule.ID);
    }
    std::vector<std::string> folders;
    for (const clsRuleAction& action : Db.GetRuleActions(ids)) {
        folders.push_back(action.TargetFolder);
    }
    EXPECT_EQ(folders, (std::vector<std::string>{"Folder1", "Folder2"}));
    EXPECT_EQ(Db.GetRuleActions({ids[0]}).size(), 1U);

    // A deleted rule takes its actions with it and no other rule's.
    Db.DeleteRule(ids[1]);
    clsRuleRecord read;
    EXPECT_FALSE(Db.GetRule(ids[1], read));
    EXPECT_TRUE(Db.GetRule(ids[0], read));
    EXPECT_EQ(Scalar("SELECT COUNT(*) FROM RuleActions"), "2");
}

// The pieces the rules command shows that the converted rules in the engine's tests do not.
TEST(RuleSingleLineDescription, ComposesThePiecesInOrder) {
    clsRuleRecord rule = Rule("", "invoice", {MoveTo("Clients"), clsRuleAction{}});
    rule.StopProcessing = true;
    rule.Actions[1].AutoReply = "3";
    rule.Actions[1].ChangeImportanceTo = "h";
    rule.Actions[1].ForwardTo = "me@home.org";
    EXPECT_EQ(classRulesDatabase::RuleSingleLineDescription(rule),
              "On arrival, if the subject contains invoice move to Clients, send autoreplyand "
              "change to high importance, forward to me@home.org and stop processing.");
}
