// `corvel rules export|import|verify` end to end: the rules of one user's data folder carried to
// another user's through an archive file.
#include "CliTestSupport.h"

namespace {

class RulesArchiveCommand : public clsCorvelCommandTest {
protected:
    // Runs corvel as the user whose home is the folder `user`, in that folder.
    clsRun Run(const std::string& user, const std::vector<std::string>& args) {
        return RunIn(Home(user), args);
    }
    std::filesystem::path Home(const std::string& user) const { return mFolder.Path() / user; }
    void AddRules(const std::string& user) {
        for (const std::vector<std::string>& args : std::vector<std::vector<std::string>>{
                 {"rules", "add", "--from", "boss@example.com", "--move-to",
                  "\\\\Mailbox\\Inbox\\Boss", "--mark-read"},
                 {"rules", "add", "--to", "@client.org", "--subject", "Invoice, March", "--copy-to",
                  "Archive", "--outgoing", "--group", "Work"},
                 {"rules", "add", "--body", "unsubscribe", "--delete", "--stop", "--disabled"}}) {
            ASSERT_EQ(Run(user, args).ExitCode, 0);
        }
    }
};

}  // namespace

TEST_F(RulesArchiveCommand, AnExportImportedByAnotherUserListsTheSameRules) {
    AddRules("ann");
    const clsRun exported = Run("ann", {"rules", "export"});
    ASSERT_EQ(exported.ExitCode, 0) << exported.Err;
    const std::string archive = (Home("ann") / "rules.zip").string();
    EXPECT_EQ(exported.Out, "Exported 3 rules to " + archive + "\n");

    const clsRun imported = Run("bob", {"rules", "import", archive});
    ASSERT_EQ(imported.ExitCode, 0) << imported.Err;
    EXPECT_EQ(imported.Out, "Imported 3 rules from " + archive + "\n");
    const clsRun annList = Run("ann", {"rules", "list"});
    EXPECT_EQ(annList.Out.substr(0, 2), "1\t");
    EXPECT_EQ(Run("bob", {"rules", "list"}).Out, annList.Out);
    EXPECT_EQ(Run("bob", {"groups", "list"}).Out, Run("ann", {"groups", "list"}).Out);

    // An archive it did not make is refused, saying what to give, and changes nothing.
    const std::string notes = (Home("bob") / "notes.zip").string();
    std::ofstream(notes) << "not an archive";
    const clsRun refused = Run("bob", {"rules", "import", notes});
    EXPECT_NE(refused.ExitCode, 0);
    EXPECT_TRUE(Holds(refused.Err, "corvel: cannot import the rules from " + notes +
                                       "; give an archive made by `corvel rules export`"))
        << refused.Err;
    EXPECT_EQ(Run("bob", {"rules", "list"}).Out, annList.Out);
}

TEST_F(RulesArchiveCommand, VerifyNamesEachMissingFolderUntilItExists) {
    AddRules("ann");
    clsRun verify = Run("ann", {"rules", "verify"});
    EXPECT_EQ(verify.ExitCode, 1);
    EXPECT_EQ(verify.Out,
              "rule 1: folder not found: \\\\Mailbox\\Inbox\\Boss\nrule 2: folder not found: "
              "Archive\n");
    EXPECT_TRUE(Holds(verify.Err, "corvel: 2 rule folders not found;"));

    for (const char* folder : {"\\\\Mailbox\\Inbox\\Boss", "\\\\Mailbox\\Archive"}) {
        ASSERT_EQ(Run("ann", {"folders", "create", folder}).ExitCode, 0);
    }
    verify = Run("ann", {"rules", "verify"});
    EXPECT_EQ(verify.ExitCode, 0) << verify.Err;
    EXPECT_EQ(verify.Out, "Every folder of the 3 rules exists\n");
}
