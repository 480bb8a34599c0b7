#pragma once
// clsTokenTable: token text -> good and bad counts, as one flat open-addressing table. Judging a
// message looks up every token of it, so a lookup must cost about one cache line, not the chain
// of nodes of a standard map.
// Owned by the spam filter; one thread. Never throws but for allocation failure.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

struct clsTokenCounts {
    std::int32_t Good = 0;
    std::int32_t Bad = 0;
    // Numbers the last text the token was found in, so that a text counts each token once.
    std::uint32_t SeenIn = 0;
};

class clsTokenTable {
public:
    void Clear();
    // The entry of token, made (with zero counts) when missing.
    clsTokenCounts& Add(std::string_view token);
    // Nothing when the token is not in the table.
    clsTokenCounts* Find(std::string_view token);
    std::size_t Size() const { return mSize; }

private:
    struct clsSlot {
        std::uint64_t Hash = 0;  // 0: empty
        std::string Token;
        clsTokenCounts Counts;
    };
    static std::uint64_t HashOf(std::string_view token);
    std::size_t SlotOf(std::string_view token, std::uint64_t hash) const;
    void Grow();

    std::vector<clsSlot> mSlots;
    std::size_t mSize = 0;
};
