// Export and import of REGEDIT4 files: a round trip into a fresh folder keeps every value, and a
// hand-written file with a byte order mark, CRLF line ends, comments, deletions, VB hex numbers
// and wrapped hex lists is read as the registry editor would, skipping and reporting what it
// cannot read.
#include <gtest/gtest.h>

#include <string>

#include "foundation/RegistryTestSupport.h"

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
    // Exported again, every key, value, type and order is the same.
    ASSERT_TRUE(imported.ExportToReg(fresh.Path() / "again.reg", "HKCU\\Software\\Kesto"));
    EXPECT_EQ(ReadWholeFile(fresh.Path() / "again.reg"), text);
}

TEST_F(RegistryFixture, ExportTakesEitherRootSpellingAndRefusesAMissingKey) {
    ASSERT_TRUE(Registry.WriteString("HKUS", "S-1\\Software", "a", "b"));
    struct Case {
        std::string_view FullKey;
        bool Exported;
    };
    for (const Case& c :
         {Case{"HKEY_USERS\\S-1", true}, Case{"hkus\\s-1\\", true}, Case{"\\HKUS\\S-1", true},
          Case{"HKU\\S-1", false}, Case{"HKUS\\S-2", false}, Case{"HKCU\\S-1", false}}) {
        SCOPED_TRACE(c.FullKey);
        const std::filesystem::path file = Folder.Path() / "export.reg";
        std::filesystem::remove(file);
        EXPECT_EQ(Registry.ExportToReg(file, c.FullKey), c.Exported);
        EXPECT_EQ(Registry.LastError().IsOk(), c.Exported);
        EXPECT_EQ(ReadWholeFile(file), c.Exported ? "REGEDIT4\n\n[HKEY_USERS\\S-1]\n\n"
                                                    "[HKEY_USERS\\S-1\\Software]\n\"a\"=\"b\"\n\n"
                                                  : "");
    }
}

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
    struct Case {
        std::string_view File;
        clsStatus::Code Code;
    };
    for (const Case& c :
         {Case{"missing.reg", clsStatus::Code::NotFound}, Case{"folder.reg", clsStatus::Code::Io},
          Case{"headless.reg", clsStatus::Code::Invalid},
          Case{"utf16.reg", clsStatus::Code::Invalid}}) {
        SCOPED_TRACE(c.File);
        EXPECT_FALSE(Registry.ImportFromReg(Folder.Path() / c.File));
        EXPECT_EQ(Registry.LastError().GetCode(), c.Code) << Registry.LastError().Description();
        EXPECT_FALSE(Registry.KeyExists("HKCU", "Software"));
    }
}

TEST_F(RegistryFixture, ImportStillWritesTheRootsItCanWrite) {
    WriteWholeFile(Folder.Path() / "plain", "a regular file, not a folder");
    clsRegistryLocations locations = clsRegistryLocations::InFolder(Folder.Path());
    locations.Files[RegistryRoot::LocalMachine] = Folder.Path() / "plain" / "registry.reg";
    clsRegistryAccess registry(locations);
    WriteWholeFile(Folder.Path() / "in.reg",
                   "REGEDIT4\n\n[HKLM\\Software]\n\"m\"=\"1\"\n\n[HKCU\\Software]\n\"u\"=\"2\"\n");
    EXPECT_FALSE(registry.ImportFromReg(Folder.Path() / "in.reg"));
    EXPECT_NE(registry.LastError().Description().find("plain"), std::string::npos)
        << registry.LastError().Description();
    EXPECT_EQ(registry.ReadString("HKCU", "Software", "u", ""), "2");
}
