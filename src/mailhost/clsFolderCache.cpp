#include "mailhost/clsFolderCache.h"

#include <utility>

#include "database/clsJetCollation.h"
#include "database/clsSchemaBuilder.h"
#include "foundation/CommonHelpers.h"
#include "foundation/clsUtf8.h"

namespace {

constexpr std::string_view kComponent = "FolderCache->";
constexpr std::string_view kTable = "FolderCache";

std::string Entry(std::string_view routine) {
    return std::string(kComponent) + std::string(routine);
}

std::string Escaped(std::string_view text) { return SQLEscapeString(text, false); }

// Runs work; an exception is logged under the routine and gives the neutral value.
template <typename Work>
auto Guarded(clsLogFile& log, std::string_view routine, Work&& work) -> decltype(work()) {
    try {
        return std::forward<Work>(work)();
    } catch (const std::exception& error) {
        log.AddErrorLog(Entry(routine), error);
    }
    return {};
}

// Declared as the rules database declares its tables, so text compares without regard to case.
// ID is numbered by the cache itself, not by the database.
clsTableDefinition FolderCacheTable() {
    using Column = clsColumnDefinition;
    return {kTable,
            "FolderCacheTable",
            {Column{"ID", AdoType::Integer}, Column{"StoreID", AdoType::LongVarWChar},
             Column{"EntryID", AdoType::LongVarWChar}, Column{"Parent", AdoType::Integer},
             Column{"Name", AdoType::VarWChar, 255}, Column{"Path", AdoType::VarWChar, 255},
             Column{"Icon", AdoType::Integer}, Column{"Check", AdoType::VarWChar}},
            "PK_ID",
            "ID"};
}

struct clsFolderRow {
    std::int32_t ID = 0;
    std::int32_t Parent = 0;
    std::string Name;
    int Icon = clsFolderCache::kIconMailFolder;
    std::string Path;
    std::string StoreID;
};

std::string InsertSql(const clsFolderRow& row) {
    return "INSERT INTO FolderCache (ID,Parent, Name, Icon, Path, StoreID, EntryID) VALUES (" +
           std::to_string(row.ID) + "," + std::to_string(row.Parent) + ",'" + Escaped(row.Name) +
           "', " + std::to_string(row.Icon) + ",'" + Escaped(row.Path) + "','" +
           Escaped(row.StoreID) + "','');";
}

int RoleIcon(FolderRole role) {
    switch (role) {
        case FolderRole::Inbox:
            return clsFolderCache::kIconInbox;
        case FolderRole::SentMail:
            return clsFolderCache::kIconSentMail;
        case FolderRole::Junk:
            return clsFolderCache::kIconJunk;
        case FolderRole::DeletedItems:
            return clsFolderCache::kIconDeletedItems;
        case FolderRole::Drafts:
            return clsFolderCache::kIconDrafts;
        case FolderRole::Outbox:
            return clsFolderCache::kIconOutbox;
        case FolderRole::None:
            break;
    }
    return clsFolderCache::kIconMailFolder;
}

// A default folder shows its role; any other folder what it holds (mail, unless a backend
// offers other item classes).
int IconFor(const clsMailFolder& folder) {
    static constexpr std::pair<std::string_view, int> kClassIcons[] = {
        {"IPF.Contact", clsFolderCache::kIconContacts},
        {"IPF.Appointment", clsFolderCache::kIconCalendar},
        {"IPF.Journal", clsFolderCache::kIconJournal},
        {"IPF.StickyNote", clsFolderCache::kIconNotes},
        {"IPF.Task", clsFolderCache::kIconTasks}};
    if (folder.Role() != FolderRole::None) {
        return RoleIcon(folder.Role());
    }
    const std::string itemClass = folder.DefaultMessageClass();
    for (const auto& [prefix, icon] : kClassIcons) {
        if (itemClass == prefix) {
            return icon;
        }
    }
    return clsFolderCache::kIconMailFolder;
}

// The names the engine uses for the default folders; a store may call its folder of that role
// otherwise ("Sent", "Junk", "Trash").
constexpr std::pair<std::string_view, DefaultFolder> kFixedNames[] = {
    {"Inbox", DefaultFolder::Inbox},
    {"Sent Items", DefaultFolder::SentMail},
    {"Deleted Items", DefaultFolder::DeletedItems},
    {"Drafts", DefaultFolder::Drafts},
    {"Outbox", DefaultFolder::Outbox},
    {"Junk E-mail", DefaultFolder::Junk}};

// "\\Mailbox\Inbox" -> {"Mailbox", "Inbox"}: the two backslashes opening a path name no folder.
std::vector<std::string_view> PathParts(std::string_view path) {
    for (int i = 0; i < 2 && path.starts_with('\\'); ++i) {
        path.remove_prefix(1);
    }
    std::vector<std::string_view> parts;
    for (size_t at = path.find('\\');; at = path.find('\\')) {
        parts.push_back(path.substr(0, at));
        if (at == std::string_view::npos) {
            return parts;
        }
        path.remove_prefix(at + 1);
    }
}

std::string_view LastPart(std::string_view path) {
    const size_t at = path.rfind('\\');
    return at == std::string_view::npos ? path : path.substr(at + 1);
}

// Jet's LEFT counts characters, not bytes.
size_t CharacterCount(std::string_view text) {
    size_t count = 0;
    for (size_t pos = 0; pos < text.size(); ++count) {
        clsUtf8::Next(text, pos);
    }
    return count;
}

// The folder of exactly that name, else the first whose name differs only in case (the host
// found folders by name without regard to case).
std::optional<clsMailFolder> ChildNamed(const std::vector<clsMailFolder>& folders,
                                        std::string_view name) {
    const clsMailFolder* folded = nullptr;
    for (const clsMailFolder& folder : folders) {
        if (folder.Name() == name) {
            return folder;
        }
        if (folded == nullptr && clsJetCollation::Equal(folder.Name(), name)) {
            folded = &folder;
        }
    }
    return folded != nullptr ? std::optional<clsMailFolder>(*folded) : std::nullopt;
}

clsStatus CreationError(const clsMailFolder& parent, std::string_view name) {
    const clsStatus& error = parent.Store().LastError();
    return error.IsOk() ? clsStatus::Error(clsStatus::Code::Invalid,
                                           "cannot create folder " + std::string(name))
                        : error;
}

// Depth first: a folder, then its sub-folders in the store's order. Rows are numbered in walk
// order, so a parent's number is always below its children's.
void EnumerateFolders(const clsMailFolder& folder, std::int32_t parentID,
                      const std::string& parentPath, std::int32_t& counter,
                      std::vector<clsFolderRow>& rows) {
    const clsFolderRow row{++counter,
                           parentID,
                           folder.Name(),
                           IconFor(folder),
                           parentPath + "\\" + folder.Name(),
                           folder.StoreID()};
    rows.push_back(row);
    for (const clsMailFolder& child : folder.Folders()) {
        EnumerateFolders(child, row.ID, row.Path, counter, rows);
    }
}

// One savepoint around a store's rows: one write to disk instead of one per folder. Released
// (committed) on the way out, an exception's way included.
class clsInsertBatch {
public:
    clsInsertBatch(clsDbConnection& connection, clsLogFile& log)
        : mConnection(connection), mLog(log) {
        mOpen = mConnection.ExecuteNative("SAVEPOINT FolderCacheBuild").IsOk();
    }
    ~clsInsertBatch() {
        if (!mOpen) {
            return;
        }
        const clsStatus status = mConnection.ExecuteNative("RELEASE FolderCacheBuild");
        if (!status.IsOk()) {
            mLog.AddErrorLog(Entry("BuildFolderCache"), status);
        }
    }
    clsInsertBatch(const clsInsertBatch&) = delete;
    clsInsertBatch& operator=(const clsInsertBatch&) = delete;

private:
    clsDbConnection& mConnection;
    clsLogFile& mLog;
    bool mOpen = false;
};

}  // namespace

