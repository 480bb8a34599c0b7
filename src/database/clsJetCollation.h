#pragma once
// clsJetCollation: Jet's text comparison, which ignores case beyond ASCII. Backs the NOCASE
// collation and the LIKE function of every clsDbConnection, and the field-name lookup of
// clsRecordset. Texts are read as UTF-8; a byte that does not start a valid UTF-8 sequence is a
// character of its own (mapped to U+DC80..U+DCFF, code points valid UTF-8 never yields), so any
// byte string compares without failing. Pure functions: any thread, never throw.
//
// ASCII orders exactly as SQLite's built-in NOCASE (A-Z folded to a-z, then byte order), so an
// index built by the sqlite3 shell stays valid for ASCII keys.

#include <cstddef>
#include <string_view>

class clsJetCollation {
public:
    // Reads the character at pos and moves pos past it; pos must be < text.size().
    static char32_t NextCharacter(std::string_view text, std::size_t& pos);
    // The lower-case form used for comparison: ASCII, Latin-1 Supplement, Latin Extended-A and
    // Additional, Greek and Cyrillic; other characters are their own fold.
    static char32_t Fold(char32_t character);
    // <0, 0 or >0 as a sorts before, with or after b, ignoring case.
    static int Compare(std::string_view a, std::string_view b);
    static bool Equal(std::string_view a, std::string_view b) { return Compare(a, b) == 0; }
    // The byte length of the first `characters` characters of text (all of it if shorter).
    static std::size_t PrefixBytes(std::string_view text, std::size_t characters);
};
