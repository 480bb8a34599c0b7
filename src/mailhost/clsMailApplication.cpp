#include "mailhost/clsMailApplication.h"

#include <algorithm>
#include <cctype>

clsMailNamespace* clsMailApplication::GetNamespace(std::string_view type) {
    constexpr std::string_view kMapi = "MAPI";
    const bool isMapi =
        std::equal(type.begin(), type.end(), kMapi.begin(), kMapi.end(),
                   [](char a, char b) { return std::toupper(static_cast<unsigned char>(a)) == b; });
    return isMapi ? mNamespace.get() : nullptr;
}
