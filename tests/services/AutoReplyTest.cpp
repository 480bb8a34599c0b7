// Auto-reply templates on a real Maildir, and replies sent through a real SMTP receiver: every
// field filled in both of its written forms, values escaped in HTML, nothing sent without a sender.
// Creating, listing and showing templates is checked on the binary in TemplatesCommandTest.
#include <chrono>
#include <cstdlib>
#include <ctime>

#include "mailhost/MailhostTestSupport.h"
#include "mailhost/clsMailItems.h"
#include "mailhost/mime/clsMimeMessage.h"
#include "mailhost/transport/SmtpReceiverPeer.h"
#include "services/classAutoReply.h"

// gtest finds it by the argument's namespace: failures then show "3 Fancy", not bytes.
void PrintTo(const clsTemplateSummary& summary, std::ostream* out) {
    *out << summary.ID << " " << summary.Description;
}

namespace {

using namespace std::chrono_literals;

// Sets TZ for one test, so local times are known; the old value comes back afterwards.
struct clsTimeZone {
    explicit clsTimeZone(const char* zone) {
        if (const char* old = std::getenv("TZ")) {
            mOld = old;
        }
        ::setenv("TZ", zone, 1);
        ::tzset();
    }
    ~clsTimeZone() {
        mOld ? ::setenv("TZ", mOld->c_str(), 1) : ::unsetenv("TZ");
        ::tzset();
    }
    std::optional<std::string> mOld;
};

// "CET-1": one hour east of UTC all year, no summer time.
constexpr const char* kZone = "CET-1";
// 2023-11-14 22:13:20 UTC, 23:13:20 in kZone.
constexpr std::time_t kReceivedAt = 1700000000;

// Today in kZone as dd/mm/yyyy, worked out from the calendar rather than by strftime.
std::string TodayInZone() {
    const std::chrono::year_month_day day{
        std::chrono::floor<std::chrono::days>(std::chrono::system_clock::now() + 1h)};
    char text[16];
    std::snprintf(text, sizeof text, "%02u/%02u/%04d", static_cast<unsigned>(day.day()),
                  static_cast<unsigned>(day.month()), static_cast<int>(day.year()));
    return text;
}

struct clsAutoReplyFixture : clsMailFixture {
    clsAutoReplyFixture() {
        OpenStore();
        AutoReply = std::make_unique<classAutoReply>(*Mapi, Log);
    }
    std::unique_ptr<classAutoReply> AutoReply;

    // A received message in the Inbox, received at kReceivedAt.
    clsMailItem Received(const std::string& from, const std::string& subject) {
        const std::string name = "in" + std::to_string(++mReceived) + ".A.host";
        Deliver(Root, name,
                "From: " + from + "\nTo: me@example.org\nSubject: " + subject + "\n\nHello.\n");
        SetTime(Root / "new" / name, kReceivedAt);
        return *Mapi->GetItemFromID("INBOX/" + name);
    }
    // A message another program filed in the template folder, with `id` as its template ID
    // unless that is empty.
    void FileTemplate(const std::string& name, const std::string& message, const std::string& id) {
        const std::string folderID = AutoReply->TemplateFolder()->EntryID();  // makes the folder
        Deliver(Root / ".Autoreply Templates (Corvel)", name, message);
        clsMailItem item = *Mapi->GetItemFromID(folderID + "/" + name);
        if (!id.empty()) {
            item.AddUserProperty(classAutoReply::kTemplateIDProperty, {UserPropertyType::Text, id});
            ASSERT_TRUE(item.Save());
        }
    }

private:
    int mReceived = 0;
};

// What the received message of the sending tests gives each field, as text and inside HTML.
struct clsFieldCase {
    std::string Name, Plain, Html;
};
const std::string kHostileName = "<script>Ann & Co</script>";
const std::string kSubject = "Q3 <numbers> & \"totals\" <-[DateNow]->";

std::vector<clsFieldCase> FieldCases() {
    return {{"SenderName", kHostileName, "&lt;script&gt;Ann &amp; Co&lt;/script&gt;"},
            {"SenderEmail", "ann@example.org", "ann@example.org"},
            {"ReceivedSubject", kSubject,
             "Q3 &lt;numbers&gt; &amp; &quot;totals&quot; &lt;-[DateNow]-&gt;"},
            {"ReceivedTime", "14/11/2023 23:13:20", "14/11/2023 23:13:20"},
            {"DateNow", TodayInZone(), TodayInZone()}};
}

// Each field in both forms, then a field written twice, and forms that are no field at all.
std::string TemplateText(bool html, const std::vector<clsFieldCase>& cases, bool filled) {
    std::string text;
    for (const clsFieldCase& c : cases) {
        const std::string plain = filled ? (html ? c.Html : c.Plain) : "<-[" + c.Name + "]->";
        const std::string escaped =
            filled ? (html ? c.Html : c.Plain) : "&lt;-[" + c.Name + "]-&gt;";
        text += c.Name + "=" + plain + "|" + escaped + (html ? "<br>\n" : "\n");
    }
    const std::string name = filled ? (html ? cases[0].Html : cases[0].Plain) : "<-[SenderName]->";
    return text + "Twice: " + name + name + "\nLeft: <-[sendername]-> <-[SenderName] [DateNow]->\n";
}

}  // namespace

