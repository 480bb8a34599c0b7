#include "spam/clsDnsMessage.h"

namespace {

constexpr std::uint16_t kTypeA = 1;
constexpr std::uint16_t kClassIn = 1;
constexpr std::uint16_t kResponseBit = 0x8000;
constexpr std::uint16_t kOpcodeBits = 0x7800;
constexpr std::uint16_t kRcodeBits = 0x000F;
constexpr std::uint16_t kRcodeNoError = 0;
constexpr std::uint16_t kRcodeNameError = 3;
constexpr std::uint8_t kPointerBits = 0xC0;
// Type, class, time-to-live and data length after a record's name.
constexpr std::size_t kRecordFixedSize = 10;
// Type and class after a question's name.
constexpr std::size_t kQuestionFixedSize = 4;

void AppendU16(std::vector<std::uint8_t>& out, std::uint16_t value) {
    out.push_back(static_cast<std::uint8_t>(value >> 8));
    out.push_back(static_cast<std::uint8_t>(value & 0xFF));
}

std::uint16_t ReadU16(std::span<const std::uint8_t> data, std::size_t offset) {
    return static_cast<std::uint16_t>((data[offset] << 8) | data[offset + 1]);
}

// The offset just past the name that starts at `offset` (past its first pointer when it has
// one). Each pointer must point before the stretch of labels that led to it, so every jump goes
// strictly backwards and the walk ends; the header is never a name.
std::optional<std::size_t> SkipName(std::span<const std::uint8_t> data, std::size_t offset) {
    std::optional<std::size_t> end;
    std::size_t position = offset;
    std::size_t limit = offset;
    std::size_t length = 0;
    while (position < data.size()) {
        const std::uint8_t lengthByte = data[position];
        if ((lengthByte & kPointerBits) == kPointerBits) {
            if (position + 1 >= data.size()) {
                return std::nullopt;
            }
            const std::size_t target = ReadU16(data, position) & 0x3FFFu;
            if (target < clsDnsMessage::kHeaderSize || target >= limit) {
                return std::nullopt;
            }
            end = end.value_or(position + 2);
            position = limit = target;
            continue;
        }
        if ((lengthByte & kPointerBits) != 0) {
            return std::nullopt;  // the extended label types are not used in answers
        }
        length += lengthByte + 1u;
        if (length > clsDnsMessage::kMaxNameLength) {
            return std::nullopt;
        }
        if (lengthByte == 0) {
            return end.value_or(position + 1);
        }
        position += lengthByte + 1u;
    }
    return std::nullopt;
}

std::string DottedQuad(std::span<const std::uint8_t> bytes) {
    return std::to_string(bytes[0]) + "." + std::to_string(bytes[1]) + "." +
           std::to_string(bytes[2]) + "." + std::to_string(bytes[3]);
}

// Reads one answer record at `offset`, adding its address when it is an A record, and returns
// the offset past it.
std::optional<std::size_t> ReadRecord(std::span<const std::uint8_t> data, std::size_t offset,
                                      std::vector<std::string>& addresses) {
    const std::optional<std::size_t> fixed = SkipName(data, offset);
    if (!fixed || data.size() - *fixed < kRecordFixedSize) {
        return std::nullopt;
    }
    const std::size_t start = *fixed + kRecordFixedSize;
    const std::size_t dataLength = ReadU16(data, *fixed + 8);
    if (data.size() - start < dataLength) {
        return std::nullopt;
    }
    if (ReadU16(data, *fixed) == kTypeA && ReadU16(data, *fixed + 2) == kClassIn) {
        if (dataLength != 4) {
            return std::nullopt;
        }
        addresses.push_back(DottedQuad(data.subspan(start, 4)));
    }
    return start + dataLength;
}

bool IsUsableResponse(std::span<const std::uint8_t> data) {
    if (data.size() < clsDnsMessage::kHeaderSize || ReadU16(data, 0) != clsDnsMessage::kQueryID) {
        return false;
    }
    const std::uint16_t flags = ReadU16(data, 2);
    const std::uint16_t rcode = flags & kRcodeBits;
    return (flags & kResponseBit) != 0 && (flags & kOpcodeBits) == 0 &&
           (rcode == kRcodeNoError || rcode == kRcodeNameError);
}

}  // namespace

std::vector<std::uint8_t> clsDnsMessage::BuildQuery(std::string_view name) {
    if (name.ends_with('.')) {
        name.remove_suffix(1);
    }
    if (name.size() + 2 > kMaxNameLength) {
        return {};
    }
    std::vector<std::uint8_t> query;
    for (const std::uint16_t word : {kQueryID, std::uint16_t{0x0100}, std::uint16_t{1},
                                     std::uint16_t{0}, std::uint16_t{0}, std::uint16_t{0}}) {
        AppendU16(query, word);
    }
    for (std::size_t start = 0; start <= name.size();) {
        const std::size_t dot = std::min(name.find('.', start), name.size());
        const std::size_t length = dot - start;
        if (length == 0 || length > kMaxLabelLength) {
            return {};
        }
        query.push_back(static_cast<std::uint8_t>(length));
        query.insert(query.end(), name.begin() + static_cast<std::ptrdiff_t>(start),
                     name.begin() + static_cast<std::ptrdiff_t>(dot));
        start = dot + 1;
    }
    query.push_back(0);
    AppendU16(query, kTypeA);
    AppendU16(query, kClassIn);
    return query;
}

std::optional<std::vector<std::string>> clsDnsMessage::ParseAnswer(
    std::span<const std::uint8_t> answer) {
    if (!IsUsableResponse(answer)) {
        return std::nullopt;
    }
    std::size_t offset = kHeaderSize;
    for (std::uint16_t question = ReadU16(answer, 4); question > 0; --question) {
        const std::optional<std::size_t> end = SkipName(answer, offset);
        if (!end || answer.size() - *end < kQuestionFixedSize) {
            return std::nullopt;
        }
        offset = *end + kQuestionFixedSize;
    }
    std::vector<std::string> addresses;
    for (std::uint16_t record = ReadU16(answer, 6); record > 0; --record) {
        const std::optional<std::size_t> end = ReadRecord(answer, offset, addresses);
        if (!end) {
            return std::nullopt;
        }
        offset = *end;
    }
    return addresses;
}
