#pragma once
// clsParseAhead: parses raw messages on a worker thread of its own while its user works on the
// messages parsed before, so that reading a folder's mail costs about the larger of the two
// rather than their sum; while the user waits for a message it parses the next ones itself.
// Messages come out in the order they went in.
// Owned by one user on one thread (Add and Take from that thread only); the worker touches
// nothing but the bytes it was given and clsMimeMessage::Parse. The destructor stops and joins
// the worker. When no thread can be started, Take parses on the caller's thread alone.
// Failure: Parse's own (an unreadable message gives Ok() false); nothing throws.

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "mailhost/mime/clsMimeMessage.h"

class clsParseAhead {
public:
    clsParseAhead();
    ~clsParseAhead();
    clsParseAhead(const clsParseAhead&) = delete;
    clsParseAhead& operator=(const clsParseAhead&) = delete;

    // Messages added and not yet taken.
    std::size_t Pending() const { return mPending; }
    // Queues a raw message for parsing.
    void Add(std::string rawMessage);
    // The oldest message added and not yet taken, parsed (waiting for the worker when it is not
    // done yet); an empty message when nothing is pending.
    clsMimeMessage Take();

private:
    struct clsJob {
        std::string Raw;
        std::optional<clsMimeMessage> Parsed;
    };
    void Work();
    // Claims the oldest message no thread has claimed and parses it; lock is held on entry and
    // on return, released meanwhile.
    void ParseNext(std::unique_lock<std::mutex>& lock);

    std::mutex mLock;
    std::condition_variable mWorkArrived;
    std::condition_variable mWorkDone;
    std::deque<clsJob> mJobs;    // oldest first; a thread parses the first unclaimed one
    std::size_t mUnclaimed = 0;  // jobs at the back that no thread has started to parse
    std::size_t mPending = 0;
    bool mStopping = false;
    std::thread mWorker;  // last: started once the members above exist
};
