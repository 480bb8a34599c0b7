#include <gtest/gtest.h>
#include <sqlite3.h>

#include <random>
#include <string>
#include <string_view>
#include <tuple>

#include "database/clsJetCollation.h"

namespace {

int Sign(int value) { return (value > 0) - (value < 0); }

TEST(JetCollation, IgnoresCaseBeyondAscii) {
    using Row = std::tuple<std::string_view, std::string_view, int>;
    for (const auto& [a, b, expected] :
         {Row{"Ärger", "ärger", 0}, Row{"ŁÓDŹ ŻÓŁW", "łódź żółw", 0},
          Row{"ΣΟΦΙΑ ΆΈ", "σοφια άέ", 0}, Row{"ПРИВЕТ ЁЖ Ї", "привет ёж ї", 0}, Row{"ŸŒ", "ÿœ", 0},
          Row{"apple", "Banana", -1}, Row{"e", "é", -1}, Row{"ab", "a", 1},
          Row{"\xFF", "\xC3\xBF", 1},  // a stray byte is not the character ÿ
          Row{"\xC3", "\xC3\xA4", 1},  // nor the start of a character cut short
          Row{"a\xFF", "A\xFF", 0}}) {
        SCOPED_TRACE(std::string(a) + " / " + std::string(b));
        EXPECT_EQ(Sign(clsJetCollation::Compare(a, b)), expected);
        EXPECT_EQ(Sign(clsJetCollation::Compare(b, a)), -expected);
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
    const auto word = [&random] {
        const std::string_view alphabet = "aAzZ_[`@^09 ~";
        std::string text(std::uniform_int_distribution<std::size_t>(0, 4)(random), ' ');
        for (char& c : text) {
            c = alphabet[std::uniform_int_distribution<std::size_t>(0,
                                                                    alphabet.size() - 1)(random)];
        }
        return text;
    };
    for (int round = 0; round < 5000; ++round) {
        const std::string a = word(), b = word();
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
