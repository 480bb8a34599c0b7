#pragma once
// clsHeaderBlock: where a raw message's header block ends and where each of its fields lies, by
// byte offsets, so that callers can copy the block exactly or cut fields out of it without
// re-serialising anything.
// The block is the leading run of header lines ("Name: value": a name of printable ASCII other
// than ':', blanks allowed before the colon) with their continuation lines (beginning with a space
// or a tab). It ends at the first empty line, which is not part of it, or, in a message with no
// empty line after its headers, at the first line that is neither a header nor a continuation:
// that line is the body's first. Line ends may be CRLF or LF.
// A view: the raw message must outlive it. Any thread; never throws but std::bad_alloc.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

class clsHeaderBlock {
public:
    struct Field {
        std::string_view Name;  // as written, without the blanks before the colon
        std::size_t Begin;      // offset of the name's first byte
        std::size_t End;        // offset just past the field's last line end (continuations too)
    };

    explicit clsHeaderBlock(std::string_view rawMessage);

    // The offset just past the block: where its empty line, or the body, begins.
    std::size_t End() const { return mEnd; }
    std::string_view Text() const { return mRaw.substr(0, mEnd); }
    // The message's line end: that of its first line; CRLF when it has no line end at all.
    std::string_view LineEnd() const { return mLineEnd; }
    const std::vector<Field>& Fields() const { return mFields; }
    // The first field of that name (ASCII case ignored): its value unfolded (line ends removed)
    // and trimmed of blanks; nothing when there is no such field.
    std::optional<std::string> Value(std::string_view name) const;
    // Whether the field is named so, ASCII case ignored.
    static bool IsNamed(const Field& field, std::string_view name);

private:
    // The name of the header that the line starts, "" when the line does not start one.
    static std::string_view HeaderName(std::string_view line);

    std::string_view mRaw;
    std::size_t mEnd = 0;
    std::string_view mLineEnd = "\r\n";
    std::vector<Field> mFields;
};
