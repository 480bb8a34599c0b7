// The hand-written token scanner against the token pattern run by the regular-expression engine:
// the classifier's probabilities stay the same only while both find the same tokens.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "foundation/clsRegExp.h"
#include "spam/clsCorpus.h"
#include "spam/clsTokenScanner.h"

namespace {

std::vector<std::string> Scanned(std::string_view text) {
    std::vector<std::string> tokens;
    clsTokenScanner::ForEachToken(
        text, [&tokens](std::string_view token) { tokens.emplace_back(token); });
    return tokens;
}

std::vector<std::string> Matched(std::string_view text) {
    static const clsRegExp pattern(clsCorpus::kTokenPattern, false);
    return pattern.Matches(text);
}

}  // namespace

TEST(TokenScanner, FindsWhatThePatternFindsInTrickyText) {
    for (const std::string_view text : {
             "",
             "a",
             "ab",
             "<<a>> [[b]] ]c",
             "x\xC2\xA3\xC2\xA3y \xC2\xA3z a\xC2",
             "a\xC2\xA3",
             "a\xC2 b\xA3 c\xE2\x82\xAC",
             "<html><body>hi</body>",
             "it's e-mail $5 [tag]>>> 1abc -x",
             "\xFF\xFEok\x80 r\xE9sum\xE9 caf\xC3\xA9s",
             "AbC-12'$]>>>>x",
             "<>a[] <a",
         }) {
        SCOPED_TRACE(testing::PrintToString(std::string(text)));
        EXPECT_EQ(Scanned(text), Matched(text));
    }
}

// Random text over the bytes that matter (the token classes, ">", the pound sign's two bytes,
// other UTF-8 leads and trails, invalid bytes, blanks), many lengths.
TEST(TokenScanner, FindsWhatThePatternFindsInRandomBytes) {
    constexpr std::string_view kAlphabet =
        "aZm09-'$[]<>> \t\r\n.,/\xC2\xA3\xC2\xA3\xC3\xA9\xE2\x82\xAC\x80\xBF\xFF";
    std::mt19937 random(20240611);
    std::uniform_int_distribution<std::size_t> pick(0, kAlphabet.size() - 1);
    std::uniform_int_distribution<std::size_t> length(0, 48);
    for (int round = 0; round < 20000; ++round) {
        std::string text(length(random), ' ');
        for (char& c : text) {
            c = kAlphabet[pick(random)];
        }
        ASSERT_EQ(Scanned(text), Matched(text)) << testing::PrintToString(text);
    }
}
