#include "foundation/clsRegistry.h"

bool clsRegistry::CreateKey(std::string_view root, std::string_view keyPath) {
    return mAccess.CreateKey(root, keyPath);
}

bool clsRegistry::DeleteKey(std::string_view root, std::string_view keyPath) {
    return mAccess.KillKey(root, keyPath);
}

bool clsRegistry::KeyExists(std::string_view root, std::string_view keyPath) {
    return mAccess.KeyExists(root, keyPath);
}

std::vector<std::string> clsRegistry::EnumKeys(std::string_view root, std::string_view keyPath) {
    return mAccess.EnumKeys(root, keyPath);
}
