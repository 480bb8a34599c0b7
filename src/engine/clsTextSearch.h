#pragma once
// clsTextSearch: "does this text contain that one", without regard to case as the rules compare
// subjects and bodies: letters are folded as the database folds them (beyond ASCII), any byte
// sequence is accepted. A text is folded once and then searched for many needles.
// A plain value; any thread; never throws but std::bad_alloc.

#include <string>
#include <string_view>

class clsTextSearch {
public:
    explicit clsTextSearch(std::string_view text) : mFolded(Fold(text)) {}
    // An empty needle is contained in every text.
    bool Contains(std::string_view needle) const {
        return mFolded.find(Fold(needle)) != std::u32string::npos;
    }
    static std::u32string Fold(std::string_view text);

private:
    std::u32string mFolded;
};
