#include "foundation/clsRegistryAccess.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>

#include "foundation/clsRegistryDocument.h"
#include "foundation/clsRegistryFile.h"
#include "foundation/clsRegistryParser.h"

namespace {

struct clsRootName {
    RegistryRoot Root;
    std::string_view Full;
    std::string_view Short;  // also names the root's file: registry-HKLM.reg
};

// "HKUS", not "HKU": the short names are four letters each.
constexpr std::array<clsRootName, 7> kRoots{{
    {RegistryRoot::ClassesRoot, "HKEY_CLASSES_ROOT", "HKCR"},
    {RegistryRoot::CurrentUser, "HKEY_CURRENT_USER", "HKCU"},
    {RegistryRoot::LocalMachine, "HKEY_LOCAL_MACHINE", "HKLM"},
    {RegistryRoot::Users, "HKEY_USERS", "HKUS"},
    {RegistryRoot::PerformanceData, "HKEY_PERFORMANCE_DATA", "HKPD"},
    {RegistryRoot::DynData, "HKEY_DYN_DATA", "HKDD"},
    {RegistryRoot::CurrentConfig, "HKEY_CURRENT_CONFIG", "HKCC"},
}};

constexpr std::string_view kHexDigits = "0123456789ABCDEF";

bool EqualsNoCase(std::string_view left, std::string_view right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](char l, char r) { return FoldAsciiCase(l) == FoldAsciiCase(r); });
}

std::filesystem::path HomeFolder() {
    const char* home = std::getenv("HOME");
    if (home != nullptr && *home != '\0') {
        return home;
    }
    const passwd* user = ::getpwuid(::getuid());  // start-up only, so the static buffer will do
    return user != nullptr && user->pw_dir != nullptr ? user->pw_dir : "/";
}

struct clsRootFile {
    RegistryRoot Root;
    std::filesystem::path Path;
};

std::optional<clsRootFile> FindRootFile(const clsRegistryLocations& locations,
                                        std::string_view root) {
    const std::optional<RegistryRoot> parsed = ParseRegistryRoot(root);
    const auto file = parsed ? locations.Files.find(*parsed) : locations.Files.end();
    if (file == locations.Files.end()) {
        return std::nullopt;
    }
    return clsRootFile{*parsed, file->second};
}

clsStatus NoRootFile(std::string_view root) {
    return clsStatus::Error(clsStatus::Code::Invalid,
                            "unknown root or no file for it: \"" + std::string(root) + "\"");
}

clsStatus MissingValue(std::string_view keyPath, std::string_view valueName) {
    return clsStatus::Error(
        clsStatus::Code::NotFound,
        "no value \"" + std::string(valueName) + "\" in \"" + std::string(keyPath) + "\"");
}

clsStatus MissingKey(std::string_view keyPath) {
    return clsStatus::Error(clsStatus::Code::NotFound, "no key \"" + std::string(keyPath) + "\"");
}

clsStatus BadKeyPath(std::string_view keyPath) {
    return clsStatus::Error(clsStatus::Code::Invalid, "bad key path \"" + std::string(keyPath) +
                                                          "\" (line break or NUL in a name)");
}

// The stored value; nullptr with status NotFound when the key (nullptr) or the value is missing.
const clsRegistryData* FindValue(const clsRegistryKey* key, std::string_view keyPath,
                                 std::string_view valueName, clsStatus& status) {
    const clsRegistryData* data = key != nullptr ? key->Values.Find(valueName) : nullptr;
    if (data == nullptr && status.IsOk()) {
        status = MissingValue(keyPath, valueName);
    }
    return data;
}

// A number reads as its decimal text and binary data as its hex text.
std::string ValueAsText(const clsRegistryData& data) {
    if (const auto* number = std::get_if<std::uint32_t>(&data)) {
        return std::to_string(*number);
    }
    if (const auto* bytes = std::get_if<std::vector<std::uint8_t>>(&data)) {
        return clsRegistryAccess::BinToStr(*bytes);
    }
    return std::get<std::string>(data);
}

