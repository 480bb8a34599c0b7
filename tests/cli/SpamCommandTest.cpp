// corvel spam: the header rules a user keeps, and the mistakes the commands explain.
#include "CliTestSupport.h"

class SpamCommand : public clsCorvelCommandTest {};

TEST_F(SpamCommand, HeaderRulesAndMistakesAreExplained) {
    Must({"spam", "headers", "add", "X-Spam-Score", ">=5"});
    Must({"spam", "headers", "add", "X-Spam-Score", ">6.5"});  // replaces
    EXPECT_EQ(Must({"spam", "headers", "list"}), "X-Spam-Score\t>6.5\n");
    const clsRun bad = Run({"spam", "headers", "add", "X-Flag", "yes"});
    EXPECT_EQ(bad.ExitCode, 1);
    EXPECT_NE(bad.Err.find("is no criteria"), std::string::npos) << bad.Err;
    Must({"spam", "headers", "remove", "x-spam-score"});
    EXPECT_EQ(Must({"spam", "headers", "list"}), "");

    EXPECT_NE(Run({"spam", "check"}).Err.find("give exactly one of"), std::string::npos);
    EXPECT_NE(Run({"spam", "check", "Nowhere/1"}).Err.find("there is no item"), std::string::npos);
    Must({"folders", "create", "\\\\Mailbox\\Ham"});
    EXPECT_NE(Run({"spam", "train", "--good", "Ham", "--bad", "Missing"}).Err.find("Missing"),
              std::string::npos);
}
