#include "database/clsDbValue.h"

#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>
#include <string_view>

#include "database/clsJetCollation.h"
#include "foundation/CommonHelpers.h"
namespace {

// The whole text as a number (blanks around it allowed), or nothing.
template <typename Number>
std::optional<Number> ParseNumber(std::string_view text) {
    text = Trimmed(text, " \t\r\n");
    if (!text.empty() && text[0] == '+') {
        text.remove_prefix(1);
    }
    Number value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

std::int64_t Truncated(double number) {
    constexpr double kLimit = 9223372036854775808.0;  // 2^63
    if (std::isnan(number)) {
        return 0;
    }
    if (number >= kLimit) {
        return std::numeric_limits<std::int64_t>::max();
    }
    if (number < -kLimit) {
        return std::numeric_limits<std::int64_t>::min();
    }
    return static_cast<std::int64_t>(number);  // truncates toward zero
}

}  // namespace

std::string clsDbValue::AsText() const {
    if (const auto* text = std::get_if<std::string>(&mValue)) {
        return *text;
    }
    if (const auto* number = std::get_if<std::int64_t>(&mValue)) {
        return std::to_string(*number);
    }
    if (const auto* number = std::get_if<double>(&mValue)) {
        // 15 significant digits, as Jet shows a Double; to_chars ignores the locale.
        std::array<char, 32> buffer{};
        const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), *number,
                                          std::chars_format::general, 15);
        return std::string(buffer.data(), result.ptr);
    }
    return {};
}

std::int64_t clsDbValue::AsLong() const {
    if (const auto* number = std::get_if<std::int64_t>(&mValue)) {
        return *number;
    }
    if (const auto* number = std::get_if<double>(&mValue)) {
        return Truncated(*number);
    }
    if (const auto* text = std::get_if<std::string>(&mValue)) {
        if (const auto whole = ParseNumber<std::int64_t>(*text)) {
            return *whole;
        }
        return Truncated(ParseNumber<double>(*text).value_or(0.0));
    }
    return 0;
}

double clsDbValue::AsDouble() const {
    if (const auto* number = std::get_if<std::int64_t>(&mValue)) {
        return static_cast<double>(*number);
    }
    if (const auto* number = std::get_if<double>(&mValue)) {
        return *number;
    }
    if (const auto* text = std::get_if<std::string>(&mValue)) {
        return ParseNumber<double>(*text).value_or(0.0);
    }
    return 0.0;
}

bool clsDbValue::AsBool() const {
    if (const auto* text = std::get_if<std::string>(&mValue)) {
        const std::string_view trimmed = Trimmed(*text, " \t\r\n");
        for (std::string_view word : {"true", "yes", "-1", "1"}) {
            if (clsJetCollation::Equal(trimmed, word)) {
                return true;
            }
        }
        return false;
    }
    return AsDouble() != 0.0;
}
