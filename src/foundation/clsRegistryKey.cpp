#include "foundation/clsRegistryKey.h"

std::optional<std::vector<std::string_view>> clsRegistryKey::SplitPath(std::string_view keyPath) {
    if (keyPath.find_first_of(std::string_view("\r\n\0", 3)) != std::string_view::npos) {
        return std::nullopt;
    }
    std::vector<std::string_view> names;
    std::size_t start = 0;
    while (start <= keyPath.size()) {
        std::size_t end = keyPath.find('\\', start);
        if (end == std::string_view::npos) {
            end = keyPath.size();
        }
        if (end > start) {
            names.push_back(keyPath.substr(start, end - start));
        }
        start = end + 1;
    }
    return names;
}
