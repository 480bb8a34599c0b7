#pragma once
// classCorvel: the engine object. It owns the rules database, the folder cache, the statistics and
// the auto-reply sender; matches items against the rules and carries out their actions; keeps the
// blocked senders; makes rules from a message; verifies, exports, imports and converts the rule
// store. Its settings live in the rules database's options and in the settings store, and every
// setter writes its store at once.
// Created by whoever runs the host (the command line, the daemon), then SetLogFile,
// InitialiseEngine, ..., Quit. Event-loop thread only.
// Failure: every public member traps its own failures, logs them with AddErrorLog under
// "Corvel->Member" and returns its neutral value (false, nothing, 0, ""); nothing throws.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "database/classRulesDatabase.h"
#include "database/clsRuleRecord.h"
#include "engine/clsAutoReplySender.h"
#include "engine/clsIntakeServices.h"
#include "engine/clsRecipientSet.h"
#include "engine/clsSpamEngine.h"
#include "engine/clsStatistics.h"
#include "foundation/clsLogFile.h"
#include "foundation/clsSettings.h"
#include "foundation/clsUserInterface.h"
#include "mailhost/clsFolderCache.h"
#include "mailhost/clsMailApplication.h"

// What the engine's owner hands it: the stores it reads settings from, the host, where the data
// folder is when nothing else says, and how to make the objects of the layers below the engine.
struct clsEngineHost {
    clsSettings& Settings;
    clsUserInterface& Ui;
    clsMailApplication* Application = nullptr;
    // Used when no "Data File Location" is stored.
    std::filesystem::path DefaultDataFolder;
    // When set (a --data-dir of the command line), the data folder whatever is stored.
    std::filesystem::path FixedDataFolder;
    clsAutoReplyFactory AutoReplies;
    clsSpamEngineFactory SpamFilters;
    clsIntakeFactory Intake;
};

class classCorvel {
public:
    static constexpr std::string_view kDatabaseName = "Rules.mdb";
    static constexpr std::string_view kProcessedMarker = "RRCV";
    static constexpr std::string_view kCreatedMarker = "RRCreated";
    static constexpr std::string_view kRuleFailedSubject = "Rule failed ";
    static constexpr std::string_view kMonitoredFoldersSection = "Monitored Folders";

    explicit classCorvel(clsEngineHost host);
    ~classCorvel();
    classCorvel(const classCorvel&) = delete;
    classCorvel& operator=(const classCorvel&) = delete;

    // Start and stop.
    void SetLogFile(clsLogFile& log) { mLog = &log; }
    bool InitialiseEngine();
    // Moves the data folder to folder (chosen by the user) and opens the rules kept there.
    bool ChangeRulesLocation(const std::filesystem::path& folder);
    void Quit();

    // Settings; each setter stores at once.
    std::int16_t ProcessDelay() const { return mProcessDelay; }
    void SetProcessDelay(std::int16_t delay);
    bool enabled() const { return mEnabled; }
    void Setenabled(bool value);
    bool SpamEngineEnabled() const { return mCheckJunk; }
    void SetSpamEngineEnabled(bool value);
    bool UseJunkSuspectsFolder() const { return mUseJunkSuspects; }
    void SetUseJunkSuspectsFolder(bool value);
    bool DuplicateCheck() const { return !mSkipDuplicateCheck; }
    void SetDuplicateCheck(bool value);
    bool SearchAllMailboxes() const { return mSearchAllMailboxes; }
    void SetSearchAllMailboxes(bool value);
    bool OutlookProfileSupport() const;
    void SetOutlookProfileSupport(bool value);
    int OutlookVersion() const { return mOutlookVersion; }
    void SetOutlookVersion(int version) { mOutlookVersion = version; }

    // Owned objects and counters.
    classRulesDatabase& RulesDatabase() { return *mDatabase; }
    clsFolderCache* cvFolderCache() { return mFolderCache.get(); }
    clsLogFile& CorvelLog() { return *mLog; }
    clsLogFile& LogClass() { return *mLog; }
    clsStatistics& Statistics() { return mStatistics; }
    clsAutoReplySender* AutoReply() { return mAutoReply.get(); }
    // Nothing when the owner gave no way to make one.
    clsSpamEngine* SpamFilter() { return mSpamFilter.get(); }
    // The mail intake (analyser, queue, folder monitor); nothing when the owner gave no factory.
    clsIntakeServices* Intake() { return mIntake.get(); }
    clsMailApplication* Application() { return mHost.Application; }
    clsUserInterface& Ui() { return mHost.Ui; }
    const std::filesystem::path& RulesLocation() const { return mDataFolder; }
    std::int32_t EmailsProcessed() const { return mEmailsProcessed; }
    std::int32_t RulesProcessed() const { return mRulesProcessed; }
    std::int32_t RulesProcessedSuccess() const { return mRulesProcessedSuccess; }
    std::int32_t InboxRulesCount();
    std::int32_t SentRulesCount();
    std::int32_t JunkAddressCount();

    // Matching.
    void ProcessIncomingItem(clsMailItem& item, bool checkJunk);
    // direction: "" = the engine's incoming flag, "y" = incoming rules, anything else sent rules.
    // Returns whether a rule matched.
    bool ProcessItem(clsMailItem& item, bool reprocess, bool includeDisabled,
                     std::string_view direction = "");
    // onlyUnprocessed: only items without the marker; maxItems < 0: all items; maxMatches > 0:
    // stop after that many items matched; includeDisabled: switched-off rules too; reprocessAll:
    // items already processed as well (a user's explicit re-run). Returns the items looked at.
    long ProcessFolder(const clsMailFolder& folder, bool onlyUnprocessed, long maxItems,
                       long maxMatches, bool includeDisabled = false, bool reprocessAll = false);
    bool AlreadyProcessed(const clsMailItem& item);

