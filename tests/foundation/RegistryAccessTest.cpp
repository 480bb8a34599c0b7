// The settings store against real files in a temporary folder: roots, key and value names, value
// types and the REGEDIT4 files it writes.
#include <gtest/gtest.h>

#include "foundation/RegistryTestSupport.h"
#include "foundation/clsRegistry.h"

TEST_F(RegistryFixture, BothSpellingsOfEachRootAddressItsFileAndOtherNamesAreRefused) {
    struct Case {
        std::string_view Full, Short, File;
    };
    for (const Case& c : {Case{"HKEY_CURRENT_USER", "hkcu", "registry.reg"},
                          Case{"HKEY_LOCAL_MACHINE", "HKLM", "registry-HKLM.reg"},
                          Case{"HKEY_CLASSES_ROOT", "HKCR", "registry-HKCR.reg"},
                          Case{"hkey_users", "HKUS", "registry-HKUS.reg"},
                          Case{"HKEY_PERFORMANCE_DATA", "HKPD", "registry-HKPD.reg"},
                          Case{"HKEY_DYN_DATA", "HkDd", "registry-HKDD.reg"},
                          Case{"HKEY_CURRENT_CONFIG", "HKCC", "registry-HKCC.reg"}}) {
        SCOPED_TRACE(c.Full);
        ASSERT_TRUE(Registry.WriteString(c.Short, "Software\\Kesto", "Root", c.Short));
        EXPECT_EQ(Registry.ReadString(c.Full, "Software\\Kesto", "Root", "-"), c.Short);
        EXPECT_TRUE(std::filesystem::exists(Folder.Path() / c.File));
    }
    for (std::string_view root : {"HKU", "HKEY_USER", "HKCU\\Software", "", "HKEY_CURRENT_USERS"}) {
        SCOPED_TRACE(root);
        EXPECT_FALSE(Registry.WriteString(root, "Software", "a", "b"));
        EXPECT_EQ(Registry.LastError().GetCode(), clsStatus::Code::Invalid);
        EXPECT_EQ(Registry.ReadString(root, "Software", "a", "default"), "default");
        EXPECT_FALSE(Registry.KeyExists(root, ""));
    }
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(Folder.Path()), {}), 7 * 2)
        << "one file and one lock file per known root, none for the others";
}

TEST_F(RegistryFixture, KeyAndValueNamesIgnoreCaseAndKeepTheirFirstSpelling) {
    ASSERT_TRUE(Registry.CreateKey("HKCU", "SOFTWARE\\KESTO\\Corvel"));
    ASSERT_TRUE(Registry.WriteString("HKCU", "software\\kesto\\corvel", "LogLevel", "9"));
    for (std::string_view path :
         {"software\\kesto\\CORVEL", "\\Software\\Kesto\\Corvel\\", "Software\\\\Kesto\\Corvel"}) {
        SCOPED_TRACE(path);
        EXPECT_EQ(Registry.ReadString("HKEY_CURRENT_USER", path, "LOGLEVEL", ""), "9");
    }
    ASSERT_TRUE(Registry.WriteString("HKCU", "Software\\Kesto\\Corvel", "loglevel", "3"));
    EXPECT_EQ(Registry.EnumKeys("HKCU", "software"), Strings{"KESTO"});
    EXPECT_EQ(Registry.EnumValues("HKCU", "software\\kesto\\corvel"), Strings{"LogLevel"});
    EXPECT_EQ(Registry.ReadString("HKCU", "Software\\Kesto\\Corvel", "LogLevel", ""), "3");
    // Only ASCII letters fold: "Ä" and "ä" are two keys.
    ASSERT_TRUE(Registry.CreateKey("HKCU", "Software\\\xC3\x84"));
    EXPECT_FALSE(Registry.KeyExists("HKCU", "Software\\\xC3\xA4"));
}

TEST_F(RegistryFixture, TheFileIsREGEDIT4WithParentsFirstAndTheDefaultValueAsAt) {
    ASSERT_TRUE(Registry.WriteString("HKCU", "Software\\Kesto", "Path", "C:\\x \"q\"\nend"));
    ASSERT_TRUE(Registry.WriteDWORD("HKCU", "Software\\Kesto", "Count", 0xABCDEF10));
    ASSERT_TRUE(Registry.WriteString("HKCU", "Software\\Kesto", "", "unnamed"));
    ASSERT_TRUE(Registry.WriteString("HKCU", "Software\\Kesto", "@", "named"));
    ASSERT_TRUE(Registry.WriteBinary("HKCU", "Software\\Kesto\\Bin", "Data", "00 1F A0"));
    ASSERT_TRUE(Registry.CreateKey("HKCU", "Software\\Empty"));
    EXPECT_EQ(ReadLines(UserFile()),
              (Strings{"REGEDIT4", "", "[HKEY_CURRENT_USER\\Software]", "",
                       "[HKEY_CURRENT_USER\\Software\\Kesto]", R"("Path"="C:\\x \"q\"\nend")",
                       "\"Count\"=dword:abcdef10", "@=\"unnamed\"", "\"@\"=\"named\"", "",
                       "[HKEY_CURRENT_USER\\Software\\Kesto\\Bin]", "\"Data\"=hex:00,1f,a0", "",
                       "[HKEY_CURRENT_USER\\Software\\Empty]", ""}));
    EXPECT_EQ(Registry.ReadString("HKCU", "Software\\Kesto", "", "-"), "unnamed");
    ASSERT_TRUE(Registry.KillValue("HKCU", "Software\\Kesto", ""));
    EXPECT_EQ(Registry.ReadString("HKCU", "Software\\Kesto", "@", "-"), "named");
}

