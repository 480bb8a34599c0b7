// `corvel rules export|import|verify` end to end: the rules of one user's data folder carried to
// another user's through an archive file.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include "support/TestSupport.h"

namespace {

class RulesArchiveCommand : public testing::Test {
protected:
    struct clsRun {
        int ExitCode;
        std::string Out, Err;
    };
    // Runs corvel as the user whose home is the folder `user`, in that folder, on its data folder.
    clsRun Run(const std::string& user, const std::vector<std::string>& args) {
        const std::filesystem::path home = Home(user);
        std::filesystem::create_directories(home);
        std::string line = "cd " + Quoted(home.string()) +
                           " && XDG_CONFIG_HOME=" + Quoted((home / "config").string()) +
                           " XDG_DATA_HOME=" + Quoted((home / "share").string()) + " " +
                           CORVEL_BINARY + " --data-dir " + Quoted((home / "data").string());
        for (const std::string& arg : args) {
            line += " " + Quoted(arg);
        }
        const std::filesystem::path out = mFolder.Path() / "out", err = mFolder.Path() / "err";
        const int status = std::system(
            (line + " >" + Quoted(out.string()) + " 2>" + Quoted(err.string())).c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadWholeFile(out),
                ReadWholeFile(err)};
    }
    std::filesystem::path Home(const std::string& user) const { return mFolder.Path() / user; }
    static std::string Quoted(std::string_view text) {
        std::string quoted = "'";
        for (char c : text) {
            quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
        }
        return quoted + "'";
    }
    void AddRules(const std::string& user) {
        for (const std::vector<std::string>& rule : std::vector<std::vector<std::string>>{
                 {"--from", "boss@example.com", "--move-to", "\\\\Mailbox\\Inbox\\Boss",
                  "--mark-read"},
                 {"--to", "@client.org", "--subject", "Invoice, March", "--copy-to", "Archive",
                  "--outgoing", "--group", "Work"},
                 {"--body", "unsubscribe", "--delete", "--stop", "--disabled"}}) {
            std::vector<std::string> args = {"rules", "add"};
            args.insert(args.end(), rule.begin(), rule.end());
            ASSERT_EQ(Run(user, args).ExitCode, 0);
        }
    }

    clsTempFolder mFolder;
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
    EXPECT_EQ(Run("bob", {"rules", "import", archive}).Out,
              "Imported 0 rules from " + archive + "\n");

    // Failures say what to do and change nothing.
    std::ofstream(Home("bob") / "notes.zip") << "not an archive";
    struct Case {
        std::vector<std::string> Args;
        std::string Message;
    };
    for (const Case& c :
         {Case{{"rules", "import", (Home("bob") / "notes.zip").string()},
               "corvel: cannot import the rules from " + (Home("bob") / "notes.zip").string() +
                   "; give an archive made by `corvel rules export`"},
          Case{{"rules", "export", "/no/such/folder/rules.zip"},
               "corvel: cannot export the rules to /no/such/folder/rules.zip; choose a folder"},
          Case{{"rules", "import", "/no/such/rules.zip"}, "/no/such/rules.zip"}}) {
        SCOPED_TRACE(c.Args.back());
        const clsRun run = Run("bob", c.Args);
        EXPECT_NE(run.ExitCode, 0);
        EXPECT_NE(run.Err.find(c.Message), std::string::npos) << run.Err;
    }
    EXPECT_EQ(Run("bob", {"rules", "list"}).Out, annList.Out);
}

TEST_F(RulesArchiveCommand, VerifyNamesEachMissingFolderUntilItExists) {
    AddRules("ann");
    clsRun verify = Run("ann", {"rules", "verify"});
    EXPECT_EQ(verify.ExitCode, 1);
    EXPECT_EQ(verify.Out,
              "rule 1: folder not found: \\\\Mailbox\\Inbox\\Boss\nrule 2: folder not found: "
              "Archive\n");
    EXPECT_NE(verify.Err.find("corvel: 2 rule folders not found;"), std::string::npos);

    for (const char* folder : {"\\\\Mailbox\\Inbox\\Boss", "\\\\Mailbox\\Archive"}) {
        ASSERT_EQ(Run("ann", {"folders", "create", folder}).ExitCode, 0);
    }
    verify = Run("ann", {"rules", "verify"});
    EXPECT_EQ(verify.ExitCode, 0) << verify.Err;
    EXPECT_EQ(verify.Out, "Every folder of the 3 rules exists\n");
}
