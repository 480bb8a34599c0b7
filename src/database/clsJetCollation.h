#pragma once
// clsJetCollation: Jet's text comparison, which ignores case beyond ASCII. Backs the NOCASE
// collation and the LIKE function of every clsDbConnection, and the field-name lookup of
// clsRecordset. Texts are read as UTF-8 with clsUtf8, where a byte that starts no valid sequence is
// a character of its own, so any byte string compares without failing. Pure functions: any thread,
// never throw.
//
// ASCII orders exactly as SQLite's built-in NOCASE (A-Z folded to a-z, then byte order), so an
// index built by the sqlite3 shell stays valid for ASCII keys.

#include <cstddef>
#include <string_view>

class clsJetCollation {
public:
    // The lower-case form used for comparison: ASCII, Latin-1 Supplement, Latin Extended-A and
    // Additional, Greek and Cyrillic; other characters are their own fold.
    static char32_t Fold(char32_t character);
    // <0, 0 or >0 as a sorts before, with or after b, ignoring case.
    static int Compare(std::string_view a, std::string_view b);
    static bool Equal(std::string_view a, std::string_view b) { return Compare(a, b) == 0; }
    // The byte length of the first `characters` characters of text (all of it if shorter).
    static std::size_t PrefixBytes(std::string_view text, std::size_t characters);
};
