// Walking a real Maildir folder with each item's message parsed ahead.
#include <gtest/gtest.h>

#include "mailhost/MailhostTestSupport.h"
#include "spam/clsParsedItems.h"

TEST(ParsedItems, HandsOutEachItemWithItsOwnMessageInListOrderLeavingOutGoneOnes) {
    clsMailFixture f;
    f.OpenStore();
    const std::time_t second = std::time(nullptr) - 1000;
    constexpr int kItems = 300;  // more than are read ahead at once
    for (int n = 0; n < kItems; ++n) {
        const std::string name = "1000.M" + std::to_string(n) + ".host";
        Deliver(f.Root, name, TestMessage("n" + std::to_string(n)));
        SetTime(f.Root / "new" / name, second + n);
    }
    const clsMailFolder inbox = f.FolderAt("INBOX");
    std::vector<clsItemEntry> entries = f.Store->ListItems("INBOX");
    ASSERT_EQ(entries.size(), static_cast<std::size_t>(kItems));
    std::vector<std::string> expected;
    // Gone between the listing and the walk: the first, one in the middle, the last.
    for (int n = 0; n < kItems; ++n) {
        if (n == 0 || n == 133 || n == kItems - 1) {
            std::filesystem::remove(f.Root / "new" / ("1000.M" + std::to_string(n) + ".host"));
        } else {
            expected.push_back("n" + std::to_string(n));
        }
    }
    clsParsedItems items(inbox, entries);
    std::vector<std::string> subjects;
    while (const auto parsed = items.Next()) {
        EXPECT_EQ(parsed->Item.Subject(), parsed->Message.Subject());
        subjects.push_back(parsed->Message.Subject());
    }
    EXPECT_EQ(subjects, expected);
}
