#include <map>

#include "MailhostTestSupport.h"
#include "database/classRulesDatabase.h"
#include "mailhost/clsFolderCache.h"

namespace {

struct clsFolderCacheFixture : clsTestEnvironment {
    std::filesystem::path File = Folder.Path() / "Rules.mdb";
    clsMailNamespace Mapi{Log, "Test"};
    clsFolderCache Cache{Log, Ui, Mapi};
    std::map<std::string, std::string> StoreIDs;  // by display name

    // A Maildir++ tree in the temporary folder holding just these folders ("Inbox/Clients" is
    // below the Inbox): it exists before it is opened, so no default folders are added to it.
    void AddStore(const std::string& name, std::initializer_list<std::string_view> folders) {
        const std::filesystem::path root = Folder.Path() / name;
        std::filesystem::create_directories(root / "cur");
        clsStatus status = clsStatus::Ok();
        std::unique_ptr<clsMaildirStore> store = clsMaildirStore::Open(root, name, false, status);
        ASSERT_TRUE(store) << status.Description();
        for (std::string_view id : folders) {
            const size_t slash = id.rfind('/');  // npos + 1 is 0: a top-level name is all of id
            ASSERT_TRUE(store->CreateFolder(
                slash == std::string_view::npos ? "" : id.substr(0, slash), id.substr(slash + 1)))
                << id;
        }
        StoreIDs[name] = store->StoreID();
        Mapi.AddStore(std::move(store));
    }
    // Names that occur twice, once in each store; names holding the characters that mean
    // something to SQL or to LIKE; default folders under names other programs give them.
    void AddUsualStores() {
        AddStore("Mailbox",
                 {"Inbox/Clients", "Inbox/Old Clients", "Archive/2023/Q1", "100%", "1000", "a_b",
                  "acb", "[x]", "x", "O'Brien", "Shared", "Sent", "Trash", "Spam"});
        AddStore("Archive", {"Shared", "Junk E-mail"});
    }
    void Build() {
        ASSERT_TRUE(Cache.OpenDatabase(File));
        ASSERT_TRUE(Cache.BuildFolderCache());
    }
    // Each row's fields joined by "|".
    std::vector<std::string> Rows(std::string_view sql) {
        std::vector<std::string> rows;
        for (auto rs = Cache.GetRS(sql); rs && !rs->Eof(); rs->MoveNext()) {
            std::string row;
            for (int i = 0; i < rs->FieldCount(); ++i) {
                row += (i == 0 ? "" : "|") + rs->Field(i).AsText();
            }
            rows.push_back(row);
        }
        return rows;
    }
    std::string Scalar(std::string_view sql) {
        const std::vector<std::string> rows = Rows(sql);
        return rows.empty() ? "<none>" : rows.front();
    }
    bool Logged(std::string_view line) { return Holds(LogText(), line); }
};

std::string PathOf(const std::optional<clsMailFolder>& folder) {
    return folder ? folder->FolderPath() : "<none>";
}

}  // namespace

// The cache's table goes into a new file, or into a rules database made first, once.
TEST(FolderCacheDatabase, TheTableIsAddedOnceAndTheRulesDatabaseSharesTheFile) {
    clsFolderCacheFixture f;
    classRulesDatabase rules(f.Log, f.Ui);
    const std::filesystem::path other = f.Folder.Path() / "Other.mdb";
    ASSERT_TRUE(rules.OpenDatabase(other, true));
    for (const std::filesystem::path& file : {f.File, other, other}) {
        f.Cache.CloseDatabase();
        ASSERT_TRUE(f.Cache.OpenDatabase(file)) << file;
        EXPECT_EQ(f.Cache.CachedFolderCount(), 0);
    }
    EXPECT_EQ(Occurrences(f.LogText(), "FolderCache->OpenDatabase: create FolderCache table"),
              2U);  // one per file
    ASSERT_TRUE(rules.OpenDatabase(f.File, false));
    EXPECT_EQ(rules.GetCount("SELECT COUNT(*) FROM Rules"), 0);

    std::ofstream(f.Folder.Path() / "Broken.mdb") << "not a database at all";
    EXPECT_FALSE(f.Cache.OpenDatabase(f.Folder.Path() / "Broken.mdb"));
}

TEST(FolderCacheBuild, RowsFollowTheWalkAndEachStoreHasARootRow) {
    clsFolderCacheFixture f;
    f.AddStore("Mailbox", {"Inbox/Clients", "Archive/2023", "Junk", "Sent", "Trash"});
    f.AddStore("Archive", {"Shared"});
    f.Build();
    // A Maildir store lists its Inbox first, then the other folders by name.
    const std::vector<std::string> expected = {"1|0|0|\\\\Mailbox",
                                               "2|1|2|\\\\Mailbox\\Inbox",
                                               "3|2|1|\\\\Mailbox\\Inbox\\Clients",
                                               "4|1|1|\\\\Mailbox\\Archive",
                                               "5|4|1|\\\\Mailbox\\Archive\\2023",
                                               "6|1|7|\\\\Mailbox\\Junk",
                                               "7|1|3|\\\\Mailbox\\Sent",
                                               "8|1|4|\\\\Mailbox\\Trash",
                                               "9|0|0|\\\\Archive",
                                               "10|9|2|\\\\Archive\\Inbox",
                                               "11|9|1|\\\\Archive\\Shared"};
    EXPECT_EQ(f.Rows("SELECT ID, Parent, Icon, Path FROM FolderCache ORDER BY ID"), expected);
    EXPECT_TRUE(f.Logged("Analysing folders: 11"));
}

