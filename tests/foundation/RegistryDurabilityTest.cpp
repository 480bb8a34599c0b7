// The settings store when things go wrong or happen at once: processes writing the same file
// together, damaged files and places that cannot be written.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <tuple>
#include <vector>

#include "foundation/clsRegistryAccess.h"
#include "support/TestSupport.h"

TEST(RegistryDurability, ProcessesWritingTheSameFileAtOnceLoseNothing) {
    clsTempFolder folder;
    constexpr std::uint32_t kWriters = 3;
    constexpr std::uint32_t kValues = 200;
    std::vector<pid_t> children;
    for (std::uint32_t writer = 0; writer < kWriters; ++writer) {
        const pid_t child = ::fork();
        if (child == 0) {  // each writer's values are named after the numbers they hold
            clsRegistryAccess registry(clsRegistryLocations::InFolder(folder.Path()));
            bool written = true;
            for (std::uint32_t n = writer * 1000; n < writer * 1000 + kValues; ++n) {
                written = registry.WriteDWORD("HKCU", "Shared", std::to_string(n), n) && written;
            }
            ::_exit(written ? 0 : 1);
        }
        ASSERT_GT(child, 0);
        children.push_back(child);
    }
    for (const pid_t child : children) {
        int status = 0;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "a write failed";
    }
    clsRegistryAccess registry(clsRegistryLocations::InFolder(folder.Path()));
    const std::vector<std::string> names = registry.EnumValues("HKCU", "Shared");
    EXPECT_EQ(names.size(), kWriters * kValues);
    for (const std::string& name : names) {
        ASSERT_EQ(registry.ReadDWORD("HKCU", "Shared", name, 0), std::stoul(name)) << name;
    }
}

TEST(RegistryDurability, ADamagedFileIsReadLenientlyAndKeptAsBadBeforeItsRewrite) {
    // The file, the first line reported as bad, and whether the good value is still read.
    using Row = std::tuple<std::string_view, std::string_view, bool>;
    for (const auto& [text, firstBadLine, goodValueSurvives] :
         {Row{"REGEDIT4\n\n[HKEY_CURRENT_USER\\K]\n\"good\"=\"1\"\n\xFF\xFE garbage\n"
              "\"n\"=dword:zz\n[HKEY_LOCAL_MACHINE\\Foreign]\n\"f\"=\"x\"\n",
              "line 5", true},
          Row{std::string_view("\x00\x01\x02\n\x7F", 5), "line 1", false}}) {
        SCOPED_TRACE(text);
        clsTempFolder folder;
        clsRegistryAccess registry(clsRegistryLocations::InFolder(folder.Path()));
        const std::filesystem::path file = folder.Path() / "registry.reg";
        WriteWholeFile(file, text);

        EXPECT_EQ(registry.ReadString("HKCU", "K", "good", "none"),
                  goodValueSurvives ? "1" : "none");
        EXPECT_NE(registry.LastError().Description().find(firstBadLine), std::string::npos)
            << registry.LastError().Description();
        EXPECT_FALSE(std::filesystem::exists(file.string() + ".bad")) << "a read made a copy";

        ASSERT_TRUE(registry.WriteString("HKCU", "K", "new", "2"));
        EXPECT_EQ(registry.LastError().GetCode(), clsStatus::Code::Corrupt);
        EXPECT_EQ(ReadWholeFile(file.string() + ".bad"), text);
        EXPECT_EQ(registry.ReadString("HKCU", "K", "new", ""), "2");
        EXPECT_TRUE(registry.LastError().IsOk()) << registry.LastError().Description();

        WriteWholeFile(file, "damaged again\n");  // the first copy must not be overwritten
        ASSERT_TRUE(registry.WriteString("HKCU", "K", "newer", "3"));
        EXPECT_EQ(ReadWholeFile(file.string() + ".bad"), text);
        EXPECT_EQ(ReadWholeFile(file.string() + ".bad.1"), "damaged again\n");
    }
}

TEST(RegistryDurability, AnUnwritablePlaceMakesWritesFailWithoutThrowing) {
    clsTempFolder temp;
    const std::filesystem::path folder = temp.Path();
    WriteWholeFile(folder / "plain", "a regular file");
    std::filesystem::create_directories(folder / "folder.reg");
    std::filesystem::create_directories(folder / "readonly");
    std::filesystem::permissions(folder / "readonly", std::filesystem::perms::owner_read |
                                                          std::filesystem::perms::owner_exec);
    // A file under a plain file, one that is a folder, one in a read-only folder (root ignores
    // modes, so that case is skipped for root).
    using Row = std::pair<std::filesystem::path, bool>;  // the file; stopped by modes alone?
    for (const auto& [file, modesOnly] :
         {Row{folder / "plain" / "corvel" / "registry.reg", false},
          Row{folder / "folder.reg", false}, Row{folder / "readonly" / "registry.reg", true}}) {
        SCOPED_TRACE(file);
        if (modesOnly && ::geteuid() == 0) {
            continue;
        }
        clsRegistryLocations locations;
        locations.Files[RegistryRoot::CurrentUser] = file;
        clsRegistryAccess registry(locations);
        EXPECT_FALSE(registry.WriteString("HKCU", "Software", "a", "b"));
        EXPECT_NE(registry.LastError().Description().find("clsRegistryAccess->WriteString: "),
                  std::string::npos)
            << registry.LastError().Description();
        EXPECT_EQ(registry.ReadString("HKCU", "Software", "a", "default"), "default");
    }
}
