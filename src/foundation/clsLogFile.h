#pragma once
// clsLogFile: the one diagnostic log. Every component writes one-line entries through it,
// "Component->Procedure: detail", to a plain text file that is opened, appended to and closed
// for each entry, rotated by size, with the rotated files kept under a total size. Entries are
// mirrored to on-screen controls when they are attached. Settings (HKCU "...\Corvel\Logging":
// "Enabled", "Level", "MaxFileSize", "MaxTotalSize") are read once at construction and written
// back by each setter.
// Created by the program's entry point and handed by reference to every component. Any thread:
// entries are serialised by a mutex. Never throws: a failed write costs only that entry.

#include <chrono>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <mutex>
#include <string>
#include <string_view>

#include "foundation/clsLogMirror.h"
#include "foundation/clsSettings.h"
#include "foundation/clsStatus.h"

class clsLogFile {
public:
    static constexpr std::int32_t kDefaultMaxFileSize = 1048576;
    static constexpr std::int32_t kDefaultMaxTotalFileSize = 52428800;

    // folder and fileName: where the log lives ("<folder>/<fileName>.log").
    clsLogFile(clsSettings& settings, std::filesystem::path folder, std::string fileName);

    // Writes the entry when logging is on and level <= LogDetailLevel.
    void AddLog(std::string_view message, int level = 0);
    // Level 0 entry "message: description(number)"; ": " only when the message is not empty and
    // does not already end in a blank.
    void AddErrorLog(std::string_view message, const clsStatus& error);
    void AddErrorLog(std::string_view message, const std::exception& error);

    bool LoggingEnabled() const { return mLoggingEnabled; }
    void SetLoggingEnabled(bool enabled);
    std::int16_t LogDetailLevel() const { return mLogDetailLevel; }
    void SetLogDetailLevel(std::int16_t level);
    std::int32_t MaxFileSize() const { return mMaxFileSize; }
    void SetMaxFileSize(std::int32_t bytes);
    std::int32_t MaxTotalFileSize() const { return mMaxTotalFileSize; }
    void SetMaxTotalFileSize(std::int32_t bytes);
    bool LogNetworkName() const { return mLogNetworkName; }
    void SetLogNetworkName(bool enabled) { mLogNetworkName = enabled; }

    const std::filesystem::path& Path() const { return mPath; }
    void SetPath(std::filesystem::path folder) { mPath = std::move(folder); }
    const std::string& FileName() const { return mFileName; }
    void SetFileName(std::string fileName) { mFileName = std::move(fileName); }
    std::filesystem::path FullFilename() const;

    void SetListBoxControl(clsListMirror* list) { mListBox = list; }
    void SetTextBoxControl(clsTextMirror* text) { mTextBox = text; }
    void SetPanelControl(clsTextMirror* panel) { mPanel = panel; }

    // The file line for an entry: "dd/mm/yyyy hh:mm:ss", three blanks, [the network name padded
    // to 15 characters, three blanks,] the message.
    static std::string FormatLine(std::chrono::system_clock::time_point when,
                                  std::string_view networkName, std::string_view message);
    // "<fileName> Log ending dd-mm-yy hh.mm.ss.log"
    static std::string RotatedName(std::string_view fileName,
                                   std::chrono::system_clock::time_point when);

private:
    void Mirror(std::string_view message, std::chrono::system_clock::time_point now);
    void RotateIfTooLarge(std::chrono::system_clock::time_point now);
    void CleanUpRotatedFiles();
    void AppendLine(const std::string& line);

    clsSettings& mSettings;
    std::mutex mMutex;
    bool mLoggingEnabled;
    std::int16_t mLogDetailLevel;
    std::int32_t mMaxFileSize;
    std::int32_t mMaxTotalFileSize;
    bool mLogNetworkName = false;
    std::filesystem::path mPath;
    std::string mFileName;
    std::string mNetworkName;
    clsListMirror* mListBox = nullptr;
    clsTextMirror* mTextBox = nullptr;
    clsTextMirror* mPanel = nullptr;
};