clsFolderCache::clsFolderCache(clsLogFile& log, clsUserInterface& ui, clsMailNamespace& mapi)
    : mLog(log),
      mUi(ui),
      mNamespace(mapi),
      mConnection(log, "FolderCache",
                  [this](const std::filesystem::path& file) { return OpenDatabase(file); }) {}

clsFolderCache::~clsFolderCache() { CloseDatabase(); }

// ---- connection ----

bool clsFolderCache::OpenDatabase(const std::filesystem::path& file) {
    return Guarded(mLog, "OpenDatabase", [&] {
        if (mConnection.IsOpenOn(file)) {
            return true;
        }
        mConnection.Remember(file);
        mLog.AddLog(Entry("OpenDatabase: ") + file.string());
        if (!std::filesystem::exists(file)) {
            mLog.AddLog(Entry("OpenDatabase - creating: ") + file.string());
            if (!CreateDatabase()) {
                CloseDatabase();
                return false;
            }
        }
        if (!mConnection.Connect(false, "OpenDatabase")) {
            return false;
        }
        if (!EnsureTable()) {
            CloseDatabase();
            return false;
        }
        return true;
    });
}

void clsFolderCache::CloseDatabase() { mConnection.Close(); }

bool clsFolderCache::ReopenDatabase() { return mConnection.Reopen(); }

