#pragma once
// clsSqlTokenizer: splits one SQL text into tokens the way both Jet and SQLite would read its
// literals and names, so that the translator and the updatability check never look inside a
// literal. Used by clsJetTranslator and clsUpdatableSelect. Pure function: any thread.
// Failure: Code::Invalid for an unterminated literal, bracket or #date#, and for text SQLite could
// read differently from Jet (a comment opener "--" or "/*", a backquote, a NUL byte).

#include <string_view>
#include <vector>

#include "foundation/clsStatus.h"

class clsSqlTokenizer {
public:
    enum class Kind {
        Blank,         // spaces, tabs, line breaks
        Word,          // keyword, name or number: letters, digits, _, $ and 8-bit bytes
        SingleQuoted,  // 'text' with '' inside, quotes included
        DoubleQuoted,  // "text" with "" inside, quotes included
        Bracketed,     // [name], brackets included
        Date,          // #...#, hashes included
        Variable,      // @name or @@name
        Punctuation    // any other single byte
    };
    struct Token {
        Kind What;
        std::string_view Text;  // a view into the split text
    };

    static clsStatus Split(std::string_view sql, std::vector<Token>& tokens);
    // True when token is a Word equal to word without regard to ASCII case.
    static bool IsWord(const Token& token, std::string_view word);
    static bool EqualAsciiNoCase(std::string_view a, std::string_view b);
    static bool IsPunctuation(const Token& token, char character);
};
