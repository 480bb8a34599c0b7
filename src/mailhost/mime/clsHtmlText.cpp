#include "mailhost/mime/clsHtmlText.h"

#include <libxml/HTMLparser.h>
#include <libxml/parser.h>

#include <algorithm>
#include <array>
#include <climits>
#include <memory>
#include <mutex>

namespace {

// Without NOIMPLIED: with it, libxml2 loses the text that follows a <style> element.
constexpr int kParseOptions =
    static_cast<int>(HTML_PARSE_RECOVER) | static_cast<int>(HTML_PARSE_NOERROR) |
    static_cast<int>(HTML_PARSE_NOWARNING) | static_cast<int>(HTML_PARSE_NONET) |
    static_cast<int>(HTML_PARSE_IGNORE_ENC) | static_cast<int>(XML_PARSE_HUGE);

constexpr std::array<std::string_view, 4> kHiddenElements = {"script", "style", "head", "title"};
constexpr std::array<std::string_view, 27> kBlockElements = {
    "p",          "div",     "tr",     "li",   "h1",      "h2",      "h3",     "h4",     "h5",
    "h6",         "ul",      "ol",     "dl",   "dt",      "dd",      "table",  "pre",    "hr",
    "blockquote", "address", "center", "form", "section", "article", "header", "footer", "caption"};

constexpr std::size_t kMaxEmptyLines = 1;

struct clsDocFree {
    void operator()(xmlDoc* doc) const { xmlFreeDoc(doc); }
};

std::string_view ElementName(const xmlNode& node) {
    return node.type == XML_ELEMENT_NODE && node.name != nullptr
               ? std::string_view(reinterpret_cast<const char*>(node.name))
               : std::string_view();
}

template <std::size_t N>
bool IsOneOf(std::string_view name, const std::array<std::string_view, N>& names) {
    return !name.empty() && std::find(names.begin(), names.end(), name) != names.end();
}

// Collects text, collapsing blanks and line breaks as they arrive.
class clsTextBuilder {
public:
    void AddText(std::string_view text) {
        for (std::size_t pos = 0; pos < text.size(); ++pos) {
            const char c = text[pos];
            if (c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f') {
                mPendingSpace = true;
            } else if (c == '\xC2' && pos + 1 < text.size() && text[pos + 1] == '\xA0') {
                mPendingSpace = true;  // U+00A0, the no-break space
                ++pos;
            } else {
                Flush();
                mText += c;
            }
        }
    }
    void AddSpace() { mPendingSpace = true; }
    // A <br>: each one ends a line, so two make an empty line.
    void AddLineBreak() { mPendingBreaks = std::min(mPendingBreaks + 1, kMaxEmptyLines + 1); }
    // A block's edge: the text goes on on a new line, however many edges meet here.
    void AddBlockEdge() { mPendingBreaks = std::max<std::size_t>(mPendingBreaks, 1); }
    std::string Take() { return std::move(mText); }

private:
    void Flush() {
        if (!mText.empty() && mPendingBreaks > 0) {
            mText.append(mPendingBreaks, '\n');
        } else if (!mText.empty() && mPendingSpace) {
            mText += ' ';
        }
        mPendingBreaks = 0;
        mPendingSpace = false;
    }

    std::string mText;
    std::size_t mPendingBreaks = 0;
    bool mPendingSpace = false;
};

// Called when the walk reaches a node; returns whether to go into its children.
bool Enter(const xmlNode& node, clsTextBuilder& text) {
    if ((node.type == XML_TEXT_NODE || node.type == XML_CDATA_SECTION_NODE) &&
        node.content != nullptr) {
        text.AddText(reinterpret_cast<const char*>(node.content));
        return false;
    }
    const std::string_view name = ElementName(node);
    if (name == "br") {
        text.AddLineBreak();
    } else if (name == "td" || name == "th") {
        text.AddSpace();
    } else if (IsOneOf(name, kBlockElements)) {
        text.AddBlockEdge();
    }
    return node.children != nullptr && !name.empty() && !IsOneOf(name, kHiddenElements);
}

void Leave(const xmlNode& node, clsTextBuilder& text) {
    if (IsOneOf(ElementName(node), kBlockElements)) {
        text.AddBlockEdge();
    }
}

// Depth first, with the tree's own parent links instead of a stack.
void Walk(xmlDoc& doc, clsTextBuilder& text) {
    xmlNode* node = doc.children;
    while (node != nullptr) {
        if (Enter(*node, text)) {
            node = node->children;
            continue;
        }
        while (node != nullptr) {
            Leave(*node, text);
            if (node->next != nullptr) {
                node = node->next;
                break;
            }
            node = node->parent == reinterpret_cast<xmlNode*>(&doc) ? nullptr : node->parent;
        }
    }
}

}  // namespace

std::string clsHtmlText::ToText(std::string_view utf8Html) {
    static std::once_flag initialised;
    std::call_once(initialised, xmlInitParser);
    if (utf8Html.empty()) {
        return {};
    }
    const int size = static_cast<int>(std::min<std::size_t>(utf8Html.size(), INT_MAX));
    std::unique_ptr<xmlDoc, clsDocFree> doc(
        htmlReadMemory(utf8Html.data(), size, nullptr, "UTF-8", kParseOptions));
    if (!doc) {
        return {};
    }
    clsTextBuilder text;
    Walk(*doc, text);
    return text.Take();
}
