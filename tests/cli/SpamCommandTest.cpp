// corvel spam: training from two folders, judging items and files. Header rules are checked in
// SpamFilterTest.
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

// The verdict lines of `spam check --folder` are read by the daemon scenario (DaemonScenarioTest);
// here the second training, a trained item and a file.
TEST_F(SpamCommand, TrainsOnceThenJudgesItemsAndFiles) {
    for (const char* zone : {"URI Block List", "IP Block List"}) {
        Must({"options", "set", "Antispam", zone, ""});
    }
    Must({"spam", "train", "--good", "Ham", "--bad", "Junk", "--clear"});
    const std::string again = Must({"spam", "train", "--good", "Ham", "--bad", "Junk"});
    EXPECT_NE(again.find("Good messages: 12\nGood tokens:"), std::string::npos) << again;
    EXPECT_NE(again.find("Skipped (trained before): 24\n"), std::string::npos);
    EXPECT_NE(Must({"spam", "check", "--folder", "Test"})
                  .find("# 2 items in \\\\Mailbox\\Test: 1 spam, 0 unsure, 1 good\n"),
              std::string::npos);
    EXPECT_NE(Must({"spam", "check", "--debug", "Junk/3.Junk.h"})
                  .find("Message found in corpus, analysis ignored."),
              std::string::npos);
    const std::string file = Must({"spam", "check", "--debug", "--file",
                                   (DefaultMaildir() / ".Test/cur/2.Test.h:2,S").string()});
    EXPECT_EQ(file.substr(file.find('\t'), 6), "\tspam\n") << file;
    EXPECT_NE(file.find("\nlottery 1.000\n"), std::string::npos) << file;
}

}  // namespace
