#include "services/classAutoReply.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <ctime>
#include <utility>

#include "mailhost/clsMailItems.h"
#include "mailhost/mime/clsHtmlText.h"
#include "mailhost/mime/clsMessageComposer.h"
#include "mailhost/mime/clsMimeMessage.h"

namespace {

struct clsReplyField {
    std::string_view Name;
    std::string Value;
};

// The two ways a field is written: as typed, and as an HTML editor stores what was typed.
constexpr std::pair<std::string_view, std::string_view> kMarkers[] = {{"<-[", "]->"},
                                                                      {"&lt;-[", "]-&gt;"}};

// "dd/mm/yyyy", with withTime "dd/mm/yyyy hh:nn:ss", in local time.
std::string LocalTimeText(clsTimePoint time, bool withTime) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    std::tm local{};
    localtime_r(&seconds, &local);
    char text[32];
    const size_t length = withTime ? std::strftime(text, sizeof text, "%d/%m/%Y %H:%M:%S", &local)
                                   : std::strftime(text, sizeof text, "%d/%m/%Y", &local);
    return std::string(text, length);
}

// A sender without a display name is called by its address, as the mail host's SenderName does.
std::vector<clsReplyField> FieldValues(const clsMailItem& received) {
    const std::string address = received.SenderEmailAddress();
    const std::string name = received.SenderName();
    return {{"SenderName", name.empty() ? address : name},
            {"SenderEmail", address},
            {"ReceivedSubject", received.Subject()},
            {"ReceivedTime", LocalTimeText(received.ReceivedTime(), true)},
            {"DateNow", LocalTimeText(std::chrono::system_clock::now(), false)}};
}

// Values from received mail go into HTML as text: a sender named "<script>" adds no markup.
std::string HtmlEscaped(std::string_view text) {
    std::string escaped;
    escaped.reserve(text.size());
    for (const char c : text) {
        switch (c) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            default:
                escaped += c;
        }
    }
    return escaped;
}

// The field written at `at` (in either form) and the length of its marker.
std::optional<std::pair<const clsReplyField*, size_t>> FieldAt(
    std::string_view text, size_t at, const std::vector<clsReplyField>& fields) {
    const std::string_view rest = text.substr(at);
    for (const clsReplyField& field : fields) {
        for (const auto& [open, close] : kMarkers) {
            if (rest.size() >= open.size() + field.Name.size() + close.size() &&
                rest.substr(0, open.size()) == open &&
                rest.substr(open.size(), field.Name.size()) == field.Name &&
                rest.substr(open.size() + field.Name.size(), close.size()) == close) {
                return std::pair{&field, open.size() + field.Name.size() + close.size()};
            }
        }
    }
    return std::nullopt;
}

// One pass from left to right, names compared exactly: a value that itself holds a marker (a
// received subject "<-[DateNow]->") goes in as it stands and is not filled in again.
std::string FillFields(std::string_view text, const std::vector<clsReplyField>& fields, bool html) {
    std::string filled;
    size_t copied = 0;
    for (size_t at = text.find_first_of("<&"); at != std::string_view::npos;
         at = text.find_first_of("<&", at)) {
        const auto field = FieldAt(text, at, fields);
        if (!field) {
            ++at;
            continue;
        }
        filled.append(text.substr(copied, at - copied));
        filled += html ? HtmlEscaped(field->first->Value) : field->first->Value;
        at += field->second;
        copied = at;
    }
    filled.append(text.substr(copied));
    return filled;
}

std::optional<std::int32_t> TemplateIDOf(const clsMailItem& item) {
    const auto value = item.FindUserProperty(classAutoReply::kTemplateIDProperty);
    if (!value) {
        return std::nullopt;
    }
    const char* end = value->Text.data() + value->Text.size();
    std::int32_t id = 0;
    const auto [stop, error] = std::from_chars(value->Text.data(), end, id);
    return error == std::errc() && stop == end && id > 0 ? std::optional(id) : std::nullopt;
}

std::optional<clsMailItem> FindTemplate(const clsMailFolder& folder, std::int32_t id) {
    return folder.Items()
        .Restrict("[" + std::string(classAutoReply::kTemplateIDProperty) +
                  "] = " + clsMailItems::Quoted(std::to_string(id)))
        .Item(1);
}

