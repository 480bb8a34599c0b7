// The query datagram byte for byte, and answers read from hand-written datagrams: records,
// compression, and the malformed shapes a hostile server can send.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "spam/clsDnsMessage.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes operator+(Bytes left, const Bytes& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

Bytes Header(std::uint16_t flags, std::uint8_t answers, std::uint16_t id = 0x11DF) {
    return {static_cast<std::uint8_t>(id >> 8),
            static_cast<std::uint8_t>(id & 0xFF),
            static_cast<std::uint8_t>(flags >> 8),
            static_cast<std::uint8_t>(flags & 0xFF),
            0,
            1,
            0,
            answers,
            0,
            0,
            0,
            0};
}

const Bytes kResponse = Header(0x8180, 0);
// www.example.com A IN at offset 12; "example" starts at 16, records at 33.
const Bytes kQuestion = {3,   'w', 'w', 'w', 7,   'e', 'x', 'a', 'm', 'p', 'l',
                         'e', 3,   'c', 'o', 'm', 0,   0,   1,   0,   1};
const Bytes kToQuestion = {0xC0, 0x0C};

// A record of the given type with the given name and data, class IN, time-to-live 60.
Bytes Record(const Bytes& name, std::uint8_t type, const Bytes& data) {
    return name + Bytes{0, type, 0, 1, 0, 0, 0, 60, 0, static_cast<std::uint8_t>(data.size())} +
           data;
}

Bytes Label(std::size_t length) {
    Bytes label(length + 1, 'x');
    label[0] = static_cast<std::uint8_t>(length);
    return label;
}

}  // namespace

TEST(DnsMessageQuery, CarriesTheNameAsLabelsAfterTheFixedHeader) {
    const Bytes expected = {0x11, 0xDF, 0x01, 0x00, 0, 1,   0, 0, 0, 0, 0, 0,
                            1,    'a',  1,    'b',  1, 'z', 0, 0, 1, 0, 1};
    EXPECT_EQ(clsDnsMessage::BuildQuery("a.b.z"), expected);
    EXPECT_EQ(clsDnsMessage::BuildQuery("a.b.z."), expected);
}

TEST(DnsMessageQuery, RefusesNamesThatDnsCannotCarry) {
    const std::string label63(63, 'x');
    // 253 characters: four labels, the longest name whose encoding fits in 255 bytes.
    const std::string longest =
        label63 + "." + label63 + "." + label63 + "." + std::string(61, 'x');
    struct Case {
        std::string Name;
        bool Accepted;
    };
    for (const Case& c :
         {Case{"a", true}, Case{label63 + ".test", true}, Case{longest, true},
          Case{longest + ".", true}, Case{"", false}, Case{".", false}, Case{"a..b", false},
          Case{".a", false}, Case{"a.b..", false}, Case{std::string(64, 'x') + ".test", false},
          Case{longest + "x", false}}) {
        SCOPED_TRACE(c.Name);
        const Bytes query = clsDnsMessage::BuildQuery(c.Name);
        EXPECT_EQ(!query.empty(), c.Accepted);
        if (c.Accepted) {
            const std::size_t nameLength = c.Name.size() - (c.Name.ends_with('.') ? 1 : 0);
            EXPECT_EQ(query.size(), 12 + nameLength + 2 + 4);
        }
    }
}

