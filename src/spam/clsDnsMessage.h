#pragma once
// clsDnsMessage: the two datagrams of the block-list client: a one-question A query, and the A
// records read back from an answer. Used by clsDnsClient; pure functions, any thread.
// Failure: an unusable name gives an empty query; an unusable answer gives nullopt. Answers are
// hostile input: they are never read out of bounds and compression pointers cannot loop.

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

class clsDnsMessage {
public:
    // Every query carries this ID; the client tells answers apart by their question.
    static constexpr std::uint16_t kQueryID = 0x11DF;
    static constexpr std::size_t kHeaderSize = 12;
    static constexpr std::size_t kMaxLabelLength = 63;
    // The longest name on the wire, length bytes and the final zero included.
    static constexpr std::size_t kMaxNameLength = 255;

    // Header (ID kQueryID, flags 0100: recursion desired; one question), then the name's labels
    // as length-prefixed bytes and a zero, then type A and class IN. One trailing "." (a fully
    // qualified name) is allowed. Empty when a label is empty or longer than 63 bytes, or the
    // encoded name is longer than 255.
    static std::vector<std::uint8_t> BuildQuery(std::string_view name);

    // The A records (class IN) of the answer section as dotted quads, in their order; other
    // record types are stepped over. A "no such name" answer is a usable, empty answer.
    // nullopt when the answer is malformed (short header, another ID, not a response, a length
    // or pointer past the end, a pointer that does not point strictly backwards, a truncated
    // record, an A record that is not four bytes) or the server reports an error.
    static std::optional<std::vector<std::string>> ParseAnswer(
        std::span<const std::uint8_t> answer);
};
