#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <tuple>

#include "database/clsDbValue.h"

namespace {

TEST(DbValue, ConvertsAsJetFieldsDo) {
    constexpr auto kMax = std::numeric_limits<std::int64_t>::max();
    // The value, then what it reads as: text, long, double, bool.
    using Row = std::tuple<clsDbValue, std::string, std::int64_t, double, bool>;
    for (const auto& [value, text, asLong, asDouble, asBool] : {
             Row{clsDbValue(), "", 0, 0.0, false},
             Row{clsDbValue(42), "42", 42, 42.0, true},
             Row{clsDbValue(true), "1", 1, 1.0, true},
             Row{clsDbValue(1.5), "1.5", 1, 1.5, true},
             Row{clsDbValue(1e30), "1e+30", kMax, 1e30, true},
             Row{clsDbValue("1.9"), "1.9", 1, 1.9, false},
             Row{clsDbValue("12abc"), "12abc", 0, 0.0, false},
             Row{clsDbValue("9223372036854775807"), "9223372036854775807", kMax,
                 9.2233720368547758e18, false},
             Row{clsDbValue("True"), "True", 0, 0.0, true},
             Row{clsDbValue("-1"), "-1", -1, -1.0, true},
             Row{clsDbValue("0"), "0", 0, 0.0, false},
         }) {
        SCOPED_TRACE(text);
        EXPECT_EQ(value.AsText(), text);
        EXPECT_EQ(value.AsLong(), asLong);
        EXPECT_DOUBLE_EQ(value.AsDouble(), asDouble);
        EXPECT_EQ(value.AsBool(), asBool);
    }
}

}  // namespace
