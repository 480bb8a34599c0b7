#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "mailhost/mime/clsHtmlText.h"

namespace {

struct HtmlCase {
    std::string_view Html, Text;
};

// Paragraphs, line breaks, lists, tables, blanks, &nbsp;, style, script, title, comments and a
// document's own charset are in the html-only.eml fixture that MimeMessageRead reads.
TEST(HtmlText, GivesTheTextAReaderSees) {
    for (const HtmlCase& c : {
             HtmlCase{"", ""},
             HtmlCase{"&lt;&amp;&gt;&quot;&#233;&eacute;&#x20AC;&euro;", "<&>\"éé€€"},
             HtmlCase{"&unknown; AT&T", "&unknown; AT&T"},  // kept as written
             // hidden content
             HtmlCase{"<script>var a = '<p>no</p>';</script>shown", "shown"},
             // broken HTML still gives its text
             HtmlCase{"<p>unclosed <b>bold <i>italic", "unclosed bold italic"},
             HtmlCase{"text <with <<< brackets", "text"},
             // Word's <o:p> is a paragraph, as its local name says; text ahead of every element
             // belongs to none
             HtmlCase{"x<o:p>y</o:p>z", "x\ny\nz"},
             HtmlCase{"<<b>bold</b>", "bold"},
         }) {
        SCOPED_TRACE(c.Html);
        EXPECT_EQ(clsHtmlText::ToText(c.Html), c.Text);
    }
}

// Nesting depth costs no stack, and a long line comes through whole.
TEST(HtmlText, ReadsDeepNestingAndLongLines) {
    const int depth = 100000;
    std::string nested;
    for (int level = 0; level < depth; ++level) {
        nested += "<div>";
    }
    nested += "deep";
    EXPECT_NE(clsHtmlText::ToText(nested).find("deep"), std::string::npos);
    const std::string longLine(2 * 1024 * 1024, 'w');
    EXPECT_EQ(clsHtmlText::ToText("<p>" + longLine + "</p>"), longLine);
}

}  // namespace
