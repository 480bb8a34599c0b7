#pragma once
// clsRegistryAccess: the settings store. A file-backed registry with the Windows roots, key paths
// and typed values (string, 32-bit number, binary): each root is one text file in the registry
// editor's version 4 format (see clsRegistryLocations). Keys and value names are matched without
// regard to case and keep the case they were created with.
//
// Every operation reads the file it needs; a write locks the file, re-reads it, changes it and
// replaces it atomically (temporary file, then rename), so two processes writing different values
// at once lose neither. Owned by whoever needs settings; one thread at a time per object (LastError
// is the object's own), while any number of objects and processes may share the files.
// Failure: reads give the caller's default, writes return false; LastError() says why. Nothing
// throws to the caller.

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/clsStatus.h"

enum class RegistryRoot {
    ClassesRoot,
    CurrentUser,
    LocalMachine,
    Users,
    PerformanceData,
    DynData,
    CurrentConfig
};

// "HKCU" or "HKEY_CURRENT_USER" (any case) and so on for every root; "HKUS" is HKEY_USERS.
std::optional<RegistryRoot> ParseRegistryRoot(std::string_view name);
// The full name, "HKEY_CURRENT_USER".
std::string_view RegistryRootName(RegistryRoot root);

// Which file holds each root.
struct clsRegistryLocations {
    std::map<RegistryRoot, std::filesystem::path> Files;

    // HKCU in $XDG_CONFIG_HOME/corvel/registry.reg (default ~/.config), HKLM in
    // /etc/corvel/registry.reg, the other roots beside HKCU's file.
    static clsRegistryLocations FromEnvironment();
    // Every root in one folder: for tests and for --config-dir.
    static clsRegistryLocations InFolder(const std::filesystem::path& folder);
};

struct clsRegistryChange;
class clsRegistryDocument;
struct clsRegistryKey;

class clsRegistryAccess {
public:
    explicit clsRegistryAccess(clsRegistryLocations locations);

    // root: either spelling of a root name; keyPath: "SOFTWARE\KESTO\Corvel" (no leading "\").
    bool CreateKey(std::string_view root, std::string_view keyPath);
    bool CreateKeyIfDoesntExist(std::string_view root, std::string_view keyPath);
    // Deletes the key with all its sub-keys and values.
    bool KillKey(std::string_view root, std::string_view keyPath);
    bool KeyExists(std::string_view root, std::string_view keyPath);
    // True when the key has at least one sub-key.
    bool HaveSubkey(std::string_view root, std::string_view keyPath);
    // Direct sub-key names and value names, in the order they were created.
    std::vector<std::string> EnumKeys(std::string_view root, std::string_view keyPath);
    std::vector<std::string> EnumValues(std::string_view root, std::string_view keyPath);

    // Writes create the key (and its parents) when missing. valueName "" is the default value.
    bool WriteString(std::string_view root, std::string_view keyPath, std::string_view valueName,
                     std::string_view value);
    // A number value reads as its decimal text.
    std::string ReadString(std::string_view root, std::string_view keyPath,
                           std::string_view valueName, std::string_view defaultValue);
    bool WriteDWORD(std::string_view root, std::string_view keyPath, std::string_view valueName,
                    std::uint32_t value);
    // A string value that holds a decimal number reads as that number.
    std::uint32_t ReadDWORD(std::string_view root, std::string_view keyPath,
                            std::string_view valueName, std::uint32_t defaultValue);
    // Binary data travels as hex text "00 1F A0"; a text that isBinValid rejects is not written.
    bool WriteBinary(std::string_view root, std::string_view keyPath, std::string_view valueName,
                     std::string_view hexText);
    std::string ReadBinary(std::string_view root, std::string_view keyPath,
                           std::string_view valueName, std::string_view defaultValue);
    bool KillValue(std::string_view root, std::string_view keyPath, std::string_view valueName);
    bool ValueExists(std::string_view root, std::string_view keyPath, std::string_view valueName);

    // fullKey: "HKEY_CURRENT_USER\SOFTWARE\KESTO\Corvel" or "HKCU\..."; writes the key and every
    // sub-key below it as a REGEDIT4 file.
    bool ExportToReg(const std::filesystem::path& file, std::string_view fullKey);
    // Reads a REGEDIT4 file: ";" comments, "[-key]" deletions, strings, "dword:", "hex:", and
    // numbers written "&H.." or "0x..". Lines it cannot read are skipped and reported in
    // LastError(); the rest is applied in one write per root.
    bool ImportFromReg(const std::filesystem::path& file);

    // "00 1F A0" <-> bytes. StrToBin of an invalid text gives no bytes.
    static std::vector<std::uint8_t> StrToBin(std::string_view hexText);
    static std::string BinToStr(std::span<const std::uint8_t> bytes);
    // Pairs of the digits 0-9, A-F (upper case) separated by single blanks; "" is valid.
    static bool isBinValid(std::string_view hexText);

    const clsStatus& LastError() const { return mLastError; }
    const clsRegistryLocations& Locations() const { return mLocations; }

private:
    // The one exception boundary of every public member: body(status) returns the result or sets
    // status; a failed status or a throw gives neutral, and LastError() says why.
    template <typename Result, typename Body>
    Result Guard(std::string_view procedure, Result neutral, Body body);
    // root's file as it is now.
    clsStatus Read(std::string_view root, std::unique_ptr<clsRegistryDocument>& document);
    // The key in root's file as it is now; nullptr when missing (status Ok) or unreadable.
    const clsRegistryKey* ReadKey(std::string_view root, std::string_view keyPath,
                                  std::unique_ptr<clsRegistryDocument>& document,
                                  clsStatus& status);
    // An import's changes, one locked write per root; the first failure is returned.
    clsStatus ApplyByRoot(const std::vector<clsRegistryChange>& changes);
    // edit applied to root's file under its lock.
    clsStatus Change(std::string_view root,
                     const std::function<clsStatus(clsRegistryDocument&)>& edit);

    clsRegistryLocations mLocations;
    clsStatus mLastError = clsStatus::Ok();
    // Lines of a registry file that the current operation skipped; reported when it succeeds.
    clsStatus mNotice = clsStatus::Ok();
};
