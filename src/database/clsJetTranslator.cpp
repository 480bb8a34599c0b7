#include "database/clsJetTranslator.h"

#include <array>
#include <cstdio>
#include <exception>
#include <vector>

#include "database/clsSqlTokenizer.h"

namespace {

using Token = clsSqlTokenizer::Token;
using Kind = clsSqlTokenizer::Kind;

struct DateTime {
    int Year = 0;
    int Month = 0;
    int Day = 0;
    int Hour = 0;
    int Minute = 0;
    int Second = 0;
};

bool ReadNumber(std::string_view text, std::size_t& pos, std::size_t minDigits,
                std::size_t maxDigits, int& value) {
    const std::size_t start = pos;
    value = 0;
    while (pos < text.size() && pos - start < maxDigits && text[pos] >= '0' && text[pos] <= '9') {
        value = value * 10 + (text[pos] - '0');
        ++pos;
    }
    return pos - start >= minDigits && (pos == text.size() || text[pos] < '0' || text[pos] > '9');
}

bool Expect(std::string_view text, std::size_t& pos, char character) {
    if (pos < text.size() && text[pos] == character) {
        ++pos;
        return true;
    }
    return false;
}

void SkipBlanks(std::string_view text, std::size_t& pos) {
    while (pos < text.size() && (text[pos] == ' ' || text[pos] == '\t')) {
        ++pos;
    }
}

int DaysInMonth(int year, int month) {
    static constexpr std::array<int, 12> kDays{31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return (month == 2 && leap) ? 29 : kDays[static_cast<std::size_t>(month - 1)];
}

// m/d/yyyy as Jet writes dates in SQL, or yyyy-mm-dd.
bool ReadDate(std::string_view text, std::size_t& pos, DateTime& when) {
    const std::size_t start = pos;
    int first = 0;
    if (!ReadNumber(text, pos, 1, 4, first)) {
        return false;
    }
    bool read = false;
    if (pos - start <= 2 && Expect(text, pos, '/')) {
        when.Month = first;
        read = ReadNumber(text, pos, 1, 2, when.Day) && Expect(text, pos, '/') &&
               ReadNumber(text, pos, 4, 4, when.Year);
    } else if (pos - start == 4 && Expect(text, pos, '-')) {
        when.Year = first;
        read = ReadNumber(text, pos, 1, 2, when.Month) && Expect(text, pos, '-') &&
               ReadNumber(text, pos, 1, 2, when.Day);
    }
    return read && when.Year >= 100 && when.Month >= 1 && when.Month <= 12 && when.Day >= 1 &&
           when.Day <= DaysInMonth(when.Year, when.Month);
}

// An optional AM or PM after a 12-hour time.
bool ReadMeridiem(std::string_view text, std::size_t& pos, int& hour) {
    SkipBlanks(text, pos);
    const std::string_view rest = text.substr(pos);
    const bool am = clsSqlTokenizer::EqualAsciiNoCase(rest, "AM");
    const bool pm = clsSqlTokenizer::EqualAsciiNoCase(rest, "PM");
    if (!am && !pm) {
        return true;
    }
    if (hour < 1 || hour > 12) {
        return false;
    }
    hour = (hour % 12) + (pm ? 12 : 0);
    pos = text.size();
    return true;
}

// [h:nn[:ss] [AM|PM]] up to the end of text.
bool ReadTime(std::string_view text, std::size_t& pos, DateTime& when) {
    SkipBlanks(text, pos);
    if (pos == text.size()) {
        return true;
    }
    if (!ReadNumber(text, pos, 1, 2, when.Hour) || !Expect(text, pos, ':') ||
        !ReadNumber(text, pos, 2, 2, when.Minute)) {
        return false;
    }
    if (Expect(text, pos, ':') && !ReadNumber(text, pos, 2, 2, when.Second)) {
        return false;
    }
    if (!ReadMeridiem(text, pos, when.Hour)) {
        return false;
    }
    SkipBlanks(text, pos);
    return pos == text.size() && when.Hour < 24 && when.Minute < 60 && when.Second < 60;
}

clsStatus AppendDate(std::string_view token, std::string& out) {
    const std::string_view inner = token.substr(1, token.size() - 2);
    std::size_t pos = 0;
    DateTime when;
    SkipBlanks(inner, pos);
    if (!ReadDate(inner, pos, when) || !ReadTime(inner, pos, when)) {
        return clsStatus::Error(clsStatus::Code::Invalid,
                                "invalid date literal " + std::string(token));
    }
    std::array<char, 80> text{};  // room for any int, so the compiler can prove no truncation
    std::snprintf(text.data(), text.size(), "'%04d-%02d-%02d %02d:%02d:%02d'", when.Year,
                  when.Month, when.Day, when.Hour, when.Minute, when.Second);
    out += text.data();
    return clsStatus::Ok();
}

// Jet's "..." is always a literal: "" inside stands for one double quote, and a single quote
// must be doubled for SQLite.
void AppendDoubleQuoted(std::string_view token, std::string& out) {
    const std::string_view inner = token.substr(1, token.size() - 2);
    out += '\'';
    for (std::size_t i = 0; i < inner.size(); ++i) {
        if (inner[i] == '\'') {
            out += '\'';
        } else if (inner[i] == '"') {
            ++i;  // the tokenizer guarantees its twin follows
        }
        out += inner[i];
    }
    out += '\'';
}

bool NextIsOpeningParenthesis(const std::vector<Token>& tokens, std::size_t index) {
    for (std::size_t i = index + 1; i < tokens.size(); ++i) {
        if (tokens[i].What != Kind::Blank) {
            return clsSqlTokenizer::IsPunctuation(tokens[i], '(');
        }
    }
    return false;
}

bool OnlyBlanksAfter(const std::vector<Token>& tokens, std::size_t index) {
    for (std::size_t i = index + 1; i < tokens.size(); ++i) {
        if (tokens[i].What != Kind::Blank) {
            return false;
        }
    }
    return true;
}

clsStatus AppendToken(const std::vector<Token>& tokens, std::size_t index, std::string& out) {
    const Token& token = tokens[index];
    if (token.What == Kind::DoubleQuoted) {
        AppendDoubleQuoted(token.Text, out);
    } else if (token.What == Kind::Date) {
        return AppendDate(token.Text, out);
    } else if (token.What == Kind::Variable &&
               clsSqlTokenizer::EqualAsciiNoCase(token.Text, "@@identity")) {
        out += "last_insert_rowid()";
    } else if (clsSqlTokenizer::IsWord(token, "LEFT") && NextIsOpeningParenthesis(tokens, index)) {
        out += "jet_left";  // SQLite has no LEFT(); the connection registers this one
    } else {
        out += token.Text;
    }
    return clsStatus::Ok();
}

}  // namespace

clsStatus clsJetTranslator::Translate(std::string_view jetSql, std::string& sqliteSql) {
    sqliteSql.clear();
    try {
        std::vector<Token> tokens;
        clsStatus status = clsSqlTokenizer::Split(jetSql, tokens);
        std::string out;
        out.reserve(jetSql.size() + 16);
        for (std::size_t i = 0; status.IsOk() && i < tokens.size(); ++i) {
            if (clsSqlTokenizer::IsPunctuation(tokens[i], ';')) {
                if (!OnlyBlanksAfter(tokens, i)) {
                    return clsStatus::Error(clsStatus::Code::Invalid,
                                            "more than one statement in SQL text");
                }
                break;
            }
            status = AppendToken(tokens, i, out);
        }
        if (status.IsOk()) {
            sqliteSql = std::move(out);
        }
        return status;
    } catch (const std::exception& ex) {
        return clsStatus::Error(clsStatus::Code::Invalid, ex.what());
    }
}
