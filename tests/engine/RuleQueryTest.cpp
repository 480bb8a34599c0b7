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
    const std::string nul("a\0b@example.org", 15);
    for (const std::string& address :
         {std::string("ann@example.org"), std::string("first.last+tag@mail.example.co.uk"),
          std::string("x_y-z=1@example-1.org"), std::string("jürgen@bücher.example")}) {
        EXPECT_TRUE(clsQueryAddress::IsSafe(address)) << address;
    }
    for (const std::string& address :
         {std::string(""), std::string("ann"), std::string("@example.org"), std::string("ann@"),
          std::string("a@b@example.org"), std::string("\"x' OR 1=1\"@evil.org"),
          std::string("x') OR ('1'='1@evil.org"), std::string("o'neil@example.org"),
          std::string("a\"b@example.org"), std::string("a(comment)@example.org"),
          std::string("a b@example.org"), std::string("ann@exa_mple.org"),
          std::string("ann@[127.0.0.1]"), std::string(".ann@example.org"),
          std::string("an..n@example.org"), std::string("ann@example..org"), nul,
          std::string("ann\r\n@example.org")}) {
        EXPECT_FALSE(clsQueryAddress::IsSafe(address)) << address;
    }
}
