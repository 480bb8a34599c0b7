#include "mailhost/mime/clsHeaderBlock.h"

namespace {

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

char LowerAscii(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// The line at pos without its line end, and the offset of the next line.
std::string_view LineAt(std::string_view raw, std::size_t pos, std::size_t& next) {
    const std::size_t newline = raw.find('\n', pos);
    next = newline == std::string_view::npos ? raw.size() : newline + 1;
    std::string_view line = raw.substr(pos, next - pos);
    if (!line.empty() && line.back() == '\n') {
        line.remove_suffix(1);
    }
    if (!line.empty() && line.back() == '\r') {
        line.remove_suffix(1);
    }
    return line;
}

}  // namespace

clsHeaderBlock::clsHeaderBlock(std::string_view rawMessage) : mRaw(rawMessage) {
    const std::size_t firstNewline = mRaw.find('\n');
    if (firstNewline != std::string_view::npos) {
        mLineEnd = firstNewline > 0 && mRaw[firstNewline - 1] == '\r' ? "\r\n" : "\n";
    }
    std::size_t pos = 0;
    while (pos < mRaw.size()) {
        std::size_t next = 0;
        const std::string_view line = LineAt(mRaw, pos, next);
        if (!line.empty() && IsBlank(line.front()) && !mFields.empty()) {
            mFields.back().End = next;
        } else if (const std::string_view name = HeaderName(line); !name.empty()) {
            mFields.push_back({name, pos, next});
        } else {
            break;  // the empty line, or the body's first line
        }
        pos = next;
    }
    mEnd = pos;
}

std::string_view clsHeaderBlock::HeaderName(std::string_view line) {
    std::size_t length = 0;
    while (length < line.size() && line[length] > ' ' && line[length] < '\x7F' &&
           line[length] != ':') {
        ++length;
    }
    std::size_t colon = length;
    while (colon < line.size() && IsBlank(line[colon])) {
        ++colon;
    }
    return length > 0 && colon < line.size() && line[colon] == ':' ? line.substr(0, length)
                                                                   : std::string_view();
}

bool clsHeaderBlock::IsNamed(const Field& field, std::string_view name) {
    if (field.Name.size() != name.size()) {
        return false;
    }
    for (std::size_t i = 0; i < name.size(); ++i) {
        if (LowerAscii(field.Name[i]) != LowerAscii(name[i])) {
            return false;
        }
    }
    return true;
}

std::optional<std::string> clsHeaderBlock::Value(std::string_view name) const {
    for (const Field& field : mFields) {
        if (!IsNamed(field, name)) {
            continue;
        }
        const std::string_view text = mRaw.substr(field.Begin, field.End - field.Begin);
        std::string value;
        for (const char c : text.substr(text.find(':') + 1)) {
            if (c != '\r' && c != '\n') {
                value += c;
            }
        }
        const std::size_t first = value.find_first_not_of(" \t");
        if (first == std::string::npos) {
            return std::string();
        }
        return value.substr(first, value.find_last_not_of(" \t") - first + 1);
    }
    return std::nullopt;
}
