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
    for (const auto& [from, fromArgument] :
         {std::pair{"me@example.org", "me@example.org"}, std::pair{"", "<>"}}) {
        SCOPED_TRACE(from);
        clsTempFolder folder;
        clsSendmailTransport transport(FakeSendmail(folder, "exit 0"), 5s);

        const clsStatus status =
            transport.Send(kMessage, from, {"ann@example.org", "-oi@example.org"});

        ASSERT_TRUE(status.IsOk()) << status.Description();
        EXPECT_EQ(ReadLines(folder.Path() / "argv"),
                  (std::vector<std::string>{"-i", "-f", fromArgument, "--", "ann@example.org",
                                            "-oi@example.org"}));
        EXPECT_EQ(ReadWholeFile(folder.Path() / "stdin"),
                  "Subject: x\n\nline one\n.\nline three\n");
    }
}

TEST(SendmailTransport, AFailedStuckOrMissingSendmailGivesAClearError) {
    struct Case {
        const char* Ending;  // nullptr: there is no program
        clsStatus::Code Code;
        const char* Says;
    };
    for (const Case& c : {
             Case{"echo 'queue directory full' >&2; exit 75", clsStatus::Code::Temporary,
                  "exited with status 75: queue directory full"},
             Case{"kill -9 $$", clsStatus::Code::Io, "killed by signal 9"},
             Case{"exec sleep 30", clsStatus::Code::Temporary, "did not finish within 1 s"},
             Case{nullptr, clsStatus::Code::Io, "cannot start"},
         }) {
        SCOPED_TRACE(c.Ending != nullptr ? c.Ending : "no program");
        clsTempFolder folder;
        clsSendmailTransport transport(c.Ending != nullptr ? FakeSendmail(folder, c.Ending)
                                                           : (folder.Path() / "none").string(),
                                       1s);
        const auto start = std::chrono::steady_clock::now();

        const clsStatus status = transport.Send(kMessage, "me@example.org", {"ann@example.org"});

        EXPECT_LT(std::chrono::steady_clock::now() - start, 3s);
        EXPECT_EQ(status.GetCode(), c.Code);
        EXPECT_NE(status.Description().find(c.Says), std::string::npos) << status.Description();
        EXPECT_NE(status.Description().find(folder.Path().string()), std::string::npos);
    }
}
