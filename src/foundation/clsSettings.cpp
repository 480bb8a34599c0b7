#include "foundation/clsSettings.h"

#include <charconv>

namespace {

bool EqualsNoCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (size_t i = 0; i < a.size(); ++i) {
        if (std::tolower(static_cast<unsigned char>(a[i])) !=
            std::tolower(static_cast<unsigned char>(b[i]))) {
            return false;
        }
    }
    return true;
}

}  // namespace

std::string clsSettings::SectionKey(std::string_view section) {
    std::string key(kSettingsRoot);
    if (!section.empty()) {
        key += '\\';
        key += section;
    }
    return key;
}

std::string clsSettings::ReadText(std::string_view section, std::string_view name,
                                  std::string_view defaultValue) const {
    return mRegistry.ReadString(mRoot, SectionKey(section), name, defaultValue);
}

bool clsSettings::SaveText(std::string_view section, std::string_view name,
                           std::string_view value) {
    return mRegistry.WriteString(mRoot, SectionKey(section), name, value);
}

bool clsSettings::ReadBoolean(std::string_view section, std::string_view name,
                              bool defaultValue) const {
    const std::string text = ReadText(section, name, "");
    if (EqualsNoCase(text, "true")) {
        return true;
    }
    if (EqualsNoCase(text, "false")) {
        return false;
    }
    return defaultValue;
}

bool clsSettings::SaveBoolean(std::string_view section, std::string_view name, bool value) {
    return SaveText(section, name, value ? "true" : "false");
}

std::int64_t clsSettings::ReadNumber(std::string_view section, std::string_view name,
                                     std::int64_t defaultValue) const {
    const std::string text = ReadText(section, name, "");
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (text.empty() || error != std::errc() || end != text.data() + text.size()) {
        return defaultValue;
    }
    return number;
}

bool clsSettings::SaveNumber(std::string_view section, std::string_view name, std::int64_t value) {
    return SaveText(section, name, std::to_string(value));
}
