// clsSpamFilter: creation, settings and the token classifier.
#include "spam/clsSpamFilter.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "foundation/CommonHelpers.h"
#include "spam/clsTokenScanner.h"

namespace {

std::string Formatted(double value, int decimals) {
    char text[64];
    const auto end =
        std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, decimals).ptr;
    return std::string(text, end);
}

// A token's distance from certainty in hundred-thousandths, rounded as printing it with five
// decimals rounds. Ascending (distance, text) order puts the most decisive tokens first, ties in
// the order of their text: the order of the keys ".00000 token" the filter has always sorted.
std::uint32_t Distance(double probability) {
    char text[32];
    const double distance = 0.5 - std::fabs(0.5 - probability);
    const char* end =
        std::to_chars(text, text + sizeof text, distance, std::chars_format::fixed, 5).ptr;
    std::uint32_t units = 0;
    for (const char* c = text; c != end; ++c) {
        if (*c >= '0' && *c <= '9') {
            units = units * 10 + static_cast<std::uint32_t>(*c - '0');
        }
    }
    return units;
}

void AddLine(std::string* text, std::string_view line) {
    if (text) {
        text->append(line).append("\n");
    }
}

}  // namespace

clsSpamFilter::clsSide::clsSide(std::string_view bodyName, std::string_view headersName,
                                clsLogFile& log, std::string_view mark,
                                std::string_view countOption, bool good)
    : Body(std::string(bodyName), log),
      Headers(std::string(headersName), log),
      Mark(mark),
      CountOption(countOption),
      Good(good) {}

clsSpamFilter::clsSpamFilter(classRulesDatabase& db, clsLogFile& log,
                             std::filesystem::path dataFolder)
    : mDatabase(db),
      mLog(log),
      mDataFolder(std::move(dataFolder)),
      mGood("Good_Corpus", "Good_Headers", log, kGoodMark, "Good Items Count", true),
      mBad("Bad_Corpus", "Bad_Headers", log, kBadMark, "Bad Items Count", false) {
    mLog.AddLog("Initialising spam engine...");
    ApplySettings(clsAntispamSettings{});
    mLog.AddLog("Spam engine initialised.");
}

clsSpamFilter::~clsSpamFilter() { Close(); }

void clsSpamFilter::ApplySettings(const clsAntispamSettings& settings) {
    mSpamHeaders = settings.UseExistingSpamHeaders;
    mSpamLinksMeanDefiniteJunk = settings.SpamLinksDefiniteSpam;
    mBalanceMessageData = settings.BalanceDatabase;
    mUseJunkSuspectsFolder = settings.UseJunkSuspects;
    clsBlockListSettings lists;
    lists.Dns.Server = settings.DnsServer;
    lists.Dns.TimeoutMilliseconds = settings.DnsTimeoutMilliseconds;
    lists.UriZone = mUriZone = settings.UriBlockList;
    lists.IpZone = settings.IpBlockList;
    mBlockLists = std::make_unique<clsBlockLists>(mLog, std::move(lists));
}

void clsSpamFilter::Close() {
    if (mChanged) {
        SaveTokenDatabase();
    }
}

void clsSpamFilter::Fail(std::string_view member, const std::exception& error) {
    mLog.AddErrorLog("SpamFilter->" + std::string(member), error);
}

void clsSpamFilter::ReadCounts() {
    if (!mCounted) {
        mCounted = true;
        for (clsSide* side : {&mGood, &mBad}) {
            const std::string count = mDatabase.ReadOption("Antispam", side->CountOption, "0");
            side->Count = static_cast<std::int32_t>(std::strtol(count.c_str(), nullptr, 10));
        }
    }
}

// Judging needs the counts, the body corpora's versions and the body table, not the corpora:
// while they are not loaded, the table is read straight from their tables, and that reading
// gives the versions.
void clsSpamFilter::EnsureCounted() {
    ReadCounts();
    if (!mLoaded) {
        TableOf(false);
    }
}

