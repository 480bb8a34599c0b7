#include "mailhost/mime/clsMessageComposer.h"

#include <gmime/gmime.h>
#include <strings.h>

#include <algorithm>
#include <exception>
#include <memory>

#include "mailhost/mime/clsMimeMessage.h"

namespace {

// GObject's C inheritance: a derived instance starts with its parent, so the upcast is a
// reinterpretation (what the G_TYPE_CHECK_INSTANCE_CAST macros do, minus their C casts).
template <typename T>
GMimeObject* AsObject(T* object) {
    return reinterpret_cast<GMimeObject*>(object);
}

struct clsUnref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
template <typename T>
using clsOwned = std::unique_ptr<T, clsUnref>;

struct clsFormatOptionsDeleter {
    void operator()(GMimeFormatOptions* options) const { g_mime_format_options_free(options); }
};

// Header texts come partly from received mail: a line break in them would start a header of
// the sender's choosing.
std::string OneLine(std::string_view text) {
    std::string line(text);
    std::replace_if(
        line.begin(), line.end(),
        [](char c) { return (static_cast<unsigned char>(c) < 0x20 && c != '\t') || c == 0x7f; },
        ' ');
    return line;
}

// A field name (RFC 5322 section 3.6.8): printable ASCII without the colon.
bool IsFieldName(std::string_view name) {
    return !name.empty() && std::all_of(name.begin(), name.end(),
                                        [](char c) { return c > 0x20 && c < 0x7f && c != ':'; });
}

// Every line end CRLF, whatever mixture came in, and a line end at the close.
std::string WithCrlf(std::string_view text) {
    std::string wire;
    wire.reserve(text.size() + text.size() / 32 + 2);
    for (size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '\r' || text[at] == '\n') {
            wire += "\r\n";
            at += text[at] == '\r' && at + 1 < text.size() && text[at + 1] == '\n' ? 1 : 0;
        } else {
            wire += text[at];
        }
    }
    if (wire.size() < 2 || wire.compare(wire.size() - 2, 2, "\r\n") != 0) {
        wire += "\r\n";
    }
    return wire;
}

// Body text with LF line ends: GMime's encoders take LF as the line end and the CRLF output
// format adds the CR; a CR left in would be encoded as "=0D".
std::string WithLf(std::string_view text) {
    std::string local = WithCrlf(text);
    local.erase(std::remove(local.begin(), local.end(), '\r'), local.end());
    return local;
}

bool IsSevenBit(std::string_view text, size_t maxLine) {
    size_t lineLength = 0;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        lineLength = c == '\n' ? 0 : lineLength + 1;
        if (byte == 0 || byte > 0x7f || lineLength > maxLine) {
            return false;
        }
    }
    return true;
}

clsOwned<GMimeObject> NewTextPart(const char* subtype, std::string_view text) {
    const std::string local = WithLf(text);
    clsOwned<GMimeTextPart> part(g_mime_text_part_new_with_subtype(subtype));
    clsOwned<GMimeStream> stream(g_mime_stream_mem_new_with_buffer(local.data(), local.size()));
    clsOwned<GMimeDataWrapper> content(
        g_mime_data_wrapper_new_with_stream(stream.get(), GMIME_CONTENT_ENCODING_DEFAULT));
    auto* mimePart = reinterpret_cast<GMimePart*>(part.get());
    g_mime_part_set_content(mimePart, content.get());
    g_mime_text_part_set_charset(part.get(), "utf-8");
    g_mime_part_set_content_encoding(mimePart, IsSevenBit(local, 998)
                                                   ? GMIME_CONTENT_ENCODING_7BIT
                                                   : GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE);
    return clsOwned<GMimeObject>(AsObject(part.release()));
}

clsOwned<GMimeObject> NewBody(const clsOutgoingMessage& message) {
    if (message.HTMLBody.empty()) {
        return NewTextPart("plain", message.Body);
    }
    clsOwned<GMimeMultipart> alternative(g_mime_multipart_new_with_subtype("alternative"));
    for (const auto& [subtype, text] :
         {std::pair{"plain", &message.Body}, std::pair{"html", &message.HTMLBody}}) {
        g_mime_multipart_add(alternative.get(), NewTextPart(subtype, *text).get());
    }
    return clsOwned<GMimeObject>(AsObject(alternative.release()));
}

// The original goes in as it is (only its line ends made CRLF): GMime's re-serialisation of a
// parsed message is not byte-exact (it drops or doubles line ends around a multipart epilogue).
clsOwned<GMimeObject> NewAttachedMessage(std::string_view original) {
    const GMimeContentEncoding encoding = IsSevenBit(original, std::string_view::npos)
                                              ? GMIME_CONTENT_ENCODING_7BIT
                                              : GMIME_CONTENT_ENCODING_8BIT;
    clsOwned<GMimePart> part(g_mime_part_new_with_type("message", "rfc822"));
    clsOwned<GMimeStream> stream(
        g_mime_stream_mem_new_with_buffer(original.data(), original.size()));
    clsOwned<GMimeDataWrapper> content(g_mime_data_wrapper_new_with_stream(stream.get(), encoding));
    g_mime_part_set_content(part.get(), content.get());
    g_mime_part_set_content_encoding(part.get(), encoding);
    g_mime_object_set_disposition(AsObject(part.get()), "inline");
    return clsOwned<GMimeObject>(AsObject(part.release()));
}

void AddAddress(GMimeMessage* mime, GMimeAddressType type, const clsMailAddress& address) {
    const std::string name = OneLine(address.Name);
    clsOwned<InternetAddress> mailbox(internet_address_mailbox_new(
        name.empty() ? nullptr : name.c_str(), OneLine(address.Address).c_str()));
    internet_address_set_charset(mailbox.get(), "utf-8");
    internet_address_list_add(g_mime_message_get_addresses(mime, type), mailbox.get());
}

