// The rules engine end to end: fifty rules covering every criterion and action, added with the
// corvel binary, and `corvel process` over a thousand corpus messages in a fresh Inbox. Each
// message's fate, worked out from the rules' meaning (RulesModel.h), is compared with the Maildir;
// processing again must change nothing.
#include <gtest/gtest.h>

#include <map>
#include <sstream>

#include "RulesModel.h"
#include "cli/CliTestSupport.h"
#include "mailhost/clsMailItems.h"
#include "mailhost/mime/clsMimeMessage.h"

namespace {

using namespace rules_model;

const std::string kOutbox = "\\\\Mailbox\\Outbox";
const std::string kTemplates = "\\\\Mailbox\\Autoreply Templates (Corvel)";
const std::string kReportPrefix = "Rule failed - couldn't locate folder \"";
const std::string kReportNote =
    "The above message could not be sorted.  Please check your configuration and the existence "
    "of the specified folder.";
const std::string kReplyPrefix = "Auto-answer:";

const std::pair<const char*, size_t> kCorpusParts[] = {{"easy-ham-1", 300},
                                                       {"easy-ham-2", 150},
                                                       {"hard-ham-1", 100},
                                                       {"spam-1", 200},
                                                       {"spam-2", 250}};

std::string In(const std::string& name) { return kInbox + "\\" + name; }

const std::string kArchive = "\\\\Mailbox\\Archive";
const std::string kIlug = In("Lists\\ILUG");
const std::string kAudit = In("Audit");
const std::string kNowhere = In("Nowhere");

// The folders the scenario makes, parents first. "Nowhere" and "Archive\Gone" are never made.
const std::vector<std::string> kMadeFolders = {
    kArchive,      In("Forteana"),    In("Lists"), kIlug,       In("Social"), In("Fork"),
    In("Threads"), In("Newsletters"), In("Spam"),  In("Money"), In("RPM"),    In("Perl"),
    kAudit,        In("Irish")};

// Created in this order; the priorities interleave, so evaluation order is not creation order.
const std::vector<clsRuleSpec> kRules = {
    // Sender and recipient criteria (exact address, exact domain, any case).
    {.Priority = 4, .From = "TimC@2UBH.com", .MoveTo = In("Forteana"), .MarkRead = true},
    {.Priority = 12, .From = "@linux.ie", .MarkRead = true},
    {.Priority = 14, .From = "@ed.ac.uk", .CopyTo = kArchive, .Probe = true},
    {.Priority = 8, .To = "ilug@linux.ie", .MoveTo = kIlug},
    {.Priority = 6, .To = "@YahooGroups.com", .CopyTo = kArchive},
    {.Priority = 13, .To = "@taint.org", .Importance = "H"},
    {.Priority = 50, .To = "@ie", .Delete = true, .Probe = true},
    {.Priority = 11, .To = "social@linux.ie", .MoveTo = In("Social"), .Importance = "H"},
    {.Priority = 28, .To = "rpm-zzzlist@freshrpms.net", .MoveTo = In("RPM")},
    {.Priority = 44, .To = "fork@spamassassin.taint.org", .MoveTo = In("Fork")},
    {.Priority = 15, .To = "exmh-workers@spamassassin.taint.org", .CopyTo = In("Lists")},
    // Subject and body.
    {.Priority = 9, .Subject = "[ILUG]", .CopyTo = kIlug},
    {.Priority = 7, .Subject = "[zzzzteana]", .CopyTo = kArchive, .Importance = "L"},
    {.Priority = 16, .Subject = "spam", .CopyTo = In("Spam"), .MarkRead = true},
    {.Priority = 17, .Body = "mortgage", .MoveTo = In("Money")},
    {.Priority = 30, .Body = "perl", .MoveTo = "Perl"},
    {.Priority = 45, .Subject = "sequences", .CopyTo = In("Lists")},
    {.Priority = 49, .Subject = "new", .CopyTo = kArchive},
    // Two criteria together.
    {.Priority = 18, .Subject = "money", .Body = "guarantee", .Importance = "H"},
    {.Priority = 19, .From = "@yahoo.com", .Subject = "!", .CopyTo = In("Spam")},
    {.Priority = 24, .From = "@hotmail.com", .Body = "remove", .CopyTo = kAudit, .Delete = true},
    {.Priority = 47, .Subject = "bank", .MoveTo = In("Money"), .Importance = "L"},
    // Stopping: the first rule of all stops, and one in the middle.
    {.Priority = 34,
     .To = "@spamassassin.taint.org",
     .Subject = "re:",
     .MoveTo = In("Threads"),
     .Stop = true},
    {.Priority = 35, .Body = "linux", .Importance = "L"},
    {.Priority = 2, .Body = "spamassassin", .CopyTo = kAudit},
    {.Priority = 1,
     .From = "@newsletter.online.com",
     .MoveTo = In("Newsletters"),
     .MarkRead = true,
     .Stop = true},
    // Rules on sent mail and switched-off rules: none may act on the Inbox.
    {.Priority = 5, .To = "ilug@linux.ie", .Delete = true, .Outgoing = true},
    {.Priority = 20, .Subject = "re:", .MoveTo = kArchive, .Outgoing = true},
    {.Priority = 36, .From = "timc@2ubh.com", .Forward = "sent@example.org", .Outgoing = true},
    {.Priority = 3, .Subject = "[ilug]", .Delete = true, .Stop = true, .Disabled = true},
    {.Priority = 10, .From = "@hotmail.com", .MoveTo = In("Spam"), .Disabled = true},
    {.Priority = 39, .Body = "irish", .Forward = "off@example.org", .Disabled = true},
    // Deleting, forwarding, answering.
    {.Priority = 21, .Body = "viagra", .Delete = true},
    {.Priority = 22, .Body = "investment", .Delete = true},
    {.Priority = 23, .Subject = "adv", .Forward = "adv-review@example.org"},
    {.Priority = 37, .Subject = "fw:", .Forward = "fw-review@example.org"},
    {.Priority = 32,
     .From = "@site-personals.com",
     .Forward = "abuse@example.org",
     .MarkRead = true},
    {.Priority = 38, .Body = "click here", .AutoReply = true},
    // Importance.
    {.Priority = 31, .Body = "webcam", .Importance = "N"},
    {.Priority = 42, .Subject = "dvd", .Importance = "H"},
    {.Priority = 43, .From = "@excite.com", .Importance = "L", .MarkRead = true},
    // Filing that meets earlier filing.
    {.Priority = 33, .To = "@netnoteinc.com", .CopyTo = kArchive, .MoveTo = In("Spam")},
    {.Priority = 29, .Subject = "rpm", .CopyTo = kInbox},
    {.Priority = 40, .From = "@eircom.net", .CopyTo = In("Irish")},
    {.Priority = 41, .Body = "ireland", .MoveTo = In("Irish")},
    {.Priority = 48, .Body = "exmh", .CopyTo = kAudit},
    {.Priority = 46, .Body = "unsubscribe", .MarkRead = true},
    // Folders that do not exist: the other actions still run.
    {.Priority = 25, .Body = "dollars", .MoveTo = kNowhere, .MarkRead = true},
    {.Priority = 26, .Subject = "free", .CopyTo = kNowhere},
    {.Priority = 27, .From = "@msn.com", .MoveTo = "\\\\Mailbox\\Archive\\Gone", .Importance = "L"},
};

struct clsCorpusMessage {
    std::string Origin;  // corpus part and file name
    std::string Raw;
    clsMessageFacts Facts;
};

struct clsFoundItem {
    std::string Folder, Subject, Body;
    std::string Recipients;  // lower case, one space apart
    clsItemState State;
    bool Processed = false;  // carries "RRCV"
    bool Created = false;    // carries "RRCreated"
};

std::string Identity(const std::string& subject, const std::string& body) {
    return subject + "\x1f" + body;
}

// The first messages of each corpus part in file-name order, leaving out any whose subject and
// body repeat an earlier one's: such twins could not be told apart afterwards, and a copy of the
// second would rightly be refused as a duplicate.
std::vector<clsCorpusMessage> SelectMessages(const std::filesystem::path& corpus) {
    std::vector<clsCorpusMessage> chosen;
    std::set<std::string> seen;
    for (const auto& [part, count] : kCorpusParts) {
        const auto files = SortedFiles(corpus / ("." + std::string(part)) / "cur");
        size_t taken = 0;
        for (size_t i = 0; i < files.size() && taken < count; ++i) {
            std::string raw = ReadWholeFile(files[i]);
            const clsMimeMessage mime = clsMimeMessage::Parse(raw);
            if (mime.Ok() && seen.insert(Identity(mime.Subject(), mime.Body())).second) {
                chosen.push_back({std::string(part) + "/" + files[i].filename().string(),
                                  std::move(raw), FactsOf(mime)});
                ++taken;
            }
        }
    }
    return chosen;
}

// Every item of every folder, read through the mail host as any other program would.
std::vector<clsFoundItem> ReadMailbox(const std::filesystem::path& root) {
    std::vector<clsFoundItem> found;
    ForEachStoredItem(root, [&found](const clsMailFolder& folder, const clsMailItem& item) {
        clsFoundItem& one = found.emplace_back();
        one = {folder.FolderPath(),
               item.Message().Subject(),
               item.Message().Body(),
               {},
               {folder.FolderPath(), item.UnRead(), item.GetImportance()}};
        for (const clsMailAddress& recipient : item.Message().Recipients()) {
            one.Recipients += (one.Recipients.empty() ? "" : " ") + Lower(recipient.Address);
        }
        for (const auto& [name, flag] :
             {std::pair{"RRCV", &one.Processed}, {"RRCreated", &one.Created}}) {
            const auto value = item.FindUserProperty(name);
            *flag = value && !value->Text.empty();
        }
    });
    return found;
}

// Compares two lists of texts regardless of order, naming what is missing and what is unexpected.
void ExpectSame(std::vector<std::string> expected, std::vector<std::string> actual) {
    std::sort(expected.begin(), expected.end());
    std::sort(actual.begin(), actual.end());
    std::vector<std::string> missing, extra;
    std::set_difference(expected.begin(), expected.end(), actual.begin(), actual.end(),
                        std::back_inserter(missing));
    std::set_difference(actual.begin(), actual.end(), expected.begin(), expected.end(),
                        std::back_inserter(extra));
    std::string text;
    for (const auto& [label, list] : {std::pair{"missing: ", &missing}, {"unexpected: ", &extra}}) {
        for (size_t i = 0; i < list->size() && i < 20; ++i) {
            text += label + (*list)[i].substr(0, 400) + "\n";
        }
    }
    EXPECT_TRUE(missing.empty() && extra.empty())
        << missing.size() << " missing, " << extra.size() << " unexpected\n"
        << text;
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

// Words joined by single spaces, as a header's folded or padded text is compared.
std::string Collapsed(const std::string& text) {
    std::istringstream words(text);
    std::string word, collapsed;
    while (words >> word) {
        collapsed += (collapsed.empty() ? "" : " ") + word;
    }
    return collapsed;
}

}  // namespace

// One mailbox in a private settings store, with the delivered messages and what the rules'
// meaning makes of each.
class RulesEndToEnd : public clsCorvelCommandTest {
protected:
    std::vector<clsCorpusMessage> mMessages;
    std::map<std::string, size_t> mByIdentity;
    std::vector<clsOutcome> mExpected;

