#pragma once
// clsCsvTable: a comma-separated text file read whole into memory, its first row the column
// headings; the reader of the first-generation rule files. Fields follow RFC 4180: a field that
// starts with a double quote runs to the matching quote and may hold commas, line breaks and
// doubled quotes; lines end in CRLF or LF. Bytes are kept as they are (no character set
// conversion); only a UTF-8 byte order mark before the first heading is dropped. A line with no
// characters at all is no row; a row shorter than the headings has empty cells.
// Owned by the caller; one thread.
// Failure: Open returns NotFound for a missing file, Io for one that cannot be read, Corrupt for
// one that is too large or ends inside a quoted field (which then runs to the end of the file,
// the rows read being kept). Cell of an unknown heading or row gives "" and sets LastError.
// Never throws.

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/clsStatus.h"

class clsCsvTable {
public:
    // Rule files are a few kilobytes; anything near this is not one.
    static constexpr std::uintmax_t kMaxFileSize = 64 * 1024 * 1024;

    clsStatus Open(const std::filesystem::path& file);

    // Rows under the heading row.
    long RowCount() const { return static_cast<long>(mRows.size()); }
    long ColumnCount() const { return static_cast<long>(mHeadings.size()); }
    // The cell of row (1 = the first row under the headings) in the column of heading; headings
    // compare without regard to ASCII case and to blanks around them.
    std::string Cell(long row, std::string_view heading) const;
    bool HasColumn(std::string_view heading) const { return ColumnOf(heading) >= 0; }
    const std::vector<std::string>& Headings() const { return mHeadings; }
    const clsStatus& LastError() const { return mLastError; }

    // A table file whole, without its byte order mark; NotFound, Corrupt (too large) or Io.
    static clsStatus ReadText(const std::filesystem::path& file, std::string& text);
    // The records of text; false when it ends inside a quoted field.
    static bool Parse(std::string_view text, std::vector<std::vector<std::string>>& records);

private:
    long ColumnOf(std::string_view heading) const;

    std::vector<std::string> mHeadings;
    std::vector<std::vector<std::string>> mRows;
    mutable clsStatus mLastError = clsStatus::Ok();
};
