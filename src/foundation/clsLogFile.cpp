#include "foundation/clsLogFile.h"

#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <system_error>
#include <vector>

namespace {

constexpr std::string_view kSection = "Logging";
constexpr std::string_view kRotatedMarker = " Log ending ";
constexpr size_t kListMirrorLimit = 100;
constexpr size_t kNetworkNameWidth = 15;

enum class TimeFormat { Entry, Rotation, Clock };

// strftime wants literal formats to be checked, hence one switch rather than a format argument.
std::string FormatTime(std::chrono::system_clock::time_point when, TimeFormat format) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(when);
    std::tm local{};
    localtime_r(&seconds, &local);
    char buffer[64];
    size_t length = 0;
    switch (format) {
        case TimeFormat::Entry:
            length = std::strftime(buffer, sizeof buffer, "%d/%m/%Y %H:%M:%S", &local);
            break;
        case TimeFormat::Rotation:
            // The two-digit year is the rotated names' own form.
            length = static_cast<size_t>(std::snprintf(
                buffer, sizeof buffer, "%02d-%02d-%02d %02d.%02d.%02d", local.tm_mday,
                local.tm_mon + 1, local.tm_year % 100, local.tm_hour, local.tm_min, local.tm_sec));
            break;
        case TimeFormat::Clock:
            length = std::strftime(buffer, sizeof buffer, "%H:%M:%S", &local);
            break;
    }
    return std::string(buffer, length);
}

std::string ReadNetworkName() {
    char buffer[HOST_NAME_MAX + 1] = {};
    if (gethostname(buffer, sizeof buffer - 1) != 0) {
        return {};
    }
    return std::string(buffer);
}

std::int32_t ClampToInt32(std::int64_t value) {
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(value, INT32_MIN, INT32_MAX));
}

std::string_view WithoutTrailingBreaks(std::string_view message) {
    while (!message.empty() && (message.back() == '\r' || message.back() == '\n')) {
        message.remove_suffix(1);
    }
    return message;
}

// Rotated names embed "dd-mm-yy hh.mm.ss", which does not sort by age: sort on the date turned
// round to "yymmddhhmmss", then on the whole name for files of the same second.
std::string AgeKey(const std::string& name, size_t dateOffset) {
    if (name.size() < dateOffset + 17) {
        return name;
    }
    const std::string_view date = std::string_view(name).substr(dateOffset, 17);
    std::string key;
    for (size_t start : {6U, 3U, 0U, 9U, 12U, 15U}) {
        key += date.substr(start, 2);
    }
    return key + name;
}

}  // namespace

clsLogFile::clsLogFile(clsSettings& settings, std::filesystem::path folder, std::string fileName)
    : mSettings(settings),
      mLoggingEnabled(settings.ReadBoolean(kSection, "Enabled", true)),
      mLogDetailLevel(static_cast<std::int16_t>(std::clamp<std::int64_t>(
          settings.ReadNumber(kSection, "Level", 0), INT16_MIN, INT16_MAX))),
      mMaxFileSize(ClampToInt32(settings.ReadNumber(kSection, "MaxFileSize", kDefaultMaxFileSize))),
      mMaxTotalFileSize(
          ClampToInt32(settings.ReadNumber(kSection, "MaxTotalSize", kDefaultMaxTotalFileSize))),
      mPath(std::move(folder)),
      mFileName(std::move(fileName)),
      mNetworkName(ReadNetworkName()) {}

void clsLogFile::SetLoggingEnabled(bool enabled) {
    mLoggingEnabled = enabled;
    mSettings.SaveBoolean(kSection, "Enabled", enabled);
}

void clsLogFile::SetLogDetailLevel(std::int16_t level) {
    mLogDetailLevel = level;
    mSettings.SaveNumber(kSection, "Level", level);
}

void clsLogFile::SetMaxFileSize(std::int32_t bytes) {
    mMaxFileSize = bytes;
    mSettings.SaveNumber(kSection, "MaxFileSize", bytes);
}

void clsLogFile::SetMaxTotalFileSize(std::int32_t bytes) {
    mMaxTotalFileSize = bytes;
    mSettings.SaveNumber(kSection, "MaxTotalSize", bytes);
}

std::filesystem::path clsLogFile::FullFilename() const { return mPath / (mFileName + ".log"); }

std::string clsLogFile::FormatLine(std::chrono::system_clock::time_point when,
                                   std::string_view networkName, std::string_view message) {
    std::string line = FormatTime(when, TimeFormat::Entry) + "   ";
    if (!networkName.empty()) {
        line += networkName;
        line.append(kNetworkNameWidth - std::min(kNetworkNameWidth, networkName.size()), ' ');
        line += "   ";
    }
    line += message;
    return line;
}

