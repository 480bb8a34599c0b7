#pragma once
// clsMailItems: the items of one folder as they were when Items was read: a 1-based index and a
// count, with new arrivals at the end, and Restrict to narrow them with a filter. Cheap to copy.
// Event-loop thread only. Item() of an index out of range, or of an item that has gone since the
// listing, gives nothing.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "mailhost/clsMailFolder.h"

class clsMailItem;

class clsMailItems {
public:
    clsMailItems(clsMailFolder folder, std::vector<clsItemEntry> entries)
        : mFolder(std::move(folder)), mEntries(std::move(entries)) {}

    long Count() const { return static_cast<long>(mEntries.size()); }
    std::optional<clsMailItem> Item(long index) const;

    // Filters of the form [Name] = "value" or [Name] <> "value", joined by AND: Name is a user
    // property or Subject, a missing property reads as "". A filter it cannot read gives no
    // items (and says so in the log through the namespace).
    clsMailItems Restrict(std::string_view filter) const;
    // value as a filter's quoted text: in quotes, with each quote inside doubled.
    static std::string Quoted(std::string_view value);

    const clsMailFolder& Folder() const { return mFolder; }

private:
    clsMailFolder mFolder;
    std::vector<clsItemEntry> mEntries;
};
