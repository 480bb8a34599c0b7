#pragma once
// clsRegExp: a regular expression as the rules code writes them, run by PCRE2 with its JIT: UTF
// mode that tolerates invalid UTF-8 (mail is not always valid), "$" only at the very end, and
// optionally without regard to case. Matches hand back their text.
// Owned by its user; a compiled pattern may be shared by threads only with a match context each,
// so keep one per thread. A pattern that does not compile matches nothing and says why in Error().

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

class clsRegExp {
public:
    clsRegExp(std::string_view pattern, bool ignoreCase);
    ~clsRegExp();
    clsRegExp(const clsRegExp&) = delete;
    clsRegExp& operator=(const clsRegExp&) = delete;

    bool IsValid() const { return mCode != nullptr; }
    const std::string& Error() const { return mError; }
    bool Test(std::string_view subject) const;
    // Every match of the whole pattern, left to right, empty ones included (a global search).
    std::vector<std::string> Matches(std::string_view subject) const;
    // The same search without copies: onMatch sees each match as a view into subject.
    void ForEachMatch(std::string_view subject,
                      const std::function<void(std::string_view)>& onMatch) const;
    // The first match and its groups (VBScript's SubMatches): [0] is the whole match, [n] group
    // n, an unset group empty. Empty when nothing matches. Views into subject.
    std::vector<std::string_view> SubMatches(std::string_view subject) const;

private:
    void* mCode = nullptr;  // pcre2_code_8, kept opaque so that users need not see pcre2.h
    std::string mError;
};
