#include "foundation/clsUtf8.h"

namespace clsUtf8 {

char32_t Next(std::string_view text, std::size_t& pos) {
    const auto lead = static_cast<unsigned char>(text[pos]);
    if (lead < 0x80) {
        ++pos;
        return lead;
    }
    std::size_t length = 0;
    char32_t value = 0;
    char32_t smallest = 0;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
        value = lead & 0x1Fu;
        smallest = 0x80;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        value = lead & 0x0Fu;
        smallest = 0x800;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        value = lead & 0x07u;
        smallest = 0x10000;
    }
    bool valid = length != 0 && pos + length <= text.size();
    for (std::size_t i = 1; valid && i < length; ++i) {
        const auto next = static_cast<unsigned char>(text[pos + i]);
        valid = (next & 0xC0u) == 0x80u;
        value = (value << 6) | (next & 0x3Fu);
    }
    // Overlong forms and encoded surrogates are invalid: each must have exactly one reading.
    if (!valid || value < smallest || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) {
        ++pos;
        return kInvalidByteBase + lead;
    }
    pos += length;
    return value;
}

bool IsValid(std::string_view text) {
    for (std::size_t pos = 0; pos < text.size();) {
        if (IsInvalidByte(Next(text, pos))) {
            return false;
        }
    }
    return true;
}

void Append(std::string& out, char32_t character) {
    if (character < 0x80) {
        out += static_cast<char>(character);
    } else if (character < 0x800) {
        out += static_cast<char>(0xC0 | (character >> 6));
        out += static_cast<char>(0x80 | (character & 0x3F));
    } else if (character < 0x10000) {
        out += static_cast<char>(0xE0 | (character >> 12));
        out += static_cast<char>(0x80 | ((character >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (character & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (character >> 18));
        out += static_cast<char>(0x80 | ((character >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((character >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (character & 0x3F));
    }
}

}  // namespace clsUtf8
