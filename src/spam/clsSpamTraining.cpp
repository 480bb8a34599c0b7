#include "spam/clsSpamTraining.h"

#include "mailhost/clsUserPropertyBatch.h"
#include "spam/clsParsedItems.h"

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
        // The counters start from the corpora as they stand; loading them now also spares the
        // walk's version checks a read of the judging table.
        RefreshCounters();
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
        // The marks of the whole folder in a few transactions rather than one each.
        clsUserPropertyBatch marks(folder.Store().Properties());
        std::vector<clsItemEntry> untrained = UntrainedEntries(folder, good);
        const long total = static_cast<long>(untrained.size());
        const std::string caption =
            "Training " + std::string(good ? "good" : "bad") + " mail from " + folder.FolderPath();
        clsParsedItems items(folder, std::move(untrained));
        for (long done = 1; auto parsed = items.Next(); ++done) {
            mFilter.AddParsedMessage(parsed->Item, parsed->Message, good);
            RefreshCounters();
            mUi.ShowProgress(caption, done, total);
        }
        if (!marks.End()) {
            mLog.AddErrorLog("Build Spam Database (save marks)",
                             folder.Store().Properties().LastError());
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

// The folder's items without the mark of the side's current corpus version, in folder order;
// the others are counted as skipped.
std::vector<clsItemEntry> clsSpamTraining::UntrainedEntries(const clsMailFolder& folder,
                                                            bool good) {
    std::vector<clsItemEntry> untrained;
    if (folder.IsStoreRoot()) {
        return untrained;
    }
    for (const clsItemEntry& entry : folder.Store().ListItems(folder.EntryID())) {
        if (mFilter.IsTrainedInto(clsMailItem(folder, entry), good)) {
            ++mCounters.Skipped;
        } else {
            untrained.push_back(entry);
        }
    }
    return untrained;
}

void clsSpamTraining::RefreshCounters() {
    mCounters.EmailsGood = mFilter.GoodCount();
    mCounters.TokensGood = mFilter.GoodTokenCount();
    mCounters.EmailsBad = mFilter.BadCount();
    mCounters.TokensBad = mFilter.BadTokenCount();
}
