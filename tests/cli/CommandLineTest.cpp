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

TEST_F(CommandLine, EveryActionOptionIsStoredAndDeleteRemovesTheRule) {
    Must({"rules",       "add",     "--name",       "Clients",   "--to",       "@client.org",
          "--subject",   "Invoice", "--body",       "due",       "--copy-to",  "Clients",
          "--move-to",   "Archive", "--importance", "h",         "--forward",  "me@home.org",
          "--autoreply", "2",       "--delete",     "--stop",    "--outgoing", "--priority",
          "7",           "--group", "Work",         "--disabled"});
    const std::string show = Must({"rules", "show", "1"});
    for (const char* expected :
         {"Name: Clients\n", "Priority: 7\n", "Enabled: no\n", "Applies: on sending\n",
          "Group: 1\n", "To: @client.org\n", "Subject contains: invoice\n", "Body contains: due\n",
          "Stop processing: yes\n",
          "Action 1: copy to Clients; importance H; forward to me@home.org; auto-reply 2; "
          "delete;\n",
          "Action 2: move to Archive;\n"}) {
        EXPECT_TRUE(Holds(show, expected)) << expected << "\n" << show;
    }
    EXPECT_EQ(Run({"groups", "list"}).Out, "0\tNo group\n1\tWork\n");
    Must({"rules", "delete", "1"});
    EXPECT_EQ(Run({"rules", "list"}).Out, "");
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
             Case{{"rules", "add", "--forward", "@b.org"}, "a full address is needed"},
             Case{{"rules", "add", "--delete", "--importance", "X"}, "--importance"},
             Case{{"rules", "show", "42"}, "corvel rules list"},
             Case{{"rules", "delete", "42"}, "there is no rule 42"},
             Case{{"options", "get", "Antispam", "Nothing"}, "corvel options set"},
             Case{{"groups", "add", "a\"b"}, "double quote"},
             Case{{"registry", "import", "/no/such/file.reg"}, "/no/such/file.reg"},
             Case{{"rules"}, "rules"},
             Case{{"frobnicate"}, "frobnicate"},
             Case{{"show", "INBOX/no-such-item"}, "corvel items FOLDER"},
             Case{{"items", "Nowhere"}, "corvel folders"},
             Case{{"folders", "create", "Relative"}, "full path"},
             Case{{"folders", "create", "\\\\Mailbox\\a.b"}, "cannot create"},
             Case{{"profile", "show", "Nobody"}, "corvel profile list"},
             Case{{"templates", "show", "9"}, "corvel templates list"},
             Case{{"templates", "delete", "9"}, "corvel templates list"},
             Case{{"templates", "show", "one"}, "ID"},
             Case{{"templates", "create", "--subject", "S"}, "--body"},
             Case{{"templates", "create", "--subject", "S", "--body", "a", "--body-file", "b"},
                  "--body"},
             Case{{"templates", "create", "--body", "a"}, "--subject"},
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

// CLI11 answers --help alike at every level: the top, a group and commands with required
// arguments stand for the others.
TEST_F(CommandLine, HelpExplainsACommandAndTouchesNothing) {
    for (const std::vector<std::string>& args :
         std::vector<std::vector<std::string>>{{"--help"},
                                               {"rules", "--help"},
                                               {"rules", "add", "--help"},
                                               {"registry", "import", "--help"}}) {
        const clsRun run = Run(args);
        EXPECT_EQ(run.ExitCode, 0) << args.front();
        EXPECT_TRUE(Holds(run.Out, "Usage:")) << run.Out;
    }
    EXPECT_FALSE(std::filesystem::exists(DataFolder() / "Rules.mdb")) << "help touched nothing";
}

TEST_F(CommandLine, OptionsGroupsAndTheDataDirOverride) {
    const std::string other = (mFolder.Path() / "elsewhere").string();
    Must({"--data-dir", other, "options", "set", "Antispam", "Minimum Spam Score", "0.75"});
    EXPECT_EQ(Run({"--data-dir", other, "options", "get", "antispam", "minimum spam score"}).Out,
              "0.75\n");
    EXPECT_TRUE(std::filesystem::exists(std::filesystem::path(other) / "Rules.mdb"));
    EXPECT_FALSE(std::filesystem::exists(DataFolder() / "Rules.mdb"));
    EXPECT_EQ(Run({"--data-dir", other, "groups", "add", "Family"}).Out, "Group 1: Family\n");
    EXPECT_EQ(Run({"--data-dir", other, "groups", "add", "Family"}).Out, "Group 1: Family\n");
}

TEST_F(CommandLine, RegistryFilesImportAndExportTheSettings) {
    const std::filesystem::path in = mFolder.Path() / "in.reg";
    std::ofstream(in) << "REGEDIT4\n\n; Corvel settings\n"
                         "[HKEY_CURRENT_USER\\Software\\KESTO\\Corvel\\Logging]\n"
                         "\"Level\"=\"3\"\n\"Flags\"=dword:0000000a\n";
    Must({"registry", "import", in.string()});
    const std::filesystem::path out = mFolder.Path() / "out.reg";
    Must({"registry", "export", out.string(), "HKCU\\Software\\KESTO"});
    const std::string text = ReadWholeFile(out);
    EXPECT_EQ(text.rfind("REGEDIT4", 0), 0U);
    EXPECT_TRUE(Holds(text, "[HKEY_CURRENT_USER\\Software\\KESTO\\Corvel\\Logging]"));
    EXPECT_TRUE(Holds(text, "\"Flags\"=dword:0000000a"));

    // The imported level reaches the log: level-3 entries (each SQL text) are now written.
    Must({"rules", "list"});
    EXPECT_TRUE(Holds(ReadWholeFile(DataFolder() / "Corvel.log"),
                      "RulesDatabase->GetRS: SELECT * FROM Rules ORDER BY Priority"));
}