    // The message, and the rules that matched it, for a failure message.
    std::string Story(size_t index) const {
        const clsCorpusMessage& message = mMessages[index];
        std::string text = message.Origin + " from <" + message.Facts.Sender + "> subject \"" +
                           message.Facts.Subject.substr(0, 60) + "\"; rules";
        for (size_t rule : mExpected[index].Matched) {
            text += " P" + std::to_string(kRules[rule].Priority);
        }
        return text;
    }

    // Makes the mailbox (a first run makes the profile and its Maildir), delivers the messages as
    // an MTA does (tmp/, then a rename into new/), makes the folders and adds the rules; every
    // rule must be stored apart (two with the same criteria would merge).
    void Prepare(const std::filesystem::path& corpus) {
        Must({"folders"});
        mMessages = SelectMessages(corpus);
        for (size_t i = 0; i < mMessages.size(); ++i) {
            Deliver(DefaultMaildir(), std::to_string(100000 + i) + ".e2e.corvel", mMessages[i].Raw);
            mByIdentity[Identity(mMessages[i].Facts.Subject, mMessages[i].Facts.Body)] = i;
        }
        for (const std::string& folder : kMadeFolders) {
            Must({"folders", "create", folder});
        }
        const std::string templateID = Evened(
            Must({"templates", "create", "--subject", kReplyPrefix + " <-[ReceivedSubject]->",
                  "--body", "Thank you, <-[SenderEmail]->; we read every message."}));
        for (const clsRuleSpec& rule : kRules) {
            Must(AddArguments(rule, templateID));
        }
        const std::string list = Must({"rules", "list"});
        EXPECT_EQ(std::count(list.begin(), list.end(), '\n'), std::ssize(kRules)) << list;
        std::vector<std::string> folders = {kInbox, kDeletedItems, kOutbox, kTemplates};
        folders.insert(folders.end(), kMadeFolders.begin(), kMadeFolders.end());
        for (const clsCorpusMessage& message : mMessages) {
            mExpected.push_back(
                Carry(kRules, MatchingRules(kRules, message.Facts), message.Facts, folders));
        }
    }

