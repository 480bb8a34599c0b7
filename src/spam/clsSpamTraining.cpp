#include "spam/clsSpamTraining.h"

#include "mailhost/clsMailItems.h"

bool clsSpamTraining::Build(std::string_view goodFolder, std::string_view badFolder,
                            const clsSpamTrainingOptions& options) {
    try {
        if (options.ClearDatabase) {
            mFilter.ClearData();
        }
        const auto good = mCache.FindFolder(goodFolder);
        if (!good) {
            mLog.AddErrorLog("Build Spam Database (hook good folder)",
                             std::runtime_error("no folder " + std::string(goodFolder)));
            return false;
        }
        const auto bad = mCache.FindFolder(badFolder);
        if (!bad) {
            mLog.AddErrorLog("Build Spam Database (hook bad folder)",
                             std::runtime_error("no folder " + std::string(badFolder)));
            return false;
        }
        mCounters = {};
        TrainFolder(*good, true, options.IncludeSubfolders);
        TrainFolder(*bad, false, options.IncludeSubfolders);
        if (options.BalanceGoodAndBad) {
            mFilter.SetBalanceMessageData(true);
            mFilter.Balance();
        }
        const bool saved = mFilter.SaveTokenDatabase();
        RefreshCounters();
        return saved;
    } catch (const std::exception& error) {
        mLog.AddErrorLog("Build Spam Database", error);
        return false;
    }
}

void clsSpamTraining::TrainFolder(const clsMailFolder& folder, bool good, bool subfolders) {
    try {
        const std::int32_t version =
            good ? mFilter.GoodCorpusVersion() : mFilter.BadCorpusVersion();
        const std::string mark(good ? clsSpamFilter::kGoodMark : clsSpamFilter::kBadMark);
        const clsMailItems all = folder.Items();
        const clsMailItems untrained =
            all.Restrict("[" + mark + "] <> \"" + std::to_string(version) + "\"");
        mCounters.Skipped += all.Count() - untrained.Count();
        const std::string caption =
            "Training " + std::string(good ? "good" : "bad") + " mail from " + folder.FolderPath();
        for (long i = 1; i <= untrained.Count(); ++i) {
            if (auto item = untrained.Item(i)) {
                good ? mFilter.AddGoodMessage(*item) : mFilter.AddBadMessage(*item);
            }
            RefreshCounters();
            mUi.ShowProgress(caption, i, untrained.Count());
        }
    } catch (const std::exception& error) {
        mLog.AddErrorLog(good ? "Build Spam Database (Good)" : "Build Spam Database (Bad)", error);
    }
    if (subfolders) {
        for (const clsMailFolder& child : folder.Folders()) {
            TrainFolder(child, good, true);
        }
    }
}

void clsSpamTraining::RefreshCounters() {
    mCounters.EmailsGood = mFilter.GoodCount();
    mCounters.TokensGood = mFilter.GoodTokenCount();
    mCounters.EmailsBad = mFilter.BadCount();
    mCounters.TokensBad = mFilter.BadTokenCount();
}
