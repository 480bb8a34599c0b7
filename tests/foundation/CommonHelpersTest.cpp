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

TEST(ViewSettings, APlacementRoundTripsAndAHalfSavedOneIsIgnored) {
    clsTestEnvironment env;
    SaveWindowPlacement(env.Settings, "frmRule", {10, -20, 640, 480, true});
    const auto p = RestoreWindowPlacement(env.Settings, "frmRule");
    ASSERT_TRUE(p.has_value());
    EXPECT_EQ(std::tuple(p->Left, p->Top, p->Width, p->Height, p->Maximised),
              std::tuple(10L, -20L, 640L, 480L, true));
    EXPECT_FALSE(RestoreWindowPlacement(env.Settings, "frmOther").has_value());
    env.Settings.SaveText("View-frmBroken", "Left", "1");
    EXPECT_FALSE(RestoreWindowPlacement(env.Settings, "frmBroken").has_value());
}
