#include "spam/clsBlockLists.h"

#include <algorithm>
#include <array>
#include <exception>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "foundation/CommonHelpers.h"

namespace {

// Top labels under which the registered domain is always the last two labels, even where the
// label is a country's.
constexpr std::array<std::string_view, 11> kTwoLabelTops = {
    "de", "com", "arpa", "mobi", "music", "weather", "dk", "qc", "sa", "se", "net"};
// Second levels under which countries sell names ("example.co.uk", "example.com.au").
constexpr std::array<std::string_view, 13> kPublicSecondLevels = {
    "co", "com", "net", "org", "ac", "gov", "edu", "ne", "or", "go", "ltd", "plc", "gen"};

bool Contains(std::span<const std::string_view> list, std::string_view label) {
    return std::find(list.begin(), list.end(), label) != list.end();
}

bool IsCountryCode(std::string_view label) {
    return label.size() == 2 && std::all_of(label.begin(), label.end(), [](char letter) {
               return letter >= 'a' && letter <= 'z';
           });
}

std::vector<std::string_view> Split(std::string_view text, char separator) {
    std::vector<std::string_view> parts;
    for (std::size_t start = 0;;) {
        const std::size_t end = text.find(separator, start);
        parts.push_back(text.substr(start, end - start));
        if (end == text.npos) {
            return parts;
        }
        start = end + 1;
    }
}

// The four octets of a dotted quad, each 0-255 in decimal without leading zeros (so that one
// address has one query name); nullopt for any other text.
std::optional<std::vector<std::string_view>> Octets(std::string_view address) {
    std::vector<std::string_view> octets = Split(address, '.');
    if (octets.size() != 4) {
        return std::nullopt;
    }
    for (const std::string_view octet : octets) {
        if (octet.empty() || octet.size() > 3 ||
            octet.find_first_not_of("0123456789") != octet.npos ||
            (octet.size() > 1 && octet.front() == '0') || std::stoi(std::string(octet)) > 255) {
            return std::nullopt;
        }
    }
    return octets;
}

std::string Reversed(const std::vector<std::string_view>& octets) {
    std::string text;
    for (auto octet = octets.rbegin(); octet != octets.rend(); ++octet) {
        text += (text.empty() ? "" : ".") + std::string(*octet);
    }
    return text;
}

// 127.0.0.1 and 127.255.255.x are how lists answer a query they refuse (an open resolver, too
// many queries), never a listing: taking them as listings would make every message junk.
bool IsRefusal(std::string_view address) {
    return address == "127.0.0.1" || address.starts_with("127.255.255.");
}

}  // namespace

clsBlockLists::clsBlockLists(clsLogFile& log, clsBlockListSettings settings,
                             clsDnsCache::Clock clock)
    : mLog(log),
      mSettings(std::move(settings)),
      mClient(log, mSettings.Dns),
      mCache(
          log,
          [this](std::string_view name, bool& failed) {
              ++mQueriesSent;
              return mClient.Lookup(name, "", &failed);
          },
          std::move(clock)) {}

bool clsBlockLists::IsSURBLListed(std::string_view host) {
    try {
        const std::string domain = RegisteredDomain(host);
        if (mSettings.UriZone.empty() || domain.empty()) {
            return false;
        }
        // URI lists take an address in a link the way IP lists take one: octets reversed.
        const std::optional<std::vector<std::string_view>> octets = Octets(domain);
        const std::string subject = octets ? Reversed(*octets) : domain;
        return IsListed("IsSURBLListed", domain, subject + "." + mSettings.UriZone, nullptr);
    } catch (const std::exception& error) {
        mLog.AddErrorLog("SpamFilter->IsSURBLListed", error);
        return false;
    }
}

bool clsBlockLists::IsIPListed(std::string_view address, std::string* code) {
    try {
        const std::optional<std::vector<std::string_view>> octets = Octets(address);
        if (mSettings.IpZone.empty() || !octets) {
            return false;
        }
        return IsListed("IsIPListed", address, Reversed(*octets) + "." + mSettings.IpZone, code);
    } catch (const std::exception& error) {
        mLog.AddErrorLog("SpamFilter->IsIPListed", error);
        return false;
    }
}

bool clsBlockLists::IsListed(std::string_view procedure, std::string_view subject,
                             const std::string& name, std::string* code) {
    const std::string result = mCache.CachedDNS(name);
    const std::string_view first = std::string_view(result).substr(0, result.find(','));
    if (!first.starts_with("127.")) {
        return false;
    }
    const std::string prefix = "SpamFilter->" + std::string(procedure) + ": ";
    mLog.AddLog(prefix + "Result " + result, 1);
    if (IsRefusal(first)) {
        mLog.AddLog(prefix + "the list refused the query for " + std::string(subject) +
                    "; taken as not listed");
        return false;
    }
    const std::string listCode(first.substr(first.rfind('.') + 1));
    mLog.AddLog(prefix + std::string(subject) + " listed with code " + listCode, 1);
    if (code != nullptr) {
        *code = listCode;
    }
    return true;
}

std::string clsBlockLists::RegisteredDomain(std::string_view host) {
    try {
        std::string lower = AsciiLower(host);
        if (lower.ends_with('.')) {
            lower.pop_back();
        }
        const std::vector<std::string_view> labels = Split(lower, '.');
        if (std::any_of(labels.begin(), labels.end(), [](auto label) { return label.empty(); })) {
            return "";
        }
        const std::size_t count = labels.size();
        if (count <= 2 || Octets(lower)) {
            return lower;
        }
        const std::string_view top = labels[count - 1];
        const bool underCountry = !Contains(kTwoLabelTops, top) && IsCountryCode(top) &&
                                  Contains(kPublicSecondLevels, labels[count - 2]);
        const std::string_view first = labels[count - (underCountry ? 3 : 2)];
        return lower.substr(static_cast<std::size_t>(first.data() - lower.data()));
    } catch (const std::exception&) {
        return "";
    }
}
