#include "database/clsSqlTokenizer.h"

#include <string>

namespace {

bool IsBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\v';
}

bool IsWordByte(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
           (byte >= '0' && byte <= '9') || byte == '_' || byte == '$' || byte >= 0x80;
}

// The end of a quoted run that starts at pos with `quote`, where a doubled quote stands for one;
// npos when unterminated.
std::size_t QuotedEnd(std::string_view sql, std::size_t pos, char quote) {
    std::size_t at = pos + 1;
    while (true) {
        at = sql.find(quote, at);
        if (at == std::string_view::npos) {
            return at;
        }
        if (at + 1 < sql.size() && sql[at + 1] == quote) {
            at += 2;
            continue;
        }
        return at + 1;
    }
}

std::size_t RunEnd(std::string_view sql, std::size_t pos, bool (*member)(char)) {
    while (pos < sql.size() && member(sql[pos])) {
        ++pos;
    }
    return pos;
}

// The end of the token at pos and its kind, or an error for text that must not reach SQLite.
clsStatus NextToken(std::string_view sql, std::size_t pos, clsSqlTokenizer::Token& token) {
    using Kind = clsSqlTokenizer::Kind;
    const char c = sql[pos];
    const char next = pos + 1 < sql.size() ? sql[pos + 1] : '\0';
    std::size_t end = pos + 1;
    Kind kind = Kind::Punctuation;
    if (IsBlank(c)) {
        kind = Kind::Blank;
        end = RunEnd(sql, pos, IsBlank);
    } else if (IsWordByte(c) && c != '$') {
        kind = Kind::Word;
        end = RunEnd(sql, pos, IsWordByte);
    } else if (c == '\'' || c == '"') {
        kind = c == '\'' ? Kind::SingleQuoted : Kind::DoubleQuoted;
        end = QuotedEnd(sql, pos, c);
    } else if (c == '[' || c == '#') {
        kind = c == '[' ? Kind::Bracketed : Kind::Date;
        end = sql.find(c == '[' ? ']' : '#', pos + 1);
        end = end == std::string_view::npos ? end : end + 1;
    } else if (c == '@') {
        kind = Kind::Variable;
        end = RunEnd(sql, next == '@' ? pos + 2 : pos + 1, IsWordByte);
    } else if ((c == '-' && next == '-') || (c == '/' && next == '*')) {
        return clsStatus::Error(clsStatus::Code::Invalid, "comment in SQL text");
    } else if (c == '`' || c == '\0') {
        return clsStatus::Error(clsStatus::Code::Invalid,
                                c == '`' ? "backquote in SQL text" : "NUL byte in SQL text");
    }
    if (end == std::string_view::npos) {
        return clsStatus::Error(clsStatus::Code::Invalid,
                                std::string("unterminated ") + c + " in SQL text");
    }
    token = {kind, sql.substr(pos, end - pos)};
    return clsStatus::Ok();
}

}  // namespace

clsStatus clsSqlTokenizer::Split(std::string_view sql, std::vector<Token>& tokens) {
    tokens.clear();
    std::size_t pos = 0;
    while (pos < sql.size()) {
        Token token{Kind::Blank, {}};
        clsStatus status = NextToken(sql, pos, token);
        if (!status.IsOk()) {
            tokens.clear();
            return status;
        }
        tokens.push_back(token);
        pos += token.Text.size();
    }
    return clsStatus::Ok();
}

bool clsSqlTokenizer::IsWord(const Token& token, std::string_view word) {
    return token.What == Kind::Word && EqualAsciiNoCase(token.Text, word);
}

bool clsSqlTokenizer::EqualAsciiNoCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (std::size_t i = 0; i < a.size(); ++i) {
        const int lowerA = (a[i] >= 'A' && a[i] <= 'Z') ? a[i] + ('a' - 'A') : a[i];
        const int lowerB = (b[i] >= 'A' && b[i] <= 'Z') ? b[i] + ('a' - 'A') : b[i];
        if (lowerA != lowerB) {
            return false;
        }
    }
    return true;
}

bool clsSqlTokenizer::IsPunctuation(const Token& token, char character) {
    return token.What == Kind::Punctuation && token.Text.size() == 1 && token.Text[0] == character;
}
