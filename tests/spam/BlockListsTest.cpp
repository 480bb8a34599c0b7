// The block-list checks and their DNS client against a real dnsmasq (tests/peers/dnsmasq.sh,
// whose zones are listed there), and against scripted UDP peers for what a real server will not
// do on request: stray datagrams, malformed answers, silence. The cache's four hours are crossed
// with an injected clock.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <functional>
#include <memory>
#include <stdexcept>
#include <thread>

#include "spam/clsBlockLists.h"
#include "spam/clsDnsMessage.h"
#include "support/TestSupport.h"

namespace {

using namespace std::chrono_literals;
using Bytes = std::vector<std::uint8_t>;
using Address = std::array<std::uint8_t, 4>;

const std::string kPeers = std::string(CORVEL_FIXTURES) + "/../peers";
// The query for "a.b" in zone "z", byte for byte.
const Bytes kQueryForABZ = {0x11, 0xDF, 0x01, 0x00, 0, 1,   0, 0, 0, 0, 0, 0,
                            1,    'a',  1,    'b',  1, 'z', 0, 0, 1, 0, 1};

bool LogHasLine(const clsTestEnvironment& environment, const std::string& ending) {
    for (const std::string& line : ReadLines(environment.Log.FullFilename())) {
        if (line.ends_with(ending)) {
            return true;
        }
    }
    return false;
}

// A UDP socket bound to a free port of the loopback address; Port() is 0 when it could not bind.
class clsUdpSocket {
public:
    explicit clsUdpSocket(int family = AF_INET)
        : mFamily(family), mSocket(::socket(family, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in6 address{};  // large enough for either family
        auto* ipv4 = reinterpret_cast<sockaddr_in*>(&address);
        if (family == AF_INET) {
            ipv4->sin_family = AF_INET;
            ipv4->sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        } else {
            address.sin6_family = AF_INET6;
            address.sin6_addr = in6addr_loopback;
        }
        auto* generic = reinterpret_cast<sockaddr*>(&address);
        socklen_t length = sizeof address;
        if (::bind(mSocket, generic, length) == 0 &&
            ::getsockname(mSocket, generic, &length) == 0) {
            mPort = ntohs(family == AF_INET ? ipv4->sin_port : address.sin6_port);
        }
    }
    ~clsUdpSocket() { ::close(mSocket); }
    clsUdpSocket(const clsUdpSocket&) = delete;
    clsUdpSocket& operator=(const clsUdpSocket&) = delete;

    int Socket() const { return mSocket; }
    int Port() const { return mPort; }
    std::string Server() const {
        return (mFamily == AF_INET ? "127.0.0.1#" : "::1#") + std::to_string(mPort);
    }

private:
    int mFamily;
    int mSocket;
    int mPort = 0;
};

// The query made into an answer: a response with rcode, and A records naming the question.
Bytes AnswerTo(Bytes query, const std::vector<Address>& addresses, std::uint8_t rcode = 0) {
    query[2] = 0x81;
    query[3] = static_cast<std::uint8_t>(0x80 | rcode);
    query[7] = static_cast<std::uint8_t>(addresses.size());
    for (const Address& address : addresses) {
        query.insert(query.end(), {0xC0, 12, 0, 1, 0, 1, 0, 0, 0, 60, 0, 4});
        query.insert(query.end(), address.begin(), address.end());
    }
    return query;
}

struct clsScriptedReply {
    bool FromStranger;  // sent from another port than the one queried
    std::function<Bytes(const Bytes& query)> Make;
};

// Waits (on its own thread) for one query, then sends the scripted datagrams back to its sender.
class clsScriptedDnsPeer {
public:
    clsScriptedDnsPeer(int family, std::vector<clsScriptedReply> replies)
        : mServer(family), mStranger(family), mThread([this, replies] { Serve(replies); }) {}
    ~clsScriptedDnsPeer() { Finish(); }
    clsScriptedDnsPeer(const clsScriptedDnsPeer&) = delete;
    clsScriptedDnsPeer& operator=(const clsScriptedDnsPeer&) = delete;