bool clsFolderCache::CreateDatabase() {
    return Guarded(mLog, "CreateDatabase", [&] {
        if (mConnection.IsOpen() || mConnection.File().empty()) {
            return false;
        }
        if (!mConnection.Connect(true, "CreateDatabase")) {
            return false;
        }
        return EnsureTable();
    });
}

bool clsFolderCache::EnsureTable() {
    if (mConnection.Connection().TableExists(kTable)) {
        return true;
    }
    mLog.AddLog(Entry("OpenDatabase: create FolderCache table"));
    const clsStatus status = mConnection.Connection().ExecuteNative(
        clsSchemaBuilder::CreateTableSql(FolderCacheTable()));
    if (status.IsOk()) {
        return true;
    }
    mLog.AddErrorLog(Entry("OpenDatabase"), status);
    return false;
}

std::unique_ptr<clsRecordset> clsFolderCache::GetRS(std::string_view sql) {
    return mConnection.GetRS(sql);
}

bool clsFolderCache::RunCommand(std::string_view sql) {
    long affected = 0;
    return mConnection.RunCommand(sql, affected);
}

std::int32_t clsFolderCache::GetLastID() { return mConnection.GetLastID(); }

// ---- queries ----

long clsFolderCache::SubfolderCount(std::int32_t id) {
    return Count("SELECT COUNT(ID) FROM FolderCache WHERE [Parent]=" + std::to_string(id));
}

long clsFolderCache::CachedFolderCount() { return Count("SELECT COUNT(ID) FROM FolderCache"); }

std::unique_ptr<clsRecordset> clsFolderCache::GetTreeviewRS(std::string_view nameFilter,
                                                            std::string_view storeID) {
    return Guarded(mLog, "GetTreeviewRS", [&] {
        // The filter is the user's text: it matches literally, "%" and "_" included.
        std::string where;
        if (!nameFilter.empty()) {
            where = "Name LIKE '%" + SQLEscapeString(nameFilter, true) + "%'";
        }
        if (!storeID.empty()) {
            where += (where.empty() ? "" : " AND ") + ("StoreID='" + Escaped(storeID) + "'");
        }
        return GetRS("SELECT * FROM FolderCache" + (where.empty() ? "" : " WHERE " + where) +
                     " ORDER BY Parent ASC, Name ASC");
    });
}

std::string clsFolderCache::GetPathByID(std::int32_t id) {
    return Guarded(mLog, "GetPathByID", [&]() -> std::string {
        const std::unique_ptr<clsRecordset> rs =
            GetRS("SELECT Path FROM FolderCache WHERE id=" + std::to_string(id));
        return rs && !rs->Eof() ? rs->Field("Path").AsText() : "";
    });
}

bool clsFolderCache::FolderExists(std::string_view name) {
    return Guarded(mLog, "FolderExists", [&] {
        const std::unique_ptr<clsRecordset> rs =
            GetRS("SELECT * FROM FolderCache WHERE Name='" + Escaped(name) + "';");
        return rs && !rs->Eof();
    });
}

std::string clsFolderCache::DefaultStoreID() {
    return Guarded(mLog, "DefaultStoreID", [&]() -> std::string {
        const clsMailStore* store = mNamespace.DefaultStore();
        return store != nullptr ? store->StoreID() : "";
    });
}

void clsFolderCache::Status(const std::string& text) {
    if (mShowStatus) {
        mUi.ShowStatus(text);
    }
}

