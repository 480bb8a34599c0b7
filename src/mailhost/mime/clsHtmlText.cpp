#include "mailhost/mime/clsHtmlText.h"

#include <libxml/HTMLparser.h>
#include <libxml/SAX2.h>
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

struct clsContextFree {
    void operator()(htmlParserCtxt* context) const { htmlFreeParserCtxt(context); }
};

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

// Follows the parser's events as they come, with no tree: the elements it opens and closes
// (those it implies or closes on its own too) and the text between them.
class clsTextReader {
public:
    void Open(std::string_view name) {
        ++mOpen;
        if (mHiddenDepth > 0 || IsOneOf(name, kHiddenElements)) {
            ++mHiddenDepth;  // nothing inside shows, nested elements included
        } else if (name == "br") {
            mText.AddLineBreak();
        } else if (name == "td" || name == "th") {
            mText.AddSpace();
        } else if (IsOneOf(name, kBlockElements)) {
            mText.AddBlockEdge();
        }
    }
    void Close(std::string_view name) {
        mOpen -= mOpen > 0 ? 1 : 0;
        if (mHiddenDepth > 0) {
            --mHiddenDepth;
        } else if (IsOneOf(name, kBlockElements)) {
            mText.AddBlockEdge();
        }
    }
    // Text outside every element (before the first, after the last) belongs to none: dropped.
    void AddText(std::string_view text) {
        if (mOpen > 0 && mHiddenDepth == 0) {
            mText.AddText(text);
        }
    }
    std::string Take() { return mText.Take(); }

private:
    clsTextBuilder mText;
    std::size_t mOpen = 0;
    std::size_t mHiddenDepth = 0;
};

clsTextReader& ReaderOf(void* context) {
    return *static_cast<clsTextReader*>(static_cast<htmlParserCtxt*>(context)->_private);
}

// An element's local name, as a document node would be named: "o:p" is a "p".
std::string_view NameOf(const xmlChar* name) {
    if (name == nullptr) {
        return {};
    }
    const std::string_view full(reinterpret_cast<const char*>(name));
    const std::size_t colon = full.find(':');
    return colon == std::string_view::npos || colon == 0 || colon + 1 == full.size()
               ? full
               : full.substr(colon + 1);
}

void OnOpen(void* context, const xmlChar* name, const xmlChar** /*attributes*/) {
    ReaderOf(context).Open(NameOf(name));
}

void OnClose(void* context, const xmlChar* name) { ReaderOf(context).Close(NameOf(name)); }

void OnText(void* context, const xmlChar* text, int length) {
    ReaderOf(context).AddText(
        std::string_view(reinterpret_cast<const char*>(text), static_cast<std::size_t>(length)));
}

// The parser's own handler, less everything that builds a document: what is left reports
// elements and text to the reader. Blanks the parser finds ignorable stay ignored.
htmlSAXHandler ReaderHandler() {
    htmlSAXHandler handler{};
    xmlSAX2InitHtmlDefaultSAXHandler(&handler);
    handler.internalSubset = nullptr;
    handler.startDocument = nullptr;
    handler.endDocument = nullptr;
    handler.startElement = OnOpen;
    handler.endElement = OnClose;
    handler.reference = nullptr;
    handler.characters = OnText;
    handler.cdataBlock = OnText;
    handler.processingInstruction = nullptr;
    handler.comment = nullptr;
    return handler;
}

}  // namespace

std::string clsHtmlText::ToText(std::string_view utf8Html) {
    static std::once_flag initialised;
    std::call_once(initialised, xmlInitParser);
    if (utf8Html.empty()) {
        return {};
    }
    static const htmlSAXHandler handler = ReaderHandler();
    const std::unique_ptr<htmlParserCtxt, clsContextFree> context(htmlNewParserCtxt());
    if (!context || context->sax == nullptr) {
        return {};
    }
    *context->sax = handler;
    clsTextReader reader;
    context->_private = &reader;
    const int size = static_cast<int>(std::min<std::size_t>(utf8Html.size(), INT_MAX));
    // The handler makes no document; the call's answer is freed all the same, never leaked.
    xmlFreeDoc(
        htmlCtxtReadMemory(context.get(), utf8Html.data(), size, nullptr, "UTF-8", kParseOptions));
    return reader.Take();
}