    const clsUdpSocket& Server() const { return mServer; }
    const Bytes& ReceivedQuery() {
        Finish();
        return mQuery;
    }

private:
    void Finish() {
        if (mThread.joinable()) {
            mThread.join();
        }
    }
    void Serve(const std::vector<clsScriptedReply>& replies) {
        pollfd watch{mServer.Socket(), POLLIN, 0};
        sockaddr_in6 client{};
        socklen_t length = sizeof client;
        Bytes buffer(4000);
        const ssize_t received = ::poll(&watch, 1, 5000) == 1
                                     ? ::recvfrom(mServer.Socket(), buffer.data(), buffer.size(), 0,
                                                  reinterpret_cast<sockaddr*>(&client), &length)
                                     : -1;
        mQuery.assign(buffer.begin(), buffer.begin() + std::max<ssize_t>(received, 0));
        for (const clsScriptedReply& reply : replies) {
            const Bytes datagram = reply.Make(mQuery);
            ::sendto((reply.FromStranger ? mStranger : mServer).Socket(), datagram.data(),
                     datagram.size(), 0, reinterpret_cast<sockaddr*>(&client), length);
        }
    }

    clsUdpSocket mServer;
    clsUdpSocket mStranger;
    Bytes mQuery;
    std::thread mThread;
};

clsScriptedReply Answer(std::vector<Address> addresses, std::uint8_t rcode = 0) {
    return {false, [=](const Bytes& query) { return AnswerTo(query, addresses, rcode); }};
}
clsScriptedReply Changed(std::function<void(Bytes&)> change) {
    return {false, [=](const Bytes& query) {
                Bytes answer = AnswerTo(query, {{127, 0, 0, 66}});
                change(answer);
                return answer;
            }};
}

// A private dnsmasq on a free port, stopped with the object.
class clsDnsmasqPeer {
public:
    clsDnsmasqPeer() : mPort(clsUdpSocket().Port()) {
        mStarted = std::system(("sh " + kPeers + "/dnsmasq.sh start '" + State() + "' " +
                                std::to_string(mPort))
                                   .c_str()) == 0;
    }
    ~clsDnsmasqPeer() {
        if (mStarted) {
            std::system(("sh " + kPeers + "/dnsmasq.sh stop '" + State() + "'").c_str());
        }
    }
    clsDnsmasqPeer(const clsDnsmasqPeer&) = delete;
    clsDnsmasqPeer& operator=(const clsDnsmasqPeer&) = delete;

    bool Started() const { return mStarted; }
    std::string Server() const { return "127.0.0.1#" + std::to_string(mPort); }
    std::string State() const { return (mFolder.Path() / "dnsmasq").string(); }

    // The A queries for name in the server's log. A marker query goes last and is awaited, so
    // every line of the queries before it is in the log.
    int QueriesFor(const std::string& name) {
        const std::string marker = "marker" + std::to_string(++mMarkers) + ".uri.test";
        const Bytes query = clsDnsMessage::BuildQuery(marker);
        const clsUdpSocket sender;
        sockaddr_in server{};
        server.sin_family = AF_INET;
        server.sin_port = htons(static_cast<std::uint16_t>(mPort));
        server.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        ::sendto(sender.Socket(), query.data(), query.size(), 0,
                 reinterpret_cast<sockaddr*>(&server), sizeof server);
        for (int wait = 0; wait < 100 && Count(marker) == 0; ++wait) {
            std::this_thread::sleep_for(20ms);
        }
        return Count(name);
    }

private:
    int Count(const std::string& name) const {
        int count = 0;
        for (const std::string& line : ReadLines(State() + "/queries.log")) {
            count += line.ends_with("query[A] " + name + " from 127.0.0.1") ? 1 : 0;
        }
        return count;
    }

