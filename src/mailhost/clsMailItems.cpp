#include "mailhost/clsMailItems.h"

#include <algorithm>

#include "mailhost/clsMailItem.h"
#include "mailhost/clsMailNamespace.h"
#include "mailhost/mime/clsMimeMessage.h"

namespace {

struct clsCondition {
    std::string Name;
    bool Equal;  // "=" (true) or "<>"
    std::string Value;
};

void SkipBlanks(std::string_view text, size_t& at) {
    while (at < text.size() && text[at] == ' ') {
        ++at;
    }
}

bool StartsWithNoCase(std::string_view text, size_t at, std::string_view word) {
    return text.size() - at >= word.size() &&
           std::equal(word.begin(), word.end(), text.begin() + static_cast<long>(at),
                      [](char a, char b) {
                          return std::toupper(static_cast<unsigned char>(a)) ==
                                 std::toupper(static_cast<unsigned char>(b));
                      });
}

// A quoted value: "" inside stands for one double quote.
std::optional<std::string> ReadQuoted(std::string_view text, size_t& at) {
    if (at >= text.size() || text[at] != '"') {
        return std::nullopt;
    }
    std::string value;
    for (++at; at < text.size(); ++at) {
        if (text[at] == '"') {
            if (at + 1 < text.size() && text[at + 1] == '"') {
                value += '"';
                ++at;
                continue;
            }
            ++at;
            return value;
        }
        value += text[at];
    }
    return std::nullopt;
}

std::optional<clsCondition> ReadCondition(std::string_view text, size_t& at) {
    SkipBlanks(text, at);
    const size_t close = text.find(']', at);
    if (at >= text.size() || text[at] != '[' || close == std::string_view::npos) {
        return std::nullopt;
    }
    clsCondition condition{std::string(text.substr(at + 1, close - at - 1)), true, ""};
    at = close + 1;
    SkipBlanks(text, at);
    if (text.substr(at, 2) == "<>") {
        condition.Equal = false;
        at += 2;
    } else if (text.substr(at, 1) == "=") {
        at += 1;
    } else {
        return std::nullopt;
    }
    SkipBlanks(text, at);
    // "[Name] <>" with nothing after it compares with the empty text.
    if (at < text.size() && text[at] == '"') {
        auto value = ReadQuoted(text, at);
        if (!value) {
            return std::nullopt;
        }
        condition.Value = std::move(*value);
    }
    return condition;
}

std::optional<std::vector<clsCondition>> ParseFilter(std::string_view filter) {
    std::vector<clsCondition> conditions;
    size_t at = 0;
    while (true) {
        auto condition = ReadCondition(filter, at);
        if (!condition) {
            return std::nullopt;
        }
        conditions.push_back(std::move(*condition));
        SkipBlanks(filter, at);
        if (at == filter.size()) {
            return conditions;
        }
        if (!StartsWithNoCase(filter, at, "AND ")) {
            return std::nullopt;
        }
        at += 4;
    }
}

}  // namespace

std::optional<clsMailItem> clsMailItems::Item(long index) const {
    if (index < 1 || index > Count()) {
        return std::nullopt;
    }
    const clsItemEntry& entry = mEntries[static_cast<size_t>(index - 1)];
    if (!mFolder.Store().FindItem(mFolder.EntryID(), entry.Key)) {
        return std::nullopt;  // gone since the listing
    }
    return clsMailItem(mFolder, entry);
}

std::string clsMailItems::Quoted(std::string_view value) {
    std::string quoted = "\"";
    for (const char c : value) {
        quoted += c == '"' ? "\"\"" : std::string(1, c);
    }
    return quoted + "\"";
}

clsMailItems clsMailItems::Restrict(std::string_view filter) const {
    const auto conditions = ParseFilter(filter);
    if (!conditions) {
        mFolder.Namespace().Log().AddLog("MailHost->Restrict: cannot read the filter " +
                                         std::string(filter));
        return clsMailItems(mFolder, {});
    }
    std::vector<clsItemEntry> kept;
    for (const clsItemEntry& entry : mEntries) {
        const bool matches =
            std::all_of(conditions->begin(), conditions->end(), [&](const clsCondition& condition) {
                std::string actual;
                if (StartsWithNoCase(condition.Name, 0, "Subject") && condition.Name.size() == 7) {
                    actual = clsMailItem(mFolder, entry).Subject();
                } else if (auto value =
                               mFolder.Store().Properties().Find(entry.Key, condition.Name)) {
                    actual = std::move(value->Text);
                }
                return (actual == condition.Value) == condition.Equal;
            });
        if (matches) {
            kept.push_back(entry);
        }
    }
    return clsMailItems(mFolder, std::move(kept));
}
