// clsSpamFilter: the spam header rules, the header anomaly count and links on the URI block list.
#include <cstdlib>
#include <fstream>
#include <set>

#include "database/clsTextDriverImport.h"
#include "foundation/CommonHelpers.h"
#include "foundation/clsRegExp.h"
#include "spam/ClassMailHeaderReader.h"
#include "spam/clsSpamFilter.h"

namespace {

constexpr std::string_view kHeaderRulesFile = "spam_headers.csv";
// Nearly every HTML mail links to the web standards body in its document type.
constexpr std::string_view kStandardsDomain = "w3.org";

ClassMailHeaderReader ReaderOf(std::string_view headerBlock) {
    ClassMailHeaderReader reader;
    reader.SetMailHeaders(headerBlock);
    return reader;
}

std::string CsvField(std::string_view text) {
    std::string field = "\"";
    for (char c : text) {
        field += c == '"' ? std::string("\"\"") : std::string(1, c);
    }
    return field + "\"";
}

// A criteria text: an optional comparison (>, >=, <, <=, =) and a number; a bare number means
// "at least". False when the text is none of these.
bool ParseCriteria(std::string_view criteria, std::string& comparison, double& limit) {
    criteria = Trimmed(criteria);
    const std::size_t digits = criteria.find_first_of("0123456789.-");
    comparison = std::string(Trimmed(criteria.substr(0, std::min(digits, criteria.size()))));
    if (comparison.empty()) {
        comparison = ">=";
    }
    static const std::set<std::string, std::less<>> known = {">", ">=", "<", "<=", "="};
    if (digits == std::string_view::npos || !known.count(comparison)) {
        return false;
    }
    const std::string number(criteria.substr(digits));
    char* end = nullptr;
    limit = std::strtod(number.c_str(), &end);
    return end != number.c_str() && Trimmed(end).empty();
}

bool Compare(double value, std::string_view comparison, double limit) {
    if (comparison == ">")
        return value > limit;
    if (comparison == ">=")
        return value >= limit;
    if (comparison == "<")
        return value < limit;
    if (comparison == "<=")
        return value <= limit;
    return value == limit;
}

}  // namespace

const std::vector<clsSpamHeaderRule>& clsSpamFilter::SpamHeaderRules() {
    LoadSpamHeaders();
    return mHeaderRules;
}

void clsSpamFilter::LoadSpamHeaders() {
    if (mHeaderRulesLoaded) {
        return;
    }
    mHeaderRulesLoaded = true;
    const auto rs = mDatabase.GetRS("SELECT Header, Criteria FROM [Spam Headers];");
    for (; rs && !rs->Eof(); rs->MoveNext()) {
        mHeaderRules.push_back({rs->Field("Header").AsText(), rs->Field("Criteria").AsText()});
    }
}

bool clsSpamFilter::SetSpamHeaderRule(std::string_view header, std::string_view criteria) {
    std::string comparison;
    double limit = 0;
    if (Trimmed(header).empty() || !ParseCriteria(criteria, comparison, limit)) {
        mLog.AddLog("SpamFilter->SetSpamHeaderRule: not a header and a criteria: " +
                    std::string(header) + " " + std::string(criteria));
        return false;
    }
    RemoveSpamHeaderRule(header);
    mHeaderRules.push_back({std::string(Trimmed(header)), std::string(Trimmed(criteria))});
    return true;
}

bool clsSpamFilter::RemoveSpamHeaderRule(std::string_view header) {
    LoadSpamHeaders();
    const auto before = mHeaderRules.size();
    std::erase_if(mHeaderRules, [&](const clsSpamHeaderRule& rule) {
        return AsciiLower(rule.Header) == AsciiLower(Trimmed(header));
    });
    return mHeaderRules.size() != before;
}

bool clsSpamFilter::SaveSpamHeaders() {
    try {
        LoadSpamHeaders();
        const std::filesystem::path file = mDataFolder / kHeaderRulesFile;
        {
            std::ofstream out(file, std::ios::binary | std::ios::trunc);
            out << "Header, Criteria\r\n";
            for (const clsSpamHeaderRule& rule : mHeaderRules) {
                out << CsvField(rule.Header) << ", " << CsvField(rule.Criteria) << "\r\n";
            }
            if (!out.flush()) {
                throw std::runtime_error("cannot write " + file.string());
            }
        }
        long affected = 0;
        return mDatabase.RunCommand("DELETE FROM [Spam Headers];", affected) &&
               mDatabase.RunCommand(clsTextDriverImport::ImportStatement(
                                        "Spam Headers", mDataFolder, kHeaderRulesFile),
                                    affected);
    } catch (const std::exception& error) {
        Fail("SaveSpamHeaders", error);
        return false;
    }
}

double clsSpamFilter::MessageHeaderSpamAnalysis(const clsMailItem& item) {
    return HeaderSpamAnalysis(HeaderBlockOf(item));
}

