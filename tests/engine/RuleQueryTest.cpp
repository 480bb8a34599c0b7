// The rule query's text, and which sender addresses may reach it at all.
#include <gtest/gtest.h>

#include "engine/clsQueryAddress.h"
#include "engine/clsRuleQuery.h"

TEST(RuleQuery, TextMixesQuoteStylesAndEscapesEveryValue) {
    clsRecipientSet recipients;
    recipients.Add("");
    recipients.Add("bob@example.net");
    recipients.Add("bob@example.net");  // once only
    EXPECT_EQ(clsRuleQuery::Build("ann@example.org", recipients, false, true),
              "SELECT ID, BodyContains, SubjectContains, StopProcessing FROM Rules WHERE "
              "Enabled=TRUE AND FromEmail IN (\"ann@example.org\",'@example.org','') AND ToEmail "
              "IN ('','','bob@example.net','@example.net') AND IncomingRule=TRUE ORDER BY "
              "Priority;");
    clsRecipientSet one;
    one.Add("o'neil@example.net");
    EXPECT_EQ(clsRuleQuery::Build("", one, true, false),
              "SELECT ID, BodyContains, SubjectContains, StopProcessing FROM Rules WHERE "
              "FromEmail IN (\"\",'','') AND ToEmail IN ('o''neil@example.net','@example.net') "
              "AND IncomingRule=FALSE ORDER BY Priority;");
}

TEST(RuleQuery, OnlyPlainAddressesAreSafe) {
    for (const std::string address :
         {"ann@example.org", "first.last+tag@mail.example.co.uk", "jürgen@bücher.example"}) {
        EXPECT_TRUE(clsQueryAddress::IsSafe(address)) << address;
    }
    for (const std::string address :
         {"", "@example.org", "ann@", "a@b@example.org", "o'neil@example.org", "a\"b@example.org",
          "a(comment)@example.org", "a b@example.org", "ann@[127.0.0.1]", "an..n@example.org",
          "ann\r\n@example.org"}) {
        EXPECT_FALSE(clsQueryAddress::IsSafe(address)) << address;
    }
    EXPECT_FALSE(clsQueryAddress::IsSafe(std::string("a\0b@example.org", 15)));
}
