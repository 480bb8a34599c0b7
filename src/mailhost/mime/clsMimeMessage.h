#pragma once
// clsMimeMessage: what the rest of the program reads from one raw RFC 5322 message: the decoded
// subject, the plain-text body (HTML turned to text when there is no plain part), the raw header
// block, the sender and the recipients, importance and read-receipt request, and the item type
// name. Parsing uses GMime (libxml2 for HTML); it never throws, never crashes on malformed input,
// and reads what it can: a message it cannot parse at all gives Ok() false with a description,
// and empty fields.
// A value object; Parse may be called from any thread once clsMimeMessage::Initialise() ran.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "mailhost/clsMailTypes.h"

class clsMimeMessage {
public:
    // Sets GMime up once per process (idempotent, thread-safe).
    static void Initialise();

    // Ok() is false only for an empty message and for one with no header GMime can read (text
    // that is not mail); malformed parts, words and addresses leave Ok() true and their fields
    // empty. Parts nested more than 100 multiparts deep are treated as absent.
    static clsMimeMessage Parse(std::string_view rawMessage);

    bool Ok() const { return mError.empty(); }
    const std::string& Error() const { return mError; }

    // RFC 2047 decoded, UTF-8; a header with no charset is read as UTF-8 when valid, else as
    // windows-1252.
    const std::string& Subject() const { return mSubject; }
    // The text/plain part (the first one not an attachment), decoded to UTF-8; or the text of the
    // first text/html part when there is no plain part; "" when neither. Kept whole, line ends as
    // in the message; attached messages (message/rfc822) are not looked into.
    const std::string& Body() const { return mBody; }
    // The header block exactly as it stands in the message, up to and excluding the blank line.
    // With no blank line, the leading run of header and continuation lines (see clsHeaderBlock).
    const std::string& Headers() const { return mHeaders; }
    // The From address (the Sender header's when From has none). Addresses here and in
    // Recipients() hold no control characters, and are "" when not a plausible addr-spec.
    const clsMailAddress& Sender() const { return mSender; }
    // To, Cc and Bcc, in that order, each in header order.
    const std::vector<clsMailAddress>& Recipients() const { return mRecipients; }
    // From "Importance:" (high/normal/low) or else "X-Priority:" (1-2 high, 4-5 low).
    Importance GetImportance() const { return mImportance; }
    // A "Disposition-Notification-To:" or "Return-Receipt-To:" header is present.
    bool ReadReceiptRequested() const { return mReadReceiptRequested; }
    // The Date header, when it can be read.
    std::optional<clsTimePoint> Date() const { return mDate; }
    // "ReportItem" for multipart/report, "MeetingItem" for a calendar invitation (a text/calendar
    // part with METHOD:REQUEST or CANCEL, or that content type at the top), else "MailItem".
    const std::string& TypeName() const { return mTypeName; }
    // The Message-ID without angle brackets, "" when none.
    const std::string& MessageID() const { return mMessageID; }

    // The message with its importance set: "Importance:" and "X-Priority:" headers replaced (or
    // added at the end of the header block); every other byte stays as it was. Line ends follow
    // the message's own (CRLF or LF).
    static std::string WithImportance(std::string_view rawMessage, Importance importance);
    // The first text/html part that is no attachment, decoded to UTF-8 with its markup kept; ""
    // when there is none. Read on demand, apart from Parse, so that reading mail pays nothing
    // for it.
    static std::string HTMLPart(std::string_view rawMessage);

private:
    // Fills this from the message; GMime must be set up. May throw std::bad_alloc.
    void Read(std::string_view rawMessage);

    std::string mError;
    std::string mSubject, mBody, mHeaders, mTypeName = "MailItem", mMessageID;
    clsMailAddress mSender;
    std::vector<clsMailAddress> mRecipients;
    Importance mImportance = Importance::Normal;
    bool mReadReceiptRequested = false;
    std::optional<clsTimePoint> mDate;
};
