#pragma once
// modTimers: the one mail timer that drives all background work. Each tick lets the queue work
// for 200 ms and then pulses the watched folders; the timer is re-armed 500 ms after the end of
// a tick, so ticks never pile up. A tick that arrives while one runs is dropped (the busy flag);
// while the engine is switched off ticks do nothing and the timer keeps running; once shutting
// down, the running tick finishes and the timer is not re-armed.
// Owned by the daemon's lifecycle object (connect), on its event loop. Loop thread only.
// Failure: an error inside a tick is logged as "Timers->ProcessMailTimer" and the timer is
// re-armed all the same.

#include <cstdint>

#include "intake/clsEventLoop.h"

class clsLogFile;

// What a tick works on; the intake provides it.
class clsMailTimerWork {
public:
    virtual ~clsMailTimerWork() = default;
    virtual bool EngineEnabled() = 0;
    virtual void ProcessQueue(std::int32_t budget) = 0;
    virtual void PulseFolders() = 0;
};

class modTimers {
public:
    static constexpr std::int32_t kInterval = 500;
    static constexpr std::int32_t kQueueBudget = 200;

    modTimers(clsEventLoop& loop, clsLogFile& log) : mLoop(loop), mLog(log) {}
    ~modTimers() { DisableMailTimer(); }
    modTimers(const modTimers&) = delete;
    modTimers& operator=(const modTimers&) = delete;

    // Nothing: ticks find no work (before the engine starts, after it quits).
    void SetWork(clsMailTimerWork* work) { mWork = work; }

    void StartIncomingMailTimer();
    // The tick handler.
    void ProcessMailTimer();
    void DisableMailTimer();
    bool MailTimerEnabled() const { return mTimer != 0; }
    void SetShuttingDown() { mShuttingDown = true; }
    bool ShuttingDown() const { return mShuttingDown; }

private:
    // Arms the timer: it fires interval ms from now, and again every interval ms until disabled.
    void EnableMailTimer(std::int32_t interval);
    void Fire();

    clsEventLoop& mLoop;
    clsLogFile& mLog;
    clsMailTimerWork* mWork = nullptr;
    clsEventLoop::clsTimerID mTimer = 0;  // 0: disabled
    std::int32_t mInterval = kInterval;
    bool mBusy = false;
    bool mShuttingDown = false;
};
