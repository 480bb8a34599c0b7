#include <gtest/gtest.h>

#include <ctime>
#include <regex>

#include "support/TestSupport.h"

namespace {

class clsRecordingText final : public clsTextMirror {
public:
    void SetText(std::string text) override { Text = std::move(text); }
    std::string Text;
};

std::vector<std::string> RotatedFiles(const std::filesystem::path& folder) {
    std::vector<std::string> names;
    for (const auto& file : SortedFiles(folder)) {
        if (file.filename().string().rfind("Corvel Log ending ", 0) == 0) {
            names.push_back(file.filename().string());
        }
    }
    return names;
}

}  // namespace

TEST(LogFileFormat, LinesCarryDayFirstDateAndOptionalPaddedNetworkName) {
    std::tm local{};
    strptime("14/03/2008 09:05:17", "%d/%m/%Y %H:%M:%S", &local);
    local.tm_isdst = -1;
    const auto when = std::chrono::system_clock::from_time_t(std::mktime(&local));
    for (const auto& [networkName, expected] :
         {std::pair{"", "14/03/2008 09:05:17   Corvel->copyItem: done"},
          std::pair{"hosta", "14/03/2008 09:05:17   hosta             Corvel->copyItem: done"},
          std::pair{"a-very-long-hostname",
                    "14/03/2008 09:05:17   a-very-long-hostname   Corvel->copyItem: done"}}) {
        EXPECT_EQ(clsLogFile::FormatLine(when, networkName, "Corvel->copyItem: done"), expected);
    }
    EXPECT_EQ(clsLogFile::RotatedName("Corvel", when), "Corvel Log ending 14-03-08 09.05.17.log");
}

TEST(LogFileAddLog, FiltersStripsMirrorsAppendsErrorsAndSurvivesAMissingFolder) {
    clsTestEnvironment env;
    clsRecordingText text;
    env.Log.SetTextBoxControl(&text);
    env.Log.SetLogDetailLevel(1);
    env.Log.AddLog("first\r\n\r\n", 0);
    env.Log.AddLog("too detailed", 2);
    env.Log.SetLoggingEnabled(false);
    env.Log.AddLog("while off", 0);
    env.Log.SetLoggingEnabled(true);
    env.Log.AddLog("last", 1);
    EXPECT_EQ(text.Text, "last");  // the dropped entries reached no mirror either
    // An error's description and number follow its message, after ": " unless it ends in a blank.
    const clsStatus error = clsStatus::Error(clsStatus::Code::Invalid, "Object required", 424);
    env.Log.AddErrorLog("RulesDatabase->GetRS", error);
    env.Log.AddErrorLog("RulesDatabase->GetRS ", error);

    const std::vector<std::string> lines = ReadLines(env.Log.FullFilename());
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_TRUE(std::regex_match(lines[0], std::regex(R"(\d\d/\d\d/\d{4} \d\d:\d\d:\d\d   first)")))
        << lines[0];
    EXPECT_NE(lines[1].find("   last"), std::string::npos);
    EXPECT_EQ(lines[2].substr(22), "RulesDatabase->GetRS: Object required(424)");
    EXPECT_EQ(lines[3].substr(22), "RulesDatabase->GetRS Object required(424)");

    // A missing folder costs only the entry.
    env.Log.SetPath(env.Folder.Path() / "no" / "such" / "folder");
    EXPECT_NO_THROW(env.Log.AddLog("lost"));
    EXPECT_FALSE(std::filesystem::exists(env.Log.FullFilename()));
}

TEST(LogFileRotation, RotatesOnlyWhenStrictlyLargerThanTheLimit) {
    using Row = std::tuple<std::int32_t, size_t, bool>;  // limit, size before, rotates?
    for (const auto& [maxFileSize, existingSize, rotates] :
         {Row{100, 100, false}, Row{100, 101, true}, Row{0, 5000, false}}) {
        SCOPED_TRACE(testing::Message() << maxFileSize << " / " << existingSize);
        clsTestEnvironment env;
        env.Log.SetMaxFileSize(maxFileSize);
        WriteWholeFile(env.Log.FullFilename(), std::string(existingSize, 'x'));
        env.Log.AddLog("next");
        const std::vector<std::string> rotated = RotatedFiles(env.Folder.Path());
        ASSERT_EQ(rotated.size(), rotates ? 1U : 0U);
        if (rotates) {
            EXPECT_TRUE(std::regex_match(
                rotated[0],
                std::regex(R"(Corvel Log ending \d\d-\d\d-\d\d \d\d\.\d\d\.\d\d\.log)")));
            EXPECT_EQ(std::filesystem::file_size(env.Folder.Path() / rotated[0]), existingSize);
            EXPECT_EQ(ReadLines(env.Log.FullFilename()).size(), 1U);
        }
    }
}

TEST(LogFileRotation, TwoRotationsInOneSecondKeepBothAndAZeroTotalDeletesNothing) {
    clsTestEnvironment env;
    WriteWholeFile(env.Folder.Path() / "Corvel Log ending 01-01-20 00.00.00.log",
                   std::string(1000, 'x'));
    env.Log.SetMaxFileSize(10);
    env.Log.SetMaxTotalFileSize(0);
    for (int i = 0; i < 3; ++i) {
        env.Log.AddLog("an entry long enough to rotate");
    }
    EXPECT_EQ(RotatedFiles(env.Folder.Path()).size(), 3U);
}

TEST(LogFileCleanUp, DeletesOldestRotatedFilesUntilUnderTheTotal) {
    clsTestEnvironment env;
    const std::filesystem::path folder = env.Folder.Path();
    // Names whose text order differs from their age (2019 sorts after 2021 by day first), and
    // another log's file. Rotated, the total is 1200 + 301: the two oldest must go.
    using Row = std::tuple<std::string, size_t, bool>;  // name, size, kept?
    const std::vector<Row> files{{"Corvel Log ending 31-12-19 23.59.59.log", 400, false},
                                 {"Corvel Log ending 01-01-21 10.00.00.log", 400, true},
                                 {"Corvel Log ending 15-06-20 08.30.00.log", 400, false},
                                 {"Other Log ending 01-01-10 00.00.00.log", 5000, true}};
    for (const auto& [name, size, kept] : files) {
        WriteWholeFile(folder / name, std::string(size, 'x'));
    }
    env.Log.SetMaxFileSize(300);
    env.Log.SetMaxTotalFileSize(1000);
    WriteWholeFile(env.Log.FullFilename(), std::string(301, 'x'));
    env.Log.AddLog("rotate now");
    for (const auto& [name, size, kept] : files) {
        EXPECT_EQ(std::filesystem::exists(folder / name), kept) << name;
    }
    EXPECT_EQ(RotatedFiles(folder).size(), 2U);  // the newest old file and the one just rotated
    EXPECT_TRUE(std::filesystem::exists(env.Log.FullFilename()));
}
