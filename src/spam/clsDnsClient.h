#pragma once
// clsDnsClient: Corvel's own DNS client for the block lists. One hand-built A query per lookup,
// sent over UDP to one server, the answer awaited with a time-out; and the platform resolver
// for ordinary host names.
// Owned by clsBlockLists; event-loop thread only (a lookup blocks its caller for at most the
// time-out). Never throws: a failed lookup is logged and gives "" with *failed set.

#include <filesystem>
#include <string>
#include <string_view>

#include "foundation/clsLogFile.h"
#include "foundation/clsStatus.h"

struct clsDnsSettings {
    std::string Server;  // "" = first nameserver of ResolvConf; "addr" or "addr#port"
    int TimeoutMilliseconds = 2000;
    std::filesystem::path ResolvConf = "/etc/resolv.conf";
};

class clsDnsClient {
public:
    static constexpr int kDefaultTimeoutMilliseconds = 2000;
    static constexpr std::size_t kReceiveBufferSize = 4000;

    // A time-out below 1 ms is taken as the default.
    clsDnsClient(clsLogFile& log, clsDnsSettings settings);

    // Queries host + "." + zone (host alone when zone is empty) and returns the A addresses of
    // the answer joined by ", "; "" when there are none or on failure. *failed (when given)
    // tells a failure (no server, no answer in time, a malformed or error answer) apart from an
    // answer without addresses.
    std::string Lookup(std::string_view host, std::string_view zone, bool* failed = nullptr);

    // The platform resolver's first IPv4 address for host as dotted text; "" on failure.
    static std::string ResolveHost(std::string_view host);

    // The address of the first "nameserver" line of a resolv.conf file; "" when there is none.
    static std::string FirstNameServer(const std::filesystem::path& resolvConf);

private:
    clsStatus Query(const std::string& name, std::string& addresses);

    clsLogFile& mLog;
    clsDnsSettings mSettings;
};
