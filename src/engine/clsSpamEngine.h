#pragma once
// clsSpamEngine: what the engine needs of the spam filter: its settings at start-up, a verdict
// for an item, and a close that keeps what training changed. The spam layer implements it
// (clsSpamFilter); the engine creates it through the factory its owner hands over, so the engine
// never includes the layer below it.
// Event-loop thread only. Failure: members log and return neutral values; nothing throws.

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

class classRulesDatabase;
class clsLogFile;
class clsMailItem;

// The antispam options as the engine reads them from the option table.
struct clsAntispamSettings {
    double MinimumSpamScore = 0.8;
    double MaximumHamScore = 0.2;
    bool BalanceDatabase = false;
    bool SpamLinksDefiniteSpam = false;
    bool UseExistingSpamHeaders = false;
    bool UseJunkSuspects = false;
    // Block-list zones (an empty one switches its check off) and the DNS server to ask.
    std::string UriBlockList = "multi.surbl.org";
    std::string IpBlockList = "zen.spamhaus.org";
    std::string DnsServer;  // "" = the first nameserver of /etc/resolv.conf
    int DnsTimeoutMilliseconds = 2000;
};

class clsSpamEngine {
public:
    virtual ~clsSpamEngine() = default;
    virtual void ApplySettings(const clsAntispamSettings& settings) = 0;
    // The probability (0 to 1) that item is junk; debugText, when given, gets the reasoning.
    virtual double MessageSpamProbability(const clsMailItem& item, std::string* debugText) = 0;
    // Trains the filter with item as junk (the queue's junk rule); false when it was not read.
    virtual bool AddBadMessage(clsMailItem& item) = 0;
    // Whether doubtful mail goes to the junk-suspects folder.
    virtual bool UseJunkSuspectsFolder() const = 0;
    // Saves the corpora when training changed them.
    virtual void Close() = 0;
};

using clsSpamEngineFactory = std::function<std::unique_ptr<clsSpamEngine>(
    classRulesDatabase&, clsLogFile&, const std::filesystem::path& dataFolder)>;
