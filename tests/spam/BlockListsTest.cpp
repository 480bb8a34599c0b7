// The block-list checks and their DNS client against a real dnsmasq (tests/peers/dnsmasq.sh,
// whose zones are listed there), and against scripted UDP peers for what a real server will not
// do on request: stray datagrams and silence. The cache's hours pass on an injected clock.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <thread>

#include "spam/clsBlockLists.h"
#include "support/TestSupport.h"

namespace {

using namespace std::chrono_literals;
using Bytes = std::vector<std::uint8_t>;
constexpr std::int64_t kLifetime = clsDnsCache::kLifetimeMilliseconds;

const std::string kDnsmasq = "sh " CORVEL_FIXTURES "/../peers/dnsmasq.sh ";
// The query for "a.b" in zone "z", byte for byte.
const Bytes kQuery = {0x11, 0xDF, 1, 0,   0, 1,   0, 0, 0, 0, 0, 0,
                      1,    'a',  1, 'b', 1, 'z', 0, 0, 1, 0, 1};

bool Logged(const clsTestEnvironment& environment, const std::string& line) {
    return environment.LogText().find(line + "\n") != std::string::npos;
}

// The answer to kQuery with the A record 127.0.0.<last>, then byte `at` set to `value`.
Bytes Answer(std::uint8_t last, std::size_t at = 3, std::uint8_t value = 0x80) {
    Bytes answer = kQuery;
    answer.insert(answer.end(), {0xC0, 12, 0, 1, 0, 1, 0, 0, 0, 60, 0, 4, 127, 0, 0, last});
    answer[2] = 0x81;
    answer[7] = 1;
    answer[at] = value;
    return answer;
}

// A UDP socket bound to a free port of 127.0.0.1; Port() is 0 when it could not bind.
class clsUdpSocket {
public:
    clsUdpSocket() : mSocket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        const timeval wait{5, 0};  // a scripted peer waits no longer for its query
        ::setsockopt(mSocket, SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof wait);
        sockaddr_in bound{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
        socklen_t length = sizeof bound;
        if (::bind(mSocket, reinterpret_cast<sockaddr*>(&bound), length) == 0 &&
            ::getsockname(mSocket, reinterpret_cast<sockaddr*>(&bound), &length) == 0) {
            mPort = ntohs(bound.sin_port);
        }
    }
    ~clsUdpSocket() { ::close(mSocket); }
    clsUdpSocket(const clsUdpSocket&) = delete;
    clsUdpSocket& operator=(const clsUdpSocket&) = delete;

    int Socket() const { return mSocket; }
    int Port() const { return mPort; }
    std::string Server() const { return "127.0.0.1#" + std::to_string(mPort); }

private:
    int mSocket;
    int mPort = 0;
};

// A private dnsmasq for each test. It logs a query before it answers (its logging is not
// asynchronous), so once a lookup has returned, the query is in the log.
class BlockListsAgainstDnsmasq : public ::testing::Test {
protected:
    void SetUp() override {
        if (!std::filesystem::exists("/usr/sbin/dnsmasq")) {
            GTEST_SKIP() << "needs dnsmasq (scripts/install-deps.sh installs it)";
        }
        ASSERT_EQ(std::system((kDnsmasq + "start '" + mState + "' " + mPort).c_str()), 0)
            << "see " << mState << "/dnsmasq.err";
    }
    void TearDown() override { std::system((kDnsmasq + "stop '" + mState + "'").c_str()); }

    clsBlockLists Lists(clsLogFile& log, std::string uriZone = "uri.test") {
        return clsBlockLists(log,
                             {{"127.0.0.1#" + mPort, 2000, "/none"}, std::move(uriZone), "ip.test"},
                             [this] { return mNow; });
    }
    // The A queries for name in dnsmasq's log.
    long QueriesFor(const std::string& name) const {
        const std::vector<std::string> lines = ReadLines(mState + "/queries.log");
        return std::count_if(lines.begin(), lines.end(), [&](const std::string& line) {
            return line.ends_with("query[A] " + name + " from 127.0.0.1");
        });
    }

    clsTestEnvironment mEnvironment;
    const std::string mState = (mEnvironment.Folder.Path() / "dnsmasq").string();
    const std::string mPort = std::to_string(clsUdpSocket().Port());
    std::int64_t mNow = 5000;
};

// Counts its calls; a name starting "fail" fails, "throw" throws, others give 127.0.0.<calls>.
clsDnsCache::Resolver CountingResolver(int& calls) {
    return [&calls](std::string_view name, bool& failed) {
        ++calls;
        failed = name.starts_with("fail");
        if (name == "throw") {
            throw std::runtime_error("resolver broke");
        }
        return failed ? std::string() : "127.0.0." + std::to_string(calls);
    };
}

}  // namespace

