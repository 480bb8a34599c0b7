#include "spam/ClassMailHeaderReader.h"

#include <algorithm>
#include <exception>

#include "foundation/clsRegExp.h"

namespace {

constexpr std::string_view kCrLf = "\r\n";

// Compiled once for every reader: a reader is made per message.
const clsRegExp& AngleBrackets() {
    static const clsRegExp pattern("<(.*?)>", true);
    return pattern;
}

const clsRegExp& EmailAddress() {
    static const clsRegExp pattern(
        R"([a-z0-9!#$%&'*+/=?^_`{|}~-]+(?:\.[a-z0-9!#$%&'*+/=?^_`{|}~-]+)*@((?:[a-z0-9](?:[a-z0-9-]*[a-z0-9])?\.)+[a-z0-9](?:[a-z0-9-]*[a-z0-9]))?)",
        true);
    return pattern;
}

// Multi-line matching changes nothing here: the pattern has no anchors.
const clsRegExp& IPAddress() {
    static const clsRegExp pattern(R"(\d{1,3}\.\d{1,3}\.\d{1,3}\.\d{1,3})", true);
    return pattern;
}

std::string LowerAscii(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    return lower;
}

// The header block: the text before the first blank line, CRLF CRLF else LF LF; without one,
// nothing at all.
std::string_view HeaderBlock(std::string_view text) {
    std::size_t end = text.find("\r\n\r\n");
    if (end == std::string_view::npos) {
        end = text.find("\n\n");
    }
    return end == std::string_view::npos ? std::string_view() : text.substr(0, end);
}

std::vector<std::string> SplitLines(std::string_view block) {
    const std::string_view separator = block.find(kCrLf) != std::string_view::npos ? kCrLf : "\n";
    std::vector<std::string> lines;
    for (std::size_t start = 0;;) {
        const std::size_t end = block.find(separator, start);
        lines.emplace_back(block.substr(start, end - start));
        if (end == std::string_view::npos) {
            return lines;
        }
        start = end + separator.size();
    }
}

void Append(std::string& list, std::string_view item) {
    if (!list.empty()) {
        list += kCrLf;
    }
    list += item;
}

}  // namespace

ClassMailHeaderReader::ClassMailHeaderReader() = default;

void ClassMailHeaderReader::SetMailHeaders(std::string_view text) {
    if (text == mMailHeaders) {
        return;
    }
    try {
        mMailHeaders.assign(text);
        mHeaders.clear();
        mMailHeadersArray.clear();
        const std::string_view block = HeaderBlock(mMailHeaders);
        if (block.empty()) {
            return;
        }
        mMailHeadersArray = SplitLines(block);
        for (const std::string& line : mMailHeadersArray) {
            // "Name: value" only: the first blank must follow the first colon directly.
            const std::size_t colon = line.find(':');
            if (colon == 0 || colon == std::string::npos || line.find(' ') != colon + 1) {
                continue;
            }
            auto [entry, added] = mHeaders.try_emplace(LowerAscii(line.substr(0, colon)));
            if (!added) {
                entry->second += kCrLf;
            }
            entry->second += std::string_view(line).substr(colon + 2);
        }
    } catch (const std::exception&) {
        mHeaders.clear();  // out of memory: no headers rather than half of them
    }
}

std::string ClassMailHeaderReader::HeaderItem(std::string_view name) const {
    try {
        if (!name.empty() && name.back() == ':') {
            name.remove_suffix(1);
        }
        const auto found = mHeaders.find(LowerAscii(name));
        return found == mHeaders.end() ? std::string() : found->second;
    } catch (const std::exception&) {
        return {};
    }
}

std::string ClassMailHeaderReader::AddressesOf(std::string_view header, bool lastOnly) const {
    try {
        const std::string value = HeaderItem(header);
        std::string addresses;
        std::string_view last;
        bool bracketed = false;
        AngleBrackets().ForEachMatch(value, [&](std::string_view match) {
            last = match.substr(1, match.size() - 2);
            bracketed = true;
            if (!lastOnly && !last.empty()) {
                Append(addresses, last);
            }
        });
        if (!bracketed) {
            return ReadEmailAddressHeader(value);
        }
        return lastOnly ? std::string(last) : addresses;
    } catch (const std::exception&) {
        return {};
    }
}

std::string ClassMailHeaderReader::from() const { return AddressesOf("from", true); }

std::string ClassMailHeaderReader::MailTo() const { return AddressesOf("to", false); }

std::string ClassMailHeaderReader::cc() const { return AddressesOf("cc", false); }

std::string ClassMailHeaderReader::ReadEmailAddressHeader(std::string_view text) const {
    try {
        std::string addresses;
        EmailAddress().ForEachMatch(text, [&addresses](std::string_view match) {
            if (!match.empty()) {
                Append(addresses, match);
            }
        });
        return LowerAscii(addresses);
    } catch (const std::exception&) {
        return {};
    }
}

int ClassMailHeaderReader::NumberOfRecipients() const {
    try {
        // The separator goes in whenever Cc has addresses, also after an empty To: a message
        // with Cc only counts one piece more. Kept as it always was.
        std::string recipients = MailTo();
        const std::string copies = cc();
        if (!copies.empty()) {
            recipients += std::string(kCrLf) + copies;
        }
        if (recipients.empty()) {
            return 0;
        }
        int pieces = 1;
        for (std::size_t at = recipients.find(kCrLf); at != std::string::npos;
             at = recipients.find(kCrLf, at + kCrLf.size())) {
            ++pieces;
        }
        return pieces;
    } catch (const std::exception&) {
        return 0;
    }
}

std::vector<std::string> ClassMailHeaderReader::ReceivedIPs(bool distinct) const {
    std::vector<std::string> found;
    const auto received = mHeaders.find("received");
    if (received == mHeaders.end()) {
        return found;
    }
    IPAddress().ForEachMatch(received->second, [&found, distinct](std::string_view match) {
        if (!distinct || std::find(found.begin(), found.end(), match) == found.end()) {
            found.emplace_back(match);
        }
    });
    return found;
}

std::string ClassMailHeaderReader::FirstReceivedFromIP() const {
    try {
        const std::vector<std::string> all = ReceivedIPs(false);
        return all.empty() ? std::string() : all.back();
    } catch (const std::exception&) {
        return {};
    }
}

int ClassMailHeaderReader::IPHopCount() const {
    try {
        return static_cast<int>(ReceivedIPs(true).size());
    } catch (const std::exception&) {
        return 0;
    }
}

std::string ClassMailHeaderReader::IPTrail() const {
    try {
        const std::vector<std::string> hops = ReceivedIPs(true);
        if (hops.empty()) {
            return "No IP trail found";
        }
        std::string trail = "(Source)" + hops.back();
        for (auto hop = hops.rbegin() + 1; hop != hops.rend(); ++hop) {
            trail += " -> " + *hop;
        }
        return trail;
    } catch (const std::exception&) {
        return {};
    }
}