// A number, or a text that holds a decimal number (blanks around it allowed).
std::optional<std::uint32_t> ValueAsNumber(const clsRegistryData& data) {
    if (const auto* number = std::get_if<std::uint32_t>(&data)) {
        return *number;
    }
    const auto* text = std::get_if<std::string>(&data);
    if (text == nullptr) {
        return std::nullopt;
    }
    const std::size_t start = text->find_first_not_of(' ');
    const std::size_t end = text->find_last_not_of(' ') + 1;
    std::uint32_t value = 0;
    const char* last = text->data() + end;
    if (start == std::string::npos ||
        std::from_chars(text->data() + start, last, value).ptr != last) {
        return std::nullopt;
    }
    return value;
}

clsStatus SetValue(clsRegistryDocument& document, std::string_view keyPath,
                   std::string_view valueName, clsRegistryData data) {
    clsRegistryKey* key = document.MakeKey(keyPath);
    if (key == nullptr) {
        return BadKeyPath(keyPath);
    }
    key->Values.Set(valueName, std::move(data));
    return clsStatus::Ok();
}

// Names of a key's sub-keys or values, in creation order.
template <typename List>
std::vector<std::string> Names(const List& list) {
    std::vector<std::string> names;
    for (const auto& entry : list.Entries()) {
        names.push_back(entry.Name);
    }
    return names;
}

clsStatus WrongType(std::string_view valueName, std::string_view wanted) {
    return clsStatus::Error(clsStatus::Code::Invalid, "value \"" + std::string(valueName) +
                                                          "\" is not " + std::string(wanted));
}

}  // namespace

std::optional<RegistryRoot> ParseRegistryRoot(std::string_view name) {
    for (const clsRootName& root : kRoots) {
        if (EqualsNoCase(name, root.Full) || EqualsNoCase(name, root.Short)) {
            return root.Root;
        }
    }
    return std::nullopt;
}

std::string_view RegistryRootName(RegistryRoot root) {
    for (const clsRootName& entry : kRoots) {
        if (entry.Root == root) {
            return entry.Full;
        }
    }
    return {};
}

clsRegistryLocations clsRegistryLocations::FromEnvironment() {
    try {
        const char* configHome = std::getenv("XDG_CONFIG_HOME");
        // The XDG rules ignore a relative value.
        std::filesystem::path config = configHome != nullptr ? configHome : "";
        if (!config.is_absolute()) {
            config = HomeFolder() / ".config";
        }
        clsRegistryLocations locations = InFolder(config / "corvel");
        locations.Files[RegistryRoot::LocalMachine] = "/etc/corvel/registry.reg";
        return locations;
    } catch (...) {
        return {};  // every root then reports that it has no file
    }
}

clsRegistryLocations clsRegistryLocations::InFolder(const std::filesystem::path& folder) {
    try {
        clsRegistryLocations locations;
        for (const clsRootName& root : kRoots) {
            locations.Files[root.Root] =
                root.Root == RegistryRoot::CurrentUser
                    ? folder / "registry.reg"
                    : folder / ("registry-" + std::string(root.Short) + ".reg");
        }
        return locations;
    } catch (...) {
        return {};
    }
}

clsRegistryAccess::clsRegistryAccess(clsRegistryLocations locations)
    : mLocations(std::move(locations)) {}

template <typename Result, typename Body>
Result clsRegistryAccess::Guard(std::string_view procedure, Result neutral, Body body) {
    mLastError = clsStatus::Ok();
    mNotice = clsStatus::Ok();
    clsStatus status = clsStatus::Ok();
    try {
        Result result = body(status);
        if (status.IsOk() && mNotice.IsOk()) {
            return result;
        }
        if (status.IsOk()) {
            status = mNotice;
            neutral = std::move(result);  // the work was done; only the notice is reported
        } else if (!mNotice.IsOk()) {
            // A damaged file is the likely reason why a value is missing: say both.
            status = clsStatus::Error(status.GetCode(),
                                      status.Description() + "; " + mNotice.Description(),
                                      status.Number());
        }
    } catch (const std::exception& ex) {
        status = clsStatus::Error(clsStatus::Code::Io, ex.what());
    } catch (...) {
        status = clsStatus::Error(clsStatus::Code::Io, "unknown exception");
    }
    mLastError = clsStatus::Error(
        status.GetCode(),
        "clsRegistryAccess->" + std::string(procedure) + ": " + status.Description(),
        status.Number());
    return neutral;
}

