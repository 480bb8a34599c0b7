#pragma once
// The end-to-end tests' own reading of what rules mean, written from their documented meaning and
// never from the engine's code, so that the two can disagree: which rules match a message, and
// what their actions leave behind. Plain values and functions; nothing here touches a mailbox.

#include <algorithm>
#include <numeric>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "mailhost/clsMailTypes.h"
#include "mailhost/mime/clsMimeMessage.h"

namespace rules_model {

inline const std::string kInbox = "\\\\Mailbox\\Inbox";
inline const std::string kDeletedItems = "\\\\Mailbox\\Deleted Items";

// One rule as the test adds it with `corvel rules add`.
struct clsRuleSpec {
    int Priority = 0;
    std::string From{}, To{}, Subject{}, Body{};
    std::string CopyTo{}, MoveTo{};  // a folder path, or a folder's name
    std::string Importance{};        // "H", "N", "L" or "" for unchanged
    std::string Forward{};
    bool MarkRead = false, AutoReply = false;  // it answers with the scenario's one template
    bool Delete = false, Stop = false, Outgoing = false, Disabled = false;
    // Meant to match nothing here: its domain is only ever the tail of longer domains.
    bool Probe = false;
};

// What the matcher may know of a message.
struct clsMessageFacts {
    std::string Sender;                   // "" when there is none
    std::vector<std::string> Recipients;  // To, Cc and Bcc
    std::string Subject, Body;
    Importance Level = Importance::Normal;
};

struct clsItemState {
    std::string Folder;
    bool Unread = true;
    Importance Level = Importance::Normal;
    auto operator<=>(const clsItemState&) const = default;
};

inline std::string StateText(const clsItemState& state) {
    const char* const levels[] = {"low", "normal", "high"};  // in the order of Importance
    return state.Folder + (state.Unread ? " unread " : " read ") +
           levels[static_cast<int>(state.Level)];
}

struct clsOutcome {
    std::vector<size_t> Matched;  // rule indexes, in the order their actions run
    clsItemState Original;
    std::vector<clsItemState> Copies;   // sorted
    std::vector<std::string> Forwards;  // addresses
    int AutoReplies = 0;
    std::set<std::string> MissingFolders;  // as the rules name them
};

inline std::string Lower(std::string text) {
    for (char& c : text) {
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    }
    return text;
}

// The whole address, or its "@domain" from the first "@", in any case.
inline bool AddressMatches(const std::string& criterion, const std::string& address) {
    const size_t at = address.find('@');
    const std::string wanted = Lower(criterion);
    return wanted == Lower(address) || (at != address.npos && wanted == Lower(address.substr(at)));
}

inline bool Contains(const std::string& text, const std::string& part) {
    return Lower(text).find(Lower(part)) != std::string::npos;
}

// The rule's criteria alone, whatever its direction and switch say.
inline bool CriteriaHold(const clsRuleSpec& rule, const clsMessageFacts& message) {
    const bool from = rule.From.empty() || AddressMatches(rule.From, message.Sender);
    const bool to = rule.To.empty() ||
                    std::any_of(message.Recipients.begin(), message.Recipients.end(),
                                [&](const std::string& r) { return AddressMatches(rule.To, r); });
    return from && to && Contains(message.Subject, rule.Subject) &&
           Contains(message.Body, rule.Body);
}

// Enabled incoming rules whose criteria hold, by priority, up to the first that stops.
inline std::vector<size_t> MatchingRules(const std::vector<clsRuleSpec>& rules,
                                         const clsMessageFacts& message) {
    std::vector<size_t> order(rules.size());
    std::iota(order.begin(), order.end(), size_t{0});
    std::stable_sort(order.begin(), order.end(),
                     [&](size_t a, size_t b) { return rules[a].Priority < rules[b].Priority; });
    std::vector<size_t> matched;
    for (size_t index : order) {
        const clsRuleSpec& rule = rules[index];
        if (rule.Outgoing || rule.Disabled || !CriteriaHold(rule, message)) {
            continue;
        }
        matched.push_back(index);
        if (rule.Stop) {
            break;
        }
    }
    return matched;
}

// A rule's target is a full path, or else a name that exactly one folder has (a full path that is
// not there is also tried by its last name); an ambiguous name names nothing.
inline std::optional<std::string> ResolveFolder(const std::vector<std::string>& paths,
                                                const std::string& target) {
    if (std::find(paths.begin(), paths.end(), target) != paths.end()) {
        return target;
    }
    const auto nameOf = [](const std::string& path) {
        return Lower(path.substr(path.rfind('\\') + 1));
    };
    std::optional<std::string> found;
    for (const std::string& path : paths) {
        if (nameOf(path) == nameOf(target)) {
            if (found) {
                return std::nullopt;
            }
            found = path;
        }
    }
    return found;
}

// Carries out the actions of the rules in `order` on a message that starts unread in the Inbox.
// As the command line stores a rule, its copy comes first and carries its other actions (so the
// copy has the state they leave), its move follows. Filing into a folder happens once per message;
// a copy is never made into the folder the message is in; a moved message is never deleted; a
// deleted one goes to Deleted Items at the end.
inline clsOutcome Carry(const std::vector<clsRuleSpec>& rules, const std::vector<size_t>& order,
                        const clsMessageFacts& message, const std::vector<std::string>& folders) {
    clsOutcome outcome;
    outcome.Matched = order;
    clsItemState& item = outcome.Original = {kInbox, true, message.Level};
    std::set<std::string> visited;
    bool moved = false, deleted = false;
    const auto file = [&](const std::string& wanted, bool copy) {
        const std::optional<std::string> target = ResolveFolder(folders, wanted);
        if (!target) {
            outcome.MissingFolders.insert(wanted);
        } else if (!visited.insert(*target).second) {
            return;  // filed there already
        } else if (!copy) {
            item.Folder = *target;
            moved = true;
        } else if (*target != item.Folder) {
            outcome.Copies.push_back({*target, item.Unread, item.Level});
        }
    };
    for (size_t index : order) {
        const clsRuleSpec& rule = rules[index];
        outcome.AutoReplies += rule.AutoReply && !message.Sender.empty() ? 1 : 0;
        item.Unread = item.Unread && !rule.MarkRead;
        const std::string& level = rule.Importance;
        item.Level = level == "H"   ? Importance::High
                     : level == "N" ? Importance::Normal
                     : level == "L" ? Importance::Low
                                    : item.Level;
        for (const auto& [target, copy] : {std::pair{&rule.CopyTo, true}, {&rule.MoveTo, false}}) {
            if (!target->empty()) {
                file(*target, copy);
            }
        }
        if (!rule.Forward.empty()) {
            outcome.Forwards.push_back(rule.Forward);
        }
        deleted = deleted || rule.Delete;
    }
    if (deleted && !moved) {
        item.Folder = kDeletedItems;
    }
    std::sort(outcome.Copies.begin(), outcome.Copies.end());
    return outcome;
}

// The `corvel rules add` arguments of a rule; templateID answers a rule with AutoReply.
inline std::vector<std::string> AddArguments(const clsRuleSpec& rule,
                                             const std::string& templateID = "") {
    std::vector<std::string> args{"rules", "add", "--priority", std::to_string(rule.Priority)};
    const std::string reply = rule.AutoReply ? templateID : "";
    for (const auto& [flag, value] : {std::pair{"--from", &rule.From},
                                      {"--to", &rule.To},
                                      {"--subject", &rule.Subject},
                                      {"--body", &rule.Body},
                                      {"--copy-to", &rule.CopyTo},
                                      {"--move-to", &rule.MoveTo},
                                      {"--importance", &rule.Importance},
                                      {"--forward", &rule.Forward},
                                      {"--autoreply", &reply}}) {
        if (!value->empty()) {
            args.insert(args.end(), {flag, *value});
        }
    }
    for (const auto& [flag, on] : {std::pair{"--mark-read", rule.MarkRead},
                                   {"--delete", rule.Delete},
                                   {"--stop", rule.Stop},
                                   {"--outgoing", rule.Outgoing},
                                   {"--disabled", rule.Disabled}}) {
        if (on) {
            args.emplace_back(flag);
        }
    }
    return args;
}

// What the matcher may know of a parsed message.
inline clsMessageFacts FactsOf(const clsMimeMessage& mime) {
    clsMessageFacts facts{
        mime.Sender().Address, {}, mime.Subject(), mime.Body(), mime.GetImportance()};
    for (const clsMailAddress& recipient : mime.Recipients()) {
        facts.Recipients.push_back(recipient.Address);
    }
    return facts;
}

}  // namespace rules_model
