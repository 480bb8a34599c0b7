// The classifier's arithmetic on a real rules database, trained with crafted texts.
#include <gtest/gtest.h>

#include <cmath>

#include "database/RulesDatabaseTestSupport.h"
#include "spam/clsSpamFilter.h"

namespace {

struct SpamFilterTest : clsDatabaseFixture, testing::Test {
    void SetUp() override {
        ASSERT_TRUE(Open());
        Filter = std::make_unique<clsSpamFilter>(Db, Log, Folder.Path());
        clsAntispamSettings settings;
        settings.UriBlockList = settings.IpBlockList = "";  // no network in these tests
        Filter->ApplySettings(settings);
    }
    // One message holding token `times` times; then empty messages up to `messages` in all.
    void Train(bool good, std::string_view token, int times, int messages = 1) {
        std::string body;
        for (int i = 0; i < times; ++i) {
            body.append(token).append(" ");
        }
        for (int i = 0; i < messages; ++i) {
            good ? Filter->AddGoodData(body, "") : Filter->AddBadData(body, "");
            body.clear();
        }
    }
    void PadTo(int goodMessages, int badMessages) {
        Train(true, "", 0, goodMessages - Filter->GoodCount());
        Train(false, "", 0, badMessages - Filter->BadCount());
    }
    std::unique_ptr<clsSpamFilter> Filter;
};

TEST_F(SpamFilterTest, TokenProbabilityFollowsTheWeightedCountsClampsAndBadOnlyLimits) {
    struct Case {
        const char* Token;
        int Good, Bad;
        double Expected;
    } cases[] = {
        {"badthree", 0, 3, -1},     // below the minimum of 5
        {"badfive", 0, 5, 0.9998},  // never in good mail, at most 10 in bad
        {"badten", 0, 10, 0.9998},     {"badeleven", 0, 11, 0.9999},
        {"goodtwo", 2, 0, -1},          // weighted 4, still below 5
        {"mixone", 1, 3, 0.6},          // 2/200 against 3/200: the weight makes 5
        {"goodthree", 3, 0, 0.011},     // computed 0, clamped up
        {"mostlybad", 1, 200, 0.99},    // computed 0.990099, clamped down
        {"capped", 150, 100, 1.0 / 3},  // the good ratio is capped at 1 (else 0.2)
    };
    for (const Case& c : cases) {
        Train(true, c.Token, c.Good, c.Good > 0 ? 1 : 0);
        Train(false, c.Token, c.Bad, c.Bad > 0 ? 1 : 0);
    }
    PadTo(200, 200);
    for (const Case& c : cases) {
        EXPECT_NEAR(Filter->TokenProbability(c.Token, false), c.Expected, 1e-9) << c.Token;
        EXPECT_EQ(Filter->TokenProbability(c.Token, true), -1) << c.Token << " (headers)";
    }
}

TEST_F(SpamFilterTest, SpamProbabilityCombinesTheTwentyMostDecisiveTokensTiesByText) {
    std::string text;
    for (char c = 'y'; c >= 'a'; --c) {  // 25 tokens of 0.9998, given in reverse order
        const std::string token = std::string("tok") + c + "z";
        Train(false, token, 5);
        text += token + " ";
    }
    Train(true, "plain", 6);     // 0.011: further from certainty than 0.9998 (.01100 > .00020)
    Train(true, "ordinary", 2);  // -1: ignored
    PadTo(20, 40);
    std::string debug;
    const double p = Filter->SpamProbability("Plain ORDINARY " + text, &debug);
    const double product = std::pow(0.9998, 20), inverse = std::pow(0.0002, 20);
    EXPECT_DOUBLE_EQ(p, product / (product + inverse));
    EXPECT_EQ(debug.find("plain"), std::string::npos) << "a 21st token was combined";
    EXPECT_NE(debug.find("tokaz 1.000\ntokbz 1.000\n"), std::string::npos) << debug;
    EXPECT_EQ(debug.find("tokuz"), std::string::npos) << "ties must go by token text";

    // With fewer decisive tokens the good one is combined, and each token counts once.
    debug.clear();
    const double mixed = Filter->SpamProbability("tokaz plain tokaz PLAIN", &debug);
    EXPECT_NEAR(mixed, 0.9998 * 0.011 / (0.9998 * 0.011 + 0.0002 * 0.989), 1e-12);
    EXPECT_EQ(debug, "tokaz 1.000\nplain 0.011\n");
    EXPECT_DOUBLE_EQ(Filter->SpamProbability("nothing known here"), 0.5);  // empty products
}

TEST_F(SpamFilterTest, TheVerdictNeedsTenMessagesOnEachSide) {
    Train(false, "winner", 30, 9);
    // With no good mail every token fails (and is logged): the empty products give 0.5.
    EXPECT_EQ(Filter->TokenProbability("winner", false), -1);
    EXPECT_NE(LogText().find("SpamFilter->TokenProbability"), std::string::npos);
    EXPECT_DOUBLE_EQ(Filter->SpamProbability("winner winner"), 0.5);
    PadTo(19, 9);
    std::string debug;
    EXPECT_EQ(Filter->TextSpamProbability("winner winner", "", &debug), 0);
    EXPECT_NE(debug.find("Not enough message data for Bayesian analysis."), std::string::npos);
    PadTo(19, 10);
    debug.clear();
    EXPECT_NEAR(Filter->TextSpamProbability("winner winner", "", &debug), 0.9999, 1e-9);
    EXPECT_EQ(debug.find("Not enough"), std::string::npos);
    EXPECT_EQ(Filter->SpamCount(), 1);
}

TEST_F(SpamFilterTest, HeaderRulesOverrideTheClassifierWhenTheirCriteriaHold) {
    PadTo(10, 10);
    Filter->SetSpamHeaders(true);
    ASSERT_TRUE(Filter->SetSpamHeaderRule("X-Spam-Score", ">= 5"));
    ASSERT_TRUE(Filter->SetSpamHeaderRule("X-Other", "0.5"));
    struct Case {
        const char* Headers;
        double Expected;
    } cases[] = {
        {"X-Spam-Score: 7.3 (high)\r\n\r\n", 1.0},
        {"X-Spam-Score: 4.9\r\n\r\n", 0.5},
        {"X-Spam-Score: -8.0\r\n\r\n", 1.0},  // the pattern takes no sign: read as 8.0
        {"X-Spam-Score: none\r\n\r\n", 0.5},  // logged, not parsed
        {"X-Other: 0.7\r\n\r\n", 1.0},        // a bare number means "at least"
    };
    for (const Case& c : cases) {
        EXPECT_DOUBLE_EQ(Filter->TextSpamProbability("", c.Headers, nullptr), c.Expected)
            << c.Headers;
    }
    EXPECT_NE(LogText().find("failed to parse spam score from \"none\""), std::string::npos);
}

TEST_F(SpamFilterTest, SavedCorporaComeBackAndClearingMovesEachSidesOwnVersionOn) {
    Train(false, "offer", 7, 12);
    Filter->AddGoodData("meeting", "X-Mailer: mutt mutt mutt mutt mutt\r\n\r\n");
    ASSERT_TRUE(Filter->SaveTokenDatabase());
    // A row written in other case (by hand, or by an older version) counts with its token.
    clsDatabaseFixture::Run("INSERT INTO Bad_Corpus (Token, Count) VALUES ('OFFER', 4)");
    {
        // Judging reads its table straight from the corpus tables, training loads the corpora
        // and makes the table again from them: both must give the same answers.
        clsSpamFilter again(Db, Log, Folder.Path());
        EXPECT_EQ(again.GoodCount(), 1);
        EXPECT_EQ(again.BadCount(), 12);
        EXPECT_DOUBLE_EQ(again.TokenProbability("offer", false), 0.9999);  // 7 + 4 bad
        EXPECT_DOUBLE_EQ(again.TokenProbability("mutt", true), 0.011);
        again.AddGoodData("", "");
        EXPECT_DOUBLE_EQ(again.TokenProbability("offer", false), 0.9999);
        again.AddGoodData("offer offer offer", "");
        // 3 good of 3 messages, weighted 6, caps the good ratio at 1: (11/12) / (1 + 11/12).
        EXPECT_NEAR(again.TokenProbability("offer", false), 11.0 / 23, 1e-12);
        EXPECT_EQ(again.BadTokenCount(), 1u);
    }
    clsDatabaseFixture::Run("UPDATE Bad_Corpus SET Count=8 WHERE Token='Corpus_Version'");
    {
        clsSpamFilter fresh(Db, Log, Folder.Path());  // nothing loaded before the clearing
        fresh.ClearData();
        EXPECT_EQ(fresh.BadCorpusVersion(), 9);
        fresh.AddGoodData("", "");
        fresh.AddBadData("offer", "");
        EXPECT_EQ(fresh.GoodTokenCount(), 0u);
        EXPECT_EQ(fresh.TokenProbability("mutt", true), -1);  // the headers are gone too
        fresh.Close();  // saves, since clearing changed the corpora
    }
    clsSpamFilter cleared(Db, Log, Folder.Path());
    EXPECT_EQ(cleared.GoodCorpusVersion(), 1);
    EXPECT_EQ(cleared.BadCorpusVersion(), 9);
    EXPECT_EQ(cleared.BadCount(), 1);
    EXPECT_EQ(Scalar("SELECT Count FROM Bad_Corpus WHERE Token='offer'"), "1");
    EXPECT_EQ(Scalar("SELECT COUNT(*) FROM Good_Headers WHERE Token<>'Corpus_Version'"), "0");
    EXPECT_EQ(Scalar("SELECT Count FROM Bad_Headers WHERE Token='Corpus_Version'"), "9");
}

TEST_F(SpamFilterTest, BalanceScalesTheSmallerSideUpToTheLargerOne) {
    Train(false, "rare", 3, 10);
    PadTo(40, 10);
    EXPECT_EQ(Filter->TokenProbability("rare", false), -1);
    Filter->Balance();
    EXPECT_EQ(Filter->BadCount(), 40);
    EXPECT_DOUBLE_EQ(Filter->TokenProbability("rare", false), 0.9999);  // 12 now, over 10
}

}  // namespace
