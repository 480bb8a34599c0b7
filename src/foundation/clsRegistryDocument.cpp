#include "foundation/clsRegistryDocument.h"

#include <cstdio>
#include <memory>
#include <type_traits>
#include <utility>

namespace {

constexpr std::string_view kHeader = "REGEDIT4\n\n";

// Escapes as the registry editor does, and line breaks as well so that no text is ever cut.
void AppendQuoted(std::string_view value, std::string& text) {
    text += '"';
    for (const char c : value) {
        switch (c) {
            case '\\':
                text += "\\\\";
                break;
            case '"':
                text += "\\\"";
                break;
            case '\n':
                text += "\\n";
                break;
            case '\r':
                text += "\\r";
                break;
            default:
                text += c;
                break;
        }
    }
    text += '"';
}

void AppendData(const clsRegistryData& data, std::string& text) {
    std::visit(
        [&text](const auto& value) {
            using Type = std::decay_t<decltype(value)>;
            char digits[16];
            if constexpr (std::is_same_v<Type, std::string>) {
                AppendQuoted(value, text);
            } else if constexpr (std::is_same_v<Type, std::uint32_t>) {
                std::snprintf(digits, sizeof digits, "dword:%08x", value);
                text += digits;
            } else {
                text += "hex:";
                for (std::size_t i = 0; i < value.size(); ++i) {
                    std::snprintf(digits, sizeof digits, i == 0 ? "%02x" : ",%02x", value[i]);
                    text += digits;
                }
            }
        },
        data);
}

}  // namespace

std::vector<clsRegistryProblem> clsRegistryDocument::Load(std::string_view text) {
    clsRegistryScript script = clsRegistryParser::Parse(text);
    if (!script.HasHeader && !text.empty()) {
        script.Problems.insert(script.Problems.begin(), {1, "no REGEDIT4 header"});
    }
    for (const clsRegistryChange& change : script.Changes) {
        const bool isKeyLine = change.What == clsRegistryChange::Kind::OpenKey ||
                               change.What == clsRegistryChange::Kind::DeleteKey;
        if (change.Root == mRoot) {
            Apply(change);
        } else if (isKeyLine) {  // its values go with it, into the .bad copy
            script.Problems.push_back({change.Line, "key of another root"});
        }
    }
    return std::move(script.Problems);
}

void clsRegistryDocument::Apply(const clsRegistryChange& change) {
    using Kind = clsRegistryChange::Kind;
    if (change.What == Kind::DeleteKey) {
        RemoveKey(change.KeyPath);
        return;
    }
    clsRegistryKey* key = MakeKey(change.KeyPath);
    if (key == nullptr) {
        return;  // the parser passes well-formed paths only
    }
    if (change.What == Kind::SetValue) {
        key->Values.Set(change.ValueName, change.Data);
    } else if (change.What == Kind::DeleteValue) {
        key->Values.Remove(change.ValueName);
    }
}

const clsRegistryKey* clsRegistryDocument::FindKey(std::string_view keyPath) const {
    const auto names = clsRegistryKey::SplitPath(keyPath);
    return names ? Walk(*names, nullptr) : nullptr;
}

clsRegistryKey* clsRegistryDocument::FindKey(std::string_view keyPath) {
    return const_cast<clsRegistryKey*>(std::as_const(*this).FindKey(keyPath));
}

const clsRegistryKey* clsRegistryDocument::Walk(const std::vector<std::string_view>& names,
                                                std::string* fullName) const {
    const clsRegistryKey* key = &mTop;
    for (const std::string_view name : names) {
        const auto* entry = key->Subkeys.FindEntry(name);
        if (entry == nullptr) {
            return nullptr;
        }
        if (fullName != nullptr) {
            *fullName += '\\' + entry->Name;
        }
        key = entry->Item.get();
    }
    return key;
}

clsRegistryKey* clsRegistryDocument::MakeKey(std::string_view keyPath) {
    const auto names = clsRegistryKey::SplitPath(keyPath);
    if (!names) {
        return nullptr;
    }
    clsRegistryKey* key = &mTop;
    for (const std::string_view name : *names) {
        std::unique_ptr<clsRegistryKey>* child = key->Subkeys.Find(name);
        key = child != nullptr ? child->get()
                               : key->Subkeys.Set(name, std::make_unique<clsRegistryKey>()).get();
    }
    return key;
}

bool clsRegistryDocument::RemoveKey(std::string_view keyPath) {
    auto names = clsRegistryKey::SplitPath(keyPath);
    if (!names || names->empty()) {
        return false;
    }
    const std::string_view last = names->back();
    names->pop_back();
    // Walk only reads; the document itself is not const here.
    auto* parent = const_cast<clsRegistryKey*>(Walk(*names, nullptr));
    return parent != nullptr && parent->Subkeys.Remove(last);
}

std::string clsRegistryDocument::ToText() const {
    std::string text(kHeader);
    WriteKey(mTop, std::string(RegistryRootName(mRoot)), !mTop.Values.Entries().empty(), text);
    return text;
}

std::optional<std::string> clsRegistryDocument::ToText(std::string_view keyPath) const {
    const auto names = clsRegistryKey::SplitPath(keyPath);
    if (!names) {
        return std::nullopt;
    }
    if (names->empty()) {
        return ToText();
    }
    // The headings carry each name as stored, not as the caller spelt it.
    std::string fullName(RegistryRootName(mRoot));
    const clsRegistryKey* key = Walk(*names, &fullName);
    if (key == nullptr) {
        return std::nullopt;
    }
    std::string text(kHeader);
    WriteKey(*key, fullName, true, text);
    return text;
}

void clsRegistryDocument::WriteKey(const clsRegistryKey& key, const std::string& fullName,
                                   bool writeHeading, std::string& text) const {
    if (writeHeading) {
        text += '[' + fullName + "]\n";
        for (const auto& value : key.Values.Entries()) {
            if (value.Name.empty()) {
                text += '@';
            } else {
                AppendQuoted(value.Name, text);
            }
            text += '=';
            AppendData(value.Item, text);
            text += '\n';
        }
        text += '\n';
    }
    for (const auto& child : key.Subkeys.Entries()) {
        WriteKey(*child.Item, fullName + '\\' + child.Name, true, text);
    }
}
