#include "spam/clsCorpus.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <fstream>
#include <limits>
#include <memory>
#include <optional>
#include <vector>

#include "database/classRulesDatabase.h"
#include "database/clsTextDriverImport.h"
#include "foundation/CommonHelpers.h"
#include "spam/clsTokenScanner.h"

namespace {

using Code = clsStatus::Code;

constexpr std::array<std::string_view, 10> kIgnoredWords = {"and", "to", "the", "for", "with",
                                                            "are", "in", "as",  "of",  "but"};
constexpr std::string_view kFileHeading = "Token, Count\r\n";
constexpr std::string_view kOldSeparator = " , ";
constexpr std::size_t kReadBlock = 1 << 16;

char LowerAscii(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }

bool EqualNoCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return LowerAscii(x) == LowerAscii(y); });
}

// Neither an ignored word nor the pseudo-token of the version row, which must stay the only row
// of its name.
bool IsCounted(std::string_view token) {
    return std::none_of(kIgnoredWords.begin(), kIgnoredWords.end(),
                        [token](std::string_view word) { return EqualNoCase(token, word); }) &&
           !EqualNoCase(token, clsCorpus::kVersionToken);
}

std::int32_t Saturated(std::int64_t count) {
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(
        count, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()));
}

// One "token, count" line. The tokeniser makes no cell that needs quotes; a token given to
// AddToken might.
void AppendFileLine(std::string& text, std::string_view token, std::int32_t count) {
    if (token.find_first_of(",\"\r\n") == std::string_view::npos) {
        text.append(token);
    } else {
        text.push_back('"');
        for (char c : token) {
            text.append(c == '"' ? 2 : 1, c);
        }
        text.push_back('"');
    }
    char number[16];
    const char* end = std::to_chars(number, number + sizeof number, count).ptr;
    text.append(", ").append(number, static_cast<std::size_t>(end - number)).append("\r\n");
}

std::optional<std::int64_t> WholeNumber(std::string_view text) {
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || text.empty()) {
        return std::nullopt;
    }
    return number;
}

}  // namespace

clsCorpus::clsCorpus(std::string name, clsLogFile& log) : mName(std::move(name)), mLog(log) {}

void clsCorpus::Fail(std::string_view member, const clsStatus& status) const {
    mLog.AddErrorLog("Corpus->" + std::string(member), status);
}

void clsCorpus::AddCount(std::int32_t& held, std::int64_t count) {
    held = Saturated(std::int64_t{held} + count);
}

void clsCorpus::Merge(std::string_view token, std::int64_t count) {
    Merge(token, count, CountHere());
}

void clsCorpus::Merge(std::string_view token, std::int64_t count, const TokenSink& add) {
    if (EqualNoCase(token, kVersionToken)) {
        mCorpusVersion = Saturated(count);
        return;
    }
    if (token.empty()) {
        return;
    }
    AsciiLowerInto(token, mKey);
    add(mKey, count);
}

void clsCorpus::AddToken(std::string_view token) {
    token = Trimmed(token);
    if (IsCounted(token)) {
        try {
            Merge(token, 1);
        } catch (const std::exception& error) {
            mLog.AddErrorLog("Corpus->AddToken", error);
        }
    }
}

// AddToken for every token, the text lower-cased whole (case moves no token's bounds) and its
// tokens counted as one run, so that their table slots are fetched ahead. No token holds a line
// break or a blank, so the whole text gives the same tokens as its lines do, untrimmed.
void clsCorpus::ProcessData(std::string_view text) {
    try {
        AsciiLowerInto(text, mLowered);
        mRun.clear();
        clsTokenScanner::ForEachToken(mLowered, [this](std::string_view token) {
            if (IsCounted(token)) {
                mRun.push_back({token, clsFlatTable<std::int32_t>::HashOf(token)});
            }
        });
        mCounts.AddEach(mRun, [](std::string_view, std::int32_t& held) {
            held = Saturated(std::int64_t{held} + 1);
        });
    } catch (const std::exception& error) {
        mLog.AddErrorLog("Corpus->ProcessData", error);
    }
}

bool clsCorpus::ProcessFile(const std::filesystem::path& file) {
    try {
        std::ifstream in(file, std::ios::binary);
        if (!in) {
            Fail("ProcessFile", clsStatus::Error(Code::NotFound, "cannot open " + file.string()));
            return false;
        }
        // Blocks cut after their last line break, so a token is never cut in two.
        std::string pending;
        std::vector<char> block(kReadBlock);
        while (in.read(block.data(), static_cast<std::streamsize>(block.size())) ||
               in.gcount() > 0) {
            pending.append(block.data(), static_cast<std::size_t>(in.gcount()));
            const std::size_t cut = pending.rfind('\n');
            if (cut != std::string::npos) {
                ProcessData(std::string_view(pending).substr(0, cut + 1));
                pending.erase(0, cut + 1);
            }
        }
        ProcessData(pending);
        if (in.bad()) {
            Fail("ProcessFile", clsStatus::Error(Code::Io, "cannot read " + file.string()));
            return false;
        }
        return true;
    } catch (const std::exception& error) {
        mLog.AddErrorLog("Corpus->ProcessFile", error);
        return false;
    }
}

std::int32_t clsCorpus::Count(std::string_view token) const {
    const std::int32_t* held = mCounts.Find(AsciiLower(token));
    return held ? *held : 0;
}