std::string clsLogFile::RotatedName(std::string_view fileName,
                                    std::chrono::system_clock::time_point when) {
    return std::string(fileName) + std::string(kRotatedMarker) +
           FormatTime(when, TimeFormat::Rotation) + ".log";
}

void clsLogFile::AddLog(std::string_view message, int level) {
    if (!mLoggingEnabled || level > mLogDetailLevel) {
        return;
    }
    try {
        const std::lock_guard lock(mMutex);
        const auto now = std::chrono::system_clock::now();
        message = WithoutTrailingBreaks(message);
        Mirror(message, now);
        const std::string line =
            FormatLine(now, mLogNetworkName ? std::string_view(mNetworkName) : "", message);
        RotateIfTooLarge(now);
        AppendLine(line);
    } catch (...) {  // a log write never fails its caller: the entry alone is lost
    }
}

void clsLogFile::AddErrorLog(std::string_view message, const clsStatus& error) {
    std::string entry(message);
    if (!entry.empty() && entry.back() != ' ') {
        entry += ": ";
    }
    entry += error.Description() + "(" + std::to_string(error.Number()) + ")";
    AddLog(entry, 0);
}

void clsLogFile::AddErrorLog(std::string_view message, const std::exception& error) {
    AddErrorLog(message, clsStatus::Error(clsStatus::Code::Invalid, error.what()));
}

void clsLogFile::Mirror(std::string_view message, std::chrono::system_clock::time_point now) {
    try {
        if (mListBox != nullptr) {
            if (mListBox->ItemCount() > static_cast<int>(kListMirrorLimit)) {
                mListBox->RemoveItem(mListBox->ItemCount() - 1);
            }
            mListBox->InsertItem(0,
                                 FormatTime(now, TimeFormat::Clock) + " " + std::string(message));
        }
    } catch (...) {  // a detached control costs only its mirror
    }
    for (clsTextMirror* text : {mTextBox, mPanel}) {
        try {
            if (text != nullptr) {
                text->SetText(std::string(message));
            }
        } catch (...) {
        }
    }
}

void clsLogFile::RotateIfTooLarge(std::chrono::system_clock::time_point now) {
    std::error_code error;
    const std::filesystem::path live = FullFilename();
    const auto size = std::filesystem::file_size(live, error);
    if (mMaxFileSize < 1 || error || size <= static_cast<std::uintmax_t>(mMaxFileSize)) {
        return;
    }
    // Two rotations in one second would share a name: number the later ones, never overwrite.
    std::filesystem::path target = mPath / RotatedName(mFileName, now);
    for (int copy = 2; std::filesystem::exists(target, error); ++copy) {
        std::string name = RotatedName(mFileName, now);
        name.insert(name.size() - 4, " (" + std::to_string(copy) + ")");
        target = mPath / name;
    }
    std::filesystem::rename(live, target, error);
    if (!error) {
        CleanUpRotatedFiles();
    }
}

void clsLogFile::CleanUpRotatedFiles() {
    if (mMaxTotalFileSize <= 0) {
        return;
    }
    const std::string prefix = mFileName + std::string(kRotatedMarker);
    struct Rotated {
        std::string Key;
        std::filesystem::path File;
        std::uintmax_t Size;
    };
    std::vector<Rotated> files;
    std::uintmax_t total = 0;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(mPath, error)) {
        const std::string name = entry.path().filename().string();
        if (name.rfind(prefix, 0) != 0 || !entry.is_regular_file(error)) {
            continue;
        }
        const std::uintmax_t size = entry.file_size(error);
        files.push_back({AgeKey(name, prefix.size()), entry.path(), error ? 0 : size});
        total += files.back().Size;
    }
    if (total < static_cast<std::uintmax_t>(mMaxTotalFileSize)) {
        return;
    }
    std::sort(files.begin(), files.end(),
              [](const Rotated& a, const Rotated& b) { return a.Key < b.Key; });
    for (const Rotated& file : files) {
        if (std::filesystem::remove(file.File, error)) {
            total -= file.Size;
        }
        if (total <= static_cast<std::uintmax_t>(mMaxTotalFileSize)) {
            break;
        }
    }
}

void clsLogFile::AppendLine(const std::string& line) {
    std::ofstream file(FullFilename(), std::ios::app | std::ios::binary);
    file << line << '\n';
}
