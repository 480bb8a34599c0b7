// Corvel moves, copies and deletes a thousand messages in a Maildir; then a real Dovecot, pointed
// at the same tree, must count what Corvel expects, and Corvel must find every message exactly
// once with its user properties.
#include <unistd.h>

#include <map>
#include <set>

#include "MailhostTestSupport.h"
#include "mailhost/clsMailItems.h"

namespace {

constexpr int kMessages = 1000;
const std::string kPeers = std::string(CORVEL_FIXTURES) + "/../peers";

// The corpus's messages when the corpus tree is there, else messages made here.
std::vector<std::string> ScenarioMessages() {
    std::vector<std::string> messages;
    const char* corpus = std::getenv("CORVEL_CORPUS_MAILDIR");
    if (corpus != nullptr && std::filesystem::is_directory(corpus)) {
        std::vector<std::filesystem::path> files;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(corpus)) {
            if (entry.is_regular_file() && entry.path().parent_path().filename() == "cur") {
                files.push_back(entry.path());
            }
        }
        std::sort(files.begin(), files.end());
        for (size_t i = 0; i < files.size() && messages.size() < kMessages; ++i) {
            messages.push_back(ReadWholeFile(files[i]));
        }
    }
    for (int i = static_cast<int>(messages.size()); i < kMessages; ++i) {
        messages.push_back(TestMessage("scenario " + std::to_string(i)));
    }
    return messages;
}

// Runs tests/peers/dovecot.sh with these (quoted) arguments; its output, or "failed".
std::string Dovecot(const std::string& arguments, const std::filesystem::path& state) {
    const std::filesystem::path out = state.parent_path() / "dovecot.out";
    return std::system(("sh " + kPeers + "/dovecot.sh " + arguments + " > '" + out.string() + "'")
                           .c_str()) == 0
               ? ReadWholeFile(out)
               : "failed";
}

// Stops the private Dovecot when the test ends, even if it only half started.
struct clsDovecotStop {
    std::filesystem::path State;
    ~clsDovecotStop() { Dovecot("stop '" + State.string() + "'", State); }
};

// Which scenario numbers each folder holds, read back through Corvel's own properties.
std::multiset<int> Numbers(const clsMailFolder& folder) {
    std::multiset<int> numbers;
    const clsMailItems items = folder.Items();
    for (long i = 1; i <= items.Count(); ++i) {
        const auto value = items.Item(i)->FindUserProperty("Scenario");
        numbers.insert(value ? std::stoi(value->Text) : -1);
    }
    return numbers;
}

}  // namespace

TEST(DovecotScenario, DovecotCountsWhatCorvelMovedCopiedAndDeleted) {
    if (::geteuid() != 0 || !std::filesystem::exists("/usr/sbin/dovecot")) {
        GTEST_SKIP() << "needs root and dovecot-imapd (scripts/install-deps.sh installs it)";
    }
    clsMailFixture f;
    f.OpenStore();
    const std::vector<std::string> messages = ScenarioMessages();
    for (int i = 0; i < kMessages; ++i) {
        char name[32];
        std::snprintf(name, sizeof name, "%04d.scenario.host", i);
        Deliver(f.Root, name, messages[static_cast<size_t>(i)]);
    }
    const clsMailFolder inbox = f.FolderAt("INBOX");
    const clsMailFolder clients = *inbox.AddFolder("Clients");
    const clsMailFolder archive = *f.FolderAt("").AddFolder("Archive");
    const clsMailFolder year = *archive.AddFolder("2020");
    const clsMailItems items = inbox.Items();
    ASSERT_EQ(items.Count(), kMessages);
    std::map<std::string, std::multiset<int>> expected;
    for (int i = 0; i < kMessages; ++i) {
        clsMailItem item = *items.Item(i + 1);
        item.AddUserProperty("Scenario", {UserPropertyType::Number, std::to_string(i)});
        ASSERT_TRUE(item.Save());
        switch (i % 5) {
            case 0:
                ASSERT_TRUE(item.Move(clients));
                expected["Clients"].insert(i);
                break;
            case 1:
                ASSERT_TRUE(item.Copy()->Move(archive));
                expected["Inbox"].insert(i);
                expected["Archive"].insert(i);
                break;
            case 2:
                ASSERT_TRUE(item.Delete());
                expected["Deleted Items"].insert(i);
                break;
            case 3:
                ASSERT_TRUE(item.Move(year)->Delete());
                expected["Deleted Items"].insert(i);
                break;
            default:
                item.SetUnRead(false);
                ASSERT_TRUE(item.Save());
                expected["Inbox"].insert(i);
        }
    }
    const clsMailFolder trash = *f.Mapi->GetDefaultFolder(DefaultFolder::DeletedItems);
    EXPECT_EQ(Numbers(inbox), expected["Inbox"]);
    EXPECT_EQ(Numbers(clients), expected["Clients"]);
    EXPECT_EQ(Numbers(archive), expected["Archive"]);
    EXPECT_TRUE(Numbers(year).empty());
    EXPECT_EQ(Numbers(trash), expected["Deleted Items"]);

    // Dovecot's own users must reach its files below the test's private folder.
    std::filesystem::permissions(f.Folder.Path(), std::filesystem::perms::owner_all |
                                                      std::filesystem::perms::group_exec |
                                                      std::filesystem::perms::others_exec);
    const clsDovecotStop dovecot{f.Folder.Path() / "dovecot"};
    const std::string state = "'" + dovecot.State.string() + "' ";
    ASSERT_NE(Dovecot("start " + state + "'" + f.Root.string() + "' " +
                          std::to_string(20000 + ::getpid() % 20000),
                      dovecot.State),
              "failed")
        << ReadWholeFile(dovecot.State / "dovecot.log");
    const std::string status =
        Dovecot("status " + state + "INBOX INBOX.Clients Archive Archive.2020 'Deleted Items'",
                dovecot.State);
    EXPECT_EQ(status,
              "INBOX messages=400\nINBOX.Clients messages=200\nArchive messages=200\n"
              "Archive.2020 messages=0\nDeleted Items messages=400\n");
}
