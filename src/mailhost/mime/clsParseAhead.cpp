#include "mailhost/mime/clsParseAhead.h"

#include <system_error>

clsParseAhead::clsParseAhead() {
    clsMimeMessage::Initialise();  // once, before two threads could race to it
    try {
        mWorker = std::thread([this] { Work(); });
    } catch (const std::system_error&) {
        // No thread to be had: Take parses each message itself.
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
        ++mUnparsed;
    }
    ++mPending;
    mWorkArrived.notify_one();
}

clsMimeMessage clsParseAhead::Take() {
    std::unique_lock<std::mutex> lock(mLock);
    if (mJobs.empty()) {
        return clsMimeMessage::Parse({});
    }
    if (!mWorker.joinable() && !mJobs.front().Parsed) {
        mJobs.front().Parsed = clsMimeMessage::Parse(mJobs.front().Raw);
        --mUnparsed;
    }
    mWorkDone.wait(lock, [this] { return mJobs.front().Parsed.has_value(); });
    clsMimeMessage message = std::move(*mJobs.front().Parsed);
    mJobs.pop_front();
    --mPending;
    return message;
}

// Parses outside the lock: the user adds and takes meanwhile. The job's place in the deque stays
// put while it is unparsed, since only parsed jobs are taken from the front.
void clsParseAhead::Work() {
    std::unique_lock<std::mutex> lock(mLock);
    while (true) {
        mWorkArrived.wait(lock, [this] { return mStopping || mUnparsed > 0; });
        if (mStopping) {
            return;
        }
        clsJob& job = mJobs[mJobs.size() - mUnparsed];
        const std::string raw = std::move(job.Raw);
        lock.unlock();
        clsMimeMessage parsed = clsMimeMessage::Parse(raw);
        lock.lock();
        // push_back may have moved the deque's blocks but never its elements: job stays valid.
        job.Parsed = std::move(parsed);
        --mUnparsed;
        mWorkDone.notify_one();
    }
}
