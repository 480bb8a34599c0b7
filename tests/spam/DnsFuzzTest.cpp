// ParseAnswer against many machine-made datagrams. Random well-formed answers with compression
// must read back exactly their A records, and every shortened copy must be refused; mutated and
// random datagrams must come back refused or with no more addresses than records, never as a crash,
// an out-of-bounds read or a hang (the sanitizer build runs this). Seeded, so a failure repeats.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "spam/clsDnsMessage.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t kSeed = 20261122;
constexpr int kGenerated = 30000;
constexpr int kMutated = 60000;
constexpr int kMutationsEach = 4;
constexpr int kRandom = 30000;

struct clsGeneratedAnswer {
    Bytes Datagram;
    std::vector<std::string> Addresses;
};

// Well-formed answers: one question, up to eight records (A in class IN and CH, AAAA, CNAME,
// TXT), names of up to three labels of any bytes, often ending in a pointer to an earlier name.
class clsAnswerGenerator {
public:
    explicit clsAnswerGenerator(std::mt19937& random) : mRandom(random) {}

    clsGeneratedAnswer Next() {
        mAnswer = {};
        mNames.clear();
        const int records = Between(0, 8);
        mAnswer.Datagram = {0x11, 0xDF, 0x81, 0x80, 0, 1, 0, static_cast<std::uint8_t>(records),
                            0,    0,    0,    0};
        AppendName();
        AppendU16(1);
        AppendU16(1);
        for (int record = 0; record < records; ++record) {
            AppendRecord();
        }
        return mAnswer;
    }

private:
    struct clsNameStart {
        std::size_t Offset;
        std::size_t WireLength;
    };

    int Between(int low, int high) {
        return std::uniform_int_distribution<int>(low, high)(mRandom);
    }
    std::uint8_t AnyByte() { return static_cast<std::uint8_t>(Between(0, 255)); }
    void AppendU16(int value) {
        mAnswer.Datagram.push_back(static_cast<std::uint8_t>(value >> 8));
        mAnswer.Datagram.push_back(static_cast<std::uint8_t>(value & 0xFF));
    }

    void AppendName() {
        Bytes& out = mAnswer.Datagram;
        const std::size_t start = out.size();
        std::size_t length = 0;
        for (int label = Between(0, 3); label > 0; --label) {
            const int size = Between(1, 12);
            out.push_back(static_cast<std::uint8_t>(size));
            for (int i = 0; i < size; ++i) {
                out.push_back(AnyByte());
            }
            length += static_cast<std::size_t>(size) + 1;
        }
        if (!mNames.empty() && Between(0, 2) > 0) {
            const clsNameStart& target =
                mNames[static_cast<std::size_t>(Between(0, static_cast<int>(mNames.size()) - 1))];
            if (length + target.WireLength <= clsDnsMessage::kMaxNameLength) {
                AppendU16(0xC000 | static_cast<int>(target.Offset));
                mNames.push_back({start, length + target.WireLength});
                return;
            }
        }
        out.push_back(0);
        mNames.push_back({start, length + 1});
    }

    void AppendRecord() {
        AppendName();
        const int kind = Between(0, 5);
        const int type = kind <= 2 ? 1 : kind == 3 ? 28 : kind == 4 ? 5 : 16;
        AppendU16(type);
        AppendU16(kind == 2 ? 3 : 1);  // class CH: not an address of ours
        AppendU16(Between(0, 0xFFFF));
        AppendU16(Between(0, 0xFFFF));
        const std::size_t lengthAt = mAnswer.Datagram.size();
        AppendU16(0);
        if (type == 5) {
            AppendName();
        } else {
            const int size = type == 1 ? 4 : type == 28 ? 16 : Between(1, 20);
            for (int i = 0; i < size; ++i) {
                mAnswer.Datagram.push_back(AnyByte());
            }
        }
        const std::size_t dataLength = mAnswer.Datagram.size() - lengthAt - 2;
        mAnswer.Datagram[lengthAt + 1] = static_cast<std::uint8_t>(dataLength);
        if (kind <= 1) {
            const std::uint8_t* data = &mAnswer.Datagram[lengthAt + 2];
            mAnswer.Addresses.push_back(std::to_string(data[0]) + "." + std::to_string(data[1]) +
                                        "." + std::to_string(data[2]) + "." +
                                        std::to_string(data[3]));
        }
    }

