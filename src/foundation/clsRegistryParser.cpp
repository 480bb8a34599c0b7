#include "foundation/clsRegistryParser.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>

namespace {

constexpr std::string_view kBlanks = " \t\r";
constexpr std::size_t kProblemsNamed = 5;  // the rest of a long list is only counted

std::string_view Trim(std::string_view text) {
    const std::size_t start = text.find_first_not_of(kBlanks);
    if (start == std::string_view::npos) {
        return {};
    }
    return text.substr(start, text.find_last_not_of(kBlanks) - start + 1);
}

// prefix in lower case.
bool StartsWithNoCase(std::string_view text, std::string_view prefix) {
    if (text.size() < prefix.size()) {
        return false;
    }
    for (std::size_t i = 0; i < prefix.size(); ++i) {
        if (FoldAsciiCase(text[i]) != prefix[i]) {
            return false;
        }
    }
    return true;
}

// Hexadecimal, bare or with a "&H" (Visual Basic) or "0x" (C) prefix, at most `maximum`.
std::optional<std::uint32_t> ParseNumber(std::string_view text, std::uint32_t maximum) {
    text = Trim(text);
    if (StartsWithNoCase(text, "&h") || StartsWithNoCase(text, "0x")) {
        text.remove_prefix(2);
    }
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, 16);
    if (text.empty() || error != std::errc() || end != text.data() + text.size() ||
        value > maximum) {
        return std::nullopt;
    }
    return static_cast<std::uint32_t>(value);
}

// "00,1f,a0": bytes separated by commas; a trailing comma is tolerated.
std::optional<std::vector<std::uint8_t>> ParseHexList(std::string_view text) {
    std::vector<std::uint8_t> bytes;
    text = Trim(text);
    while (!text.empty()) {
        const std::size_t comma = text.find(',');
        const std::optional<std::uint32_t> byte = ParseNumber(text.substr(0, comma), 0xFF);
        if (!byte) {
            return std::nullopt;
        }
        bytes.push_back(static_cast<std::uint8_t>(*byte));
        text = comma == std::string_view::npos ? std::string_view() : Trim(text.substr(comma + 1));
    }
    return bytes;
}

// A quoted text starting at text[position]; on success position moves past the closing quote.
// Windows doubles every backslash it writes, so "\n" and "\r" are free to mean line breaks; any
// other backslash is kept as it stands, which is what a hand-written "C:\temp" means.
std::optional<std::string> Unquote(std::string_view text, std::size_t& position) {
    std::string result;
    for (std::size_t i = position + 1; i < text.size(); ++i) {
        if (text[i] == '"') {
            position = i + 1;
            return result;
        }
        if (text[i] != '\\' || i + 1 == text.size()) {
            result += text[i];
            continue;
        }
        const char next = text[++i];
        switch (next) {
            case 'n':
                result += '\n';
                break;
            case 'r':
                result += '\r';
                break;
            case '\\':
            case '"':
                result += next;
                break;
            default:
                result.append({'\\', next});
                break;
        }
    }
    return std::nullopt;
}

struct clsParsedValue {
    std::optional<clsRegistryData> Data;  // empty: delete the value, or unreadable (Error set)
    std::string Error;
};

clsParsedValue ParseData(std::string_view text) {
    if (text == "-") {
        return {};
    }
    if (!text.empty() && text.front() == '"') {
        std::size_t end = 0;
        std::optional<std::string> value = Unquote(text, end);
        if (!value || !Trim(text.substr(end)).empty()) {
            return {std::nullopt, "unterminated or trailing text after a string"};
        }
        return {clsRegistryData(std::move(*value)), {}};
    }
    const bool isDword = StartsWithNoCase(text, "dword:");
    if (isDword || StartsWithNoCase(text, "&h") || StartsWithNoCase(text, "0x")) {
        if (std::optional<std::uint32_t> number =
                ParseNumber(isDword ? text.substr(6) : text, UINT32_MAX)) {
            return {clsRegistryData(*number), {}};
        }
        return {std::nullopt, "bad 32-bit number"};
    }
    if (StartsWithNoCase(text, "hex:")) {
        if (std::optional<std::vector<std::uint8_t>> bytes = ParseHexList(text.substr(4))) {
            return {clsRegistryData(std::move(*bytes)), {}};
        }
        return {std::nullopt, "bad hex: list"};
    }
    if (StartsWithNoCase(text, "hex(")) {
        return {std::nullopt, "unsupported value type"};
    }
    return {std::nullopt, "unreadable value"};
}

}  // namespace

clsRegistryScript clsRegistryParser::Parse(std::string_view text) {
    clsRegistryParser parser(text);
    parser.ParseLines();
    return std::move(parser.mScript);
}

