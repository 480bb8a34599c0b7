#pragma once
// clsDbValue: one field value of a recordset row, as Jet would hand it over: Null, a number or a
// text. Booleans are numbers (TRUE is 1, FALSE 0). Dates are texts "yyyy-mm-dd hh:nn:ss".

#include <cstdint>
#include <string>
#include <variant>

class clsDbValue {
public:
    clsDbValue() = default;  // Null
    clsDbValue(std::int64_t number) : mValue(number) {}
    clsDbValue(int number) : mValue(static_cast<std::int64_t>(number)) {}
    clsDbValue(double number) : mValue(number) {}
    clsDbValue(bool flag) : mValue(static_cast<std::int64_t>(flag ? 1 : 0)) {}
    clsDbValue(std::string text) : mValue(std::move(text)) {}
    clsDbValue(const char* text) : mValue(std::string(text)) {}

    bool IsNull() const { return std::holds_alternative<std::monostate>(mValue); }
    bool IsText() const { return std::holds_alternative<std::string>(mValue); }
    // A floating-point number (Null, integers and texts are not).
    bool IsDouble() const { return std::holds_alternative<double>(mValue); }
    // Null reads as "", a number as its decimal text.
    std::string AsText() const;
    // Null and non-numeric text read as 0; a double is truncated toward zero.
    std::int64_t AsLong() const;
    double AsDouble() const;
    // Non-zero numbers are true; texts "true"/"yes"/"-1"/"1" (any case) are true.
    bool AsBool() const;

    bool operator==(const clsDbValue& other) const = default;

private:
    std::variant<std::monostate, std::int64_t, double, std::string> mValue;
};
