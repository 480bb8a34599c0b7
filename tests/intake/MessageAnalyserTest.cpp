// The message analyser on a real Maildir and Rules.mdb: the rule query as logged and run, the
// matches it queues, and the junk checks; the queue then shows what was queued.
#include "IntakeTestSupport.h"

using Fixture = clsIntakeFixture;

TEST(MessageAnalyser, TheRuleQueryIsWrittenPieceByPieceAndRuns) {
    Fixture f;
    f.StartIntake({}, {{"Filters", "Junk Heuristics", true}});
    f.Mapi().SetOwnAddresses({"BOB@Example.net"});
    const auto catchAll = [&f](bool incoming, bool enabled, std::string body) {
        clsRuleRecord rule;
        rule.IncomingRule = incoming;
        rule.Enabled = enabled;
        rule.BodyContains = std::move(body);
        rule.Actions = {clsRuleAction{}};
        return f.AddRule(rule);
    };
    const std::int32_t in = catchAll(true, true, "");
    const std::int32_t out = catchAll(false, true, "");
    const std::int32_t off = catchAll(false, false, "Hello");
    const std::string select =
        "MessageAnalyser->AnalyseMessage: SELECT ID, SubjectContains, "
        "BodyContains, StopProcessing FROM Rules WHERE ";
    const std::string fromAnn = R"(FromEmail IN ("","ann@example.org","@example.org") )";
    struct Case {
        const char *From, *To;
        bool IncludeDisabled;
        std::string Sql;
        std::vector<std::int32_t> Queued;
    } const cases[] = {
        {"Ann <ann@example.org>",
         "undisclosed-recipients:;",
         false,
         select + "Enabled=TRUE AND " + fromAnn +
             R"( AND ToEmail="" AND IncomingRule=TRUE ORDER BY Priority;)",
         {in}},
        {"Bob <bob@example.net>",
         "Ann <Ann@Example.ORG>, Cy <cy@other.example>",
         true,
         select + R"(FromEmail IN ("","bob@example.net","@example.net") )"
                  R"(AND ToEmail IN ("", "ann@example.org", "@example.org", "cy@other.example", )"
                  R"("@other.example") AND IncomingRule=FALSE ORDER BY Priority;)",
         {out, off}}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.To);
        clsMailItem item =
            f.DeliverMail("query " + std::to_string(f.Delivered), "Hello.\n", c.From, c.To);
        f.Analyser->SetIncludeDisabledRules(c.IncludeDisabled);
        f.Analyser->AnalyseMessage(item);
        EXPECT_TRUE(Holds(f.LogText(), c.Sql + "\n")) << c.Sql;
        f.RunQueue();
        EXPECT_EQ(Fixture::Processed(item), Fixture::Mark(c.Queued));
    }
    EXPECT_EQ(Occurrences(f.LogText(), "MessageAnalyser->GetMyEmailAddresses: Retrieve addresses"),
              1U);

    // A delivery report is no message: never queried, never queued, not even as junk.
    f.Analyser->SetCheckJunk(true);
    f.Spam->Probability = 1.0;
    Deliver(f.Root, "report.T.host",
            "From: MAILER-DAEMON@example.org\nTo: bob@example.net\nSubject: Undelivered\n"
            "MIME-Version: 1.0\nContent-Type: multipart/report; report-type=delivery-status; "
            "boundary=\"b\"\n\n--b\nContent-Type: text/plain\n\nGone.\n--b--\n");
    const std::string queries = f.LogText();
    clsMailItem report = *f.ItemIn("INBOX", "Undelivered");
    f.Analyser->AnalyseMessage(report);
    EXPECT_EQ(f.Queue->ItemCount(), 0);
    EXPECT_EQ(Occurrences(f.LogText(), "FROM Rules WHERE"),
              Occurrences(queries, "FROM Rules WHERE"));
    EXPECT_TRUE(Holds(f.LogText(), "item not a message (ReportItem), exiting"));
}

TEST(MessageAnalyser, JunkChecksQueueTheFixedRulesByBlockedSenderAndScoreBand) {
    Fixture f;
    f.StartIntake({}, {{"Rules Engine", "Check Junk", true},
                       {"Filters", "Junk List", true},
                       {"Filters", "Junk Heuristics", true}});
    f.Mapi().SetOwnAddresses({"bob@example.net"});
    ASSERT_TRUE(f.Engine->AddJunkSenderEmail("spammer@bad.example"));
    struct Case {
        const char* From;
        double Probability;
        bool Suspects, CheckJunk;
        const char* Folder;
        std::int32_t ClassedAsSpam, PassedThrough;
    } const cases[] = {{"spammer@bad.example", 0.0, false, true, "Junk E-mail", 0, 1},
                       {"ann@example.org", 0.8, false, true, "Junk E-mail", 1, 1},
                       {"ann@example.org", 0.5, false, true, "Inbox", 0, 1},
                       {"ann@example.org", 0.2, true, true, "Inbox", 0, 1},
                       {"bob@example.net", 0.99, true, true, "Inbox", 0, 0},  // outgoing
                       {"ann@example.org", 0.99, false, false, "Inbox", 0, 0}};
    const clsStatistics& statistics = f.Engine->Statistics();
    for (const Case& c : cases) {
        const std::string subject = "junk " + std::to_string(f.Delivered);
        SCOPED_TRACE(subject + " " + c.From + " " + std::to_string(c.Probability));
        f.Spam->Probability = c.Probability;
        f.Spam->UseJunkSuspects = c.Suspects;
        f.Engine->SetUseJunkSuspectsFolder(c.Suspects);
        f.Analyser->SetCheckJunk(c.CheckJunk);
        const std::int32_t spam = statistics.EmailsClassedAsSpamCount();
        const std::int32_t passed = statistics.EmailsPassedThroughSpamFilterCount();
        clsMailItem item = f.DeliverMail(subject, "Hello.\n", c.From);
        f.Analyser->AnalyseMessage(item);
        f.RunQueue();
        EXPECT_TRUE(f.ItemIn(f.TopFolderID(c.Folder), subject));
        EXPECT_EQ(statistics.EmailsClassedAsSpamCount() - spam, c.ClassedAsSpam);
        EXPECT_EQ(statistics.EmailsPassedThroughSpamFilterCount() - passed, c.PassedThrough);
    }
}
