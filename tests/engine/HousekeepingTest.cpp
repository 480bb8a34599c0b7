// Export and import of the rule store and the conversion of the first-generation rule files, on
// engines started on Maildirs in temporary folders.
#include "EngineTestSupport.h"
#include "database/clsDbConnection.h"
#include "foundation/clsZipArchive.h"

namespace {

const std::string kClients = "\\\\Mailbox\\Inbox\\Clients";

// The rules in priority order as the rule list describes them, with what the description leaves
// out: a group's name and a rule that is switched off.
std::vector<std::string> RuleLines(classCorvel& engine) {
    classRulesDatabase& db = engine.RulesDatabase();
    std::vector<std::string> lines;
    auto rs = db.GetRS("SELECT * FROM Rules ORDER BY Priority");
    for (; rs && !rs->Eof(); rs->MoveNext()) {
        clsRuleRecord rule;
        db.ReadRuleFromCurrentRecord(*rs, rule);
        std::string line = classRulesDatabase::RuleSingleLineDescription(rule);
        if (auto group =
                db.GetRS("SELECT Name FROM Groups WHERE ID=" + std::to_string(rule.GroupID));
            group && !group->Eof()) {
            line += " [" + group->Field("Name").AsText() + "]";
        }
        lines.push_back(line + (rule.Enabled ? "" : " (off)"));
    }
    return lines;
}

std::vector<std::string> BlockedSenders(classCorvel& engine) {
    std::vector<std::string> senders;
    auto rs = engine.RulesDatabase().GetRS("SELECT EmailAddress FROM [Spam Senders] ORDER BY 1");
    for (; rs && !rs->Eof(); rs->MoveNext()) {
        senders.push_back(rs->Field("EmailAddress").AsText());
    }
    return senders;
}

clsRuleRecord Rule(std::string from, std::vector<clsRuleAction> actions) {
    clsRuleRecord rule;
    rule.FromEmail = std::move(from);
    rule.Actions = std::move(actions);
    return rule;
}

// Three rules covering every field an export must carry, and two blocked senders.
void AddSourceRules(clsEngineFixture& f) {
    clsRuleAction read = clsEngineFixture::FileTo(kClients, false);
    read.MarkAsRead = true;
    f.AddRule(Rule("boss@example.com", {read}));
    clsRuleRecord sent = Rule("", {clsEngineFixture::FileTo("Archive", true), {}});
    sent.Actions[1].ForwardTo = "me@home.org";
    sent.Actions[1].ChangeImportanceTo = "H";
    sent.IncomingRule = false;
    sent.ToEmail = "@client.org";
    sent.SubjectContains = "Invoice, March";
    f.AddRule(sent);
    clsRuleRecord off = Rule("", {{}});
    off.Actions[0].Delete = true;
    off.BodyContains = "unsubscribe";
    off.StopProcessing = true;
    off.Enabled = false;
    off.GroupID = f.Engine->RulesDatabase().GetGroupID("Newsletters");
    f.AddRule(off);
    for (const char* address : {"spam@example.org", "more@example.net"}) {
        EXPECT_TRUE(f.Engine->AddJunkSenderEmail(address));
    }
}

std::filesystem::path ImportFolder() {
    const char* base = std::getenv("TMPDIR");
    return std::filesystem::path(base && *base ? base : "/tmp") /
           ("corvel-import-" + std::to_string(::getpid()));
}

bool StoresOpen(classCorvel& engine) {
    return engine.RulesDatabase().IsOpen() && engine.cvFolderCache()->IsOpen();
}

}  // namespace

