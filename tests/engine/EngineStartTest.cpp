// Start-up: where the data folder is, and settings read again at the next start.
#include "EngineTestSupport.h"

TEST(EngineStart, DataFolderFromProfileSupportOrTheStoredLocationAndSettingsKept) {
    clsEngineFixture f;
    const std::filesystem::path stored = f.Folder.Path() / "stored";
    f.Settings.SaveText("Rules", "Data File Location", stored.string());
    f.Settings.SaveBoolean("Rules", "Profile Support", true);
    f.Start();
    EXPECT_EQ(f.Engine->RulesLocation(), stored / "Test");  // the namespace's profile is "Test"
    EXPECT_TRUE(std::filesystem::exists(stored / "Test" / "Rules.mdb"));
    f.Engine->SetDuplicateCheck(false);  // stored inverted, as "Skip Duplicate Check"
    EXPECT_EQ(f.Settings.ReadText("Options", "Skip Duplicate Check", ""), "true");
    f.Engine->SetOutlookProfileSupport(false);
    f.Start();
    EXPECT_EQ(f.Engine->RulesLocation(), stored);
    EXPECT_FALSE(f.Engine->DuplicateCheck());
    EXPECT_TRUE(f.Engine->ChangeRulesLocation(f.Folder.Path() / "moved"));
    EXPECT_TRUE(std::filesystem::exists(f.Folder.Path() / "moved" / "Rules.mdb"));
    EXPECT_EQ(f.Settings.ReadText("Rules", "Data File Location", ""),
              (f.Folder.Path() / "moved").string());
}
