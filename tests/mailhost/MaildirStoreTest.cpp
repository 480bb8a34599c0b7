#include <set>
#include <thread>

#include "MailhostTestSupport.h"
#include "mailhost/clsMailItems.h"
#include "mailhost/maildir/clsMaildirName.h"
#include "mailhost/mime/clsMimeMessage.h"

namespace {

std::vector<std::string> Paths(const std::vector<clsMailFolder>& folders) {
    std::vector<std::string> paths;
    for (const clsMailFolder& folder : folders) {
        paths.push_back(folder.FolderPath());
        for (const std::string& child : Paths(folder.Folders())) {
            paths.push_back(child);
        }
    }
    return paths;
}

}  // namespace

TEST(MaildirName, FolderNamesRoundTripThroughModifiedUtf7) {
    struct Case {
        std::string Utf8, Encoded;
    };
    for (const Case& c :
         {Case{"Clients", "Clients"}, Case{"Entwürfe", "Entw&APw-rfe"}, Case{"R&D", "R&-D"},
          Case{"日本語", "&ZeVnLIqe-"}, Case{"a 😀 b", "a &2D3eAA- b"}}) {
        SCOPED_TRACE(c.Utf8);
        EXPECT_EQ(clsMaildirName::EncodeFolderName(c.Utf8), c.Encoded);
        EXPECT_EQ(clsMaildirName::DecodeFolderName(c.Encoded), c.Utf8);
    }
    EXPECT_FALSE(clsMaildirName::DecodeFolderName("broken&AP"));
    for (const char* bad : {"", "a.b", "a/b", "a\\b", "tab\there"}) {
        EXPECT_FALSE(clsMaildirName::IsValidFolderName(bad)) << bad;
    }
}

TEST(MaildirStore, OpensATreeAsDovecotLeavesItWithRolesAndDecodedNames) {
    clsMailFixture f;
    for (const char* folder : {"", ".Sent", ".Trash", ".Junk", ".INBOX.Boss", ".Work.Sub",
                               ".Entw&APw-rfe", ".Archive"}) {
        for (const char* sub : {"cur", "new", "tmp"}) {
            std::filesystem::create_directories(f.Root / folder / sub);
        }
    }
    f.OpenStore(false);
    EXPECT_EQ(
        Paths(f.Mapi->Folders()),
        (std::vector<std::string>{"\\\\Mailbox", "\\\\Mailbox\\Inbox", "\\\\Mailbox\\Inbox\\Boss",
                                  "\\\\Mailbox\\Archive", "\\\\Mailbox\\Entwürfe",
                                  "\\\\Mailbox\\Junk", "\\\\Mailbox\\Sent", "\\\\Mailbox\\Trash",
                                  "\\\\Mailbox\\Work", "\\\\Mailbox\\Work\\Sub"}));
    EXPECT_EQ(f.Mapi->GetDefaultFolder(DefaultFolder::SentMail)->Name(), "Sent");
    EXPECT_EQ(f.Mapi->GetDefaultFolder(DefaultFolder::Junk)->Name(), "Junk");
    EXPECT_EQ(f.Mapi->GetDefaultFolder(DefaultFolder::DeletedItems)->Name(), "Trash");
    // A role the tree lacks is made under its usual name.
    EXPECT_EQ(f.Mapi->GetDefaultFolder(DefaultFolder::Outbox)->FolderPath(), "\\\\Mailbox\\Outbox");
    EXPECT_TRUE(std::filesystem::is_directory(f.Root / ".Outbox" / "cur"));
}

// A new store's default folders and folder names are checked through the corvel commands.
TEST(MaildirStore, SomebodysFolderThatIsNoMaildirIsNotMadeOne) {
    clsMailFixture f;
    const std::filesystem::path notes = f.Folder.Path() / "notes";
    std::filesystem::create_directories(notes / "drafts");
    clsStatus status = clsStatus::Ok();
    EXPECT_FALSE(clsMaildirStore::Open(notes, "X", true, status));
    EXPECT_FALSE(std::filesystem::exists(notes / "cur"));
}

TEST(MaildirStore, ItemsKeepTheirOrderAndNewArrivalsComeLast) {
    clsMailFixture f;
    f.OpenStore();
    // Delivered under names that do not sort by time ("M10" before "M9"): file times decide.
    const std::time_t second = std::time(nullptr) - 100;
    for (const auto& [name, subject, time] : {std::tuple{"1000.M10.host", "third", second + 2},
                                              std::tuple{"1000.M9.host", "second", second + 1},
                                              std::tuple{"1000.M1.host", "first", second}}) {
        Deliver(f.Root, name, TestMessage(subject));
        SetTime(f.Root / "new" / name, time);
    }
    EXPECT_EQ(f.Subjects("INBOX"), (std::vector<std::string>{"first", "second", "third"}));
    Deliver(f.Root, "0001.C.host", TestMessage("arrived last"));
    SetTime(f.Root / "new" / "0001.C.host", second - 1000);
    EXPECT_EQ(f.Subjects("INBOX"),
              (std::vector<std::string>{"first", "second", "third", "arrived last"}));
}