clsStatus clsRegistryAccess::Read(std::string_view root,
                                  std::unique_ptr<clsRegistryDocument>& document) {
    const std::optional<clsRootFile> file = FindRootFile(mLocations, root);
    if (!file) {
        return NoRootFile(root);
    }
    document = std::make_unique<clsRegistryDocument>(file->Root);
    clsRegistryFile registryFile(file->Path, file->Root);
    clsStatus status = registryFile.Read(*document);
    mNotice = registryFile.Problems();
    return status;
}

clsStatus clsRegistryAccess::Change(std::string_view root,
                                    const std::function<clsStatus(clsRegistryDocument&)>& edit) {
    const std::optional<clsRootFile> file = FindRootFile(mLocations, root);
    if (!file) {
        return NoRootFile(root);
    }
    clsRegistryFile registryFile(file->Path, file->Root);
    clsStatus status = registryFile.Update(edit);
    mNotice = registryFile.Problems();
    return status;
}

bool clsRegistryAccess::CreateKey(std::string_view root, std::string_view keyPath) {
    return Guard("CreateKey", false, [&](clsStatus& status) {
        status = Change(root, [&](clsRegistryDocument& document) {
            return document.MakeKey(keyPath) != nullptr ? clsStatus::Ok() : BadKeyPath(keyPath);
        });
        return status.IsOk();
    });
}

// A key that exists is opened, not made again, so both members are the same here.
bool clsRegistryAccess::CreateKeyIfDoesntExist(std::string_view root, std::string_view keyPath) {
    return CreateKey(root, keyPath);
}

bool clsRegistryAccess::KillKey(std::string_view root, std::string_view keyPath) {
    return Guard("KillKey", false, [&](clsStatus& status) {
        status = Change(root, [&](clsRegistryDocument& document) {
            const auto names = clsRegistryKey::SplitPath(keyPath);
            if (names && names->empty()) {
                return clsStatus::Error(clsStatus::Code::Invalid, "a root cannot be deleted");
            }
            return document.RemoveKey(keyPath) ? clsStatus::Ok() : MissingKey(keyPath);
        });
        return status.IsOk();
    });
}

const clsRegistryKey* clsRegistryAccess::ReadKey(std::string_view root, std::string_view keyPath,
                                                 std::unique_ptr<clsRegistryDocument>& document,
                                                 clsStatus& status) {
    status = Read(root, document);
    return status.IsOk() ? document->FindKey(keyPath) : nullptr;
}

bool clsRegistryAccess::KeyExists(std::string_view root, std::string_view keyPath) {
    return Guard("KeyExists", false, [&](clsStatus& status) {
        std::unique_ptr<clsRegistryDocument> document;
        return ReadKey(root, keyPath, document, status) != nullptr;
    });
}

bool clsRegistryAccess::HaveSubkey(std::string_view root, std::string_view keyPath) {
    return !EnumKeys(root, keyPath).empty();
}

std::vector<std::string> clsRegistryAccess::EnumKeys(std::string_view root,
                                                     std::string_view keyPath) {
    return Guard("EnumKeys", std::vector<std::string>(), [&](clsStatus& status) {
        std::unique_ptr<clsRegistryDocument> document;
        const clsRegistryKey* key = ReadKey(root, keyPath, document, status);
        return key != nullptr ? Names(key->Subkeys) : std::vector<std::string>();
    });
}

std::vector<std::string> clsRegistryAccess::EnumValues(std::string_view root,
                                                       std::string_view keyPath) {
    return Guard("EnumValues", std::vector<std::string>(), [&](clsStatus& status) {
        std::unique_ptr<clsRegistryDocument> document;
        const clsRegistryKey* key = ReadKey(root, keyPath, document, status);
        return key != nullptr ? Names(key->Values) : std::vector<std::string>();
    });
}

bool clsRegistryAccess::WriteString(std::string_view root, std::string_view keyPath,
                                    std::string_view valueName, std::string_view value) {
    return Guard("WriteString", false, [&](clsStatus& status) {
        status = Change(root, [&](clsRegistryDocument& document) {
            return SetValue(document, keyPath, valueName, std::string(value));
        });
        return status.IsOk();
    });
}

