// The hand-written token scanner must find what the token pattern finds, or the probabilities
// change: random texts over the bytes that matter (the token classes, ">", the pound sign's two
// bytes, other UTF-8 leads and trails, invalid bytes, blanks), of many lengths.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "foundation/clsRegExp.h"
#include "spam/clsCorpus.h"
#include "spam/clsTokenScanner.h"

TEST(TokenScanner, FindsWhatThePatternFindsInRandomBytes) {
    constexpr std::string_view kAlphabet =
        "aZm09-'$[]<>> \t\r\n.,/\xC2\xA3\xC2\xA3\xC3\xA9\xE2\x82\xAC\x80\xBF\xFF";
    const clsRegExp pattern(clsCorpus::kTokenPattern, false);
    std::mt19937 random(20240611);
    std::uniform_int_distribution<std::size_t> pick(0, kAlphabet.size() - 1);
    std::uniform_int_distribution<std::size_t> length(0, 48);
    for (int round = 0; round < 20000; ++round) {
        std::string text(length(random), ' ');
        for (char& c : text) {
            c = kAlphabet[pick(random)];
        }
        std::vector<std::string> scanned;
        clsTokenScanner::ForEachToken(
            text, [&scanned](std::string_view token) { scanned.emplace_back(token); });
        ASSERT_EQ(scanned, pattern.Matches(text)) << testing::PrintToString(text);
    }
}
