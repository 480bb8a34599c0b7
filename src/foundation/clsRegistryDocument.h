#pragma once
// clsRegistryDocument: the keys and values of one registry root in memory, read from and written
// to REGEDIT4 text. Owned by whoever is reading or changing one root's file for one operation;
// no shared state. Failure: text it cannot read is skipped and listed (Load's problems); lookups of
// missing or malformed key paths give nothing. Does not throw beyond std::bad_alloc.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/clsRegistryAccess.h"
#include "foundation/clsRegistryKey.h"
#include "foundation/clsRegistryParser.h"

class clsRegistryDocument {
public:
    explicit clsRegistryDocument(RegistryRoot root) : mRoot(root) {}

    RegistryRoot Root() const { return mRoot; }

    // Adds what a store file's text holds. Unreadable lines, a missing header and keys of another
    // root are skipped and returned.
    std::vector<clsRegistryProblem> Load(std::string_view text);
    // One change of this document's root (the caller sorts changes by root).
    void Apply(const clsRegistryChange& change);

    // keyPath below the root, "" being the root itself; nullptr when missing or malformed.
    const clsRegistryKey* FindKey(std::string_view keyPath) const;
    clsRegistryKey* FindKey(std::string_view keyPath);
    // The key, made with its missing parents; nullptr only for a malformed path.
    clsRegistryKey* MakeKey(std::string_view keyPath);
    // Removes the key and everything below it; false when missing or when keyPath is the root.
    bool RemoveKey(std::string_view keyPath);

    // The whole root as a file: "REGEDIT4", then each key (parents first) with its values. Every
    // key is written, empty ones too; the root itself only when it has values.
    std::string ToText() const;
    // The same for one key and the keys below it; nothing when the key is missing.
    std::optional<std::string> ToText(std::string_view keyPath) const;

private:
    // Follows the names from the root; adds each stored spelling to fullName when given.
    const clsRegistryKey* Walk(const std::vector<std::string_view>& names,
                               std::string* fullName) const;
    void WriteKey(const clsRegistryKey& key, const std::string& fullName, bool writeHeading,
                  std::string& text) const;

    RegistryRoot mRoot;
    clsRegistryKey mTop;
};
