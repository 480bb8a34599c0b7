// ParseAnswer against machine-made datagrams. Generated answers with compression must read back
// exactly their A records, and a shortened copy of each must be refused; mutated copies, down to
// pure noise, must come back refused or with no more addresses than records, never as a crash,
// an out-of-bounds read or a hang (the sanitizer build runs this). Seeded, so a failure repeats.
#include <gtest/gtest.h>

#include <array>
#include <random>

#include "spam/clsDnsMessage.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t kSeed = 20261122;
// Each answer is also read back shortened, and in three mutated copies: 150,000 datagrams.
constexpr int kAnswers = 30000;
constexpr int kMutationsEach = 3;

struct clsRecordKind {
    std::uint8_t Type, Class, DataSize;
};
// A in class IN, A in class CH (not an address of ours), AAAA, CNAME (a name as its data).
constexpr std::array<clsRecordKind, 4> kKinds = {{{1, 1, 4}, {1, 3, 4}, {28, 1, 16}, {5, 1, 0}}};

class clsDatagramMaker {
public:
    explicit clsDatagramMaker(std::uint32_t seed) : mRandom(seed) {}

    std::size_t Between(std::size_t low, std::size_t high) {
        return std::uniform_int_distribution<std::size_t>(low, high)(mRandom);
    }

    // A well-formed answer of up to eight records; `addresses` receives those of its A records
    // in class IN.
    Bytes Answer(std::vector<std::string>& addresses) {
        mNames.clear();
        const std::uint8_t records = Byte(Between(0, 8));
        Bytes out = {0x11, 0xDF, 0x81, 0x80, 0, 1, 0, records, 0, 0, 0, 0};
        AppendName(out);
        out.insert(out.end(), {0, 1, 0, 1});
        for (std::uint8_t record = 0; record < records; ++record) {
            AppendName(out);
            const clsRecordKind& kind = kKinds[Between(0, kKinds.size() - 1)];
            out.insert(out.end(), {0, kind.Type, 0, kind.Class, 0, 0, 0, 60, 0, kind.DataSize});
            const std::size_t start = out.size();
            for (std::size_t i = 0; i < kind.DataSize; ++i) {
                out.push_back(AnyByte());
            }
            if (kind.Type == 5) {
                AppendName(out);
                out[start - 1] = Byte(out.size() - start);
            }
            if (kind.Type == 1 && kind.Class == 1) {
                addresses.push_back(
                    std::to_string(out[start]) + "." + std::to_string(out[start + 1]) + "." +
                    std::to_string(out[start + 2]) + "." + std::to_string(out[start + 3]));
            }
        }
        return out;
    }

    Bytes Mutated(Bytes datagram) {
        const std::size_t how = Between(0, 2);
        if (how == 0) {  // flip a few bytes, the counts among them at times
            for (std::size_t flips = Between(1, 4); flips > 0; --flips) {
                datagram[Between(0, datagram.size() - 1)] ^= Byte(Between(1, 255));
            }
        } else if (how == 1) {  // drop a pointer in anywhere, aimed anywhere near the datagram
            datagram.insert(
                datagram.begin() + static_cast<std::ptrdiff_t>(Between(12, datagram.size())),
                {Byte(0xC0 | Between(0, 1)), AnyByte()});
        } else {  // cut anywhere (to nothing at times) and pad with noise
            datagram.resize(Between(0, datagram.size()));
            for (std::size_t noise = Between(0, 300); noise > 0; --noise) {
                datagram.push_back(AnyByte());
            }
        }
        return datagram;
    }

private:
    static std::uint8_t Byte(std::size_t value) { return static_cast<std::uint8_t>(value); }
    std::uint8_t AnyByte() { return Byte(Between(0, 255)); }

    // Up to two labels of up to six bytes, often ending in a pointer to an earlier name: every
    // pointer goes back to another name's start, so even 17 names chained stay within 255 bytes.
    void AppendName(Bytes& out) {
        const std::size_t start = out.size();
        for (std::size_t label = Between(0, 2); label > 0; --label) {
            const std::size_t size = Between(1, 6);
            out.push_back(Byte(size));
            for (std::size_t i = 0; i < size; ++i) {
                out.push_back(AnyByte());
            }
        }
        if (!mNames.empty() && Between(0, 2) > 0) {
            const std::size_t target = mNames[Between(0, mNames.size() - 1)];
            out.insert(out.end(), {Byte(0xC0 | target >> 8), Byte(target & 0xFF)});
        } else {
            out.push_back(0);
        }
        mNames.push_back(start);
    }

    std::mt19937 mRandom;
    std::vector<std::size_t> mNames;  // where each name so far starts
};

}  // namespace

TEST(DnsFuzz, GeneratedAnswersReadBackAndDamagedCopiesAreReadSafely) {
    clsDatagramMaker maker(kSeed);
    for (int i = 0; i < kAnswers; ++i) {
        std::vector<std::string> addresses;
        const Bytes answer = maker.Answer(addresses);
        ASSERT_EQ(clsDnsMessage::ParseAnswer(answer), addresses) << "answer " << i;
        const std::size_t cut = maker.Between(0, answer.size() - 1);
        ASSERT_FALSE(clsDnsMessage::ParseAnswer(std::span(answer).first(cut)).has_value())
            << "answer " << i << " cut to " << cut;
        for (int copy = 0; copy < kMutationsEach; ++copy) {
            const Bytes mutated = maker.Mutated(answer);
            const auto read = clsDnsMessage::ParseAnswer(mutated);
            ASSERT_TRUE(!read || (mutated.size() >= 12 &&
                                  read->size() <= (std::size_t{mutated[6]} << 8 | mutated[7])))
                << "answer " << i << " copy " << copy;
        }
    }
}
