#include <gtest/gtest.h>

#include "foundation/CommonHelpers.h"
#include "support/TestSupport.h"

TEST(SQLEscapeString, DoublesQuotesAndBracketsLikeWildcards) {
    struct Case {
        std::string Text;
        bool ForLike;
        std::string Expected;
    };
    for (const Case& c :
         {Case{"O'Brien", false, "O''Brien"}, Case{"O'Brien", true, "O''Brien"},
          Case{"50%", true, "50[%]"}, Case{"50%", false, "50%"}, Case{"[x]", true, "[[]x[]]"},
          Case{"a[b]%_?#*", true, "a[[]b[]][%][_][?][#]*"},
          Case{"keep * as is", true, "keep * as is"},
          Case{"it's [50]% 'off'", false, "it''s [50]% ''off''"},
          Case{"Ünïcödé_", true, "Ünïcödé[_]"}, Case{"", true, ""}}) {
        SCOPED_TRACE(c.Text);
        EXPECT_EQ(SQLEscapeString(c.Text, c.ForLike), c.Expected);
    }
}

TEST(WindowPlacement, RoundTripsAndIsAbsentUntilSaved) {
    clsTestEnvironment env;
    EXPECT_FALSE(RestoreWindowPlacement(env.Settings, "frmRule").has_value());

    SaveWindowPlacement(env.Settings, "frmRule", {10, -20, 640, 480, true});
    const auto placement = RestoreWindowPlacement(env.Settings, "frmRule");
    ASSERT_TRUE(placement.has_value());
    EXPECT_EQ(placement->Left, 10);
    EXPECT_EQ(placement->Top, -20);
    EXPECT_EQ(placement->Width, 640);
    EXPECT_EQ(placement->Height, 480);
    EXPECT_TRUE(placement->Maximised);
    EXPECT_EQ(env.Settings.ReadText("View-frmRule", "Maximised", ""), "true");
    EXPECT_FALSE(RestoreWindowPlacement(env.Settings, "frmOther").has_value());

    env.Settings.SaveText("View-frmBroken", "Left", "1");  // a half-saved placement is ignored
    EXPECT_FALSE(RestoreWindowPlacement(env.Settings, "frmBroken").has_value());
}

TEST(ListFont, DefaultsUntilSavedThenRoundTrips) {
    clsTestEnvironment env;
    const clsListFont defaults = RestoreListFont(env.Settings);
    EXPECT_EQ(defaults.Name, "MS Sans Serif");
    EXPECT_EQ(defaults.Size, 8);
    EXPECT_FALSE(defaults.Bold);
    EXPECT_FALSE(defaults.Italic);

    SaveListFont(env.Settings, {"DejaVu Sans", 11, true, false});
    const clsListFont font = RestoreListFont(env.Settings);
    EXPECT_EQ(font.Name, "DejaVu Sans");
    EXPECT_EQ(font.Size, 11);
    EXPECT_TRUE(font.Bold);
    EXPECT_FALSE(font.Italic);
    EXPECT_EQ(env.Settings.ReadText("View", "Font Bold", ""), "true");
}
