// The REGEDIT4 reader line by line: which lines become which changes, which are skipped, and that
// the line numbers it reports are the file's own.
#include <gtest/gtest.h>

#include <string>

#include "foundation/clsRegistryParser.h"

namespace {

clsRegistryScript ParseOneValue(std::string_view valueLine) {
    return clsRegistryParser::Parse("REGEDIT4\n\n[HKCU\\K]\n" + std::string(valueLine) + "\n");
}

}  // namespace

TEST(RegistryParserValues, SkipsWhatItCannotReadAndSaysWhy) {
    using Row = std::pair<std::string_view, std::string_view>;
    for (const auto& [line, reason] :
         {Row{R"("a"=dword:100000000)", "bad 32-bit number"},
          Row{R"("a"=hex:01,,02)", "bad hex: list"},
          Row{R"("a"=hex(2):41,00)", "unsupported value type"},
          Row{R"("a"="unterminated)", "unterminated or trailing text after a string"},
          Row{R"("a"=12)", "unreadable value"},
          Row{R"("a" "x")", "a value name must be followed by \"=\""},
          Row{"junk", "neither a key nor a value"}}) {
        SCOPED_TRACE(line);
        const clsRegistryScript script = ParseOneValue(line);
        ASSERT_EQ(script.Problems.size(), 1U);
        EXPECT_EQ(script.Problems[0].Reason, reason);
        EXPECT_EQ(script.Changes.size(), 1U);  // the key line alone
    }
}

TEST(RegistryParserKeys, ABadKeyLineTakesItsValuesWithIt) {
    using Row = std::pair<std::string_view, std::string_view>;
    for (const auto& [line, reason] :
         {Row{R"([HKU\Software])", "unknown root"}, Row{R"([HKCU\Software)", "key without \"]\""},
          Row{R"([-HKCU])", "a root cannot be deleted"},
          Row{R"([-HKCU\Gone])", "value outside a key"}}) {
        SCOPED_TRACE(line);
        const clsRegistryScript script = clsRegistryParser::Parse(
            "REGEDIT4\n\n" + std::string(line) + "\n\"a\"=\"x\"\n[HKCU\\Next]\n\"b\"=\"y\"\n");
        ASSERT_FALSE(script.Problems.empty());
        EXPECT_EQ(script.Problems.back().Reason, "value outside a key");
        EXPECT_EQ(script.Problems.back().Line, 4);
        EXPECT_EQ(script.Problems.front().Reason, reason);
        ASSERT_GE(script.Changes.size(), 2U);  // the next key is read as usual
        EXPECT_EQ(script.Changes.back().ValueName, "b");
        EXPECT_EQ(script.Changes.back().Line, 6);
    }
}