    // Actions.
    // The importance a rule's letter asks for ("H"/"h", "N"/"n", "L"/"l"); nothing for others.
    static std::optional<Importance> ImportanceOf(std::string_view letter);
    void ApplyActions(clsMailItem& item, const std::vector<std::int32_t>& ruleIDs);
    void ApplyAction(clsMailItem& item, const std::vector<clsRuleAction>& actions);
    std::optional<clsMailItem> copyItem(const clsMailItem& item, const clsMailFolder& target);
    std::optional<clsMailItem> copyItem(const clsMailItem& item, std::string_view targetPath);
    bool MoveItem(clsMailItem& item, std::string_view path);
    bool ForwardMessage(const clsMailItem& item, std::string_view address);
    // "SUCCESS", or what went wrong.
    std::string DeleteMessage(const clsMailItem& item);
    std::string CDODelete(const clsMailItem& item) { return DeleteMessage(item); }
    void ReportMissingFolder(std::string_view path, const clsMailItem& item);

    // Sent items and blocked senders.
    bool ProcessSentItem(clsMailItem& item, bool reprocess, bool includeDisabled);
    // The sender's address, or "" when there is none that can safely reach a query.
    std::string FindSender(const clsMailItem& item);
    void GetRecipients(const clsMailItem& item, clsRecipientSet& recipients);
    bool ProcessJunk(clsMailItem& item, bool force = false);
    bool IsJunkSender(std::string_view address);
    bool IsJunkSenderMsg(const clsMailItem& item);
    void AddJunkSender(const clsMailItem& item);
    void RemoveJunkSender(const clsMailItem& item);
    bool AddJunkSenderEmail(std::string_view address);
    bool RemoveJunkSenderEmail(std::string_view address);

    // Rules made from a message.
    std::string FindBestFolderMatch(const clsMailItem& item);
    std::string FindBestFolderMatchByFolder(const clsMailItem& item);
    std::string FindBestFolder(std::string_view text);
    // A rule filing mail of address (incoming: from it; else: to it) to folderPath.
    bool CreateBasicRule(std::string_view address, std::string_view folderPath, bool incoming);
    // Rules for the item's sender (received mail) or its recipients (sent mail).
    bool CreateFileRule(const clsMailItem& item, std::string_view folderPath, bool incoming);

    // Verification, export, import, conversion.
    // Returns the number of folders that could not be found.
    long VerifyRules();
    long VerifyRule(const clsRuleRecord& rule);
    bool ExportRulesToFile(const std::filesystem::path& file);
    bool ImportRulesFromFile(const std::filesystem::path& file);
    void ReadRules();
    void ConvertRulesv1tov3();
    void ConvertIncomingRulesv1tov3();
    void ConvertOutgoingRulesv1tov3();
    void ConvertJunkAddressesv1tov3();

private:
    bool OpenStores();
    void CloseStores();
    void ReadSettings();
    clsAntispamSettings ReadAntispamSettings();
    void StartSpamFilter();
    void StopSpamFilter();
    void StartIntake();
    void StopIntake();
    void InitialiseFolderCache();
    std::filesystem::path ChooseDataFolder();
    void SetIncoming(bool incoming) { mIncoming = incoming; }
    // Marks and actions of one rule list; see the actions file.
    void MarkProcessed(clsMailItem& item);
    std::vector<std::int32_t> MatchRules(const std::string& sql, const clsMailItem& item);
    bool ProcessFolderItem(const clsMailFolder& folder, clsMailItem& item, bool reprocess,
                           bool includeDisabled);
    // What one action list has done to its item so far.
    struct clsActionRun {
        std::string Visited;  // "&&%%" + folder + "%%&&" for each folder filed to
        std::vector<std::string> MissingFolders;
        bool Moved = false;
        bool DeleteSource = false;
    };
    void ApplyOneAction(clsMailItem& item, const clsRuleAction& action, clsActionRun& run);
    void SendAutoReply(const clsMailItem& item, std::string_view templateReference);
    void ApplyReadAndImportance(clsMailItem& item, const clsRuleAction& action);
    bool FileItem(clsMailItem& item, const clsRuleAction& action, clsActionRun& run);
    std::optional<clsMailItem> MakeCopy(const clsMailItem& item, const clsMailFolder& target);
    bool IsDuplicateIn(const clsMailItem& item, const clsMailFolder& target);
    // Converts one first-generation rule file; true when every rule of it is stored.
    bool ConvertRules(std::string_view fileName, bool incoming);
    bool RunSenderCommand(std::string_view routine, std::string_view address,
                          const std::string& sql);
    clsMailNamespace* Mapi();

    clsEngineHost mHost;
    clsLogFile* mLog = nullptr;
    std::unique_ptr<classRulesDatabase> mDatabase;
    std::unique_ptr<clsFolderCache> mFolderCache;
    std::unique_ptr<clsAutoReplySender> mAutoReply;
    std::unique_ptr<clsSpamEngine> mSpamFilter;
    std::unique_ptr<clsIntakeServices> mIntake;
    clsStatistics mStatistics;
    std::filesystem::path mDataFolder;
    bool mRunning = false;

    bool mSkipDuplicateCheck = false;
    bool mEnabled = false;
    bool mCheckJunk = false;
    bool mUseJunkSuspects = false;
    std::int16_t mProcessDelay = 0;
    bool mSearchAllMailboxes = false;
    bool mIncoming = true;
    int mOutlookVersion = 0;
    std::int32_t mEmailsProcessed = 0;
    std::int32_t mRulesProcessed = 0;
    std::int32_t mRulesProcessedSuccess = 0;
};
