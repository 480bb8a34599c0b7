// classCorvel: matching items against the rules.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <sstream>

#include "engine/classCorvel.h"
#include "engine/clsRuleQuery.h"
#include "engine/clsTextSearch.h"

namespace {

using clsClock = std::chrono::system_clock;

// The local date and time as the marker "RRCV" keeps it.
std::string NowText() {
    const std::time_t now = clsClock::to_time_t(clsClock::now());
    std::tm local{};
    localtime_r(&now, &local);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
    return text;
}

// The span as a fraction of a day, then " (hh:nn:ss)", as the log has always shown it.
std::string Elapsed(clsClock::time_point start) {
    const double seconds = std::chrono::duration<double>(clsClock::now() - start).count();
    std::ostringstream text;
    text.precision(15);
    text << seconds / 86400.0;
    const long whole = static_cast<long>(seconds);
    char clock[32];
    std::snprintf(clock, sizeof clock, " (%02ld:%02ld:%02ld)", whole / 3600, whole / 60 % 60,
                  whole % 60);
    return text.str() + clock;
}

bool HasValue(const std::optional<clsUserPropertyValue>& property) {
    return property && !property->Text.empty();
}

}  // namespace

void classCorvel::ProcessIncomingItem(clsMailItem& item, bool checkJunk) {
    try {
        // The engine's own missing-folder report is never filtered.
        if (item.Subject().compare(0, kRuleFailedSubject.size(), kRuleFailedSubject) == 0) {
            return;
        }
        ++mEmailsProcessed;
        SetIncoming(true);
        if (item.ReadReceiptRequested()) {
            item.SetReadReceiptRequested(false);
            item.Save();
        }
        mLog->AddLog("Corvel->ProcessIncomingItem: ProcessItem call");
        const bool matched = ProcessItem(item, false, false);
        if (checkJunk && !matched) {
            mLog->AddLog("Corvel->ProcessIncomingItem: ProcessJunk call");
            ProcessJunk(item);
        }
    } catch (const std::exception& error) {
        mLog->AddErrorLog("Corvel->ProcessIncomingItem", error);
    }
}

bool classCorvel::AlreadyProcessed(const clsMailItem& item) {
    try {
        return HasValue(item.FindUserProperty(kProcessedMarker)) ||
               HasValue(item.FindUserProperty(kCreatedMarker));
    } catch (const std::exception&) {
        return false;  // a lookup that fails counts as not found
    }
}

void classCorvel::MarkProcessed(clsMailItem& item) {
    item.AddUserProperty(kProcessedMarker, {UserPropertyType::DateTime, NowText()});
    item.Save();
}

bool classCorvel::ProcessItem(clsMailItem& item, bool reprocess, bool includeDisabled,
                              std::string_view direction) {
    const std::string prefix = "Corvel->ProcessItem: ";
    try {
        if (!reprocess && AlreadyProcessed(item)) {
            mLog->AddLog(prefix + "already processed this item, skipping");
            return false;
        }
        ++mEmailsProcessed;
        const auto start = std::chrono::system_clock::now();
        clsRecipientSet recipients;
        GetRecipients(item, recipients);
        const std::string sender = FindSender(item);
        // Written before any rule runs: an item whose processing fails half-way is not taken up
        // again by itself.
        mLog->AddLog(prefix + "set user property");
        MarkProcessed(item);
        const bool incoming = direction.empty() ? mIncoming : direction == "y";
        const std::string sql = clsRuleQuery::Build(sender, recipients, includeDisabled, incoming);
        mLog->AddLog(prefix + sql);
        const std::vector<std::int32_t> matched = MatchRules(sql, item);
        mLog->AddLog(prefix + "Categorised message in " + Elapsed(start));
        if (!matched.empty()) {
            ApplyActions(item, matched);
            mLog->AddLog(prefix + "Processed message in " + Elapsed(start));
        } else if (!mIncoming) {
            mLog->AddLog(prefix + "No outgoing rules apply");
        } else {
            mLog->AddLog(prefix + "No incoming rules apply to " + sender);
        }
        return !matched.empty();
    } catch (const std::exception& error) {
        mLog->AddErrorLog(prefix.substr(0, prefix.size() - 2), error);
        return false;
    }
}

std::vector<std::int32_t> classCorvel::MatchRules(const std::string& sql, const clsMailItem& item) {
    std::vector<std::int32_t> matched;
    const std::unique_ptr<clsRecordset> rs = mDatabase ? mDatabase->GetRS(sql) : nullptr;
    if (!rs) {
        return matched;  // a failed query: no rule applies
    }
    const clsTextSearch subject(item.Subject());
    const clsTextSearch body(item.Body());
    for (; !rs->Eof(); rs->MoveNext()) {
        const auto id = static_cast<std::int32_t>(rs->Field("ID").AsLong());
        if (!subject.Contains(rs->Field("SubjectContains").AsText()) ||
            !body.Contains(rs->Field("BodyContains").AsText())) {
            continue;
        }
        mLog->AddLog("Corvel->ProcessItem: Matched rule " + std::to_string(id));
        matched.push_back(id);
        if (rs->Field("StopProcessing").AsBool()) {
            break;  // rules after a stopping rule are not matched
        }
    }
    rs->Close();
    return matched;
}

long classCorvel::ProcessFolder(const clsMailFolder& folder, bool onlyUnprocessed, long maxItems,
                                long maxMatches, bool includeDisabled, bool reprocessAll) {
    long count = 0;
    try {
        clsMailItems items = folder.Items();
        if (onlyUnprocessed && !reprocessAll) {
            items = items.Restrict("[RRCV] = \"\"");
        }
        // The filter has done the already-processed test, so it is not made again.
        const bool reprocess = onlyUnprocessed || reprocessAll;
        const long limit = maxItems < 0 ? items.Count() : std::min(maxItems, items.Count());
        long matchedItems = 0;
        for (long index = 1; index <= items.Count() && count < limit; ++index) {
            std::optional<clsMailItem> item = items.Item(index);
            if (!item) {
                continue;  // gone since the folder was listed
            }
            matchedItems += ProcessFolderItem(folder, *item, reprocess, includeDisabled) ? 1 : 0;
            mHost.Ui.ShowProgress("Processing " + folder.FolderPath(), ++count, limit);
            if (maxMatches > 0 && matchedItems >= maxMatches) {
                break;
            }
        }
        if (count > 1) {
            mLog->AddLog("Corvel->ProcessFolder: " + std::to_string(count) +
                         " items processed from folder " + folder.Name());
        }
    } catch (const std::exception& error) {
        mLog->AddErrorLog("Corvel->ProcessFolder", error);
    }
    return count;
}

bool classCorvel::ProcessFolderItem(const clsMailFolder& folder, clsMailItem& item, bool reprocess,
                                    bool includeDisabled) {
    if (item.TypeName() != "MailItem") {
        // Items of other kinds are marked too, so that they are not looked at again either. Mail
        // items carry the marker already: the matcher writes it, and it travels with moves.
        MarkProcessed(item);
        return false;
    }
    // A folder of sent mail is run through the rules for sent mail.
    const bool matched = ProcessItem(item, reprocess, includeDisabled,
                                     folder.Role() == FolderRole::SentMail ? "n" : "y");
    if (matched) {
        ++mRulesProcessedSuccess;
    } else if (folder.Role() != FolderRole::SentMail && ProcessJunk(item)) {  // "Sent Items"
        ++mRulesProcessedSuccess;
    }
    return matched;
}
