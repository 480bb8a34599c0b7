#pragma once
// clsSpamFilter: how likely a mail item is to be junk. A token classifier over two pairs of
// corpora (good and bad message bodies, good and bad header blocks), the user's spam header
// rules from [Spam Headers], a count of header anomalies, and links looked up on a URI block
// list. Also the training side: adding messages or text to a corpus, marking trained items, and
// saving the corpora with their message counts.
// Owned by the engine (through clsSpamEngine) or by a command; event-loop thread only. Corpora,
// counts and header rules are loaded from the rules database at their first use.
// Failure: every public member logs "SpamFilter-><Member>: ..." through AddErrorLog and returns
// its neutral value (probability 0, no links, -1 for a token); nothing throws.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "database/classRulesDatabase.h"
#include "engine/clsSpamEngine.h"
#include "foundation/clsLogFile.h"
#include "mailhost/clsMailItem.h"
#include "mailhost/mime/clsMimeMessage.h"
#include "spam/clsBlockLists.h"
#include "spam/clsCorpus.h"
#include "spam/clsFlatTable.h"

struct clsSpamHeaderRule {
    std::string Header;
    std::string Criteria;
};

class clsSpamFilter : public clsSpamEngine {
public:
    static constexpr std::int16_t kGoodWeight = 2;
    static constexpr std::int16_t kMinimumOccurrences = 5;
    // Not the 0.01 of the published method: kept as the filter has always had it.
    static constexpr double kLowestTokenProbability = 0.011;
    static constexpr double kHighestTokenProbability = 0.99;
    static constexpr double kBadOnlyRare = 0.9998;
    static constexpr double kBadOnlyCommon = 0.9999;
    static constexpr std::int16_t kBadOnlyCountLimit = 10;
    static constexpr std::int16_t kInterestingTokens = 20;
    static constexpr double kGoodThreshold = 0.2;
    static constexpr double kSpamThreshold = 0.8;
    static constexpr std::int32_t kMinimumMessages = 10;
    static constexpr std::string_view kGoodMark = "CV-SpamCorpusGood";
    static constexpr std::string_view kBadMark = "CV-SpamCorpusBad";

    clsSpamFilter(classRulesDatabase& db, clsLogFile& log, std::filesystem::path dataFolder);
    ~clsSpamFilter() override;
    clsSpamFilter(const clsSpamFilter&) = delete;
    clsSpamFilter& operator=(const clsSpamFilter&) = delete;

    void ApplySettings(const clsAntispamSettings& settings) override;
    double MessageSpamProbability(const clsMailItem& item, std::string* debugText) override;
    // The same judgement of item when its message was parsed already (ahead, on another thread):
    // message must be the item's own.
    double ParsedMessageSpamProbability(const clsMailItem& item, const clsMimeMessage& message,
                                        std::string* debugText);
    void Close() override;

    // Classifying. The Text/Header/Body forms judge a message that is no item of a store: its
    // body text and its header block (ended by its blank line).
    double TextSpamProbability(std::string_view body, std::string_view headerBlock,
                               std::string* debugText);
    double HeaderSpamAnalysis(std::string_view headerBlock);
    bool BodyContainsSpamLinks(std::string_view body, double& fraction);
    double TokenProbability(std::string_view token, bool useHeaders);
    double SpamProbability(std::string_view text, std::string* debugText = nullptr,
                           bool useHeaders = false);
    double MessageHeaderSpamAnalysis(const clsMailItem& item);
    std::int16_t MessageHeaderSpamProbability(const clsMailItem& item);
    bool MessageBodyContainsSpamLinks(const clsMailItem& item, double& fraction);
    bool IsSURBLListed(std::string_view domain);

    // Training.
    bool AddGoodMessage(clsMailItem& item) { return AddMessage(mGood, item, nullptr); }
    bool AddBadMessage(clsMailItem& item) override { return AddMessage(mBad, item, nullptr); }
    // AddGoodMessage or AddBadMessage for an item whose message was parsed already: message
    // must be the item's own.
    bool AddParsedMessage(clsMailItem& item, const clsMimeMessage& message, bool good) {
        return AddMessage(good ? mGood : mBad, item, &message);
    }
    void AddGoodData(std::string_view body, std::string_view headers);
    void AddBadData(std::string_view body, std::string_view headers);
    void ClearData();
    bool SaveTokenDatabase();
    void Balance();
    // "good", "bad", "both" or "" after the item's training marks.
    std::string MessageCorpusVersion(const clsMailItem& item);
    // Whether the item carries the mark of the good (or bad) corpus's current version.
    bool IsTrainedInto(const clsMailItem& item, bool good);

    // The spam header rules.
    const std::vector<clsSpamHeaderRule>& SpamHeaderRules();
    bool SetSpamHeaderRule(std::string_view header, std::string_view criteria);
    bool RemoveSpamHeaderRule(std::string_view header);
    bool SaveSpamHeaders();

