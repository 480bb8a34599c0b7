#pragma once
// clsStatistics: the figures shown to the user: rule and blocked-sender counts read from the
// rules database on every call, and five activity counters of this run, never stored.
// Owned by the engine; event-loop thread only. Failure: a count that cannot be read gives 0.

#include <cstdint>

class classRulesDatabase;

class clsStatistics {
public:
    void Initialise(classRulesDatabase* database) { mDatabase = database; }

    std::int32_t IncomingRuleCount() const;
    std::int32_t OutgoingRuleCount() const;
    std::int32_t JunkAddressCount() const;

    std::int32_t EmailsAnalysedCount() const { return mEmailsAnalysed; }
    std::int32_t EmailsMatchedToRulesCount() const { return mEmailsMatchedToRules; }
    std::int32_t EmailsProcessedCount() const { return mEmailsProcessed; }
    std::int32_t EmailsPassedThroughSpamFilterCount() const {
        return mEmailsPassedThroughSpamFilter;
    }
    std::int32_t EmailsClassedAsSpamCount() const { return mEmailsClassedAsSpam; }

    // Each adds n when n is at least 1, so a counter never goes down.
    void IncrementEmailsAnalysed(std::int32_t n) { Add(mEmailsAnalysed, n); }
    void IncrementEmailsMatchedToRules(std::int32_t n) { Add(mEmailsMatchedToRules, n); }
    void IncrementEmailsProcessed(std::int32_t n) { Add(mEmailsProcessed, n); }
    void IncrementEmailsPassedThroughSpamFilter(std::int32_t n) {
        Add(mEmailsPassedThroughSpamFilter, n);
    }
    void IncrementEmailsClassedAsSpam(std::int32_t n) { Add(mEmailsClassedAsSpam, n); }

    static constexpr const char* kIncomingRuleCountSql =
        "SELECT COUNT(ID) FROM Rules WHERE IncomingRule=TRUE";
    static constexpr const char* kOutgoingRuleCountSql =
        "SELECT COUNT(ID) FROM Rules WHERE IncomingRule=FALSE";
    static constexpr const char* kJunkAddressCountSql =
        "SELECT COUNT(EmailAddress) FROM [Spam Senders]";

private:
    static void Add(std::int32_t& counter, std::int32_t n) {
        if (n >= 1) {
            counter += n;
        }
    }
    std::int32_t Count(const char* sql) const;

    classRulesDatabase* mDatabase = nullptr;
    std::int32_t mEmailsAnalysed = 0;
    std::int32_t mEmailsMatchedToRules = 0;
    std::int32_t mEmailsProcessed = 0;
    std::int32_t mEmailsPassedThroughSpamFilter = 0;
    std::int32_t mEmailsClassedAsSpam = 0;
};
