#pragma once
// clsUtf8: reading and writing UTF-8 one character at a time. Mail and user text are not always
// valid UTF-8, so reading never fails: a byte that starts no valid sequence (overlong forms,
// encoded surrogates and values above U+10FFFF included) reads as a character of its own,
// kInvalidByteBase + the byte (U+DC80..U+DCFF, which valid UTF-8 never yields).
// Pure functions: any thread, never throw.

#include <cstddef>
#include <string>
#include <string_view>

namespace clsUtf8 {

constexpr char32_t kInvalidByteBase = 0xDC00;

// Reads the character at pos and moves pos past it; pos must be < text.size().
char32_t Next(std::string_view text, std::size_t& pos);
inline bool IsInvalidByte(char32_t character) {
    return character >= kInvalidByteBase + 0x80 && character <= kInvalidByteBase + 0xFF;
}
bool IsValid(std::string_view text);
void Append(std::string& out, char32_t character);

}  // namespace clsUtf8
