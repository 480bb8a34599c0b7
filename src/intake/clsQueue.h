#pragma once
// clsQueue: the processing queue. The message analyser queues an item's EntryID with the numbers
// of the rules that matched it; on each tick of the mail timer the queue works for a time budget,
// fetching each item again by EntryID and applying its rules' actions (a rule of the rules
// database, or the fixed junk rule -1 and junk-suspect rule -2), then records the applied rules
// in the item's "CVProcessed" property. Folders still receiving mail suspend the queue for their
// items. Queued items live in memory only.
// Owned by the intake (clsIntake), made when the engine starts. Event-loop thread only.
// Failure: every public member traps its failures, logs them under "Queue->Member" and goes on;
// an item that can no longer be fetched is dropped with one error entry.

#include <cstdint>
#include <list>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/clsTickCounter.h"

class classCorvel;
class classRulesDatabase;
class clsFolderCache;
class clsLogFile;
class clsMailFolder;
class clsMailItem;
class clsRecordset;
class clsSpamEngine;
class clsStatistics;

class clsQueue {
public:
    static constexpr std::string_view kProcessedProperty = "CVProcessed";
    static constexpr std::int32_t kJunkRule = -1;
    static constexpr std::int32_t kJunkSuspectRule = -2;

    clsQueue(classCorvel& engine, const clsTickCounter& ticks);

    // Takes the engine's rules database, spam filter, folder cache and statistics.
    void Initialise();

    // ruleIDs: rule numbers as text; nothing is queued when the first is empty. An EntryID
    // already queued keeps its place and its first list.
    void AddItem(std::string_view entryID, const std::vector<std::string>& ruleIDs);
    void RemoveItem(std::string_view entryID);
    std::int32_t ItemCount() const { return static_cast<std::int32_t>(mOrder.size()); }

    // key: a folder's EntryID; its items wait while it is suspended. "" is ignored.
    void Suspend(std::string_view key);
    void Unsuspend(std::string_view key);

    // Works through the queue, oldest first, until budget milliseconds have passed.
    void Process(std::int32_t budget);

    // Deletes item through the mail host; true on success.
    bool DeleteMessage(clsMailItem& item);

private:
    // What the rules of one item have done to it so far.
    struct clsItemRun {
        bool Moved = false;   // a moved item is never deleted
        bool Delete = false;  // asked for by a rule; done once, after the last rule
    };
    clsLogFile& Log();
    // False when the head item waits for its suspended folder, which holds up the whole queue.
    bool ProcessNext();
    // Whether the item's folder lets it through the suspensions.
    bool MayProcess(const clsMailItem& item) const;
    void ProcessItem(clsMailItem& item, std::string_view ruleList);
    // True when the rule counts as applied (its RuleActions row was found, or a fixed rule).
    bool ProcessRule(clsMailItem& item, std::int32_t number, bool lastRule, clsItemRun& run);
    bool ProcessFixedRule(clsMailItem& item, std::int32_t number, clsItemRun& run);
    void MoveToJunk(clsMailItem& item, clsItemRun& run);
    void MoveToJunkSuspects(clsMailItem& item, clsItemRun& run);
    // Applies one RuleActions row; lastRule: its filing may move the item.
    void ApplyActionv1(clsMailItem& item, const clsRecordset& actions, bool lastRule,
                       clsItemRun& run);
    void SendAutoReply(const clsMailItem& item, const std::string& templateText);
    void FileItem(clsMailItem& item, const std::string& path, bool copy, clsItemRun& run);
    // Moves item to folder; the moved item takes its place. False when it stayed.
    static bool MoveTo(clsMailItem& item, const clsMailFolder& folder, clsItemRun& run);
    void AddProcessedFlag(clsMailItem& item, std::int32_t rule);

    classCorvel& mEngine;
    const clsTickCounter& mTicks;
    classRulesDatabase* mDatabase = nullptr;
    clsSpamEngine* mSpamFilter = nullptr;
    clsFolderCache* mFolderCache = nullptr;
    clsStatistics* mStatistics = nullptr;
    // Insertion order is queue order; the map finds an entry by EntryID.
    std::list<std::pair<std::string, std::string>> mOrder;
    std::map<std::string, std::list<std::pair<std::string, std::string>>::iterator, std::less<>>
        mPending;
    std::set<std::string, std::less<>> mSuspensions;
};
