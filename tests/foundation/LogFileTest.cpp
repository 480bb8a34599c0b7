#include <gtest/gtest.h>

#include <ctime>
#include <regex>

#include "support/TestSupport.h"

namespace {

class clsRecordingList final : public clsListMirror {
public:
    int ItemCount() const override { return static_cast<int>(Items.size()); }
    void RemoveItem(int index) override { Items.erase(Items.begin() + index); }
    void InsertItem(int index, std::string text) override {
        Items.insert(Items.begin() + index, std::move(text));
    }
    std::vector<std::string> Items;
};

class clsRecordingText final : public clsTextMirror {
public:
    void SetText(std::string text) override { Text = std::move(text); }
    std::string Text;
};

void WriteFileOfSize(const std::filesystem::path& file, size_t size) {
    std::ofstream(file, std::ios::binary) << std::string(size, 'x');
}

std::vector<std::string> RotatedFiles(const std::filesystem::path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        const std::string name = entry.path().filename().string();
        if (name.rfind("Corvel Log ending ", 0) == 0) {
            names.push_back(name);
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace

TEST(LogFileFormat, LinesCarryDayFirstDateAndOptionalPaddedNetworkName) {
    std::tm local{};
    strptime("14/03/2008 09:05:17", "%d/%m/%Y %H:%M:%S", &local);
    local.tm_isdst = -1;
    const auto when = std::chrono::system_clock::from_time_t(std::mktime(&local));
    struct Case {
        std::string NetworkName, Expected;
    };
    for (const Case& c :
         {Case{"", "14/03/2008 09:05:17   Corvel->copyItem: done"},
          Case{"hosta", "14/03/2008 09:05:17   hosta             Corvel->copyItem: done"},
          Case{"a-very-long-hostname",
               "14/03/2008 09:05:17   a-very-long-hostname   Corvel->copyItem: done"}}) {
        SCOPED_TRACE(c.NetworkName);
        EXPECT_EQ(clsLogFile::FormatLine(when, c.NetworkName, "Corvel->copyItem: done"),
                  c.Expected);
    }
    EXPECT_EQ(clsLogFile::RotatedName("Corvel", when), "Corvel Log ending 14-03-08 09.05.17.log");
}

TEST(LogFileAddLog, StripsTrailingBreaksAndFiltersByLevelAndSwitch) {
    clsTestEnvironment env;
    clsRecordingList list;
    clsRecordingText text;
    env.Log.SetListBoxControl(&list);
    env.Log.SetTextBoxControl(&text);
    env.Log.SetLogDetailLevel(1);

    env.Log.AddLog("first\r\n\r\n", 0);
    env.Log.AddLog("too detailed", 2);
    env.Log.SetLoggingEnabled(false);
    env.Log.AddLog("while off", 0);
    env.Log.SetLoggingEnabled(true);
    env.Log.AddLog("last", 1);

    const std::vector<std::string> lines = ReadLines(env.Log.FullFilename());
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_TRUE(std::regex_match(lines[0], std::regex(R"(\d\d/\d\d/\d{4} \d\d:\d\d:\d\d   first)")))
        << lines[0];
    EXPECT_NE(lines[1].find("   last"), std::string::npos);
    ASSERT_EQ(list.Items.size(), 2U);  // the dropped entries reached no mirror either
    EXPECT_TRUE(std::regex_match(list.Items[0], std::regex(R"(\d\d:\d\d:\d\d last)")))
        << list.Items[0];
    EXPECT_EQ(text.Text, "last");
}

TEST(LogFileAddLog, ListMirrorKeepsTheNewest101EntriesFirst) {
    clsTestEnvironment env;
    clsRecordingList list;
    env.Log.SetListBoxControl(&list);
    for (int i = 0; i < 150; ++i) {
        env.Log.AddLog("entry " + std::to_string(i));
    }
    ASSERT_EQ(list.Items.size(), 101U);
    EXPECT_NE(list.Items.front().find("entry 149"), std::string::npos);
    EXPECT_NE(list.Items.back().find("entry 49"), std::string::npos);
}

TEST(LogFileAddErrorLog, AppendsDescriptionAndNumber) {
    struct Case {
        std::string Message, Expected;
    };
    for (const Case& c :
         {Case{"RulesDatabase->GetRS", "RulesDatabase->GetRS: Object required(424)"},
          Case{"RulesDatabase->GetRS ", "RulesDatabase->GetRS Object required(424)"},
          Case{"", "Object required(424)"}}) {
        SCOPED_TRACE(c.Message);
        clsTestEnvironment env;
        env.Log.AddErrorLog(c.Message,
                            clsStatus::Error(clsStatus::Code::Invalid, "Object required", 424));
        const std::vector<std::string> lines = ReadLines(env.Log.FullFilename());
        ASSERT_EQ(lines.size(), 1U);
        EXPECT_EQ(lines[0].substr(22), c.Expected);
    }
}

TEST(LogFileSettings, SettersPersistAndANewLogReadsThem) {
    clsTestEnvironment env;
    env.Log.SetLogDetailLevel(4);
    env.Log.SetMaxFileSize(2048);
    env.Log.SetMaxTotalFileSize(0);
    env.Log.SetLoggingEnabled(false);
    EXPECT_EQ(env.Settings.ReadText("Logging", "Enabled", ""), "false");

    clsLogFile reread(env.Settings, env.Folder.Path(), "Other");
    EXPECT_EQ(reread.LogDetailLevel(), 4);
    EXPECT_EQ(reread.MaxFileSize(), 2048);
    EXPECT_EQ(reread.MaxTotalFileSize(), 0);
    EXPECT_FALSE(reread.LoggingEnabled());
}

TEST(LogFileRotation, RotatesOnlyWhenStrictlyLargerThanTheLimit) {
    struct Case {
        std::int32_t MaxFileSize;
        size_t ExistingSize;
        bool Rotates;
    };
    for (const Case& c : {Case{100, 100, false}, Case{100, 101, true}, Case{0, 5000, false},
                          Case{-1, 5000, false}}) {
        SCOPED_TRACE(testing::Message() << c.MaxFileSize << " / " << c.ExistingSize);
        clsTestEnvironment env;
        env.Log.SetMaxFileSize(c.MaxFileSize);
        WriteFileOfSize(env.Log.FullFilename(), c.ExistingSize);
        env.Log.AddLog("next");
        const std::vector<std::string> rotated = RotatedFiles(env.Folder.Path());
        ASSERT_EQ(rotated.size(), c.Rotates ? 1U : 0U);
        if (c.Rotates) {
            EXPECT_TRUE(std::regex_match(
                rotated[0],
                std::regex(R"(Corvel Log ending \d\d-\d\d-\d\d \d\d\.\d\d\.\d\d\.log)")));
            EXPECT_EQ(std::filesystem::file_size(env.Folder.Path() / rotated[0]), c.ExistingSize);
            EXPECT_EQ(ReadLines(env.Log.FullFilename()).size(), 1U);
        }
    }
}

TEST(LogFileRotation, TwoRotationsInOneSecondKeepBothAndAZeroTotalDeletesNothing) {
    clsTestEnvironment env;
    for (int day = 1; day <= 5; ++day) {
        WriteFileOfSize(env.Folder.Path() /
                            ("Corvel Log ending 0" + std::to_string(day) + "-01-20 00.00.00.log"),
                        1000);
    }
    env.Log.SetMaxFileSize(10);
    env.Log.SetMaxTotalFileSize(0);
    for (int i = 0; i < 3; ++i) {
        env.Log.AddLog("an entry long enough to rotate");
    }
    EXPECT_EQ(RotatedFiles(env.Folder.Path()).size(), 7U);
}

TEST(LogFileCleanUp, DeletesOldestRotatedFilesUntilUnderTheTotal) {
    clsTestEnvironment env;
    const std::filesystem::path folder = env.Folder.Path();
    // Names whose text order differs from their age: 2019 sorts after 2021 by day first.
    WriteFileOfSize(folder / "Corvel Log ending 31-12-19 23.59.59.log", 400);  // oldest
    WriteFileOfSize(folder / "Corvel Log ending 01-01-21 10.00.00.log", 400);
    WriteFileOfSize(folder / "Corvel Log ending 15-06-20 08.30.00.log", 400);
    WriteFileOfSize(folder / "Other Log ending 01-01-10 00.00.00.log", 5000);  // another log's
    env.Log.SetMaxFileSize(300);
    env.Log.SetMaxTotalFileSize(1000);
    WriteFileOfSize(env.Log.FullFilename(), 301);
    env.Log.AddLog("rotate now");  // rotated total: 1200 + 301 = 1501

    EXPECT_FALSE(std::filesystem::exists(folder / "Corvel Log ending 31-12-19 23.59.59.log"));
    EXPECT_FALSE(std::filesystem::exists(folder / "Corvel Log ending 15-06-20 08.30.00.log"));
    EXPECT_TRUE(std::filesystem::exists(folder / "Corvel Log ending 01-01-21 10.00.00.log"));
    EXPECT_EQ(RotatedFiles(folder).size(), 2U);  // the newest old file and the one just rotated
    EXPECT_TRUE(std::filesystem::exists(folder / "Other Log ending 01-01-10 00.00.00.log"));
    EXPECT_TRUE(std::filesystem::exists(env.Log.FullFilename()));
}

TEST(LogFileAddLog, AMissingFolderCostsOnlyTheEntry) {
    clsTestEnvironment env;
    env.Log.SetPath(env.Folder.Path() / "no" / "such" / "folder");
    EXPECT_NO_THROW(env.Log.AddLog("lost"));
    EXPECT_FALSE(std::filesystem::exists(env.Log.FullFilename()));
}
