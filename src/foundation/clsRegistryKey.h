#pragma once
// clsRegistryKey: one key of the settings store in memory, its values and sub-keys each in the
// order they were created, matched without regard to case. Owned by clsRegistryDocument (or by its
// parent key); no shared state. Plain data: nothing here fails but allocation.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "foundation/clsNamedList.h"

// A value: REG_SZ text, a 32-bit number, or binary bytes.
using clsRegistryData = std::variant<std::string, std::uint32_t, std::vector<std::uint8_t>>;

struct clsRegistryKey {
    clsNamedList<std::unique_ptr<clsRegistryKey>> Subkeys;
    clsNamedList<clsRegistryData> Values;

    // "SOFTWARE\\KESTO\\" -> {"SOFTWARE", "KESTO"}: leading, trailing and doubled backslashes are
    // ignored; "" is the root itself. Empty when a name holds a line break or a NUL, which a key
    // name in the file cannot carry.
    static std::optional<std::vector<std::string_view>> SplitPath(std::string_view keyPath);
};