// ---- finding folders ----

std::optional<clsMailFolder> clsFolderCache::FindFolder(std::string_view target,
                                                        std::string_view rootPath) {
    return Guarded(mLog, "FindFolder", [&]() -> std::optional<clsMailFolder> {
        std::string name(target);
        if (target.starts_with("\\\\")) {
            mLog.AddLog(Entry("FindFolder - open mapped folder: ") + name);
            const std::unique_ptr<clsRecordset> rs =
                GetRS("SELECT * FROM FolderCache WHERE Path='" + Escaped(target) + "';");
            if (rs && rs->RecordCount() == 1) {
                return OpenMappedFolder(rs->Field("Path").AsText());
            }
            mLog.AddLog(Entry("FindFolder - mapped folder not found, searching for: ") + name);
            name = std::string(LastPart(target));
        }
        return FindByName(name, rootPath);
    });
}

std::optional<clsMailFolder> clsFolderCache::FindByName(const std::string& name,
                                                        std::string_view rootPath) {
    const std::string query = "SELECT * FROM FolderCache WHERE Name='" + Escaped(name);
    std::unique_ptr<clsRecordset> rs = GetRS(query + "';");
    if (!rs || rs->Eof()) {
        if (std::optional<clsMailFolder> folder = DefaultFolderNamed(name)) {
            return folder;
        }
        mLog.AddLog(Entry("FindFolder: folder not found"));
        return std::nullopt;
    }
    // Without a root every row is under it: narrowing could not settle anything.
    if (rs->RecordCount() > 1 && !rootPath.empty()) {
        rs = GetRS(query + "' AND LEFT(Path," + std::to_string(CharacterCount(rootPath)) + ")='" +
                   Escaped(rootPath) + "';");
    }
    const long count = rs ? rs->RecordCount() : 0;
    if (count == 1) {
        const std::string path = rs->Field("Path").AsText();
        std::optional<clsMailFolder> folder = OpenMappedFolder(path);
        if (folder) {
            mLog.AddLog(Entry("FindFolder - folder found: ") + path, 1);
        }
        return folder;
    }
    mLog.AddLog(
        Entry(count > 1 ? "FindFolder: multiple folders found" : "FindFolder: folder not found"));
    return std::nullopt;
}

std::optional<clsMailFolder> clsFolderCache::DefaultFolderNamed(std::string_view name) {
    for (const auto& [fixedName, role] : kFixedNames) {
        if (!clsJetCollation::Equal(name, fixedName)) {
            continue;
        }
        std::optional<clsMailFolder> folder = mNamespace.GetDefaultFolder(role);
        if (folder) {
            mLog.AddLog(Entry("FindFolder - default folder used for ") + std::string(name) + ": " +
                        folder->FolderPath());
        }
        return folder;
    }
    return std::nullopt;
}

std::optional<clsMailFolder> clsFolderCache::FindFolderFuzzy(std::string_view name,
                                                             std::string_view storeID) {
    return Guarded(mLog, "FindFolderFuzzy", [&]() -> std::optional<clsMailFolder> {
        const std::string pattern = SQLEscapeString(name, true);
        const std::string inStore = "' AND [StoreID]='" + Escaped(storeID) + "';";
        std::unique_ptr<clsRecordset> rs =
            GetRS("SELECT Path FROM FolderCache WHERE [Name] LIKE '" + pattern + inStore);
        if (!rs || rs->Eof()) {
            rs = GetRS("SELECT Path FROM FolderCache WHERE [Name] LIKE '%" + pattern + "%" +
                       inStore);
        }
        const long count = rs ? rs->RecordCount() : 0;
        std::optional<clsMailFolder> folder;
        if (count == 0) {
            mLog.AddLog(Entry("FindFolderFuzzy: no records returned"));
        } else if (count == 1) {
            const std::string path = rs->Field("Path").AsText();
            folder = OpenMappedFolder(path);
            if (folder) {
                mLog.AddLog(Entry("FindFolderFuzzy - folder found: ") + path, 1);
            }
        } else {
            mLog.AddLog(Entry("FindFolderFuzzy: ") + std::to_string(count) + " folder(s) found");
        }
        if (!folder) {
            mLog.AddLog(Entry("FindFolderFuzzy: folder not found"));
        }
        return folder;
    });
}

