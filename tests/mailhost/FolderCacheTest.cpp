#include <gtest/gtest.h>

#include <algorithm>

#include "database/classRulesDatabase.h"
#include "database/clsJetCollation.h"
#include "mailhost/clsFolderCache.h"
#include "mailhost/maildir/clsMaildirStore.h"
#include "support/TestSupport.h"

namespace {

// A store that is only a folder tree in memory. Folder IDs are the names from the top joined by
// "/", as the object model expects; sub-folders come in the order they were added.
class clsTreeStore final : public clsMailStore {
public:
    clsTreeStore(std::string storeID, std::string displayName)
        : mStoreID(std::move(storeID)), mDisplayName(std::move(displayName)) {}

    // Adds "A/B/C" (each missing parent as a plain folder); the last part gets the role.
    void Add(std::string_view id, FolderRole role = FolderRole::None) {
        for (size_t slash = id.find('/'); slash != std::string_view::npos;
             slash = id.find('/', slash + 1)) {
            if (!Folder(id.substr(0, slash))) {
                Add(id.substr(0, slash));
            }
        }
        const size_t slash = id.rfind('/');
        mFolders.push_back(
            {std::string(id),
             std::string(slash == std::string_view::npos ? id : id.substr(slash + 1)), role});
    }
    void Remove(std::string_view id) {
        std::erase_if(mFolders, [&](const clsFolderEntry& entry) {
            return entry.ID == id || entry.ID.starts_with(std::string(id) + "/");
        });
    }

    const std::string& StoreID() const override { return mStoreID; }
    const std::string& DisplayName() const override { return mDisplayName; }
    std::optional<clsFolderEntry> Folder(std::string_view id) override {
        if (id.empty()) {
            return clsFolderEntry{"", mDisplayName};
        }
        const auto found =
            std::find_if(mFolders.begin(), mFolders.end(),
                         [&](const clsFolderEntry& entry) { return entry.ID == id; });
        return found == mFolders.end() ? std::nullopt : std::optional<clsFolderEntry>(*found);
    }
    std::vector<clsFolderEntry> SubFolders(std::string_view id) override {
        std::vector<clsFolderEntry> children;
        for (const clsFolderEntry& entry : mFolders) {
            const size_t slash = entry.ID.rfind('/');
            if (std::string_view(entry.ID).substr(0, slash == std::string::npos ? 0 : slash) ==
                id) {
                children.push_back(entry);
            }
        }
        return children;
    }
    std::optional<std::string> FolderForRole(FolderRole role) override {
        for (const clsFolderEntry& entry : mFolders) {
            if (entry.Role == role) {
                return entry.ID;
            }
        }
        return std::nullopt;
    }
    std::optional<std::string> CreateFolder(std::string_view parentID,
                                            std::string_view name) override {
        const std::string id =
            (parentID.empty() ? "" : std::string(parentID) + "/") + std::string(name);
        if (name.find('/') != std::string_view::npos || Folder(id)) {
            SetLastError(clsStatus::Error(clsStatus::Code::Invalid, "cannot make " + id));
            return std::nullopt;
        }
        Add(id);
        return id;
    }

    const std::vector<clsItemEntry>& ListItems(std::string_view) override { return mNoItems; }
    std::optional<clsItemEntry> FindItem(std::string_view, std::string_view) override { return {}; }
    std::optional<std::string> ReadMessage(std::string_view, std::string_view) override {
        return {};
    }
    bool SetSeen(std::string_view, std::string_view, bool) override { return false; }
    std::optional<std::string> MoveItem(std::string_view, std::string_view,
                                        std::string_view) override {
        return {};
    }
    std::optional<std::string> CopyItem(std::string_view, std::string_view,
                                        std::string_view) override {
        return {};
    }
    std::optional<std::string> AppendMessage(std::string_view, std::string_view, bool) override {
        return {};
    }
    bool RemoveItem(std::string_view, std::string_view) override { return false; }
    bool ReplaceMessage(std::string_view, std::string_view, std::string_view) override {
        return false;
    }
    clsUserPropertyStore& Properties() override { return mProperties; }

private:
    std::string mStoreID;
    std::string mDisplayName;
    std::vector<clsFolderEntry> mFolders;
    std::vector<clsItemEntry> mNoItems;
    clsUserPropertyStore mProperties;
};

class clsStatusLog final : public clsUserInterface {
public:
    void ShowStatus(std::string_view text) override { Texts.emplace_back(text); }
    MessageAnswer ShowMessage(std::string_view, std::string_view, MessageButtons, MessageIcon,
                              MessageAnswer answer) override {
        return answer;
    }
    std::string AskText(std::string_view, std::string_view, std::string_view fallback) override {
        return std::string(fallback);
    }
    std::vector<std::string> Texts;
};

struct clsFolderCacheFixture : clsTestEnvironment {
    std::filesystem::path File = Folder.Path() / "Rules.mdb";
    clsStatusLog Status;
    clsMailNamespace Mapi{Log, "Test"};
    clsFolderCache Cache{Log, Status, Mapi};

