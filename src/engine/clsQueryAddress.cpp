#include "engine/clsQueryAddress.h"

#include <algorithm>

namespace {

bool IsAlphanumeric(unsigned char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c > 0x7F;
}

bool IsAtext(unsigned char c) {
    return IsAlphanumeric(c) || std::string_view("!#$%&*+-/=?^_`{|}~").find(static_cast<char>(c)) !=
                                    std::string_view::npos;
}

// Dot-separated runs of allowed characters, none empty.
bool IsDotSeparated(std::string_view text, bool (*allowed)(unsigned char)) {
    if (text.empty() || text.front() == '.' || text.back() == '.' ||
        text.find("..") != std::string_view::npos) {
        return false;
    }
    return std::all_of(text.begin(), text.end(), [allowed](char c) {
        return c == '.' || allowed(static_cast<unsigned char>(c));
    });
}

bool IsDomainCharacter(unsigned char c) { return IsAlphanumeric(c) || c == '-'; }

}  // namespace

bool clsQueryAddress::IsSafe(std::string_view address) {
    const size_t at = address.find('@');
    if (at == std::string_view::npos || address.find('@', at + 1) != std::string_view::npos ||
        address.size() > 320) {
        return false;
    }
    return IsDotSeparated(address.substr(0, at), IsAtext) &&
           IsDotSeparated(address.substr(at + 1), IsDomainCharacter);
}
