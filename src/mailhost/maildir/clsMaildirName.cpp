#include "mailhost/maildir/clsMaildirName.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <climits>
#include <cstdint>
#include <vector>

#include "foundation/clsUtf8.h"

namespace {

constexpr std::string_view kBase64 =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+,";

// UTF-8 -> code points; nothing for invalid UTF-8.
std::optional<std::vector<char32_t>> DecodeUtf8(std::string_view text) {
    std::vector<char32_t> points;
    for (size_t pos = 0; pos < text.size();) {
        points.push_back(clsUtf8::Next(text, pos));
        if (clsUtf8::IsInvalidByte(points.back())) {
            return std::nullopt;
        }
    }
    return points;
}

// A run of non-ASCII code points as "&" + base64 of their UTF-16BE + "-".
void AppendShifted(std::string& out, const std::vector<char32_t>& run) {
    std::vector<std::uint8_t> bytes;
    for (char32_t point : run) {
        std::vector<std::uint16_t> units;
        if (point >= 0x10000) {
            units = {static_cast<std::uint16_t>(0xD800 + ((point - 0x10000) >> 10)),
                     static_cast<std::uint16_t>(0xDC00 + ((point - 0x10000) & 0x3FF))};
        } else {
            units = {static_cast<std::uint16_t>(point)};
        }
        for (std::uint16_t unit : units) {
            bytes.push_back(static_cast<std::uint8_t>(unit >> 8));
            bytes.push_back(static_cast<std::uint8_t>(unit & 0xFF));
        }
    }
    out += '&';
    std::uint32_t buffer = 0;
    int bits = 0;
    for (std::uint8_t byte : bytes) {
        buffer = (buffer << 8) | byte;
        bits += 8;
        while (bits >= 6) {
            bits -= 6;
            out += kBase64[(buffer >> bits) & 0x3F];
        }
    }
    if (bits > 0) {
        out += kBase64[(buffer << (6 - bits)) & 0x3F];
    }
    out += '-';
}

std::optional<std::string> DecodeShifted(std::string_view encoded) {
    std::vector<std::uint16_t> units;
    std::uint32_t buffer = 0;
    int bits = 0;
    for (char c : encoded) {
        const size_t value = kBase64.find(c);
        if (value == std::string_view::npos) {
            return std::nullopt;
        }
        buffer = (buffer << 6) | static_cast<std::uint32_t>(value);
        bits += 6;
        if (bits >= 16) {
            bits -= 16;
            units.push_back(static_cast<std::uint16_t>((buffer >> bits) & 0xFFFF));
        }
    }
    std::string out;
    for (size_t i = 0; i < units.size(); ++i) {
        char32_t point = units[i];
        if (point >= 0xD800 && point < 0xDC00 && i + 1 < units.size()) {
            point = 0x10000 + ((point - 0xD800) << 10) + (units[++i] - 0xDC00U);
        }
        clsUtf8::Append(out, point);
    }
    return out;
}

}  // namespace

namespace clsMaildirName {

std::string EncodeFolderName(std::string_view utf8) {
    const auto points = DecodeUtf8(utf8);
    if (!points) {
        return std::string(utf8);  // not UTF-8: kept as it is rather than lost
    }
    std::string out;
    std::vector<char32_t> run;
    for (char32_t point : *points) {
        if (point >= 0x20 && point < 0x7F) {
            if (!run.empty()) {
                AppendShifted(out, run);
                run.clear();
            }
            out += point == '&' ? std::string("&-") : std::string(1, static_cast<char>(point));
        } else {
            run.push_back(point);
        }
    }
    if (!run.empty()) {
        AppendShifted(out, run);
    }
    return out;
}

std::optional<std::string> DecodeFolderName(std::string_view mutf7) {
    std::string out;
    for (size_t i = 0; i < mutf7.size(); ++i) {
        if (mutf7[i] != '&') {
            out += mutf7[i];
            continue;
        }
        const size_t end = mutf7.find('-', i + 1);
        if (end == std::string_view::npos) {
            return std::nullopt;
        }
        if (end == i + 1) {
            out += '&';
        } else {
            const auto decoded = DecodeShifted(mutf7.substr(i + 1, end - i - 1));
            if (!decoded) {
                return std::nullopt;
            }
            out += *decoded;
        }
        i = end;
    }
    return out;
}

bool IsValidFolderName(std::string_view name) {
    return !name.empty() && std::none_of(name.begin(), name.end(), [](char c) {
        return c == '.' || c == '/' || c == '\\' || static_cast<unsigned char>(c) < 0x20;
    });
}

std::string_view BaseName(std::string_view fileName) {
    return fileName.substr(0, fileName.find(':'));
}

std::string_view UniquePart(std::string_view fileName) {
    return fileName.substr(0, fileName.find_first_of(":,"));
}

std::string_view Flags(std::string_view fileName) {
    const size_t info = fileName.find(":2,");
    return info == std::string_view::npos ? std::string_view() : fileName.substr(info + 3);
}

std::string WithFlags(std::string_view base, std::string flags) {
    std::sort(flags.begin(), flags.end());
    flags.erase(std::unique(flags.begin(), flags.end()), flags.end());
    return std::string(base) + ":2," + flags;
}

std::string NewUniqueName() {
    static std::atomic<unsigned> counter{0};
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(now);
    const auto micros = std::chrono::duration_cast<std::chrono::microseconds>(now - seconds);
    char host[HOST_NAME_MAX + 1] = {};
    gethostname(host, sizeof host - 1);
    std::string safeHost;
    for (const char* c = host; *c != '\0'; ++c) {
        safeHost += *c == '/'   ? std::string("\\057")
                    : *c == ':' ? std::string("\\072")
                                : std::string(1, *c);
    }
    std::string microseconds = std::to_string(micros.count());
    microseconds.insert(0, 6 - std::min<size_t>(6, microseconds.size()), '0');  // sorts by time
    return std::to_string(seconds.count()) + ".M" + microseconds + "P" + std::to_string(getpid()) +
           "Q" + std::to_string(++counter) + "." + (safeHost.empty() ? "localhost" : safeHost);
}

}  // namespace clsMaildirName
