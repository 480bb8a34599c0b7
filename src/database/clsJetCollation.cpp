#include "database/clsJetCollation.h"

#include <array>
#include <cstdint>

#include "foundation/clsUtf8.h"

namespace {

struct FoldRange {
    enum class Kind { Offset, EvenUpper, OddUpper };
    char32_t First;
    char32_t Last;
    Kind How;
    std::int32_t Delta;  // Offset only
};

using K = FoldRange::Kind;

// Simple lower-case mappings of the scripts mail in Europe is written in. Ranges where upper and
// lower case alternate are listed by which member of each pair is the capital.
constexpr std::array<FoldRange, 30> kFoldRanges{{
    {0x00B5, 0x00B5, K::Offset, 0x03BC - 0x00B5},  // micro sign folds to Greek mu
    {0x00C0, 0x00D6, K::Offset, 0x20},
    {0x00D8, 0x00DE, K::Offset, 0x20},
    {0x0100, 0x012F, K::EvenUpper, 0},
    {0x0130, 0x0130, K::Offset, 0x0069 - 0x0130},  // dotted capital I
    {0x0132, 0x0137, K::EvenUpper, 0},
    {0x0139, 0x0148, K::OddUpper, 0},
    {0x014A, 0x0177, K::EvenUpper, 0},
    {0x0178, 0x0178, K::Offset, 0x00FF - 0x0178},
    {0x0179, 0x017E, K::OddUpper, 0},
    {0x017F, 0x017F, K::Offset, 0x0073 - 0x017F},  // long s
    {0x0386, 0x0386, K::Offset, 0x03AC - 0x0386},
    {0x0388, 0x038A, K::Offset, 0x03AD - 0x0388},
    {0x038C, 0x038C, K::Offset, 0x03CC - 0x038C},
    {0x038E, 0x038F, K::Offset, 0x03CD - 0x038E},
    {0x0391, 0x03A1, K::Offset, 0x20},
    {0x03A3, 0x03AB, K::Offset, 0x20},
    {0x03C2, 0x03C2, K::Offset, 1},  // final sigma
    {0x03D8, 0x03EF, K::EvenUpper, 0},
    {0x0400, 0x040F, K::Offset, 0x50},
    {0x0410, 0x042F, K::Offset, 0x20},
    {0x0460, 0x0481, K::EvenUpper, 0},
    {0x048A, 0x04BF, K::EvenUpper, 0},
    {0x04C0, 0x04C0, K::Offset, 0x04CF - 0x04C0},
    {0x04C1, 0x04CE, K::OddUpper, 0},
    {0x04D0, 0x052F, K::EvenUpper, 0},
    {0x1E00, 0x1E95, K::EvenUpper, 0},
    {0x1E9E, 0x1E9E, K::Offset, 0x00DF - 0x1E9E},  // capital sharp s
    {0x1EA0, 0x1EFF, K::EvenUpper, 0},
    {0x2160, 0x216F, K::Offset, 0x10},  // Roman numerals
}};

char32_t ApplyRange(const FoldRange& range, char32_t character) {
    switch (range.How) {
        case K::Offset:
            return static_cast<char32_t>(static_cast<std::int32_t>(character) + range.Delta);
        case K::EvenUpper:
            return (character % 2 == 0) ? character + 1 : character;
        case K::OddUpper:
            return (character % 2 == 1) ? character + 1 : character;
    }
    return character;
}

}  // namespace

char32_t clsJetCollation::Fold(char32_t character) {
    if (character < 0x80) {
        return (character >= 'A' && character <= 'Z') ? character + 0x20 : character;
    }
    for (const FoldRange& range : kFoldRanges) {
        if (character < range.First) {
            break;  // the table is sorted
        }
        if (character <= range.Last) {
            return ApplyRange(range, character);
        }
    }
    return character;
}

int clsJetCollation::Compare(std::string_view a, std::string_view b) {
    std::size_t posA = 0;
    std::size_t posB = 0;
    while (posA < a.size() && posB < b.size()) {
        const char32_t foldedA = Fold(clsUtf8::Next(a, posA));
        const char32_t foldedB = Fold(clsUtf8::Next(b, posB));
        if (foldedA != foldedB) {
            return foldedA < foldedB ? -1 : 1;
        }
    }
    if (posA < a.size()) {
        return 1;
    }
    return posB < b.size() ? -1 : 0;
}

std::size_t clsJetCollation::PrefixBytes(std::string_view text, std::size_t characters) {
    std::size_t pos = 0;
    for (std::size_t count = 0; count < characters && pos < text.size(); ++count) {
        clsUtf8::Next(text, pos);
    }
    return pos;
}
