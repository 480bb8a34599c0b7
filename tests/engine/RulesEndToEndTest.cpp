// The rules engine end to end: a thousand real messages of the SpamAssassin corpus are delivered to
// a fresh Inbox, fifty rules covering every criterion and every action are added with the corvel
// binary, and `corvel process` runs over the Inbox. Each message's fate is then worked out here,
// from the rules' meaning (RulesModel.h), and compared with what the Maildir holds: the folders
// the message is in, read or unread, importance, the markers, copies, forwards, auto-replies and
// missing-folder reports. Processing again must change nothing.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <chrono>
#include <iostream>
#include <map>

#include "RulesModel.h"
#include "mailhost/clsMailItems.h"
#include "mailhost/clsMailNamespace.h"
#include "mailhost/maildir/clsMaildirStore.h"
#include "mailhost/mime/clsMimeMessage.h"
#include "support/TestSupport.h"

namespace {

using namespace rules_model;

const std::string kOutbox = "\\\\Mailbox\\Outbox";
const std::string kTemplates = "\\\\Mailbox\\Autoreply Templates (Corvel)";
const std::string kReportPrefix = "Rule failed - couldn't locate folder \"";
const std::string kReportNote =
    "The above message could not be sorted.  Please check your configuration and the existence "
    "of the specified folder.";
const std::string kReplyPrefix = "Auto-answer:";

struct clsCorpusPart {
    const char* Name;
    size_t Count;
};
constexpr clsCorpusPart kCorpusParts[] = {{"easy-ham-1", 300},
                                          {"easy-ham-2", 150},
                                          {"hard-ham-1", 100},
                                          {"spam-1", 200},
                                          {"spam-2", 250}};

// The folders the scenario makes, parents first. "Nowhere" and "Gone" are never made.
const std::vector<std::string> kMadeFolders = {
    "\\\\Mailbox\\Archive",        "\\\\Mailbox\\Inbox\\Forteana",
    "\\\\Mailbox\\Inbox\\Lists",   "\\\\Mailbox\\Inbox\\Lists\\ILUG",
    "\\\\Mailbox\\Inbox\\Social",  "\\\\Mailbox\\Inbox\\Fork",
    "\\\\Mailbox\\Inbox\\Threads", "\\\\Mailbox\\Inbox\\Newsletters",
    "\\\\Mailbox\\Inbox\\Spam",    "\\\\Mailbox\\Inbox\\Money",
    "\\\\Mailbox\\Inbox\\RPM",     "\\\\Mailbox\\Inbox\\Perl",
    "\\\\Mailbox\\Inbox\\Audit",   "\\\\Mailbox\\Inbox\\Irish"};
const std::vector<std::string> kDefaultFolders = {kInbox,
                                                  kDeletedItems,
                                                  kOutbox,
                                                  "\\\\Mailbox\\Drafts",
                                                  "\\\\Mailbox\\Junk E-mail",
                                                  "\\\\Mailbox\\Sent Items"};

const std::string kIlug = "\\\\Mailbox\\Inbox\\Lists\\ILUG";
const std::string kArchive = "\\\\Mailbox\\Archive";
const std::string kNowhere = "\\\\Mailbox\\Inbox\\Nowhere";

// Created in this order; the priorities interleave, so evaluation order is not creation order.
const std::vector<clsRuleSpec> kRules = {
    // Sender and recipient criteria (exact address, exact domain, any case).
    {.Priority = 4,
     .From = "TimC@2UBH.com",
     .MoveTo = "\\\\Mailbox\\Inbox\\Forteana",
     .MarkRead = true},
    {.Priority = 12, .From = "@linux.ie", .MarkRead = true},
    {.Priority = 14, .From = "@ed.ac.uk", .CopyTo = kArchive, .Probe = true},
    {.Priority = 8, .To = "ilug@linux.ie", .MoveTo = kIlug},
    {.Priority = 6, .To = "@YahooGroups.com", .CopyTo = kArchive},
    {.Priority = 13, .To = "@taint.org", .Importance = "H"},
    {.Priority = 50, .To = "@ie", .Delete = true, .Probe = true},
    {.Priority = 11,
     .To = "social@linux.ie",
     .MoveTo = "\\\\Mailbox\\Inbox\\Social",
     .Importance = "H"},
    {.Priority = 28, .To = "rpm-zzzlist@freshrpms.net", .MoveTo = "\\\\Mailbox\\Inbox\\RPM"},
    {.Priority = 44, .To = "fork@spamassassin.taint.org", .MoveTo = "\\\\Mailbox\\Inbox\\Fork"},
    {.Priority = 15,
     .To = "exmh-workers@spamassassin.taint.org",
     .CopyTo = "\\\\Mailbox\\Inbox\\Lists"},
    // Subject and body.
    {.Priority = 9, .Subject = "[ILUG]", .CopyTo = kIlug},
    {.Priority = 7, .Subject = "[zzzzteana]", .CopyTo = kArchive, .Importance = "L"},
    {.Priority = 16, .Subject = "spam", .CopyTo = "\\\\Mailbox\\Inbox\\Spam", .MarkRead = true},
    {.Priority = 17, .Body = "mortgage", .MoveTo = "\\\\Mailbox\\Inbox\\Money"},
    {.Priority = 30, .Body = "perl", .MoveTo = "Perl"},
    {.Priority = 45, .Subject = "sequences", .CopyTo = "\\\\Mailbox\\Inbox\\Lists"},
    {.Priority = 49, .Subject = "new", .CopyTo = kArchive},
    // Two criteria together.
    {.Priority = 18, .Subject = "money", .Body = "guarantee", .Importance = "H"},
    {.Priority = 19, .From = "@yahoo.com", .Subject = "!", .CopyTo = "\\\\Mailbox\\Inbox\\Spam"},
    {.Priority = 24,
     .From = "@hotmail.com",
     .Body = "remove",
     .CopyTo = "\\\\Mailbox\\Inbox\\Audit",
     .Delete = true},
    {.Priority = 47, .Subject = "bank", .MoveTo = "\\\\Mailbox\\Inbox\\Money", .Importance = "L"},
    // Stopping: the first rule of all stops, and one in the middle.
    {.Priority = 34,
     .To = "@spamassassin.taint.org",
     .Subject = "re:",
     .MoveTo = "\\\\Mailbox\\Inbox\\Threads",
     .Stop = true},
    {.Priority = 35, .Body = "linux", .Importance = "L"},
    {.Priority = 2, .Body = "spamassassin", .CopyTo = "\\\\Mailbox\\Inbox\\Audit"},
    {.Priority = 1,
     .From = "@newsletter.online.com",
     .MoveTo = "\\\\Mailbox\\Inbox\\Newsletters",
     .MarkRead = true,
     .Stop = true},
    // Rules on sent mail and switched-off rules: none may act on the Inbox.
    {.Priority = 5, .To = "ilug@linux.ie", .Delete = true, .Outgoing = true},
    {.Priority = 20, .Subject = "re:", .MoveTo = kArchive, .Outgoing = true},
    {.Priority = 36, .From = "timc@2ubh.com", .Forward = "sent@example.org", .Outgoing = true},
    {.Priority = 3, .Subject = "[ilug]", .Delete = true, .Stop = true, .Disabled = true},
    {.Priority = 10,
     .From = "@hotmail.com",
     .MoveTo = "\\\\Mailbox\\Inbox\\Spam",
     .Disabled = true},
    {.Priority = 39, .Body = "irish", .Forward = "off@example.org", .Disabled = true},
    // Deleting, forwarding, answering.
    {.Priority = 21, .Body = "viagra", .Delete = true},
    {.Priority = 22, .Body = "investment", .Delete = true},
    {.Priority = 23, .Subject = "adv", .Forward = "adv-review@example.org"},
    {.Priority = 37, .Subject = "fw:", .Forward = "fw-review@example.org"},
    {.Priority = 32,
     .From = "@site-personals.com",
     .MarkRead = true,
     .Forward = "abuse@example.org"},
    {.Priority = 38, .Body = "click here", .AutoReply = true},
    // Importance.
    {.Priority = 31, .Body = "webcam", .Importance = "N"},
    {.Priority = 42, .Subject = "dvd", .Importance = "H"},
    {.Priority = 43, .From = "@excite.com", .MarkRead = true, .Importance = "L"},
    // Filing that meets earlier filing.
    {.Priority = 33,
     .To = "@netnoteinc.com",
     .CopyTo = kArchive,
     .MoveTo = "\\\\Mailbox\\Inbox\\Spam"},
    {.Priority = 29, .Subject = "rpm", .CopyTo = kInbox},
    {.Priority = 40, .From = "@eircom.net", .CopyTo = "\\\\Mailbox\\Inbox\\Irish"},
    {.Priority = 41, .Body = "ireland", .MoveTo = "\\\\Mailbox\\Inbox\\Irish"},
    {.Priority = 48, .Body = "exmh", .CopyTo = "\\\\Mailbox\\Inbox\\Audit"},
    {.Priority = 46, .Body = "unsubscribe", .MarkRead = true},
    // Folders that do not exist: the other actions still run.
    {.Priority = 25, .Body = "dollars", .MoveTo = kNowhere, .MarkRead = true},
    {.Priority = 26, .Subject = "free", .CopyTo = kNowhere},
    {.Priority = 27, .From = "@msn.com", .MoveTo = "\\\\Mailbox\\Archive\\Gone", .Importance = "L"},
};

struct clsRun {
    int ExitCode = -1;
    std::string Out, Err;
};

struct clsCorpusMessage {
    std::string Origin;  // corpus part and file name
    std::string Raw;
    clsMessageFacts Facts;
};

// One item as found in the Maildir afterwards.
struct clsFoundItem {
    std::string Folder, Subject, Body;
    std::vector<std::string> Recipients;
    bool Unread = true;
    Importance Level = Importance::Normal;
    bool Processed = false;  // carries "RRCV"
    bool Created = false;    // carries "RRCreated"
};

std::string ShellQuoted(std::string_view text) {
    std::string quoted = "'";
    for (char c : text) {
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return quoted + "'";
}

std::string Identity(const std::string& subject, const std::string& body) {
    return subject + "\x1f" + body;
}

std::string LevelText(Importance level) {
    return level == Importance::High ? "high" : level == Importance::Low ? "low" : "normal";
}

std::string StateText(const clsItemState& state) {
    return state.Folder + (state.Unread ? " unread " : " read ") + LevelText(state.Level);
}

std::string RuleText(const clsRuleSpec& rule) {
    std::string text = "P" + std::to_string(rule.Priority);
    for (const auto& [name, value] : {std::pair{" from=", &rule.From},
                                      {" to=", &rule.To},
                                      {" subject=", &rule.Subject},
                                      {" body=", &rule.Body},
                                      {" copy=", &rule.CopyTo},
                                      {" move=", &rule.MoveTo},
                                      {" importance=", &rule.Importance},
                                      {" forward=", &rule.Forward}}) {
        text += value->empty() ? "" : name + *value;
    }
    for (const auto& [name, on] : {std::pair{" read", rule.MarkRead},
                                   {" reply", rule.AutoReply},
                                   {" delete", rule.Delete},
                                   {" stop", rule.Stop}}) {
        text += on ? name : "";
    }
    return text;
}

// The `corvel rules add` arguments of a rule.
std::vector<std::string> AddArguments(const clsRuleSpec& rule, const std::string& templateID) {
    std::vector<std::string> args{"rules", "add", "--priority", std::to_string(rule.Priority)};
    for (const auto& [flag, value] : {std::pair{"--from", &rule.From},
                                      {"--to", &rule.To},
                                      {"--subject", &rule.Subject},
                                      {"--body", &rule.Body},
                                      {"--copy-to", &rule.CopyTo},
                                      {"--move-to", &rule.MoveTo},
                                      {"--importance", &rule.Importance},
                                      {"--forward", &rule.Forward}}) {
        if (!value->empty()) {
            args.insert(args.end(), {flag, *value});
        }
    }
    for (const auto& [flag, on] : {std::pair{"--mark-read", rule.MarkRead},
                                   {"--delete", rule.Delete},
                                   {"--stop", rule.Stop},
                                   {"--outgoing", rule.Outgoing},
                                   {"--disabled", rule.Disabled}}) {
        if (on) {
            args.emplace_back(flag);
        }
    }
    if (rule.AutoReply) {
        args.insert(args.end(), {"--autoreply", templateID});
    }
    return args;
}

clsMessageFacts FactsOf(const clsMimeMessage& mime) {
    clsMessageFacts facts;
    facts.Sender = mime.Sender().Address;
    for (const clsMailAddress& recipient : mime.Recipients()) {
        facts.Recipients.push_back(recipient.Address);
    }
    facts.Subject = mime.Subject();
    facts.Body = mime.Body();
    facts.Level = mime.GetImportance();
    return facts;
}

// The first messages of each corpus part in file-name order, leaving out any whose subject and
// body repeat an earlier one's: such twins could not be told apart afterwards, and a copy of the
// second would rightly be refused as a duplicate.
std::vector<clsCorpusMessage> SelectMessages(const std::filesystem::path& corpus) {
    std::vector<clsCorpusMessage> chosen;
    std::set<std::string> seen;
    for (const clsCorpusPart& part : kCorpusParts) {
        std::vector<std::filesystem::path> files;
        for (const auto& entry :
             std::filesystem::directory_iterator(corpus / ("." + std::string(part.Name)) / "cur")) {
            files.push_back(entry.path());
        }
        std::sort(files.begin(), files.end());
        size_t taken = 0;
        for (size_t i = 0; i < files.size() && taken < part.Count; ++i) {
            std::string raw = ReadWholeFile(files[i]);
            const clsMimeMessage mime = clsMimeMessage::Parse(raw);
            if (mime.Ok() && seen.insert(Identity(mime.Subject(), mime.Body())).second) {
                const std::string origin =
                    std::string(part.Name) + "/" + files[i].filename().string();
                chosen.push_back({origin, std::move(raw), FactsOf(mime)});
                ++taken;
            }
        }
    }
    return chosen;
}

clsFoundItem Describe(const clsMailItem& item, const std::string& folder) {
    clsFoundItem found;
    found.Folder = folder;
    found.Subject = item.Message().Subject();
    found.Body = item.Message().Body();
    for (const clsMailAddress& recipient : item.Message().Recipients()) {
        found.Recipients.push_back(Lower(recipient.Address));
    }
    found.Unread = item.UnRead();
    found.Level = item.GetImportance();
    for (const auto& [name, flag] :
         {std::pair{"RRCV", &found.Processed}, {"RRCreated", &found.Created}}) {
        const auto value = item.FindUserProperty(name);
        *flag = value && !value->Text.empty();
    }
    return found;
}

void CollectFolder(const clsMailFolder& folder, std::vector<clsFoundItem>& found) {
    const clsMailItems items = folder.Items();
    for (long i = 1; i <= items.Count(); ++i) {
        if (const auto item = items.Item(i)) {
            found.push_back(Describe(*item, folder.FolderPath()));
        }
    }
    for (const clsMailFolder& child : folder.Folders()) {
        CollectFolder(child, found);
    }
}

// Every item of every folder, read through the mail host as any other program would.
std::vector<clsFoundItem> ReadMailbox(const std::filesystem::path& root) {
    clsTestEnvironment environment;
    clsStatus status = clsStatus::Ok();
    auto store = clsMaildirStore::Open(root, "Mailbox", false, status);
    if (!store) {
        ADD_FAILURE() << "cannot open " << root << ": " << status.Description();
        return {};
    }
    clsMailNamespace mapi(environment.Log, "Test");
    mapi.AddStore(std::move(store));
    std::vector<clsFoundItem> found;
    for (const clsMailFolder& top : mapi.Folders()) {
        CollectFolder(top, found);
    }
    return found;
}

// A sorted list of texts, one per item, for comparing whole mailboxes or item kinds.
std::vector<std::string> Sorted(std::vector<std::string> texts) {
    std::sort(texts.begin(), texts.end());
    return texts;
}

// What is in `expected` and not in `actual`, and the other way round, at most `limit` lines.
std::string Difference(const std::vector<std::string>& expected,
                       const std::vector<std::string>& actual, size_t limit = 25) {
    std::vector<std::string> missing, extra;
    std::set_difference(expected.begin(), expected.end(), actual.begin(), actual.end(),
                        std::back_inserter(missing));
    std::set_difference(actual.begin(), actual.end(), expected.begin(), expected.end(),
                        std::back_inserter(extra));
    std::string text = std::to_string(missing.size()) + " missing, " +
                       std::to_string(extra.size()) + " unexpected\n";
    for (const auto& [label, list] : {std::pair{"missing: ", &missing}, {"unexpected: ", &extra}}) {
        for (size_t i = 0; i < list->size() && i < limit; ++i) {
            text += label + (*list)[i].substr(0, 300) + "\n";
        }
    }
    return text;
}

// Text compared after line ends (CRLF, or a lone CR, which sending turns into a line break) and
// trailing blanks are evened out.
std::string Evened(const std::string& text) {
    std::string evened;
    for (size_t i = 0; i < text.size(); ++i) {
        evened += text[i] == '\r' ? '\n' : text[i];
        i += text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n' ? 1 : 0;
    }
    const size_t end = evened.find_last_not_of(" \t\n");
    return end == std::string::npos ? std::string() : evened.substr(0, end + 1);
}

std::string Collapsed(const std::string& text) {
    std::string collapsed;
    for (char c : text) {
        const bool blank = c == ' ' || c == '\t' || c == '\r' || c == '\n';
        if (!blank || (!collapsed.empty() && collapsed.back() != ' ')) {
            collapsed += blank ? ' ' : c;
        }
    }
    return Evened(collapsed);
}

// Whether a reading that let "@domain" take in sub-domains would make the probe match.
bool ProbeTempted(const clsRuleSpec& probe, const clsMessageFacts& message) {
    const std::string tail = "." + Lower(probe.From.empty() ? probe.To : probe.From).substr(1);
    const auto longer = [&](const std::string& address) {
        const std::string domain = Lower(DomainOf(address));
        return domain.size() > tail.size() && domain.ends_with(tail);
    };
    return probe.From.empty()
               ? std::any_of(message.Recipients.begin(), message.Recipients.end(), longer)
               : longer(message.Sender);
}

// The subject a forward carries: "Fw: " before the original's unless it already begins so.
std::string ForwardSubject(const std::string& subject) {
    const std::string trimmed = Collapsed(subject);
    return Lower(trimmed.substr(0, 3)) == "fw:" ? trimmed : "Fw: " + trimmed;
}

// One mailbox in a private data folder and settings store, with the delivered messages and what
// the rules' meaning makes of each.
struct clsScenario {
    clsTempFolder Folder;
    std::vector<clsCorpusMessage> Messages;
    std::map<std::string, size_t> ByIdentity;
    std::vector<clsOutcome> Expected;

    std::filesystem::path DataDir() const { return Folder.Path() / "data"; }
    std::filesystem::path Maildir() const { return DataDir() / "Maildir"; }

    clsRun Run(const std::vector<std::string>& args) const {
        std::string line = "XDG_CONFIG_HOME=" + ShellQuoted((Folder.Path() / "config").string()) +
                           " XDG_DATA_HOME=" + ShellQuoted((Folder.Path() / "xdg").string()) + " " +
                           CORVEL_BINARY + " --data-dir " + ShellQuoted(DataDir().string());
        for (const std::string& arg : args) {
            line += " " + ShellQuoted(arg);
        }
        const auto out = Folder.Path() / "out", err = Folder.Path() / "err";
        line += " >" + ShellQuoted(out.string()) + " 2>" + ShellQuoted(err.string());
        const int status = std::system(line.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadWholeFile(out),
                ReadWholeFile(err)};
    }

    // Runs the command; "" when it exited 0, else what went wrong.
    std::string Check(const std::vector<std::string>& args, std::string* out = nullptr) const {
        const clsRun run = Run(args);
        if (out != nullptr) {
            *out = run.Out;
        }
        std::string line = "corvel";
        for (const std::string& arg : args) {
            line += " " + arg;
        }
        return run.ExitCode == 0
                   ? std::string()
                   : line + " exited " + std::to_string(run.ExitCode) + ": " + run.Err;
    }

    // The message, and the rules that matched it, for a failure message.
    std::string Story(size_t index) const {
        const clsCorpusMessage& message = Messages[index];
        std::string text = message.Origin + " from <" + message.Facts.Sender + "> subject \"" +
                           message.Facts.Subject.substr(0, 60) + "\"; rules:";
        for (size_t rule : Expected[index].Matched) {
            text += " [" + RuleText(kRules[rule]) + "]";
        }
        return text;
    }
};

// Prints how long each step took, so a slow run shows where its time went.
class clsStopwatch {
public:
    void Lap(const char* step) {
        const auto now = std::chrono::steady_clock::now();
        std::cout << "[ time     ] " << step << ": "
                  << std::chrono::duration<double>(now - mLast).count() << " s\n";
        mLast = now;
    }

private:
    std::chrono::steady_clock::time_point mLast = std::chrono::steady_clock::now();
};

clsFolderSet Folders() {
    std::vector<std::string> paths = kDefaultFolders;
    paths.insert(paths.end(), kMadeFolders.begin(), kMadeFolders.end());
    paths.push_back(kTemplates);
    return clsFolderSet(paths);
}

std::string AddRules(const clsScenario& s) {
    std::string templateID;
    std::string problem =
        s.Check({"templates", "create", "--subject", kReplyPrefix + " <-[ReceivedSubject]->",
                 "--body", "Thank you, <-[SenderEmail]->; we read every message."},
                &templateID);
    templateID = Evened(templateID);
    for (size_t i = 0; i < kRules.size() && problem.empty(); ++i) {
        problem = s.Check(AddArguments(kRules[i], templateID));
    }
    std::string list;
    if (problem.empty()) {
        problem = s.Check({"rules", "list"}, &list);
    }
    const auto lines = static_cast<size_t>(std::count(list.begin(), list.end(), '\n'));
    if (problem.empty() && lines != kRules.size()) {
        problem = "the database holds " + std::to_string(lines) + " rules, not " +
                  std::to_string(kRules.size()) + " (two rules with the same criteria merge)";
    }
    return problem;
}

// Makes the mailbox (a first run makes the profile and its Maildir), delivers the messages as an
// MTA does (tmp/, then a rename into new/), makes the folders and adds the rules. "" on success.
std::string Prepare(clsScenario& s, const std::filesystem::path& corpus) {
    std::string problem = s.Check({"folders"});
    s.Messages = SelectMessages(corpus);
    for (size_t i = 0; i < s.Messages.size() && problem.empty(); ++i) {
        const std::string name = std::to_string(100000 + i) + ".e2e.corvel";
        std::ofstream(s.Maildir() / "tmp" / name, std::ios::binary) << s.Messages[i].Raw;
        std::filesystem::rename(s.Maildir() / "tmp" / name, s.Maildir() / "new" / name);
        s.ByIdentity[Identity(s.Messages[i].Facts.Subject, s.Messages[i].Facts.Body)] = i;
    }
    for (size_t i = 0; i < kMadeFolders.size() && problem.empty(); ++i) {
        problem = s.Check({"folders", "create", kMadeFolders[i]});
    }
    if (problem.empty()) {
        problem = AddRules(s);
    }
    const clsFolderSet folders = Folders();
    for (const clsCorpusMessage& message : s.Messages) {
        s.Expected.push_back(
            Carry(kRules, MatchingRules(kRules, message.Facts), message.Facts, folders));
    }
    return problem;
}

// One text per item of the mailbox: where it is and its state, for before/after comparisons.
std::vector<std::string> Snapshot(const std::vector<clsFoundItem>& items) {
    std::vector<std::string> texts;
    for (const clsFoundItem& item : items) {
        texts.push_back(item.Folder + " | " + item.Subject + " | " +
                        std::to_string(std::hash<std::string>{}(item.Body)) +
                        (item.Unread ? " | unread | " : " | read | ") + LevelText(item.Level) +
                        (item.Created ? " | copy" : ""));
    }
    return Sorted(texts);
}

std::string States(const std::vector<clsItemState>& states) {
    std::string text;
    for (const clsItemState& state : states) {
        text += " [" + StateText(state) + "]";
    }
    return text.empty() ? " none" : text;
}

// The table itself must be sound, or the checks below prove little: every rule meets messages it
// is meant for (switched-off and sent-mail rules would meet some if they were on), and the probes
// meet none, only longer domains that end in theirs.
void CheckRuleTable(const clsScenario& s) {
    ASSERT_GE(s.Messages.size(), 1000u);
    for (const clsRuleSpec& rule : kRules) {
        SCOPED_TRACE(RuleText(rule));
        size_t hits = 0, tails = 0;
        for (const clsCorpusMessage& message : s.Messages) {
            hits += CriteriaHold(rule, message.Facts) ? 1 : 0;
            tails += rule.Probe && ProbeTempted(rule, message.Facts) ? 1 : 0;
        }
        EXPECT_EQ(hits == 0, rule.Probe) << hits << " messages meet the criteria";
        EXPECT_EQ(tails > 0, rule.Probe) << "no longer domain ends in the probe's";
    }
}

void CheckProcessRun(const clsScenario& s, const clsRun& run) {
    EXPECT_EQ(run.ExitCode, 0) << run.Err;
    const std::string total = std::to_string(s.Messages.size());
    EXPECT_NE(run.Out.find(total + " items processed"), std::string::npos) << run.Out;
    size_t progress = 0;
    for (size_t at = run.Err.find(" of " + total + "\n"); at != std::string::npos;
         at = run.Err.find(" of " + total + "\n", at + 1)) {
        ++progress;
    }
    EXPECT_GT(progress, 1u) << "no progress shown while processing:\n" << run.Err;
}

// Each message must be found exactly once as an original (without "RRCreated", with "RRCV"), in
// the folder its rules send it to, read or unread and of the importance they leave it; and its
// copies, each carrying "RRCreated", in the folders the rules copy it to, in the state it had when
// copied.
void CheckMessages(const clsScenario& s, const std::vector<clsFoundItem>& found) {
    std::vector<std::vector<clsItemState>> originals(s.Messages.size()), copies(originals.size());
    std::vector<std::string> problems;
    for (const clsFoundItem& item : found) {
        const auto known = s.ByIdentity.find(Identity(item.Subject, item.Body));
        if (known == s.ByIdentity.end()) {
            continue;  // forwards, replies, reports and the template: checked apart
        }
        (item.Created ? copies : originals)[known->second].push_back(
            {item.Folder, item.Unread, item.Level});
        if (!item.Created && !item.Processed) {
            problems.push_back("no RRCV on the original in " + item.Folder + ": " +
                               s.Story(known->second));
        }
    }
    for (size_t i = 0; i < s.Messages.size(); ++i) {
        std::sort(copies[i].begin(), copies[i].end());
        if (originals[i] != std::vector<clsItemState>{s.Expected[i].Original}) {
            problems.push_back("expected " + StateText(s.Expected[i].Original) + ", found" +
                               States(originals[i]) + ": " + s.Story(i));
        }
        if (copies[i] != s.Expected[i].Copies) {
            problems.push_back("copies expected" + States(s.Expected[i].Copies) + ", found" +
                               States(copies[i]) + ": " + s.Story(i));
        }
    }
    std::string text;
    for (size_t i = 0; i < problems.size() && i < 40; ++i) {
        text += problems[i] + "\n";
    }
    EXPECT_TRUE(problems.empty()) << problems.size() << " problems, the first:\n" << text;
}

// Forwards and auto-replies leave through the default transport, which files them in the Outbox.
void CheckOutbox(const clsScenario& s, const std::vector<clsFoundItem>& found) {
    std::vector<std::string> expected, actual;
    for (size_t i = 0; i < s.Messages.size(); ++i) {
        const clsMessageFacts& facts = s.Messages[i].Facts;
        for (const std::string& address : s.Expected[i].Forwards) {
            expected.push_back("forward to " + address + ": " + ForwardSubject(facts.Subject));
        }
        for (int n = 0; n < s.Expected[i].AutoReplies; ++n) {
            expected.push_back("reply to " + Lower(facts.Sender) + ": " +
                               Collapsed(kReplyPrefix + " " + facts.Subject));
        }
    }
    for (const clsFoundItem& item : found) {
        if (item.Folder == kOutbox) {
            std::string to;
            for (const std::string& recipient : item.Recipients) {
                to += (to.empty() ? "" : ",") + recipient;
            }
            const bool reply = item.Subject.rfind(kReplyPrefix, 0) == 0;
            actual.push_back((reply ? "reply to " : "forward to ") + to + ": " +
                             Collapsed(item.Subject));
        }
    }
    expected = Sorted(expected);
    actual = Sorted(actual);
    EXPECT_EQ(expected.size(), actual.size());
    EXPECT_TRUE(expected == actual) << Difference(expected, actual);
}

// A rule naming a folder that is not there files one report per message and missing folder in the
// Inbox, holding the message's text; its other actions still run (CheckMessages).
void CheckReports(const clsScenario& s, const std::vector<clsFoundItem>& found) {
    std::vector<std::string> expected, actual;
    for (size_t i = 0; i < s.Messages.size(); ++i) {
        for (const std::string& path : s.Expected[i].MissingFolders) {
            expected.push_back(kInbox + " | " + path + " | " + Evened(s.Messages[i].Facts.Body));
        }
    }
    for (const clsFoundItem& item : found) {
        if (item.Subject.rfind(kReportPrefix, 0) != 0) {
            continue;
        }
        const std::string path = item.Subject.substr(
            kReportPrefix.size(), item.Subject.size() - kReportPrefix.size() - 1);
        std::string body = Evened(item.Body);
        const bool noted = body.ends_with(kReportNote);
        EXPECT_TRUE(noted) << "report without its note: " << item.Subject;
        body = Evened(body.substr(0, noted ? body.size() - kReportNote.size() : body.size()));
        actual.push_back(item.Folder + " | " + path + " | " + body);
    }
    expected = Sorted(expected);
    actual = Sorted(actual);
    EXPECT_EQ(expected.size(), actual.size());
    EXPECT_TRUE(expected == actual) << Difference(expected, actual, 10);
}

// Nothing is left that no check accounts for: every item is an original or copy of a delivered
// message, a forward or reply in the Outbox, a report in the Inbox, or the one reply template.
void CheckNothingElse(const clsScenario& s, const std::vector<clsFoundItem>& found) {
    std::vector<std::string> strays;
    size_t templates = 0;
    for (const clsFoundItem& item : found) {
        const bool known = s.ByIdentity.count(Identity(item.Subject, item.Body)) > 0;
        const bool report = item.Subject.rfind(kReportPrefix, 0) == 0 && item.Folder == kInbox;
        templates += item.Folder == kTemplates ? 1 : 0;
        if (!known && !report && item.Folder != kOutbox && item.Folder != kTemplates) {
            strays.push_back(item.Folder + ": " + item.Subject);
        }
    }
    EXPECT_EQ(templates, 1u);
    EXPECT_TRUE(strays.empty()) << strays.size() << " stray items, e.g. " << strays.front();
}

// Every message now carries "RRCV" and every copy "RRCreated" (the reports must never be matched
// either): running over the Inbox again, or over folders that received copies, changes nothing.
void CheckProcessingAgain(const clsScenario& s, const std::vector<clsFoundItem>& found) {
    std::vector<std::string> before = Snapshot(found);
    for (const std::string& folder : {kInbox, kArchive, kIlug}) {
        SCOPED_TRACE(folder);
        const clsRun again = s.Run({"process", folder});
        EXPECT_EQ(again.ExitCode, 0) << again.Err;
        const std::vector<std::string> after = Snapshot(ReadMailbox(s.Maildir()));
        EXPECT_TRUE(before == after) << Difference(before, after, 10);
        before = after;
    }
}

}  // namespace

TEST(RulesEndToEnd, AThousandRealMessagesEndWhereFiftyRulesSendThem) {
    const char* corpus = std::getenv("CORVEL_CORPUS_MAILDIR");
    if (corpus == nullptr || !std::filesystem::is_directory(corpus)) {
        GTEST_SKIP() << "set CORVEL_CORPUS_MAILDIR to the corpus Maildir "
                        "(bench/make-corpus-maildir.sh makes it)";
    }
    clsMimeMessage::Initialise();
    clsScenario s;
    clsStopwatch stopwatch;
    ASSERT_EQ(Prepare(s, corpus), "");
    stopwatch.Lap("preparing");
    CheckRuleTable(s);
    const clsRun process = s.Run({"process", kInbox});
    stopwatch.Lap("corvel process");
    CheckProcessRun(s, process);

    const std::vector<clsFoundItem> found = ReadMailbox(s.Maildir());
    using clsCheck = void (*)(const clsScenario&, const std::vector<clsFoundItem>&);
    for (const auto& [what, check] : std::initializer_list<std::pair<const char*, clsCheck>>{
             {"messages", CheckMessages},
             {"outbox", CheckOutbox},
             {"reports", CheckReports},
             {"strays", CheckNothingElse},
             {"processing again", CheckProcessingAgain}}) {
        SCOPED_TRACE(what);
        check(s, found);
    }
    stopwatch.Lap("checking and processing again");
}
