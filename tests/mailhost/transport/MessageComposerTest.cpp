#include <gmime/gmime.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>

#include "mailhost/MailhostTestSupport.h"
#include "mailhost/mime/clsMessageComposer.h"
#include "mailhost/mime/clsMimeMessage.h"

namespace {

// The composer's output is read back with GMime itself: an independent reader of the result.
struct clsUnref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
template <typename T>
using clsOwned = std::unique_ptr<T, clsUnref>;

clsOwned<GMimeMessage> Parse(const std::string& bytes) {
    clsMimeMessage::Initialise();
    clsOwned<GMimeStream> stream(g_mime_stream_mem_new_with_buffer(bytes.data(), bytes.size()));
    clsOwned<GMimeParser> parser(g_mime_parser_new_with_stream(stream.get()));
    return clsOwned<GMimeMessage>(g_mime_parser_construct_message(parser.get(), nullptr));
}

std::string Text(GMimeObject* part) {
    char* text = g_mime_text_part_get_text(reinterpret_cast<GMimeTextPart*>(part));
    const std::string result = WithoutCr(text == nullptr ? "" : text);
    g_free(text);
    return result;
}

std::string Addresses(GMimeMessage* message, GMimeAddressType type) {
    char* list = internet_address_list_to_string(g_mime_message_get_addresses(message, type),
                                                 nullptr, FALSE);
    std::string result = list == nullptr ? "" : list;
    g_free(list);
    return result;
}

std::string HeaderBlock(const std::string& bytes) {
    return bytes.substr(0, bytes.find("\r\n\r\n") + 2);
}

bool HasHeaderLine(const std::string& bytes, const std::string& start) {
    return Holds("\r\n" + HeaderBlock(bytes), "\r\n" + start);
}

clsOutgoingMessage Message(std::string subject, std::string body) {
    clsOutgoingMessage message;
    message.From = {"Jörg", "joerg@example.org", RecipientKind::To};
    message.Recipients = {{"Ann", "ann@example.org", RecipientKind::To}};
    message.Subject = std::move(subject);
    message.Body = std::move(body);
    return message;
}

}  // namespace

TEST(MessageComposerCompose, EncodesNonAsciiHeadersAndBodiesAndWritesCrlfOnly) {
    struct Case {
        std::string Subject, Body;
        GMimeContentEncoding Encoding;
    };
    for (const Case& c :
         {Case{"Hello", "plain ascii\nsecond line\n", GMIME_CONTENT_ENCODING_7BIT},
          Case{"Grüße aus Köln", "schöne Grüße\r\nEnde", GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE},
          Case{"日本語の件名 and a long tail that the header writer has to fold over "
               "more than one line",
               "本文\n", GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE},
          Case{"long line", std::string(1200, 'a'), GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE}}) {
        SCOPED_TRACE(c.Subject);
        const std::string composed = clsMessageComposer::Compose(Message(c.Subject, c.Body));

        EXPECT_TRUE(EveryLineEndsInCrlf(composed));
        EXPECT_TRUE(std::all_of(composed.begin(), composed.end(),
                                [](char byte) { return static_cast<unsigned char>(byte) < 0x80; }));
        EXPECT_TRUE(HasHeaderLine(composed, "MIME-Version: 1.0"));
        EXPECT_FALSE(HasHeaderLine(composed, "Importance:") ||
                     HasHeaderLine(composed, "X-Priority:"));  // not for normal importance
        const clsOwned<GMimeMessage> parsed = Parse(composed);
        ASSERT_TRUE(parsed);
        EXPECT_EQ(g_mime_message_get_subject(parsed.get()), c.Subject);
        EXPECT_EQ(Addresses(parsed.get(), GMIME_ADDRESS_TYPE_FROM), "Jörg <joerg@example.org>");
        GMimeObject* body = g_mime_message_get_mime_part(parsed.get());
        ASSERT_TRUE(GMIME_IS_TEXT_PART(body));
        const std::string expectedBody = WithoutCr(c.Body);
        EXPECT_EQ(Text(body), expectedBody.back() == '\n' ? expectedBody : expectedBody + "\n");
        EXPECT_STREQ(g_mime_object_get_content_type_parameter(body, "charset"), "utf-8");
        EXPECT_EQ(g_mime_part_get_content_encoding(reinterpret_cast<GMimePart*>(body)), c.Encoding);
    }
}