std::optional<clsMailFolder> clsFolderCache::GetJunkFolder() {
    return Guarded(mLog, "GetJunkFolder",
                   [&] { return mNamespace.GetDefaultFolder(DefaultFolder::Junk); });
}

// ---- walking and creating folders ----

clsStatus clsFolderCache::WalkPath(std::string_view path, bool create,
                                   std::optional<clsMailFolder>& folder, std::string& failedAt) {
    const std::vector<std::string_view> parts = PathParts(path);
    folder = ChildNamed(mNamespace.Folders(), parts.front());
    if (!folder) {
        failedAt = parts.front();
        return clsStatus::Error(clsStatus::Code::NotFound, "no store is named " + failedAt);
    }
    for (size_t i = 1; i < parts.size(); ++i) {
        std::optional<clsMailFolder> child = ChildNamed(folder->Folders(), parts[i]);
        if (!child && create) {
            child = CreateFolder(*folder, parts[i]);
            if (!child) {
                failedAt = parts[i];
                return CreationError(*folder, parts[i]);
            }
        }
        if (!child) {
            failedAt = parts[i];
            return clsStatus::Error(clsStatus::Code::NotFound, "no folder " + failedAt);
        }
        folder = std::move(child);
    }
    return clsStatus::Ok();
}

std::optional<clsMailFolder> clsFolderCache::OpenMappedFolder(std::string_view path) {
    return Guarded(mLog, "OpenMappedFolder", [&]() -> std::optional<clsMailFolder> {
        if (path.empty()) {
            mLog.AddLog("OpenMappedFolder: name not specified!");
            return std::nullopt;
        }
        std::optional<clsMailFolder> folder;
        std::string failedAt;
        if (!WalkPath(path, false, folder, failedAt).IsOk()) {
            mLog.AddLog("Folder not found, failed at " + failedAt + " from " + std::string(path));
            return std::nullopt;
        }
        mLog.AddLog("Retrieved folder: " + std::string(path), 1);
        return folder;
    });
}

std::optional<clsMailFolder> clsFolderCache::CreateFolder(const clsMailFolder& parent,
                                                          std::string_view name) {
    return Guarded(mLog, "CreateFolder", [&] {
        std::optional<clsMailFolder> folder = parent.AddFolder(name);
        if (folder) {
            mLog.AddLog(Entry("CreateFolder: ") + folder->FolderPath());
        } else {
            mLog.AddErrorLog(Entry("CreateFolder"), CreationError(parent, name));
        }
        return folder;
    });
}

std::optional<clsMailFolder> clsFolderCache::CreateMappedFolder(std::string_view path) {
    return Guarded(mLog, "CreateMappedFolder", [&]() -> std::optional<clsMailFolder> {
        mLog.AddLog("CreateMappedFolder: " + std::string(path));
        std::optional<clsMailFolder> folder;
        std::string failedAt;
        const clsStatus status = WalkPath(path, true, folder, failedAt);
        if (status.IsOk()) {
            return folder;
        }
        mLog.AddErrorLog("CreateMappedFolder (" + std::string(path) + ")", status);
        return std::nullopt;
    });
}

std::optional<clsMailFolder> clsFolderCache::NewFolder(std::string_view parentPath,
                                                       std::string_view name) {
    return Guarded(mLog, "NewFolder", [&]() -> std::optional<clsMailFolder> {
        if (name.empty() || name == kCancelSentinel) {
            return std::nullopt;
        }
        const std::unique_ptr<clsRecordset> parentRow = GetRS(
            "SELECT ID, StoreID, Icon FROM FolderCache WHERE Path='" + Escaped(parentPath) + "';");
        if (!parentRow || parentRow->Eof()) {
            mLog.AddLog(Entry("NewFolder: parent folder not found (") + std::string(parentPath) +
                        ")");
            return std::nullopt;
        }
        const std::optional<clsMailFolder> parent = OpenMappedFolder(parentPath);
        if (!parent) {
            RebuildStaleCache();
            return std::nullopt;
        }
        return AddCachedFolder(*parentRow, *parent, parentPath, name);
    });
}

