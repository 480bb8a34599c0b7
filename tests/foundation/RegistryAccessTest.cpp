// The settings store against real files in a temporary folder: roots, key and value names, value
// types, the REGEDIT4 files it writes, and export and import of such files.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "foundation/clsRegistryAccess.h"
#include "support/TestSupport.h"

using Strings = std::vector<std::string>;

struct RegistryFixture : ::testing::Test {
    clsTempFolder Folder;
    clsRegistryAccess Registry{clsRegistryLocations::InFolder(Folder.Path())};
    std::filesystem::path UserFile() const { return Folder.Path() / "registry.reg"; }
};

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
    for (std::string_view root : {"HKU", "HKCU\\Software", "", "HKEY_CURRENT_USERS"}) {
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
    for (std::string_view path : {"\\Software\\Kesto\\CORVEL\\", "Software\\\\Kesto\\Corvel"}) {
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
}

TEST_F(RegistryFixture, MissingFilesKeysValuesAndOtherTypesGiveTheDefault) {
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
          Row{"Missing", "Text", "dflt", "dflt", 99}}) {
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
    EXPECT_TRUE(Registry.HaveSubkey("HKCU", "R\\a"));

    ASSERT_TRUE(Registry.KillKey("HKCU", "r\\a"));
    EXPECT_EQ(Registry.ReadString("HKCU", "R\\A\\deep", "v", "gone"), "gone");
    ASSERT_TRUE(Registry.CreateKey("HKCU", "R\\a"));
    EXPECT_EQ(Registry.EnumKeys("HKCU", "R"), (Strings{"b", "c", "a"}));
    EXPECT_FALSE(Registry.HaveSubkey("HKCU", "R\\a")) << "the old sub-keys came back";

    EXPECT_FALSE(Registry.KillKey("HKCU", "R\\Missing"));
    EXPECT_EQ(Registry.LastError().GetCode(), clsStatus::Code::NotFound);
    EXPECT_FALSE(Registry.KillKey("HKCU", "\\")) << "the whole root";
    EXPECT_TRUE(Registry.KeyExists("HKCU", "R\\b"));
}

TEST_F(RegistryFixture, ExportThenImportIntoAFreshFolderKeepsEveryValue) {
    const std::string_view kesto = "Software\\Kesto", sub = "Software\\Kesto\\Sub";
    // A backslash before "n" stays two characters; a "\r" ending a line is not lost as a blank.
    const std::string_view tricky = "say \"hi\" C:\\dir\\new\\ one\ntwo\r\nthree\r";
    ASSERT_TRUE(Registry.WriteString("HKCU", kesto, "Tricky", tricky));
    ASSERT_TRUE(Registry.WriteString("HKCU", kesto, "", "the default"));
    ASSERT_TRUE(Registry.WriteString("HKCU", kesto, "Empty", ""));
    ASSERT_TRUE(Registry.WriteString("HKCU", kesto, "Name \"with\" \\ and =", "v"));
    ASSERT_TRUE(Registry.WriteString("HKCU", sub, "Gr\xC3\xBC\xC3\x9F\x65", "\xE6\x97\xA5"));
    ASSERT_TRUE(Registry.WriteDWORD("HKCU", kesto, "Zero", 0));
    ASSERT_TRUE(Registry.WriteDWORD("HKCU", sub, "Max", 0xFFFFFFFF));
    ASSERT_TRUE(Registry.WriteBinary("HKCU", sub, "Bytes", "00 1F A0 FF"));
    ASSERT_TRUE(Registry.WriteBinary("HKCU", sub, "None", ""));
    ASSERT_TRUE(Registry.CreateKey("HKCU", "Software\\Kesto\\Empty"));
    ASSERT_TRUE(Registry.WriteString("HKCU", "Software\\Other", "NotExported", "x"));
    const std::filesystem::path exported = Folder.Path() / "out" / "kesto.reg";
    ASSERT_TRUE(Registry.ExportToReg(exported, "hkcu\\SOFTWARE\\kesto"))
        << Registry.LastError().Description();
    const std::string text = ReadWholeFile(exported);

    clsTempFolder fresh;
    clsRegistryAccess imported(clsRegistryLocations::InFolder(fresh.Path()));
    ASSERT_TRUE(imported.ImportFromReg(exported)) << imported.LastError().Description();
    EXPECT_TRUE(imported.LastError().IsOk()) << imported.LastError().Description();
    EXPECT_EQ(imported.ReadString("HKCU", kesto, "Tricky", ""), tricky);
    EXPECT_FALSE(imported.KeyExists("HKCU", "Software\\Other"));
    // Exported again under the root's full name, every key, value, type and order is the same;
    // a key that is not there exports nothing.
    ASSERT_TRUE(
        imported.ExportToReg(fresh.Path() / "again.reg", "\\HKEY_CURRENT_USER\\Software\\Kesto\\"));
    EXPECT_EQ(ReadWholeFile(fresh.Path() / "again.reg"), text);
    EXPECT_FALSE(imported.ExportToReg(fresh.Path() / "none.reg", "HKCU\\Software\\Missing"));
    EXPECT_FALSE(std::filesystem::exists(fresh.Path() / "none.reg"));
}

