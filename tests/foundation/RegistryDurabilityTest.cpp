// The settings store when things go wrong or happen at once: processes writing the same file
// together, damaged files, places that cannot be written, and where the files live.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "foundation/RegistryTestSupport.h"

namespace {

// Sets an environment variable (nullptr: unsets it) for one scope and puts the old value back.
class clsScopedVariable {
public:
    clsScopedVariable(const char* name, const char* value) : mName(name) {
        if (const char* old = std::getenv(name)) {
            mOld = old;
        }
        Set(value);
    }
    ~clsScopedVariable() { Set(mOld ? mOld->c_str() : nullptr); }
    clsScopedVariable(const clsScopedVariable&) = delete;
    clsScopedVariable& operator=(const clsScopedVariable&) = delete;

private:
    void Set(const char* value) { value ? ::setenv(mName, value, 1) : ::unsetenv(mName); }
    const char* mName;
    std::optional<std::string> mOld;
};

}  // namespace

TEST_F(RegistryFixture, ProcessesWritingTheSameFileAtOnceLoseNothing) {
    constexpr std::uint32_t kWriters = 3;
    constexpr std::uint32_t kValues = 200;
    std::vector<pid_t> children;
    for (std::uint32_t writer = 0; writer < kWriters; ++writer) {
        const pid_t child = ::fork();
        if (child == 0) {  // each writer's values are named after the numbers they hold
            clsRegistryAccess registry(clsRegistryLocations::InFolder(Folder.Path()));
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
    const Strings names = Registry.EnumValues("HKCU", "Shared");
    EXPECT_EQ(names.size(), kWriters * kValues);
    for (const std::string& name : names) {
        ASSERT_EQ(Registry.ReadDWORD("HKCU", "Shared", name, 0), std::stoul(name)) << name;
    }
}

TEST_F(RegistryFixture, ADamagedFileIsReadLenientlyAndKeptAsBadBeforeItsRewrite) {
    struct Case {
        std::string_view Name, Text, FirstBadLine;
        bool GoodValueSurvives;
    };
    for (const Case& c : {
             Case{"garbage lines",
                  "REGEDIT4\n\n[HKEY_CURRENT_USER\\K]\n\"good\"=\"1\"\n\xFF\xFE garbage\n"
                  "\"n\"=dword:zz\n[HKEY_LOCAL_MACHINE\\Foreign]\n\"f\"=\"x\"\n",
                  "line 5", true},
             Case{"no header", "[HKEY_CURRENT_USER\\K]\n\"good\"=\"1\"\n", "line 1", true},
             Case{"binary junk", std::string_view("\x00\x01\x02\n\x7F", 5), "line 1", false},
         }) {
        SCOPED_TRACE(c.Name);
        clsTempFolder folder;
        clsRegistryAccess registry(clsRegistryLocations::InFolder(folder.Path()));
        const std::filesystem::path file = folder.Path() / "registry.reg";
        WriteWholeFile(file, c.Text);

        EXPECT_EQ(registry.ReadString("HKCU", "K", "good", "none"),
                  c.GoodValueSurvives ? "1" : "none");
        EXPECT_NE(registry.LastError().Description().find(c.FirstBadLine), std::string::npos)
            << registry.LastError().Description();
        EXPECT_FALSE(std::filesystem::exists(file.string() + ".bad")) << "a read made a copy";

        ASSERT_TRUE(registry.WriteString("HKCU", "K", "new", "2"));
        EXPECT_EQ(registry.LastError().GetCode(), clsStatus::Code::Corrupt);
        EXPECT_EQ(ReadWholeFile(file.string() + ".bad"), c.Text);
        EXPECT_EQ(registry.ReadString("HKCU", "K", "new", ""), "2");
        EXPECT_TRUE(registry.LastError().IsOk()) << registry.LastError().Description();

        WriteWholeFile(file, "damaged again\n");  // the first copy must not be overwritten
        ASSERT_TRUE(registry.WriteString("HKCU", "K", "newer", "3"));
        EXPECT_EQ(ReadWholeFile(file.string() + ".bad"), c.Text);
        EXPECT_EQ(ReadWholeFile(file.string() + ".bad.1"), "damaged again\n");
    }
}

TEST_F(RegistryFixture, AnUnwritablePlaceMakesWritesFailWithoutThrowing) {
    WriteWholeFile(Folder.Path() / "plain", "a regular file");
    std::filesystem::create_directories(Folder.Path() / "folder.reg");
    std::filesystem::create_directories(Folder.Path() / "readonly");
    std::filesystem::permissions(
        Folder.Path() / "readonly",
        std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
    WriteWholeFile(Folder.Path() / "in.reg", "REGEDIT4\n\n[HKCU\\Software]\n\"a\"=\"b\"\n");
    struct Case {
        std::string_view Name;
        std::filesystem::path File;
        bool PermissionsOnly;  // root ignores file modes
    };
    for (const Case& c :
         {Case{"under a file", Folder.Path() / "plain" / "corvel" / "registry.reg", false},
          Case{"a folder", Folder.Path() / "folder.reg", false},
          Case{"read-only folder", Folder.Path() / "readonly" / "registry.reg", true}}) {
        SCOPED_TRACE(c.Name);
        if (c.PermissionsOnly && ::geteuid() == 0) {
            continue;
        }
        clsRegistryLocations locations;
        locations.Files[RegistryRoot::CurrentUser] = c.File;
        clsRegistryAccess registry(locations);
        EXPECT_FALSE(registry.WriteString("HKCU", "Software", "a", "b"));
        EXPECT_NE(registry.LastError().Description().find("clsRegistryAccess->WriteString: "),
                  std::string::npos)
            << registry.LastError().Description();
        EXPECT_FALSE(registry.CreateKey("HKCU", "Software"));
        EXPECT_FALSE(registry.ImportFromReg(Folder.Path() / "in.reg"));
        EXPECT_FALSE(registry.ExportToReg(c.File.parent_path() / "out.reg", "HKCU"));
        EXPECT_EQ(registry.ReadString("HKCU", "Software", "a", "default"), "default");
    }
}

TEST(RegistryLocations, FilesFollowTheXdgConfigFolder) {
    struct Case {
        const char* ConfigHome;
        std::filesystem::path Folder;
    };
    for (const Case& c :
         {Case{"/x/cfg", "/x/cfg/corvel"}, Case{nullptr, "/home/ann/.config/corvel"},
          Case{"", "/home/ann/.config/corvel"}, Case{"relative/cfg", "/home/ann/.config/corvel"}}) {
        SCOPED_TRACE(c.ConfigHome == nullptr ? "(unset)" : c.ConfigHome);
        clsScopedVariable home("HOME", "/home/ann");
        clsScopedVariable configHome("XDG_CONFIG_HOME", c.ConfigHome);
        const clsRegistryLocations locations = clsRegistryLocations::FromEnvironment();
        EXPECT_EQ(locations.Files.at(RegistryRoot::CurrentUser), c.Folder / "registry.reg");
        EXPECT_EQ(locations.Files.at(RegistryRoot::ClassesRoot), c.Folder / "registry-HKCR.reg");
        EXPECT_EQ(locations.Files.at(RegistryRoot::LocalMachine), "/etc/corvel/registry.reg");
        EXPECT_EQ(locations.Files.size(), 7U);
    }
}
