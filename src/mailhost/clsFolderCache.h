#pragma once
// clsFolderCache: a flat copy of the mail host's folder tree in the table FolderCache of the rules
// database file, read through a connection of its own. Rule actions name their target folders by
// path or bare name; the cache turns either into a live folder, creates missing folders, and
// feeds the folder pickers of the user interface (rows drawn parents first, siblings by name).
// Each store's root has a row of its own (Parent 0); a store's top-level folders point at it.
// Owned by the engine (or a command of the command line), with the namespace it walks outliving
// it. Event-loop thread only.
// Failure: every public member logs under "FolderCache->Member" and returns its neutral value
// (nothing, false, 0, ""); a lookup that finds several candidates counts as one that finds none.
// No exception leaves the class.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "database/clsDbConnection.h"
#include "database/clsLoggedConnection.h"
#include "database/clsRecordset.h"
#include "foundation/clsLogFile.h"
#include "foundation/clsUserInterface.h"
#include "mailhost/clsMailFolder.h"
#include "mailhost/clsMailNamespace.h"

class clsFolderCache {
public:
    static constexpr std::string_view kCancelSentinel = "#CV#Cancel#";

    // Indexes into the folder tree's image list, kept in the Icon column. The web UI draws its
    // tree with the same list, so these numbers are part of the stored data: append, never reorder.
    static constexpr int kIconStore = 0;
    static constexpr int kIconMailFolder = 1;
    static constexpr int kIconInbox = 2;
    static constexpr int kIconSentMail = 3;
    static constexpr int kIconDeletedItems = 4;
    static constexpr int kIconDrafts = 5;
    static constexpr int kIconOutbox = 6;
    static constexpr int kIconJunk = 7;
    static constexpr int kIconContacts = 8;
    static constexpr int kIconCalendar = 9;
    static constexpr int kIconJournal = 10;
    static constexpr int kIconNotes = 11;
    static constexpr int kIconTasks = 12;

    clsFolderCache(clsLogFile& log, clsUserInterface& ui, clsMailNamespace& mapi);
    ~clsFolderCache();
    clsFolderCache(const clsFolderCache&) = delete;
    clsFolderCache& operator=(const clsFolderCache&) = delete;

    // Opens file (creating the file when missing) and builds the FolderCache table when it is
    // missing; the rules database adds its own tables when it opens the same file. Opening the
    // file that is open already does nothing.
    bool OpenDatabase(const std::filesystem::path& file);
    void CloseDatabase();
    // Makes the file DatabaseFile() names, with the FolderCache table; only while closed.
    bool CreateDatabase();
    bool ReopenDatabase();
    bool IsOpen() const { return mConnection.IsOpen(); }
    const std::filesystem::path& DatabaseFile() const { return mConnection.File(); }
    const std::string& ConnectionString() const { return mConnection.ConnectionString(); }

    // A Jet SELECT on the cache's connection (reopened when closed); nothing on failure.
    std::unique_ptr<clsRecordset> GetRS(std::string_view sql);
    std::int32_t GetLastID();

    long SubfolderCount(std::int32_t id);
    // Every row, or those whose Name holds nameFilter and/or of storeID, ordered by Parent, Name.
    std::unique_ptr<clsRecordset> GetTreeviewRS(std::string_view nameFilter = "",
                                                std::string_view storeID = "");
    std::string GetPathByID(std::int32_t id);
    bool FolderExists(std::string_view name);
    long CachedFolderCount();
    std::string DefaultStoreID();

    // A full path ("\\Mailbox\Inbox\Clients") or a bare name. A path missing from the cache is
    // searched by its last part; several rows of one name are narrowed to those under rootPath.
    // A fixed default-folder name ("Sent Items", "Junk E-mail", ...) with no row of its own gives
    // the default store's folder of that role.
    std::optional<clsMailFolder> FindFolder(std::string_view target,
                                            std::string_view rootPath = "");
    // Name matched literally and without regard to case, in storeID only: the whole name first,
    // then as a part of names. Exactly one row must answer.
    std::optional<clsMailFolder> FindFolderFuzzy(std::string_view name, std::string_view storeID);
    // The folder at path: its first part names a store's root, each further part a sub-folder.
    std::optional<clsMailFolder> OpenMappedFolder(std::string_view path);
    std::optional<clsMailFolder> CreateFolder(const clsMailFolder& parent, std::string_view name);
    // OpenMappedFolder that creates each missing sub-folder on the way (never a store).
    std::optional<clsMailFolder> CreateMappedFolder(std::string_view path);
    // Creates name under the cached folder parentPath and gives it a row of its own; the cancel
    // sentinel (or no name) creates nothing, a name the parent has already gives that folder.
    // Rebuilds the cache when the store no longer matches it.
    std::optional<clsMailFolder> NewFolder(std::string_view parentPath, std::string_view name);
    // Replaces every row with a depth-first walk of every store; false when it stopped early.
    bool BuildFolderCache();
    std::optional<clsMailFolder> GetJunkFolder();

    // Whether progress texts go to the user interface.
    bool ShowStatus() const { return mShowStatus; }
    void SetShowStatus(bool show) { mShowStatus = show; }

private:
    bool EnsureTable();
    bool RunCommand(std::string_view sql);
    long Count(std::string_view sql) { return static_cast<long>(mConnection.GetCount(sql)); }
    void Status(const std::string& text);
    void BuildStep(std::string& step, std::string text);

    std::optional<clsMailFolder> FindByName(const std::string& name, std::string_view rootPath);
    std::optional<clsMailFolder> DefaultFolderNamed(std::string_view name);
    // The folder at path; with create, missing sub-folders are made. failedAt names the part
    // that could not be found or made.
    clsStatus WalkPath(std::string_view path, bool create, std::optional<clsMailFolder>& folder,
                       std::string& failedAt);
    void CacheStore(const clsMailFolder& root, const std::vector<clsMailFolder>& topLevel,
                    std::int32_t& counter, std::string& step);
    std::optional<clsMailFolder> AddCachedFolder(const clsRecordset& parentRow,
                                                 const clsMailFolder& parent,
                                                 std::string_view parentPath,
                                                 std::string_view name);
    void RebuildStaleCache();

    clsLogFile& mLog;
    clsUserInterface& mUi;
    clsMailNamespace& mNamespace;
    clsLoggedConnection mConnection;
    bool mShowStatus = true;
};