std::int32_t NextTemplateID(const clsMailFolder& folder) {
    std::int32_t largest = 0;
    const clsMailItems items = folder.Items();
    for (long index = 1; index <= items.Count(); ++index) {
        const auto item = items.Item(index);
        largest = std::max(largest, item ? TemplateIDOf(*item).value_or(0) : 0);
    }
    return largest + 1;
}

// The item's key in its folder: what its EntryID holds after the folder's ID and "/".
std::string KeyOf(const clsMailItem& item) {
    const std::string entryID = item.EntryID();
    return entryID.substr(entryID.rfind('/') + 1);
}

std::string StoredHTMLBody(const clsMailItem& item) {
    const auto folder = item.Parent();
    const auto bytes =
        folder ? folder->Store().ReadMessage(folder->EntryID(), KeyOf(item)) : std::nullopt;
    return bytes ? clsMimeMessage::HTMLPart(*bytes) : std::string();
}

// Composes the template and files it in the folder; its entry, or nothing with status set.
std::optional<clsItemEntry> StoreTemplate(const clsMailFolder& folder, const clsMailAddress& from,
                                          std::string_view subject, std::string_view body,
                                          bool html, clsStatus& status) {
    clsOutgoingMessage message;
    message.From = from;
    message.Subject = std::string(subject);
    message.Body = html ? clsHtmlText::ToText(body) : std::string(body);
    message.HTMLBody = html ? std::string(body) : std::string();
    const std::string bytes = clsMessageComposer::Compose(message);
    clsMailStore& store = folder.Store();
    const auto key =
        bytes.empty() ? std::nullopt : store.AppendMessage(folder.EntryID(), bytes, true);
    const auto entry = key ? store.FindItem(folder.EntryID(), *key) : std::nullopt;
    if (!entry) {
        status = bytes.empty() ? clsStatus::Error(clsStatus::Code::Invalid,
                                                  "the template could not be composed")
                               : store.LastError();
    }
    return entry;
}

clsMailItem BuildReply(clsMailNamespace& mapi, const clsMailItem& replyTemplate,
                       const std::vector<clsReplyField>& fields) {
    clsMailItem reply = mapi.CreateItem();
    reply.SetSubject(FillFields(replyTemplate.Subject(), fields, false));
    reply.SetBody(FillFields(replyTemplate.Body(), fields, false));
    const std::string html = StoredHTMLBody(replyTemplate);
    if (!html.empty()) {
        reply.SetHTMLBody(FillFields(html, fields, true));
    }
    return reply;
}

}  // namespace

classAutoReply::classAutoReply(clsMailNamespace& mapi, clsLogFile& log) : mMapi(mapi), mLog(log) {
    mLog.AddLog("Autoreply: Initialise");
}

std::optional<clsMailFolder> classAutoReply::TemplateFolder() {
    try {
        clsMailStore* store = mMapi.DefaultStore();
        const auto root = store ? mMapi.GetFolderFromID("", store->StoreID()) : std::nullopt;
        if (!root) {
            mLog.AddLog("Autoreply->TemplateFolder: the profile has no mail store");
            return std::nullopt;
        }
        for (clsMailFolder& folder : root->Folders()) {
            if (folder.Name() == kTemplateFolderName) {
                return std::move(folder);
            }
        }
        return root->AddFolder(kTemplateFolderName);  // logs why when it cannot
    } catch (const std::exception& error) {
        mLog.AddErrorLog("Autoreply->TemplateFolder", error);
    }
    return std::nullopt;
}

std::int32_t classAutoReply::CreateTemplate(std::string_view subject, std::string_view body,
                                            bool html) {
    const std::string_view where = "Autoreply->CreateAutoreplyTemplate";
    try {
        const auto folder = TemplateFolder();
        if (!folder) {
            mLog.AddErrorLog(
                where, clsStatus::Error(clsStatus::Code::NotFound, "there is no template folder"));
            return 0;
        }
        const std::int32_t id = NextTemplateID(*folder);
        clsStatus status = clsStatus::Ok();
        const auto entry =
            StoreTemplate(*folder, mMapi.SenderAddress(), subject, body, html, status);
        if (!entry) {
            mLog.AddErrorLog(where, status);
            return 0;
        }
        clsMailItem item(*folder, *entry);
        item.AddUserProperty(kTemplateIDProperty, {UserPropertyType::Text, std::to_string(id)});
        if (!item.Save()) {  // without its ID the item would be a stray message: take it away
            folder->Store().RemoveItem(folder->EntryID(), entry->Key);
            mLog.AddErrorLog(where, folder->Store().Properties().LastError());
            return 0;
        }
        return id;
    } catch (const std::exception& error) {
        mLog.AddErrorLog(where, error);
    }
    return 0;
}

