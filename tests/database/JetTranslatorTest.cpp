#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "database/clsJetTranslator.h"

namespace {

struct Rewrite {
    std::string_view Jet;
    std::string_view Sqlite = {};  // empty: left as it is
};

TEST(JetTranslator, RewritesJetOnlySyntaxAndLeavesTheRest) {
    for (const Rewrite& c :
         {Rewrite{R"(SELECT * FROM Rules WHERE Name = "ab'c""d")",
                  R"(SELECT * FROM Rules WHERE Name = 'ab''c"d')"},
          Rewrite{"WHERE D < #1/2/2003#", "WHERE D < '2003-01-02 00:00:00'"},
          Rewrite{"WHERE D < #2/29/2004 1:05:09 PM#", "WHERE D < '2004-02-29 13:05:09'"},
          Rewrite{"WHERE D < #2/29/2000 12:00 am#", "WHERE D < '2000-02-29 00:00:00'"},
          Rewrite{"WHERE D < #2003-01-02#", "WHERE D < '2003-01-02 00:00:00'"},
          Rewrite{"SELECT @@IDENTITY", "SELECT last_insert_rowid()"},
          Rewrite{"SELECT Left(Path, 3), LEFT (Path,1) FROM F",
                  "SELECT jet_left(Path, 3), jet_left (Path,1) FROM F"},
          Rewrite{"SELECT * FROM A LEFT JOIN B ON A.ID = B.ID"},
          Rewrite{"SELECT [Left], [My Table].[ID] FROM [My Table] WHERE [A] = TRUE OR B = FALSE"},
          Rewrite{R"(SELECT "#1/2/2003# @@identity LEFT( -- /*")",
                  R"(SELECT '#1/2/2003# @@identity LEFT( -- /*')"},
          Rewrite{"INSERT INTO T VALUES ('x''; DROP TABLE Rules; --')"},
          Rewrite{"SELECT 'caf\xE9 \xC3\xA4\x01', \"\xFF\xFE\"",
                  "SELECT 'caf\xE9 \xC3\xA4\x01', '\xFF\xFE'"},
          Rewrite{"SELECT 1;  \r\n\t", "SELECT 1"}, Rewrite{"SELECT 1 - -2, 4/2 FROM T"}}) {
        SCOPED_TRACE(c.Jet);
        std::string sqlite = "stale";
        const clsStatus status = clsJetTranslator::Translate(c.Jet, sqlite);
        ASSERT_TRUE(status.IsOk()) << status.Description();
        EXPECT_EQ(sqlite, c.Sqlite.empty() ? c.Jet : c.Sqlite);
    }
}

TEST(JetTranslator, RefusesWhatCouldRunMoreOrOtherThanOneStatement) {
    using namespace std::string_view_literals;
    for (std::string_view jet :
         {// more than one statement, unterminated or foreign syntax
          "SELECT 1; DROP TABLE t"sv, "SELECT 1;;"sv, "SELECT 'abc"sv, "SELECT \"abc"sv,
          "SELECT [abc"sv, "SELECT #1/2/2003"sv, "SELECT 1 -- x"sv, "SELECT /* x */ 1"sv,
          "SELECT `x` FROM t"sv, "SELECT 1\0; DROP TABLE t"sv,
          // impossible dates and times
          "WHERE D = #13/01/2003#"sv, "WHERE D = #2/29/2003#"sv, "WHERE D = #1/2/03#"sv,
          "WHERE D = #1/2/2003 24:00#"sv, "WHERE D = #1/2/2003 10:60#"sv,
          "WHERE D = #1/2/2003 13:00 PM#"sv, "WHERE D = #garbage#"sv}) {
        SCOPED_TRACE(jet);
        std::string sqlite = "stale";
        const clsStatus status = clsJetTranslator::Translate(jet, sqlite);
        EXPECT_EQ(status.GetCode(), clsStatus::Code::Invalid);
        EXPECT_EQ(sqlite, "");
    }
}

}  // namespace
