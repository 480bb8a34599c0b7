#pragma once
// Shared pieces of the tests: a temporary folder that removes itself, and a settings store, log
// and headless user interface living in one.

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/clsLogFile.h"
#include "foundation/clsRegistryAccess.h"
#include "foundation/clsSettings.h"
#include "foundation/clsUserInterface.h"

class clsTempFolder {
public:
    clsTempFolder() {
        const char* base = std::getenv("TMPDIR");
        std::string pattern = std::string(base && *base ? base : "/tmp") + "/corvel-test-XXXXXX";
        mPath = ::mkdtemp(pattern.data());
    }
    ~clsTempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(mPath, ignored);
    }
    clsTempFolder(const clsTempFolder&) = delete;
    clsTempFolder& operator=(const clsTempFolder&) = delete;
    const std::filesystem::path& Path() const { return mPath; }

private:
    std::filesystem::path mPath;
};

inline std::string ReadWholeFile(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

inline void WriteWholeFile(const std::filesystem::path& file, std::string_view text) {
    std::ofstream(file, std::ios::binary) << text;
}

// The entries of a folder in name order (Maildir file names sort by delivery).
inline std::vector<std::filesystem::path> SortedFiles(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

inline std::vector<std::string> ReadLines(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

// A settings store, a log ("Corvel.log", every level written) and a headless user interface in
// a temporary folder.
struct clsTestEnvironment {
    clsTempFolder Folder;
    clsRegistryAccess Registry{clsRegistryLocations::InFolder(Folder.Path() / "config")};
    clsSettings Settings{Registry};
    clsLogFile Log{Settings, Folder.Path(), "Corvel"};
    clsHeadlessUserInterface Ui{Log};

    clsTestEnvironment() { Log.SetLogDetailLevel(9); }
    std::string LogText() const { return ReadWholeFile(Log.FullFilename()); }
};
