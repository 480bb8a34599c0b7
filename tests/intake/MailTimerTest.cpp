// The event loop and the mail timer on a real loop: timers fire in order, a failing task is
// reported; ticks are dropped while one runs and while the engine is off, and the timer is
// re-armed half a second after the end of a tick until shutting down.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

#include "intake/clsEventLoop.h"
#include "intake/modTimers.h"
#include "support/TestSupport.h"

namespace {

using std::chrono::milliseconds;
using clsClock = std::chrono::steady_clock;

TEST(EventLoopTest, TimersFireInDueOrderAndACancelledOneNever) {
    clsEventLoop loop;
    std::vector<int> fired;
    loop.StartTimer(30, [&] { fired.push_back(30); });
    const auto cancelled = loop.StartTimer(10, [&] { fired.push_back(10); });
    loop.StartTimer(0, [&] { fired.push_back(0); });
    loop.StartTimer(60, [&] { loop.Stop(); });
    loop.CancelTimer(cancelled);
    // A task that throws is reported and the loop goes on.
    int reported = 0;
    loop.SetErrorHandler([&](const std::exception&) { ++reported; });
    loop.Post([] { throw std::runtime_error("task failed"); });
    loop.Run();
    EXPECT_EQ(fired, (std::vector<int>{0, 30}));
    EXPECT_EQ(reported, 1);
}

// Records each tick; a tick can try to enter the timer again, throw, or take time.
class clsRecordingWork final : public clsMailTimerWork {
public:
    bool Enabled = true;
    int QueueRuns = 0;
    int Pulses = 0;
    modTimers* Reenter = nullptr;
    bool Throw = false;
    milliseconds WorkTime{0};
    std::vector<clsClock::time_point> Starts, Ends;

    bool EngineEnabled() override { return Enabled; }
    void ProcessQueue(std::int32_t budget) override {
        EXPECT_EQ(budget, 200);
        Starts.push_back(clsClock::now());
        ++QueueRuns;
        if (Reenter) {
            Reenter->ProcessMailTimer();  // as if the host pumped a timer message mid-tick
        }
        if (Throw) {
            throw std::runtime_error("queue broke");
        }
        std::this_thread::sleep_for(WorkTime);
    }
    void PulseFolders() override {
        ++Pulses;
        Ends.push_back(clsClock::now());
    }
};

struct MailTimerTest : ::testing::Test {
    clsTestEnvironment Env;
    clsEventLoop Loop;
    modTimers Timers{Loop, Env.Log};
    clsRecordingWork Work;

    MailTimerTest() { Timers.SetWork(&Work); }
    void RunFor(milliseconds span) {
        Loop.StartTimer(span.count(), [this] { Loop.Stop(); });
        Loop.Run();
    }
};

TEST_F(MailTimerTest, ATickArrivingWhileOneRunsDoesNothing) {
    Work.Reenter = &Timers;
    Timers.ProcessMailTimer();
    EXPECT_EQ(Work.QueueRuns, 1);
    EXPECT_EQ(Work.Pulses, 1);
    EXPECT_TRUE(Timers.MailTimerEnabled());  // re-armed after the tick
}

TEST_F(MailTimerTest, WhileTheEngineIsOffTicksDoNothingAndTheTimerRunsOnEveryHalfSecond) {
    Work.Enabled = false;
    Timers.StartIncomingMailTimer();
    RunFor(milliseconds(1200));
    EXPECT_EQ(Work.QueueRuns, 0);
    EXPECT_TRUE(Timers.MailTimerEnabled());
    Work.Enabled = true;  // switched on again: the running timer picks it up
    Work.WorkTime = milliseconds(300);
    RunFor(milliseconds(2300));
    // Re-armed half a second after the end of each tick, not after its start.
    ASSERT_GE(Work.Starts.size(), 2u);
    for (size_t tick = 1; tick < Work.Starts.size(); ++tick) {
        EXPECT_GE(Work.Starts[tick] - Work.Ends[tick - 1], milliseconds(495)) << "tick " << tick;
        EXPECT_LT(Work.Starts[tick] - Work.Ends[tick - 1], milliseconds(700)) << "tick " << tick;
    }
}

TEST_F(MailTimerTest, AFailingTickIsLoggedAndTheTimerReArmedUnlessShuttingDown) {
    Work.Throw = true;
    Timers.ProcessMailTimer();
    EXPECT_NE(Env.LogText().find("Timers->ProcessMailTimer: queue broke"), std::string::npos);
    EXPECT_TRUE(Timers.MailTimerEnabled());
    Timers.SetShuttingDown();
    Work.Throw = false;
    Timers.ProcessMailTimer();  // the running tick finishes...
    EXPECT_EQ(Work.Pulses, 1);
    EXPECT_FALSE(Timers.MailTimerEnabled());  // ...and the timer stays off
}

}  // namespace
