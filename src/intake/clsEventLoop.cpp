// clsEventLoop: poll(2) over an eventfd for posted work and the watched descriptors, with the
// nearest timer as the time-out.
#include "intake/clsEventLoop.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <system_error>

clsEventLoop::clsEventLoop() : mLoopThread(std::this_thread::get_id()) {
    mWakeDescriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (mWakeDescriptor < 0) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

clsEventLoop::~clsEventLoop() { close(mWakeDescriptor); }

void clsEventLoop::Post(clsTask task) {
    {
        std::lock_guard lock(mPostedLock);
        mPosted.push_back(std::move(task));
    }
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(mWakeDescriptor, &one, sizeof one);
}

void clsEventLoop::Stop() {
    {
        std::lock_guard lock(mPostedLock);
        mStopRequested = true;
    }
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(mWakeDescriptor, &one, sizeof one);
}

void clsEventLoop::Run() {
    mLoopThread = std::this_thread::get_id();
    for (;;) {
        {
            std::lock_guard lock(mPostedLock);
            if (mStopRequested) {
                mStopRequested = false;
                return;
            }
        }
        std::vector<pollfd> descriptors{{mWakeDescriptor, POLLIN, 0}};
        for (const auto& [descriptor, task] : mWatched) {
            descriptors.push_back({descriptor, POLLIN, 0});
        }
        const int ready = poll(descriptors.data(), descriptors.size(), MillisecondsToNextTimer());
        if (ready < 0 && errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "poll");
        }
        for (std::size_t i = 1; ready > 0 && i < descriptors.size(); ++i) {
            const auto watched = mWatched.find(descriptors[i].fd);
            if ((descriptors[i].revents & (POLLIN | POLLHUP | POLLERR)) &&
                watched != mWatched.end()) {
                const clsTask task = watched->second;  // the task may unwatch itself
                RunGuarded(task);
            }
        }
        RunPosted();
        RunDueTimers();
    }
}

void clsEventLoop::RunPosted() {
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t read_ = read(mWakeDescriptor, &count, sizeof count);
    std::vector<clsTask> posted;
    {
        std::lock_guard lock(mPostedLock);
        posted.swap(mPosted);
    }
    for (const clsTask& task : posted) {
        RunGuarded(task);
    }
}

void clsEventLoop::RunDueTimers() {
    const clsClock::time_point now = clsClock::now();
    // One at a time: a timer's task may start or cancel others.
    while (!mTimers.empty() && mTimers.begin()->first <= now) {
        const clsTask task = std::move(mTimers.begin()->second.Task);
        mTimers.erase(mTimers.begin());
        RunGuarded(task);
    }
}

int clsEventLoop::MillisecondsToNextTimer() const {
    if (mTimers.empty()) {
        return -1;
    }
    const auto wait =
        std::chrono::ceil<std::chrono::milliseconds>(mTimers.begin()->first - clsClock::now());
    return wait.count() < 0 ? 0 : static_cast<int>(std::min<std::int64_t>(wait.count(), 60000));
}

clsEventLoop::clsTimerID clsEventLoop::StartTimer(std::int64_t milliseconds, clsTask task) {
    const clsTimerID id = mNextTimerID++;
    mTimers.emplace(clsClock::now() + std::chrono::milliseconds(milliseconds),
                    clsTimer{id, std::move(task)});
    return id;
}

void clsEventLoop::CancelTimer(clsTimerID id) {
    for (auto timer = mTimers.begin(); timer != mTimers.end(); ++timer) {
        if (timer->second.ID == id) {
            mTimers.erase(timer);
            return;
        }
    }
}

void clsEventLoop::Watch(int descriptor, clsTask task) { mWatched[descriptor] = std::move(task); }

void clsEventLoop::Unwatch(int descriptor) { mWatched.erase(descriptor); }

void clsEventLoop::RunGuarded(const clsTask& task) {
    try {
        task();
    } catch (const std::exception& error) {
        if (mErrorHandler) {
            mErrorHandler(error);
        }
    }
}