TEST(BlockListsDomain, CutsHostsToTheirRegisteredDomain) {
    struct Case {
        std::string_view Host, Expected;
    };
    for (const Case& c :
         {Case{"www.a.b.example.com", "example.com"}, Case{"www.example.co.uk", "example.co.uk"},
          Case{"WWW.Example.ORG.nz.", "example.org.nz"},
          // A listed top label keeps two labels even under a public second level; a top label
          // that is not two letters is no country's.
          Case{"shop.example.co.dk", "co.dk"}, Case{"a.example.co.c0", "co.c0"},
          Case{"co.uk", "co.uk"}, Case{"192.0.2.1", "192.0.2.1"}, Case{"a..example.com", ""}}) {
        SCOPED_TRACE(c.Host);
        EXPECT_EQ(clsBlockLists::RegisteredDomain(c.Host), c.Expected);
    }
}

TEST_F(BlockListsAgainstDnsmasq, ListedDomainsAndAddressesAreFoundWithTheirCodes) {
    struct Case {
        bool IsAddress;
        std::string_view Input;
        std::string_view Code;  // "" when not listed
        std::size_t Queries;    // none for what is no host or no address
    };
    for (const Case& c :
         {Case{false, "www.spam-domain.com", "2", 1}, Case{false, "mail.clean-domain.org", "", 1},
          Case{false, "www.refusing.com", "", 1},  // 127.255.255.254: a refusal
          Case{false, "www.hijacked.com", "", 1},  // an address outside 127/8
          Case{false, "www..spam-domain.com", "", 0}, Case{true, "127.0.0.2", "10", 1},
          Case{true, "127.0.0.3", "", 1}, Case{true, "300.0.0.2", "", 0},
          Case{true, "127.0.0.02", "", 0}, Case{true, "127.0.0", "", 0},
          Case{true, "1.2.3.x", "", 0}}) {
        SCOPED_TRACE(c.Input);
        clsTestEnvironment environment;
        clsBlockLists lists = Lists(environment.Log);
        std::string code = "untouched";
        const bool listed =
            c.IsAddress ? lists.IsIPListed(c.Input, &code) : lists.IsSURBLListed(c.Input);
        EXPECT_EQ(listed, !c.Code.empty());
        EXPECT_EQ(code, c.IsAddress && listed ? c.Code : "untouched");
        EXPECT_EQ(Logged(environment, " listed with code " + std::string(c.Code)), listed);
        EXPECT_EQ(lists.QueriesSent(), c.Queries);
    }
    // Two addresses, in whichever order dnsmasq gives them: all are logged, the first decides.
    clsBlockLists lists = Lists(mEnvironment.Log);
    EXPECT_TRUE(lists.IsSURBLListed("multi"));
    const std::string prefix = "SpamFilter->IsSURBLListed: ";
    const bool twoFirst = Logged(mEnvironment, prefix + "Result 127.0.0.2, 127.0.0.4");
    EXPECT_TRUE(twoFirst || Logged(mEnvironment, prefix + "Result 127.0.0.4, 127.0.0.2"));
    EXPECT_TRUE(Logged(mEnvironment, prefix + "multi listed with code " + (twoFirst ? "2" : "4")));
    // A switched-off check sends nothing.
    clsBlockLists off(mEnvironment.Log, {{"127.0.0.1#" + mPort, 2000}, "", ""});
    EXPECT_FALSE(off.IsSURBLListed("www.spam-domain.com") || off.IsIPListed("127.0.0.2"));
    EXPECT_EQ(off.QueriesSent(), 0u);
}

TEST_F(BlockListsAgainstDnsmasq, WithinFourHoursOnlyAFailedLookupIsAskedAgain) {
    clsBlockLists lists = Lists(mEnvironment.Log);
    clsBlockLists refused = Lists(mEnvironment.Log, "refused.test");  // outside dnsmasq's zones
    // Three uses of each name, spread over just under four hours.
    for (const char* host : {"www.spam-domain.com", "SPAM-DOMAIN.COM.", "spam-domain.com"}) {
        EXPECT_TRUE(lists.IsSURBLListed(host)) << host;
        EXPECT_FALSE(lists.IsSURBLListed("clean-domain.org"));  // "no such name" is kept too
        EXPECT_TRUE(lists.IsIPListed("127.0.0.2"));
        EXPECT_FALSE(refused.IsSURBLListed(host));
        mNow += kLifetime / 2 - 1;
    }
    EXPECT_EQ(lists.QueriesSent(), 3u);
    EXPECT_EQ(refused.QueriesSent(), 3u);
    EXPECT_EQ(QueriesFor("spam-domain.com.uri.test"), 1);
    EXPECT_EQ(QueriesFor("clean-domain.org.uri.test"), 1);
    EXPECT_EQ(QueriesFor("2.0.0.127.ip.test"), 1);
    EXPECT_EQ(QueriesFor("spam-domain.com.refused.test"), 3);
}

