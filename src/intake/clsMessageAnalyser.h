#pragma once
// clsMessageAnalyser: decides for one mail item which rules of the rules database apply, leaves
// out the rules already recorded in its "CVProcessed" property and queues the item with the rest
// (clsQueue::AddItem). For incoming mail it then runs the junk checks (blocked senders, the spam
// filter), which may queue it under the fixed junk rule -1 or junk-suspect rule -2. It acts on
// nothing itself.
// Owned by the intake (clsIntake). Event-loop thread only. Failure: every member traps its
// failures and logs them under "MessageAnalyser->Member" with the step it had reached; a failing
// message is skipped.

#include <optional>
#include <string>
#include <vector>

class classCorvel;
class clsMailItem;
class clsQueue;
class clsRecordset;
class clsSpamEngine;

class clsMessageAnalyser {
public:
    clsMessageAnalyser(classCorvel& engine, clsQueue& queue);

    bool IncludeDisabledRules() const { return mIncludeDisabledRules; }
    void SetIncludeDisabledRules(bool value) { mIncludeDisabledRules = value; }
    bool ReapplyRules() const { return mReapplyRules; }
    void SetReapplyRules(bool value) { mReapplyRules = value; }
    bool CheckIncoming() const { return mCheckIncoming; }
    void SetCheckIncoming(bool value) { mCheckIncoming = value; }
    bool CheckOutgoing() const { return mCheckOutgoing; }
    void SetCheckOutgoing(bool value) { mCheckOutgoing = value; }
    bool CheckJunk() const { return mCheckJunk; }
    void SetCheckJunk(bool value) { mCheckJunk = value; }
    clsSpamEngine* SpamEngine() const { return mSpamEngine; }

    // Reads "Check Junk", "Junk List" and "Junk Heuristics"; unusable without a rules database.
    void Initialise();
    // Takes the engine's spam filter and the "Minimum Spam Score" / "Maximum Ham Score" options.
    void InitialiseSpamEngine();
    void AnalyseMessage(clsMailItem& item);

private:
    struct clsMessage {
        std::string Sender;
        std::vector<std::string> Recipients;
        std::string Subject;
        std::string Body;
    };
    clsMessage ReadProperties(const clsMailItem& item, std::string& step);
    bool IsOutgoingMessage(const clsMessage& message);
    const std::vector<std::string>& GetMyEmailAddresses();
    std::string RuleQuery(const clsMessage& message, bool outgoing) const;
    // Returns the outcome text that AnalyseMessage logs.
    std::string QueueRuleMatches(clsRecordset* rules, clsMailItem& item, const clsMessage& message,
                                 std::string& step);
    // matched without the rules that the item's "CVProcessed" property records.
    std::vector<std::string> WithoutProcessedRules(const clsMailItem& item,
                                                   const std::vector<std::string>& matched,
                                                   std::string& step);
    void CheckForSpam(clsMailItem& item, const clsMessage& message);
    void QueueFixedRule(clsMailItem& item, int rule);

    classCorvel& mEngine;
    clsQueue& mQueue;
    clsSpamEngine* mSpamEngine = nullptr;
    bool mIncludeDisabledRules = false;
    bool mReapplyRules = false;
    bool mCheckIncoming = true;
    bool mCheckOutgoing = true;
    bool mCheckJunk = false;
    bool mCheckJunkList = false;
    bool mCheckJunkHeuristics = false;
    bool mUsable = false;
    double mMinimumSpamScore = 0.8;
    double mMaximumHamScore = 0.2;
    std::optional<std::vector<std::string>> mMyAddresses;
};
