#include <gtest/gtest.h>
#include <sqlite3.h>

#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "database/clsJetCollation.h"

namespace {

int Sign(int value) { return (value > 0) - (value < 0); }

TEST(JetCollation, IgnoresCaseBeyondAscii) {
    struct Case {
        std::string_view A, B;
        int Expected;
    };
    for (const Case& c : {
             Case{"ABC", "abc", 0},
             Case{"Ärger", "ärger", 0},
             Case{"ÉCOLE", "école", 0},
             Case{"ŁÓDŹ ŻÓŁW", "łódź żółw", 0},
             Case{"ΣΟΦΙΑ ΆΈ", "σοφια άέ", 0},
             Case{"ПРИВЕТ ЁЖ Ї", "привет ёж ї", 0},
             Case{"ŸŒ", "ÿœ", 0},
             Case{"a", "b", -1},
             Case{"apple", "Banana", -1},
             Case{"ärger", "Ärger2", -1},
             Case{"e", "é", -1},
             Case{"ab", "a", 1},
             Case{"", "", 0},
             Case{"\xFF", "\xC3\xBF", 1},  // a stray byte is not the character ÿ
             Case{"\xC3", "\xC3\xA4", 1},  // nor the start of a character cut short
             Case{"a\xFF", "A\xFF", 0},
         }) {
        SCOPED_TRACE(std::string(c.A) + " / " + std::string(c.B));
        EXPECT_EQ(Sign(clsJetCollation::Compare(c.A, c.B)), c.Expected);
        EXPECT_EQ(Sign(clsJetCollation::Compare(c.B, c.A)), -c.Expected);
    }
}

// Indexes the sqlite3 shell builds with its own NOCASE must stay in order for ASCII keys.
TEST(JetCollation, OrdersAsciiExactlyAsSqliteBuiltInNoCase) {
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(":memory:", &db), SQLITE_OK);
    sqlite3_stmt* statement = nullptr;
    ASSERT_EQ(sqlite3_prepare_v2(db, "SELECT (?1 > ?2 COLLATE NOCASE) - (?1 < ?2 COLLATE NOCASE)",
                                 -1, &statement, nullptr),
              SQLITE_OK);
    std::mt19937 random(20240229);
    const std::string alphabet = "aAzZ_[`@^09 ~";
    std::uniform_int_distribution<std::size_t> pick(0, alphabet.size() - 1);
    std::uniform_int_distribution<int> length(0, 4);
    for (int round = 0; round < 5000; ++round) {
        std::string a, b;
        for (int i = length(random); i > 0; --i) {
            a += alphabet[pick(random)];
        }
        for (int i = length(random); i > 0; --i) {
            b += alphabet[pick(random)];
        }
        sqlite3_bind_text(statement, 1, a.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_text(statement, 2, b.c_str(), -1, SQLITE_TRANSIENT);
        ASSERT_EQ(sqlite3_step(statement), SQLITE_ROW);
        EXPECT_EQ(Sign(clsJetCollation::Compare(a, b)), sqlite3_column_int(statement, 0))
            << "'" << a << "' / '" << b << "'";
        sqlite3_reset(statement);
    }
    sqlite3_finalize(statement);
    sqlite3_close(db);
}

}  // namespace