    clsTreeStore& AddTree(std::string storeID, std::string name,
                          std::initializer_list<std::string_view> folders) {
        auto store = std::make_unique<clsTreeStore>(std::move(storeID), std::move(name));
        clsTreeStore& tree = *store;
        for (std::string_view id : folders) {
            tree.Add(id);
        }
        Mapi.AddStore(std::move(store));
        return tree;
    }
    // The usual two stores: names that occur twice, once in each store, and names holding the
    // characters that mean something to SQL or to LIKE.
    clsTreeStore& AddUsualStores() {
        clsTreeStore& mailbox =
            AddTree("store-1", "Mailbox",
                    {"Inbox/Clients", "Inbox/Old Clients", "Archive/2023/Q1", "100%", "1000", "a_b",
                     "acb", "[x]", "x", "O'Brien", "Shared"});
        AddTree("store-2", "Archive", {"Shared"});
        return mailbox;
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
    bool Logged(std::string_view line) { return LogText().find(line) != std::string::npos; }
};

std::string PathOf(const std::optional<clsMailFolder>& folder) {
    return folder ? folder->FolderPath() : "<none>";
}

}  // namespace

TEST(FolderCacheDatabase, AMissingFileGetsTheTableAndTheRulesDatabaseSharesIt) {
    clsFolderCacheFixture f;
    ASSERT_TRUE(f.Cache.OpenDatabase(f.File));
    EXPECT_TRUE(f.Logged("FolderCache->OpenDatabase - creating: " + f.File.string()));
    EXPECT_EQ(f.Cache.CachedFolderCount(), 0);
    classRulesDatabase rules(f.Log, f.Ui);
    ASSERT_TRUE(rules.OpenDatabase(f.File, false));
    EXPECT_EQ(rules.GetCount("SELECT COUNT(*) FROM Rules"), 0);

    // A rules database made first gets the table when the cache opens it; a second open builds
    // nothing more.
    const std::filesystem::path other = f.Folder.Path() / "Other.mdb";
    ASSERT_TRUE(rules.OpenDatabase(other, true));
    for (int open = 0; open < 2; ++open) {
        f.Cache.CloseDatabase();
        ASSERT_TRUE(f.Cache.OpenDatabase(other));
    }
    EXPECT_EQ(f.Cache.CachedFolderCount(), 0);
    const std::string log = f.LogText();
    const std::string_view built = "FolderCache->OpenDatabase: create FolderCache table";
    size_t tablesBuilt = 0;
    for (size_t at = log.find(built); at != std::string::npos; at = log.find(built, at + 1)) {
        ++tablesBuilt;
    }
    EXPECT_EQ(tablesBuilt, 2u);  // one per file

    std::ofstream(f.Folder.Path() / "Broken.mdb") << "not a database at all";
    EXPECT_FALSE(f.Cache.OpenDatabase(f.Folder.Path() / "Broken.mdb"));
    EXPECT_FALSE(f.Cache.FindFolder("Clients"));
}

TEST(FolderCacheBuild, RowsFollowTheWalkAndEachStoreHasARootRow) {
    clsFolderCacheFixture f;
    clsTreeStore& mailbox = f.AddTree("store-1", "Mailbox", {});
    mailbox.Add("Inbox", FolderRole::Inbox);
    mailbox.Add("Inbox/Clients");
    mailbox.Add("Sent", FolderRole::SentMail);
    mailbox.Add("Archive/2023");
    mailbox.Add("Junk", FolderRole::Junk);
    f.AddTree("store-2", "Archive", {"Shared"});
    f.Build();
    const std::vector<std::string> expected = {"1|0|Mailbox|0|\\\\Mailbox|store-1|",
                                               "2|1|Inbox|2|\\\\Mailbox\\Inbox|store-1|",
                                               "3|2|Clients|1|\\\\Mailbox\\Inbox\\Clients|store-1|",
                                               "4|1|Sent|3|\\\\Mailbox\\Sent|store-1|",
                                               "5|1|Archive|1|\\\\Mailbox\\Archive|store-1|",
                                               "6|5|2023|1|\\\\Mailbox\\Archive\\2023|store-1|",
                                               "7|1|Junk|7|\\\\Mailbox\\Junk|store-1|",
                                               "8|0|Archive|0|\\\\Archive|store-2|",
                                               "9|8|Shared|1|\\\\Archive\\Shared|store-2|"};
    EXPECT_EQ(f.Rows("SELECT ID, Parent, Name, Icon, Path, StoreID, EntryID FROM FolderCache "
                     "ORDER BY ID"),
              expected);
    EXPECT_EQ(f.Status.Texts.back(), "Analysing folders: 9");

    // A rebuild replaces the rows: a folder that went is gone, the numbering starts again.
    mailbox.Remove("Archive");
    ASSERT_TRUE(f.Cache.BuildFolderCache());
    EXPECT_EQ(f.Cache.CachedFolderCount(), 7);
    EXPECT_EQ(f.Scalar("SELECT MAX(ID) FROM FolderCache"), "7");
    EXPECT_FALSE(f.Cache.FolderExists("2023"));
}

TEST(FolderCacheBuild, NoStoresMeansNoFoldersToProcess) {
    clsFolderCacheFixture f;
    f.Build();
    EXPECT_EQ(f.Cache.CachedFolderCount(), 0);
    EXPECT_EQ(f.Status.Texts, std::vector<std::string>{"No folders to process"});
}

TEST(FolderCacheFind, FuzzyMatchesLiterallyAndOnlyOneAnswerCounts) {
    struct Case {
        std::string_view Name, Store, Expected;
    };
    clsFolderCacheFixture f;
    f.AddUsualStores();
    f.Build();
    for (const Case& c : {
             Case{"Clients", "store-1", "\\\\Mailbox\\Inbox\\Clients"},  // whole name first
             Case{"clients", "store-1", "\\\\Mailbox\\Inbox\\Clients"},
             Case{"lient", "store-1", "<none>"},  // Clients and Old Clients
             Case{"Old", "store-1", "\\\\Mailbox\\Inbox\\Old Clients"},
             Case{"100%", "store-1", "\\\\Mailbox\\100%"},  // not 1000
             Case{"%", "store-1", "\\\\Mailbox\\100%"},
             Case{"a_b", "store-1", "\\\\Mailbox\\a_b"},  // not acb
             Case{"_", "store-1", "\\\\Mailbox\\a_b"},
             Case{"[x]", "store-1", "\\\\Mailbox\\[x]"},  // not x
             Case{"O'Brien", "store-1", "\\\\Mailbox\\O'Brien"},
             Case{"Shared", "", "<none>"},
             Case{"Shared", "store-1", "\\\\Mailbox\\Shared"},
             Case{"Shared", "store-2", "\\\\Archive\\Shared"},
         }) {
        SCOPED_TRACE(std::string(c.Name) + " in " + std::string(c.Store));
        EXPECT_EQ(PathOf(f.Cache.FindFolderFuzzy(c.Name, c.Store)), c.Expected);
    }
    EXPECT_TRUE(f.Logged("FolderCache->FindFolderFuzzy: 2 folder(s) found"));
}

TEST(FolderCacheFind, PathsAndNamesResolveToOneFolderOrNothing) {
    struct Case {
        std::string_view Target, Root, Expected;
    };
    clsFolderCacheFixture f;
    f.AddUsualStores();
    f.Build();
    for (const Case& c : {
             Case{"\\\\Mailbox\\Inbox\\Clients", "", "\\\\Mailbox\\Inbox\\Clients"},
             Case{"\\\\mailbox\\INBOX\\clients", "", "\\\\Mailbox\\Inbox\\Clients"},
             // Gone from the tree as a path: the last part is searched as a name.
             Case{"\\\\Mailbox\\Moved\\Old Clients", "", "\\\\Mailbox\\Inbox\\Old Clients"},
             Case{"Q1", "", "\\\\Mailbox\\Archive\\2023\\Q1"},
             Case{"O'Brien", "", "\\\\Mailbox\\O'Brien"}, Case{"100%", "", "\\\\Mailbox\\100%"},
             Case{"a_b", "", "\\\\Mailbox\\a_b"}, Case{"[x]", "", "\\\\Mailbox\\[x]"},
             Case{"Shared", "", "<none>"},  // one in each store
             Case{"Shared", "\\\\Archive", "\\\\Archive\\Shared"},
             Case{"\\\\Mailbox\\Gone\\Shared", "\\\\Mailbox", "\\\\Mailbox\\Shared"},
             Case{"Shared", "\\\\Elsewhere", "<none>"}, Case{"Nowhere", "", "<none>"},
             Case{"Sent Items", "", "<none>"},  // a fixed name, but no folder has the role
         }) {
        SCOPED_TRACE(std::string(c.Target) + " under " + std::string(c.Root));
        EXPECT_EQ(PathOf(f.Cache.FindFolder(c.Target, c.Root)), c.Expected);
    }
    EXPECT_TRUE(
        f.Logged("FolderCache->FindFolder - mapped folder not found, searching for: "
                 "\\\\Mailbox\\Moved\\Old Clients"));
    EXPECT_TRUE(f.Logged("FolderCache->FindFolder: multiple folders found"));
}

TEST(FolderCacheFind, FixedDefaultFolderNamesGiveTheFolderOfThatRole) {
    struct Case {
        std::string_view Target, Expected;
    };
    clsFolderCacheFixture f;
    clsTreeStore& mailbox = f.AddTree("store-1", "Mailbox", {});
    mailbox.Add("Posteingang", FolderRole::Inbox);
    mailbox.Add("Sent", FolderRole::SentMail);
    mailbox.Add("Trash", FolderRole::DeletedItems);
    mailbox.Add("Spam", FolderRole::Junk);
    mailbox.Add("Drafts");  // a folder of that name, without the role
    clsTreeStore& archive = f.AddTree("store-2", "Archive", {"Outbox"});
    archive.Add("Junk E-mail", FolderRole::Junk);  // not the default store's
    f.Build();
    for (const Case& c :
         {Case{"Sent Items", "\\\\Mailbox\\Sent"},
          Case{"\\\\Mailbox\\Sent Items", "\\\\Mailbox\\Sent"},
          Case{"\\\\Mailbox\\deleted items", "\\\\Mailbox\\Trash"},
          Case{"Inbox", "\\\\Mailbox\\Posteingang"}, Case{"Drafts", "\\\\Mailbox\\Drafts"},
          Case{"Outbox", "\\\\Archive\\Outbox"},  // the cached row comes first
          // The name has a row, in another store: the row answers, not the default store's role.
          Case{"Junk E-mail", "\\\\Archive\\Junk E-mail"}, Case{"Junk Suspects", "<none>"}}) {
        SCOPED_TRACE(c.Target);
        EXPECT_EQ(PathOf(f.Cache.FindFolder(c.Target)), c.Expected);
    }
    EXPECT_EQ(PathOf(f.Cache.GetJunkFolder()), "\\\\Mailbox\\Spam");
    EXPECT_TRUE(
        f.Logged("FolderCache->FindFolder - default folder used for Sent Items: "
                 "\\\\Mailbox\\Sent"));
}

TEST(FolderCacheCreate, MappedFoldersAreOpenedAndTheirMissingPartsMade) {
    struct Case {
        std::string_view Path, Created, LogLine;
    };
    clsFolderCacheFixture f;
    f.AddUsualStores();
    for (const Case& c : {
             Case{"\\\\Mailbox\\Inbox\\New\\Deeper", "\\\\Mailbox\\Inbox\\New\\Deeper", ""},
             Case{"\\\\mailbox\\inbox\\Other", "\\\\Mailbox\\Inbox\\Other", ""},
             Case{"\\\\Nowhere\\X", "<none>", "CreateMappedFolder (\\\\Nowhere\\X)"},
             Case{"\\\\Mailbox\\Bad/Name", "<none>", "CreateMappedFolder (\\\\Mailbox\\Bad/Name)"},
         }) {
        SCOPED_TRACE(c.Path);
        EXPECT_EQ(PathOf(f.Cache.OpenMappedFolder(c.Path)), "<none>");
        EXPECT_EQ(PathOf(f.Cache.CreateMappedFolder(c.Path)), c.Created);
        EXPECT_EQ(PathOf(f.Cache.OpenMappedFolder(c.Path)), c.Created);
        EXPECT_TRUE(f.Logged(c.LogLine));
    }
    EXPECT_FALSE(f.Cache.OpenMappedFolder("\\\\Mailbox\\Inbox\\Missing"));
    EXPECT_TRUE(f.Logged("Folder not found, failed at Missing from \\\\Mailbox\\Inbox\\Missing"));
    EXPECT_FALSE(f.Cache.OpenMappedFolder(""));
    EXPECT_TRUE(f.Logged("OpenMappedFolder: name not specified!"));
}

TEST(FolderCacheCreate, NewFolderTakesTheNextNumberAndItsParentsIconAndStore) {
    clsFolderCacheFixture f;
    clsTreeStore& mailbox = f.AddUsualStores();
    mailbox.Add("Junk", FolderRole::Junk);
    f.Build();
    // Numbers are MAX(ID) + 1, not the row count: make a gap first.
    clsDbConnection raw;
    ASSERT_TRUE(raw.Open(f.File, false).IsOk());
    long affected = 0;
    ASSERT_TRUE(raw.Execute("DELETE FROM FolderCache WHERE Name='x'", affected).IsOk());
    const std::string next =
        std::to_string(std::stol(f.Scalar("SELECT MAX(ID) FROM FolderCache")) + 1);

    EXPECT_EQ(PathOf(f.Cache.NewFolder("\\\\Mailbox\\Junk", "Reviewed")),
              "\\\\Mailbox\\Junk\\Reviewed");
    const std::string junk = f.Scalar("SELECT ID FROM FolderCache WHERE Path='\\\\Mailbox\\Junk'");
    EXPECT_EQ(f.Rows("SELECT ID, Parent, Icon, StoreID, EntryID FROM FolderCache WHERE "
                     "Path='\\\\Mailbox\\Junk\\Reviewed'"),
              std::vector<std::string>{next + "|" + junk + "|7|store-1|"});
    EXPECT_EQ(PathOf(f.Cache.FindFolder("Reviewed")), "\\\\Mailbox\\Junk\\Reviewed");

    const long rows = f.Cache.CachedFolderCount();
    EXPECT_FALSE(f.Cache.NewFolder("\\\\Mailbox\\Junk", clsFolderCache::kCancelSentinel));
    EXPECT_FALSE(f.Cache.NewFolder("\\\\Mailbox\\Nowhere", "Reviewed"));
    EXPECT_TRUE(f.Logged("FolderCache->NewFolder: parent folder not found (\\\\Mailbox\\Nowhere)"));
    EXPECT_EQ(f.Cache.CachedFolderCount(), rows);
    EXPECT_FALSE(f.Cache.OpenMappedFolder("\\\\Mailbox\\Junk\\#CV#Cancel#"));

    // The cache still shows a folder the store no longer has: it is rebuilt.
    mailbox.Remove("Archive");
    EXPECT_FALSE(f.Cache.NewFolder("\\\\Mailbox\\Archive\\2023", "Q2"));
    EXPECT_TRUE(f.Logged("FolderCache->NewFolder: folder cache corrupt, rebuilding"));
    EXPECT_FALSE(f.Cache.FolderExists("Q1"));
}

TEST(FolderCacheQueries, TreeRowsComeParentsFirstAndSiblingsByName) {
    clsFolderCacheFixture f;
    f.AddUsualStores();
    f.Build();
    std::vector<std::string> seen = {"0"};
    std::string previousParent, previousName;
    for (auto rs = f.Cache.GetTreeviewRS(); rs && !rs->Eof(); rs->MoveNext()) {
        const std::string parent = rs->Field("Parent").AsText();
        const std::string name = rs->Field("Name").AsText();
        SCOPED_TRACE(name);
        EXPECT_NE(std::find(seen.begin(), seen.end(), parent), seen.end());
        if (parent == previousParent) {
            EXPECT_LE(clsJetCollation::Compare(previousName, name), 0);
        }
        seen.push_back(rs->Field("ID").AsText());
        previousParent = parent;
        previousName = name;
    }
    EXPECT_EQ(seen.size(), static_cast<size_t>(f.Cache.CachedFolderCount()) + 1);

    struct Case {
        std::string_view Filter, Store;
        std::vector<std::string> Names;
    };
    for (const Case& c :
         {Case{"lient", "", {"Clients", "Old Clients"}}, Case{"SHARED", "", {"Shared", "Shared"}},
          Case{"", "store-2", {"Archive", "Shared"}}, Case{"Shared", "store-2", {"Shared"}},
          Case{"%", "", {"100%"}}, Case{"'", "", {"O'Brien"}}}) {
        SCOPED_TRACE(std::string(c.Filter) + " in " + std::string(c.Store));
        std::vector<std::string> names;
        for (auto rs = f.Cache.GetTreeviewRS(c.Filter, c.Store); rs && !rs->Eof(); rs->MoveNext()) {
            names.push_back(rs->Field("Name").AsText());
        }
        EXPECT_EQ(names, c.Names);
    }

    const std::int32_t inbox = static_cast<std::int32_t>(
        std::stol(f.Scalar("SELECT ID FROM FolderCache WHERE Path='\\\\Mailbox\\Inbox'")));
    EXPECT_EQ(f.Cache.SubfolderCount(inbox), 2);
    EXPECT_EQ(f.Cache.GetPathByID(inbox), "\\\\Mailbox\\Inbox");
    EXPECT_EQ(f.Cache.GetPathByID(9999), "");
    EXPECT_TRUE(f.Cache.FolderExists("o'brien"));
    EXPECT_FALSE(f.Cache.FolderExists("O'Brie"));
    EXPECT_EQ(f.Cache.DefaultStoreID(), "store-1");
}

TEST(FolderCacheMaildir, ARealTreeIsCachedAndItsDovecotNamesAnswerTheFixedNames) {
    clsFolderCacheFixture f;
    const std::filesystem::path root = f.Folder.Path() / "Maildir";
    // Folders as Dovecot names them, made before the store is first opened.
    for (const char* folder : {".Sent", ".Junk", ".Trash", ".INBOX.Clients"}) {
        for (const char* sub : {"cur", "new", "tmp"}) {
            std::filesystem::create_directories(root / folder / sub);
        }
    }
    std::filesystem::create_directories(root / "cur");
    clsStatus status = clsStatus::Ok();
    std::unique_ptr<clsMaildirStore> store = clsMaildirStore::Open(root, "Mailbox", false, status);
    ASSERT_TRUE(store) << status.Description();
    const std::string storeID = store->StoreID();
    f.Mapi.AddStore(std::move(store));

    ASSERT_TRUE(f.Cache.CreateMappedFolder("\\\\Mailbox\\Inbox\\Clients\\Acme"));
    f.Build();
    EXPECT_EQ(PathOf(f.Cache.FindFolder("Acme")), "\\\\Mailbox\\Inbox\\Clients\\Acme");
    EXPECT_EQ(PathOf(f.Cache.FindFolderFuzzy("lient", storeID)), "\\\\Mailbox\\Inbox\\Clients");
    EXPECT_EQ(PathOf(f.Cache.FindFolder("Sent Items")), "\\\\Mailbox\\Sent");
    EXPECT_EQ(PathOf(f.Cache.FindFolder("Junk E-mail")), "\\\\Mailbox\\Junk");
    EXPECT_EQ(f.Scalar("SELECT Icon FROM FolderCache WHERE Path='\\\\Mailbox\\Trash'"),
              std::to_string(clsFolderCache::kIconDeletedItems));

    EXPECT_EQ(PathOf(f.Cache.NewFolder("\\\\Mailbox\\Inbox\\Clients", "Globex")),
              "\\\\Mailbox\\Inbox\\Clients\\Globex");
    EXPECT_TRUE(std::filesystem::is_directory(root / ".INBOX.Clients.Globex" / "cur"));
    EXPECT_TRUE(f.Cache.FolderExists("Globex"));
}
