#pragma once
// clsDnsCache: CachedDNS, the lookup that both block-list checks go through. Results are kept
// per queried name as a text: "e", the expiry in milliseconds of a monotonic clock (ten
// decimal digits, zero-padded), then the result. A result lives 4 hours; a failed lookup is kept
// with expiry 0, so its next use queries again.
// Owned by clsBlockLists; event-loop thread only. Never throws: a resolver that throws counts
// as a failed lookup and gives "".

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "foundation/clsLogFile.h"

class clsDnsCache {
public:
    using Clock = std::function<std::int64_t()>;  // milliseconds, monotonic
    using Resolver = std::function<std::string(std::string_view name, bool& failed)>;

    static constexpr std::int64_t kLifetimeMilliseconds = 14'400'000;
    // Ten decimal digits of expiry: the clock is read modulo this range.
    static constexpr std::int64_t kClockRange = 10'000'000'000;
    // Beyond this many names, expired entries are swept out (and all, if that is not enough).
    static constexpr std::size_t kMaxEntries = 10'000;

    clsDnsCache(clsLogFile& log, Resolver resolver, Clock clock = SteadyMilliseconds);

    // The stored result for name while it lives, without any network traffic; otherwise (never
    // seen, expired, or failed last time) the resolver's answer, which is then stored.
    std::string CachedDNS(std::string_view name);

    // Milliseconds of the steady clock.
    static std::int64_t SteadyMilliseconds();

private:
    std::string Resolve(std::string_view name);
    bool IsLive(const std::string& entry, std::int64_t now) const;
    void MakeRoom(std::int64_t now);

    clsLogFile& mLog;
    Resolver mResolver;
    Clock mClock;
    std::map<std::string, std::string, std::less<>> mEntries;
};
