#pragma once
// ClassMailHeaderReader: the raw internet header text of one message as a table of header name
// to value, and the answers the spam checks want from it: sender, recipients and their number,
// and the IP addresses of the "Received" lines. The caller gets the header text and assigns it;
// the reader makes no host calls.
//
// Its reading is deliberately literal, and the header scores depend on it: a text without its
// blank-line terminator gives no headers; a folded continuation line is skipped, not joined; a
// "name:value" line without the blank after the colon is skipped; repeated headers are joined by
// CRLF, most recent first; octets of IP addresses are not range-checked (999.1.1.1 counts).
//
// Owned by its user; one thread at a time (the compiled patterns are shared, read-only).
// Failure: nothing throws; a member that fails answers "" or 0.

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

class ClassMailHeaderReader {
public:
    ClassMailHeaderReader();

    // Rebuilds the table, only when text differs from the text held.
    void SetMailHeaders(std::string_view text);
    // The text as assigned.
    const std::string& MailHeaders() const { return mMailHeaders; }
    // Every line of the header block, continuation lines included.
    const std::vector<std::string>& MailHeadersArray() const { return mMailHeadersArray; }
    // The value of a header, any case, with or without its ":"; "" when there is none.
    std::string HeaderItem(std::string_view name) const;

    // The sender's address: the last part in angle brackets, else every address in the value.
    std::string from() const;
    std::string FromSMTPAddress() const { return from(); }
    // The addresses of To and Cc, one per CRLF-separated line.
    std::string MailTo() const;
    std::string cc() const;
    // Every address in text, lower-cased, one per CRLF-separated line.
    std::string ReadEmailAddressHeader(std::string_view text) const;
    // The To and Cc addresses counted; 0 when there are none.
    int NumberOfRecipients() const;

    // The address nearest the message's origin (the last in the Received lines); "" if none.
    std::string FirstReceivedFromIP() const;
    // The number of distinct addresses in the Received lines.
    int IPHopCount() const;
    // "(Source)<origin> -> ... -> <most recent>", or "No IP trail found".
    std::string IPTrail() const;

private:
    std::string AddressesOf(std::string_view header, bool lastOnly) const;
    // The distinct Received addresses in order of first appearance, most recent first.
    std::vector<std::string> ReceivedIPs(bool distinct) const;

    std::string mMailHeaders;
    std::vector<std::string> mMailHeadersArray;
    std::unordered_map<std::string, std::string> mHeaders;  // lower-case name -> value
};