TEST(MaildirStore, AFileRenamedBehindAnUnchangedListingIsStillRead) {
    clsMailFixture f;
    f.OpenStore();
    Deliver(f.Root, "1.A.host", TestMessage("moved", "The whole body.\n"));
    const std::time_t past = std::time(nullptr) - 60;
    SetTime(f.Root / "new", past);
    SetTime(f.Root / "cur", past);
    ASSERT_EQ(f.Store->ListItems("INBOX").size(), 1u);
    // Another program moves it to cur/ and the directories' times are put back.
    std::filesystem::rename(f.Root / "new" / "1.A.host", f.Root / "cur" / "1.A.host:2,S");
    SetTime(f.Root / "new", past);
    SetTime(f.Root / "cur", past);
    const auto bytes = f.Store->ReadMessage("INBOX", "1.A.host");
    ASSERT_TRUE(bytes);
    EXPECT_EQ(*bytes, TestMessage("moved", "The whole body.\n"));
    EXPECT_TRUE(f.Store->FindItem("INBOX", "1.A.host"));
}

TEST(MaildirStore, UnReadFollowsTheSeenFlagInTheFileName) {
    clsMailFixture f;
    f.OpenStore();
    Deliver(f.Root, "1.A.host", TestMessage("mark me"));
    clsMailItem item = *f.FolderAt("INBOX").Items().Item(1);
    EXPECT_TRUE(item.UnRead());
    item.SetUnRead(false);
    ASSERT_TRUE(item.Save());
    EXPECT_TRUE(std::filesystem::exists(f.Root / "cur" / "1.A.host:2,S"));
    EXPECT_FALSE(f.FolderAt("INBOX").Items().Item(1)->UnRead());
    std::filesystem::rename(f.Root / "cur" / "1.A.host:2,S", f.Root / "cur" / "1.A.host:2,FS");
    clsMailItem again = *f.FolderAt("INBOX").Items().Item(1);  // renamed by another program
    again.SetUnRead(true);
    ASSERT_TRUE(again.Save());
    EXPECT_TRUE(std::filesystem::exists(f.Root / "cur" / "1.A.host:2,F"));
}

// Moves, copies and deletes within one store are in the Dovecot scenario; here a copy keeps its
// time, a move into another store takes the properties to that store's own list, and a delete
// inside Deleted Items removes them for good.
TEST(MaildirStore, MovesCopiesAndDeletesCarryUserPropertiesAndReadState) {
    clsMailFixture f;
    f.OpenStore();
    Deliver(f.Root, "1.A.host", TestMessage("travelling"));
    clsMailItem item = *f.FolderAt("INBOX").Items().Item(1);
    item.AddUserProperty("RRCV", {UserPropertyType::DateTime, "2026-11-22 10:00:00"});
    item.SetUnRead(false);
    ASSERT_TRUE(item.Save());
    const auto copy = item.Copy();
    ASSERT_TRUE(copy);
    EXPECT_NE(copy->EntryID(), item.EntryID());
    EXPECT_EQ(copy->ReceivedTime(), item.ReceivedTime());

    ASSERT_TRUE(f.Mapi->AddStore(f.Folder.Path() / "Archive 2020", "Archive 2020"));
    ASSERT_EQ(f.Mapi->Folders().size(), 2U);
    const auto archived = item.Move(*f.Mapi->Folders()[1].Folders().front().AddFolder("Old"));
    ASSERT_TRUE(archived);
    EXPECT_EQ(f.Mapi->GetItemFromID(archived->EntryID())->Parent()->FolderPath(),
              "\\\\Archive 2020\\Inbox\\Old");
    EXPECT_EQ(archived->FindUserProperty("rrcv")->Text, "2026-11-22 10:00:00");
    EXPECT_FALSE(archived->UnRead());
    EXPECT_EQ(f.FolderAt("INBOX").Items().Count(), 1);
    EXPECT_TRUE(std::filesystem::exists(f.Folder.Path() / "Archive 2020" /
                                        clsMaildirStore::kPropertiesFile));

    ASSERT_TRUE(copy->Delete());
    const clsMailFolder trash = *f.Mapi->GetDefaultFolder(DefaultFolder::DeletedItems);
    ASSERT_EQ(trash.Items().Count(), 1);
    clsMailItem trashed = *trash.Items().Item(1);
    const std::string key = trashed.EntryID().substr(trashed.EntryID().rfind('/') + 1);
    ASSERT_TRUE(f.Store->Properties().Find(key, "RRCV"));
    ASSERT_TRUE(trashed.Delete());  // inside Deleted Items: gone for good, properties too
    EXPECT_EQ(trash.Items().Count(), 0);
    EXPECT_FALSE(f.Store->Properties().Find(key, "RRCV"));
}

