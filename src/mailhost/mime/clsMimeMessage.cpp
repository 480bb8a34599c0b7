#include "mailhost/mime/clsMimeMessage.h"

#include <gmime/gmime.h>

#include <algorithm>
#include <chrono>
#include <iterator>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "mailhost/mime/clsAddressReader.h"
#include "mailhost/mime/clsCharsetText.h"
#include "mailhost/mime/clsEncodedWords.h"
#include "mailhost/mime/clsHeaderBlock.h"
#include "mailhost/mime/clsHtmlText.h"

namespace {

// Parts nested deeper than this in multiparts are treated as absent: nothing legitimate nests so
// deep, and hostile mail can nest thousands of levels.
constexpr int kMaxPartDepth = 100;

struct clsGObjectUnref {
    void operator()(void* object) const { g_object_unref(object); }
};
template <typename T>
using clsGObjectPtr = std::unique_ptr<T, clsGObjectUnref>;

GMimeParserOptions* MakeParserOptions() {
    GMimeParserOptions* options = g_mime_parser_options_new();
    // Raw 8-bit header text: UTF-8 when it is valid, else windows-1252.
    const char* fallbacks[] = {"UTF-8", "windows-1252", nullptr};
    g_mime_parser_options_set_fallback_charsets(options, fallbacks);
    g_mime_parser_options_set_address_compliance_mode(options, GMIME_RFC_COMPLIANCE_LOOSE);
    g_mime_parser_options_set_parameter_compliance_mode(options, GMIME_RFC_COMPLIANCE_LOOSE);
    g_mime_parser_options_set_rfc2047_compliance_mode(options, GMIME_RFC_COMPLIANCE_LOOSE);
    return options;
}

// Created once by Initialise and kept for the process's life.
GMimeParserOptions* ParserOptions() {
    static GMimeParserOptions* const options = MakeParserOptions();
    return options;
}

bool IsHeaderControl(char c) {
    return (static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\r' && c != '\n') ||
           c == '\x7F';
}

bool StartsEmptyLine(std::string_view rawMessage, std::size_t pos) {
    return pos < rawMessage.size() &&
           (rawMessage[pos] == '\n' || (rawMessage[pos] == '\r' && (pos + 1 == rawMessage.size() ||
                                                                    rawMessage[pos + 1] == '\n')));
}

// GMime drops the body of a message with no empty line after its headers, the whole address list
// of a From or To that holds a control character, and a word after a padded base64 encoded word
// (see clsEncodedWords): it reads a copy without those faults. Nothing when the message has none.
std::optional<std::string> RepairedForGMime(std::string_view rawMessage,
                                            const clsHeaderBlock& block) {
    const std::string_view headers = block.Text();
    const bool addEmptyLine = !block.Fields().empty() && block.End() < rawMessage.size() &&
                              !StartsEmptyLine(rawMessage, block.End());
    const bool hasControls =
        std::find_if(headers.begin(), headers.end(), IsHeaderControl) != headers.end();
    const bool hasPaddedBase64 = clsEncodedWords::HasPaddedBase64(headers);
    if (!addEmptyLine && !hasControls && !hasPaddedBase64) {
        return std::nullopt;
    }
    std::string repaired;
    repaired.reserve(rawMessage.size() + 2);
    std::copy_if(headers.begin(), headers.end(), std::back_inserter(repaired),
                 [](char c) { return !IsHeaderControl(c); });
    if (hasPaddedBase64) {
        repaired = clsEncodedWords::PaddedBase64ToQ(repaired);
    }
    if (addEmptyLine) {
        repaired += block.LineEnd();
    }
    repaired += rawMessage.substr(block.End());
    return repaired;
}

clsGObjectPtr<GMimeMessage> ParseWithGMime(std::string_view rawMessage) {
    // The stream copies the bytes: GMime never sees memory it does not own.
    clsGObjectPtr<GMimeStream> stream(
        g_mime_stream_mem_new_with_buffer(rawMessage.data(), rawMessage.size()));
    clsGObjectPtr<GMimeParser> parser(g_mime_parser_new_with_stream(stream.get()));
    g_mime_parser_set_format(parser.get(), GMIME_FORMAT_MESSAGE);
    return clsGObjectPtr<GMimeMessage>(
        g_mime_parser_construct_message(parser.get(), ParserOptions()));
}

// The part's content with its transfer encoding (base64, quoted-printable...) undone.
std::string DecodedContent(GMimePart* part) {
    GMimeDataWrapper* content = g_mime_part_get_content(part);
    if (content == nullptr) {
        return {};
    }
    clsGObjectPtr<GMimeStream> decoded(g_mime_stream_mem_new());
    g_mime_data_wrapper_write_to_stream(content, decoded.get());
    const GByteArray* bytes = g_mime_stream_mem_get_byte_array(GMIME_STREAM_MEM(decoded.get()));
    return bytes == nullptr || bytes->len == 0
               ? std::string()
               : std::string(reinterpret_cast<const char*>(bytes->data), bytes->len);
}

std::string PartText(GMimePart* part) {
    const char* charset = g_mime_object_get_content_type_parameter(GMIME_OBJECT(part), "charset");
    return clsCharsetText::ToUtf8(DecodedContent(part), charset != nullptr ? charset : "");
}

bool IsTypeOf(GMimeObject* object, const char* type, const char* subtype) {
    GMimeContentType* contentType = g_mime_object_get_content_type(object);
    return contentType != nullptr && g_mime_content_type_is_type(contentType, type, subtype);
}

bool IsAttachment(GMimeObject* object) {
    GMimeContentDisposition* disposition = g_mime_object_get_content_disposition(object);
    return disposition != nullptr && g_mime_content_disposition_is_attachment(disposition);
}

bool IsInvitationMethod(const std::string& method) {
    return g_ascii_strcasecmp(method.c_str(), "REQUEST") == 0 ||
           g_ascii_strcasecmp(method.c_str(), "CANCEL") == 0;
}

// A text/calendar part asking for an answer: its "method" parameter, or else its METHOD line.
bool IsInvitation(GMimePart* part) {
    const char* method = g_mime_object_get_content_type_parameter(GMIME_OBJECT(part), "method");
    if (method != nullptr) {
        return IsInvitationMethod(method);
    }
    const std::string calendar = DecodedContent(part);
    for (std::size_t pos = 0; pos < calendar.size();) {
        std::size_t end = calendar.find('\n', pos);
        end = end == std::string::npos ? calendar.size() : end;
        std::string_view line(calendar.data() + pos, end - pos);
        if (!line.empty() && line.back() == '\r') {
            line.remove_suffix(1);
        }
        if (line.size() > 7 && g_ascii_strncasecmp(line.data(), "METHOD:", 7) == 0) {
            return IsInvitationMethod(std::string(line.substr(7)));
        }
        pos = end + 1;
    }
    return false;
}

// What the part walk looks for; the pointers belong to the message.
struct clsPartFinds {
    GMimePart* Plain = nullptr;
    GMimePart* Html = nullptr;
    bool Invitation = false;
};

void Consider(GMimePart* part, clsPartFinds& finds) {
    GMimeObject* object = GMIME_OBJECT(part);
    if (IsTypeOf(object, "text", "calendar")) {
        finds.Invitation = finds.Invitation || IsInvitation(part);
    } else if (IsAttachment(object)) {
        return;
    } else if (finds.Plain == nullptr && IsTypeOf(object, "text", "plain")) {
        finds.Plain = part;
    } else if (finds.Html == nullptr && IsTypeOf(object, "text", "html")) {
        finds.Html = part;
    }
}

// Depth first and in order, with a stack of its own rather than recursion. An attached message
// (message/rfc822) is not gone into: its text is not this message's body.
clsPartFinds FindParts(GMimeObject* top) {
    clsPartFinds finds;
    std::vector<std::pair<GMimeObject*, int>> pending;
    if (top != nullptr) {
        pending.emplace_back(top, 0);
    }
    while (!pending.empty()) {
        const auto [object, depth] = pending.back();
        pending.pop_back();
        if (GMIME_IS_MULTIPART(object) && depth < kMaxPartDepth) {
            GMimeMultipart* multipart = GMIME_MULTIPART(object);
            for (int index = g_mime_multipart_get_count(multipart) - 1; index >= 0; --index) {
                pending.emplace_back(g_mime_multipart_get_part(multipart, index), depth + 1);
            }
        } else if (GMIME_IS_PART(object)) {
            Consider(GMIME_PART(object), finds);
        }
    }
    return finds;
}

std::string BodyOf(const clsPartFinds& finds) {
    if (finds.Plain != nullptr) {
        return PartText(finds.Plain);
    }
    return finds.Html != nullptr ? clsHtmlText::ToText(PartText(finds.Html)) : std::string();
}

std::string TypeNameOf(GMimeObject* top, const clsPartFinds& finds) {
    if (top != nullptr && IsTypeOf(top, "multipart", "report")) {
        return "ReportItem";
    }
    if ((top != nullptr && IsTypeOf(top, "text", "calendar")) || finds.Invitation) {
        return "MeetingItem";
    }
    return "MailItem";
}

// The first mailbox of the list that has a usable address; nothing when none has.
std::optional<clsMailAddress> FirstWithAddress(InternetAddressList* list) {
    for (clsMailAddress& mailbox : clsAddressReader::Mailboxes(list, RecipientKind::To)) {
        if (!mailbox.Address.empty()) {
            return std::move(mailbox);
        }
    }
    return std::nullopt;
}

// A byte below 0x20 other than a tab (line ends are gone from an unfolded value), or DEL.
bool HasControlCharacter(const std::optional<std::string>& value) {
    return value && std::any_of(value->begin(), value->end(), [](char c) {
               return (static_cast<unsigned char>(c) < 0x20 && c != '\t') || c == 0x7F;
           });
}

clsMailAddress SenderOf(GMimeMessage* message) {
    InternetAddressList* from = g_mime_message_get_from(message);
    if (std::optional<clsMailAddress> sender = FirstWithAddress(from)) {
        return *sender;
    }
    if (std::optional<clsMailAddress> sender =
            FirstWithAddress(g_mime_message_get_sender(message))) {
        return *sender;
    }
    std::vector<clsMailAddress> named = clsAddressReader::Mailboxes(from, RecipientKind::To);
    return named.empty() ? clsMailAddress() : named.front();  // a name without an address
}

std::vector<clsMailAddress> RecipientsOf(GMimeMessage* message) {
    std::vector<clsMailAddress> recipients;
    for (const auto& [type, kind] : {std::pair{GMIME_ADDRESS_TYPE_TO, RecipientKind::To},
                                     std::pair{GMIME_ADDRESS_TYPE_CC, RecipientKind::Cc},
                                     std::pair{GMIME_ADDRESS_TYPE_BCC, RecipientKind::Bcc}}) {
        std::vector<clsMailAddress> some =
            clsAddressReader::Mailboxes(g_mime_message_get_addresses(message, type), kind);
        recipients.insert(recipients.end(), some.begin(), some.end());
    }
    return recipients;
}

// GMime reads recipients with their control characters dropped, which can turn an address into
// another one: an address that does not stand in its headers as written is no address.
void ClearRewrittenAddresses(std::vector<clsMailAddress>& recipients, const clsHeaderBlock& block) {
    std::string written;
    for (const char* name : {"To", "Cc", "Bcc"}) {
        written += block.Value(name).value_or("") + ",";
    }
    if (!HasControlCharacter(written)) {
        return;
    }
    for (clsMailAddress& recipient : recipients) {
        if (written.find(recipient.Address) == std::string::npos) {
            recipient.Address.clear();
        }
    }
}

// A date the clock cannot hold (about 1678 to 2262 with nanosecond ticks) is as unreadable as
// a malformed one.
std::optional<clsTimePoint> DateOf(GMimeMessage* message) {
    GDateTime* date = g_mime_message_get_date(message);
    if (date == nullptr) {
        return std::nullopt;
    }
    using std::chrono::seconds;
    const auto limit = std::chrono::duration_cast<seconds>(clsTimePoint::duration::max()).count();
    const gint64 unixTime = g_date_time_to_unix(date);
    if (unixTime >= limit || unixTime <= -limit) {
        return std::nullopt;
    }
    return clsTimePoint(std::chrono::duration_cast<clsTimePoint::duration>(seconds(unixTime)));
}

std::string TextOrEmpty(const char* text) {
    return text != nullptr ? clsCharsetText::UndeclaredToUtf8(text) : std::string();
}

Importance ImportanceOf(const clsHeaderBlock& block) {
    const std::string importance = block.Value("Importance").value_or("");
    for (const auto& [word, level] :
         {std::pair{"high", Importance::High}, std::pair{"normal", Importance::Normal},
          std::pair{"low", Importance::Low}}) {
        if (g_ascii_strcasecmp(importance.c_str(), word) == 0) {
            return level;
        }
    }
    const std::optional<std::string> priority = block.Value("X-Priority");  // "1 (Highest)"
    if (!priority || priority->empty()) {
        return Importance::Normal;
    }
    switch (priority->front()) {
        case '1':
        case '2':
            return Importance::High;
        case '4':
        case '5':
            return Importance::Low;
        default:
            return Importance::Normal;
    }
}

// What WithImportance writes: the Importance and the X-Priority header values.
std::pair<std::string_view, std::string_view> ImportanceHeaderValues(Importance importance) {
    switch (importance) {
        case Importance::High:
            return {"high", "1 (Highest)"};
        case Importance::Low:
            return {"low", "5 (Lowest)"};
        default:
            return {"normal", "3 (Normal)"};
    }
}

}  // namespace

void clsMimeMessage::Initialise() {
    static std::once_flag initialised;
    std::call_once(initialised, [] {
        g_mime_init();
        ParserOptions();
    });
}

clsMimeMessage clsMimeMessage::Parse(std::string_view rawMessage) {
    clsMimeMessage result;
    try {
        result.Read(rawMessage);
    } catch (const std::exception& ex) {
        result = clsMimeMessage();
        result.mError = std::string("the message could not be read: ") + ex.what();
    }
    return result;
}

void clsMimeMessage::Read(std::string_view rawMessage) {
    Initialise();
    const clsHeaderBlock block(rawMessage);
    mHeaders = std::string(block.Text());
    mImportance = ImportanceOf(block);
    mReadReceiptRequested =
        block.Value("Disposition-Notification-To") || block.Value("Return-Receipt-To");
    clsGObjectPtr<GMimeMessage> message;
    if (!rawMessage.empty()) {
        const std::optional<std::string> repaired = RepairedForGMime(rawMessage, block);
        message = ParseWithGMime(repaired ? *repaired : rawMessage);
    }
    if (!message) {
        mError = rawMessage.empty() ? "the message is empty" : "the message has no header";
        return;
    }
    mSubject = TextOrEmpty(g_mime_message_get_subject(message.get()));
    mSender = SenderOf(message.get());
    if (HasControlCharacter(block.Value("From")) || HasControlCharacter(block.Value("Sender"))) {
        // GMime drops such bytes, which would turn the address into another one; rules must not
        // see a sender that was not written.
        mSender.Address.clear();
    }
    mRecipients = RecipientsOf(message.get());
    ClearRewrittenAddresses(mRecipients, block);
    mDate = DateOf(message.get());
    mMessageID = TextOrEmpty(g_mime_message_get_message_id(message.get()));
    GMimeObject* top = g_mime_message_get_mime_part(message.get());
    const clsPartFinds finds = FindParts(top);
    mBody = BodyOf(finds);
    mTypeName = TypeNameOf(top, finds);
}

std::string clsMimeMessage::WithImportance(std::string_view rawMessage, Importance importance) {
    try {
        const clsHeaderBlock block(rawMessage);
        std::string result;
        result.reserve(rawMessage.size() + 64);
        std::size_t copied = 0;
        for (const clsHeaderBlock::Field& field : block.Fields()) {
            if (clsHeaderBlock::IsNamed(field, "Importance") ||
                clsHeaderBlock::IsNamed(field, "X-Priority")) {
                result.append(rawMessage.substr(copied, field.Begin - copied));
                copied = field.End;
            }
        }
        result.append(rawMessage.substr(copied, block.End() - copied));
        const std::string_view lineEnd = block.LineEnd();
        if (!result.empty() && result.back() != '\n') {
            result += lineEnd;  // a message that ends inside its last header line
        }
        const auto [word, priority] = ImportanceHeaderValues(importance);
        result.append("Importance: ").append(word).append(lineEnd);
        result.append("X-Priority: ").append(priority).append(lineEnd);
        result.append(rawMessage.substr(block.End()));
        return result;
    } catch (const std::exception&) {
        return std::string(rawMessage);  // the neutral answer: the message as it was
    }
}

std::string clsMimeMessage::HTMLPart(std::string_view rawMessage) {
    try {
        Initialise();
        if (rawMessage.empty()) {
            return {};
        }
        const clsHeaderBlock block(rawMessage);
        const std::optional<std::string> repaired = RepairedForGMime(rawMessage, block);
        const clsGObjectPtr<GMimeMessage> message =
            ParseWithGMime(repaired ? *repaired : rawMessage);
        const clsPartFinds finds =
            FindParts(message ? g_mime_message_get_mime_part(message.get()) : nullptr);
        return finds.Html != nullptr ? PartText(finds.Html) : std::string();
    } catch (const std::exception&) {
        return {};  // only allocation failures reach here
    }
}