std::optional<clsMailFolder> clsFolderCache::AddCachedFolder(const clsRecordset& parentRow,
                                                             const clsMailFolder& parent,
                                                             std::string_view parentPath,
                                                             std::string_view name) {
    const std::string path = std::string(parentPath) + "\\" + std::string(name);
    if (std::optional<clsMailFolder> existing = ChildNamed(parent.Folders(), name)) {
        // Asked for a folder the user could not see: the cache is behind the store.
        if (Count("SELECT COUNT(ID) FROM FolderCache WHERE Path='" + Escaped(path) + "';") == 0) {
            RebuildStaleCache();
        }
        return existing;
    }
    std::optional<clsMailFolder> folder = CreateFolder(parent, name);
    if (!folder) {
        return std::nullopt;
    }
    const std::unique_ptr<clsRecordset> maxID = GetRS("SELECT MAX(ID) AS MaxID FROM FolderCache;");
    if (!maxID || maxID->Eof()) {
        mLog.AddLog(Entry("NewFolder: failed to retrieve ID for FolderCache table"));
        return std::nullopt;
    }
    const clsFolderRow row{static_cast<std::int32_t>(maxID->Field("MaxID").AsLong() + 1),
                           static_cast<std::int32_t>(parentRow.Field("ID").AsLong()),
                           std::string(name),
                           static_cast<int>(parentRow.Field("Icon").AsLong()),
                           path,
                           parentRow.Field("StoreID").AsText()};
    return RunCommand(InsertSql(row)) ? folder : std::nullopt;
}

void clsFolderCache::RebuildStaleCache() {
    mLog.AddLog(Entry("NewFolder: folder cache corrupt, rebuilding"));
    BuildFolderCache();
}

// ---- building ----

void clsFolderCache::BuildStep(std::string& step, std::string text) {
    step = std::move(text);
    mLog.AddLog(Entry("BuildFolderCache: ") + step);
}

bool clsFolderCache::BuildFolderCache() {
    std::string step;
    try {
        // There are no public folders here: no store to remember, none to skip.
        BuildStep(step, "get public folder store id (Outlook 12+)");
        BuildStep(step, "delete FolderCache table");
        if (!RunCommand("DELETE FROM FolderCache")) {
            return false;
        }
        // Icons follow each folder's own role, so no default folder needs to be read first.
        BuildStep(step, "get default paths");
        BuildStep(step, "read namespace folders");
        std::vector<std::pair<clsMailFolder, std::vector<clsMailFolder>>> stores;
        size_t toRetrieve = 0;
        for (const clsMailFolder& root : mNamespace.Folders()) {
            BuildStep(step, "analyse namespace " + root.Name());
            stores.emplace_back(root, root.Folders());
            toRetrieve += stores.back().second.size();
        }
        if (toRetrieve == 0) {
            Status("No folders to process");
            return true;
        }
        BuildStep(step, std::to_string(toRetrieve) + " folders to retrieve");
        Status(step);
        std::int32_t counter = 0;
        for (const auto& [root, topLevel] : stores) {
            CacheStore(root, topLevel, counter, step);
        }
        BuildStep(step, " Cache build complete");
        return true;
    } catch (const std::exception& error) {
        mLog.AddErrorLog(Entry("BuildFolderCache (") + step + ")", error);
    }
    return false;
}

void clsFolderCache::CacheStore(const clsMailFolder& root,
                                const std::vector<clsMailFolder>& topLevel, std::int32_t& counter,
                                std::string& step) {
    BuildStep(step, "Retrieving " + std::to_string(topLevel.size()));
    BuildStep(step, "Enumerate folders " + root.Name());
    const clsFolderRow storeRow{++counter,     0, root.Name(), kIconStore, root.FolderPath(),
                                root.StoreID()};
    std::vector<clsFolderRow> rows{storeRow};
    for (const clsMailFolder& folder : topLevel) {
        EnumerateFolders(folder, storeRow.ID, storeRow.Path, counter, rows);
    }
    BuildStep(step, "Folders enumerated");
    BuildStep(step, "Caching " + std::to_string(rows.size()) + " items");
    {
        const clsInsertBatch batch(mConnection.Connection(), mLog);
        for (const clsFolderRow& row : rows) {
            RunCommand(InsertSql(row));
            Status("Analysing folders: " + std::to_string(row.ID));
        }
    }
    BuildStep(step, "Folder cache complete for " + root.Name());
}
