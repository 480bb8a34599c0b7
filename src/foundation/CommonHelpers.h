#pragma once
// Free helpers that several layers share: making text safe inside SQL literals and Jet LIKE
// patterns, and remembering window placement and the list font for the user interface.
// Pure or settings-backed; any thread; never throw.

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "foundation/clsSettings.h"

// The text without the given characters at either end (a view into text).
std::string_view Trimmed(std::string_view text, std::string_view blanks = " \t");

// The bytes of a regular file, whole; nothing when it is missing, no regular file or unreadable.
std::optional<std::string> ReadFileBytes(const std::filesystem::path& file);

// The text with A-Z as a-z; other bytes (UTF-8 included) as they are.
std::string AsciiLower(std::string_view text);
// The same into lower, whose buffer is reused: for lowering text after text.
void AsciiLowerInto(std::string_view text, std::string& lower);

// Doubles "'"; with forLike also brackets "[", "]", "%", "_", "?" and "#" so a LIKE pattern
// matches them literally. "*" is left alone: it stays a wildcard.
std::string SQLEscapeString(std::string_view text, bool forLike);

// Where a form was and how big, kept in the section "View-<form>".
struct clsWindowPlacement {
    long Left = 0;
    long Top = 0;
    long Width = 0;
    long Height = 0;
    bool Maximised = false;
};
void SaveWindowPlacement(clsSettings& settings, std::string_view formName,
                         const clsWindowPlacement& placement);
// Nothing when the form's placement was never saved (or is incomplete or has no size).
std::optional<clsWindowPlacement> RestoreWindowPlacement(const clsSettings& settings,
                                                         std::string_view formName);

// The font of the rule lists, kept in the section "View".
struct clsListFont {
    std::string Name = "MS Sans Serif";
    long Size = 8;
    bool Bold = false;
    bool Italic = false;
};
void SaveListFont(clsSettings& settings, const clsListFont& font);
clsListFont RestoreListFont(const clsSettings& settings);