// The body corpora and the counts come first; the header corpora only when training or a
// header-token question needs them, since judging mail does not.
bool clsSpamFilter::EnsureLoaded(bool headersToo) {
    ReadCounts();
    if (!mLoaded) {
        mLoaded = true;
        mGood.Body.LoadCorpusDB(mDatabase);
        mBad.Body.LoadCorpusDB(mDatabase);
    }
    if (headersToo && !mHeadersLoaded) {
        mHeadersLoaded = true;
        mGood.Headers.LoadCorpusDB(mDatabase);
        mBad.Headers.LoadCorpusDB(mDatabase);
    }
    return true;
}

clsSpamFilter::clsTokenTable& clsSpamFilter::TableOf(bool useHeaders) {
    clsTokenTable& table = mTables[useHeaders];
    if (!mTablesCurrent[useHeaders]) {
        table.Clear();
        const bool loaded = useHeaders ? mHeadersLoaded : mLoaded;
        for (clsSide* side : {&mGood, &mBad}) {
            clsCorpus& corpus = useHeaders ? side->Headers : side->Body;
            const auto add = [&table, good = side->Good](std::string_view token,
                                                         std::int64_t count) {
                clsTokenCounts& counts = table.Add(token);  // tokens come lower-cased
                clsCorpus::AddCount(good ? counts.Good : counts.Bad, count);
            };
            if (loaded) {
                corpus.ForEachToken(add);
            } else {
                corpus.ReadCorpusDB(mDatabase, add);
            }
        }
        mTablesCurrent[useHeaders] = true;
    }
    return table;
}

double clsSpamFilter::TokenProbability(std::string_view token, bool useHeaders) {
    try {
        const clsTokenCounts* counts = TableOf(useHeaders).Find(AsciiLower(Trimmed(token)));
        return counts ? ProbabilityOf(*counts) : -1;
    } catch (const std::exception& error) {
        Fail("TokenProbability", error);
        return -1;
    }
}

double clsSpamFilter::ProbabilityOf(const clsTokenCounts& counts) {
    const double g = static_cast<double>(counts.Good) * kGoodWeight;
    const double b = counts.Bad;
    if (g + b < kMinimumOccurrences) {
        return -1;
    }
    if (mGood.Count == 0 || mBad.Count == 0) {
        Fail("TokenProbability", std::domain_error("division by zero: no messages in a corpus"));
        return -1;
    }
    if (g == 0) {
        return b > kBadOnlyCountLimit ? kBadOnlyCommon : kBadOnlyRare;
    }
    const double goodRatio = std::min(1.0, g / mGood.Count);
    const double badRatio = std::min(1.0, b / mBad.Count);
    const double p = badRatio / (goodRatio + badRatio);
    return std::max(kLowestTokenProbability, std::min(kHighestTokenProbability, p));
}

double clsSpamFilter::SpamProbability(std::string_view text, std::string* debugText,
                                      bool useHeaders) {
    try {
        clsTokenTable& table = TableOf(useHeaders);
        AsciiLowerInto(text, mLowered);  // the tokens' case does not matter
        const std::uint32_t serial = ++mTextSerial;
        std::vector<clsRanked>& ranked = mRanked;
        ranked.clear();
        mRun.clear();  // looked up as one run, so that the table's slots are fetched ahead
        clsTokenScanner::ForEachToken(mLowered, [&](std::string_view token) {
            mRun.push_back({token, clsTokenTable::HashOf(token)});
        });
        table.FindEach(mRun, [&](std::string_view token, clsTokenCounts* counts) {
            // Unknown tokens have no probability.
            if (!counts || counts->SeenIn == serial) {
                return;
            }
            counts->SeenIn = serial;
            const double p = ProbabilityOf(*counts);
            if (p >= 0) {
                ranked.push_back({Distance(p), token, p});
            }
        });
        const auto chosen = std::min<std::size_t>(ranked.size(), kInterestingTokens);
        std::partial_sort(ranked.begin(), ranked.begin() + static_cast<std::ptrdiff_t>(chosen),
                          ranked.end());
        double product = 1, inverse = 1;
        for (std::size_t i = 0; i < chosen; ++i) {
            product *= ranked[i].P;
            inverse *= 1 - ranked[i].P;
            AddLine(debugText, std::string(ranked[i].Token) + " " + Formatted(ranked[i].P, 3));
        }
        if (product == 0) {
            AddLine(debugText, "mult=0");
            return 0;
        }
        return product / (product + inverse);
    } catch (const std::exception& error) {
        Fail("SpamProbability", error);
        return 0;
    }
}

