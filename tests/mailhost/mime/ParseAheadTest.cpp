// Parsing ahead on a worker thread: the same messages as parsing in place, in the order given.
#include <gtest/gtest.h>

#include <string>

#include "mailhost/mime/clsParseAhead.h"

namespace {

std::string Message(int n) {
    return "From: a" + std::to_string(n) + "@example.org\nSubject: n" + std::to_string(n) +
           "\nContent-Type: text/html\n\n<p>body " + std::to_string(n) + "</p>\n";
}

}  // namespace

TEST(ParseAhead, GivesEachMessageAsParseDoesInTheOrderAdded) {
    // Takes interleaved with adds, and runs of adds far ahead of the takes.
    for (const int ahead : {1, 3, 50, 120}) {
        SCOPED_TRACE(ahead);
        clsParseAhead parser;
        int added = 0;
        for (int taken = 0; taken < 120; ++taken) {
            while (added < 120 && added - taken < ahead) {
                parser.Add(Message(added++));
            }
            EXPECT_EQ(parser.Pending(), static_cast<std::size_t>(added - taken));
            const clsMimeMessage expected = clsMimeMessage::Parse(Message(taken));
            const clsMimeMessage message = parser.Take();
            ASSERT_EQ(message.Subject(), expected.Subject());
            EXPECT_EQ(message.Body(), expected.Body());
            EXPECT_EQ(message.Sender().Address, expected.Sender().Address);
        }
        EXPECT_EQ(parser.Pending(), 0u);
    }
}

TEST(ParseAhead, NothingPendingGivesAnEmptyMessageAndUntakenWorkDoesNotHoldUpTheEnd) {
    clsParseAhead parser;
    EXPECT_FALSE(parser.Take().Ok());
    parser.Add("");
    EXPECT_FALSE(parser.Take().Ok());  // an empty message is no mail
    for (int n = 0; n < 200; ++n) {
        parser.Add(Message(n));
    }
    // Destroyed with 200 messages untaken: the worker stops rather than finishing them.
}
