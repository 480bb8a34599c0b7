#pragma once
// Names in a Maildir++ tree: folder names as the directory names hold them (IMAP's modified
// UTF-7, so Dovecot and Courier read them alike), and message file names (unique part, then
// ":2," and the flags). Pure functions; any thread.

#include <optional>
#include <string>
#include <string_view>

namespace clsMaildirName {

// UTF-8 <-> modified UTF-7 ("Entwürfe" <-> "Entw&APw-rfe"). Decoding a malformed name gives
// nothing.
std::string EncodeFolderName(std::string_view utf8);
std::optional<std::string> DecodeFolderName(std::string_view mutf7);

// A name a folder may have here: not empty, no ".", "/" or "\" (Maildir++ and the folder paths
// use them as separators), no control characters.
bool IsValidFolderName(std::string_view name);

// The name before the info: "1700000000.M1P2.host,S=812:2,RS" -> "1700000000.M1P2.host,S=812".
std::string_view BaseName(std::string_view fileName);
// The unique part, without the size fields some servers add after ",":
// "1700000000.M1P2.host,S=812:2,RS" -> "1700000000.M1P2.host". An item's key.
std::string_view UniquePart(std::string_view fileName);
// The flags after ":2,", "" when there are none.
std::string_view Flags(std::string_view fileName);
// base + ":2," + flags sorted, as the Maildir rules want them.
std::string WithFlags(std::string_view base, std::string flags);
// A new unique name: seconds.MmicrosecondsPpidQcounter.host, with "/" and ":" in the host
// name escaped as Maildir wants.
std::string NewUniqueName();

}  // namespace clsMaildirName