bool clsCorpus::LoadCorpusDB(classRulesDatabase& db) {
    mCounts.Clear();
    return LoadRows(db, "SELECT * FROM " + mName, "LoadCorpusDB", CountHere());
}

bool clsCorpus::ReadCorpusDB(classRulesDatabase& db, const TokenSink& add) {
    return LoadRows(db, "SELECT * FROM " + mName, "LoadCorpusDB", add);
}

// The version row's token matches in any case, as Merge takes it (the column folds case too).
bool clsCorpus::LoadCorpusVersionDB(classRulesDatabase& db) {
    mCounts.Clear();
    return LoadRows(
        db,
        "SELECT Token, Count FROM " + mName + " WHERE Token='" + std::string(kVersionToken) + "'",
        "LoadCorpusVersionDB", CountHere());
}

clsCorpus::TokenSink clsCorpus::CountHere() {
    return [this](std::string_view key, std::int64_t count) { AddCount(mCounts.Add(key), count); };
}

// The rows are read in place, one at a time: a corpus has tens of thousands, and every command
// that judges mail starts by reading them.
bool clsCorpus::LoadRows(classRulesDatabase& db, const std::string& query, std::string_view member,
                         const TokenSink& add) {
    try {
        mCorpusVersion = 0;
        int token = -1;
        int count = -1;
        bool fieldsMissing = false;
        const bool read = db.ForEachRow(query, [&](const clsDbRow& row) {
            if (token < 0) {
                token = row.FieldIndex("Token");
                count = row.FieldIndex("Count");
                fieldsMissing = token < 0 || count < 0;
            }
            if (!fieldsMissing) {
                Merge(row.Text(token), row.Long(count), add);
            }
            return !fieldsMissing;
        });
        if (!read) {
            Fail(member, clsStatus::Error(Code::NotFound, "cannot read table " + mName));
            return false;
        }
        if (fieldsMissing) {
            Fail(member, clsStatus::Error(Code::Invalid,
                                          "table " + mName + " has no Token or no Count field"));
            return false;
        }
        return true;
    } catch (const std::exception& error) {
        mLog.AddErrorLog("Corpus->" + std::string(member), error);
        return false;
    }
}

bool clsCorpus::SaveAsCorpusDB(const std::filesystem::path& file) {
    try {
        std::vector<std::pair<std::string_view, std::int32_t>> sorted;
        sorted.reserve(mCounts.Size());
        mCounts.ForEach(
            [&](std::string_view token, std::int32_t count) { sorted.emplace_back(token, count); });
        std::sort(sorted.begin(), sorted.end());
        std::string text(kFileHeading);
        text.reserve(text.size() + sorted.size() * 24);
        AppendFileLine(text, kVersionToken, mCorpusVersion);
        for (const auto& [token, count] : sorted) {
            AppendFileLine(text, token, count);
        }
        std::ofstream out(file, std::ios::binary | std::ios::trunc);
        if (!out.write(text.data(), static_cast<std::streamsize>(text.size())).flush()) {
            Fail("SaveAsCorpusDB", clsStatus::Error(Code::Io, "cannot write " + file.string()));
            return false;
        }
        return true;
    } catch (const std::exception& error) {
        mLog.AddErrorLog("Corpus->SaveAsCorpusDB", error);
        return false;
    }
}

bool clsCorpus::SaveCorpusDB(classRulesDatabase& db, const std::filesystem::path& dataFolder,
                             std::string_view fileName) {
    try {
        mLog.AddLog("Corpus->SaveCorpusDB: saving " + mName);
        if (!SaveAsCorpusDB(dataFolder / fileName)) {
            return false;
        }
        // One transaction, so a failed insert cannot leave the table emptied by the delete.
        long affected = 0;
        const bool began = db.RunCommand("BEGIN TRANSACTION", affected);
        bool saved =
            db.RunCommand("DELETE FROM " + mName, affected) &&
            db.RunCommand(clsTextDriverImport::ImportStatement(mName, dataFolder, fileName),
                          affected);
        if (began && saved) {
            saved = db.RunCommand("COMMIT TRANSACTION", affected);
        }
        if (began && !saved) {
            static_cast<void>(db.RunCommand("ROLLBACK TRANSACTION", affected));
        }
        if (!saved) {
            Fail("SaveCorpusDB", clsStatus::Error(Code::Database, "table " + mName + " kept"));
        }
        return saved;
    } catch (const std::exception& error) {
        mLog.AddErrorLog("Corpus->SaveCorpusDB", error);
        return false;
    }
}

bool clsCorpus::LoadCorpus(const std::filesystem::path& file) {
    try {
        std::ifstream in(file, std::ios::binary);
        if (!in) {
            Fail("LoadCorpus", clsStatus::Error(Code::NotFound, "cannot open " + file.string()));
            return false;
        }
        mCounts.Clear();
        mCorpusVersion = 0;
        for (std::string line; std::getline(in, line);) {
            const std::string_view text = Trimmed(line, " \t\r");
            const std::size_t separator = text.find(kOldSeparator);
            if (separator == std::string_view::npos) {
                continue;  // a heading or a stray line
            }
            const auto count = WholeNumber(Trimmed(text.substr(separator + kOldSeparator.size())));
            if (count) {
                Merge(Trimmed(text.substr(0, separator)), *count);
            }
        }
        return true;
    } catch (const std::exception& error) {
        mLog.AddErrorLog("Corpus->LoadCorpus", error);
        return false;
    }
}
