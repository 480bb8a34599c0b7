#include "foundation/clsRegExp.h"

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

namespace {

pcre2_code* Code(void* code) { return static_cast<pcre2_code*>(code); }

// A match data block that frees itself.
struct clsMatchData {
    explicit clsMatchData(const pcre2_code* code)
        : Data(pcre2_match_data_create_from_pattern(code, nullptr)) {}
    ~clsMatchData() { pcre2_match_data_free(Data); }
    clsMatchData(const clsMatchData&) = delete;
    clsMatchData& operator=(const clsMatchData&) = delete;
    pcre2_match_data* Data;
};

}  // namespace

clsRegExp::clsRegExp(std::string_view pattern, bool ignoreCase) {
    const uint32_t options = PCRE2_UTF | PCRE2_MATCH_INVALID_UTF | PCRE2_DOLLAR_ENDONLY |
                             (ignoreCase ? PCRE2_CASELESS : 0u);
    int errorCode = 0;
    PCRE2_SIZE errorOffset = 0;
    pcre2_code* code = pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern.data()), pattern.size(),
                                     options, &errorCode, &errorOffset, nullptr);
    if (!code) {
        PCRE2_UCHAR message[256];
        pcre2_get_error_message(errorCode, message, sizeof message);
        mError = reinterpret_cast<const char*>(message) + std::string(" at offset ") +
                 std::to_string(errorOffset);
        return;
    }
    pcre2_jit_compile(code, PCRE2_JIT_COMPLETE);  // without the JIT it still matches, slower
    mCode = code;
}

clsRegExp::~clsRegExp() { pcre2_code_free(Code(mCode)); }

bool clsRegExp::Test(std::string_view subject) const {
    if (!mCode) {
        return false;
    }
    clsMatchData match(Code(mCode));
    return pcre2_match(Code(mCode), reinterpret_cast<PCRE2_SPTR>(subject.data()), subject.size(), 0,
                       0, match.Data, nullptr) >= 0;
}

std::vector<std::string> clsRegExp::Matches(std::string_view subject) const {
    std::vector<std::string> found;
    ForEachMatch(subject, [&found](std::string_view match) { found.emplace_back(match); });
    return found;
}

void clsRegExp::ForEachMatch(std::string_view subject,
                             const std::function<void(std::string_view)>& onMatch) const {
    if (!mCode) {
        return;
    }
    clsMatchData match(Code(mCode));
    const auto* text = reinterpret_cast<PCRE2_SPTR>(subject.data());
    for (PCRE2_SIZE start = 0; start <= subject.size();) {
        if (pcre2_match(Code(mCode), text, subject.size(), start, 0, match.Data, nullptr) < 0) {
            break;
        }
        const PCRE2_SIZE* range = pcre2_get_ovector_pointer(match.Data);
        onMatch(subject.substr(range[0], range[1] - range[0]));
        // After an empty match step over one byte, or the search would stand still.
        start = range[1] > range[0] ? range[1] : range[1] + 1;
    }
}

std::vector<std::string_view> clsRegExp::SubMatches(std::string_view subject) const {
    std::vector<std::string_view> groups;
    if (!mCode) {
        return groups;
    }
    clsMatchData match(Code(mCode));
    const int found = pcre2_match(Code(mCode), reinterpret_cast<PCRE2_SPTR>(subject.data()),
                                  subject.size(), 0, 0, match.Data, nullptr);
    if (found < 0) {
        return groups;
    }
    const PCRE2_SIZE* range = pcre2_get_ovector_pointer(match.Data);
    const uint32_t count = pcre2_get_ovector_count(match.Data);
    for (uint32_t i = 0; i < count; ++i) {
        const PCRE2_SIZE first = range[2 * i];
        const PCRE2_SIZE last = range[2 * i + 1];
        groups.push_back(first == PCRE2_UNSET ? std::string_view()
                                              : subject.substr(first, last - first));
    }
    return groups;
}
