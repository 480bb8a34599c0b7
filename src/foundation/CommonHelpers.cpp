#include "foundation/CommonHelpers.h"

#include <cstdint>
#include <fstream>
#include <iterator>
#include <sstream>
#include <utility>

namespace {

void ReplaceAll(std::string& text, std::string_view from, std::string_view to) {
    for (size_t at = text.find(from); at != std::string::npos;
         at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
}

std::string PlacementSection(std::string_view formName) { return "View-" + std::string(formName); }

constexpr std::string_view kPlacementNumbers[] = {"Left", "Top", "Width", "Height"};

}  // namespace

std::string_view Trimmed(std::string_view text, std::string_view blanks) {
    const std::size_t first = text.find_first_not_of(blanks);
    return first == std::string_view::npos
               ? std::string_view()
               : text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::string SQLEscapeString(std::string_view text, bool forLike) {
    std::string escaped(text);
    ReplaceAll(escaped, "'", "''");
    if (forLike) {
        // The marker keeps the brackets that "]" gains from being bracketed once more.
        static constexpr std::pair<std::string_view, std::string_view> kLikeSteps[] = {
            {"[", "[[^^"}, {"]", "[]]"}, {"[[^^", "[[]"}, {"%", "[%]"},
            {"_", "[_]"},  {"?", "[?]"}, {"#", "[#]"}};
        for (const auto& [from, to] : kLikeSteps) {
            ReplaceAll(escaped, from, to);
        }
    }
    return escaped;
}

void SaveWindowPlacement(clsSettings& settings, std::string_view formName,
                         const clsWindowPlacement& placement) {
    const std::string section = PlacementSection(formName);
    const long values[] = {placement.Left, placement.Top, placement.Width, placement.Height};
    for (size_t i = 0; i < std::size(values); ++i) {
        settings.SaveNumber(section, kPlacementNumbers[i], values[i]);
    }
    settings.SaveBoolean(section, "Maximised", placement.Maximised);
}

std::optional<clsWindowPlacement> RestoreWindowPlacement(const clsSettings& settings,
                                                         std::string_view formName) {
    const std::string section = PlacementSection(formName);
    long values[4] = {};
    for (size_t i = 0; i < std::size(values); ++i) {
        constexpr std::int64_t kMissing = INT64_MIN;
        const std::int64_t value = settings.ReadNumber(section, kPlacementNumbers[i], kMissing);
        if (value == kMissing) {
            return std::nullopt;
        }
        values[i] = static_cast<long>(value);
    }
    if (values[2] <= 0 || values[3] <= 0) {
        return std::nullopt;  // a window of no size was never really placed
    }
    return clsWindowPlacement{values[0], values[1], values[2], values[3],
                              settings.ReadBoolean(section, "Maximised", false)};
}

void SaveListFont(clsSettings& settings, const clsListFont& font) {
    settings.SaveText("View", "Font Name", font.Name);
    settings.SaveNumber("View", "Font Size", font.Size);
    settings.SaveBoolean("View", "Font Bold", font.Bold);
    settings.SaveBoolean("View", "Font Italic", font.Italic);
}

clsListFont RestoreListFont(const clsSettings& settings) {
    const clsListFont defaults;
    return clsListFont{settings.ReadText("View", "Font Name", defaults.Name),
                       static_cast<long>(settings.ReadNumber("View", "Font Size", defaults.Size)),
                       settings.ReadBoolean("View", "Font Bold", defaults.Bold),
                       settings.ReadBoolean("View", "Font Italic", defaults.Italic)};
}

std::string AsciiLower(std::string_view text) {
    std::string lower;
    AsciiLowerInto(text, lower);
    return lower;
}

void AsciiLowerInto(std::string_view text, std::string& lower) {
    lower.assign(text);
    for (char& c : lower) {
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
}

std::optional<std::string> ReadFileBytes(const std::filesystem::path& file) {
    std::error_code error;
    std::ifstream in(file, std::ios::binary);
    if (!in || !std::filesystem::is_regular_file(file, error)) {
        return std::nullopt;
    }
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return in.bad() ? std::nullopt : std::optional<std::string>(std::move(bytes).str());
}