TEST(FolderCacheFind, NamesMatchLiterallyAndOnlyOneAnswerCounts) {
    struct Case {
        std::string_view Target, Scope, Expected;  // Scope: a store's name, or a root path
    };
    clsFolderCacheFixture f;
    f.AddUsualStores();
    f.Build();
    for (const Case& c : {
             Case{"Clients", "Mailbox", "\\\\Mailbox\\Inbox\\Clients"},  // whole name first
             Case{"lient", "Mailbox", "<none>"},                         // Clients and Old Clients
             Case{"Old", "Mailbox", "\\\\Mailbox\\Inbox\\Old Clients"},
             Case{"100%", "Mailbox", "\\\\Mailbox\\100%"},  // not 1000
             Case{"_", "Mailbox", "\\\\Mailbox\\a_b"},      // not acb
             Case{"[x]", "Mailbox", "\\\\Mailbox\\[x]"},    // not x
             Case{"O'Brien", "Mailbox", "\\\\Mailbox\\O'Brien"},
             Case{"Shared", "Archive", "\\\\Archive\\Shared"},
         }) {
        SCOPED_TRACE(std::string(c.Target) + " in " + std::string(c.Scope));
        EXPECT_EQ(PathOf(f.Cache.FindFolderFuzzy(c.Target, f.StoreIDs.at(std::string(c.Scope)))),
                  c.Expected);
    }

    for (const Case& c : {
             Case{"\\\\mailbox\\INBOX\\clients", "", "\\\\Mailbox\\Inbox\\Clients"},
             // Gone from the tree as a path: the last part is searched as a name.
             Case{"\\\\Mailbox\\Moved\\Old Clients", "", "\\\\Mailbox\\Inbox\\Old Clients"},
             // Names are compared whole, not as patterns: one row with a LIKE wildcard will do.
             Case{"O'Brien", "", "\\\\Mailbox\\O'Brien"}, Case{"100%", "", "\\\\Mailbox\\100%"},
             Case{"Shared", "", "<none>"},  // one in each store
             Case{"Shared", "\\\\Archive", "\\\\Archive\\Shared"},
             Case{"\\\\Mailbox\\Gone\\Shared", "\\\\Mailbox", "\\\\Mailbox\\Shared"},
             Case{"Shared", "\\\\Elsewhere", "<none>"},
             // Fixed names with no row of their own give the default store's folder of the role.
             Case{"Sent Items", "", "\\\\Mailbox\\Sent"},
             Case{"\\\\Mailbox\\deleted items", "", "\\\\Mailbox\\Trash"},
             Case{"Junk E-mail", "", "\\\\Archive\\Junk E-mail"},  // has a row, in another store
         }) {
        SCOPED_TRACE(std::string(c.Target) + " under " + std::string(c.Scope));
        EXPECT_EQ(PathOf(f.Cache.FindFolder(c.Target, c.Scope)), c.Expected);
    }
    EXPECT_EQ(PathOf(f.Cache.GetJunkFolder()), "\\\\Mailbox\\Spam");
}

// Mapped folders are made without a cache (deep paths through the corvel commands); a new
// folder takes the next number and its parent's icon and store.
TEST(FolderCacheCreate, MappedFoldersAndNewFoldersAreMade) {
    clsFolderCacheFixture f;
    f.AddUsualStores();
    EXPECT_FALSE(f.Cache.CreateMappedFolder("\\\\Mailbox\\Bad/Name"));
    EXPECT_TRUE(f.Logged("CreateMappedFolder (\\\\Mailbox\\Bad/Name)"));

    f.Build();
    // Numbers are MAX(ID) + 1, not the row count: make a gap first.
    clsDbConnection raw;
    ASSERT_TRUE(raw.Open(f.File, false).IsOk());
    long affected = 0;
    ASSERT_TRUE(raw.Execute("DELETE FROM FolderCache WHERE Name='x'", affected).IsOk());
    const std::string next =
        std::to_string(std::stol(f.Scalar("SELECT MAX(ID) FROM FolderCache")) + 1);

    // The parent is a junk folder (an icon of its own) outside the default store.
    EXPECT_EQ(PathOf(f.Cache.NewFolder("\\\\Archive\\Junk E-mail", "Reviewed")),
              "\\\\Archive\\Junk E-mail\\Reviewed");
    EXPECT_EQ(f.Scalar("SELECT ID, Parent, Icon, StoreID FROM FolderCache WHERE "
                       "Path='\\\\Archive\\Junk E-mail\\Reviewed'"),
              next + "|" +
                  f.Scalar("SELECT ID, Icon, StoreID FROM FolderCache WHERE "
                           "Path='\\\\Archive\\Junk E-mail'"));
    EXPECT_EQ(PathOf(f.Cache.FindFolder("Reviewed")), "\\\\Archive\\Junk E-mail\\Reviewed");

    // The cache still shows a folder the store no longer has: it is rebuilt.
    std::filesystem::remove_all(f.Folder.Path() / "Mailbox" / ".Archive.2023.Q1");
    EXPECT_FALSE(f.Cache.NewFolder("\\\\Mailbox\\Archive\\2023", "Q2"));
    EXPECT_TRUE(f.Logged("FolderCache->NewFolder: folder cache corrupt, rebuilding"));
    EXPECT_FALSE(f.Cache.FolderExists("Q1"));
}
