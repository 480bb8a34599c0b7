#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

#include "database/clsDbValue.h"

namespace {

struct Conversion {
    clsDbValue Value;
    std::string Text;
    std::int64_t Long;
    double Double;
    bool Bool;
};

TEST(DbValue, ConvertsAsJetFieldsDo) {
    constexpr auto kMax = std::numeric_limits<std::int64_t>::max();
    for (const Conversion& c : {
             Conversion{clsDbValue(), "", 0, 0.0, false},
             Conversion{clsDbValue(42), "42", 42, 42.0, true},
             Conversion{clsDbValue(std::int64_t{-7}), "-7", -7, -7.0, true},
             Conversion{clsDbValue(true), "1", 1, 1.0, true},
             Conversion{clsDbValue(false), "0", 0, 0.0, false},
             Conversion{clsDbValue(1.5), "1.5", 1, 1.5, true},
             Conversion{clsDbValue(-1.9), "-1.9", -1, -1.9, true},
             Conversion{clsDbValue(0.1), "0.1", 0, 0.1, true},
             Conversion{clsDbValue(0.25), "0.25", 0, 0.25, true},
             Conversion{clsDbValue(1e30), "1e+30", kMax, 1e30, true},
             Conversion{clsDbValue(" 12 "), " 12 ", 12, 12.0, false},
             Conversion{clsDbValue("+3"), "+3", 3, 3.0, false},
             Conversion{clsDbValue("1.9"), "1.9", 1, 1.9, false},
             Conversion{clsDbValue("12abc"), "12abc", 0, 0.0, false},
             Conversion{clsDbValue("9223372036854775807"), "9223372036854775807", kMax,
                        9.2233720368547758e18, false},
             Conversion{clsDbValue("True"), "True", 0, 0.0, true},
             Conversion{clsDbValue("YES"), "YES", 0, 0.0, true},
             Conversion{clsDbValue("-1"), "-1", -1, -1.0, true},
             Conversion{clsDbValue("1"), "1", 1, 1.0, true},
             Conversion{clsDbValue("0"), "0", 0, 0.0, false},
             Conversion{clsDbValue("no"), "no", 0, 0.0, false},
             Conversion{clsDbValue(""), "", 0, 0.0, false},
         }) {
        SCOPED_TRACE(c.Text);
        EXPECT_EQ(c.Value.AsText(), c.Text);
        EXPECT_EQ(c.Value.AsLong(), c.Long);
        EXPECT_DOUBLE_EQ(c.Value.AsDouble(), c.Double);
        EXPECT_EQ(c.Value.AsBool(), c.Bool);
    }
}

}  // namespace
