#pragma once
// clsSpamTraining: builds the classifier's corpora from existing mail: every item of a good
// folder and of a bad folder (optionally with all folders below them) is trained into its side,
// items already marked with the corpus's current version are skipped, and the corpora are saved
// at the end. The work of the spam-database dialog, without the dialog.
// Owned by its caller for one build; event-loop thread only.
// Failure: Build logs under "Build Spam Database ..." and returns false; nothing throws.

#include <cstdint>
#include <string_view>
#include <vector>

#include "foundation/clsLogFile.h"
#include "foundation/clsUserInterface.h"
#include "mailhost/clsFolderCache.h"
#include "spam/clsSpamFilter.h"

struct clsSpamTrainingOptions {
    bool ClearDatabase = false;
    bool BalanceGoodAndBad = false;
    bool IncludeSubfolders = false;
};

// The dialog's four counters (messages trained and distinct tokens held, per side), and the
// items skipped because they were trained already.
struct clsSpamTrainingCounters {
    std::int32_t EmailsGood = 0;
    std::size_t TokensGood = 0;
    std::int32_t EmailsBad = 0;
    std::size_t TokensBad = 0;
    long Skipped = 0;
};

class clsSpamTraining {
public:
    clsSpamTraining(clsSpamFilter& filter, clsFolderCache& cache, clsLogFile& log,
                    clsUserInterface& ui)
        : mFilter(filter), mCache(cache), mLog(log), mUi(ui) {}

    // Folders by path or name, as the folder cache finds them.
    bool Build(std::string_view goodFolder, std::string_view badFolder,
               const clsSpamTrainingOptions& options);
    const clsSpamTrainingCounters& Counters() const { return mCounters; }

private:
    void TrainFolder(const clsMailFolder& folder, bool good, bool subfolders);
    std::vector<clsItemEntry> UntrainedEntries(const clsMailFolder& folder, bool good);
    void RefreshCounters();

    clsSpamFilter& mFilter;
    clsFolderCache& mCache;
    clsLogFile& mLog;
    clsUserInterface& mUi;
    clsSpamTrainingCounters mCounters;
};
