// ParseAnswer against 150,000 machine-made datagrams. 30,000 generated answers with compression
// must read back exactly their A records, and a shortened copy of each must be refused; three
// mutated copies of each, down to pure noise, must come back refused or with no more addresses
// than records, never as a crash, an out-of-bounds read or a hang (the sanitizer build runs this).
// Seeded, so a failure repeats.
#include <gtest/gtest.h>

#include <random>

#include "spam/clsDnsMessage.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

class clsDatagramMaker {
public:
    std::size_t Between(std::size_t low, std::size_t high) {
        return std::uniform_int_distribution<std::size_t>(low, high)(mRandom);
    }

    // A well-formed answer of up to eight records, each an A in class IN (whose address goes to
    // `addresses`), an A in class CH, an AAAA or a CNAME (a name as its data).
    Bytes Answer(std::vector<std::string>& addresses) {
        mNames.clear();
        const std::uint8_t records = Byte(Between(0, 8));
        Bytes out = {0x11, 0xDF, 0x81, 0x80, 0, 1, 0, records, 0, 0, 0, 0};
        AppendName(out);
        out.insert(out.end(), {0, 1, 0, 1});
        for (std::uint8_t record = 0; record < records; ++record) {
            AppendName(out);
            const std::size_t kind = Between(0, 3);
            const std::uint8_t size = kind < 2 ? 4 : kind == 2 ? 16 : 0;
            out.insert(out.end(), {0,
                                   Byte(kind < 2    ? 1
                                        : kind == 2 ? 28
                                                    : 5),
                                   0, Byte(kind == 1 ? 3 : 1), 0, 0, 0, 60, 0, size});
            const std::size_t start = out.size();
            AppendNoise(out, size);
            if (kind == 3) {
                AppendName(out);
                out[start - 1] = Byte(out.size() - start);
            } else if (kind == 0) {
                addresses.push_back(
                    std::to_string(out[start]) + "." + std::to_string(out[start + 1]) + "." +
                    std::to_string(out[start + 2]) + "." + std::to_string(out[start + 3]));
            }
        }
        return out;
    }

    // Flips a few bytes (the counts among them at times), or drops in a pointer aimed anywhere
    // near the datagram, or cuts it anywhere (to nothing at times) and pads it with noise.
    Bytes Mutated(Bytes datagram) {
        const std::size_t how = Between(0, 2);
        for (std::size_t flips = how == 0 ? Between(1, 4) : 0; flips > 0; --flips) {
            datagram[Between(0, datagram.size() - 1)] ^= Byte(Between(1, 255));
        }
        if (how == 1) {
            datagram.insert(
                datagram.begin() + static_cast<std::ptrdiff_t>(Between(12, datagram.size())),
                {Byte(0xC0 | Between(0, 1)), Byte(Between(0, 255))});
        } else if (how == 2) {
            datagram.resize(Between(0, datagram.size()));
            AppendNoise(datagram, Between(0, 300));
        }
        return datagram;
    }

private:
    static std::uint8_t Byte(std::size_t value) { return static_cast<std::uint8_t>(value); }
    void AppendNoise(Bytes& out, std::size_t size) {
        for (; size > 0; --size) {
            out.push_back(Byte(Between(0, 255)));
        }
    }

    // Up to two labels of up to six bytes, often ending in a pointer to an earlier name: every
    // pointer goes back to another name's start, so even 17 names chained stay within 255 bytes.
    void AppendName(Bytes& out) {
        mNames.push_back(out.size());
        for (std::size_t label = Between(0, 2); label > 0; --label) {
            const std::size_t size = Between(1, 6);
            out.push_back(Byte(size));
            AppendNoise(out, size);
        }
        if (mNames.size() > 1 && Between(0, 2) > 0) {
            const std::size_t target = mNames[Between(0, mNames.size() - 2)];
            out.insert(out.end(), {Byte(0xC0 | target >> 8), Byte(target & 0xFF)});
        } else {
            out.push_back(0);
        }
    }

    std::mt19937 mRandom{20261122};
    std::vector<std::size_t> mNames;  // where each name so far starts
};

}  // namespace

TEST(DnsFuzz, GeneratedAnswersReadBackAndDamagedCopiesAreReadSafely) {
    clsDatagramMaker maker;
    for (int i = 0; i < 30000; ++i) {
        std::vector<std::string> addresses;
        const Bytes answer = maker.Answer(addresses);
        ASSERT_EQ(clsDnsMessage::ParseAnswer(answer), addresses) << "answer " << i;
        const std::size_t cut = maker.Between(0, answer.size() - 1);
        ASSERT_FALSE(clsDnsMessage::ParseAnswer(std::span(answer).first(cut)).has_value())
            << "answer " << i << " cut to " << cut;
        for (int copy = 0; copy < 3; ++copy) {
            const Bytes mutated = maker.Mutated(answer);
            const auto read = clsDnsMessage::ParseAnswer(mutated);
            ASSERT_TRUE(!read || (mutated.size() >= 12 &&
                                  read->size() <= (std::size_t{mutated[6]} << 8 | mutated[7])))
                << "answer " << i << " copy " << copy;
        }
    }
}
