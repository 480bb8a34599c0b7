// modTimers: the mail timer's arming and its tick.
#include "intake/modTimers.h"

#include "foundation/clsLogFile.h"

void modTimers::StartIncomingMailTimer() {
    try {
        EnableMailTimer(kInterval);
        mLog.AddLog("Timers->StartIncomingMailTimer: mail timer started", 4);
    } catch (const std::exception& error) {
        mLog.AddErrorLog("Timers->StartIncomingMailTimer", error);
    }
}

void modTimers::EnableMailTimer(std::int32_t interval) {
    DisableMailTimer();
    mInterval = interval;
    mTimer = mLoop.StartTimer(mInterval, [this] { Fire(); });
}

void modTimers::DisableMailTimer() {
    if (mTimer != 0) {
        mLoop.CancelTimer(mTimer);
        mTimer = 0;
    }
}

// A timer control keeps firing while enabled: the next firing is armed before the handler runs,
// and the handler's own disable and enable replace it.
void modTimers::Fire() {
    mTimer = mLoop.StartTimer(mInterval, [this] { Fire(); });
    ProcessMailTimer();
}

void modTimers::ProcessMailTimer() {
    if (mBusy || !mWork || !mWork->EngineEnabled()) {
        return;
    }
    mBusy = true;
    try {
        mWork->ProcessQueue(kQueueBudget);
        mWork->PulseFolders();
        DisableMailTimer();
    } catch (const std::exception& error) {
        mLog.AddErrorLog("Timers->ProcessMailTimer", error);
        DisableMailTimer();
    }
    if (!mShuttingDown) {
        EnableMailTimer(kInterval);
    }
    mBusy = false;
}