clsRegistryParser::clsRegistryParser(std::string_view text) {
    if (text.substr(0, 2) == "\xFF\xFE") {
        mScript.Problems.push_back({1, "UTF-16 text is not read; save the file as UTF-8"});
        return;
    }
    if (text.substr(0, 3) == "\xEF\xBB\xBF") {
        text.remove_prefix(3);
    }
    std::size_t start = 0;
    while (start < text.size()) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        mLines.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    if (!mLines.empty()) {
        const std::string_view first = Trim(mLines.front());
        mScript.HasHeader = first == "REGEDIT4" || first == "Windows Registry Editor Version 5.00";
        mNext = mScript.HasHeader ? 1 : 0;
    }
}

void clsRegistryParser::ParseLines() {
    while (mNext < mLines.size()) {
        mLineNumber = static_cast<int>(mNext) + 1;
        const std::string_view line = Trim(mLines[mNext++]);
        if (line.empty() || line.front() == ';') {
            continue;
        }
        if (line.front() == '[') {
            ParseKeyLine(line);
        } else if (line.front() == '"' || line.front() == '@') {
            ParseValueLine(line);
        } else {
            AddProblem("neither a key nor a value");
        }
    }
}

void clsRegistryParser::ParseKeyLine(std::string_view line) {
    mInKey = false;
    const std::size_t close = line.rfind(']');
    if (close == std::string_view::npos) {
        AddProblem("key without \"]\"");
        return;
    }
    std::string_view name = line.substr(1, close - 1);
    const bool isDeletion = !name.empty() && name.front() == '-';
    if (isDeletion) {
        name.remove_prefix(1);
    }
    const std::size_t slash = std::min(name.find('\\'), name.size());
    const std::optional<RegistryRoot> root = ParseRegistryRoot(name.substr(0, slash));
    const std::string_view path = name.substr(std::min(slash + 1, name.size()));
    const auto names = clsRegistryKey::SplitPath(path);
    if (!root || !names) {
        AddProblem(!root ? "unknown root" : "bad key name");
        return;
    }
    if (isDeletion && names->empty()) {
        AddProblem("a root cannot be deleted");
        return;
    }
    mKey = clsRegistryChange{};
    mKey.What = isDeletion ? clsRegistryChange::Kind::DeleteKey : clsRegistryChange::Kind::OpenKey;
    mKey.Root = *root;
    mKey.KeyPath = std::string(path);
    mKey.Line = mLineNumber;
    mScript.Changes.push_back(mKey);
    mInKey = !isDeletion;
}

void clsRegistryParser::ParseValueLine(std::string_view line) {
    std::size_t position = 1;
    std::optional<std::string> name = std::string();
    if (line.front() == '"') {
        position = 0;
        name = Unquote(line, position);
    }
    const std::size_t equals = line.find_first_not_of(kBlanks, position);
    if (!name || equals == std::string_view::npos || line[equals] != '=') {
        AddProblem("a value name must be followed by \"=\"");
        return;
    }
    const std::string text = TakeValueText(Trim(line.substr(equals + 1)));
    clsParsedValue parsed = ParseData(text);
    if (!mInKey || !parsed.Error.empty()) {
        AddProblem(!mInKey ? "value outside a key" : parsed.Error);
        return;
    }
    clsRegistryChange change = mKey;
    change.What =
        parsed.Data ? clsRegistryChange::Kind::SetValue : clsRegistryChange::Kind::DeleteValue;
    change.ValueName = std::move(*name);
    change.Data = parsed.Data ? std::move(*parsed.Data) : clsRegistryData();
    change.Line = mLineNumber;
    mScript.Changes.push_back(std::move(change));
}

std::string clsRegistryParser::TakeValueText(std::string_view text) {
    std::string joined(text);
    if (!StartsWithNoCase(text, "hex")) {
        return joined;  // a string may well end in a backslash of its own
    }
    while (!joined.empty() && joined.back() == '\\' && mNext < mLines.size()) {
        joined.pop_back();
        joined += Trim(mLines[mNext++]);
    }
    return joined;
}

void clsRegistryParser::AddProblem(std::string reason) {
    mScript.Problems.push_back({mLineNumber, std::move(reason)});
}

std::string clsRegistryParser::Describe(const std::vector<clsRegistryProblem>& problems) {
    std::string text = std::to_string(problems.size()) +
                       (problems.size() == 1 ? " line skipped: " : " lines skipped: ");
    for (std::size_t i = 0; i < problems.size() && i < kProblemsNamed; ++i) {
        text += (i == 0 ? "line " : ", line ") + std::to_string(problems[i].Line) + " (" +
                problems[i].Reason + ")";
    }
    if (problems.size() > kProblemsNamed) {
        text += ", ...";
    }
    return text;
}
