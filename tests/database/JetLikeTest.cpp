#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <tuple>

#include "database/clsJetLike.h"

namespace {

TEST(JetLike, MatchesAsJetDoes) {
    // The pattern, the text and whether it matches.
    using LikeCase = std::tuple<std::string_view, std::string_view, bool>;
    for (const auto& [pattern, text, matches] :
         {// wildcards; "?" is one character of however many bytes
          LikeCase{"*", "", true}, LikeCase{"a*", "ABC", true}, LikeCase{"a*b*c", "aXbY", false},
          LikeCase{"*ab*abc", "abababc", true}, LikeCase{"%a%b%", "xxbxxa", false},
          LikeCase{"a?c", "ac", false}, LikeCase{"a_c", "aXc", true}, LikeCase{"a?c", "aäc", true},
          LikeCase{"a??c", "aäc", false}, LikeCase{"#", "5", true}, LikeCase{"#", "a", false},
          // sets
          LikeCase{"[a-f]", "C", true}, LikeCase{"[!a-f]", "c", false},
          LikeCase{"[!a-f]", "g", true}, LikeCase{"[!abc]", "", false}, LikeCase{"[*]", "a", false},
          LikeCase{"[]]", "]", true}, LikeCase{"[!]]", "]", false},
          // the escaping the rules code applies to texts it searches for
          LikeCase{"a[[]b[]][%][_][?][#]*", "a[b]%_?# and more", true},
          LikeCase{"a[[]b[]][%][_][?][#]*", "a[b]%_?5", false},
          LikeCase{"%50[%]%", "about 50 off", false},
          // an unterminated set is literal
          LikeCase{"a[bc", "a[bc", true}, LikeCase{"a[*", "a[xyz", false},
          LikeCase{"[!", "[!", true},
          // case beyond ASCII
          LikeCase{"ärger", "ÄRGER", true}, LikeCase{"σοφία", "ΣΟΦΊΑ", true},
          LikeCase{"[à-ý]", "É", true}, LikeCase{"e", "é", false},
          // bytes that are not UTF-8
          LikeCase{"a?c", "a\377c", true}, LikeCase{"abc", "ab\xC3", false},
          LikeCase{"??", "\xC3(", true}, LikeCase{"\xC3", "\xC3\xA4", false}}) {
        SCOPED_TRACE(std::string(pattern) + " / " + std::string(text));
        EXPECT_EQ(clsJetLike(pattern).Matches(text), matches);
    }
}

TEST(JetLike, ManyWildcardsOnAMegabyteFinishWithTheRightAnswer) {
    const std::string text(1 << 20, 'a');
    std::string alternating;
    for (int i = 0; i < 25; ++i) {
        alternating += "%a";
    }
    EXPECT_FALSE(clsJetLike(std::string(50, '%') + "b").Matches(text));
    EXPECT_TRUE(clsJetLike(std::string(50, '%')).Matches(text));
    EXPECT_FALSE(clsJetLike(alternating + "%b").Matches(text));
}

}  // namespace
