// clsMessageAnalyser: the rule query for one item, its matches, and the junk checks.
#include "intake/clsMessageAnalyser.h"

#include <cstdlib>
#include <sstream>

#include "engine/classCorvel.h"
#include "engine/clsRuleQuery.h"
#include "engine/clsTextSearch.h"
#include "foundation/CommonHelpers.h"
#include "intake/clsQueue.h"

namespace {

constexpr std::string_view kAntispamSection = "Antispam";

std::string Entry(std::string_view procedure, std::string_view detail) {
    return "MessageAnalyser->" + std::string(procedure) + ": " + std::string(detail);
}

// A stored score, or fallback when the stored text does not start with a number.
double Score(classRulesDatabase& database, std::string_view name, std::string_view fallback) {
    const std::string text = database.ReadOption(kAntispamSection, name, fallback);
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    return end != text.c_str() ? value : std::strtod(std::string(fallback).c_str(), nullptr);
}

// A value between double quotes, escaped as every literal of the query is.
std::string Quoted(std::string_view value) { return "\"" + SQLEscapeString(value, false) + "\""; }

}  // namespace

clsMessageAnalyser::clsMessageAnalyser(classCorvel& engine, clsQueue& queue)
    : mEngine(engine), mQueue(queue) {}

void clsMessageAnalyser::Initialise() {
    clsLogFile& log = mEngine.CorvelLog();
    try {
        classRulesDatabase& database = mEngine.RulesDatabase();
        if (!database.IsOpen()) {
            log.AddLog(Entry("Initialise", "no database, exiting"));
            mUsable = false;
            return;
        }
        mCheckJunk = database.ReadBooleanOption("Rules Engine", "Check Junk", false);
        mCheckJunkList = database.ReadBooleanOption("Filters", "Junk List", false);
        mCheckJunkHeuristics = database.ReadBooleanOption("Filters", "Junk Heuristics", false);
        mUsable = true;
    } catch (const std::exception& error) {
        log.AddErrorLog("MessageAnalyser->Initialise", error);
    }
}

void clsMessageAnalyser::InitialiseSpamEngine() {
    try {
        mSpamEngine = mEngine.SpamFilter();
        classRulesDatabase& database = mEngine.RulesDatabase();
        mMinimumSpamScore = Score(database, "Minimum Spam Score", "0.8");
        mMaximumHamScore = Score(database, "Maximum Ham Score", "0.2");
    } catch (const std::exception& error) {
        mEngine.CorvelLog().AddErrorLog("MessageAnalyser->InitialiseSpamEngine", error);
    }
}

void clsMessageAnalyser::AnalyseMessage(clsMailItem& item) {
    clsLogFile& log = mEngine.CorvelLog();
    std::string step = "Start";
    try {
        if (!mUsable || !mEngine.RulesDatabase().IsOpen()) {
            log.AddLog(Entry("AnalyseMessage", "no database, exiting"));
            return;
        }
        const std::string typeName = item.TypeName();
        if (typeName != "MailItem") {
            log.AddLog(Entry("AnalyseMessage", "item not a message (") + typeName + "), exiting");
            return;
        }
        step = "Read message properties";
        const clsMessage message = ReadProperties(item, step);
        step = "Properties read";
        const bool outgoing = IsOutgoingMessage(message);
        const std::string sql = RuleQuery(message, outgoing);
        log.AddLog(Entry("AnalyseMessage", sql));
        const std::unique_ptr<clsRecordset> rules = mEngine.RulesDatabase().GetRS(sql);
        step = "Built SQL query";
        const std::string outcome = QueueRuleMatches(rules.get(), item, message, step);
        if (!outgoing) {
            CheckForSpam(item, message);
        }
        step = "Finished";
        log.AddLog(Entry("AnalyseMessage", outcome));
    } catch (const std::exception& error) {
        log.AddErrorLog("MessageAnalyser->AnalyseMessage (" + step + ")", error);
    }
}

clsMessageAnalyser::clsMessage clsMessageAnalyser::ReadProperties(const clsMailItem& item,
                                                                  std::string& step) {
    clsMessage message;
    // Validated: a sender that is no plain address comes back empty and matches no sender rule.
    message.Sender = mEngine.FindSender(item);
    step = "Got sender";
    clsRecipientSet recipients;
    mEngine.GetRecipients(item, recipients);
    for (const std::string& address : recipients.Keys()) {
        if (!address.empty()) {  // the set always holds the empty address for the query's sake
            message.Recipients.push_back(address);
        }
    }
    step = "Got recipients";
    message.Subject = item.Subject();
    step = "Got subject";
    message.Body = item.Body();
    step = "Got body";
    return message;
}

bool clsMessageAnalyser::IsOutgoingMessage(const clsMessage& message) {
    if (!message.Sender.empty()) {
        const std::string sender = AsciiLower(message.Sender);
        for (const std::string& own : GetMyEmailAddresses()) {
            if (AsciiLower(own) == sender) {
                return true;
            }
        }
    }
    mEngine.CorvelLog().AddLog(Entry("IsOutgoingMessage", "not sent from my email address"));
    return false;
}