TEST_F(RegistryFixture, MissingValuesAndOtherTypesGiveTheDefault) {
    ASSERT_TRUE(Registry.WriteString("HKCU", "K", "Text", "hello"));
    ASSERT_TRUE(Registry.WriteString("HKCU", "K", "Decimal", " 42 "));
    ASSERT_TRUE(Registry.WriteDWORD("HKCU", "K", "Number", 10));
    ASSERT_TRUE(Registry.WriteBinary("HKCU", "K", "Bytes", "00 1F"));
    struct Case {
        std::string_view Key, Value;
        std::string_view AsText, AsBinary;
        std::uint32_t AsNumber;
    };
    for (const Case& c :
         {Case{"K", "Text", "hello", "dflt", 99}, Case{"K", "Decimal", " 42 ", "dflt", 42},
          Case{"K", "Number", "10", "dflt", 10}, Case{"K", "Bytes", "00 1F", "00 1F", 99},
          Case{"K", "Missing", "dflt", "dflt", 99}, Case{"Missing", "Text", "dflt", "dflt", 99}}) {
        SCOPED_TRACE(std::string(c.Key) + "/" + std::string(c.Value));
        EXPECT_EQ(Registry.ReadString("HKCU", c.Key, c.Value, "dflt"), c.AsText);
        EXPECT_EQ(Registry.ReadBinary("HKCU", c.Key, c.Value, "dflt"), c.AsBinary);
        EXPECT_EQ(Registry.ReadDWORD("HKCU", c.Key, c.Value, 99), c.AsNumber);
        EXPECT_EQ(Registry.LastError().IsOk(), c.AsNumber != 99);
    }
}

TEST_F(RegistryFixture, KillKeyRemovesTheSubtreeAndEnumsKeepCreationOrder) {
    for (std::string_view key : {"R\\b", "R\\A\\deep\\deeper", "R\\c"}) {
        ASSERT_TRUE(Registry.CreateKey("HKCU", key));
    }
    ASSERT_TRUE(Registry.WriteString("HKCU", "R\\A\\deep", "v", "x"));
    EXPECT_EQ(Registry.EnumKeys("HKCU", "R"), (Strings{"b", "A", "c"}));
    EXPECT_TRUE(Registry.HaveSubkey("HKCU", "R\\a"));

    ASSERT_TRUE(Registry.KillKey("HKCU", "r\\a"));
    EXPECT_EQ(Registry.ReadString("HKCU", "R\\A\\deep", "v", "gone"), "gone");
    ASSERT_TRUE(Registry.CreateKey("HKCU", "R\\a"));
    EXPECT_EQ(Registry.EnumKeys("HKCU", "R"), (Strings{"b", "c", "a"}));
    EXPECT_FALSE(Registry.HaveSubkey("HKCU", "R\\a")) << "the old sub-keys came back";

    EXPECT_FALSE(Registry.KillKey("HKCU", "R\\Missing"));
    EXPECT_EQ(Registry.LastError().GetCode(), clsStatus::Code::NotFound);
    EXPECT_FALSE(Registry.KillKey("HKCU", "\\"));
    EXPECT_TRUE(Registry.KeyExists("HKCU", "R\\b"));
}

TEST_F(RegistryFixture, AMissingFileReadsAsEmpty) {
    EXPECT_FALSE(Registry.KeyExists("HKCU", "Software"));
    EXPECT_TRUE(Registry.KeyExists("HKCU", ""));
    EXPECT_TRUE(Registry.EnumKeys("HKCU", "").empty());
    EXPECT_TRUE(Registry.LastError().IsOk());
    EXPECT_FALSE(Registry.KillValue("HKCU", "Software", "v"));
    EXPECT_FALSE(std::filesystem::exists(UserFile())) << "a failed change wrote the file";
}

TEST_F(RegistryFixture, TheThinFaceReachesTheSameKeys) {
    clsRegistry keys(Registry);
    ASSERT_TRUE(keys.CreateKey("HKUS", ".DEFAULT\\Software\\Kesto"));
    EXPECT_EQ(keys.EnumKeys("HKEY_USERS", ".default"), Strings{"Software"});
    ASSERT_TRUE(keys.DeleteKey("HKUS", ".DEFAULT\\Software"));
    EXPECT_FALSE(keys.KeyExists("HKUS", ".DEFAULT\\Software"));
    EXPECT_TRUE(Registry.KeyExists("HKUS", ".DEFAULT"));
}

TEST_F(RegistryFixture, HexTextIsUpperCasePairsSeparatedBySingleBlanks) {
    struct Case {
        std::string_view Text;
        bool Valid;
    };
    for (const Case& c :
         {Case{"", true}, Case{"00", true}, Case{"00 1F A0", true}, Case{"FF FF", true},
          Case{"0", false}, Case{"000", false}, Case{"0G", false}, Case{"1f", false},
          Case{"00  1F", false}, Case{" 00", false}, Case{"00 ", false}, Case{"00,1F", false},
          Case{"001F", false}, Case{"00\t1F", false}}) {
        SCOPED_TRACE(c.Text);
        EXPECT_EQ(clsRegistryAccess::isBinValid(c.Text), c.Valid);
        EXPECT_EQ(clsRegistryAccess::StrToBin(c.Text).empty(), !c.Valid || c.Text.empty());
        EXPECT_EQ(Registry.WriteBinary("HKCU", "K", "b", c.Text), c.Valid);
        EXPECT_EQ(Registry.LastError().GetCode(),
                  c.Valid ? clsStatus::Code::Ok : clsStatus::Code::Invalid);
        EXPECT_EQ(Registry.ReadBinary("HKCU", "K", "b", "-"), c.Valid ? c.Text : "-");
        EXPECT_EQ(Registry.KillValue("HKCU", "K", "b"), c.Valid);
    }
}
