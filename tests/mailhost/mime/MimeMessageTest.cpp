#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "mailhost/mime/clsCharsetText.h"
#include "mailhost/mime/clsMimeMessage.h"
#include "support/TestSupport.h"

namespace {

using namespace std::string_view_literals;

std::string MailFixture(std::string_view name) {
    return ReadWholeFile(std::filesystem::path(CORVEL_FIXTURES) / "mail" / name);
}

struct ReadCase {
    std::string_view File, Subject, Body, SenderName, SenderAddress, TypeName = "MailItem";
    bool Ok = true;
};

// Well-formed mail decodes whole; hostile or broken mail reads as far as it can, with no crash
// and no garbage in the fields.
TEST(MimeMessageRead, DecodesSubjectBodySenderAndTypeOfWhatItCanRead) {
    for (const ReadCase& c : {
             ReadCase{"rfc2047-q.eml", "Café crème for \"everyone\"", "Coffee at three.\n",
                      "Jürgen Müller", "jurgen@example.de"},
             // Two adjacent padded base64 words: GMime alone loses the second.
             ReadCase{"rfc2047-b-base64.eml", "Überlegen und 東京", "Grüße aus Köln — 東京\n", "",
                      "sender@example.com"},
             ReadCase{"latin1-qp.eml", "Grüße",
                      "Grüße aus Köln, this line is long enough to be wrapped by a soft line "
                      "break= kept.\n",
                      "Müller", "mueller@example.de"},
             ReadCase{"cp1252-undeclared.eml", "“Smart” price € 10 – café",
                      "He said “hello” – café € 5\n", "“Quoted” Sender", "q@example.com"},
             ReadCase{"alternative.eml", "alternative", "Plain version", "", "alt@example.com"},
             ReadCase{"html-only.eml", "Offer",
                      "Big sale today!\nPrice: 10€ & up\nCafé “quoted”\nLine one\nLine two\n\n"
                      "After gap\nCell A Cell B\nCell C\nfirst\nsecond\nEnd",
                      "Shop", "news@shop.example"},
             ReadCase{"attachment-first.eml", "with attachment", "The real body.", "",
                      "att@example.com"},
             ReadCase{"dsn-report.eml", "Undelivered Mail Returned to Sender",
                      "This is the mail system at host mx.example.com.\nYour message could not "
                      "be delivered.",
                      "Mail Delivery System", "MAILER-DAEMON@mx.example.com", "ReportItem"},
             ReadCase{"calendar-request.eml", "Invitation: planning",
                      "You are invited to planning.", "Organiser", "org@example.com",
                      "MeetingItem"},
             ReadCase{"calendar-cancel-nomethod.eml", "Cancelled: planning", "Cancelled.", "",
                      "org@example.com", "MeetingItem"},
             ReadCase{"from-quotes-commas.eml", "quotes", "text\n", "Smith, John \"JJ\" (Sales)",
                      "john.smith@example.com"},
             ReadCase{"sender-fallback.eml", "sender header", "text\n", "Real Sender",
                      "real@example.com"},
             ReadCase{"no-blank-line.eml", "no blank line",
                      "This line is the body's first.\nSecond body line.\n", "", "nb@example.com"},
             ReadCase{"bare-lf-mixed.eml", "mixed line ends", "line one\nline two\r\nline\rthree\n",
                      "", "mixed@example.com"},
             // A NUL inside the sender's address makes it no address: without the NUL it
             // would be another one.
             ReadCase{"nul-bytes.eml", "beforeafter", "body\0with nul\n"sv, "", ""},
             ReadCase{"broken-rfc2047.eml",
                      "unterminated word =?bogus-charset?q?abc =?utf-8?x?odd?= oké", "text\n",
                      "=?utf-8?q?Broken", "broken@example.com"},
             ReadCase{"from-control-chars.eml", "control", "text\n", "Evil Bcc: x@y.z", ""},
             ReadCase{"unterminated-boundary.eml", "unterminated", "The only part, never closed.\n",
                      "", "cut@example.com"},
             ReadCase{"base64-garbage.eml", "garbage", "Hello world", "", "garbage@example.com"},
             ReadCase{"headers-only.eml", "headers only", "", "", "only@example.com"},
             ReadCase{"empty.eml", "", "", "", "", "MailItem", false},
             ReadCase{"not-a-message.eml", "", "", "", "", "MailItem", false},
         }) {
        SCOPED_TRACE(c.File);
        const clsMimeMessage message = clsMimeMessage::Parse(MailFixture(c.File));
        EXPECT_EQ(message.Ok(), c.Ok) << message.Error();
        EXPECT_EQ(message.Subject(), c.Subject);
        EXPECT_TRUE(clsCharsetText::IsValidUtf8(message.Subject()));
        EXPECT_EQ(message.Body(), c.Body);
        EXPECT_EQ(message.Sender().Name, c.SenderName);
        EXPECT_EQ(message.Sender().Address, c.SenderAddress);
        EXPECT_EQ(message.TypeName(), c.TypeName);
    }
}

// Each recipient as "To Name <address>", joined by "; ".
std::string RecipientsOf(std::string_view file) {
    constexpr const char* kKinds[] = {"To", "Cc", "Bcc"};
    const clsMimeMessage message = clsMimeMessage::Parse(MailFixture(file));
    std::string text;
    for (const clsMailAddress& to : message.Recipients()) {
        text += (text.empty() ? "" : "; ") + std::string(kKinds[static_cast<int>(to.Kind)]) + " " +
                to.DisplayString();
    }
    return text;
}

TEST(MimeMessageRead, ListsToCcAndBccWithGroupsFlattened) {
    EXPECT_EQ(RecipientsOf("rfc2047-q.eml"),
              "To Ann <ann@example.org>; To Lee, B <b@example.org>; Cc carl@example.net; "
              "Cc Dee <dee@example.net>; Bcc hidden@example.com");
    // An empty group adds nobody.
    EXPECT_EQ(RecipientsOf("from-quotes-commas.eml"), "To Doe, Jane <jane@example.com>");
    // Like the sender's, an address holding a control character is no address: without the
    // character it would be another one.
    EXPECT_EQ(RecipientsOf("from-control-chars.eml"),
              "To Tab here <tab@example.com>; To CtlName <>");
}

std::string NestedMultiparts(int levels) {
    std::string head = "From: nest@example.com\nSubject: nested\nMIME-Version: 1.0\n", tail;
    for (int level = 0; level < levels; ++level) {
        const std::string boundary = "b" + std::to_string(level);
        head +=
            "Content-Type: multipart/mixed; boundary=\"" + boundary + "\"\n\n--" + boundary + "\n";
        tail = "--" + boundary + "--\n" + tail;
    }
    return head + "Content-Type: text/plain\n\ndeep body\n" + tail;
}

struct HugeCase {
    std::string Name, Raw;
    bool Ok;
    std::size_t SubjectSize;
    std::string Body;
};

// Sizes and depths that hostile mail uses: read whole, within the stack, in reasonable time.
TEST(MimeMessageRead, SurvivesHugeLinesHeadersAndDeepNesting) {
    const std::string twoMegabytes(2 * 1024 * 1024, 'x');
    std::string foldedSubject;
    for (int line = 0; line < 1000; ++line) {
        foldedSubject += (line == 0 ? "" : "\n ") + std::string(99, 'f');
    }
    const std::vector<HugeCase> cases = {
        {"a 2 MB line and no header", twoMegabytes, false, 0, ""},
        {"a 2 MB body line", "From: a@example.com\nSubject: s\n\n" + twoMegabytes, true, 1,
         twoMegabytes},
        {"a 100 KB folded header", "From: a@example.com\nSubject: " + foldedSubject + "\n\nb", true,
         1000 * 100 - 1, "b"},
        {"50 nested multiparts", NestedMultiparts(50), true, 6, "deep body"},
        {"200 nested multiparts: the deep part is ignored", NestedMultiparts(200), true, 6, ""},
    };
    for (const HugeCase& c : cases) {
        SCOPED_TRACE(c.Name);
        const clsMimeMessage message = clsMimeMessage::Parse(c.Raw);
        EXPECT_EQ(message.Ok(), c.Ok) << message.Error();
        EXPECT_EQ(message.Subject().size(), c.SubjectSize);
        EXPECT_EQ(message.Body(), c.Body);
    }
}

struct HeaderFieldsCase {
    std::string_view Headers;
    Importance ExpectedImportance;
    bool ReadReceipt = false;
    std::time_t Date = 0;  // 0: no date
    std::string_view MessageID = "";
};

// Importance first, then X-Priority; a date when it can; the Message-ID without brackets.
TEST(MimeMessageRead, ReadsImportanceReceiptRequestDateAndMessageId) {
    using enum Importance;
    for (const HeaderFieldsCase& c : {
             HeaderFieldsCase{"Importance: normal\nX-Priority: 1\n", Normal},
             HeaderFieldsCase{"Importance: urgent\nX-Priority: 5\n", Low},
             HeaderFieldsCase{"X-Priority:\n 5 (Lowest)\n", Low},
             HeaderFieldsCase{"X-Priority: high\n", Normal},
             HeaderFieldsCase{"Disposition-Notification-To: a@example.com\n", Normal, true},
             HeaderFieldsCase{"X-Disposition-Notification-To: a@example.com\n", Normal},
             HeaderFieldsCase{"Date: Tue, 03 Sep 2002 14:05:06 +0200\n", Normal, false, 1031054706},
             HeaderFieldsCase{"Date: garbage\n", Normal},
             HeaderFieldsCase{"Date: Fri, 31 Dec 9999 23:59:59 +0000\n",
                              Normal},  // beyond the clock
             HeaderFieldsCase{"Message-ID: <abc.1@example.com>\n", Normal, false, 0,
                              "abc.1@example.com"},
             HeaderFieldsCase{"Message-ID: <ctl\x02@example.com>\n", Normal, false, 0,
                              "ctl@example.com"},
         }) {
        SCOPED_TRACE(c.Headers);
        const clsMimeMessage message =
            clsMimeMessage::Parse("From: a@example.com\n" + std::string(c.Headers) + "\nbody\n");
        EXPECT_EQ(message.GetImportance(), c.ExpectedImportance);
        EXPECT_EQ(message.ReadReceiptRequested(), c.ReadReceipt);
        const auto date = message.Date();
        EXPECT_EQ(date ? std::chrono::system_clock::to_time_t(*date) : 0, c.Date);
        EXPECT_EQ(message.MessageID(), c.MessageID);
    }
}

TEST(MimeMessageRead, KeepsTheHeaderBlockAsWritten) {
    for (const auto& [raw, expected] : {
             std::pair{"A: 1\r\nB: 2\r\n\r\nbody\r\n"sv, "A: 1\r\nB: 2\r\n"sv},
             std::pair{"A: 1\nB:\n\tfolded\n\nbody\n"sv, "A: 1\nB:\n\tfolded\n"sv},
             std::pair{"A: 1\nnot a header line\n\nB: 2\n"sv, "A: 1\n"sv},  // no empty line
             std::pair{"\nA: 1\n"sv, ""sv},
             std::pair{" continued: first\n\n"sv, ""sv},
             std::pair{"From someone Thu Aug 22 12:36:23 2002\nA: 1\n\n"sv, ""sv},
             std::pair{"A: caf\xE9\0\nB: 2\n\n"sv, "A: caf\xE9\0\nB: 2\n"sv},
         }) {
        SCOPED_TRACE(raw);
        EXPECT_EQ(clsMimeMessage::Parse(raw).Headers(), expected);
    }
}

}  // namespace
