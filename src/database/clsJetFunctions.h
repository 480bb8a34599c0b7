#pragma once
// clsJetFunctions: the SQL functions and collation that make SQLite answer as Jet does, registered
// on every connection clsDbConnection opens: like(pattern, text[, escape]) with Jet's wildcards
// and case folding, jet_left(text, n) for LEFT(), and NOCASE replaced by clsJetCollation.
// Event-loop thread only (as the connection). Failure: Register returns SQLite's result code.

struct sqlite3;

class clsJetFunctions {
public:
    static int Register(sqlite3* db);
};
