// The processing queue on a real Maildir and Rules.mdb: the time budget, suspended folders, items
// that vanished, filing, deletion and the fixed junk rules.
#include <algorithm>
#include <limits>

#include "IntakeTestSupport.h"

using Fixture = clsIntakeFixture;

TEST(Queue, TheBudgetIsCheckedBeforeEachItemOldestFirst) {
    constexpr std::int32_t kTop = std::numeric_limits<std::int32_t>::max();
    struct Case {
        std::int32_t Start, Step, Budget;
        int Processed;
    } const cases[] = {
        {0, 50, 100, 1},
        {0, 200, 100, 0},
        {-50, 10, 100, 4},
        {kTop - 10, 1, 5, 4},
        // Past the wrap the deadline is the budget itself: nothing runs until the counter has
        // wrapped, then the pass runs until the counter is back at the budget.
        {kTop - 10, 1, 100, 0},
        {kTop - 10, 1011, 100, 4}};
    Fixture f;
    f.StartIntake();
    const std::int32_t rule = f.AddSubjectRule("budget");
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.Start) + "+" + std::to_string(c.Budget));
        f.Queue = std::make_unique<clsQueue>(*f.Engine, f.Ticks);
        f.Queue->Initialise();
        std::vector<clsMailItem> items;
        for (int i = 0; i < 4; ++i) {
            items.push_back(f.DeliverMail("budget " + std::to_string(f.Delivered)));
            f.Queue->AddItem(items.back().EntryID(), Fixture::Rules({rule}));
        }
        f.Ticks.Now = c.Start;
        f.Ticks.Step = c.Step;
        f.Queue->Process(c.Budget);
        EXPECT_EQ(f.Queue->ItemCount(), 4 - c.Processed);
        for (int i = 0; i < 4; ++i) {
            EXPECT_EQ(Fixture::Processed(items[i]), i < c.Processed ? Fixture::Mark({rule}) : "");
        }
    }
}

TEST(Queue, ASuspendedHeadItemHoldsUpTheItemsBehindIt) {
    Fixture f;
    f.StartIntake({"Inbox/Other"});
    const std::int32_t rule = f.AddSubjectRule("wait");
    const clsMailItem first = f.DeliverMail("wait first");
    const clsMailItem second = *f.DeliverMail("wait second").Move(f.FolderAt("INBOX/Other"));
    f.Queue->AddItem(first.EntryID(), Fixture::Rules({rule}));
    f.Queue->AddItem(second.EntryID(), Fixture::Rules({rule}));

    f.Queue->Suspend("INBOX");
    f.RunQueue();
    EXPECT_EQ(f.Queue->ItemCount(), 2) << "the second item's folder is free, but it waits";
    f.Queue->Unsuspend("INBOX");
    f.Queue->Suspend("INBOX/Other");
    f.RunQueue();
    EXPECT_EQ(f.Queue->ItemCount(), 1);
    EXPECT_EQ(Fixture::Processed(first), Fixture::Mark({rule}));
    EXPECT_EQ(Fixture::Processed(second), "");
    f.Queue->Unsuspend("INBOX/Other");
    f.RunQueue();
    EXPECT_EQ(f.Queue->ItemCount(), 0);
    EXPECT_EQ(Fixture::Processed(second), Fixture::Mark({rule}));
}

TEST(Queue, AnItemGoneBeforeItsTurnIsDroppedWithOneErrorEntryAndNoAction) {
    Fixture f;
    f.StartIntake();
    clsRuleAction read;
    read.MarkAsRead = true;
    const std::int32_t rule = f.AddSubjectRule("gone", read);
    const clsMailItem gone = f.DeliverMail("gone soon");
    const clsMailItem kept = f.DeliverMail("gone not");
    f.Queue->AddItem(gone.EntryID(), Fixture::Rules({rule}));
    f.Queue->AddItem(kept.EntryID(), Fixture::Rules({rule}));
    ASSERT_TRUE(gone.Delete());  // by the user, while it waited

    f.RunQueue();
    EXPECT_EQ(f.Queue->ItemCount(), 0);
    EXPECT_EQ(Occurrences(f.LogText(), "Queue->Process: "), 1U);
    EXPECT_EQ(f.Engine->Statistics().EmailsProcessedCount(), 1);
    const clsMailFolder trash = *f.Mapi().GetDefaultFolder(DefaultFolder::DeletedItems);
    const std::optional<clsMailItem> trashed = f.ItemIn(trash.EntryID(), "gone soon");
    ASSERT_TRUE(trashed);
    EXPECT_TRUE(trashed->UnRead());
    EXPECT_EQ(Fixture::Processed(*trashed), "");
    EXPECT_FALSE(f.ItemIn("INBOX", "gone not")->UnRead());
}

// The daemon scenario files moves, copies and junk; here what it never meets: a rule's folder
// gone, deletion asked for more than once or with a move, junk suspects switched off.
TEST(Queue, FilingToAGoneFolderRepeatedDeletionAndJunkWithoutSuspects) {
    Fixture f;
    f.StartIntake({"X"});
    const auto rule = [&f](const char* name, const char* path, bool remove) {
        clsRuleAction action = clsEngineFixture::FileTo(path, false);
        action.Delete = remove;
        return f.AddSubjectRule(name, action);
    };
    const std::int32_t lost = rule("lost", "\\\\Mailbox\\Gone", false);
    const std::int32_t drop = rule("drop", "", true);
    const std::int32_t dropToX = rule("dropToX", "\\\\Mailbox\\X", true);
    const std::int32_t junk = clsQueue::kJunkRule;
    struct Case {
        std::vector<std::int32_t> Rules;
        const char* Folder;
    } const cases[] = {{{lost}, "Inbox"},
                       {{drop, drop, drop}, "Deleted Items"},
                       {{drop, dropToX}, "X"},
                       {{junk}, "Junk E-mail"},
                       {{clsQueue::kJunkSuspectRule}, "Inbox"}};
    f.Spam->UseJunkSuspects = false;
    std::vector<std::string> junkSubjects;
    for (const Case& c : cases) {
        const std::string subject = "file " + std::to_string(f.Delivered);
        SCOPED_TRACE(subject);
        f.Queue->AddItem(f.DeliverMail(subject).EntryID(), Fixture::Rules(c.Rules));
        f.RunQueue();
        std::vector<std::string> places;
        for (const clsMailFolder& folder : f.Mapi().Folders().front().Folders()) {
            for (const std::string& found : SubjectsOf(folder)) {
                places.insert(places.end(), found == subject, folder.Name());
            }
        }
        ASSERT_EQ(places, std::vector<std::string>{c.Folder});
        std::vector<std::int32_t> once = c.Rules;
        once.erase(std::unique(once.begin(), once.end()), once.end());
        EXPECT_EQ(Fixture::Processed(*f.ItemIn(f.TopFolderID(c.Folder), subject)),
                  Fixture::Mark(once));
        junkSubjects.insert(junkSubjects.end(), c.Rules.front() == junk, subject);
    }
    const std::string log = f.LogText();
    EXPECT_EQ(Occurrences(log, "Queue->DeleteMessage: success"), 1U);
    EXPECT_EQ(f.Spam->TrainedAsBad, junkSubjects);
    EXPECT_EQ(Occurrences(log, "Couldn't find folder to copy to - \\\\Mailbox\\Gone"), 1U);
    EXPECT_TRUE(Holds(log, "Rule folder cannot be identified, edit rule now?"));
    EXPECT_EQ(f.Subjects("INBOX").size(), 2U) << "no missing-folder report is filed";
}
