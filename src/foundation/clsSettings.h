#pragma once
// clsSettings: named settings by section below the settings root, HKEY_CURRENT_USER (or, for
// machine-wide values, HKEY_LOCAL_MACHINE) "Software\KESTO\Corvel\<section>". Values are kept
// as text; Booleans as "true" and "false". A thin layer over clsRegistryAccess with its failure
// rules: reads give the default, writes that fail are dropped. Any thread.

#include <cstdint>
#include <string>
#include <string_view>

#include "foundation/clsRegistryAccess.h"

class clsSettings {
public:
    static constexpr std::string_view kSettingsRoot = "Software\\KESTO\\Corvel";

    explicit clsSettings(clsRegistryAccess& registry, bool machineWide = false)
        : mRegistry(registry), mRoot(machineWide ? "HKLM" : "HKCU") {}

    std::string ReadText(std::string_view section, std::string_view name,
                         std::string_view defaultValue) const;
    bool SaveText(std::string_view section, std::string_view name, std::string_view value);
    // "true"/"false" (any case); anything else, or nothing stored, gives the default.
    bool ReadBoolean(std::string_view section, std::string_view name, bool defaultValue) const;
    bool SaveBoolean(std::string_view section, std::string_view name, bool value);
    // A decimal text; anything else, or nothing stored, gives the default.
    std::int64_t ReadNumber(std::string_view section, std::string_view name,
                            std::int64_t defaultValue) const;
    bool SaveNumber(std::string_view section, std::string_view name, std::int64_t value);

    // "Software\KESTO\Corvel\<section>"
    static std::string SectionKey(std::string_view section);
    clsRegistryAccess& Registry() const { return mRegistry; }

private:
    clsRegistryAccess& mRegistry;
    std::string_view mRoot;
};
