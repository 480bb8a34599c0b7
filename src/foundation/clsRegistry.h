#pragma once
// clsRegistry: the key operations of the settings store alone, for callers that only make, test,
// list and remove keys. A thin face over clsRegistryAccess; same failure rules (neutral results).

#include <string>
#include <string_view>
#include <vector>

#include "foundation/clsRegistryAccess.h"

class clsRegistry {
public:
    explicit clsRegistry(clsRegistryAccess& access) : mAccess(access) {}

    bool CreateKey(std::string_view root, std::string_view keyPath);
    bool DeleteKey(std::string_view root, std::string_view keyPath);
    bool KeyExists(std::string_view root, std::string_view keyPath);
    std::vector<std::string> EnumKeys(std::string_view root, std::string_view keyPath);

private:
    clsRegistryAccess& mAccess;
};
