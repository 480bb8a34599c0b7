#include "database/clsJetLike.h"

#include "database/clsJetCollation.h"
#include "foundation/clsUtf8.h"

clsJetLike::clsJetLike(std::string_view pattern, std::optional<char32_t> escape) {
    std::size_t pos = 0;
    while (pos < pattern.size()) {
        const std::size_t start = pos;
        const char32_t character = clsUtf8::Next(pattern, pos);
        if (escape && character == *escape && pos < pattern.size()) {
            AddLiteral(clsUtf8::Next(pattern, pos));
        } else if (character == '*' || character == '%') {
            if (mElements.empty() || mElements.back().What != Kind::AnyRun) {
                mElements.push_back({Kind::AnyRun, 0, 0});  // a run of them means one
            }
        } else if (character == '?' || character == '_') {
            mElements.push_back({Kind::AnyOne, 0, 0});
        } else if (character == '#') {
            mElements.push_back({Kind::Digit, 0, 0});
        } else if (character != '[') {
            AddLiteral(character);
        } else if (pos = start; !ReadSet(pattern, pos)) {
            while (pos < pattern.size()) {  // an unterminated set: the rest is literal
                AddLiteral(clsUtf8::Next(pattern, pos));
            }
        }
    }
}

void clsJetLike::AddLiteral(char32_t character) {
    mElements.push_back({Kind::Literal, clsJetCollation::Fold(character), 0});
}

bool clsJetLike::ReadSet(std::string_view pattern, std::size_t& pos) {
    CharacterSet set;
    std::size_t at = pos + 1;
    if (at < pattern.size() && pattern[at] == '!') {
        set.Negated = true;
        ++at;
    }
    // The first member may be "]" itself, so the closing bracket is looked for after it.
    const std::size_t close = at < pattern.size() ? pattern.find(']', at + 1) : at;
    if (close >= pattern.size()) {
        return false;
    }
    while (at < close) {
        const char32_t first = clsUtf8::Next(pattern, at);
        char32_t last = first;
        if (at + 1 < close && pattern[at] == '-') {
            ++at;
            last = clsUtf8::Next(pattern, at);
        }
        set.Ranges.emplace_back(first, last);
    }
    mSets.push_back(std::move(set));
    mElements.push_back({Kind::Set, 0, mSets.size() - 1});
    pos = close + 1;
    return true;
}

bool clsJetLike::InSet(const CharacterSet& set, char32_t character) const {
    const char32_t folded = clsJetCollation::Fold(character);
    for (const auto& [first, last] : set.Ranges) {
        if ((character >= first && character <= last) ||
            (folded >= clsJetCollation::Fold(first) && folded <= clsJetCollation::Fold(last))) {
            return !set.Negated;
        }
    }
    return set.Negated;
}

bool clsJetLike::MatchesOne(const Element& element, char32_t character) const {
    switch (element.What) {
        case Kind::AnyOne:
            return true;
        case Kind::Digit:
            return character >= '0' && character <= '9';
        case Kind::Literal:
            return clsJetCollation::Fold(character) == element.Character;
        case Kind::Set:
            return InSet(mSets[element.SetIndex], character);
        case Kind::AnyRun:
            break;
    }
    return false;
}

// Every element but AnyRun takes exactly one character, so when a later element fails it is
// enough to let the most recent AnyRun take one more character and retry from there.
bool clsJetLike::Matches(std::string_view text) const {
    constexpr std::size_t kNone = static_cast<std::size_t>(-1);
    std::size_t element = 0;
    std::size_t pos = 0;
    std::size_t resumeElement = kNone;
    std::size_t resumePos = 0;
    while (pos < text.size()) {
        if (element < mElements.size() && mElements[element].What == Kind::AnyRun) {
            resumeElement = ++element;
            resumePos = pos;
            continue;
        }
        std::size_t next = pos;
        if (element < mElements.size() &&
            MatchesOne(mElements[element], clsUtf8::Next(text, next))) {
            ++element;
            pos = next;
            continue;
        }
        if (resumeElement == kNone) {
            return false;
        }
        clsUtf8::Next(text, resumePos);
        pos = resumePos;
        element = resumeElement;
    }
    while (element < mElements.size() && mElements[element].What == Kind::AnyRun) {
        ++element;
    }
    return element == mElements.size();
}