    // Switches.
    bool SpamHeaders() const { return mSpamHeaders; }
    void SetSpamHeaders(bool value) { mSpamHeaders = value; }
    bool SpamLinksMeanDefiniteJunk() const { return mSpamLinksMeanDefiniteJunk; }
    void SetSpamLinksMeanDefiniteJunk(bool value) { mSpamLinksMeanDefiniteJunk = value; }
    bool BalanceMessageData() const { return mBalanceMessageData; }
    void SetBalanceMessageData(bool value) { mBalanceMessageData = value; }
    bool UseJunkSuspectsFolder() const override { return mUseJunkSuspectsFolder; }
    void SetUseJunkSuspectsFolder(bool value) { mUseJunkSuspectsFolder = value; }

    // Counts.
    std::int32_t GoodCount();
    std::int32_t BadCount();
    std::int32_t GoodCorpusVersion();
    std::int32_t BadCorpusVersion();
    std::size_t GoodTokenCount();
    std::size_t BadTokenCount();
    std::int32_t SpamCount() const { return mSpamCount; }

private:
    // One side of the classifier: its body and header corpora, message count and training mark.
    struct clsSide {
        clsSide(std::string_view bodyName, std::string_view headersName, clsLogFile& log,
                std::string_view mark, std::string_view countOption, bool good);
        clsCorpus Body;
        clsCorpus Headers;
        std::int32_t Count = 0;
        std::string_view Mark;
        std::string_view CountOption;
        bool Good;
    };

    // message: the item's parsed message, or null to parse it when it is needed.
    double JudgeItem(const clsMailItem& item, const clsMimeMessage* message,
                     std::string* debugText);
    static std::string HeaderBlockOf(const clsMailItem& item);
    // The header block ended by its blank line, in the block's own line ends.
    static std::string HeaderBlockOf(std::string_view headers);
    // Both body (or header) corpora's counts of a token side by side, so judging a token costs
    // one lookup; SeenIn numbers the last text the token was found in, so that a text counts
    // each token once.
    struct clsTokenCounts {
        std::int32_t Good = 0;
        std::int32_t Bad = 0;
        std::uint32_t SeenIn = 0;
    };
    using clsTokenTable = clsFlatTable<clsTokenCounts>;

    // The lower-cased table of the body (or header) corpora, made again after training: from the
    // corpora when they are loaded, else from their tables.
    clsTokenTable& TableOf(bool useHeaders);
    double ProbabilityOf(const clsTokenCounts& counts);
    // Training changed counts: the tables are made again and the corpora saved at Close.
    void CountsChanged();
    // The message counts, read once.
    void ReadCounts();
    // The counts and the body corpora's versions: what judging needs beside the body table.
    void EnsureCounted();
    // The counts and the corpora themselves, for training, balancing, saving and token counts.
    bool EnsureLoaded(bool headersToo = false);
    // message: the item's parsed message, or null to parse it when it is needed.
    bool AddMessage(clsSide& side, clsMailItem& item, const clsMimeMessage* message);
    void AddData(clsSide& side, std::string_view body, std::string_view headers);
    bool SaveSide(clsSide& side);
    void LoadSpamHeaders();
    std::vector<std::string> LinkHosts(std::string_view body);
    bool HeaderRuleFires(const clsSpamHeaderRule& rule, double score);
    void Fail(std::string_view member, const std::exception& error);

    classRulesDatabase& mDatabase;
    clsLogFile& mLog;
    std::filesystem::path mDataFolder;
    clsSide mGood;
    clsSide mBad;
    std::unique_ptr<clsBlockLists> mBlockLists;
    std::string mUriZone;  // empty: links are not looked up
    std::vector<clsSpamHeaderRule> mHeaderRules;
    clsTokenTable mTables[2];
    bool mTablesCurrent[2] = {false, false};
    std::uint32_t mTextSerial = 0;
    // A token of the text being judged, with its probability. Ascending order puts the most
    // decisive tokens first, ties in the order of their text.
    struct clsRanked {
        std::uint32_t Distance;
        std::string_view Token;  // into mLowered
        double P;
        bool operator<(const clsRanked& other) const {
            return Distance != other.Distance ? Distance < other.Distance : Token < other.Token;
        }
    };
    // SpamProbability's lower-cased text, its tokens and their ranking, kept to save
    // allocations.
    std::string mLowered;
    std::vector<clsTokenTable::clsHashedKey> mRun;
    std::vector<clsRanked> mRanked;
    bool mHeaderRulesLoaded = false;
    bool mCounted = false;
    bool mLoaded = false;
    bool mHeadersLoaded = false;
    bool mChanged = false;
    bool mSpamHeaders = false;
    bool mSpamLinksMeanDefiniteJunk = false;
    bool mBalanceMessageData = false;
    bool mUseJunkSuspectsFolder = false;
    std::int32_t mSpamCount = 0;
};