std::string clsRegistryAccess::ReadString(std::string_view root, std::string_view keyPath,
                                          std::string_view valueName,
                                          std::string_view defaultValue) {
    return Guard("ReadString", std::string(defaultValue), [&](clsStatus& status) {
        std::unique_ptr<clsRegistryDocument> document;
        const clsRegistryKey* key = ReadKey(root, keyPath, document, status);
        const clsRegistryData* data = FindValue(key, keyPath, valueName, status);
        return data != nullptr ? ValueAsText(*data) : std::string();
    });
}

bool clsRegistryAccess::WriteDWORD(std::string_view root, std::string_view keyPath,
                                   std::string_view valueName, std::uint32_t value) {
    return Guard("WriteDWORD", false, [&](clsStatus& status) {
        status = Change(root, [&](clsRegistryDocument& document) {
            return SetValue(document, keyPath, valueName, value);
        });
        return status.IsOk();
    });
}

std::uint32_t clsRegistryAccess::ReadDWORD(std::string_view root, std::string_view keyPath,
                                           std::string_view valueName, std::uint32_t defaultValue) {
    return Guard("ReadDWORD", defaultValue, [&](clsStatus& status) {
        std::unique_ptr<clsRegistryDocument> document;
        const clsRegistryKey* key = ReadKey(root, keyPath, document, status);
        const clsRegistryData* data = FindValue(key, keyPath, valueName, status);
        std::optional<std::uint32_t> number = data != nullptr ? ValueAsNumber(*data) : 0U;
        if (!number) {
            status = WrongType(valueName, "a number");
        }
        return number.value_or(0U);
    });
}

bool clsRegistryAccess::WriteBinary(std::string_view root, std::string_view keyPath,
                                    std::string_view valueName, std::string_view hexText) {
    return Guard("WriteBinary", false, [&](clsStatus& status) {
        if (!isBinValid(hexText)) {
            status = clsStatus::Error(clsStatus::Code::Invalid,
                                      "not hex text \"" + std::string(hexText) + "\"");
            return false;
        }
        status = Change(root, [&](clsRegistryDocument& document) {
            return SetValue(document, keyPath, valueName, StrToBin(hexText));
        });
        return status.IsOk();
    });
}

std::string clsRegistryAccess::ReadBinary(std::string_view root, std::string_view keyPath,
                                          std::string_view valueName,
                                          std::string_view defaultValue) {
    return Guard("ReadBinary", std::string(defaultValue), [&](clsStatus& status) {
        std::unique_ptr<clsRegistryDocument> document;
        const clsRegistryKey* key = ReadKey(root, keyPath, document, status);
        const clsRegistryData* data = FindValue(key, keyPath, valueName, status);
        const auto* bytes = std::get_if<std::vector<std::uint8_t>>(data);
        if (data != nullptr && bytes == nullptr) {
            status = WrongType(valueName, "binary");
        }
        return bytes != nullptr ? BinToStr(*bytes) : std::string();
    });
}

bool clsRegistryAccess::KillValue(std::string_view root, std::string_view keyPath,
                                  std::string_view valueName) {
    return Guard("KillValue", false, [&](clsStatus& status) {
        status = Change(root, [&](clsRegistryDocument& document) {
            clsRegistryKey* key = document.FindKey(keyPath);
            return key != nullptr && key->Values.Remove(valueName)
                       ? clsStatus::Ok()
                       : MissingValue(keyPath, valueName);
        });
        return status.IsOk();
    });
}

bool clsRegistryAccess::ValueExists(std::string_view root, std::string_view keyPath,
                                    std::string_view valueName) {
    return Guard("ValueExists", false, [&](clsStatus& status) {
        std::unique_ptr<clsRegistryDocument> document;
        const clsRegistryKey* key = ReadKey(root, keyPath, document, status);
        return key != nullptr && key->Values.Find(valueName) != nullptr;
    });
}

