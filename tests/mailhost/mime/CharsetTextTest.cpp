#include <gtest/gtest.h>

#include <string_view>

#include "mailhost/mime/clsCharsetText.h"
#include "mailhost/mime/clsMimeMessage.h"

namespace {

using namespace std::string_view_literals;

struct Utf8Case {
    std::string_view Bytes;
    bool Valid;
};

TEST(CharsetText, TellsValidUtf8) {
    for (const Utf8Case& c : {
             Utf8Case{"caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80", true}, Utf8Case{"\0"sv, true},
             Utf8Case{"caf\xE9", false},           // latin-1
             Utf8Case{"\xC3", false},              // cut short
             Utf8Case{"\xC0\xAF", false},          // overlong "/"
             Utf8Case{"\xED\xA0\x80", false},      // a surrogate
             Utf8Case{"\xF4\x90\x80\x80", false},  // above U+10FFFF
             Utf8Case{"\x80", false},              // a lone continuation byte
         }) {
        SCOPED_TRACE(c.Bytes);
        EXPECT_EQ(clsCharsetText::IsValidUtf8(c.Bytes), c.Valid);
    }
}

struct ConvertCase {
    std::string_view Bytes, Charset, Expected;
};

TEST(CharsetText, ConvertsToUtf8AndNeverFails) {
    clsMimeMessage::Initialise();
    for (const ConvertCase& c : {
             // undeclared: UTF-8 when valid, else windows-1252
             ConvertCase{"caf\xC3\xA9", "", "café"},
             ConvertCase{"caf\xE9", "", "café"},
             ConvertCase{"\x80\x93\x94\x96", "", "€“”–"},
             ConvertCase{"\x81\x8D", "", "\xC2\x81\xC2\x8D"},  // unassigned: the C1 control
             ConvertCase{"caf\xE9", "UTF-8", "café"},          // mislabelled
             // declared
             ConvertCase{"caf\xE9\x80", "iso-8859-1", "café€"},  // as mail means it: windows-1252
             ConvertCase{"\x1B$BF|K\\\x1B(B", "iso-2022-jp", "日本"},
             ConvertCase{"a\xFF-", "shift_jis", "a\xEF\xBF\xBD-"},  // not Shift_JIS
             ConvertCase{"caf\xE9", "x-no-such-charset", "café"},
         }) {
        SCOPED_TRACE(std::string(c.Charset) + ": " + std::string(c.Bytes));
        EXPECT_EQ(clsCharsetText::ToUtf8(c.Bytes, c.Charset), c.Expected);
    }
}

}  // namespace
