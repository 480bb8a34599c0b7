#pragma once
// clsBlockLists: the two DNS block-list checks of the spam filter, following the public
// convention (a listed name resolves into 127.0.0.0/8): link domains against a URI list and
// sending servers' addresses against an IP list, both through one CachedDNS.
// Owned by clsSpamFilter; event-loop thread only. Never throws. Any failure (no server, no
// answer, a malformed answer, a list refusing the query) means "not listed": a message is never
// judged junk because a lookup failed.

#include <cstddef>
#include <string>
#include <string_view>

#include "foundation/clsLogFile.h"
#include "spam/clsDnsCache.h"
#include "spam/clsDnsClient.h"

struct clsBlockListSettings {
    clsDnsSettings Dns;
    std::string UriZone;  // "" switches the link check off
    std::string IpZone;   // "" switches the address check off
};

class clsBlockLists {
public:
    clsBlockLists(clsLogFile& log, clsBlockListSettings settings,
                  clsDnsCache::Clock clock = clsDnsCache::SteadyMilliseconds);
    clsBlockLists(const clsBlockLists&) = delete;
    clsBlockLists& operator=(const clsBlockLists&) = delete;

    // Whether host's registered domain is on the URI list (an IPv4 host is looked up with its
    // octets reversed). Logs "SpamFilter->IsSURBLListed: Result <result>" and
    // "SpamFilter->IsSURBLListed: <domain> listed with code <code>".
    bool IsSURBLListed(std::string_view host);

    // Whether a dotted-quad address is on the IP list (queried as its reversed octets); any
    // other text is not listed. *code (when given) receives the list's code when listed.
    bool IsIPListed(std::string_view address, std::string* code = nullptr);

    // Lower-cased host without a trailing "." cut to its registered domain: two labels, or
    // three under a country's public second level ("example.co.uk"). A dotted quad stays as it
    // is; "" when the host has an empty label.
    static std::string RegisteredDomain(std::string_view host);

    // Network lookups made (cache misses).
    std::size_t QueriesSent() const { return mQueriesSent; }

private:
    bool IsListed(std::string_view procedure, std::string_view subject, const std::string& name,
                  std::string* code);

    clsLogFile& mLog;
    clsBlockListSettings mSettings;
    clsDnsClient mClient;
    clsDnsCache mCache;
    std::size_t mQueriesSent = 0;
};
