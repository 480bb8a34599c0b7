#pragma once
// clsTokenScanner: finds the classifier's tokens in a text without a regular-expression engine.
// A token is a letter, "[" or "<", then one or more of letters, digits, "-", "'", "$", "]" and
// the pound sign (UTF-8 C2 A3), then any run of ">"; the search is leftmost and greedy, and
// resumes after each token, as the token pattern of clsCorpus reads under UTF-8 rules that let
// invalid bytes stand for nothing. Tokens are the heart of training and judging mail, and this
// costs a table look-up per byte where the pattern engine cost a call per token.
// Stateless; any thread. Never throws (but for what onToken throws).

#include <array>
#include <cstdint>
#include <string_view>

class clsTokenScanner {
public:
    // Calls onToken(std::string_view) for every token of text, left to right; the views point
    // into text.
    template <class F>
    static void ForEachToken(std::string_view text, F&& onToken) {
        const std::size_t size = text.size();
        std::size_t pos = 0;
        while (pos < size) {
            if (!(ClassOf(text[pos]) & kStarts)) {
                ++pos;
                continue;
            }
            std::size_t end = pos + 1;
            for (std::size_t length; (length = InnerLength(text, end)) != 0;) {
                end += length;
            }
            if (end == pos + 1) {
                ++pos;  // a start with nothing after it: the next byte may start a token
                continue;
            }
            while (end < size && text[end] == '>') {
                ++end;
            }
            onToken(text.substr(pos, end - pos));
            pos = end;
        }
    }

private:
    static constexpr std::uint8_t kStarts = 1;
    static constexpr std::uint8_t kInner = 2;
    static constexpr char kPoundLead = '\xC2';
    static constexpr char kPoundTrail = '\xA3';

    static constexpr std::array<std::uint8_t, 256> MakeClasses() {
        std::array<std::uint8_t, 256> classes{};
        for (int c = 'a'; c <= 'z'; ++c) {
            classes[static_cast<std::size_t>(c)] = kStarts | kInner;
            classes[static_cast<std::size_t>(c - 'a' + 'A')] = kStarts | kInner;
        }
        for (int c = '0'; c <= '9'; ++c) {
            classes[static_cast<std::size_t>(c)] = kInner;
        }
        for (const char c : {'-', '\'', '$', ']'}) {
            classes[static_cast<std::size_t>(c)] = kInner;
        }
        classes['['] = classes['<'] = kStarts;
        return classes;
    }
    static std::uint8_t ClassOf(char c) {
        static constexpr std::array<std::uint8_t, 256> kClasses = MakeClasses();
        return kClasses[static_cast<unsigned char>(c)];
    }
    // Bytes taken by the inner character at pos: 1 (ASCII), 2 (the pound sign) or 0 (none).
    static std::size_t InnerLength(std::string_view text, std::size_t pos) {
        if (pos >= text.size()) {
            return 0;
        }
        if (ClassOf(text[pos]) & kInner) {
            return 1;
        }
        return text[pos] == kPoundLead && pos + 1 < text.size() && text[pos + 1] == kPoundTrail ? 2
                                                                                                : 0;
    }
};
