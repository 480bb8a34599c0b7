#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "mailhost/mime/clsHtmlText.h"

namespace {

struct HtmlCase {
    std::string_view Html;
    std::string_view Text;
};

TEST(HtmlText, GivesTheTextAReaderSees) {
    for (const HtmlCase& c : {
             HtmlCase{"", ""},
             HtmlCase{"<html><body></body></html>", ""},
             HtmlCase{"<p>one</p><p>two</p>", "one\ntwo"},
             HtmlCase{"<div>one</div><div><div>two</div></div>", "one\ntwo"},
             HtmlCase{"a<br>b<br/>c", "a\nb\nc"},
             HtmlCase{"a<br><br><br><br>b", "a\n\nb"},
             HtmlCase{"<ul><li>1</li><li>2</li></ul>", "1\n2"},
             HtmlCase{"<table><tr><td>a</td><td>b</td></tr><tr><td>c</td></tr></table>", "a b\nc"},
             HtmlCase{"<h1>Title</h1>text", "Title\ntext"},
             HtmlCase{"<b>he</b>llo <i>world</i>", "hello world"},
             HtmlCase{"  lots \n\t of \r\n  blanks  ", "lots of blanks"},
             HtmlCase{"x&nbsp;&nbsp; y", "x y"},
             HtmlCase{"&lt;&amp;&gt;&quot;&#233;&eacute;&#x20AC;&euro;", "<&>\"éé€€"},
             HtmlCase{"&unknown; AT&T", "&unknown; AT&T"},  // kept as written
             // hidden content
             HtmlCase{"<style>p { color: red }</style>after the style", "after the style"},
             HtmlCase{"<script>var a = '<p>no</p>';</script>shown", "shown"},
             HtmlCase{"<head><title>Tab title</title><style>x{}</style></head><body>b</body>", "b"},
             HtmlCase{"<!-- a comment -->x", "x"},
             // broken HTML still gives its text
             HtmlCase{"<p>unclosed <b>bold <i>italic", "unclosed bold italic"},
             HtmlCase{"</p></div>stray closers<p>", "stray closers"},
             HtmlCase{"text <with <<< brackets", "text"},
             // the charset is ours, not the document's
             HtmlCase{"<meta charset=\"iso-8859-1\"><p>caf\xC3\xA9</p>", "café"},
             HtmlCase{"<meta http-equiv=\"Content-Type\" content=\"text/html; charset=koi8-r\">"
                      "\xC3\xA9t\xC3\xA9",
                      "été"},
         }) {
        SCOPED_TRACE(c.Html);
        EXPECT_EQ(clsHtmlText::ToText(c.Html), c.Text);
    }
}

// The walk follows the tree's own links, so nesting depth costs no stack.
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
