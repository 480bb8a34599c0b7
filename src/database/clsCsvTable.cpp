#include "database/clsCsvTable.h"

#include <algorithm>
#include <cctype>
#include <exception>
#include <fstream>
#include <sstream>

#include "foundation/CommonHelpers.h"

namespace {

using Code = clsStatus::Code;

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

bool SameHeading(std::string_view a, std::string_view b) {
    a = Trimmed(a);
    b = Trimmed(b);
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
        return std::tolower(static_cast<unsigned char>(x)) ==
               std::tolower(static_cast<unsigned char>(y));
    });
}

// The record being read: its fields so far and whether its line held anything at all.
struct RecordBuilder {
    std::vector<std::string> Fields;
    std::string Field;
    bool HasContent = false;

    void EndField() {
        Fields.push_back(std::move(Field));
        Field.clear();
    }
    void EndRecord(std::vector<std::vector<std::string>>& records) {
        EndField();
        if (HasContent) {
            records.push_back(std::move(Fields));
        }
        Fields.clear();
        HasContent = false;
    }
};

}  // namespace

bool clsCsvTable::Parse(std::string_view text, std::vector<std::vector<std::string>>& records) {
    RecordBuilder record;
    bool inQuotes = false;
    bool atFieldStart = true;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (inQuotes) {
            if (c != '"') {
                record.Field += c;
            } else if (i + 1 < text.size() && text[i + 1] == '"') {
                record.Field += '"';
                ++i;
            } else {
                inQuotes = false;
            }
            continue;
        }
        const bool crlf = c == '\r' && i + 1 < text.size() && text[i + 1] == '\n';
        if (c == '\n' || crlf) {
            i += crlf ? 1 : 0;
            record.EndRecord(records);
            atFieldStart = true;
            continue;
        }
        record.HasContent = true;
        if (c == ',') {
            record.EndField();
        } else if (c == '"' && atFieldStart) {
            inQuotes = true;
        } else {
            record.Field += c;  // a quote inside an unquoted field is kept as it is
        }
        atFieldStart = c == ',';
    }
    record.EndRecord(records);
    return !inQuotes;
}

clsStatus clsCsvTable::ReadText(const std::filesystem::path& file, std::string& text) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(file, error)) {
        return clsStatus::Error(Code::NotFound, file.string() + " not found");
    }
    if (std::filesystem::file_size(file, error) > kMaxFileSize || error) {
        return clsStatus::Error(Code::Corrupt, file.string() + " is too large to be a table");
    }
    std::ifstream in(file, std::ios::binary);
    std::ostringstream contents;
    contents << in.rdbuf();
    if (!in) {
        return clsStatus::Error(Code::Io, "cannot read " + file.string());
    }
    text = contents.str();
    if (std::string_view(text).substr(0, kByteOrderMark.size()) == kByteOrderMark) {
        text.erase(0, kByteOrderMark.size());
    }
    return clsStatus::Ok();
}

clsStatus clsCsvTable::Open(const std::filesystem::path& file) {
    mHeadings.clear();
    mRows.clear();
    mLastError = clsStatus::Ok();
    try {
        std::string text;
        if (clsStatus status = ReadText(file, text); !status.IsOk()) {
            return mLastError = status;
        }
        const bool complete = Parse(text, mRows);
        if (!mRows.empty()) {
            mHeadings = std::move(mRows.front());
            mRows.erase(mRows.begin());
        }
        if (!complete) {
            mLastError =
                clsStatus::Error(Code::Corrupt, file.string() + " ends inside a quoted field");
        }
    } catch (const std::exception& error) {
        mLastError = clsStatus::Error(Code::Io, file.string() + ": " + error.what());
    }
    return mLastError;
}

long clsCsvTable::ColumnOf(std::string_view heading) const {
    const auto found = std::find_if(
        mHeadings.begin(), mHeadings.end(),
        [heading](const std::string& candidate) { return SameHeading(candidate, heading); });
    return found == mHeadings.end() ? -1 : static_cast<long>(found - mHeadings.begin());
}

std::string clsCsvTable::Cell(long row, std::string_view heading) const {
    const long column = ColumnOf(heading);
    if (column < 0) {
        mLastError = clsStatus::Error(Code::NotFound, "no column \"" + std::string(heading) + "\"");
        return {};
    }
    if (row < 1 || row > RowCount()) {
        mLastError = clsStatus::Error(Code::NotFound, "no row " + std::to_string(row));
        return {};
    }
    const std::vector<std::string>& cells = mRows[static_cast<std::size_t>(row - 1)];
    const auto index = static_cast<std::size_t>(column);
    return index < cells.size() ? cells[index] : std::string();
}
