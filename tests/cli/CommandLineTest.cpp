// The corvel binary end to end, in a private data folder and settings store.
#include "CliTestSupport.h"

namespace {

class CommandLine : public clsCorvelCommandTest {};

const char* const kBossDescription =
    "On arrival, if from boss@example.com move to \\\\Mailbox\\Inbox\\Boss, mark as read";

}  // namespace

TEST_F(CommandLine, AddingARuleCreatesTheDatabaseAndListsItsDescription) {
    Must({"rules", "add", "--from", "boss@example.com", "--move-to", "\\\\Mailbox\\Inbox\\Boss",
          "--mark-read"});
    // The stock sqlite3 shell reads the file; RulesDatabaseCreate checks each table.
    const clsRun tables =
        RunIn(mFolder.Path(), {(DataFolder() / "Rules.mdb").string(), ".tables"}, "sqlite3");
    EXPECT_TRUE(tables.ExitCode == 0 && Holds(tables.Out, "RuleActions")) << tables.Err;
    EXPECT_EQ(Run({"db", "version"}).Out, "1.9\n");
    EXPECT_EQ(Run({"rules", "list"}).Out, std::string("1\t1\t") + kBossDescription + "\n");
    const std::string show = Must({"rules", "show", "1"});
    EXPECT_TRUE(Holds(show, "From: boss@example.com\n"));
    EXPECT_TRUE(Holds(show, "Action 1: move to \\\\Mailbox\\Inbox\\Boss; mark as read;"));
    EXPECT_TRUE(Holds(ReadWholeFile(DataFolder() / "Corvel.log"),
                      "   RulesDatabase->CreateDatabase: Creating new database"));
}

// Each command's mistakes: a non-zero exit, a message that says what to do, nothing stored.
TEST_F(CommandLine, MistakesExitNonZeroWithAMessageThatSaysWhatToDo) {
    struct Case {
        std::vector<std::string> Args;
        std::string Message;
    };
    for (const Case& c : {
             Case{{"rules", "add", "--from", "not an address", "--delete"}, "--from"},
             Case{{"rules", "add", "--from", "a@b.org"}, "a rule needs an action"},
             Case{{"rules", "show", "42"}, "corvel rules list"},
             Case{{"groups", "add", "a\"b"}, "double quote"},
             Case{{"show", "INBOX/no-such-item"}, "corvel items FOLDER"},
             Case{{"items", "Nowhere"}, "corvel folders"},
             Case{{"folders", "create", "\\\\Mailbox\\a.b"}, "cannot create"},
             Case{{"templates", "show", "9"}, "corvel templates list"},
             Case{{"templates", "create", "--subject", "S", "--body-file", "/no/such/file"},
                  "cannot read /no/such/file"},
         }) {
        SCOPED_TRACE(c.Args.front() + " " + c.Message);
        const clsRun run = Run(c.Args);
        EXPECT_NE(run.ExitCode, 0);
        EXPECT_TRUE(Holds(run.Err, c.Message)) << run.Err;
        EXPECT_EQ(run.Out, "");
    }
    EXPECT_EQ(Run({"rules", "list"}).Out, "") << "no mistake stored a rule";
    EXPECT_EQ(Run({"templates", "list"}).Out, "") << "no mistake stored a template";
}