TEST(DnsMessageAnswer, ReadsTheARecordsThroughCompression) {
    // A CNAME at 33 whose data (at 45) is "mail" + a pointer to "example.com"; an A record named
    // by a pointer to that data, so the name is read through two pointers.
    const Bytes cname = Record(kToQuestion, 5, {4, 'm', 'a', 'i', 'l', 0xC0, 16});
    const Bytes aaaa = Record(kToQuestion, 28, Bytes(16, 0x20));
    const Bytes uncompressed = Bytes(kQuestion.begin(), kQuestion.end() - 4);
    struct Case {
        const char* What;
        Bytes Answer;
        std::vector<std::string> Expected;
    };
    for (const Case& c : {
             Case{"two A records",
                  Header(0x8180, 2) + kQuestion + Record(kToQuestion, 1, {192, 0, 2, 1}) +
                      Record(kToQuestion, 1, {192, 0, 2, 255}),
                  {"192.0.2.1", "192.0.2.255"}},
             Case{"a CNAME, then an A named through it",
                  Header(0x8180, 2) + kQuestion + cname + Record({0xC0, 45}, 1, {198, 51, 100, 7}),
                  {"198.51.100.7"}},
             Case{"other types are stepped over",
                  Header(0x8180, 2) + kQuestion + aaaa + Record(uncompressed, 1, {127, 0, 0, 2}),
                  {"127.0.0.2"}},
             Case{"no answer records", kResponse + kQuestion, {}},
             Case{"no such name, rcode 3", Header(0x8183, 0) + kQuestion, {}},
             Case{"records past the answer section are not read",
                  Header(0x8180, 1) + kQuestion + Record(kToQuestion, 1, {10, 0, 0, 1}) +
                      Bytes{0xC0},
                  {"10.0.0.1"}},
         }) {
        SCOPED_TRACE(c.What);
        const auto addresses = clsDnsMessage::ParseAnswer(c.Answer);
        ASSERT_TRUE(addresses.has_value());
        EXPECT_EQ(*addresses, c.Expected);
    }
}

TEST(DnsMessageAnswer, RejectsMalformedAnswers) {
    const Bytes one = Header(0x8180, 1) + kQuestion;
    const Bytes longName = Label(63) + Label(63) + Label(63) + Label(63) + Bytes{0};
    struct Case {
        const char* What;
        Bytes Answer;
    };
    for (const Case& c : {
             Case{"short header", Bytes(kResponse.begin(), kResponse.end() - 1)},
             Case{"another ID", Header(0x8180, 0, 0x11DE) + kQuestion},
             Case{"a query, not a response", Header(0x0100, 0) + kQuestion},
             Case{"server failure", Header(0x8182, 0) + kQuestion},
             Case{"question cut in its name",
                  kResponse + Bytes(kQuestion.begin(), kQuestion.begin() + 9)},
             Case{"question without type and class",
                  kResponse + Bytes(kQuestion.begin(), kQuestion.end() - 3)},
             Case{"pointer to itself", one + Record({0xC0, 33}, 1, {1, 2, 3, 4})},
             Case{"pointer back into its own name",
                  one + Record({1, 'x', 0xC0, 33}, 1, {1, 2, 3, 4})},
             Case{"forward pointer", one + Record({0xC0, 49}, 1, {1, 2, 3, 4}) + kQuestion},
             Case{"pointer into the header", one + Record({0xC0, 6}, 1, {1, 2, 3, 4})},
             Case{"pointer cut in half", one + Bytes{0xC0}},
             Case{"reserved label type", one + Record({0x40, 'x', 0}, 1, {1, 2, 3, 4})},
             Case{"name longer than 255 bytes", one + Record(longName, 1, {1, 2, 3, 4})},
             Case{"record cut in its fixed part", one + Bytes{0xC0, 12, 0, 1, 0, 1, 0}},
             Case{"data length past the end",
                  one + Bytes{0xC0, 12, 0, 1, 0, 1, 0, 0, 0, 60, 0, 4, 1, 2}},
             Case{"an A record of five bytes", one + Record(kToQuestion, 1, {1, 2, 3, 4, 5})},
             Case{"fewer records than counted",
                  Header(0x8180, 2) + kQuestion + Record(kToQuestion, 1, {1, 2, 3, 4})},
         }) {
        SCOPED_TRACE(c.What);
        EXPECT_FALSE(clsDnsMessage::ParseAnswer(c.Answer).has_value());
    }
}
