#include "mailhost/mime/clsParseAhead.h"

#include <system_error>

clsParseAhead::clsParseAhead() {
    clsMimeMessage::Initialise();  // once, before two threads could race to it
    try {
        mWorker = std::thread([this] { Work(); });
    } catch (const std::system_error&) {
        // No thread to be had: Take parses every message itself.
    }
}

clsParseAhead::~clsParseAhead() {
    {
        const std::lock_guard<std::mutex> lock(mLock);
        mStopping = true;
    }
    mWorkArrived.notify_one();
    if (mWorker.joinable()) {
        mWorker.join();
    }
}

void clsParseAhead::Add(std::string rawMessage) {
    {
        const std::lock_guard<std::mutex> lock(mLock);
        mJobs.push_back({std::move(rawMessage), std::nullopt});
        ++mUnclaimed;
    }
    ++mPending;
    mWorkArrived.notify_one();
}

clsMimeMessage clsParseAhead::Take() {
    std::unique_lock<std::mutex> lock(mLock);
    if (mJobs.empty()) {
        return clsMimeMessage::Parse({});
    }
    // Waiting is wasted: while messages are left unclaimed the caller parses one itself, so
    // both threads parse when parsing is what holds the work up (and the caller alone does so
    // when no worker could be started).
    while (!mJobs.front().Parsed) {
        if (mUnclaimed > 0) {
            ParseNext(lock);
        } else {
            mWorkDone.wait(lock);
        }
    }
    clsMimeMessage message = std::move(*mJobs.front().Parsed);
    mJobs.pop_front();
    --mPending;
    return message;
}

void clsParseAhead::Work() {
    std::unique_lock<std::mutex> lock(mLock);
    while (true) {
        mWorkArrived.wait(lock, [this] { return mStopping || mUnclaimed > 0; });
        if (mStopping) {
            return;
        }
        ParseNext(lock);
    }
}

// Parses outside the lock: the user adds and takes meanwhile. The job's place in the deque stays
// put while it is unparsed, since only parsed jobs are taken from the front, and push_back may
// move the deque's blocks but never its elements.
void clsParseAhead::ParseNext(std::unique_lock<std::mutex>& lock) {
    clsJob& job = mJobs[mJobs.size() - mUnclaimed];
    --mUnclaimed;
    const std::string raw = std::move(job.Raw);
    lock.unlock();
    clsMimeMessage parsed = clsMimeMessage::Parse(raw);
    lock.lock();
    job.Parsed = std::move(parsed);
    mWorkDone.notify_one();
}
