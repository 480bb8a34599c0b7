#pragma once
// clsJetTranslator: turns one Jet-dialect SQL statement into the SQLite statement that gives the
// same answer. Works on tokens, so nothing inside a literal is ever rewritten:
//   "text" (Jet's double-quoted literal)  -> 'text' (quotes inside doubled as SQLite needs)
//   #mm/dd/yyyy hh:nn:ss#                  -> 'yyyy-mm-dd hh:nn:ss'
//   SELECT @@identity                      -> SELECT last_insert_rowid()
//   LEFT(                                  -> jet_left(
//   TRUE, FALSE, [names], LIKE             -> unchanged (SQLite reads them; LIKE is overridden)
// A text holding more than one statement (anything but blanks after a ";") is refused.
// Pure function: any thread.

#include <string>
#include <string_view>

#include "foundation/clsStatus.h"

class clsJetTranslator {
public:
    static clsStatus Translate(std::string_view jetSql, std::string& sqliteSql);
};
