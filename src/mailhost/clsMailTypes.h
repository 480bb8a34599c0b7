#pragma once
// Value types shared by the mail host's object model, its backends, MIME reading and transport.

#include <chrono>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

// The default folders by the numbers the rules code uses for them.
enum class DefaultFolder {
    DeletedItems = 3,
    Outbox = 4,
    SentMail = 5,
    Inbox = 6,
    Drafts = 16,
    Junk = 23
};

// An item's importance, with the host's values: low 0, normal 1, high 2.
enum class Importance { Low = 0, Normal = 1, High = 2 };

enum class RecipientKind { To, Cc, Bcc };

struct clsMailAddress {
    std::string Name;     // display name, decoded; may be empty
    std::string Address;  // addr-spec, "local@domain"; empty when none could be read
    RecipientKind Kind = RecipientKind::To;

    // "Name <address>", or the address alone when there is no name.
    std::string DisplayString() const {
        return Name.empty() ? Address : Name + " <" + Address + ">";
    }
};

using clsTimePoint = std::chrono::system_clock::time_point;
