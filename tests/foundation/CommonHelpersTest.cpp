#include <gtest/gtest.h>

#include <tuple>

#include "foundation/CommonHelpers.h"
#include "support/TestSupport.h"

TEST(SQLEscapeString, DoublesQuotesAndBracketsLikeWildcards) {
    using Row = std::tuple<std::string, bool, std::string>;  // text, for LIKE?, escaped
    for (const auto& [text, forLike, expected] :
         {Row{"a[b]%_?#*", true, "a[[]b[]][%][_][?][#]*"},
          Row{"it's [50]% 'off'", false, "it''s [50]% ''off''"},
          Row{"Ünïcödé_", true, "Ünïcödé[_]"}}) {
        EXPECT_EQ(SQLEscapeString(text, forLike), expected) << text;
    }
}
