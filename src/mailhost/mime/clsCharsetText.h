#pragma once
// clsCharsetText: turns the bytes of a header or a MIME part into UTF-8. Text with no declared
// charset (or one declared as ASCII or UTF-8) is read as UTF-8 when it is valid UTF-8, else as
// windows-1252, which is what mail without a charset nearly always is. Text in a declared charset
// goes through iconv; a byte sequence that charset cannot read becomes U+FFFD and reading goes on;
// a charset iconv does not know is treated as no charset.
// Stateless; any thread once clsMimeMessage::Initialise() has set GMime up (its charset names and
// iconv cache are used). Never throws but std::bad_alloc.

#include <string>
#include <string_view>

class clsCharsetText {
public:
    static bool IsValidUtf8(std::string_view bytes);
    // UTF-8 when valid, else windows-1252 (its five unassigned bytes map to the C1 controls of
    // the same number, as web browsers read them).
    static std::string UndeclaredToUtf8(std::string_view bytes);
    // charset: the MIME charset name as the message gives it; "" when none.
    static std::string ToUtf8(std::string_view bytes, std::string_view charset);

private:
    static std::string FromWindows1252(std::string_view bytes);
    // false when iconv cannot convert from that charset at all.
    static bool ConvertWithIconv(std::string_view bytes, const std::string& charset,
                                 std::string& utf8);
};
