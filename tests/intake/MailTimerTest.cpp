// The event loop and the mail timer on a real loop: work posted from other threads runs on the
// loop's thread; ticks are dropped while one runs and while the engine is off, and the timer is
// re-armed half a second after the end of a tick until shutting down.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "intake/clsEventLoop.h"
#include "intake/modTimers.h"
#include "support/TestSupport.h"

namespace {

using std::chrono::milliseconds;
using clsClock = std::chrono::steady_clock;

TEST(EventLoopTest, PostedWorkRunsOnTheLoopThreadAndAnswersEachCaller) {
    clsEventLoop loop;
    std::thread runner([&loop] { loop.Run(); });
    std::atomic<int> onLoop{0};
    std::vector<std::thread> callers;
    std::vector<int> answers(4);
    for (int caller = 0; caller < 4; ++caller) {
        callers.emplace_back([&, caller] {
            for (int round = 0; round < 50; ++round) {
                answers[static_cast<size_t>(caller)] += loop.PostAndWait([&loop, &onLoop, caller] {
                    onLoop += loop.OnLoopThread() ? 1 : 0;
                    return caller;
                });
            }
        });
    }
    for (std::thread& caller : callers) {
        caller.join();
    }
    loop.Stop();
    runner.join();
    EXPECT_EQ(onLoop, 200);
    EXPECT_EQ(answers, (std::vector<int>{0, 50, 100, 150}));
}

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

    void RunFor(milliseconds span) {
        Loop.StartTimer(span.count(), [this] { Loop.Stop(); });
        Loop.Run();
    }
};

TEST_F(MailTimerTest, ATickArrivingWhileOneRunsDoesNothing) {
    Timers.SetWork(&Work);
    Work.Reenter = &Timers;
    Timers.ProcessMailTimer();
    EXPECT_EQ(Work.QueueRuns, 1);
    EXPECT_EQ(Work.Pulses, 1);
    EXPECT_TRUE(Timers.MailTimerEnabled());  // re-armed after the tick
}

TEST_F(MailTimerTest, ReArmsHalfASecondAfterTheEndOfEachTick) {
    Timers.SetWork(&Work);
    Work.WorkTime = milliseconds(300);
    Timers.StartIncomingMailTimer();
    RunFor(milliseconds(2300));
    ASSERT_GE(Work.Starts.size(), 2u);
    for (size_t tick = 1; tick < Work.Starts.size(); ++tick) {
        EXPECT_GE(Work.Starts[tick] - Work.Ends[tick - 1], milliseconds(495)) << "tick " << tick;
        EXPECT_LT(Work.Starts[tick] - Work.Ends[tick - 1], milliseconds(700)) << "tick " << tick;
    }
    EXPECT_NE(Env.LogText().find("Timers->StartIncomingMailTimer: mail timer started"),
              std::string::npos);
}

TEST_F(MailTimerTest, WhileTheEngineIsOffTicksDoNothingAndTheTimerRuns) {
    Timers.SetWork(&Work);
    Work.Enabled = false;
    Timers.StartIncomingMailTimer();
    RunFor(milliseconds(1200));
    EXPECT_EQ(Work.QueueRuns, 0);
    EXPECT_TRUE(Timers.MailTimerEnabled());
    Work.Enabled = true;  // switched on again: the running timer picks it up
    RunFor(milliseconds(700));
    EXPECT_GE(Work.QueueRuns, 1);
}

TEST_F(MailTimerTest, AFailingTickIsLoggedAndTheTimerReArmedUnlessShuttingDown) {
    Timers.SetWork(&Work);
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