std::optional<clsMailItem> classAutoReply::Template(std::int32_t id) {
    try {
        const auto folder = TemplateFolder();
        return folder ? FindTemplate(*folder, id) : std::nullopt;
    } catch (const std::exception& error) {
        mLog.AddErrorLog("Autoreply->Template", error);
    }
    return std::nullopt;
}

std::string classAutoReply::TemplateDescription(std::int32_t id) {
    try {
        const auto item = Template(id);
        return item ? item->Subject() : std::string();
    } catch (const std::exception& error) {
        mLog.AddErrorLog("Autoreply->TemplateDescription", error);
    }
    return {};
}

std::string classAutoReply::TemplateHTMLBody(std::int32_t id) {
    try {
        const auto item = Template(id);
        return item ? StoredHTMLBody(*item) : std::string();
    } catch (const std::exception& error) {
        mLog.AddErrorLog("Autoreply->TemplateHTMLBody", error);
    }
    return {};
}

bool classAutoReply::DeleteTemplate(std::int32_t id) {
    const std::string where = "Autoreply->DeleteTemplate (" + std::to_string(id) + ")";
    try {
        const auto item = Template(id);
        const auto folder = item ? item->Parent() : std::nullopt;
        if (!folder) {
            mLog.AddErrorLog(
                where, clsStatus::Error(clsStatus::Code::NotFound, "there is no such template"));
            return false;
        }
        clsMailStore& store = folder->Store();
        const std::string key = KeyOf(*item);
        if (!store.RemoveItem(folder->EntryID(), key)) {
            mLog.AddErrorLog(where, store.LastError());
            return false;
        }
        store.Properties().RemoveAll(key);
        return true;
    } catch (const std::exception& error) {
        mLog.AddErrorLog(where, error);
    }
    return false;
}

std::vector<clsTemplateSummary> classAutoReply::Templates() {
    std::vector<clsTemplateSummary> templates;
    try {
        const auto folder = TemplateFolder();
        if (!folder) {
            return templates;
        }
        const clsMailItems items = folder->Items();
        for (long index = 1; index <= items.Count(); ++index) {
            const auto item = items.Item(index);
            if (const auto id = item ? TemplateIDOf(*item) : std::nullopt) {
                templates.push_back({*id, item->Subject()});
            }
        }
        std::sort(templates.begin(), templates.end(),
                  [](const auto& a, const auto& b) { return a.ID < b.ID; });
    } catch (const std::exception& error) {
        mLog.AddErrorLog("Autoreply->Templates", error);
        templates.clear();
    }
    return templates;
}

bool classAutoReply::SendAutoreply(const clsMailItem& received, std::int32_t templateID) {
    std::string_view step = "SendAutoReply";
    try {
        const std::string address = received.SenderEmailAddress();
        if (address.empty()) {
            mLog.AddLog("Autoreply->SendAutoReply: the item has no sender address; no reply sent");
            return false;
        }
        const auto found = Template(templateID);
        if (!found) {
            mLog.AddErrorLog(
                "Autoreply->SendAutoReply",
                clsStatus::Error(clsStatus::Code::NotFound,
                                 "there is no template " + std::to_string(templateID)));
            return false;
        }
        step = "ReplaceTemplateField";
        clsMailItem reply = BuildReply(mMapi, *found, FieldValues(received));
        step = "SendAutoReply";
        reply.AddRecipient(address);
        // Marks the reply as automatic (RFC 3834), so that other responders do not answer it.
        reply.AddHeader("Auto-Submitted", "auto-replied");
        if (!reply.Send()) {
            mLog.AddErrorLog("Autoreply->SendAutoReply",
                             clsStatus::Error(clsStatus::Code::Temporary,
                                              "the reply to " + address + " was not sent"));
            return false;
        }
        mLog.AddLog("Autoreply sent successfully to " + address);
        return true;
    } catch (const std::exception& error) {
        mLog.AddErrorLog("Autoreply->" + std::string(step), error);
    }
    return false;
}