TEST(MessageComposerCompose, HeadersHoldToAndCcButNeitherBccNorInjectedLinesAndHtmlFollowsText) {
    clsOutgoingMessage message = Message("Hi\r\nBcc: evil@example.net", "x");
    message.From.Name = "Jörg\nX-Evil: 1";
    message.Recipients = {{"Ann, A.", "ann@example.org", RecipientKind::To},
                          {"", "bea@example.org", RecipientKind::Cc},
                          {"Secret", "hidden@example.org", RecipientKind::Bcc},
                          {"Zoë", "zoe@example.org", RecipientKind::To}};
    message.ItemImportance = Importance::Low;
    message.HTMLBody = "<p>x</p>\n";
    message.ExtraHeaders = {{"X-Auto-Response-Suppress", "All"},
                            {"X-Folded", "one\r\nX-Evil: 2"},
                            {"Bad Name", "dropped"},
                            {"X-Colon:", "dropped"}};

    const std::string composed = clsMessageComposer::Compose(message);

    EXPECT_TRUE(EveryLineEndsInCrlf(composed));
    EXPECT_FALSE(HasHeaderLine(composed, "Bcc:"));
    EXPECT_FALSE(HasHeaderLine(composed, "X-Evil:"));
    EXPECT_TRUE(HasHeaderLine(composed, "X-Auto-Response-Suppress: All\r\n"));
    EXPECT_TRUE(HasHeaderLine(composed, "Importance: low\r\n"));
    EXPECT_TRUE(HasHeaderLine(composed, "X-Priority: 5\r\n"));
    EXPECT_TRUE(HasHeaderLine(composed, "X-Folded: one  X-Evil: 2\r\n")) << HeaderBlock(composed);
    for (const char* absent : {"dropped", "hidden@example.org", "Secret"}) {
        EXPECT_FALSE(Holds(composed, absent)) << absent;
    }
    const clsOwned<GMimeMessage> parsed = Parse(composed);
    ASSERT_TRUE(parsed);
    EXPECT_EQ(Addresses(parsed.get(), GMIME_ADDRESS_TYPE_TO),
              "\"Ann, A.\" <ann@example.org>, Zoë <zoe@example.org>");
    EXPECT_EQ(Addresses(parsed.get(), GMIME_ADDRESS_TYPE_CC), "bea@example.org");
    // An HTML body makes multipart/alternative with the plain text first.
    EXPECT_TRUE(HasHeaderLine(composed, "Content-Type: multipart/alternative"));
    auto* alternative =
        reinterpret_cast<GMimeMultipart*>(g_mime_message_get_mime_part(parsed.get()));
    ASSERT_TRUE(GMIME_IS_MULTIPART(alternative));
    ASSERT_EQ(g_mime_multipart_get_count(alternative), 2);
    EXPECT_EQ(Text(g_mime_multipart_get_part(alternative, 0)), "x\n");
    EXPECT_EQ(Text(g_mime_multipart_get_part(alternative, 1)), "<p>x</p>\n");
}

TEST(MessageComposerForward, AttachesTheOriginalWholeWithCrlfLineEnds) {
    struct Case {
        const char* Name;
        std::string Original, Attached;
    };
    const std::string crlf = "From: carl@example.net\r\nSubject: hi\r\n\r\nline1\r\nline2\r\n";
    const std::string cut = crlf.substr(0, crlf.size() - 2);
    const std::string eightBit =
        "From: carl@example.net\r\nContent-Type: multipart/mixed; boundary=XX\r\n\r\n--XX\r\n"
        "Content-Type: text/plain; charset=utf-8\r\nContent-Transfer-Encoding: 8bit\r\n\r\n"
        "Grüße\r\n--XX--\r\n\r\nepilogue\r\n\r\n";
    for (const Case& c : {
             Case{"CRLF", crlf, crlf},
             Case{"LF", "From: carl@example.net\nSubject: hi\n\nline1\nline2\n", crlf},
             Case{"bare CR", "From: carl@example.net\rSubject: hi\r\n\r\nline1\rline2\r\n", crlf},
             Case{"no final line end", cut, cut},
             Case{"8-bit and an epilogue", eightBit, eightBit},
         }) {
        SCOPED_TRACE(c.Name);
        const std::string forward =
            clsMessageComposer::Forward(c.Original, {"Jörg", "joerg@example.org"},
                                        {{"", "ann@example.org", RecipientKind::To},
                                         {"", "hidden@example.org", RecipientKind::Bcc}},
                                        "Siehe unten.");

        EXPECT_TRUE(EveryLineEndsInCrlf(forward));
        // The message/rfc822 part's content: after its header block, up to the CRLF that belongs
        // to the closing boundary, the last one.
        const size_t start = forward.find("\r\n\r\n", forward.find("message/rfc822")) + 4;
        EXPECT_EQ(forward.substr(start, forward.rfind("\r\n--") - start), c.Attached);
        EXPECT_FALSE(Holds(HeaderBlock(forward), "hidden@example.org"));
        const clsOwned<GMimeMessage> parsed = Parse(forward);
        ASSERT_TRUE(parsed);
        auto* mixed = reinterpret_cast<GMimeMultipart*>(g_mime_message_get_mime_part(parsed.get()));
        ASSERT_TRUE(GMIME_IS_MULTIPART(mixed));
        ASSERT_EQ(g_mime_multipart_get_count(mixed), 2);
        EXPECT_EQ(Text(g_mime_multipart_get_part(mixed, 0)), "Siehe unten.\n");
        EXPECT_TRUE(GMIME_IS_MESSAGE_PART(g_mime_multipart_get_part(mixed, 1)));
    }
}
