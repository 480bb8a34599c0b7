#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <fstream>

#include "mailhost/transport/clsSendmailTransport.h"
#include "support/TestSupport.h"

namespace {

using namespace std::chrono_literals;

// A stand-in for sendmail that records its arguments and its stdin next to itself, then runs
// the given shell lines.
std::string FakeSendmail(const clsTempFolder& folder, const std::string& ending) {
    const std::filesystem::path script = folder.Path() / "sendmail";
    std::ofstream(script)
        << "#!/bin/sh\n"
           "dir=$(dirname \"$0\")\n"
           "for argument in \"$@\"; do printf '%s\\n' \"$argument\"; done >\"$dir/argv\"\n"
           "cat >\"$dir/stdin\"\n"
        << ending << "\n";
    ::chmod(script.c_str(), 0700);
    return script.string();
}

const std::string kMessage = "Subject: x\r\n\r\nline one\r\n.\r\nline three\r\n";

}  // namespace

TEST(SendmailTransport, PassesTheEnvelopeAsArgumentsAndTheMessageWithLocalLineEnds) {
    struct Case {
        const char* From;
        std::vector<std::string> ExpectedArguments;
    };
    for (const Case& c :
         {Case{"me@example.org",
               {"-i", "-f", "me@example.org", "--", "ann@example.org", "-oi@example.org"}},
          Case{"", {"-i", "-f", "<>", "--", "ann@example.org", "-oi@example.org"}}}) {
        SCOPED_TRACE(c.From);
        clsTempFolder folder;
        clsSendmailTransport transport(FakeSendmail(folder, "exit 0"), 5s);

        const clsStatus status =
            transport.Send(kMessage, c.From, {"ann@example.org", "-oi@example.org"});

        ASSERT_TRUE(status.IsOk()) << status.Description();
        EXPECT_EQ(ReadLines(folder.Path() / "argv"), c.ExpectedArguments);
        EXPECT_EQ(ReadWholeFile(folder.Path() / "stdin"),
                  "Subject: x\n\nline one\n.\nline three\n");
    }
}

TEST(SendmailTransport, AFailedOrStuckSendmailGivesAClearError) {
    struct Case {
        const char* Ending;
        clsStatus::Code Code;
        const char* Says;
    };
    for (const Case& c : {
             Case{"echo 'queue directory full' >&2; exit 75", clsStatus::Code::Temporary,
                  "exited with status 75: queue directory full"},
             Case{"exit 67", clsStatus::Code::Io, "exited with status 67"},
             Case{"kill -9 $$", clsStatus::Code::Io, "killed by signal 9"},
             Case{"exec sleep 30", clsStatus::Code::Temporary, "did not finish within 1 s"},
         }) {
        SCOPED_TRACE(c.Ending);
        clsTempFolder folder;
        clsSendmailTransport transport(FakeSendmail(folder, c.Ending), 1s);
        const auto start = std::chrono::steady_clock::now();

        const clsStatus status = transport.Send(kMessage, "me@example.org", {"ann@example.org"});

        EXPECT_LT(std::chrono::steady_clock::now() - start, 3s);
        EXPECT_EQ(status.GetCode(), c.Code);
        EXPECT_NE(status.Description().find(c.Says), std::string::npos) << status.Description();
        EXPECT_NE(status.Description().find(folder.Path().string()), std::string::npos);
    }
}

TEST(SendmailTransport, AMissingProgramIsReportedNotRun) {
    clsTempFolder folder;
    clsSendmailTransport transport((folder.Path() / "no-such-sendmail").string(), 1s);

    const clsStatus status = transport.Send(kMessage, "me@example.org", {"ann@example.org"});

    EXPECT_EQ(status.GetCode(), clsStatus::Code::Io);
    EXPECT_NE(status.Description().find("cannot start"), std::string::npos) << status.Description();
}