// The Message-ID's right side: the From domain when it looks like one, else the host name.
std::string MessageIdDomain(const std::string& address) {
    const size_t at = address.rfind('@');
    const std::string domain = at == std::string::npos ? "" : address.substr(at + 1);
    const bool usable = !domain.empty() && std::all_of(domain.begin(), domain.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               c == '.' || c == '-';
    });
    return usable ? domain : "";
}

void AddIdentity(GMimeMessage* mime, const clsMailAddress& from) {
    GDateTime* now = g_date_time_new_now_local();
    g_mime_message_set_date(mime, now);
    g_date_time_unref(now);
    const std::string domain = MessageIdDomain(from.Address);
    char* id = g_mime_utils_generate_message_id(domain.empty() ? nullptr : domain.c_str());
    g_mime_message_set_message_id(mime, id);
    g_free(id);
}

clsOwned<GMimeMessage> NewMessage(const clsMailAddress& from,
                                  const std::vector<clsMailAddress>& recipients,
                                  std::string_view subject, Importance importance) {
    clsOwned<GMimeMessage> mime(g_mime_message_new(TRUE));
    if (!from.Address.empty()) {
        AddAddress(mime.get(), GMIME_ADDRESS_TYPE_FROM, from);
    }
    for (const clsMailAddress& recipient : recipients) {
        if (recipient.Kind != RecipientKind::Bcc && !recipient.Address.empty()) {
            AddAddress(
                mime.get(),
                recipient.Kind == RecipientKind::To ? GMIME_ADDRESS_TYPE_TO : GMIME_ADDRESS_TYPE_CC,
                recipient);
        }
    }
    g_mime_message_set_subject(mime.get(), OneLine(subject).c_str(), "utf-8");
    AddIdentity(mime.get(), from);
    if (importance != Importance::Normal) {
        const bool high = importance == Importance::High;
        g_mime_object_set_header(AsObject(mime.get()), "Importance", high ? "high" : "low",
                                 nullptr);
        g_mime_object_set_header(AsObject(mime.get()), "X-Priority", high ? "1" : "5", nullptr);
    }
    return mime;
}

std::string Serialise(GMimeMessage* mime) {
    const std::unique_ptr<GMimeFormatOptions, clsFormatOptionsDeleter> options(
        g_mime_format_options_new());
    g_mime_format_options_set_newline_format(options.get(), GMIME_NEWLINE_FORMAT_DOS);
    clsOwned<GMimeStream> stream(g_mime_stream_mem_new());
    if (g_mime_object_write_to_stream(AsObject(mime), options.get(), stream.get()) < 0) {
        return {};
    }
    const GByteArray* bytes =
        g_mime_stream_mem_get_byte_array(reinterpret_cast<GMimeStreamMem*>(stream.get()));
    return WithCrlf(std::string_view(reinterpret_cast<const char*>(bytes->data), bytes->len));
}

// The header block: up to the first empty line (LF or CRLF), or all of it.
std::string_view HeaderBlock(std::string_view message) {
    for (size_t at = message.find('\n'); at != std::string_view::npos;
         at = message.find('\n', at + 1)) {
        const std::string_view rest = message.substr(at + 1);
        if (rest.substr(0, 1) == "\n" || rest.substr(0, 2) == "\r\n") {
            return message.substr(0, at + 1);
        }
    }
    return message;
}

// The subject as the rest of the program reads it, from the header block alone.
std::string SubjectOf(std::string_view original) {
    return clsMimeMessage::Parse(HeaderBlock(original)).Subject();
}

std::string ForwardSubject(const std::string& subject) {
    const size_t start = std::min(subject.find_first_not_of(" \t"), subject.size());
    const bool forwarded = ::strncasecmp(subject.c_str() + start, "fw:", 3) == 0;
    return forwarded ? subject.substr(start) : "Fw: " + subject.substr(start);
}

}  // namespace

std::string clsMessageComposer::Compose(const clsOutgoingMessage& message) {
    try {
        clsMimeMessage::Initialise();
        clsOwned<GMimeMessage> mime =
            NewMessage(message.From, message.Recipients, message.Subject, message.ItemImportance);
        for (const auto& [name, value] : message.ExtraHeaders) {
            if (IsFieldName(name)) {
                g_mime_object_append_header(AsObject(mime.get()), name.c_str(),
                                            OneLine(value).c_str(), "utf-8");
            }
        }
        g_mime_message_set_mime_part(mime.get(), NewBody(message).get());
        return Serialise(mime.get());
    } catch (const std::exception&) {  // only allocation failures reach here
        return {};
    }
}

std::string clsMessageComposer::Forward(std::string_view originalMessage,
                                        const clsMailAddress& from,
                                        const std::vector<clsMailAddress>& to,
                                        std::string_view note) {
    try {
        clsMimeMessage::Initialise();
        clsOwned<GMimeMessage> mime =
            NewMessage(from, to, ForwardSubject(SubjectOf(originalMessage)), Importance::Normal);
        clsOwned<GMimeMultipart> mixed(g_mime_multipart_new_with_subtype("mixed"));
        g_mime_multipart_add(mixed.get(), NewTextPart("plain", note).get());
        g_mime_multipart_add(mixed.get(), NewAttachedMessage(originalMessage).get());
        g_mime_message_set_mime_part(mime.get(), AsObject(mixed.get()));
        return Serialise(mime.get());
    } catch (const std::exception&) {  // only allocation failures reach here
        return {};
    }
}
