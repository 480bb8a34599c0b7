#include <gtest/gtest.h>

#include "mailhost/transport/clsMailTransport.h"
#include "mailhost/transport/clsSendmailTransport.h"
#include "mailhost/transport/clsSmtpTransport.h"

namespace {

enum class Made { Nothing, Smtp, Sendmail, Refused, Inconsistent };

Made Kind(const std::unique_ptr<clsMailTransport>& transport, const clsStatus& status) {
    if (!status.IsOk()) {
        return transport ? Made::Inconsistent : Made::Refused;
    }
    if (dynamic_cast<clsSmtpTransport*>(transport.get()) != nullptr) {
        return Made::Smtp;
    }
    if (dynamic_cast<clsSendmailTransport*>(transport.get()) != nullptr) {
        return Made::Sendmail;
    }
    return transport ? Made::Inconsistent : Made::Nothing;
}

}  // namespace

TEST(MakeMailTransport, PicksTheTransportByUrlAndRefusesWhatItCannotUse) {
    struct Case {
        const char* Url;
        const char* User;
        Made Expected;
    };
    for (const Case& c :
         {Case{"outbox", "", Made::Nothing}, Case{"SMTPS://mail.example.org", "", Made::Smtp},
          Case{"smtp://mail.example.org", "me", Made::Refused},  // no password command
          Case{"sendmail", "", Made::Sendmail},
          Case{"sendmail:/usr/lib/sendmail", "", Made::Sendmail},
          Case{"sendmail:usr/lib/sendmail", "", Made::Refused},
          Case{"imap://mail.example.org", "", Made::Refused}, Case{"", "", Made::Refused}}) {
        SCOPED_TRACE(c.Url);
        clsTransportSettings settings;
        settings.Url = c.Url;
        settings.User = c.User;
        clsStatus status = clsStatus::Error(clsStatus::Code::Io, "not set");

        const std::unique_ptr<clsMailTransport> transport = MakeMailTransport(settings, status);

        EXPECT_EQ(Kind(transport, status), c.Expected) << status.Description();
        if (c.Expected == Made::Refused) {
            EXPECT_EQ(status.GetCode(), clsStatus::Code::Invalid);
        }
    }
}

TEST(MailTransport, EnvelopeAddressesThatCouldInjectAreRefusedBeforeAnythingRuns) {
    struct Case {
        const char* From;
        std::vector<std::string> Recipients;
    };
    for (const Case& c :
         {Case{"me@example.org", {}}, Case{"me@example.org", {"ann@example.org", ""}},
          Case{"me@example.org", {"ann@example.org>\r\nDATA"}},
          Case{"me@example.org", {"ann @example.org"}},
          Case{"me@example.org>", {"ann@example.org"}},
          Case{"me@example.org\n", {"ann@example.org"}}}) {
        SCOPED_TRACE(c.From);
        // Neither a server nor a program exists: a check that passed would fail differently.
        clsSmtpTransport smtp({"smtp://127.0.0.1:1", "", "", true, "", std::chrono::seconds(1)});
        clsSendmailTransport sendmail("/nonexistent/sendmail", std::chrono::seconds(1));
        for (clsMailTransport* transport :
             {static_cast<clsMailTransport*>(&smtp), static_cast<clsMailTransport*>(&sendmail)}) {
            const clsStatus status =
                transport->Send("Subject: x\r\n\r\nx\r\n", c.From, c.Recipients);

            EXPECT_EQ(status.GetCode(), clsStatus::Code::Invalid) << status.Description();
            EXPECT_EQ(status.Description().find('\n'), std::string::npos);
        }
    }
}
