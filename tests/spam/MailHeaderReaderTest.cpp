// The header reader over header texts as mail brings them, quirks included.
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "spam/ClassMailHeaderReader.h"

namespace {

ClassMailHeaderReader Reader(std::string_view headers) {
    ClassMailHeaderReader reader;
    reader.SetMailHeaders(headers);
    return reader;
}

}  // namespace

TEST(MailHeaderReader, OnlyNameColonBlankLinesOfATerminatedBlockAreHeaders) {
    struct Case {
        std::string_view Headers, Name, Expected;
    };
    for (const Case& c : {
             Case{"Subject: hello\r\nX-Flag:set\r\n\r\n", "Subject:", "hello"},
             Case{"Subject: hello\r\nX-Flag:set\r\n\r\n", "x-flag", ""},
             Case{"X Spam: yes\r\n\r\n", "x spam", ""},
             Case{": orphan\r\n\r\n", "", ""},
             Case{"Subject: first\r\n second half\r\n\r\n", "SUBJECT", "first"},
             Case{"To: a@example.org\nSubject: lf only\n\nbody\n", "subject", "lf only"},
             Case{"Subject: no end\r\n", "subject", ""},
             // The CRLF terminator wins over an earlier LF one; the block then splits at LF.
             Case{"A: 1\n\nB: 2\r\n\r\nC: 3\r\n", "b", "2"},
             Case{"Received: one\r\nX: y\r\nReceived: two\r\n\r\n", "received", "one\r\ntwo"},
             Case{"Subject: caf\xC3\xA9 \xFF\xFE\r\n\r\n", "subject", "caf\xC3\xA9 \xFF\xFE"},
         }) {
        SCOPED_TRACE(std::string(c.Headers) + " / " + std::string(c.Name));
        EXPECT_EQ(Reader(c.Headers).HeaderItem(c.Name), c.Expected);
    }
}

TEST(MailHeaderReader, AddressesComeFromAngleBracketsElseFromThePattern) {
    struct Case {
        std::string_view Headers, From, To, Cc;
        int Recipients;
    };
    for (const Case& c : {
             Case{"From: Ann <Ann@Example.org>\r\nTo: Bob <bob@example.net>\r\n\r\n",
                  "Ann@Example.org", "bob@example.net", "", 1},
             Case{"From: BOB@Example.ORG (Bob)\r\nTo: a@x.org, c@Y.org\r\nCc: d@z.org\r\n\r\n",
                  "bob@example.org", "a@x.org\r\nc@y.org", "d@z.org", 3},
             Case{"From: \"Lee, B\" <lee@x.org> <last@x.org>\r\n"
                  "To: A <a@x.org>, B <b@x.org>\r\n\r\n",
                  "last@x.org", "a@x.org\r\nb@x.org", "", 2},
             // Once one address has brackets, bare ones beside it are not read.
             Case{"To: plain@x.org, B <b@x.org>\r\n\r\n", "", "b@x.org", "", 1},
             Case{"From: undisclosed-recipients:;\r\nTo: <>\r\n\r\n", "", "", "", 0},
             Case{"To: \xFF\xFE junk \xC3 o'brien@Example.ie;bad@ \x80\r\n\r\n", "",
                  "o'brien@example.ie\r\nbad@", "", 2},
             // With Cc alone the separator still follows the empty To, as it always did.
             Case{"Cc: c@x.org, d@x.org\r\n\r\n", "", "", "c@x.org\r\nd@x.org", 3},
         }) {
        SCOPED_TRACE(c.Headers);
        const ClassMailHeaderReader reader = Reader(c.Headers);
        EXPECT_EQ(reader.from(), c.From);
        EXPECT_EQ(reader.FromSMTPAddress(), c.From);
        EXPECT_EQ(reader.MailTo(), c.To);
        EXPECT_EQ(reader.cc(), c.Cc);
        EXPECT_EQ(reader.NumberOfRecipients(), c.Recipients);
    }
}

TEST(MailHeaderReader, ReceivedLinesGiveTheOriginHopsAndTrail) {
    struct Case {
        std::string_view Headers, First;
        int Hops;
        std::string_view Trail;
    };
    for (const Case& c : {
             Case{"Received: from relay ([10.0.0.1]) by mx\r\n"
                  "Received: from origin (origin [192.0.2.7]) by relay\r\n\r\n",
                  "192.0.2.7", 2, "(Source)192.0.2.7 -> 10.0.0.1"},
             Case{"Received: from x ([999.1.1.1])\r\n\r\n", "999.1.1.1", 1, "(Source)999.1.1.1"},
             // The origin is the last address; the trail lists first appearances backwards, so
             // a relay seen twice is one hop.
             Case{"Received: 10.0.0.1 10.0.0.2\r\nReceived: 10.0.0.1\r\n\r\n", "10.0.0.1", 2,
                  "(Source)10.0.0.2 -> 10.0.0.1"},
             Case{"Subject: 192.0.2.1\r\n\r\n", "", 0, "No IP trail found"},
             Case{"Received: from a ([10.0.0.1])\r\n\r\nReceived: from b ([10.0.0.2])\r\n",
                  "10.0.0.1", 1, "(Source)10.0.0.1"},
         }) {
        SCOPED_TRACE(c.Headers);
        const ClassMailHeaderReader reader = Reader(c.Headers);
        EXPECT_EQ(reader.FirstReceivedFromIP(), c.First);
        EXPECT_EQ(reader.IPHopCount(), c.Hops);
        EXPECT_EQ(reader.IPTrail(), c.Trail);
    }
}
