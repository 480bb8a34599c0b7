#pragma once
// clsEventLoop: the one thread that runs the daemon's timers, host events, signals and commands,
// one task at a time, so that nothing in the engine is ever entered by two threads. Other threads
// hand it work with Post, or PostAndWait when they need the answer.
// Owned by whoever runs the daemon; Run is called on the thread that becomes the loop's thread.
// Post, PostAndWait and Stop may be called from any thread; everything else on the loop's own.
// Failure: an exception escaping a task is caught and reported to the error handler, and the
// loop goes on.

#include <poll.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <future>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

class clsEventLoop {
public:
    using clsTask = std::function<void()>;
    using clsTimerID = std::uint64_t;

    clsEventLoop();
    ~clsEventLoop();
    clsEventLoop(const clsEventLoop&) = delete;
    clsEventLoop& operator=(const clsEventLoop&) = delete;

    // Runs tasks, timers and watched descriptors until Stop.
    void Run();
    void Stop();
    bool OnLoopThread() const { return std::this_thread::get_id() == mLoopThread; }

    void Post(clsTask task);
    // Runs task on the loop and waits for its result; runs it at once on the loop's own thread.
    // The loop must be running (or about to run), or the caller waits for ever.
    template <typename Function>
    auto PostAndWait(Function task) -> decltype(task()) {
        if (OnLoopThread()) {
            return task();
        }
        auto job = std::make_shared<std::packaged_task<decltype(task())()>>(std::move(task));
        auto answer = job->get_future();
        Post([job] { (*job)(); });
        return answer.get();
    }

    // Runs task once, milliseconds from now.
    clsTimerID StartTimer(std::int64_t milliseconds, clsTask task);
    void CancelTimer(clsTimerID id);

    // Runs task whenever descriptor can be read, until Unwatch.
    void Watch(int descriptor, clsTask task);
    void Unwatch(int descriptor);

    void SetErrorHandler(std::function<void(const std::exception&)> handler) {
        mErrorHandler = std::move(handler);
    }

private:
    using clsClock = std::chrono::steady_clock;
    struct clsTimer {
        clsTimerID ID;
        clsTask Task;
    };
    void RunPosted();
    void RunDueTimers();
    int MillisecondsToNextTimer() const;
    void RunGuarded(const clsTask& task);

    int mWakeDescriptor = -1;  // an eventfd that Post and Stop write to
    std::thread::id mLoopThread;
    std::mutex mPostedLock;
    std::vector<clsTask> mPosted;
    bool mStopRequested = false;  // under mPostedLock
    std::multimap<clsClock::time_point, clsTimer> mTimers;
    clsTimerID mNextTimerID = 1;
    std::map<int, clsTask> mWatched;
    std::function<void(const std::exception&)> mErrorHandler;
};