    clsTempFolder mFolder;
    int mPort;
    bool mStarted = false;
    int mMarkers = 0;
};

class BlockListsAgainstDnsmasq : public ::testing::Test {
protected:
    void SetUp() override {
        if (!std::filesystem::exists("/usr/sbin/dnsmasq")) {
            GTEST_SKIP() << "needs dnsmasq (scripts/install-deps.sh installs it)";
        }
        mDnsmasq = std::make_unique<clsDnsmasqPeer>();
        ASSERT_TRUE(mDnsmasq->Started()) << "see " << mDnsmasq->State() << "/dnsmasq.err";
    }
    clsBlockListSettings Settings(std::string uriZone = "uri.test",
                                  std::string ipZone = "ip.test") const {
        return {{mDnsmasq->Server(), 2000, "/nonexistent"}, std::move(uriZone), std::move(ipZone)};
    }
    std::unique_ptr<clsBlockLists> Lists(const clsBlockListSettings& settings) {
        return std::make_unique<clsBlockLists>(mEnvironment.Log, settings, [this] { return mNow; });
    }

    clsTestEnvironment mEnvironment;
    std::unique_ptr<clsDnsmasqPeer> mDnsmasq;
    std::int64_t mNow = 5000;
};

}  // namespace

TEST(BlockListsDomain, CutsHostsToTheirRegisteredDomain) {
    struct Case {
        std::string_view Host, Expected;
    };
    for (const Case& c :
         {Case{"www.a.b.example.com", "example.com"}, Case{"www.example.co.uk", "example.co.uk"},
          Case{"x.example.com.au", "example.com.au"}, Case{"shop.example.de", "example.de"},
          Case{"WWW.Example.ORG.nz.", "example.org.nz"},
          Case{"news.example.ne.jp", "example.ne.jp"},
          // A listed top label keeps two labels even under a public second level.
          Case{"shop.example.co.dk", "co.dk"}, Case{"www.example.io", "example.io"},
          Case{"a.b.example.c0", "example.c0"}, Case{"example.co.uk", "example.co.uk"},
          Case{"co.uk", "co.uk"}, Case{"localhost", "localhost"}, Case{"192.0.2.1", "192.0.2.1"},
          Case{"a..example.com", ""}, Case{"www.example.com..", ""}, Case{"", ""}}) {
        SCOPED_TRACE(c.Host);
        EXPECT_EQ(clsBlockLists::RegisteredDomain(c.Host), c.Expected);
    }
}

TEST_F(BlockListsAgainstDnsmasq, ListedDomainsAndAddressesAreFoundWithTheirCodes) {
    struct Case {
        bool IsAddress;
        std::string_view Input;
        std::string_view Result;  // logged when it begins with 127
        std::string_view Subject;
        std::string_view Code;  // "" when not listed
    };
    for (const Case& c :
         {Case{false, "www.spam-domain.com", "127.0.0.2", "spam-domain.com", "2"},
          Case{false, "Shop.Other-Spam.CO.UK.", "127.0.0.4", "other-spam.co.uk", "4"},
          Case{false, "multi", "127.0.0.2, 127.0.0.4", "multi", "2"},
          Case{false, "mail.clean-domain.org", "", "", ""},
          Case{false, "www.refusing.com", "127.255.255.254", "", ""},
          Case{true, "127.0.0.2", "127.0.0.10", "127.0.0.2", "10"},
          Case{true, "127.0.0.3", "", "", ""}}) {
        SCOPED_TRACE(c.Input);
        clsTestEnvironment environment;
        clsBlockLists lists(environment.Log, Settings());
        std::string code = "untouched";
        const bool listed =
            c.IsAddress ? lists.IsIPListed(c.Input, &code) : lists.IsSURBLListed(c.Input);
        const std::string procedure = c.IsAddress ? "IsIPListed: " : "IsSURBLListed: ";
        EXPECT_EQ(listed, !c.Code.empty());
        EXPECT_EQ(code, c.IsAddress && listed ? c.Code : "untouched");
        EXPECT_EQ(LogHasLine(environment, procedure + "Result " + std::string(c.Result)),
                  !c.Result.empty());
        EXPECT_EQ(LogHasLine(environment, procedure + std::string(c.Subject) +
                                              " listed with code " + std::string(c.Code)),
                  listed);
        EXPECT_EQ(lists.QueriesSent(), 1u);
    }
}

TEST_F(BlockListsAgainstDnsmasq, NoQueryForSwitchedOffChecksOrTextsThatAreNotHostsOrAddresses) {
    clsBlockLists lists(mEnvironment.Log, Settings());
    for (const char* address : {"300.0.0.2", "127.0.0.02", "127.0.0", "127.0.0.2.", "::1", ""}) {
        EXPECT_FALSE(lists.IsIPListed(address)) << address;
    }
    EXPECT_FALSE(lists.IsSURBLListed("www..spam-domain.com"));
    clsBlockLists switchedOff(mEnvironment.Log, Settings("", ""));
    EXPECT_FALSE(switchedOff.IsSURBLListed("www.spam-domain.com"));
    EXPECT_FALSE(switchedOff.IsIPListed("127.0.0.2"));
    EXPECT_EQ(lists.QueriesSent() + switchedOff.QueriesSent(), 0u);
    EXPECT_EQ(mDnsmasq->QueriesFor("spam-domain.com.uri.test"), 0);
}

TEST_F(BlockListsAgainstDnsmasq, AnswersAreReusedForFourHoursWithoutAPacket) {
    const auto lists = Lists(Settings());
    for (const char* host : {"www.spam-domain.com", "spam-domain.com", "SPAM-DOMAIN.COM."}) {
        EXPECT_TRUE(lists->IsSURBLListed(host)) << host;
        EXPECT_FALSE(lists->IsSURBLListed("clean-domain.org"));  // "no such name" is kept too
        EXPECT_TRUE(lists->IsIPListed("127.0.0.2"));
    }
    mNow += clsDnsCache::kLifetimeMilliseconds - 1;
    EXPECT_TRUE(lists->IsSURBLListed("spam-domain.com"));
    EXPECT_EQ(lists->QueriesSent(), 3u);
    EXPECT_EQ(mDnsmasq->QueriesFor("spam-domain.com.uri.test"), 1);
    EXPECT_EQ(mDnsmasq->QueriesFor("clean-domain.org.uri.test"), 1);
    EXPECT_EQ(mDnsmasq->QueriesFor("2.0.0.127.ip.test"), 1);

    mNow += 1;
    EXPECT_TRUE(lists->IsSURBLListed("spam-domain.com"));
    EXPECT_EQ(lists->QueriesSent(), 4u);
    EXPECT_EQ(mDnsmasq->QueriesFor("spam-domain.com.uri.test"), 2);
    EXPECT_TRUE(LogHasLine(mEnvironment,
                           "SpamFilter->CachedDNS: timeout expired for "
                           "spam-domain.com.uri.test, checking again"));
}

TEST_F(BlockListsAgainstDnsmasq, AFailedLookupIsRetriedAtItsNextUse) {
    const auto lists = Lists(Settings("refused.test"));  // outside dnsmasq's zones: refused
    for (int use = 0; use < 3; ++use) {
        EXPECT_FALSE(lists->IsSURBLListed("spam-domain.com"));
    }
    EXPECT_EQ(lists->QueriesSent(), 3u);
    EXPECT_EQ(mDnsmasq->QueriesFor("spam-domain.com.refused.test"), 3);
    EXPECT_TRUE(LogHasLine(mEnvironment, "Problem receiving"));
    EXPECT_TRUE(LogHasLine(mEnvironment,
                           "SpamFilter->CachedDNS: timeout expired for "
                           "spam-domain.com.refused.test, checking again"));
}

TEST(DnsClient, TakesOnlyTheAnswerToItsQuestionFromItsServer) {
    const clsScriptedReply nine = Answer({{127, 0, 0, 9}});
    struct Case {
        const char* What;
        std::vector<clsScriptedReply> Replies;
        std::string Expected;
        bool Failed;
    };
    for (const Case& c : {
             Case{"two addresses",
                  {Answer({{127, 0, 0, 2}, {10, 1, 2, 3}})},
                  "127.0.0.2, 10.1.2.3",
                  false},
             Case{"a stranger first",
                  {{true, Answer({{127, 0, 0, 66}}).Make}, nine},
                  "127.0.0.9",
                  false},
             Case{"another ID first",
                  {Changed([](Bytes& a) { a[1] ^= 1; }), nine},
                  "127.0.0.9",
                  false},
             Case{"another question first",
                  {Changed([](Bytes& a) { a[13] = 'c'; }), nine},
                  "127.0.0.9",
                  false},
             Case{"its own query first",
                  {{false, [](const Bytes& q) { return q; }}, nine},
                  "127.0.0.9",
                  false},
             Case{"the question in capitals",
                  {Changed([](Bytes& a) {
                      a[13] = 'A';
                      a.back() = 9;
                  })},
                  "127.0.0.9",
                  false},
             Case{"no such name", {Answer({}, 3)}, "", false},
             Case{"server failure", {Answer({}, 2)}, "", true},
             Case{"a malformed answer", {Changed([](Bytes& a) { a.pop_back(); })}, "", true},
         }) {
        SCOPED_TRACE(c.What);
        clsTestEnvironment environment;
        clsScriptedDnsPeer peer(AF_INET, c.Replies);
        clsDnsClient client(environment.Log, {peer.Server().Server(), 1000});
        bool failed = !c.Failed;
        EXPECT_EQ(client.Lookup("a.b", "z", &failed), c.Expected);
        EXPECT_EQ(failed, c.Failed);
        EXPECT_EQ(LogHasLine(environment, "Problem receiving"), c.Failed);
        EXPECT_EQ(peer.ReceivedQuery(), kQueryForABZ);
    }
}

TEST(DnsClient, AnIPv6ServerIsAskedLikeAnIPv4One) {
    clsTestEnvironment environment;
    clsScriptedDnsPeer peer(AF_INET6, {Answer({{127, 0, 0, 7}})});
    if (peer.Server().Port() == 0) {
        GTEST_SKIP() << "no IPv6 loopback here";
    }
    clsDnsClient client(environment.Log, {peer.Server().Server(), 1000});
    EXPECT_EQ(client.Lookup("a.b", "z"), "127.0.0.7");
}

TEST(DnsClient, ASilentServerCostsTheTimeOutAndNoMore) {
    clsTestEnvironment environment;
    const clsUdpSocket silent;  // bound, never read
    clsDnsClient client(environment.Log, {silent.Server(), 300});
    bool failed = false;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(client.Lookup("a.b", "z", &failed), "");
    const auto elapsed = std::chrono::steady_clock::now() - start;
    EXPECT_TRUE(failed);
    EXPECT_GE(elapsed, 300ms);
    EXPECT_LT(elapsed, 500ms);
    EXPECT_TRUE(LogHasLine(environment, "Problem receiving"));
}

TEST(DnsClient, UnusableServersFailAtOnceAndAreNamedInTheLog) {
    for (const char* server : {"", "dns.example.com", "127.0.0.1#0", "127.0.0.1#65536",
                               "127.0.0.1#", "#53", "127.0.0.1#5x"}) {
        SCOPED_TRACE(server);
        clsTestEnvironment environment;
        clsDnsClient client(environment.Log,
                            {server, 2000, environment.Folder.Path() / "no-resolv.conf"});
        bool failed = false;
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(client.Lookup("a.b", "z", &failed), "");
        EXPECT_LT(std::chrono::steady_clock::now() - start, 100ms);
        EXPECT_TRUE(failed);
        EXPECT_TRUE(
            LogHasLine(environment, "Failed to connect to DNS server: " + std::string(server)));
    }
}

TEST(DnsClient, FindsTheFirstNameServerAndResolvesHosts) {
    struct Case {
        std::string_view File, Expected;
    };
    clsTempFolder folder;
    for (const Case& c : {Case{"nameserver 192.0.2.1\nnameserver 192.0.2.2\n", "192.0.2.1"},
                          Case{"# nameserver 192.0.2.9\n; nameserver 192.0.2.8\nsearch x.org\n"
                               " nameserver\t2001:db8::1  # office\n",
                               "2001:db8::1"},
                          Case{"nameservers 192.0.2.5\nnameserver 192.0.2.6", "192.0.2.6"},
                          Case{"options ndots:2\nnameserver\n", ""}}) {
        SCOPED_TRACE(c.File);
        std::ofstream(folder.Path() / "resolv.conf", std::ios::trunc) << c.File;
        EXPECT_EQ(clsDnsClient::FirstNameServer(folder.Path() / "resolv.conf"), c.Expected);
    }
    EXPECT_EQ(clsDnsClient::FirstNameServer(folder.Path() / "missing.conf"), "");
    for (const Case& c :
         {Case{"127.0.0.1", "127.0.0.1"}, Case{"localhost", "127.0.0.1"}, Case{"", ""}}) {
        EXPECT_EQ(clsDnsClient::ResolveHost(c.File), c.Expected) << c.File;
    }
}

TEST(CachedDNS, AResultLivesFourHoursEvenWhereTheClockWraps) {
    // The clock is kept in ten digits: the last two starts cross 10^10 during the entry's life.
    for (const std::int64_t start : {std::int64_t{0}, std::int64_t{123'456},
                                     std::int64_t{9'999'999'000}, std::int64_t{19'995'000'000}}) {
        SCOPED_TRACE(start);
        clsTestEnvironment environment;
        std::int64_t now = start;
        int calls = 0;
        clsDnsCache cache(
            environment.Log,
            [&calls](std::string_view, bool& failed) {
                failed = false;
                return "127.0.0." + std::to_string(++calls);
            },
            [&now] { return now; });
        EXPECT_EQ(cache.CachedDNS("n.test"), "127.0.0.1");
        // Still alive just before the wrap, and just before its end.
        for (const std::int64_t later :
             {std::int64_t{500}, clsDnsCache::kLifetimeMilliseconds - 1}) {
            now = start + later;
            EXPECT_EQ(cache.CachedDNS("n.test"), "127.0.0.1");
        }
        now = start + clsDnsCache::kLifetimeMilliseconds;
        EXPECT_EQ(cache.CachedDNS("n.test"), "127.0.0.2");
        EXPECT_TRUE(LogHasLine(
            environment, "SpamFilter->CachedDNS: timeout expired for n.test, checking again"));
    }
}

TEST(CachedDNS, FailuresAreAskedAgainAndAFullCacheDropsThemFirst) {
    clsTestEnvironment environment;
    int calls = 0;
    clsDnsCache cache(environment.Log, [&calls](std::string_view name, bool& failed) {
        ++calls;
        failed = name.starts_with("fail");
        if (name == "throw") {
            throw std::runtime_error("resolver broke");
        }
        return failed ? "" : "127.0.0.2";
    });
    EXPECT_EQ(cache.CachedDNS("throw"), "");
    EXPECT_EQ(cache.CachedDNS("throw"), "");
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(cache.CachedDNS("kept"), "127.0.0.2");
    for (std::size_t i = 1; i < clsDnsCache::kMaxEntries; ++i) {
        cache.CachedDNS("fail" + std::to_string(i));
    }
    cache.CachedDNS("fail-new");  // full: the failures are swept out, the live entry stays
    const int before = calls;
    EXPECT_EQ(cache.CachedDNS("kept"), "127.0.0.2");
    EXPECT_EQ(calls, before);
    // Full of live entries: everything goes, so "kept" is asked again.
    for (std::size_t i = 0; i < clsDnsCache::kMaxEntries; ++i) {
        cache.CachedDNS("live" + std::to_string(i));
    }
    EXPECT_EQ(cache.CachedDNS("kept"), "127.0.0.2");
    EXPECT_EQ(calls, before + static_cast<int>(clsDnsCache::kMaxEntries) + 1);
}
