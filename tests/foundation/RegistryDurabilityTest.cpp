// The settings store when things go wrong or happen at once: processes writing the same file
// together, damaged files, places that cannot be written, and where the files live.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "foundation/RegistryTestSupport.h"

namespace {

// Sets an environment variable for one scope and puts the old value back.
class clsScopedVariable {
public:
    clsScopedVariable(const char* name, const char* value) : mName(name) {
        if (const char* old = std::getenv(name)) {
            mOld = old;
        }
        if (value != nullptr) {
            ::setenv(name, value, 1);
        } else {
            ::unsetenv(name);
        }
    }
    ~clsScopedVariable() {
        if (mOld) {
            ::setenv(mName, mOld->c_str(), 1);
        } else {
            ::unsetenv(mName);
        }
    }
    clsScopedVariable(const clsScopedVariable&) = delete;
    clsScopedVariable& operator=(const clsScopedVariable&) = delete;

private:
    const char* mName;
    std::optional<std::string> mOld;
};

// One child's share: names "w<writer>-<i>", numbers and texts alternately.
int WriteShare(const std::filesystem::path& folder, int writer, int count) {
    clsRegistryAccess registry(clsRegistryLocations::InFolder(folder));
    int failures = 0;
    for (int i = 0; i < count; ++i) {
        const std::string name = "w" + std::to_string(writer) + "-" + std::to_string(i);
        const bool written =
            i % 2 == 0 ? registry.WriteDWORD("HKCU", "Shared", name,
                                             static_cast<std::uint32_t>(writer * 1000 + i))
                       : registry.WriteString("hkey_current_user", "shared", name, name);
        failures += written ? 0 : 1;
    }
    return failures;
}

}  // namespace

TEST_F(RegistryFixture, ProcessesWritingTheSameFileAtOnceLoseNothing) {
    constexpr int kWriters = 3;
    constexpr int kValues = 200;
    std::vector<pid_t> children;
    for (int writer = 0; writer < kWriters; ++writer) {
        const pid_t child = ::fork();
        if (child == 0) {
            ::_exit(WriteShare(Folder.Path(), writer, kValues) == 0 ? 0 : 1);
        }
        ASSERT_GT(child, 0);
        children.push_back(child);
    }
    for (const pid_t child : children) {
        int status = 0;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "a write failed";
    }
    EXPECT_EQ(Registry.EnumValues("HKCU", "Shared").size(),
              static_cast<std::size_t>(kWriters * kValues));
    for (int writer = 0; writer < kWriters; ++writer) {
        for (int i = 0; i < kValues; ++i) {
            const std::string name = "w" + std::to_string(writer) + "-" + std::to_string(i);
            if (i % 2 == 0) {
                ASSERT_EQ(Registry.ReadDWORD("HKCU", "Shared", name, 0),
                          static_cast<std::uint32_t>(writer * 1000 + i))
                    << name;
            } else {
                ASSERT_EQ(Registry.ReadString("HKCU", "Shared", name, ""), name);
            }
        }
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
    EXPECT_FALSE(Registry.ExportToReg(Folder.Path() / "plain" / "out.reg", "HKCU"));
}

TEST(RegistryLocations, FilesFollowTheXdgConfigFolder) {
    struct Case {
        const char* ConfigHome;
        std::string_view UserFile, ClassesFile;
    };
    for (const Case& c :
         {Case{"/x/cfg", "/x/cfg/corvel/registry.reg", "/x/cfg/corvel/registry-HKCR.reg"},
          Case{nullptr, "/home/ann/.config/corvel/registry.reg",
               "/home/ann/.config/corvel/registry-HKCR.reg"},
          Case{"", "/home/ann/.config/corvel/registry.reg",
               "/home/ann/.config/corvel/registry-HKCR.reg"},
          Case{"relative/cfg", "/home/ann/.config/corvel/registry.reg",
               "/home/ann/.config/corvel/registry-HKCR.reg"}}) {
        SCOPED_TRACE(c.ConfigHome == nullptr ? "(unset)" : c.ConfigHome);
        clsScopedVariable home("HOME", "/home/ann");
        clsScopedVariable configHome("XDG_CONFIG_HOME", c.ConfigHome);
        const clsRegistryLocations locations = clsRegistryLocations::FromEnvironment();
        EXPECT_EQ(locations.Files.at(RegistryRoot::CurrentUser), c.UserFile);
        EXPECT_EQ(locations.Files.at(RegistryRoot::ClassesRoot), c.ClassesFile);
        EXPECT_EQ(locations.Files.at(RegistryRoot::LocalMachine), "/etc/corvel/registry.reg");
        EXPECT_EQ(locations.Files.size(), 7U);
    }
}
