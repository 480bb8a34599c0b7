// Token corpora: tokenising, counting, and their round trip through a real Rules.mdb.
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "database/RulesDatabaseTestSupport.h"
#include "spam/clsCorpus.h"

namespace {

using Counts = std::map<std::string, std::int32_t>;

Counts AllCounts(const clsCorpus& corpus) {
    Counts counts;
    corpus.ForEachToken([&counts](std::string_view token, std::int32_t count) {
        counts.emplace(std::string(token), count);
    });
    return counts;
}

using CorpusTest = clsOpenDatabaseTest;

}  // namespace

TEST(Corpus, ProcessDataCountsEveryTokenTheTokeniserFinds) {
    struct Case {
        std::string_view Text;
        Counts Expected;
    };
    for (const Case& c : {
             Case{"The the THE and To of but", {}},
             Case{"a b c 1 2 3", {}},
             Case{"Viagra viagra VIAGRA", {{"viagra", 3}}},
             // "</body>" gives "body>": a token cannot start with "/".
             Case{"<html><body>hi</body>", {{"<html>", 1}, {"<body>", 1}, {"hi", 1}, {"body>", 1}}},
             Case{"[tag] it's e-mail $5", {{"[tag]", 1}, {"it's", 1}, {"e-mail", 1}}},
             Case{"cost£5 pounds", {{"cost£5", 1}, {"pounds", 1}}},
             Case{"Corpus_Version", {{"corpus", 1}, {"version", 1}}},
             Case{"\xFF\xFEok\x80 r\xE9sum\xE9", {{"ok", 1}, {"sum", 1}}},
         }) {
        SCOPED_TRACE(c.Text);
        clsTestEnvironment env;
        clsCorpus corpus("Good_Corpus", env.Log);
        corpus.ProcessData(c.Text);
        EXPECT_EQ(AllCounts(corpus), c.Expected);
        EXPECT_EQ(corpus.TokenCount(), c.Expected.size());
    }
}

TEST_F(CorpusTest, SavedCorpusLoadsBackWithItsVersionAndAFailedSaveChangesNothing) {
    clsCorpus corpus("Good_Corpus", Log);
    corpus.ProcessData("<html> cost£5 Hello hello [x] it's");
    corpus.AddToken("comma,token");
    corpus.SetCorpusVersion(7);
    const std::filesystem::path folder = Folder.Path() / "data";
    std::filesystem::create_directories(folder);
    ASSERT_TRUE(corpus.SaveCorpusDB(Db, folder / "", "corpus_good.csv"));
    // Saved twice: the second save replaces the rows instead of adding to them.
    ASSERT_TRUE(corpus.SaveCorpusDB(Db, folder, "corpus_good.csv"));

    const std::vector<std::string> lines = ReadLines(folder / "corpus_good.csv");
    ASSERT_GE(lines.size(), 2u);
    EXPECT_EQ(lines[0], "Token, Count\r");
    EXPECT_EQ(lines[1], "Corpus_Version, 7\r");
    EXPECT_EQ(Scalar("SELECT COUNT(*) FROM Good_Corpus"), std::to_string(corpus.TokenCount() + 1));
    EXPECT_EQ(Scalar("SELECT typeof(Count) FROM Good_Corpus WHERE Token = \"HELLO\""), "integer");

    clsCorpus loaded("Good_Corpus", Log);
    loaded.AddToken("stale");
    ASSERT_TRUE(loaded.LoadCorpusDB(Db));
    EXPECT_EQ(AllCounts(loaded), AllCounts(corpus));
    EXPECT_EQ(loaded.CorpusVersion(), 7);
    EXPECT_EQ(loaded.Count("hello"), 2);

    // A save failing half-way leaves the table as it was and no transaction open.
    BuildRaw(
        {"CREATE TRIGGER refuse BEFORE INSERT ON Good_Corpus WHEN NEW.Token = 'poison' "
         "BEGIN SELECT RAISE(ABORT, 'refused'); END"});
    corpus.ProcessData("poison");
    EXPECT_FALSE(corpus.SaveCorpusDB(Db, folder, "corpus_good.csv"));
    EXPECT_NE(LogText().find("Corpus->SaveCorpusDB"), std::string::npos);
    ASSERT_TRUE(loaded.LoadCorpusDB(Db));
    EXPECT_EQ(loaded.TokenCount(), corpus.TokenCount() - 1);
    EXPECT_EQ(loaded.Count("poison"), 0);
    Run("DROP TRIGGER refuse");
    EXPECT_TRUE(corpus.SaveCorpusDB(Db, folder, "corpus_good.csv"));
}
