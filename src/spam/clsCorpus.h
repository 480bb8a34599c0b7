#pragma once
// clsCorpus: one bag of words, the number of times each token was seen in the mail trained into
// it, with the corpus's version stamp. The spam filter holds four (good and bad bodies and
// headers). A corpus lives in the rules database table of its name and travels as a text file
// ("Token, Count" then "token, count" lines, CRLF, the version as the line "Corpus_Version, n"),
// which is also how it is bulk-loaded into the table.
//
// Tokens compare without regard to ASCII case: AddToken stores them lower-cased, so "Viagra" and
// "viagra" count together and the classifier's lower-case lookups find them; the ignored words
// ("and", "the", ...) match in any case too.
//
// Owned by the spam filter; event-loop thread only (one instance per thread otherwise).
// Failure: loads and saves log through AddErrorLog under "Corpus-><Member>" and return false,
// keeping what was read so far; nothing throws.

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/clsLogFile.h"
#include "spam/clsFlatTable.h"

class classRulesDatabase;

class clsCorpus {
public:
    static constexpr std::string_view kTokenPattern = R"(([a-zA-Z\[<][a-zA-Z0-9-'\$£\]]+>*))";
    static constexpr std::string_view kVersionToken = "Corpus_Version";

    // name: the table's name ("Good_Corpus", ...).
    clsCorpus(std::string name, clsLogFile& log);

    const std::string& Name() const { return mName; }

    // Counts token once more, blanks trimmed; an ignored word is not counted.
    void AddToken(std::string_view token);
    // Counts every token of text.
    void ProcessData(std::string_view text);
    // Counts every token of a text file; false when it cannot be read.
    bool ProcessFile(const std::filesystem::path& file);
    void ClearDictionary() { mCounts.Clear(); }

    // How often token was seen, any case; 0 when never.
    std::int32_t Count(std::string_view token) const;
    // Distinct tokens held (the version is none).
    std::size_t TokenCount() const { return mCounts.Size(); }
    std::int32_t CorpusVersion() const { return mCorpusVersion; }
    void SetCorpusVersion(std::int32_t version) { mCorpusVersion = version; }

    // Replaces the counts and version with the rows of the table ("SELECT * FROM " + name). A
    // missing table leaves an empty corpus of version 0 (and false).
    bool LoadCorpusDB(classRulesDatabase& db);
    // Reads the table as LoadCorpusDB does, but hands each token row to add (the token
    // lower-cased, and its count) instead of counting it here: sets the version and leaves the
    // counts as they are. For a reader that keeps the counts in a table of its own.
    using TokenSink = std::function<void(std::string_view token, std::int64_t count)>;
    bool ReadCorpusDB(classRulesDatabase& db, const TokenSink& add);
    // What one more row of a token adds to the count held: the sum, kept within 32 bits.
    static void AddCount(std::int32_t& held, std::int64_t count);
    // Empties the counts and reads only the version row of the table: what clearing a saved
    // corpus needs. A missing table leaves version 0 (and false).
    bool LoadCorpusVersionDB(classRulesDatabase& db);
    // Writes the corpus file, tokens in ascending order after the version line.
    bool SaveAsCorpusDB(const std::filesystem::path& file);
    // Writes <dataFolder>/<fileName> and replaces the table's rows with the file's in one
    // transaction; the table is unchanged when any step fails.
    bool SaveCorpusDB(classRulesDatabase& db, const std::filesystem::path& dataFolder,
                      std::string_view fileName);
    // Replaces the counts with those of an older corpus file, "token , count" per line.
    bool LoadCorpus(const std::filesystem::path& file);

    // Calls f(std::string_view token, std::int32_t count) for every token, in no set order.
    template <class F>
    void ForEachToken(F f) const {
        mCounts.ForEach(f);
    }

private:
    // Adds count to token's entry (saturating), or sets the version for the version row.
    void Merge(std::string_view token, std::int64_t count);
    // Merge's work, the lower-cased token and its count handed to add.
    void Merge(std::string_view token, std::int64_t count, const TokenSink& add);
    // The TokenSink that counts into this corpus.
    TokenSink CountHere();
    // Reads the version and merges through add the rows the query gives (Token and Count
    // fields).
    bool LoadRows(classRulesDatabase& db, const std::string& query, std::string_view member,
                  const TokenSink& add);
    void Fail(std::string_view member, const clsStatus& status) const;

    std::string mName;
    clsLogFile& mLog;
    clsFlatTable<std::int32_t> mCounts;  // keys lower-cased
    std::string mKey;                    // Merge's lower-cased key, kept to save allocations
    // ProcessData's lower-cased text and its tokens, kept likewise.
    std::string mLowered;
    std::vector<clsFlatTable<std::int32_t>::clsHashedKey> mRun;
    std::int32_t mCorpusVersion = 0;
};
