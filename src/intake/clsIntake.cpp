// clsIntake: making and wiring the analyser, the queue and the folder monitor.
#include "intake/clsIntake.h"

#include "engine/classCorvel.h"

clsIntake::clsIntake(classCorvel& engine, const clsTickCounter& ticks)
    : mEngine(engine), mQueue(engine, ticks), mAnalyser(engine, mQueue), mMonitor(engine, ticks) {
    mAnalyser.Initialise();
    mAnalyser.InitialiseSpamEngine();
    mQueue.Initialise();
    mMonitor.SetStatistics(&engine.Statistics());
    mMonitor.SetQueue(&mQueue);
    mMonitor.SetMessageAnalyser(&mAnalyser);
}

bool clsIntake::EngineEnabled() { return mEngine.enabled(); }

bool clsIntake::Watches(const clsMailFolder& folder) const {
    for (const clsMonitoredFolder* watched : mMonitor.Folders()) {
        const auto& watchedFolder = watched->Folder();
        if (watchedFolder && watchedFolder->EntryID() == folder.EntryID() &&
            watchedFolder->StoreID() == folder.StoreID()) {
            return true;
        }
    }
    return false;
}

void clsIntake::LoadState(std::string_view section) { mMonitor.LoadState(section); }

void clsIntake::SaveState(std::string_view section) { mMonitor.SaveState(section); }

clsIntakeFactory clsIntake::Factory(const clsTickCounter& ticks,
                                    std::function<void(clsIntake&)> made) {
    return [&ticks, made = std::move(made)](classCorvel& engine) {
        auto intake = std::make_unique<clsIntake>(engine, ticks);
        if (made) {
            made(*intake);
        }
        return std::unique_ptr<clsIntakeServices>(std::move(intake));
    };
}
