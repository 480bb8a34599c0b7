#pragma once
// clsHtmlText: the readable text of an HTML mail body, as a plain-text reader would want it:
// script, style and head contents dropped; <br>, <p>, <div>, <tr>, <li>, headings and the other
// block elements become line breaks; table cells are separated by a space; entities decoded;
// runs of blanks (no-break spaces too) collapsed to one space and runs of empty lines to one.
// Uses libxml2's forgiving HTML parser, reading its events as they come rather than a document
// tree it would build and free again: the text is the same, at about half the cost. Nesting
// depth costs no stack. Stateless; any thread. Never throws but std::bad_alloc; what libxml2
// cannot read at all gives "".

#include <string>
#include <string_view>

class clsHtmlText {
public:
    // utf8Html: the HTML already converted to UTF-8 (any <meta> charset in it is ignored).
    static std::string ToText(std::string_view utf8Html);
};
