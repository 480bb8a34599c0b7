// The corvel binary end to end, in a private data folder and settings store.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <regex>

#include "support/TestSupport.h"

namespace {

struct clsRun {
    int ExitCode;
    std::string Out, Err;
};

std::string ShellQuoted(std::string_view text) {
    std::string quoted = "'";
    for (char c : text) {
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return quoted + "'";
}

class CommandLine : public testing::Test {
protected:
    clsRun Run(const std::vector<std::string>& args, const std::string& command = CORVEL_BINARY) {
        std::string line = "XDG_CONFIG_HOME=" + ShellQuoted(Config().string()) +
                           " XDG_DATA_HOME=" + ShellQuoted(Data().string()) + " " + command;
        for (const std::string& arg : args) {
            line += " " + ShellQuoted(arg);
        }
        const std::filesystem::path out = mFolder.Path() / "out", err = mFolder.Path() / "err";
        line += " >" + ShellQuoted(out.string()) + " 2>" + ShellQuoted(err.string());
        const int status = std::system(line.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadWholeFile(out),
                ReadWholeFile(err)};
    }
    std::filesystem::path Config() const { return mFolder.Path() / "config"; }
    std::filesystem::path Data() const { return mFolder.Path() / "data"; }
    std::filesystem::path DataFolder() const { return Data() / "corvel"; }

    clsTempFolder mFolder;
};

const char* const kBossDescription =
    "On arrival, if from boss@example.com move to \\\\Mailbox\\Inbox\\Boss, mark as read";

}  // namespace

TEST_F(CommandLine, AddingARuleCreatesTheDatabaseAndListsItsDescription) {
    const clsRun add = Run({"rules", "add", "--from", "boss@example.com", "--move-to",
                            "\\\\Mailbox\\Inbox\\Boss", "--mark-read"});
    ASSERT_EQ(add.ExitCode, 0) << add.Err;
    ASSERT_TRUE(std::filesystem::exists(DataFolder() / "Rules.mdb"));

    const clsRun tables = Run({(DataFolder() / "Rules.mdb").string(), ".tables"}, "sqlite3");
    ASSERT_EQ(tables.ExitCode, 0) << tables.Err;
    for (const char* table :
         {"Rules", "RuleActions", "Actions", "Groups", "Group Members", "Options", "Spam Senders",
          "Spam Headers", "Good_Corpus", "Bad_Corpus", "Good_Headers", "Bad_Headers", "Version"}) {
        EXPECT_NE(tables.Out.find(table), std::string::npos) << table;
    }

    EXPECT_EQ(Run({"db", "version"}).Out, "1.9\n");
    EXPECT_EQ(Run({"rules", "list"}).Out, std::string("1\t1\t") + kBossDescription + "\n");
    const clsRun show = Run({"rules", "show", "1"});
    EXPECT_NE(show.Out.find("From: boss@example.com\n"), std::string::npos);
    EXPECT_NE(show.Out.find("Action 1: move to \\\\Mailbox\\Inbox\\Boss; mark as read;"),
              std::string::npos);

    const std::vector<std::string> log = ReadLines(DataFolder() / "Corvel.log");
    ASSERT_FALSE(log.empty());
    for (const std::string& line : log) {
        EXPECT_TRUE(std::regex_match(line, std::regex(R"(\d\d/\d\d/\d{4} \d\d:\d\d:\d\d   \S.*)")))
            << line;
    }
    EXPECT_NE(ReadWholeFile(DataFolder() / "Corvel.log")
                  .find("   RulesDatabase->CreateDatabase: Creating new database"),
              std::string::npos);
}

TEST_F(CommandLine, EveryActionOptionIsStoredAndDeleteRemovesTheRule) {
    const clsRun add =
        Run({"rules",       "add",     "--name",       "Clients",   "--to",       "@client.org",
             "--subject",   "Invoice", "--body",       "due",       "--copy-to",  "Clients",
             "--move-to",   "Archive", "--importance", "h",         "--forward",  "me@home.org",
             "--autoreply", "2",       "--delete",     "--stop",    "--outgoing", "--priority",
             "7",           "--group", "Work",         "--disabled"});
    ASSERT_EQ(add.ExitCode, 0) << add.Err;
    const clsRun show = Run({"rules", "show", "1"});
    for (const char* expected :
         {"Name: Clients\n", "Priority: 7\n", "Enabled: no\n", "Applies: on sending\n",
          "Group: 1\n", "To: @client.org\n", "Subject contains: invoice\n", "Body contains: due\n",
          "Stop processing: yes\n",
          "Action 1: copy to Clients; importance H; forward to me@home.org; auto-reply 2; "
          "delete;\n",
          "Action 2: move to Archive;\n"}) {
        EXPECT_NE(show.Out.find(expected), std::string::npos) << expected << "\n" << show.Out;
    }
    EXPECT_EQ(Run({"groups", "list"}).Out, "0\tNo group\n1\tWork\n");
    EXPECT_EQ(Run({"rules", "delete", "1"}).ExitCode, 0);
    EXPECT_EQ(Run({"rules", "list"}).Out, "");
}

TEST_F(CommandLine, MistakesExitNonZeroWithAMessageThatSaysWhatToDo) {
    struct Case {
        std::vector<std::string> Args;
        std::string Message;
    };
    for (const Case& c : {Case{{"rules", "add", "--from", "not an address", "--delete"}, "--from"},
                          Case{{"rules", "add", "--from", "a@b.org"}, "a rule needs an action"},
                          Case{{"rules", "add", "--forward", "@b.org"}, "a full address is needed"},
                          Case{{"rules", "add", "--delete", "--importance", "X"}, "--importance"},
                          Case{{"rules", "show", "42"}, "corvel rules list"},
                          Case{{"rules", "delete", "42"}, "there is no rule 42"},
                          Case{{"options", "get", "Antispam", "Nothing"}, "corvel options set"},
                          Case{{"groups", "add", "a\"b"}, "double quote"},
                          Case{{"registry", "import", "/no/such/file.reg"}, "/no/such/file.reg"},
                          Case{{"rules"}, "rules"}, Case{{"frobnicate"}, "frobnicate"}}) {
        SCOPED_TRACE(c.Args.front() + " " + c.Message);
        const clsRun run = Run(c.Args);
        EXPECT_NE(run.ExitCode, 0);
        EXPECT_NE(run.Err.find(c.Message), std::string::npos) << run.Err;
        EXPECT_EQ(run.Out, "");
    }
    EXPECT_EQ(Run({"rules", "list"}).Out, "") << "no mistake stored a rule";
}

TEST_F(CommandLine, EveryCommandExplainsItselfWithHelp) {
    for (const std::vector<std::string>& args :
         std::vector<std::vector<std::string>>{{"--help"},
                                               {"rules", "add", "--help"},
                                               {"rules", "list", "--help"},
                                               {"rules", "show", "--help"},
                                               {"rules", "delete", "--help"},
                                               {"options", "get", "--help"},
                                               {"options", "set", "--help"},
                                               {"groups", "list", "--help"},
                                               {"groups", "add", "--help"},
                                               {"db", "version", "--help"},
                                               {"db", "compact", "--help"},
                                               {"registry", "export", "--help"},
                                               {"registry", "import", "--help"}}) {
        const clsRun run = Run(args);
        EXPECT_EQ(run.ExitCode, 0) << args.front();
        EXPECT_NE(run.Out.find("Usage:"), std::string::npos) << run.Out;
    }
    EXPECT_FALSE(std::filesystem::exists(DataFolder() / "Rules.mdb")) << "help touched nothing";
}

TEST_F(CommandLine, OptionsGroupsAndTheDataDirOverride) {
    const std::string other = (mFolder.Path() / "elsewhere").string();
    ASSERT_EQ(Run({"--data-dir", other, "options", "set", "Antispam", "Minimum Spam Score", "0.75"})
                  .ExitCode,
              0);
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
    ASSERT_EQ(Run({"registry", "import", in.string()}).ExitCode, 0);
    const std::filesystem::path out = mFolder.Path() / "out.reg";
    const clsRun exported = Run({"registry", "export", out.string(), "HKCU\\Software\\KESTO"});
    ASSERT_EQ(exported.ExitCode, 0) << exported.Err;
    const std::string text = ReadWholeFile(out);
    EXPECT_EQ(text.rfind("REGEDIT4", 0), 0U);
    EXPECT_NE(text.find("[HKEY_CURRENT_USER\\Software\\KESTO\\Corvel\\Logging]"),
              std::string::npos);
    EXPECT_NE(text.find("\"Flags\"=dword:0000000a"), std::string::npos);

    // The imported level reaches the log: level-3 entries (each SQL text) are now written.
    ASSERT_EQ(Run({"rules", "list"}).ExitCode, 0);
    EXPECT_NE(ReadWholeFile(DataFolder() / "Corvel.log")
                  .find("RulesDatabase->GetRS: SELECT * FROM Rules ORDER BY Priority"),
              std::string::npos);
}