TEST(Housekeeping, AnExportMergesIntoAFullDataFolderAndNoOtherFileIsTaken) {
    clsEngineFixture source, target;
    source.Start({"Inbox/Clients", "Archive"});
    AddSourceRules(source);
    const std::filesystem::path archive = source.Folder.Path() / "rules.zip";
    ASSERT_TRUE(source.Engine->ExportRulesToFile(archive));
    EXPECT_TRUE(StoresOpen(*source.Engine));
    EXPECT_TRUE(Holds(source.LogText(), "Message (Export Complete): Rules exported."));
    const std::vector<std::string> rules = RuleLines(*source.Engine);
    ASSERT_EQ(rules.size(), 3u);

    // A rule or sender already there is not added twice; groups are matched by name. (Import
    // into an empty data folder is checked on the binary, in RulesArchiveCommandTest.)
    target.Start();
    clsRuleRecord own = Rule("mum@example.net", {clsEngineFixture::FileTo("Family", false)});
    own.GroupID = target.Engine->RulesDatabase().GetGroupID("Family");  // takes the ID 1
    own.Priority = 50;  // above every ID: new rules still come after it
    target.AddRule(own);
    clsRuleAction read = clsEngineFixture::FileTo(kClients, false);
    read.MarkAsRead = true;
    target.AddRule(Rule("boss@example.com", {read}));  // as the source's first rule
    ASSERT_TRUE(target.Engine->AddJunkSenderEmail("SPAM@example.org"));
    std::vector<std::string> expected = RuleLines(*target.Engine);
    ASSERT_TRUE(target.Engine->ImportRulesFromFile(archive));
    expected.insert(expected.end(), rules.begin() + 1, rules.end());
    EXPECT_EQ(RuleLines(*target.Engine), expected);
    EXPECT_EQ(BlockedSenders(*target.Engine),
              (std::vector<std::string>{"more@example.net", "SPAM@example.org"}));
    EXPECT_TRUE(StoresOpen(*target.Engine));
    EXPECT_TRUE(Holds(target.LogText(),
                      "Corvel->ImportRulesFromFile: Importing from  " + archive.string() + "\n"));
    EXPECT_FALSE(std::filesystem::exists(ImportFolder()));

    // An archive without a rules database is refused and changes nothing.
    const std::filesystem::path files = source.Folder.Path() / "files";
    std::filesystem::create_directory(files);
    std::ofstream(files / "note.txt") << "not rules";
    clsDbConnection other;
    ASSERT_TRUE(other.Open(files / "other.sqlite", true).IsOk());
    ASSERT_TRUE(other.ExecuteNative("CREATE TABLE Things (Name TEXT)").IsOk());
    other.Close();

    struct Case {
        std::string Name, Inside;
        std::filesystem::path File;
    };
    for (const Case& c : {Case{"other name", "Notes.mdb", files / "note.txt"},
                          Case{"text as database", "Rules.mdb", files / "note.txt"},
                          Case{"other database", "Rules.mdb", files / "other.sqlite"}}) {
        SCOPED_TRACE(c.Name);
        const std::filesystem::path given = source.Folder.Path() / (c.Name + ".zip");
        ASSERT_TRUE(clsZipArchive(given).Write({{c.Inside, c.File}}).IsOk());
        EXPECT_FALSE(source.Engine->ImportRulesFromFile(given));
        EXPECT_TRUE(Holds(source.LogText(),
                          "Message (Import Failed): Invalid import file:\n" + given.string()));
        EXPECT_EQ(RuleLines(*source.Engine), rules);
        EXPECT_EQ(BlockedSenders(*source.Engine).size(), 2u);
        EXPECT_TRUE(StoresOpen(*source.Engine));
        EXPECT_FALSE(std::filesystem::exists(ImportFolder()));
    }
}

TEST(Housekeeping, FirstGenerationFilesAreConvertedOnceAnyOfThemHoldsTwoRows) {
    const std::string h =
        "From,To,Including this text in subject,Including this text in body,Stop Processing?,"
        "Target Folder,Copy or Move,Mark as read\r\n";
    const std::string ann =
        "ann@example.org,,\"Invoice, March\",,True,\"\\\\Mailbox\\Inbox\\Clients\",C,yes\r\n";
    const std::string bob = "bob@example.org,,,\"say \"\"hi\"\"\",,Archive,M,\r\n";
    const std::string junk = "Email Address\r\na@x.org\r\n";
    const std::string annRule =
        "On arrival, if from ann@example.org if the subject contains invoice, march copy to " +
        kClients + ", mark as read and stop processing.";
    const std::string bobRule =
        "On arrival, if from bob@example.org if the message contains say \"hi\" move to Archive";
    const std::string sentRule = "On sending, if to @client.org move to Archive, mark as read";
    struct Case {
        std::string Name, Marker, Incoming, Junk;
        std::vector<std::string> Rules;
        size_t Senders;
        std::string MarkerAfter;
    };
    for (const Case& c : {
             Case{"one row each", "1", h + ann, junk, {}, 0, "1"},
             Case{"two incoming, a blank row between",
                  "1",
                  h + ann + ",,,,,,,\r\n" + bob,
                  junk,
                  {annRule, bobRule, sentRule},
                  1,
                  "3"},
             Case{"no marker", "", h + ann + bob, "", {}, 0, ""},
             Case{
                 "few columns", "1", "From,To\r\na@x.org,\r\nb@x.org,\r\n", "", {sentRule}, 0, "1"},
         }) {
        SCOPED_TRACE(c.Name);
        clsEngineFixture f;
        std::filesystem::create_directories(f.DataFolder);
        std::ofstream(f.DataFolder / "Incoming Mail.csv", std::ios::binary) << c.Incoming;
        std::ofstream(f.DataFolder / "Outgoing Mail.csv", std::ios::binary)
            << h << ",@client.org,,,,Archive,,1\r\n";
        std::ofstream(f.DataFolder / "Junk Mail.csv", std::ios::binary) << c.Junk;
        if (!c.Marker.empty()) {
            f.Settings.SaveText("Rules", "Version", c.Marker);
        }
        f.Start({"Inbox/Clients", "Archive"});
        EXPECT_EQ(f.Settings.ReadText("Rules", "Version", ""), c.MarkerAfter);
        if (c.MarkerAfter == "3") {
            for (const char* line :
                 {"   3 incoming rules loaded.\n", "   1 junk address loaded.\n",
                  "   Corvel->ConvertRulesv1tov3: Rules converted successfully\n"}) {
                EXPECT_TRUE(Holds(f.LogText(), line)) << line;
            }
        }
        // Starting again converts nothing twice.
        f.Engine.reset();
        f.Start();
        EXPECT_EQ(RuleLines(*f.Engine), c.Rules);
        EXPECT_EQ(BlockedSenders(*f.Engine).size(), c.Senders);
    }
}
