#include "mailhost/mime/clsEncodedWords.h"

#include <glib.h>

#include <memory>

namespace {

constexpr std::string_view kHexDigits = "0123456789ABCDEF";

struct clsGFree {
    void operator()(void* memory) const { g_free(memory); }
};

bool IsBase64Character(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' ||
           c == '/';
}

// The encoded word starting at pos ("=?charset?B?payload?="): its length, with its charset and
// payload; 0 when no base64 word with padding starts there.
std::size_t PaddedBase64WordAt(std::string_view text, std::size_t pos, std::string_view& charset,
                               std::string_view& payload) {
    if (text.compare(pos, 2, "=?") != 0) {
        return 0;
    }
    const std::size_t charsetEnd = text.find_first_of("? \t\r\n", pos + 2);
    if (charsetEnd == std::string_view::npos || charsetEnd == pos + 2 || text[charsetEnd] != '?' ||
        charsetEnd + 2 >= text.size() ||
        (text[charsetEnd + 1] != 'B' && text[charsetEnd + 1] != 'b') ||
        text[charsetEnd + 2] != '?') {
        return 0;
    }
    const std::size_t payloadBegin = charsetEnd + 3;
    std::size_t payloadEnd = payloadBegin;
    while (payloadEnd < text.size() &&
           (IsBase64Character(text[payloadEnd]) || text[payloadEnd] == '=')) {
        ++payloadEnd;
    }
    if (payloadEnd == payloadBegin || text[payloadEnd - 1] != '=' ||
        text.compare(payloadEnd, 2, "?=") != 0) {
        return 0;
    }
    charset = text.substr(pos + 2, charsetEnd - pos - 2);
    payload = text.substr(payloadBegin, payloadEnd - payloadBegin);
    return payloadEnd + 2 - pos;
}

}  // namespace

bool clsEncodedWords::HasPaddedBase64(std::string_view text) {
    std::string_view charset, payload;
    for (std::size_t pos = text.find("=?"); pos != std::string_view::npos;
         pos = text.find("=?", pos + 1)) {
        if (PaddedBase64WordAt(text, pos, charset, payload) > 0) {
            return true;
        }
    }
    return false;
}

std::string clsEncodedWords::AsQWord(std::string_view charset, std::string_view payload) {
    gsize length = 0;
    const std::string encoded(payload);
    std::unique_ptr<guchar, clsGFree> bytes(g_base64_decode(encoded.c_str(), &length));
    if (!bytes || length == 0) {
        return {};
    }
    std::string word = "=?" + std::string(charset) + "?Q?";
    for (gsize i = 0; i < length; ++i) {
        const unsigned char byte = bytes.get()[i];
        if ((byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') ||
            (byte >= '0' && byte <= '9')) {
            word += static_cast<char>(byte);
        } else {
            word += '=';
            word += kHexDigits[byte >> 4];
            word += kHexDigits[byte & 0x0F];
        }
    }
    return word + "?=";
}

std::string clsEncodedWords::PaddedBase64ToQ(std::string_view text) {
    std::string result;
    result.reserve(text.size() + text.size() / 2);
    std::size_t copied = 0;
    std::string_view charset, payload;
    for (std::size_t pos = text.find("=?"); pos != std::string_view::npos;) {
        const std::size_t length = PaddedBase64WordAt(text, pos, charset, payload);
        const std::string qWord = length > 0 ? AsQWord(charset, payload) : std::string();
        if (qWord.empty()) {
            pos = text.find("=?", pos + 1);
            continue;
        }
        result.append(text.substr(copied, pos - copied)).append(qWord);
        copied = pos + length;
        pos = text.find("=?", copied);
    }
    return result.append(text.substr(copied));
}
