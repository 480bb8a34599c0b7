#pragma once
// clsEncodedWords: repairs RFC 2047 encoded words before GMime decodes them. GMime joins the
// payloads of adjacent words in one charset and encoding before decoding them (so that a character
// split across two words survives), but its base64 decoder stops at the first word's "=" padding:
// "=?UTF-8?B?w5xiZXI=?= =?UTF-8?B?bGVnZW4=?=" came out as "Über", the second word lost. A base64
// word that ends in padding is rewritten as the same bytes in the Q encoding, which joins safely.
// Stateless; any thread. Never throws but std::bad_alloc.

#include <string>
#include <string_view>

class clsEncodedWords {
public:
    // Whether text holds a base64 word with padding (the only kind that needs the repair).
    static bool HasPaddedBase64(std::string_view text);
    // text with each padded base64 word rewritten in the Q encoding; all else unchanged.
    static std::string PaddedBase64ToQ(std::string_view text);

private:
    // The Q-encoded word for the payload's bytes; "" when the payload is not base64.
    static std::string AsQWord(std::string_view charset, std::string_view payload);
};