TEST(DnsClient, TakesOnlyTheAnswerToItsQuestionFromItsServer) {
    // Each stray, if taken, would fail the lookup or give 127.0.0.66: an answer from another
    // port, with another ID, to another question, and the query itself. The answer that counts
    // spells the question in capitals, as some resolvers do.
    const std::vector<std::pair<bool, Bytes>> replies = {{true, Answer(66)},
                                                         {false, Answer(66, 1, 0xDE)},
                                                         {false, Answer(66, 13, 'c')},
                                                         {false, kQuery},
                                                         {false, Answer(9, 13, 'A')}};
    clsTestEnvironment environment;
    const clsUdpSocket server, stranger;
    Bytes query(4000);
    std::thread peer([&] {
        sockaddr_in client{};
        socklen_t length = sizeof client;
        const ssize_t received = ::recvfrom(server.Socket(), query.data(), query.size(), 0,
                                            reinterpret_cast<sockaddr*>(&client), &length);
        query.resize(static_cast<std::size_t>(std::max<ssize_t>(received, 0)));
        for (const auto& [fromStranger, datagram] : replies) {
            ::sendto((fromStranger ? stranger : server).Socket(), datagram.data(), datagram.size(),
                     0, reinterpret_cast<sockaddr*>(&client), length);
        }
    });
    bool failed = true;
    EXPECT_EQ(clsDnsClient(environment.Log, {server.Server(), 1000}).Lookup("a.b", "z", &failed),
              "127.0.0.9");
    EXPECT_FALSE(failed);
    peer.join();
    EXPECT_EQ(query, kQuery);
}

TEST(DnsClient, AFailedLookupCostsTheTimeOutAtMost) {
    const clsUdpSocket silent;  // bound, never read
    // The others are no usable server and fail at once: none in the missing resolv.conf, a host
    // name (which would need DNS itself), a port out of range.
    for (const std::string& server :
         std::vector<std::string>{silent.Server(), "", "localhost", "127.0.0.1#65536"}) {
        SCOPED_TRACE(server);
        const bool isSilent = server == silent.Server();
        clsTestEnvironment environment;
        clsDnsClient client(environment.Log, {server, 300, environment.Folder.Path() / "none"});
        bool failed = false;
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(client.Lookup("a.b", "z", &failed), "");
        const auto elapsed = std::chrono::steady_clock::now() - start;
        EXPECT_TRUE(failed);
        EXPECT_GE(elapsed, isSilent ? 300ms : 0ms);
        EXPECT_LT(elapsed, isSilent ? 500ms : 100ms);
        EXPECT_TRUE(Logged(environment, isSilent ? "Problem receiving"
                                                 : "Failed to connect to DNS server: " + server));
    }
}

TEST(DnsClient, FindsTheFirstNameServer) {
    const clsTempFolder folder;
    std::ofstream(folder.Path() / "resolv.conf")
        << "# nameserver 192.0.2.9\nnameservers 192.0.2.5\noptions ndots:2\nnameserver\n"
           " nameserver\t2001:db8::1  # office\nnameserver 192.0.2.2\n";
    EXPECT_EQ(clsDnsClient::FirstNameServer(folder.Path() / "resolv.conf"), "2001:db8::1");
}

TEST(CachedDNS, AResultLivesFourHoursEvenWhereTheClockWraps) {
    // The clock is kept in ten digits: the last two starts cross 10^10 during the entry's life.
    for (const std::int64_t start : {0LL, 9'999'999'000LL, 19'995'000'000LL}) {
        SCOPED_TRACE(start);
        clsTestEnvironment environment;
        std::int64_t now = start;
        int calls = 0;
        clsDnsCache cache(environment.Log, CountingResolver(calls), [&now] { return now; });
        // Alive at once, before the wrap and just before its end; asked again at its end.
        for (const std::int64_t later : {0L, 500L, kLifetime - 1, kLifetime}) {
            now = start + later;
            EXPECT_EQ(cache.CachedDNS("n.test"), later < kLifetime ? "127.0.0.1" : "127.0.0.2");
        }
        EXPECT_TRUE(Logged(environment,
                           "SpamFilter->CachedDNS: timeout expired for n.test, checking again"));
    }
}

TEST(CachedDNS, FailuresAreAskedAgainAndAFullCacheDropsThemFirst) {
    clsTestEnvironment environment;
    int calls = 0;
    clsDnsCache cache(environment.Log, CountingResolver(calls));
    EXPECT_EQ(cache.CachedDNS("throw"), "");
    EXPECT_EQ(cache.CachedDNS("throw"), "");
    EXPECT_EQ(cache.CachedDNS("kept"), "127.0.0.3");
    for (std::size_t i = 1; i < clsDnsCache::kMaxEntries; ++i) {
        cache.CachedDNS("fail" + std::to_string(i));
    }
    cache.CachedDNS("fail-new");  // full: the failures are swept out, the live entry stays
    EXPECT_EQ(cache.CachedDNS("kept"), "127.0.0.3");
    // Full of live entries: everything goes, so "kept" is asked again.
    for (std::size_t i = 0; i < clsDnsCache::kMaxEntries; ++i) {
        cache.CachedDNS("live" + std::to_string(i));
    }
    const std::string again = cache.CachedDNS("kept");
    EXPECT_EQ(again, "127.0.0." + std::to_string(calls));
}
