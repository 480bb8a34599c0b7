#include "engine/clsTextSearch.h"

#include "database/clsJetCollation.h"
#include "foundation/clsUtf8.h"

std::u32string clsTextSearch::Fold(std::string_view text) {
    std::u32string folded;
    folded.reserve(text.size());
    for (size_t pos = 0; pos < text.size();) {
        folded.push_back(clsJetCollation::Fold(clsUtf8::Next(text, pos)));
    }
    return folded;
}