double clsSpamFilter::MessageSpamProbability(const clsMailItem& item, std::string* debugText) {
    return JudgeItem(item, nullptr, debugText);
}

double clsSpamFilter::ParsedMessageSpamProbability(const clsMailItem& item,
                                                   const clsMimeMessage& message,
                                                   std::string* debugText) {
    return JudgeItem(item, &message, debugText);
}

// Mail trained into a corpus is not judged, nor parsed.
double clsSpamFilter::JudgeItem(const clsMailItem& item, const clsMimeMessage* message,
                                std::string* debugText) {
    try {
        if (IsTrainedInto(item, true) || IsTrainedInto(item, false)) {
            AddLine(debugText, "Message found in corpus, analysis ignored.");
            AddLine(debugText, "Spam probability (ignored): 0.00000000");
            return 0;
        }
        const clsMimeMessage& parsed = message ? *message : item.Message();
        return TextSpamProbability(parsed.Body(), HeaderBlockOf(parsed.Headers()), debugText);
    } catch (const std::exception& error) {
        Fail("MessageSpamProbability", error);
        return 0;
    }
}

double clsSpamFilter::TextSpamProbability(std::string_view body, std::string_view headerBlock,
                                          std::string* debugText) {
    try {
        EnsureCounted();
        double p = 0;
        if (mGood.Count < kMinimumMessages || mBad.Count < kMinimumMessages) {
            AddLine(debugText, "Not enough message data for Bayesian analysis.");
        } else {
            p = SpamProbability(body, debugText);
        }
        if (mSpamHeaders) {
            const double headerScore = HeaderSpamAnalysis(headerBlock);
            if (headerScore > kSpamThreshold) {
                AddLine(debugText, "Spam probability before header analysis: " + Formatted(p, 8));
                p = headerScore;
            }
        }
        if (p < kSpamThreshold || debugText) {
            double fraction = 0;
            if (BodyContainsSpamLinks(body, fraction)) {
                p = mSpamLinksMeanDefiniteJunk ? 1.0 : std::min(1.0, p + fraction);
            }
            AddLine(debugText, "Percentage of spam links: " +
                                   (fraction > 0 ? Formatted(fraction, 8) : std::string("0")));
        }
        if (p > kSpamThreshold) {
            ++mSpamCount;
        }
        AddLine(debugText, "Spam probability: " + Formatted(p, 8));
        return p;
    } catch (const std::exception& error) {
        Fail("MessageSpamProbability", error);
        return 0;
    }
}

std::int32_t clsSpamFilter::GoodCount() {
    ReadCounts();
    return mGood.Count;
}
std::int32_t clsSpamFilter::BadCount() {
    ReadCounts();
    return mBad.Count;
}
std::int32_t clsSpamFilter::GoodCorpusVersion() {
    EnsureCounted();
    return mGood.Body.CorpusVersion();
}
std::int32_t clsSpamFilter::BadCorpusVersion() {
    EnsureCounted();
    return mBad.Body.CorpusVersion();
}
std::size_t clsSpamFilter::GoodTokenCount() { return EnsureLoaded() ? mGood.Body.TokenCount() : 0; }
std::size_t clsSpamFilter::BadTokenCount() { return EnsureLoaded() ? mBad.Body.TokenCount() : 0; }
