#include "mailhost/mime/clsAddressReader.h"

#include <utility>

#include "mailhost/mime/clsCharsetText.h"

namespace {

constexpr std::size_t kMaxLocalPart = 256;  // RFC 5321 says 64; mail in the wild goes further
constexpr std::size_t kMaxDomain = 255;

bool IsControl(char c) { return static_cast<unsigned char>(c) < 0x20 || c == '\x7F'; }

bool IsLetterOrDigit(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           static_cast<unsigned char>(c) >= 0x80;
}

bool IsAtext(char c) {
    return IsLetterOrDigit(c) ||
           std::string_view("!#$%&'*+-/=?^_`{|}~").find(c) != std::string_view::npos;
}

// controlsAsSpace: a control character becomes one space (none after a space) rather than
// nothing, which keeps the words of a name apart.
std::string WithoutControls(std::string_view text, bool controlsAsSpace) {
    std::string clean;
    clean.reserve(text.size());
    for (const char c : text) {
        if (!IsControl(c)) {
            clean += c;
        } else if (controlsAsSpace && !clean.empty() && clean.back() != ' ') {
            clean += ' ';
        }
    }
    const std::size_t first = clean.find_first_not_of(' ');
    return first == std::string::npos
               ? std::string()
               : clean.substr(first, clean.find_last_not_of(' ') - first + 1);
}

}  // namespace

bool clsAddressReader::IsPlausibleLocalPart(std::string_view local) {
    if (local.empty() || local.size() > kMaxLocalPart) {
        return false;
    }
    if (local.size() >= 2 && local.front() == '"' && local.back() == '"') {
        return true;  // a quoted local part may hold anything but control characters
    }
    for (const char c : local) {
        if (!IsAtext(c) && c != '.') {
            return false;
        }
    }
    return true;
}

bool clsAddressReader::IsPlausibleDomain(std::string_view domain) {
    if (domain.empty() || domain.size() > kMaxDomain) {
        return false;
    }
    if (domain.front() == '[') {
        return domain.size() > 2 && domain.back() == ']' &&
               domain.substr(1, domain.size() - 2).find_first_of("[]\\ ") == std::string_view::npos;
    }
    std::size_t labelLength = 0;
    for (const char c : domain) {
        if (c == '.') {
            if (labelLength == 0) {
                return false;
            }
            labelLength = 0;
        } else if (IsLetterOrDigit(c) || c == '-' || c == '_') {
            ++labelLength;
        } else {
            return false;
        }
    }
    return labelLength > 0;
}

std::string clsAddressReader::CleanAddress(std::string_view address) {
    std::string clean = WithoutControls(address, false);
    const std::size_t at = clean.rfind('@');
    if (at == std::string::npos || !IsPlausibleLocalPart(std::string_view(clean).substr(0, at)) ||
        !IsPlausibleDomain(std::string_view(clean).substr(at + 1))) {
        return {};
    }
    return clean;
}

std::string clsAddressReader::CleanName(std::string_view name) {
    return clsCharsetText::UndeclaredToUtf8(WithoutControls(name, true));
}

clsMailAddress clsAddressReader::FromMailbox(InternetAddress* mailbox, RecipientKind kind) {
    clsMailAddress result;
    result.Kind = kind;
    if (const char* name = internet_address_get_name(mailbox); name != nullptr) {
        result.Name = CleanName(name);
    }
    const char* address = internet_address_mailbox_get_addr(INTERNET_ADDRESS_MAILBOX(mailbox));
    if (address != nullptr) {
        result.Address = CleanAddress(address);
    }
    return result;
}

std::vector<clsMailAddress> clsAddressReader::Mailboxes(InternetAddressList* list,
                                                        RecipientKind kind) {
    std::vector<clsMailAddress> result;
    // Lists still being read, with the index of their next entry: groups without recursion.
    std::vector<std::pair<InternetAddressList*, int>> open;
    if (list != nullptr) {
        open.emplace_back(list, 0);
    }
    while (!open.empty()) {
        auto& [current, index] = open.back();
        if (index >= internet_address_list_length(current)) {
            open.pop_back();
            continue;
        }
        InternetAddress* entry = internet_address_list_get_address(current, index++);
        if (INTERNET_ADDRESS_IS_GROUP(entry)) {
            InternetAddressList* members =
                internet_address_group_get_members(INTERNET_ADDRESS_GROUP(entry));
            if (members != nullptr) {
                open.emplace_back(members, 0);
            }
        } else if (INTERNET_ADDRESS_IS_MAILBOX(entry)) {
            clsMailAddress mailbox = FromMailbox(entry, kind);
            if (!mailbox.Name.empty() || !mailbox.Address.empty()) {
                result.push_back(std::move(mailbox));
            }
        }
    }
    return result;
}
