// The names a query can carry (its bytes are checked where the client sends it), and the malformed
// answers a hostile server can send (well-formed ones are read in DnsFuzzTest).
#include <gtest/gtest.h>

#include "spam/clsDnsMessage.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes operator+(Bytes left, const Bytes& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

Bytes Cut(Bytes bytes, std::size_t size) {
    bytes.resize(size);
    return bytes;
}

// ID 11DF, one question, `answers` records.
Bytes Header(std::uint8_t answers, std::uint8_t flagsHigh = 0x81, std::uint8_t idLow = 0xDF) {
    return {0x11, idLow, flagsHigh, 0x80, 0, 1, 0, answers, 0, 0, 0, 0};
}

// www.example.com A IN at offset 12; records start at 33.
const Bytes kQuestion = {3,   'w', 'w', 'w', 7,   'e', 'x', 'a', 'm', 'p', 'l',
                         'e', 3,   'c', 'o', 'm', 0,   0,   1,   0,   1};
const Bytes kToQuestion = {0xC0, 12};
const Bytes kFour = {1, 2, 3, 4};

// Class IN, time-to-live 60.
Bytes Record(const Bytes& name, std::uint8_t type, const Bytes& data) {
    return name + Bytes{0, type, 0, 1, 0, 0, 0, 60, 0, static_cast<std::uint8_t>(data.size())} +
           data;
}

}  // namespace

TEST(DnsMessageQuery, CarriesOnlyNamesThatDnsCan) {
    const std::string label63(63, 'x');
    // 253 characters: four labels, the longest name whose encoding fits in 255 bytes.
    const std::string longest =
        label63 + "." + label63 + "." + label63 + "." + std::string(61, 'x');
    for (const std::string& name : {label63 + ".test", longest, longest + "."}) {
        SCOPED_TRACE(name);
        // The header, the labels each after its length byte, the root, the type and the class.
        const std::size_t nameLength = name.size() - (name.ends_with('.') ? 1 : 0);
        EXPECT_EQ(clsDnsMessage::BuildQuery(name).size(), 12 + nameLength + 2 + 4);
    }
    for (const std::string& name : std::vector<std::string>{
             ".", "a..b", "a.b..", std::string(64, 'x') + ".test", longest + "x"}) {
        EXPECT_TRUE(clsDnsMessage::BuildQuery(name).empty()) << name;
    }
}

TEST(DnsMessageAnswer, RejectsMalformedAnswers) {
    const Bytes one = Header(1) + kQuestion;
    Bytes longName(4 * 64 + 1, 'x');  // four labels of 63: 257 bytes
    for (std::size_t label = 0; label < 4; ++label) {
        longName[label * 64] = 63;
    }
    longName.back() = 0;
    struct Case {
        const char* What;
        Bytes Answer;
    };
    for (const Case& c : {
             Case{"short header", Cut(Header(0), 11)},
             Case{"another ID", Header(0, 0x81, 0xDE) + kQuestion},
             Case{"a query, not a response", Header(0, 0x01) + kQuestion},
             Case{"pointer to itself", one + Record({0xC0, 33}, 1, kFour)},
             Case{"forward pointer", one + Record({0xC0, 49}, 1, kFour) + kQuestion},
             Case{"pointer into the header", one + Record({0xC0, 6}, 1, kFour)},
             Case{"reserved label type",
                  one + Record(Bytes{0x40} + Bytes(64, 'x') + Bytes{0}, 1, kFour)},
             Case{"name longer than 255 bytes", one + Record(longName, 1, kFour)},
             Case{"an A record of five bytes", one + Record(kToQuestion, 1, {1, 2, 3, 4, 5})},
             Case{"fewer records than counted",
                  Header(2) + kQuestion + Record(kToQuestion, 1, kFour)},
         }) {
        SCOPED_TRACE(c.What);
        EXPECT_FALSE(clsDnsMessage::ParseAnswer(c.Answer).has_value());
    }
}
