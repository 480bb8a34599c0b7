#pragma once
// clsRegistryParser: reads the text of a REGEDIT4 file into a list of changes (open a key, delete
// a key, set a value, delete a value) without applying them, so that the store can apply each
// root's share under that root's lock. Stateless from the caller's side; any thread.
// Failure: a line it cannot read becomes a problem (line number and reason) and is skipped; the
// rest is still read. Does not throw beyond std::bad_alloc.

#include <string>
#include <string_view>
#include <vector>

#include "foundation/clsRegistryAccess.h"
#include "foundation/clsRegistryKey.h"

struct clsRegistryChange {
    enum class Kind { OpenKey, DeleteKey, SetValue, DeleteValue };
    Kind What = Kind::OpenKey;
    RegistryRoot Root = RegistryRoot::CurrentUser;
    std::string KeyPath;    // below the root, names joined by single backslashes
    std::string ValueName;  // SetValue and DeleteValue; "" is the default value
    clsRegistryData Data;   // SetValue
    int Line = 0;
};

struct clsRegistryProblem {
    int Line = 0;
    std::string Reason;
};

struct clsRegistryScript {
    bool HasHeader = false;  // "REGEDIT4" or "Windows Registry Editor Version 5.00" first
    std::vector<clsRegistryChange> Changes;
    std::vector<clsRegistryProblem> Problems;
};

class clsRegistryParser {
public:
    // Tolerates a UTF-8 byte order mark, CRLF line ends, ";" comments and blank lines. Numbers
    // may be written "&H1F" or "0x1F"; a hex: list may go on over lines ending in "\".
    static clsRegistryScript Parse(std::string_view text);

    // The problems as one readable line: "2 lines skipped: line 4 (unknown root), line 9 (...)".
    static std::string Describe(const std::vector<clsRegistryProblem>& problems);

private:
    explicit clsRegistryParser(std::string_view text);
    void ParseLines();
    void ParseKeyLine(std::string_view line);
    void ParseValueLine(std::string_view line);
    // The value text after "=", with continuation lines joined for hex: lists.
    std::string TakeValueText(std::string_view text);
    void AddProblem(std::string reason);

    std::vector<std::string_view> mLines;
    std::size_t mNext = 0;  // index of the line after the one being read
    int mLineNumber = 0;    // of the line being read, for problems
    bool mInKey = false;    // a "[key]" line was read and values may follow
    clsRegistryChange mKey;
    clsRegistryScript mScript;
};
