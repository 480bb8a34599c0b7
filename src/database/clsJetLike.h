#pragma once
// clsJetLike: Jet's LIKE, compiled once per pattern. Case is ignored as clsJetCollation ignores it.
//   * or %   any run of characters, also none        ? or _   exactly one character
//   #        one digit 0-9                            [abc] [a-z]   one character of the set
//   [!abc]   one character not in the set             inside [...] * ? # % _ are literal
// A "]" right after "[" or "[!" is a member ("[]]" matches "]"); a "]" outside a set is literal;
// an unterminated "[" makes the rest of the pattern literal. Characters are UTF-8 characters;
// bytes that are not valid UTF-8 are characters of their own. Matching takes time proportional
// to text length times pattern length at worst (one backtrack point, no recursion).
// Owned by its user; any thread; never throws from Matches (the constructor may throw bad_alloc).

#include <optional>
#include <string_view>
#include <utility>
#include <vector>

class clsJetLike {
public:
    // escape: LIKE ... ESCAPE's character; the pattern character after it is literal.
    explicit clsJetLike(std::string_view pattern, std::optional<char32_t> escape = std::nullopt);

    bool Matches(std::string_view text) const;

private:
    enum class Kind { AnyRun, AnyOne, Digit, Literal, Set };
    struct Element {
        Kind What;
        char32_t Character;  // Literal: folded
        std::size_t SetIndex;
    };
    struct CharacterSet {
        bool Negated = false;
        std::vector<std::pair<char32_t, char32_t>> Ranges;  // as written, unfolded
    };

    // Reads a [...] set starting at pos (on the "["); false when it is not terminated.
    bool ReadSet(std::string_view pattern, std::size_t& pos);
    void AddLiteral(char32_t character);
    bool MatchesOne(const Element& element, char32_t character) const;
    bool InSet(const CharacterSet& set, char32_t character) const;

    std::vector<Element> mElements;
    std::vector<CharacterSet> mSets;
};
