// The settings store against real files in a temporary folder: roots, key and value names, value
// types and the REGEDIT4 files it writes.
#include <gtest/gtest.h>

#include "foundation/RegistryTestSupport.h"
#include "foundation/clsRegistry.h"

TEST_F(RegistryFixture, BothSpellingsOfEachRootAddressItsFileAndOtherNamesAreRefused) {
    using Row = std::tuple<std::string_view, std::string_view, std::string_view>;
    for (const auto& [full, brief, file] :
         {Row{"HKEY_CURRENT_USER", "hkcu", "registry.reg"},
          Row{"HKEY_LOCAL_MACHINE", "HKLM", "registry-HKLM.reg"},
          Row{"HKEY_CLASSES_ROOT", "HKCR", "registry-HKCR.reg"},
          Row{"hkey_users", "HKUS", "registry-HKUS.reg"},
          Row{"HKEY_PERFORMANCE_DATA", "HKPD", "registry-HKPD.reg"},
          Row{"HKEY_DYN_DATA", "HkDd", "registry-HKDD.reg"},
          Row{"HKEY_CURRENT_CONFIG", "HKCC", "registry-HKCC.reg"}}) {
        SCOPED_TRACE(full);
        ASSERT_TRUE(Registry.WriteString(brief, "Software\\Kesto", "Root", brief));
        EXPECT_EQ(Registry.ReadString(full, "Software\\Kesto", "Root", "-"), brief);
        EXPECT_TRUE(std::filesystem::exists(Folder.Path() / file));
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

TEST_F(RegistryFixture, MissingFilesKeysValuesAndOtherTypesGiveTheDefault) {
    EXPECT_FALSE(Registry.KeyExists("HKCU", "Software"));
    EXPECT_TRUE(Registry.KeyExists("HKCU", ""));
    EXPECT_TRUE(Registry.EnumKeys("HKCU", "").empty());
    EXPECT_TRUE(Registry.LastError().IsOk());
    EXPECT_FALSE(Registry.KillValue("HKCU", "Software", "v"));
    EXPECT_FALSE(std::filesystem::exists(UserFile())) << "a failed change wrote the file";

    ASSERT_TRUE(Registry.WriteString("HKCU", "K", "Text", "hello"));
    ASSERT_TRUE(Registry.WriteString("HKCU", "K", "Decimal", " 42 "));
    ASSERT_TRUE(Registry.WriteDWORD("HKCU", "K", "Number", 10));
    ASSERT_TRUE(Registry.WriteBinary("HKCU", "K", "Bytes", "00 1F"));
    // Key, value, and what each reader gives with the defaults "dflt" and 99.
    using Row = std::tuple<std::string_view, std::string_view, std::string_view, std::string_view,
                           std::uint32_t>;
    for (const auto& [key, value, asText, asBinary, asNumber] :
         {Row{"K", "Text", "hello", "dflt", 99}, Row{"K", "Decimal", " 42 ", "dflt", 42},
          Row{"K", "Number", "10", "dflt", 10}, Row{"K", "Bytes", "00 1F", "00 1F", 99},
          Row{"K", "Missing", "dflt", "dflt", 99}, Row{"Missing", "Text", "dflt", "dflt", 99}}) {
        SCOPED_TRACE(std::string(key) + "/" + std::string(value));
        EXPECT_EQ(Registry.ReadString("HKCU", key, value, "dflt"), asText);
        EXPECT_EQ(Registry.ReadBinary("HKCU", key, value, "dflt"), asBinary);
        EXPECT_EQ(Registry.ReadDWORD("HKCU", key, value, 99), asNumber);
        EXPECT_EQ(Registry.LastError().IsOk(), asNumber != 99);
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

TEST_F(RegistryFixture, TheThinFaceReachesTheSameKeys) {
    clsRegistry keys(Registry);
    ASSERT_TRUE(keys.CreateKey("HKUS", ".DEFAULT\\Software\\Kesto"));
    EXPECT_EQ(keys.EnumKeys("HKEY_USERS", ".default"), Strings{"Software"});
    ASSERT_TRUE(keys.DeleteKey("HKUS", ".DEFAULT\\Software"));
    EXPECT_FALSE(keys.KeyExists("HKUS", ".DEFAULT\\Software"));
    EXPECT_TRUE(Registry.KeyExists("HKUS", ".DEFAULT"));
}

TEST_F(RegistryFixture, HexTextIsUpperCasePairsSeparatedBySingleBlanks) {
    using Row = std::pair<std::string_view, bool>;
    for (const auto& [text, valid] :
         {Row{"", true}, Row{"00", true}, Row{"00 1F A0", true}, Row{"FF FF", true},
          Row{"0", false}, Row{"000", false}, Row{"0G", false}, Row{"1f", false},
          Row{"00  1F", false}, Row{" 00", false}, Row{"00 ", false}, Row{"00,1F", false},
          Row{"001F", false}, Row{"00\t1F", false}}) {
        SCOPED_TRACE(text);
        EXPECT_EQ(clsRegistryAccess::isBinValid(text), valid);
        EXPECT_EQ(clsRegistryAccess::StrToBin(text).empty(), !valid || text.empty());
        EXPECT_EQ(Registry.WriteBinary("HKCU", "K", "b", text), valid);
        EXPECT_EQ(Registry.LastError().GetCode(),
                  valid ? clsStatus::Code::Ok : clsStatus::Code::Invalid);
        EXPECT_EQ(Registry.ReadBinary("HKCU", "K", "b", "-"), valid ? text : "-");
        EXPECT_EQ(Registry.KillValue("HKCU", "K", "b"), valid);
    }
}
