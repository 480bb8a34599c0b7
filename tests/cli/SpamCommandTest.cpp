// corvel spam: training from two folders, judging items, folders and files, header rules.
#include <fstream>

#include "CliTestSupport.h"

namespace {

class SpamCommand : public clsCorvelCommandTest {
protected:
    // Twelve messages per side, so the classifier has enough data (ten at least).
    void SetUp() override {
        for (const char* folder : {"Ham", "Junk", "Test"}) {
            Must({"folders", "create", std::string("\\\\Mailbox\\") + folder});
        }
        for (int i = 0; i < 12; ++i) {
            Put("Ham", i, "Project meeting " + std::to_string(i),
                "The agenda for tomorrow's project meeting is attached, regards Ann.");
            Put("Junk", i, "You are a winner " + std::to_string(i),
                "Claim your lottery prize now! Cheap pills, casino bonus, winner winner.");
        }
        Put("Test", 1, "Agenda", "Project meeting agenda, regards.");
        Put("Test", 2, "Prize", "Winner! Claim the lottery prize and casino bonus.");
    }
    void Put(const std::string& folder, int n, const std::string& subject,
             const std::string& body) {
        // Maildir names are unique across folders: the store keys user properties by them.
        std::ofstream(DefaultMaildir() / ("." + folder) / "cur" /
                      (std::to_string(n) + "." + folder + ".h:2,S"))
            << "From: Sender <s" << n << "@example.org>\nTo: me@example.net\nSubject: " << subject
            << "\nMessage-ID: <" << folder << n << "@example.org>\n\n"
            << body << "\n";
    }
};

TEST_F(SpamCommand, TrainsOnceThenJudgesAFolderItemByItem) {
    for (const char* zone : {"URI Block List", "IP Block List"}) {
        Must({"options", "set", "Antispam", zone, ""});
    }
    const clsRun train = Run({"spam", "train", "--good", "Ham", "--bad", "Junk", "--clear"});
    ASSERT_EQ(train.ExitCode, 0) << train.Err;
    EXPECT_NE(train.Out.find("Good messages: 12\n"), std::string::npos) << train.Out;
    EXPECT_NE(train.Err.find("Training bad mail"), std::string::npos) << "no progress shown";

    const std::string again = Must({"spam", "train", "--good", "Ham", "--bad", "Junk"});
    EXPECT_NE(again.find("Good messages: 12\nGood tokens:"), std::string::npos) << again;
    EXPECT_NE(again.find("Skipped (trained before): 24\n"), std::string::npos);

    const std::string check = Must({"spam", "check", "--folder", "Test"});
    EXPECT_NE(check.find("\tgood\tTest/1.Test.h\n"), std::string::npos) << check;
    EXPECT_NE(check.find("\tspam\tTest/2.Test.h\n"), std::string::npos) << check;
    EXPECT_NE(check.find("# 2 items in \\\\Mailbox\\Test: 1 spam, 0 unsure, 1 good\n"),
              std::string::npos);

    // A trained item is not judged again; a file is judged like an item.
    EXPECT_NE(Must({"spam", "check", "--debug", "Junk/3.Junk.h"})
                  .find("Message found in corpus, analysis ignored."),
              std::string::npos);
    const std::string file = Must({"spam", "check", "--debug", "--file",
                                   (DefaultMaildir() / ".Test/cur/2.Test.h:2,S").string()});
    EXPECT_EQ(file.substr(file.find('\t'), 6), "\tspam\n") << file;
    EXPECT_NE(file.find("\nlottery 1.000\n"), std::string::npos) << file;
}

TEST_F(SpamCommand, HeaderRulesAndMistakesAreExplained) {
    Must({"spam", "headers", "add", "X-Spam-Score", ">=5"});
    Must({"spam", "headers", "add", "X-Spam-Score", ">6.5"});  // replaces
    EXPECT_EQ(Must({"spam", "headers", "list"}), "X-Spam-Score\t>6.5\n");
    const clsRun bad = Run({"spam", "headers", "add", "X-Flag", "yes"});
    EXPECT_EQ(bad.ExitCode, 1);
    EXPECT_NE(bad.Err.find("is no criteria"), std::string::npos) << bad.Err;
    Must({"spam", "headers", "remove", "x-spam-score"});
    EXPECT_EQ(Must({"spam", "headers", "list"}), "");

    EXPECT_NE(Run({"spam", "check", "Nowhere/1"}).Err.find("there is no item"), std::string::npos);
}

}  // namespace
