#include "spam/clsDnsClient.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>
#include <utility>
#include <vector>

#include "spam/clsDnsMessage.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::string_view kDefaultPort = "53";

struct clsAddressInfoDeleter {
    void operator()(addrinfo* info) const { ::freeaddrinfo(info); }
};
using clsAddressInfo = std::unique_ptr<addrinfo, clsAddressInfoDeleter>;

// Closes the socket however the lookup ends.
class clsSocketGuard {
public:
    explicit clsSocketGuard(int descriptor) : mSocket(descriptor) {}
    ~clsSocketGuard() {
        if (mSocket >= 0) {
            ::close(mSocket);
        }
    }
    clsSocketGuard(const clsSocketGuard&) = delete;
    clsSocketGuard& operator=(const clsSocketGuard&) = delete;
    int Socket() const { return mSocket; }

private:
    int mSocket;
};

bool IsPort(std::string_view port) {
    if (port.empty() || port.size() > 5 || port.find_first_not_of("0123456789") != port.npos) {
        return false;
    }
    const long value = std::stol(std::string(port));
    return value >= 1 && value <= 65535;
}

// "addr" or "addr#port", the address numeric (IPv4, or IPv6 with an optional "%scope"); null
// when the text is not such a server. No name is resolved: the server must not need DNS.
clsAddressInfo ServerAddress(const std::string& server) {
    const std::size_t hash = server.rfind('#');
    const std::string host = server.substr(0, hash);
    const std::string port(hash == server.npos ? kDefaultPort : server.substr(hash + 1));
    if (host.empty() || !IsPort(port)) {
        return nullptr;
    }
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_DGRAM;
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
    addrinfo* found = nullptr;
    if (::getaddrinfo(host.c_str(), port.c_str(), &hints, &found) != 0) {
        return nullptr;
    }
    return clsAddressInfo(found);
}

// A connected UDP socket: the kernel then passes on only datagrams from the server's address
// and port, and a closed port shows as an error instead of silence.
int ConnectedSocket(const addrinfo& address) {
    const int descriptor = ::socket(address.ai_family, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor >= 0 && ::connect(descriptor, address.ai_addr, address.ai_addrlen) != 0) {
        ::close(descriptor);
        return -1;
    }
    return descriptor;
}

std::uint8_t LowerAscii(std::uint8_t byte) {
    return byte >= 'A' && byte <= 'Z' ? static_cast<std::uint8_t>(byte + ('a' - 'A')) : byte;
}

// Whether the datagram answers our query: its ID, a response, and our one question echoed.
// Every query has the same ID, so only the question ties an answer to its query.
bool AnswersQuery(std::span<const std::uint8_t> answer, std::span<const std::uint8_t> query) {
    constexpr std::size_t kFlags = 2;
    constexpr std::size_t kQuestionCount = 4;
    if (answer.size() < query.size() || (answer[kFlags] & 0x80) == 0 ||
        !std::equal(query.begin(), query.begin() + kFlags, answer.begin()) ||
        !std::equal(query.begin() + kQuestionCount, query.begin() + kQuestionCount + 2,
                    answer.begin() + kQuestionCount)) {
        return false;
    }
    const auto question = query.subspan(clsDnsMessage::kHeaderSize);
    return std::equal(question.begin(), question.end(), answer.begin() + clsDnsMessage::kHeaderSize,
                      [](std::uint8_t ours, std::uint8_t theirs) {
                          return LowerAscii(ours) == LowerAscii(theirs);
                      });
}

clsStatus ErrnoStatus(std::string_view step) {
    const int number = errno;
    return clsStatus::Error(clsStatus::Code::Io, std::string(step) + ": " + std::strerror(number),
                            number);
}

// Waits until the time-out for the answer to query; datagrams that answer something else are
// dropped.
clsStatus ReceiveAnswer(int descriptor, std::span<const std::uint8_t> query, milliseconds timeout,
                        std::vector<std::string>& addresses) {
    const steady_clock::time_point deadline = steady_clock::now() + timeout;
    std::array<std::uint8_t, clsDnsClient::kReceiveBufferSize> buffer{};
    for (;;) {
        const milliseconds left = std::chrono::ceil<milliseconds>(deadline - steady_clock::now());
        if (left.count() <= 0) {
            return clsStatus::Error(clsStatus::Code::Temporary,
                                    "no answer within " + std::to_string(timeout.count()) + " ms");
        }
        pollfd watch{descriptor, POLLIN, 0};
        const int ready = ::poll(&watch, 1, static_cast<int>(left.count()));
        if (ready < 0 && errno != EINTR) {
            return ErrnoStatus("poll");
        }
        if (ready <= 0) {
            continue;
        }
        const ssize_t received = ::recv(descriptor, buffer.data(), buffer.size(), 0);
        if (received < 0) {
            if (errno == EINTR || errno == EAGAIN) {
                continue;
            }
            return ErrnoStatus("recv");
        }
        const std::span<const std::uint8_t> answer(buffer.data(),
                                                   static_cast<std::size_t>(received));
        if (!AnswersQuery(answer, query)) {
            continue;
        }
        std::optional<std::vector<std::string>> parsed = clsDnsMessage::ParseAnswer(answer);
        if (!parsed) {
            return clsStatus::Error(clsStatus::Code::Corrupt, "malformed or error answer");
        }
        addresses = std::move(*parsed);
        return clsStatus::Ok();
    }
}