const std::vector<std::string>& clsMessageAnalyser::GetMyEmailAddresses() {
    if (!mMyAddresses) {
        clsLogFile& log = mEngine.CorvelLog();
        log.AddLog(Entry("GetMyEmailAddresses", "Retrieve addresses"));
        clsMailApplication* application = mEngine.Application();
        clsMailNamespace* mapi = application ? application->GetNamespace("MAPI") : nullptr;
        log.AddLog(Entry("GetMyEmailAddresses", "Enumerate addresses"));
        mMyAddresses = mapi ? mapi->OwnAddresses() : std::vector<std::string>();
    }
    return *mMyAddresses;
}

std::string clsMessageAnalyser::RuleQuery(const clsMessage& message, bool outgoing) const {
    std::string sql = "SELECT ID, SubjectContains, BodyContains, StopProcessing FROM Rules WHERE ";
    if (!mIncludeDisabledRules) {
        sql += "Enabled=TRUE AND ";
    }
    // The empty text first: a rule without a sender condition matches every sender.
    sql += "FromEmail IN (\"\"," + Quoted(message.Sender) + "," +
           Quoted(clsRuleQuery::Domain(message.Sender)) + ") ";
    if (message.Recipients.empty()) {
        sql += " AND ToEmail=\"\" ";
    } else {
        sql += "AND ToEmail IN (\"\"";
        for (const std::string& recipient : message.Recipients) {
            sql += ", " + Quoted(recipient) + ", " + Quoted(clsRuleQuery::Domain(recipient));
        }
        sql += ") ";
    }
    sql += outgoing ? "AND IncomingRule=FALSE " : "AND IncomingRule=TRUE ";
    return sql + "ORDER BY Priority;";
}

std::string clsMessageAnalyser::QueueRuleMatches(clsRecordset* rules, clsMailItem& item,
                                                 const clsMessage& message, std::string& step) {
    if (rules == nullptr) {
        return "rule query failed";
    }
    clsLogFile& log = mEngine.CorvelLog();
    rules->MoveLast();
    rules->MoveFirst();
    log.AddLog(Entry("QueueRuleMatches", std::to_string(rules->RecordCount())) +
               " potential matching rule(s)");
    const clsTextSearch subject(message.Subject);
    const clsTextSearch body(message.Body);
    std::vector<std::string> matched;
    for (; !rules->Eof(); rules->MoveNext()) {
        if (!subject.Contains(rules->Field("SubjectContains").AsText()) ||
            !body.Contains(rules->Field("BodyContains").AsText())) {
            continue;
        }
        matched.push_back(std::to_string(rules->Field("ID").AsLong()));
        log.AddLog(Entry("QueueRuleMatches", "rule ") + matched.back() + " matched");
        if (rules->Field("StopProcessing").AsBool()) {
            break;
        }
    }
    const std::vector<std::string> remaining =
        mReapplyRules ? matched : WithoutProcessedRules(item, matched, step);
    if (!remaining.empty() || mReapplyRules) {
        mQueue.AddItem(item.EntryID(), remaining);
        step = "Sent to queue";
    } else {
        step = "No rule matched";
    }
    if (matched.empty()) {
        log.AddLog(Entry("QueueRuleMatches", "content rules not matched"));
    }
    return step;
}

std::vector<std::string> clsMessageAnalyser::WithoutProcessedRules(
    const clsMailItem& item, const std::vector<std::string>& matched, std::string& step) {
    mEngine.CorvelLog().AddLog(Entry("QueueRuleMatches", "checking if rule already processed"));
    step = "Processed SQL";
    const std::optional<clsUserPropertyValue> property =
        item.FindUserProperty(clsQueue::kProcessedProperty);
    const std::string processed = property ? property->Text : "";
    step = "Retrieved already processed rules";
    std::vector<std::string> remaining;
    for (const std::string& rule : matched) {
        if (processed.find(" " + rule + " ") == std::string::npos) {
            remaining.push_back(rule);
        }
    }
    step = "Analysed processed rules";
    return remaining;
}

void clsMessageAnalyser::CheckForSpam(clsMailItem& item, const clsMessage& message) {
    if (!mCheckJunk) {
        return;
    }
    clsLogFile& log = mEngine.CorvelLog();
    mEngine.Statistics().IncrementEmailsPassedThroughSpamFilter(1);
    if (mCheckJunkList && mEngine.IsJunkSender(message.Sender)) {
        QueueFixedRule(item, clsQueue::kJunkRule);
        return;
    }
    if (!mCheckJunkHeuristics || mSpamEngine == nullptr) {
        log.AddLog(Entry("CheckForSpam", "heuristics disabled"));
        return;
    }
    const double probability = mSpamEngine->MessageSpamProbability(item, nullptr);
    std::ostringstream text;
    text << probability;
    log.AddLog(Entry("CheckForSpam", "spam probability = ") + text.str());
    if (probability >= mMinimumSpamScore) {
        QueueFixedRule(item, clsQueue::kJunkRule);
        mEngine.Statistics().IncrementEmailsClassedAsSpam(1);
    } else if (probability > mMaximumHamScore &&
               mEngine.RulesDatabase().ReadBooleanOption(kAntispamSection, "Use Junk Suspects",
                                                         false)) {
        QueueFixedRule(item, clsQueue::kJunkSuspectRule);
    }
}

void clsMessageAnalyser::QueueFixedRule(clsMailItem& item, int rule) {
    // Refused by the queue when the item is queued already for its rules.
    mQueue.AddItem(item.EntryID(), {std::to_string(rule)});
}
