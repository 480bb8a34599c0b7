#include "database/clsJetFunctions.h"

#include <sqlite3.h>

#include <exception>
#include <optional>
#include <string_view>

#include "database/clsJetCollation.h"
#include "database/clsJetLike.h"
#include "foundation/clsUtf8.h"

namespace {

std::string_view TextOf(sqlite3_value* value) {
    const auto* text = sqlite3_value_text(value);  // before _bytes, as SQLite asks
    const int bytes = sqlite3_value_bytes(value);
    return {reinterpret_cast<const char*>(text), static_cast<std::size_t>(bytes)};
}

void DeleteLike(void* like) { delete static_cast<clsJetLike*>(like); }

// The pattern is usually the same for every row of a statement, so it is compiled once and kept
// as auxiliary data of the pattern argument, which SQLite drops when the pattern changes.
const clsJetLike* CompiledPattern(sqlite3_context* context, sqlite3_value* pattern) {
    if (auto* cached = static_cast<const clsJetLike*>(sqlite3_get_auxdata(context, 0))) {
        return cached;
    }
    auto* like = new clsJetLike(TextOf(pattern));
    sqlite3_set_auxdata(context, 0, like, DeleteLike);  // deletes like itself on failure
    return static_cast<const clsJetLike*>(sqlite3_get_auxdata(context, 0));
}

std::optional<char32_t> SingleCharacter(std::string_view text) {
    if (text.empty()) {
        return std::nullopt;
    }
    std::size_t pos = 0;
    const char32_t character = clsUtf8::Next(text, pos);
    return pos == text.size() ? std::optional<char32_t>(character) : std::nullopt;
}

// like(pattern, text): "text LIKE pattern". Jet SQL has no ESCAPE; the three-argument form only
// keeps a native "LIKE ... ESCAPE" working, and is compiled per row.
void JetLike(sqlite3_context* context, int argc, sqlite3_value** argv) noexcept {
    for (int i = 0; i < argc; ++i) {
        if (sqlite3_value_type(argv[i]) == SQLITE_NULL) {
            return;  // the result stays NULL, as with any comparison with NULL
        }
    }
    try {
        if (argc == 3) {
            const std::optional<char32_t> escape = SingleCharacter(TextOf(argv[2]));
            if (!escape) {
                sqlite3_result_error(context, "ESCAPE expression must be a single character", -1);
                return;
            }
            const clsJetLike like(TextOf(argv[0]), escape);
            sqlite3_result_int(context, like.Matches(TextOf(argv[1])) ? 1 : 0);
            return;
        }
        const clsJetLike* like = CompiledPattern(context, argv[0]);
        if (like == nullptr) {
            sqlite3_result_error_nomem(context);
            return;
        }
        sqlite3_result_int(context, like->Matches(TextOf(argv[1])) ? 1 : 0);
    } catch (const std::exception&) {
        sqlite3_result_error_nomem(context);
    }
}

// LEFT(text, n): the first n characters; NULL in either gives NULL.
void JetLeft(sqlite3_context* context, int /*argc*/, sqlite3_value** argv) noexcept {
    if (sqlite3_value_type(argv[0]) == SQLITE_NULL || sqlite3_value_type(argv[1]) == SQLITE_NULL) {
        return;
    }
    const std::string_view text = TextOf(argv[0]);
    const sqlite3_int64 count = sqlite3_value_int64(argv[1]);
    const std::size_t bytes =
        count <= 0 ? 0 : clsJetCollation::PrefixBytes(text, static_cast<std::size_t>(count));
    sqlite3_result_text(context, text.data(), static_cast<int>(bytes), SQLITE_TRANSIENT);
}

int JetNoCase(void* /*unused*/, int lengthA, const void* a, int lengthB, const void* b) noexcept {
    return clsJetCollation::Compare(
        {static_cast<const char*>(a), static_cast<std::size_t>(lengthA)},
        {static_cast<const char*>(b), static_cast<std::size_t>(lengthB)});
}

}  // namespace

int clsJetFunctions::Register(sqlite3* db) {
    constexpr int kFlags = SQLITE_UTF8 | SQLITE_DETERMINISTIC;
    int rc = sqlite3_create_function(db, "like", 2, kFlags, nullptr, JetLike, nullptr, nullptr);
    if (rc == SQLITE_OK) {
        rc = sqlite3_create_function(db, "like", 3, kFlags, nullptr, JetLike, nullptr, nullptr);
    }
    if (rc == SQLITE_OK) {
        rc = sqlite3_create_function(db, "jet_left", 2, kFlags, nullptr, JetLeft, nullptr, nullptr);
    }
    if (rc == SQLITE_OK) {
        rc = sqlite3_create_collation_v2(db, "NOCASE", SQLITE_UTF8, nullptr, JetNoCase, nullptr);
    }
    return rc;
}