    std::mt19937& mRandom;
    clsGeneratedAnswer mAnswer;
    std::vector<clsNameStart> mNames;
};

Bytes Mutated(Bytes datagram, std::mt19937& random) {
    auto between = [&random](std::size_t low, std::size_t high) {
        return std::uniform_int_distribution<std::size_t>(low, high)(random);
    };
    const auto anyByte = [&between] { return static_cast<std::uint8_t>(between(0, 255)); };
    switch (between(0, 3)) {
        case 0:  // flip a few bytes
            for (std::size_t flips = between(1, 4); flips > 0; --flips) {
                datagram[between(0, datagram.size() - 1)] ^=
                    static_cast<std::uint8_t>(between(1, 255));
            }
            break;
        case 1:  // drop a pointer in anywhere, aimed anywhere near the datagram
            datagram.insert(
                datagram.begin() + static_cast<std::ptrdiff_t>(between(12, datagram.size())),
                {static_cast<std::uint8_t>(0xC0 | between(0, 1)), anyByte()});
            break;
        case 2:  // overwrite the counts
            for (std::size_t at = 4; at < 8; ++at) {
                datagram[at] = between(0, 3) == 0 ? anyByte() : datagram[at];
            }
            break;
        default:  // cut and pad with noise
            datagram.resize(between(0, datagram.size()));
            for (std::size_t noise = between(0, 8); noise > 0; --noise) {
                datagram.push_back(anyByte());
            }
            break;
    }
    return datagram;
}

// A refusal, or at most as many addresses as the datagram counts answers.
void ExpectHarmless(const Bytes& datagram, int number) {
    const auto addresses = clsDnsMessage::ParseAnswer(datagram);
    if (!addresses) {
        return;
    }
    ASSERT_GE(datagram.size(), 8u) << "datagram " << number;
    EXPECT_LE(addresses->size(), static_cast<std::size_t>(datagram[6] << 8 | datagram[7]))
        << "datagram " << number;
}

}  // namespace

TEST(DnsFuzz, GeneratedAnswersReadBackAndEveryShortenedCopyIsRefused) {
    std::mt19937 random(kSeed);
    clsAnswerGenerator generator(random);
    for (int i = 0; i < kGenerated; ++i) {
        const clsGeneratedAnswer answer = generator.Next();
        const auto addresses = clsDnsMessage::ParseAnswer(answer.Datagram);
        ASSERT_TRUE(addresses.has_value()) << "answer " << i;
        ASSERT_EQ(*addresses, answer.Addresses) << "answer " << i;
        const std::size_t cut =
            std::uniform_int_distribution<std::size_t>(0, answer.Datagram.size() - 1)(random);
        const Bytes shortened(answer.Datagram.begin(),
                              answer.Datagram.begin() + static_cast<std::ptrdiff_t>(cut));
        ASSERT_FALSE(clsDnsMessage::ParseAnswer(shortened).has_value())
            << "answer " << i << " cut to " << cut;
    }
}

TEST(DnsFuzz, MutatedAndRandomDatagramsAreReadSafely) {
    std::mt19937 random(kSeed + 1);
    clsAnswerGenerator generator(random);
    for (int i = 0; i < kMutated; i += kMutationsEach) {
        const Bytes original = generator.Next().Datagram;
        for (int j = 0; j < kMutationsEach; ++j) {
            ExpectHarmless(Mutated(original, random), i + j);
        }
    }
    for (int i = 0; i < kRandom; ++i) {
        Bytes datagram(std::uniform_int_distribution<std::size_t>(0, 300)(random));
        for (std::uint8_t& byte : datagram) {
            byte = static_cast<std::uint8_t>(random());
        }
        // Most get a header the parser accepts, so that it reads on into the noise.
        const Bytes header = {0x11, 0xDF, 0x81, 0x80, 0, 1, 0, 3};
        for (std::size_t at = 0; at < header.size() && at < datagram.size() && i % 4 != 0; ++at) {
            datagram[at] = header[at];
        }
        ExpectHarmless(datagram, kMutated + i);
    }
}
