#include "spam/clsDnsCache.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <string>
#include <utility>

namespace {

constexpr std::size_t kExpiryDigits = 10;
constexpr char kMarker = 'e';

std::int64_t Wrapped(std::int64_t milliseconds) {
    const std::int64_t wrapped = milliseconds % clsDnsCache::kClockRange;
    return wrapped < 0 ? wrapped + clsDnsCache::kClockRange : wrapped;
}

std::string Entry(std::int64_t expiry, std::string_view result) {
    std::string digits = std::to_string(expiry);
    return kMarker + std::string(kExpiryDigits - digits.size(), '0') + digits + std::string(result);
}

}  // namespace

clsDnsCache::clsDnsCache(clsLogFile& log, Resolver resolver, Clock clock)
    : mLog(log), mResolver(std::move(resolver)), mClock(std::move(clock)) {}

std::int64_t clsDnsCache::SteadyMilliseconds() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

std::string clsDnsCache::CachedDNS(std::string_view name) {
    try {
        const std::int64_t now = Wrapped(mClock());
        const auto found = mEntries.find(name);
        if (found != mEntries.end()) {
            if (IsLive(found->second, now)) {
                return found->second.substr(1 + kExpiryDigits);
            }
            mEntries.erase(found);
            mLog.AddLog("SpamFilter->CachedDNS: timeout expired for " + std::string(name) +
                            ", checking again",
                        1);
        }
        return Resolve(name);
    } catch (const std::exception& error) {
        mLog.AddErrorLog("SpamFilter->CachedDNS: " + std::string(name), error);
        return "";
    }
}

std::string clsDnsCache::Resolve(std::string_view name) {
    bool failed = true;
    std::string result;
    try {
        result = mResolver(name, failed);
    } catch (const std::exception& error) {
        mLog.AddErrorLog("SpamFilter->CachedDNS: " + std::string(name), error);
        failed = true;
        result.clear();
    }
    // Read after the lookup, which may have waited for its time-out.
    const std::int64_t now = Wrapped(mClock());
    MakeRoom(now);
    // Expiry 0 never lives; a success that lands on 0 on the dial lives one millisecond longer.
    const std::int64_t expiry =
        failed ? 0 : std::max<std::int64_t>(Wrapped(now + kLifetimeMilliseconds), 1);
    mEntries.insert_or_assign(std::string(name), Entry(expiry, result));
    return result;
}

// The clock is read modulo ten digits, so the expiry is compared on a dial: an entry lives while
// its expiry is less than half the dial ahead of now. 4 hours is far below half the dial (57
// days), so wrapping (after 115 days of uptime) never revives an expired entry.
bool clsDnsCache::IsLive(const std::string& entry, std::int64_t now) const {
    if (entry.size() < 1 + kExpiryDigits || entry.front() != kMarker) {
        return false;
    }
    const std::int64_t expiry = std::stoll(entry.substr(1, kExpiryDigits));
    const std::int64_t ahead = Wrapped(expiry - now);
    return expiry != 0 && ahead > 0 && ahead < kClockRange / 2;
}

void clsDnsCache::MakeRoom(std::int64_t now) {
    if (mEntries.size() < kMaxEntries) {
        return;
    }
    std::erase_if(mEntries, [&](const auto& entry) { return !IsLive(entry.second, now); });
    if (mEntries.size() >= kMaxEntries) {
        mEntries.clear();
    }
}
