#pragma once
// clsMailItemState: what the handles of one clsMailItem share: where the item is, its parsed
// message, the changes waiting for Save, and a new item's own fields. Private to clsMailItem.

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "mailhost/clsMailFolder.h"
#include "mailhost/clsMailNamespace.h"
#include "mailhost/mime/clsMimeMessage.h"

struct clsMailItemState {
    clsMailNamespace* Namespace = nullptr;
    std::optional<clsMailFolder> Folder;  // none for a new item
    clsItemEntry Entry;
    std::optional<clsMimeMessage> Parsed;

    std::optional<bool> PendingUnRead;
    std::optional<Importance> PendingImportance;
    std::map<std::string, clsUserPropertyValue> PendingProperties;

    // A new item's own fields.
    std::string Subject, Body, HTMLBody;
    std::vector<clsMailAddress> Recipients;
    std::optional<std::string> Forwarded;                      // the forwarded message's bytes
    std::vector<std::pair<std::string, std::string>> Headers;  // extra header fields

    clsMailStore& Store() const { return Folder->Store(); }
    clsLogFile& Log() const { return Namespace->Log(); }
};
