#pragma once
// clsRegExp: a regular expression as the rules code writes them, run by PCRE2 with its JIT: UTF
// mode that tolerates invalid UTF-8 (mail is not always valid), "$" only at the very end, and
// optionally without regard to case. Matches hand back their text.
// Owned by its user; a compiled pattern may be shared by threads only with a match context each,
// so keep one per thread. A pattern that does not compile matches nothing and says why in Error().

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

private:
    void* mCode = nullptr;  // pcre2_code_8, kept opaque so that users need not see pcre2.h
    std::string mError;
};