TEST(MaildirStore, ImportanceRewritesOnlyItsHeadersAndKeepsTheRest) {
    clsMailFixture f;
    f.OpenStore();
    const std::string original =
        "From: a@example.org\r\nSubject: urgent\r\nX-Priority: 3\r\n"
        "\r\nbody line\r\nsecond line\r\n";
    Deliver(f.Root, "5.A.host,S=90", original);
    SetTime(f.Root / "new" / "5.A.host,S=90", 1000000000);
    clsMailItem item = *f.FolderAt("INBOX").Items().Item(1);
    item.AddUserProperty("CVProcessed", {UserPropertyType::Text, "3"});
    item.SetImportance(Importance::High);
    ASSERT_TRUE(item.Save());

    clsMailItem reread = *f.Mapi->GetItemFromID(item.EntryID());
    EXPECT_EQ(reread.GetImportance(), Importance::High);
    EXPECT_EQ(reread.FindUserProperty("CVProcessed")->Text, "3");
    const std::filesystem::path rewritten = f.Root / "new" / "5.A.host";  // size field dropped
    ASSERT_TRUE(std::filesystem::exists(rewritten));
    EXPECT_EQ(std::filesystem::last_write_time(rewritten),
              std::filesystem::file_time_type::clock::from_sys(
                  std::chrono::system_clock::from_time_t(1000000000)));
    EXPECT_EQ(ReadWholeFile(rewritten), clsMimeMessage::WithImportance(original, Importance::High));
    EXPECT_TRUE(std::filesystem::is_empty(f.Root / "tmp"));
}

TEST(MaildirStore, MailDeliveredWhileListingIsNeverHalfReadOrLost) {
    clsMailFixture f;
    f.OpenStore();
    constexpr int kMessages = 400;
    std::thread mta([&] {
        for (int i = 0; i < kMessages; ++i) {
            Deliver(f.Root, "m" + std::to_string(i) + ".host",
                    TestMessage("n" + std::to_string(i), std::string(20000, 'x') + "\nEND\n"));
        }
    });
    std::set<std::string> seen;
    auto readAll = [&] {
        const clsMailItems items = f.FolderAt("INBOX").Items();
        for (long i = 1; i <= items.Count(); ++i) {
            const auto item = items.Item(i);
            ASSERT_TRUE(item);
            ASSERT_EQ(item->Body().substr(item->Body().size() - 4), "END\n") << item->Subject();
            seen.insert(item->Subject());
        }
    };
    while (seen.size() < static_cast<size_t>(kMessages) / 2) {
        readAll();
    }
    mta.join();
    readAll();
    EXPECT_EQ(seen.size(), static_cast<size_t>(kMessages));
    EXPECT_EQ(f.FolderAt("INBOX").Items().Count(), kMessages);
}

// A crash can cut a move short after the link into the target; the next move of the item must
// finish it rather than fail and leave the message in both folders.
TEST(MaildirStore, AMoveCutShortIsFinishedAndACopyIsMadeStraightInItsTarget) {
    clsMailFixture f;
    f.OpenStore();
    Deliver(f.Root, "2.B.host", TestMessage("interrupted"));
    const clsMailFolder clients = *f.FolderAt("INBOX").AddFolder("Clients");
    const clsMailFolder inbox = f.FolderAt("INBOX");
    const clsMailItem item = *inbox.Items().Item(1);
    std::filesystem::create_hard_link(f.Root / "new" / "2.B.host",
                                      f.Root / ".INBOX.Clients" / "new" / "2.B.host");
    const auto moved = item.Move(clients);
    ASSERT_TRUE(moved);
    EXPECT_EQ(inbox.Items().Count(), 0);
    EXPECT_EQ(clients.Items().Count(), 1);

    const clsMailFolder archive = *inbox.AddFolder("Archive");
    ASSERT_TRUE(moved->CopyTo(archive));
    EXPECT_EQ(clients.Items().Count(), 1);
    EXPECT_EQ(archive.Items().Count(), 1);
    EXPECT_EQ(archive.Items().Item(1)->Subject(), "interrupted");
}