double clsSpamFilter::HeaderSpamAnalysis(std::string_view headerBlock) {
    const std::string prefix = "SpamFilter->MessageHeaderSpamAnalysis: ";
    try {
        const ClassMailHeaderReader reader = ReaderOf(headerBlock);
        static const clsRegExp number(R"(\b[\d.]+\b)", false);
        for (const clsSpamHeaderRule& rule : SpamHeaderRules()) {
            mLog.AddLog(prefix + "checking " + rule.Header);
            const std::string value = reader.HeaderItem(rule.Header);
            if (value.empty()) {
                continue;
            }
            const auto found = number.Matches(value);
            char* end = nullptr;
            const double score = found.empty() ? 0 : std::strtod(found.front().c_str(), &end);
            if (found.empty() || end == found.front().c_str()) {
                mLog.AddLog(prefix + "failed to parse spam score from \"" + value + "\"");
                continue;
            }
            mLog.AddLog(prefix + "Spam score read from header = " + found.front());
            if (HeaderRuleFires(rule, score)) {
                return 1.0;
            }
        }
        return 0;
    } catch (const std::exception& error) {
        Fail("MessageHeaderSpamAnalysis", error);
        return 0;
    }
}

bool clsSpamFilter::HeaderRuleFires(const clsSpamHeaderRule& rule, double score) {
    std::string comparison;
    double limit = 0;
    if (!ParseCriteria(rule.Criteria, comparison, limit)) {
        mLog.AddLog("SpamFilter->MessageHeaderSpamAnalysis: criteria is no comparison: " +
                    rule.Criteria);
        return false;
    }
    return Compare(score, comparison, limit);
}

// Each check that fires adds one: a blind copy, a POP3 UIDL left in, no recipient, no sender
// address, no Message-ID, no Date, and a first relay listed on the IP block list.
std::int16_t clsSpamFilter::MessageHeaderSpamProbability(const clsMailItem& item) {
    try {
        const ClassMailHeaderReader reader = ReaderOf(HeaderBlockOf(item));
        const bool checks[] = {!reader.HeaderItem("bcc").empty(),
                               !reader.HeaderItem("x-uidl").empty(),
                               reader.NumberOfRecipients() == 0,
                               reader.FromSMTPAddress().empty(),
                               reader.HeaderItem("message-id").empty(),
                               reader.HeaderItem("date").empty(),
                               mBlockLists->IsIPListed(reader.FirstReceivedFromIP())};
        std::int16_t score = 0;
        for (bool fired : checks) {
            score = static_cast<std::int16_t>(score + (fired ? 1 : 0));
        }
        return score;
    } catch (const std::exception& error) {
        Fail("MessageHeaderSpamProbability", error);
        return 0;
    }
}

bool clsSpamFilter::IsSURBLListed(std::string_view domain) {
    try {
        return mBlockLists->IsSURBLListed(domain);
    } catch (const std::exception& error) {
        Fail("IsSURBLListed", error);
        return false;
    }
}

bool clsSpamFilter::MessageBodyContainsSpamLinks(const clsMailItem& item, double& fraction) {
    return BodyContainsSpamLinks(item.Body(), fraction);
}

bool clsSpamFilter::BodyContainsSpamLinks(std::string_view body, double& fraction) {
    fraction = 0;
    try {
        if (mUriZone.empty()) {
            return false;
        }
        std::set<std::string> domains;
        for (const std::string& host : LinkHosts(body)) {
            const std::string domain = clsBlockLists::RegisteredDomain(host);
            if (!domain.empty() && domain != kStandardsDomain) {
                domains.insert(domain);
            }
        }
        long listed = 0;
        for (const std::string& domain : domains) {
            listed += IsSURBLListed(domain) ? 1 : 0;
        }
        fraction =
            domains.empty() ? 0 : static_cast<double>(listed) / static_cast<double>(domains.size());
        return listed > 0;
    } catch (const std::exception& error) {
        Fail("MessageBodyContainsSpamLinks", error);
        return false;
    }
}

// Hosts of web links and bare www names, and the domains of mail addresses, in the body.
std::vector<std::string> clsSpamFilter::LinkHosts(std::string_view body) {
    static const clsRegExp webLink(R"(https?://([-\w\.]+)+[:\d+]?[/[[\w/_\.\?\=]*[=\S+]??)", true);
    static const clsRegExp bareHost(R"((www.[\w_\.]+))", true);
    static const clsRegExp mailAddress(
        R"([a-z0-9!#$%&'*+/=?^_`{|}~-]+(?:\.[a-z0-9!#$%&'*+/=?^_`{|}~-]+)*@((?:[a-z0-9](?:[a-z0-9-]*[a-z0-9])?\.)+[a-z0-9](?:[a-z0-9-]*[a-z0-9]))?)",
        true);
    const std::string prefix = "SpamFilter->MessageBodyContainsSpamLinks: ";
    std::vector<std::string> hosts;
    auto links = webLink.Matches(body);
    for (const std::string& host : bareHost.Matches(body)) {
        links.push_back(host);
    }
    if (links.empty()) {
        mLog.AddLog(prefix + "no links found");
    }
    for (const std::string& link : links) {
        const std::size_t start = link.find("://") == std::string::npos ? 0 : link.find("://") + 3;
        const std::size_t end = link.find_first_not_of(
            "-.abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_", start);
        hosts.push_back(AsciiLower(link.substr(start, end - start)));
    }
    const auto addresses = mailAddress.Matches(body);
    if (addresses.empty()) {
        mLog.AddLog(prefix + "no email addresses found");
    }
    for (const std::string& address : addresses) {
        hosts.push_back(AsciiLower(address.substr(address.find('@') + 1)));
    }
    return hosts;
}