    // The table itself must be sound, or the checks below prove little: every rule meets messages
    // it is meant for (switched-off and sent-mail rules would meet some if they were on), and the
    // probes, whose domains are only the tails of longer ones here, meet none.
    void CheckRuleTable() {
        ASSERT_GE(mMessages.size(), 1000u);
        for (const clsRuleSpec& rule : kRules) {
            const auto hits = std::count_if(
                mMessages.begin(), mMessages.end(),
                [&](const clsCorpusMessage& m) { return CriteriaHold(rule, m.Facts); });
            EXPECT_EQ(hits == 0, rule.Probe) << hits << " messages meet P" << rule.Priority;
        }
    }

    // Each message must be found exactly once as an original (without "RRCreated", with "RRCV"),
    // in the folder its rules send it to, read or unread and of the importance they leave it, and
    // its copies, each carrying "RRCreated", where the rules copy it, in the state it had then.
    // Forwards and auto-replies leave through the default transport, which files them in the
    // Outbox; a forward's subject gains "Fw: " unless it already begins so. A rule naming a
    // missing folder files one report per message and folder in the Inbox, holding the message's
    // text and a note. Besides those, only the reply template is left.
    void CheckMailbox(const std::vector<clsFoundItem>& found) {
        std::vector<std::string> expected{"stray " + kTemplates + ": " + kReplyPrefix +
                                          " <-[ReceivedSubject]->"};
        for (size_t i = 0; i < mMessages.size(); ++i) {
            const clsOutcome& outcome = mExpected[i];
            const clsMessageFacts& facts = mMessages[i].Facts;
            expected.push_back("original " + StateText(outcome.Original) + ": " + Story(i));
            for (const clsItemState& copy : outcome.Copies) {
                expected.push_back("copy " + StateText(copy) + ": " + Story(i));
            }
            const std::string subject = Collapsed(facts.Subject);
            for (const std::string& address : outcome.Forwards) {
                expected.push_back(
                    "sent " + address + ": " +
                    (Lower(subject.substr(0, 3)) == "fw:" ? subject : "Fw: " + subject));
            }
            for (int n = 0; n < outcome.AutoReplies; ++n) {
                expected.push_back("sent " + Lower(facts.Sender) + ": " +
                                   Collapsed(kReplyPrefix + " " + facts.Subject));
            }
            for (const std::string& path : outcome.MissingFolders) {
                expected.push_back("report " + kInbox + " | " + path + " | " + Evened(facts.Body));
            }
        }
        std::vector<std::string> actual;
        for (const clsFoundItem& item : found) {
            actual.push_back(Described(item));
        }
        ExpectSame(expected, actual);
    }

