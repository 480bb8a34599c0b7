#pragma once
// clsParsedItems: walks a list of one folder's items and hands each out with its parsed message,
// for the filter's bulk work (training from a folder, judging a folder). Each message is read on
// the caller's thread a few items ahead and parsed on the worker of a clsParseAhead meanwhile, so
// parsing one message overlaps with tokenising and counting the one before.
// Owned by its caller for one walk; the caller's thread only (the store is used from it alone).
// Failure: an item whose message can no longer be read is left out; nothing throws but
// allocation failure.

#include <cstddef>
#include <deque>
#include <optional>
#include <vector>

#include "mailhost/clsMailFolder.h"
#include "mailhost/clsMailItem.h"
#include "mailhost/mime/clsMimeMessage.h"
#include "mailhost/mime/clsParseAhead.h"

class clsParsedItems {
public:
    struct clsParsedItem {
        clsMailItem Item;
        clsMimeMessage Message;
    };

    clsParsedItems(clsMailFolder folder, std::vector<clsItemEntry> entries)
        : mFolder(std::move(folder)), mEntries(std::move(entries)) {}

    // The next item of the list whose message could be read, in list order; nothing after the
    // last.
    std::optional<clsParsedItem> Next();

private:
    // Messages read ahead of the one handed out, for the parser to get on with while the caller
    // is busy for longer (making the judging table before the first verdict, say), within a
    // bound on the bytes held; at least one.
    static constexpr std::size_t kAhead = 256;
    static constexpr std::size_t kAheadBytes = std::size_t{32} << 20;

    clsMailFolder mFolder;
    std::vector<clsItemEntry> mEntries;
    std::size_t mNext = 0;  // the next entry to read
    struct clsRead {
        std::size_t Entry;
        std::size_t Bytes;
    };
    std::deque<clsRead> mRead;  // entries whose messages the parser holds, oldest first
    std::size_t mReadBytes = 0;
    clsParseAhead mParser;
};