TEST(AutoReplyTemplates, NewIDsGrowFromTheLargestUsableIDInUse) {
    clsAutoReplyFixture f;
    for (const char* id : {"", "7x", "-3", "99999999999"}) {
        f.FileTemplate(std::string("odd") + id + ".A.host", TestMessage(id), id);
    }
    EXPECT_TRUE(f.AutoReply->Templates().empty()) << "items without a usable ID are no templates";
    for (const char* subject : {"one", "two", "three"}) {
        f.AutoReply->CreateTemplate(subject, "text");
    }
    ASSERT_TRUE(f.AutoReply->DeleteTemplate(2));
    EXPECT_EQ(f.AutoReply->CreateTemplate("four", "text"), 4) << "not the count plus one";
    ASSERT_TRUE(f.AutoReply->DeleteTemplate(4));
    ASSERT_TRUE(f.AutoReply->DeleteTemplate(3));
    EXPECT_FALSE(f.AutoReply->DeleteTemplate(3));
    EXPECT_EQ(f.Mapi->GetDefaultFolder(DefaultFolder::DeletedItems)->Items().Count(), 0)
        << "a template is removed, not put in Deleted Items";
    EXPECT_EQ(f.AutoReply->CreateTemplate("again", "text"), 2) << "not a counter that only grows";
    EXPECT_EQ(f.AutoReply->Templates(),
              (std::vector<clsTemplateSummary>{{1, "one"}, {2, "again"}}));
}

TEST(AutoReplySending, FillsEveryFieldInBothFormsEscapesHtmlAndSendsNothingWithoutASender) {
    const clsTimeZone zone(kZone);
    clsSmtpReceiverPeer peer({"none", "", "", {}});
    ASSERT_NE(peer.Port(), 0);
    clsAutoReplyFixture f;
    SendThrough(*f.Mapi, peer.Settings());
    const std::vector<clsFieldCase> cases = FieldCases();
    const std::int32_t plainID = f.AutoReply->CreateTemplate(
        "Re: <-[ReceivedSubject]-> (<-[sendername]->)", TemplateText(false, cases, false));
    const std::int32_t htmlID =
        f.AutoReply->CreateTemplate("HTML", TemplateText(true, cases, false), true);
    // As an HTML editor stores it: HTML only, a soft line break of quoted-printable in a field.
    f.FileTemplate(
        "editor.A.host",
        "From: me@example.org\nSubject: From the editor\nMIME-Version: 1.0\n"
        "Content-Type: text/html; charset=utf-8\nContent-Transfer-Encoding: quoted-printable\n"
        "\n<html><body><p>Hi &lt;-[Sender=\nName]-&gt;, =C3=A0 bient=C3=B4t</p></body></html>\n",
        "7");
    ASSERT_FALSE(HasFatalFailure());
    const clsMailItem received = f.Received("\"" + kHostileName + "\" <ann@example.org>", kSubject);

    for (const std::int32_t id : {plainID, htmlID, 7}) {
        ASSERT_TRUE(f.AutoReply->SendAutoreply(received, id));
    }
    const std::vector<clsReceivedMessage> sent = peer.Received();
    ASSERT_EQ(sent.size(), 3U);
    EXPECT_EQ(sent[0].Envelope, (std::vector<std::string>{"me@example.org", "ann@example.org"}));
    EXPECT_TRUE(Holds(sent[0].Bytes, "\r\nAuto-Submitted: auto-replied\r\n"));
    const clsMimeMessage plain = clsMimeMessage::Parse(sent[0].Bytes);
    EXPECT_EQ(plain.Subject(), "Re: " + kSubject + " (<-[sendername]->)");
    EXPECT_EQ(WithoutCr(plain.Body()), TemplateText(false, cases, true));
    EXPECT_EQ(clsMimeMessage::HTMLPart(sent[0].Bytes), "") << "a plain template stays plain";
    EXPECT_EQ(WithoutCr(clsMimeMessage::HTMLPart(sent[1].Bytes)), TemplateText(true, cases, true));
    EXPECT_TRUE(Holds(f.LogText(), "Autoreply sent successfully to ann@example.org"));

    const clsMimeMessage editor = clsMimeMessage::Parse(sent[2].Bytes);
    EXPECT_EQ(editor.Subject(), "From the editor");
    EXPECT_EQ(WithoutCr(clsMimeMessage::HTMLPart(sent[2].Bytes)),
              "<html><body><p>Hi &lt;script&gt;Ann &amp; Co&lt;/script&gt;, à bientôt</p>"
              "</body></html>\n");
    EXPECT_EQ(WithoutCr(editor.Body()).rfind("Hi <script>Ann & Co</script>, à bientôt", 0), 0U);

    // Nothing goes to a message without a sender address.
    EXPECT_FALSE(f.AutoReply->SendAutoreply(f.Received("<>", "hi"), plainID));
    EXPECT_TRUE(Holds(f.LogText(), "the item has no sender address; no reply sent"));
    EXPECT_EQ(peer.Received().size(), 3U);
    EXPECT_EQ(f.Mapi->GetDefaultFolder(DefaultFolder::SentMail)->Items().Count(), 3);
}
