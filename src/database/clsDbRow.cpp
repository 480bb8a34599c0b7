#include "database/clsDbRow.h"

#include <sqlite3.h>
#include <strings.h>

namespace {

std::string Bytes(const void* data, int size) {
    return data == nullptr
               ? std::string()
               : std::string(static_cast<const char*>(data), static_cast<std::size_t>(size));
}

}  // namespace

int clsDbRow::FieldCount() const { return sqlite3_column_count(mStatement); }

int clsDbRow::FieldIndex(std::string_view name) const {
    for (int i = 0; i < FieldCount(); ++i) {
        const char* field = sqlite3_column_name(mStatement, i);
        if (field != nullptr && std::string_view(field).size() == name.size() &&
            strncasecmp(field, name.data(), name.size()) == 0) {
            return i;
        }
    }
    return -1;
}

clsDbValue clsDbRow::Value(int column) const {
    switch (sqlite3_column_type(mStatement, column)) {
        case SQLITE_INTEGER:
            return clsDbValue(static_cast<std::int64_t>(sqlite3_column_int64(mStatement, column)));
        case SQLITE_FLOAT:
            return clsDbValue(sqlite3_column_double(mStatement, column));
        case SQLITE_TEXT: {
            const unsigned char* text = sqlite3_column_text(mStatement, column);
            return clsDbValue(Bytes(text, sqlite3_column_bytes(mStatement, column)));
        }
        case SQLITE_BLOB: {
            const void* blob = sqlite3_column_blob(mStatement, column);
            return clsDbValue(Bytes(blob, sqlite3_column_bytes(mStatement, column)));
        }
        default:
            return {};
    }
}

std::string_view clsDbRow::Text(int column) const {
    if (sqlite3_column_type(mStatement, column) == SQLITE_TEXT) {
        const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(mStatement, column));
        return text == nullptr
                   ? std::string_view()
                   : std::string_view(
                         text, static_cast<std::size_t>(sqlite3_column_bytes(mStatement, column)));
    }
    mConverted = Value(column).AsText();
    return mConverted;
}

std::int64_t clsDbRow::Long(int column) const {
    if (sqlite3_column_type(mStatement, column) == SQLITE_INTEGER) {
        return static_cast<std::int64_t>(sqlite3_column_int64(mStatement, column));
    }
    return Value(column).AsLong();
}
