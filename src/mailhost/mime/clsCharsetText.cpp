#include "mailhost/mime/clsCharsetText.h"

#include <gmime/gmime.h>
#include <iconv.h>

#include <array>
#include <cerrno>
#include <cstdint>

#include "foundation/CommonHelpers.h"
#include "foundation/clsUtf8.h"

namespace {

// windows-1252's bytes 0x80-0x9F; the rest of the code page is ISO-8859-1.
constexpr std::array<char16_t, 32> kWindows1252High = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // U+FFFD

bool IsUndeclared(const std::string& charset) {
    return charset.empty() || charset == "us-ascii" || charset == "ascii" || charset == "utf-8" ||
           charset == "utf8" || charset == "unknown-8bit" || charset == "x-unknown";
}

bool IsLatin1(const std::string& charset) {
    // Mail labelled ISO-8859-1 is windows-1252 in practice (curly quotes, the euro sign).
    return charset == "iso-8859-1" || charset == "iso8859-1" || charset == "latin1" ||
           charset == "windows-1252" || charset == "cp1252";
}

}  // namespace

bool clsCharsetText::IsValidUtf8(std::string_view bytes) { return clsUtf8::IsValid(bytes); }

std::string clsCharsetText::FromWindows1252(std::string_view bytes) {
    std::string utf8;
    utf8.reserve(bytes.size() + bytes.size() / 4);
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        clsUtf8::Append(utf8, byte >= 0x80 && byte < 0xA0 ? kWindows1252High[byte - 0x80] : byte);
    }
    return utf8;
}

std::string clsCharsetText::UndeclaredToUtf8(std::string_view bytes) {
    return IsValidUtf8(bytes) ? std::string(bytes) : FromWindows1252(bytes);
}

std::string clsCharsetText::ToUtf8(std::string_view bytes, std::string_view charset) {
    const std::string name = AsciiLower(charset);
    if (IsUndeclared(name)) {
        return UndeclaredToUtf8(bytes);
    }
    if (IsLatin1(name)) {
        return FromWindows1252(bytes);
    }
    std::string utf8;
    if (ConvertWithIconv(bytes, name, utf8)) {
        return utf8;
    }
    return UndeclaredToUtf8(bytes);
}

bool clsCharsetText::ConvertWithIconv(std::string_view bytes, const std::string& charset,
                                      std::string& utf8) {
    iconv_t converter = g_mime_iconv_open("UTF-8", charset.c_str());
    if (converter == reinterpret_cast<iconv_t>(static_cast<std::intptr_t>(-1))) {
        return false;
    }
    std::string input(bytes);  // iconv wants a writable pointer to its input
    char* in = input.data();
    std::size_t inLeft = input.size();
    std::array<char, 4096> buffer{};
    while (inLeft > 0) {
        char* out = buffer.data();
        std::size_t outLeft = buffer.size();
        const std::size_t result = iconv(converter, &in, &inLeft, &out, &outLeft);
        utf8.append(buffer.data(), buffer.size() - outLeft);
        if (result == static_cast<std::size_t>(-1) && errno != E2BIG) {
            utf8 += kReplacement;  // EILSEQ, or EINVAL for a sequence cut off at the end
            ++in;
            --inLeft;
            iconv(converter, nullptr, nullptr, nullptr, nullptr);
        }
    }
    char* out = buffer.data();
    std::size_t outLeft = buffer.size();
    iconv(converter, nullptr, nullptr, &out, &outLeft);  // a stateful charset's closing shift
    utf8.append(buffer.data(), buffer.size() - outLeft);
    g_mime_iconv_close(converter);
    return true;
}