bool clsRegistryAccess::ExportToReg(const std::filesystem::path& file, std::string_view fullKey) {
    return Guard("ExportToReg", false, [&](clsStatus& status) {
        const std::string_view key =
            fullKey.substr(std::min(fullKey.find_first_not_of('\\'), fullKey.size()));
        const std::size_t slash = std::min(key.find('\\'), key.size());
        std::unique_ptr<clsRegistryDocument> document;
        status = Read(key.substr(0, slash), document);
        std::optional<std::string> text;
        if (status.IsOk()) {
            text = document->ToText(key.substr(std::min(slash + 1, key.size())));
            status = text ? clsRegistryFile::MakeFolders(file.parent_path()) : MissingKey(fullKey);
        }
        if (status.IsOk()) {
            status = clsRegistryFile::WriteAtomically(file, *text, 0644);
        }
        return status.IsOk();
    });
}

bool clsRegistryAccess::ImportFromReg(const std::filesystem::path& file) {
    return Guard("ImportFromReg", false, [&](clsStatus& status) {
        clsRegistryFile::clsContents contents;
        status = clsRegistryFile::ReadText(file, contents);
        if (status.IsOk() && !contents.Exists) {
            status = clsStatus::Error(clsStatus::Code::NotFound, "no file " + file.string());
        }
        if (!status.IsOk()) {
            return false;
        }
        const clsRegistryScript script = clsRegistryParser::Parse(contents.Text);
        if (!script.HasHeader) {
            status = clsStatus::Error(
                clsStatus::Code::Invalid,
                file.string() + " is not a REGEDIT4 file" +
                    (script.Problems.empty() ? std::string()
                                             : " (" + script.Problems.front().Reason + ")"));
            return false;
        }
        status = ApplyByRoot(script.Changes);
        if (!script.Problems.empty()) {
            mNotice = clsStatus::Error(
                clsStatus::Code::Corrupt,
                file.string() + ": " + clsRegistryParser::Describe(script.Problems));
        }
        return status.IsOk();
    });
}

clsStatus clsRegistryAccess::ApplyByRoot(const std::vector<clsRegistryChange>& changes) {
    clsStatus result = clsStatus::Ok();
    for (const clsRootName& root : kRoots) {
        std::vector<const clsRegistryChange*> ofRoot;
        for (const clsRegistryChange& change : changes) {
            if (change.Root == root.Root) {
                ofRoot.push_back(&change);
            }
        }
        if (ofRoot.empty()) {
            continue;
        }
        const clsStatus status = Change(root.Full, [&ofRoot](clsRegistryDocument& document) {
            for (const clsRegistryChange* change : ofRoot) {
                document.Apply(*change);
            }
            return clsStatus::Ok();
        });
        if (result.IsOk()) {
            result = status;  // the first failure is the one reported; other roots still go on
        }
    }
    return result;
}

std::vector<std::uint8_t> clsRegistryAccess::StrToBin(std::string_view hexText) {
    std::vector<std::uint8_t> bytes;
    if (!isBinValid(hexText)) {
        return bytes;
    }
    try {
        for (std::size_t i = 0; i + 1 < hexText.size(); i += 3) {
            bytes.push_back(static_cast<std::uint8_t>(kHexDigits.find(hexText[i]) * 16 +
                                                      kHexDigits.find(hexText[i + 1])));
        }
    } catch (...) {
        bytes.clear();  // out of memory: the neutral answer
    }
    return bytes;
}

std::string clsRegistryAccess::BinToStr(std::span<const std::uint8_t> bytes) {
    std::string text;
    try {
        text.reserve(bytes.size() * 3);
        for (const std::uint8_t byte : bytes) {
            if (!text.empty()) {
                text += ' ';
            }
            text += kHexDigits[byte >> 4];
            text += kHexDigits[byte & 0x0F];
        }
    } catch (...) {
        text.clear();
    }
    return text;
}

bool clsRegistryAccess::isBinValid(std::string_view hexText) {
    // "AB CD EF": a digit, a digit, a blank, and so on; the last pair has no blank after it.
    for (std::size_t i = 0; i < hexText.size(); ++i) {
        const bool wantBlank = i % 3 == 2;
        if (wantBlank ? hexText[i] != ' ' : kHexDigits.find(hexText[i]) == std::string_view::npos) {
            return false;
        }
    }
    return hexText.empty() || hexText.size() % 3 == 2;
}