// A hand-written file with a byte order mark, CRLF line ends, comments, deletions, VB hex numbers
// and wrapped hex lists is read as the registry editor would, skipping and reporting what it
// cannot read.
TEST_F(RegistryFixture, ImportReadsAHandWrittenFileAndReportsTheLineItSkipped) {
    ASSERT_TRUE(Registry.WriteString("HKCU", "Software\\Kesto\\Old\\Deeper", "v", "x"));
    ASSERT_TRUE(Registry.WriteString("HKLM", "Software\\Kesto", "Gone", "x"));
    WriteWholeFile(Folder.Path() / "in.reg",
                   "\xEF\xBB\xBFWindows Registry Editor Version 5.00\r\n"         // line 1
                   "; Corvel settings, written by hand\r\n"                       // 2
                   "\r\n"                                                         // 3
                   "[HKEY_CURRENT_USER\\Software\\Kesto]\r\n"                     // 4
                   "\"VbHex\"=dword:&H1F\r\n"                                     // 5
                   "\"Path\"=\"C:\\\\Program Files\\\\Kesto\\\\\"\r\n"            // 6
                   "\"Bytes\"=hex:00,01,02,03,04,05,06,07,08,09,0a,0b,0c,\\\r\n"  // 7
                   "  0d,0e,0f,10\r\n"                                            // 8
                   "this line is nonsense\r\n"                                    // 9
                   "@=\"default\"\r\n"                                            // 10
                   "[-HKEY_CURRENT_USER\\Software\\Kesto\\Old]\r\n"               // 11
                   "[HKLM\\Software\\Kesto]\r\n"                                  // 12
                   "\"Machine\"=\"yes\"\r\n"                                      // 13
                   "\"Gone\"=-\r\n");                                             // 14
    ASSERT_TRUE(Registry.ImportFromReg(Folder.Path() / "in.reg"));
    EXPECT_EQ(Registry.LastError().GetCode(), clsStatus::Code::Corrupt);
    EXPECT_NE(Registry.LastError().Description().find("1 line skipped: line 9"), std::string::npos)
        << Registry.LastError().Description();
    EXPECT_EQ(Registry.ReadDWORD("HKCU", "Software\\Kesto", "VbHex", 0), 31U);
    EXPECT_EQ(Registry.ReadString("HKCU", "Software\\Kesto", "Path", ""),
              "C:\\Program Files\\Kesto\\");
    EXPECT_EQ(Registry.ReadBinary("HKCU", "Software\\Kesto", "Bytes", ""),
              "00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F 10");
    EXPECT_EQ(Registry.ReadString("HKCU", "Software\\Kesto", "", ""), "default");
    EXPECT_FALSE(Registry.KeyExists("HKCU", "Software\\Kesto\\Old"));
    EXPECT_EQ(Registry.ReadString("HKLM", "Software\\Kesto", "Machine", ""), "yes");
    EXPECT_FALSE(Registry.ValueExists("HKLM", "Software\\Kesto", "Gone"));
}

TEST_F(RegistryFixture, ImportOfAnUnreadableFileChangesNothing) {
    std::filesystem::create_directory(Folder.Path() / "folder.reg");
    WriteWholeFile(Folder.Path() / "headless.reg", "[HKEY_CURRENT_USER\\Software]\n\"a\"=\"b\"\n");
    WriteWholeFile(Folder.Path() / "utf16.reg", std::string_view("\xFF\xFER\0E\0G\0", 8));
    using Row = std::pair<std::string_view, clsStatus::Code>;
    for (const auto& [file, code] :
         {Row{"missing.reg", clsStatus::Code::NotFound}, Row{"folder.reg", clsStatus::Code::Io},
          Row{"headless.reg", clsStatus::Code::Invalid},
          Row{"utf16.reg", clsStatus::Code::Invalid}}) {
        SCOPED_TRACE(file);
        EXPECT_FALSE(Registry.ImportFromReg(Folder.Path() / file));
        EXPECT_EQ(Registry.LastError().GetCode(), code) << Registry.LastError().Description();
        EXPECT_FALSE(Registry.KeyExists("HKCU", "Software"));
    }
}
