// The token table keeps its keys' text apart from its slots: every key must come back whole
// after the table has grown many times, whatever its length.
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "spam/clsFlatTable.h"

TEST(FlatTable, KeysAndValuesSurviveGrowthAndClear) {
    clsFlatTable<int> table;
    std::map<std::string, int> expected;
    for (int i = 0; i < 5000; ++i) {  // from 1,024 slots to 16,384
        const std::string key = "k" + std::to_string(i) + std::string(i % 40, 'x');
        table.Add(key) += i;
        expected[key] += i;
        if (i % 7 == 0) {
            table.Add("k0") += 1;  // an existing key: no second entry
            expected["k0"] += 1;
        }
    }
    EXPECT_EQ(table.Size(), expected.size());
    std::map<std::string, int> found;
    table.ForEach([&](std::string_view key, int value) { found.emplace(key, value); });
    EXPECT_EQ(found, expected);
    const int* last = table.Find("k4999" + std::string(4999 % 40, 'x'));
    ASSERT_NE(last, nullptr);
    EXPECT_EQ(*last, 4999);
    EXPECT_EQ(table.Find("k4999"), nullptr);  // a prefix of a key is another key
    EXPECT_EQ(table.Find(""), nullptr);

    table.Clear();
    EXPECT_EQ(table.Size(), 0u);
    EXPECT_EQ(table.Find("k0"), nullptr);
    table.Add("again") = 3;
    EXPECT_EQ(*table.Find("again"), 3);
}
