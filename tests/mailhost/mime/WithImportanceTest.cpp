#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>

#include "mailhost/mime/clsMimeMessage.h"
#include "support/TestSupport.h"

namespace {

using namespace std::string_view_literals;

struct ImportanceCase {
    std::string_view Raw;
    Importance Level;
    std::string_view Expected;
};

// Only the importance lines change: every other byte stays, in place and in its line-end style.
TEST(MimeMessageWithImportance, ReplacesOnlyTheImportanceLines) {
    for (const ImportanceCase& c : {
             ImportanceCase{"From: a\r\nImportance: Low\r\nSubject: s\r\nX-Priority: 5\r\n\r\n"
                            "body\r\n",
                            Importance::High,
                            "From: a\r\nSubject: s\r\nImportance: high\r\nX-Priority: 1 "
                            "(Highest)\r\n\r\nbody\r\n"},
             ImportanceCase{"X-Priority:\n 1 (Highest)\nFrom: a\n\nbody", Importance::Low,
                            "From: a\nImportance: low\nX-Priority: 5 (Lowest)\n\nbody"},
             ImportanceCase{"X-Priority-Source: 1\nSubject: s\n\nImportance: low\n",
                            Importance::High,
                            "X-Priority-Source: 1\nSubject: s\nImportance: high\nX-Priority: 1 "
                            "(Highest)\n\nImportance: low\n"},
             ImportanceCase{"Subject: s", Importance::Low,
                            "Subject: s\r\nImportance: low\r\nX-Priority: 5 (Lowest)\r\n"},
             ImportanceCase{"Subject: caf\xE9\0\r\nImportance: low\r\n\r\nb\xFF\0"sv,
                            Importance::Normal,
                            "Subject: caf\xE9\0\r\nImportance: normal\r\nX-Priority: 3 "
                            "(Normal)\r\n\r\nb\xFF\0"sv},
         }) {
        SCOPED_TRACE(c.Raw);
        EXPECT_EQ(clsMimeMessage::WithImportance(c.Raw, c.Level), c.Expected);
    }
}

// On real messages: the new importance reads back and nothing else that is read changes.
TEST(MimeMessageWithImportance, ReadsBackOnEveryFixture) {
    const std::filesystem::path folder = std::filesystem::path(CORVEL_FIXTURES) / "mail";
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().extension() != ".eml") {
            continue;
        }
        SCOPED_TRACE(entry.path().filename().string());
        const std::string raw = ReadWholeFile(entry.path());
        const clsMimeMessage before = clsMimeMessage::Parse(raw);
        for (const Importance level : {Importance::Low, Importance::Normal, Importance::High}) {
            const std::string changed = clsMimeMessage::WithImportance(raw, level);
            const clsMimeMessage after = clsMimeMessage::Parse(changed);
            EXPECT_EQ(after.GetImportance(), level);
            EXPECT_EQ(clsMimeMessage::WithImportance(changed, level), changed);
            if (before.Ok()) {  // else the new headers make a message of what was none
                EXPECT_EQ(after.Subject(), before.Subject());
                EXPECT_EQ(after.Body(), before.Body());
                EXPECT_EQ(after.Sender().Address, before.Sender().Address);
                EXPECT_EQ(after.Recipients().size(), before.Recipients().size());
            }
        }
    }
}

}  // namespace