std::string Joined(const std::vector<std::string>& addresses) {
    std::string text;
    for (const std::string& address : addresses) {
        text += (text.empty() ? "" : ", ") + address;
    }
    return text;
}

}  // namespace

clsDnsClient::clsDnsClient(clsLogFile& log, clsDnsSettings settings)
    : mLog(log), mSettings(std::move(settings)) {
    if (mSettings.TimeoutMilliseconds < 1) {
        mSettings.TimeoutMilliseconds = kDefaultTimeoutMilliseconds;
    }
}

std::string clsDnsClient::Lookup(std::string_view host, std::string_view zone, bool* failed) {
    std::string addresses;
    bool ok = false;
    try {
        std::string name(host);
        if (!zone.empty()) {
            name += "." + std::string(zone);
        }
        const clsStatus status = Query(name, addresses);
        ok = status.IsOk();
        if (!ok) {
            mLog.AddErrorLog("DNS->Lookup: " + name, status);
        }
    } catch (const std::exception& error) {
        mLog.AddErrorLog("DNS->Lookup", error);
    }
    if (failed != nullptr) {
        *failed = !ok;
    }
    return ok ? addresses : std::string();
}

clsStatus clsDnsClient::Query(const std::string& name, std::string& addresses) {
    const std::vector<std::uint8_t> query = clsDnsMessage::BuildQuery(name);
    if (query.empty()) {
        return clsStatus::Error(clsStatus::Code::Invalid, "not a name that DNS can carry");
    }
    // Read at every lookup, so a laptop that changes networks follows its new server.
    const std::string server =
        mSettings.Server.empty() ? FirstNameServer(mSettings.ResolvConf) : mSettings.Server;
    const clsAddressInfo address = ServerAddress(server);
    const clsSocketGuard guard(address ? ConnectedSocket(*address) : -1);
    if (guard.Socket() < 0 || ::send(guard.Socket(), query.data(), query.size(), 0) !=
                                  static_cast<ssize_t>(query.size())) {
        mLog.AddLog("Failed to connect to DNS server: " + server);
        return clsStatus::Error(clsStatus::Code::Io, "no usable server \"" + server + "\"");
    }
    std::vector<std::string> found;
    const clsStatus status =
        ReceiveAnswer(guard.Socket(), query, milliseconds(mSettings.TimeoutMilliseconds), found);
    if (!status.IsOk()) {
        mLog.AddLog("Problem receiving");
        return status;
    }
    addresses = Joined(found);
    return clsStatus::Ok();
}

std::string clsDnsClient::ResolveHost(std::string_view host) {
    try {
        addrinfo hints{};
        hints.ai_family = AF_INET;
        hints.ai_socktype = SOCK_STREAM;  // one entry per address, not one per socket type
        addrinfo* found = nullptr;
        if (host.empty() ||
            ::getaddrinfo(std::string(host).c_str(), nullptr, &hints, &found) != 0) {
            return "";
        }
        const clsAddressInfo owned(found);
        std::array<char, INET_ADDRSTRLEN> text{};
        const auto* ipv4 = reinterpret_cast<const sockaddr_in*>(found->ai_addr);
        return ::inet_ntop(AF_INET, &ipv4->sin_addr, text.data(), text.size()) ? text.data() : "";
    } catch (const std::exception&) {
        return "";
    }
}

std::string clsDnsClient::FirstNameServer(const std::filesystem::path& resolvConf) {
    try {
        std::ifstream in(resolvConf);
        for (std::string line; std::getline(in, line);) {
            std::istringstream words(line);
            std::string keyword;
            std::string address;
            if (words >> keyword >> address && keyword == "nameserver") {
                return address;
            }
        }
    } catch (const std::exception&) {
        // An unreadable file is a missing server: the caller logs the failed connection.
    }
    return "";
}
