#pragma once
// clsQueryAddress: whether an address read from a message may reach a rule query. Mail is hostile
// input: an address is let through only when it is a plain addr-spec, a dot-atom local part
// (RFC 5322 atext) and a domain of letters, digits, hyphens and dots. Quotes of either kind,
// blanks, parentheses, backslashes, brackets, control characters and NUL bytes make it no address
// at all. The apostrophe is legal in an address but is refused too: the sender goes into the query
// between double quotes with apostrophes doubled, so such an address could never match exactly
// anyway, and a quote is how an injection starts. Bytes above 0x7F count as letters
// (internationalised addresses). Pure; any thread; never throws.

#include <string_view>

class clsQueryAddress {
public:
    static bool IsSafe(std::string_view address);
};
