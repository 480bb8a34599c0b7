// The user properties file as two processes see it: one writing (in batches or not), another
// reading the same file through a store of its own.
#include <gtest/gtest.h>

#include <string>

#include "mailhost/clsUserPropertyBatch.h"
#include "mailhost/clsUserPropertyStore.h"
#include "support/TestSupport.h"

namespace {

const clsUserPropertyValue kMark{UserPropertyType::Number, "1"};

std::string Key(std::size_t n) { return "item" + std::to_string(n); }

struct UserPropertyStoreTest : testing::Test {
    void SetUp() override {
        ASSERT_TRUE(Writer.Open(Folder.Path() / "properties.sqlite"));
        ASSERT_TRUE(Reader.Open(Folder.Path() / "properties.sqlite"));
    }
    // How many of the items 0..count-1 carry the mark, as the other process reads the file.
    std::size_t MarkedForReader(std::size_t count) {
        std::size_t marked = 0;
        for (std::size_t n = 0; n < count; ++n) {
            marked += Reader.Find(Key(n), "Mark").has_value() ? 1 : 0;
        }
        return marked;
    }

    clsTempFolder Folder;
    clsUserPropertyStore Writer;
    clsUserPropertyStore Reader;
};

}  // namespace

TEST_F(UserPropertyStoreTest, ABatchCommitsEveryFewHundredWritesAndAtItsEnd) {
    constexpr std::size_t kWrites = clsUserPropertyStore::kBatchWrites * 2 + 7;
    {
        clsUserPropertyBatch batch(Writer);
        for (std::size_t n = 0; n < kWrites; ++n) {
            ASSERT_TRUE(Writer.Set(Key(n), "Mark", kMark));
            // The writer reads its own uncommitted writes, in any case of the name.
            ASSERT_TRUE(Writer.Find(Key(n), "MARK").has_value());
        }
        // A crash now would lose only the writes since the last commit.
        EXPECT_EQ(MarkedForReader(kWrites), clsUserPropertyStore::kBatchWrites * 2);
        EXPECT_TRUE(batch.End());
    }
    EXPECT_EQ(MarkedForReader(kWrites), kWrites);
}

TEST_F(UserPropertyStoreTest, OnlyTheOutermostOfNestedBatchesCommitsAndClosingCommitsToo) {
    {
        clsUserPropertyBatch outer(Writer);
        {
            clsUserPropertyBatch inner(Writer);
            ASSERT_TRUE(Writer.Set(Key(0), "Mark", kMark));
            ASSERT_TRUE(Writer.Rename(Key(0), Key(1)));
        }
        EXPECT_EQ(MarkedForReader(2), 0u);
    }
    EXPECT_FALSE(Reader.Find(Key(0), "Mark"));
    EXPECT_TRUE(Reader.Find(Key(1), "Mark"));

    clsUserPropertyBatch unfinished(Writer);
    ASSERT_TRUE(Writer.RemoveAll(Key(1)));
    ASSERT_TRUE(Writer.Set(Key(2), "Mark", kMark));
    Writer.Close();  // a store closed inside a batch keeps what the batch wrote
    EXPECT_FALSE(Reader.Find(Key(1), "Mark"));
    EXPECT_TRUE(Reader.Find(Key(2), "Mark"));
}

TEST_F(UserPropertyStoreTest, AnotherProcessesWritesAreSeenAtOnceOutsideABatchAndAfterIt) {
    ASSERT_TRUE(Reader.Set(Key(0), "Mark", kMark));
    EXPECT_TRUE(Writer.Find(Key(0), "Mark"));  // no batch: the file is checked at each look-up
    {
        clsUserPropertyBatch batch(Writer);
        ASSERT_TRUE(Reader.Set(Key(1), "Mark", kMark));
        // Inside a batch the memory copy of its start is trusted.
        EXPECT_FALSE(Writer.Find(Key(1), "Mark"));
    }
    EXPECT_TRUE(Writer.Find(Key(1), "Mark"));
}
