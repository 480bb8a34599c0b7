#pragma once
// clsIntake: the engine's mail intake: the message analyser, the processing queue and the folder
// monitor, made together and wired to each other and to the engine, in the order the engine's
// start-up expects. The engine owns it through clsIntakeServices; the daemon's timer and the
// command line reach the three objects through it.
// Members are made in the order they are declared. Event-loop thread only.
// Failure: members log and return; nothing throws.

#include <memory>
#include <string_view>

#include "engine/clsIntakeServices.h"
#include "foundation/clsTickCounter.h"
#include "intake/clsFolderMonitor.h"
#include "intake/clsMessageAnalyser.h"
#include "intake/clsQueue.h"
#include "intake/modTimers.h"

class clsIntake final : public clsIntakeServices, public clsMailTimerWork {
public:
    clsIntake(classCorvel& engine, const clsTickCounter& ticks);

    void LoadState(std::string_view section) override;
    void SaveState(std::string_view section) override;

    // One tick's work: the engine's switch, the queue's budget, the watched folders' pulse.
    bool EngineEnabled() override;
    void ProcessQueue(std::int32_t budget) override { mQueue.Process(budget); }
    void PulseFolders() override { mMonitor.Timer(); }

    // Whether folder is one of the watched folders.
    bool Watches(const clsMailFolder& folder) const;

    clsMessageAnalyser& MessageAnalyser() { return mAnalyser; }
    clsQueue& Queue() { return mQueue; }
    clsFolderMonitor& FolderMonitor() { return mMonitor; }

    // A factory for the engine's host; made tells the caller which intake the engine got.
    static clsIntakeFactory Factory(const clsTickCounter& ticks,
                                    std::function<void(clsIntake&)> made = {});

private:
    classCorvel& mEngine;
    clsQueue mQueue;
    clsMessageAnalyser mAnalyser;
    clsFolderMonitor mMonitor;
};