    // A found item in the terms CheckMailbox expects.
    std::string Described(const clsFoundItem& item) const {
        if (item.Folder == kOutbox) {
            return "sent " + item.Recipients + ": " + Collapsed(item.Subject);
        }
        if (item.Subject.starts_with(kReportPrefix)) {
            const std::string path = item.Subject.substr(
                kReportPrefix.size(), item.Subject.size() - kReportPrefix.size() - 1);
            const std::string body = Evened(item.Body);
            return "report " + item.Folder + " | " + path + " | " +
                   (body.ends_with(kReportNote)
                        ? Evened(body.substr(0, body.size() - kReportNote.size()))
                        : body + " (without the note)");
        }
        const auto known = mByIdentity.find(Identity(item.Subject, item.Body));
        if (known == mByIdentity.end()) {
            return "stray " + item.Folder + ": " + item.Subject;
        }
        const char* kind = item.Created     ? "copy "
                           : item.Processed ? "original "
                                            : "original without RRCV ";
        return kind + StateText(item.State) + ": " + Story(known->second);
    }

    // Every message now carries "RRCV" and every copy "RRCreated" (the reports must never be
    // matched either): running over the Inbox again, or over folders that received copies,
    // changes nothing.
    void CheckProcessingAgain(const std::vector<clsFoundItem>& found) {
        const auto snapshot = [](const std::vector<clsFoundItem>& items) {
            std::vector<std::string> texts;
            for (const clsFoundItem& item : items) {
                texts.push_back(StateText(item.State) + " | " + item.Subject + " | " +
                                std::to_string(std::hash<std::string>{}(item.Body)) +
                                (item.Created ? " | copy" : ""));
            }
            return texts;
        };
        for (const std::string& folder : {kInbox, kArchive, kIlug}) {
            SCOPED_TRACE(folder);
            Must({"process", folder});
            ExpectSame(snapshot(found), snapshot(ReadMailbox(DefaultMaildir())));
        }
    }
};

TEST_F(RulesEndToEnd, AThousandRealMessagesEndWhereFiftyRulesSendThem) {
    const char* corpus = std::getenv("CORVEL_CORPUS_MAILDIR");
    if (corpus == nullptr || !std::filesystem::is_directory(corpus)) {
        GTEST_SKIP() << "set CORVEL_CORPUS_MAILDIR to the corpus Maildir "
                        "(bench/make-corpus-maildir.sh makes it)";
    }
    clsMimeMessage::Initialise();
    Prepare(corpus);
    ASSERT_FALSE(HasFailure());
    CheckRuleTable();
    const clsRun process = Run({"process", kInbox});
    EXPECT_EQ(process.ExitCode, 0) << process.Err;
    const std::string total = std::to_string(mMessages.size());
    EXPECT_TRUE(Holds(process.Out, total + " items processed")) << process.Out;

    const std::vector<clsFoundItem> found = ReadMailbox(DefaultMaildir());
    CheckMailbox(found);
    CheckProcessingAgain(found);
}
