// clsSpamFilter: training, the training marks, clearing, balancing and saving the corpora.
#include <cmath>
#include <map>
#include <vector>

#include "spam/clsSpamFilter.h"

namespace {

std::string CorpusFileName(const clsCorpus& corpus) {
    static const std::map<std::string, std::string, std::less<>> names = {
        {"Good_Corpus", "corpus_good.csv"},
        {"Bad_Corpus", "corpus_bad.csv"},
        {"Good_Headers", "corpus_goodheaders.csv"},
        {"Bad_Headers", "corpus_badheaders.csv"}};
    return names.at(corpus.Name());
}

// Multiplies every count by factor (rounded), through the corpus's own counting.
void ScaleUp(clsCorpus& corpus, double factor) {
    std::vector<std::pair<std::string, std::int32_t>> counts;
    corpus.ForEachToken([&](std::string_view token, std::int32_t count) {
        counts.emplace_back(std::string(token), count);
    });
    for (const auto& [token, count] : counts) {
        const auto target = static_cast<std::int64_t>(std::llround(count * factor));
        for (std::int64_t n = count; n < target; ++n) {
            corpus.AddToken(token);
        }
    }
}

}  // namespace

std::string clsSpamFilter::HeaderBlockOf(const clsMailItem& item) {
    return HeaderBlockOf(item.TransportHeaders());
}

std::string clsSpamFilter::HeaderBlockOf(std::string_view headers) {
    std::string block;
    block.reserve(headers.size() + 2);
    block.append(headers).append(headers.find("\r\n") != std::string_view::npos ? "\r\n" : "\n");
    return block;
}

bool clsSpamFilter::IsTrainedInto(const clsMailItem& item, bool good) {
    EnsureCounted();
    const clsSide& side = good ? mGood : mBad;
    const auto mark = item.FindUserProperty(side.Mark);
    return mark && mark->Text == std::to_string(side.Body.CorpusVersion());
}

std::string clsSpamFilter::MessageCorpusVersion(const clsMailItem& item) {
    try {
        const bool good = item.FindUserProperty(kGoodMark).has_value();
        const bool bad = item.FindUserProperty(kBadMark).has_value();
        return good && bad ? "both" : good ? "good" : bad ? "bad" : "";
    } catch (const std::exception& error) {
        Fail("MessageCorpusVersion", error);
        return "";
    }
}

bool clsSpamFilter::AddMessage(clsSide& side, clsMailItem& item, const clsMimeMessage* message) {
    const std::string member = side.Good ? "AddGoodMessage" : "AddBadMessage";
    try {
        EnsureLoaded();  // before IsTrainedInto, which would read the judging table instead
        if (IsTrainedInto(item, side.Good)) {
            mLog.AddLog(
                "SpamFilter->" + member + ": " +
                (side.Good ? "Message already in this corpus" : "Message already in bad corpus"));
            return false;
        }
        if (!side.Good) {
            mLog.AddLog("SpamFilter->" + member + ": Adding message data to bad corpus");
        }
        const clsMimeMessage& parsed = message ? *message : item.Message();
        AddData(side, parsed.Body(), HeaderBlockOf(parsed.Headers()));
        item.AddUserProperty(side.Mark,
                             {UserPropertyType::Number, std::to_string(side.Body.CorpusVersion())});
        return item.Save();
    } catch (const std::exception& error) {
        Fail(member, error);
        return false;
    }
}

void clsSpamFilter::AddGoodData(std::string_view body, std::string_view headers) {
    try {
        AddData(mGood, body, headers);
    } catch (const std::exception& error) {
        Fail("AddGoodData", error);
    }
}

void clsSpamFilter::AddBadData(std::string_view body, std::string_view headers) {
    try {
        AddData(mBad, body, headers);
    } catch (const std::exception& error) {
        Fail("AddBadData", error);
    }
}

void clsSpamFilter::AddData(clsSide& side, std::string_view body, std::string_view headers) {
    EnsureLoaded(true);
    side.Body.ProcessData(body);
    side.Headers.ProcessData(headers);
    ++side.Count;
    CountsChanged();
}

// A cleared corpus is a new corpus: its version moves on, so that mail trained into the old one
// is trained again rather than skipped. Corpora not loaded yet are not: only their versions are
// read, since their tokens would be thrown away.
void clsSpamFilter::ClearData() {
    try {
        for (clsSide* side : {&mGood, &mBad}) {
            if (!mLoaded) {
                side->Body.LoadCorpusVersionDB(mDatabase);
            }
            const std::int32_t version = side->Body.CorpusVersion() + 1;
            for (clsCorpus* corpus : {&side->Body, &side->Headers}) {
                corpus->ClearDictionary();
                corpus->SetCorpusVersion(version);
            }
            side->Count = 0;
        }
        mCounted = mLoaded = mHeadersLoaded = true;
        CountsChanged();
    } catch (const std::exception& error) {
        Fail("ClearData", error);
    }
}

// Trains towards the smaller side: its counts (messages and tokens alike) are scaled up to the
// larger side's message count, so each side's tokens weigh as if both had seen as much mail.
void clsSpamFilter::Balance() {
    try {
        EnsureLoaded(true);
        clsSide& smaller = mGood.Count < mBad.Count ? mGood : mBad;
        const clsSide& larger = &smaller == &mGood ? mBad : mGood;
        if (smaller.Count == 0 || smaller.Count == larger.Count) {
            return;
        }
        const double factor = static_cast<double>(larger.Count) / smaller.Count;
        ScaleUp(smaller.Body, factor);
        ScaleUp(smaller.Headers, factor);
        smaller.Count = larger.Count;
        CountsChanged();
    } catch (const std::exception& error) {
        Fail("Balance", error);
    }
}

void clsSpamFilter::CountsChanged() {
    mChanged = true;
    mTablesCurrent[0] = mTablesCurrent[1] = false;
}

bool clsSpamFilter::SaveTokenDatabase() {
    try {
        EnsureLoaded(true);
        const bool saved = SaveSide(mGood) && SaveSide(mBad);
        mChanged = !saved;
        return saved;
    } catch (const std::exception& error) {
        Fail("SaveTokenDatabase", error);
        return false;
    }
}

bool clsSpamFilter::SaveSide(clsSide& side) {
    const bool saved =
        side.Body.SaveCorpusDB(mDatabase, mDataFolder, CorpusFileName(side.Body)) &&
        side.Headers.SaveCorpusDB(mDatabase, mDataFolder, CorpusFileName(side.Headers));
    mDatabase.SaveOption("Antispam", side.CountOption, std::to_string(side.Count));
    return saved;
}
