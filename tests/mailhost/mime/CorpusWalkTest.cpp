#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "mailhost/mime/clsMimeMessage.h"
#include "support/TestSupport.h"

namespace {

constexpr std::size_t kCorpusMessages = 6046;  // the SpamAssassin public corpus

// Real mail, all of it: every message parses, and nearly all give a sender and something to read.
// scripts/test.sh makes the corpus tree and names it in CORVEL_CORPUS_MAILDIR.
TEST(CorpusWalk, ReadsTheSpamAssassinCorpus) {
    const char* root = std::getenv("CORVEL_CORPUS_MAILDIR");
    if (root == nullptr || !std::filesystem::is_directory(root)) {
        GTEST_SKIP() << "no corpus: make it with bench/make-corpus-maildir.sh (needs npm) and set "
                        "CORVEL_CORPUS_MAILDIR to it";
    }
    std::size_t files = 0, complete = 0;
    std::string incomplete;  // the first few, for the failure message
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
        const std::string folder = entry.path().parent_path().filename().string();
        if (!entry.is_regular_file() || (folder != "cur" && folder != "new")) {
            continue;
        }
        ++files;
        const clsMimeMessage message = clsMimeMessage::Parse(ReadWholeFile(entry.path()));
        if (message.Ok() && !message.Sender().Address.empty() &&
            !(message.Subject().empty() && message.Body().empty())) {
            ++complete;
        } else if (incomplete.size() < 2000) {
            incomplete += "\n  " + entry.path().filename().string() + ": " + message.Error();
        }
    }
    EXPECT_EQ(files, kCorpusMessages);
    EXPECT_GE(complete * 1000, files * 999) << "incomplete:" << incomplete;
}

}  // namespace
