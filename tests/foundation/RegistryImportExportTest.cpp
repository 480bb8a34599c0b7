// Export and import of REGEDIT4 files: a round trip into a fresh folder keeps every value, and a
// hand-written file with comments, deletions, VB and C hex numbers and wrapped hex lists is read
// as the registry editor would, skipping and reporting what it cannot read.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "foundation/RegistryTestSupport.h"

namespace {

using Strings = std::vector<std::string>;

std::string ReplaceAll(std::string text, std::string_view from, std::string_view to) {
    for (std::size_t at = text.find(from); at != std::string::npos;
         at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
    return text;
}

struct clsTextValue {
    std::string_view Key, Name, Text;
};
struct clsNumberValue {
    std::string_view Key, Name;
    std::uint32_t Number;
};

const clsTextValue kTexts[] = {
    {"Software\\Kesto", "Quote", "say \"hi\""},
    {"Software\\Kesto", "Path", "C:\\dir\\new\\"},  // backslash-n must stay two characters
    {"Software\\Kesto", "Lines", "one\ntwo\r\nthree\r"},
    {"Software\\Kesto", "", "the default"},
    {"Software\\Kesto", "Empty", ""},
    {"Software\\Kesto", "Name \"with\" \\ and =", "v"},
    {"Software\\Kesto\\Sub", "Gr\xC3\xBC\xC3\x9F\x65 \xE2\x9C\x93", "\xE6\x97\xA5\xE6\x9C\xAC"},
};
const clsNumberValue kNumbers[] = {
    {"Software\\Kesto", "Zero", 0},
    {"Software\\Kesto", "Ten", 10},
    {"Software\\Kesto\\Sub", "Max", 0xFFFFFFFF},
};
const clsTextValue kBinaries[] = {
    {"Software\\Kesto\\Sub", "Bytes", "00 1F A0 FF"},
    {"Software\\Kesto\\Sub", "None", ""},
};

void WriteAll(clsRegistryAccess& registry) {
    for (const clsTextValue& v : kTexts) {
        ASSERT_TRUE(registry.WriteString("HKCU", v.Key, v.Name, v.Text)) << v.Name;
    }
    for (const clsNumberValue& v : kNumbers) {
        ASSERT_TRUE(registry.WriteDWORD("HKCU", v.Key, v.Name, v.Number)) << v.Name;
    }
    for (const clsTextValue& v : kBinaries) {
        ASSERT_TRUE(registry.WriteBinary("HKCU", v.Key, v.Name, v.Text)) << v.Name;
    }
    ASSERT_TRUE(registry.CreateKey("HKCU", "Software\\Kesto\\Empty"));
    ASSERT_TRUE(registry.WriteString("HKCU", "Software\\Other", "NotExported", "x"));
}

void ExpectAll(clsRegistryAccess& registry) {
    for (const clsTextValue& v : kTexts) {
        EXPECT_EQ(registry.ReadString("HKCU", v.Key, v.Name, "missing"), v.Text) << v.Name;
    }
    for (const clsNumberValue& v : kNumbers) {
        EXPECT_EQ(registry.ReadDWORD("HKCU", v.Key, v.Name, 12345), v.Number) << v.Name;
    }
    for (const clsTextValue& v : kBinaries) {
        EXPECT_EQ(registry.ReadBinary("HKCU", v.Key, v.Name, "missing"), v.Text) << v.Name;
    }
    EXPECT_TRUE(registry.KeyExists("HKCU", "Software\\Kesto\\Empty"));
}

}  // namespace

TEST_F(RegistryFixture, ExportThenImportIntoAFreshFolderKeepsEveryValue) {
    WriteAll(Registry);
    const std::filesystem::path exported = Folder.Path() / "out" / "kesto.reg";
    ASSERT_TRUE(Registry.ExportToReg(exported, "hkcu\\SOFTWARE\\kesto"))
        << Registry.LastError().Description();
    const std::string text = ReadWholeFile(exported);
    EXPECT_EQ(text.rfind("REGEDIT4\n\n[HKEY_CURRENT_USER\\Software\\Kesto]\n", 0), 0U) << text;
    EXPECT_EQ(text.find("Other"), std::string::npos) << text;

    clsTempFolder fresh;
    clsRegistryAccess imported(clsRegistryLocations::InFolder(fresh.Path()));
    ASSERT_TRUE(imported.ImportFromReg(exported)) << imported.LastError().Description();
    EXPECT_TRUE(imported.LastError().IsOk()) << imported.LastError().Description();
    ExpectAll(imported);
    EXPECT_FALSE(imported.KeyExists("HKCU", "Software\\Other"));
    for (std::string_view key : {"Software\\Kesto", "Software\\Kesto\\Sub"}) {
        EXPECT_EQ(imported.EnumValues("HKCU", key), Registry.EnumValues("HKCU", key)) << key;
        EXPECT_EQ(imported.EnumKeys("HKCU", key), Registry.EnumKeys("HKCU", key)) << key;
    }
}

TEST_F(RegistryFixture, ExportTakesEitherRootSpellingAndRefusesAMissingKey) {
    ASSERT_TRUE(Registry.WriteString("HKUS", "S-1\\Software", "a", "b"));
    struct Case {
        std::string_view FullKey;
        bool Exported;
    };
    std::string first;
    for (const Case& c :
         {Case{"HKEY_USERS\\S-1", true}, Case{"hkus\\s-1\\", true}, Case{"\\HKUS\\S-1", true},
          Case{"HKU\\S-1", false}, Case{"HKUS\\S-2", false}, Case{"HKCU\\S-1", false}}) {
        SCOPED_TRACE(c.FullKey);
        const std::filesystem::path file = Folder.Path() / "export.reg";
        std::filesystem::remove(file);
        EXPECT_EQ(Registry.ExportToReg(file, c.FullKey), c.Exported);
        EXPECT_EQ(std::filesystem::exists(file), c.Exported);
        if (c.Exported) {
            const std::string text = ReadWholeFile(file);
            EXPECT_EQ(text, first.empty() ? text : first);
            first = text;
        } else {
            EXPECT_FALSE(Registry.LastError().IsOk());
        }
    }
    EXPECT_NE(first.find("[HKEY_USERS\\S-1\\Software]\n\"a\"=\"b\"\n"), std::string::npos) << first;
}

TEST_F(RegistryFixture, ImportReadsAHandWrittenFileAndReportsTheLineItSkipped) {
    const std::string body =
        "; Corvel settings, written by hand\n"                          // line 2
        "\n"                                                            // 3
        "[HKEY_CURRENT_USER\\Software\\Kesto]\n"                        // 4
        "\"Ten\"=dword:0000000a\n"                                      // 5
        "\"VbHex\"=dword:&H1F\n"                                        // 6
        "\"CHex\"=dword:0x1f\n"                                         // 7
        "\"BareVb\"=&H1F\n"                                             // 8
        "\"BareC\"=0x1F\n"                                              // 9
        "\"Path\"=\"C:\\\\Program Files\\\\Kesto\\\\\"\n"               // 10
        "\"Bytes\"=hex:00,01,02,03,04,05,06,07,08,09,0a,0b,0c,0d,\\\n"  // 11
        "  0e,0f,10\n"                                                  // 12
        "this line is nonsense\n"                                       // 13
        "@=\"default\"\n"                                               // 14
        "\n"                                                            // 15
        "[-HKEY_CURRENT_USER\\Software\\Kesto\\Old]\n"                  // 16
        "\n"                                                            // 17
        "[HKLM\\Software\\Kesto]\n"                                     // 18
        "\"Machine\"=\"yes\"\n"                                         // 19
        "\"Gone\"=-\n";                                                 // 20
    struct Case {
        std::string_view Name, Header;
        bool Crlf;
    };
    for (const Case& c : {Case{"plain", "REGEDIT4\n", false},
                          Case{"byte order mark", "\xEF\xBB\xBFREGEDIT4\n", false},
                          Case{"version 5", "Windows Registry Editor Version 5.00\n", true}}) {
        SCOPED_TRACE(c.Name);
        clsTempFolder folder;
        clsRegistryAccess registry(clsRegistryLocations::InFolder(folder.Path()));
        ASSERT_TRUE(registry.WriteString("HKCU", "Software\\Kesto\\Old\\Deeper", "v", "x"));
        ASSERT_TRUE(registry.WriteString("HKLM", "Software\\Kesto", "Gone", "x"));
        const std::string text = std::string(c.Header) + body;
        WriteWholeFile(folder.Path() / "in.reg", c.Crlf ? ReplaceAll(text, "\n", "\r\n") : text);

        ASSERT_TRUE(registry.ImportFromReg(folder.Path() / "in.reg"));
        EXPECT_EQ(registry.LastError().GetCode(), clsStatus::Code::Corrupt);
        EXPECT_NE(registry.LastError().Description().find("1 line skipped: line 13"),
                  std::string::npos)
            << registry.LastError().Description();
        for (std::string_view name : {"VbHex", "CHex", "BareVb", "BareC"}) {
            EXPECT_EQ(registry.ReadDWORD("HKCU", "Software\\Kesto", name, 0), 31U) << name;
        }
        EXPECT_EQ(registry.ReadDWORD("HKCU", "Software\\Kesto", "Ten", 0), 10U);
        EXPECT_EQ(registry.ReadString("HKCU", "Software\\Kesto", "Path", ""),
                  "C:\\Program Files\\Kesto\\");
        EXPECT_EQ(registry.ReadBinary("HKCU", "Software\\Kesto", "Bytes", ""),
                  "00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F 10");
        EXPECT_EQ(registry.ReadString("HKCU", "Software\\Kesto", "", ""), "default");
        EXPECT_FALSE(registry.KeyExists("HKCU", "Software\\Kesto\\Old"));
        EXPECT_EQ(registry.ReadString("HKLM", "Software\\Kesto", "Machine", ""), "yes");
        EXPECT_FALSE(registry.ValueExists("HKLM", "Software\\Kesto", "Gone"));
    }
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
