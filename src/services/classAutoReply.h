#pragma once
// classAutoReply: the reply templates that a rule can answer a sender with, and the sending of
// such a reply. A template is a mail item in the folder "Autoreply Templates (Corvel)" directly
// under the default store's root; its user property "CVTemplateID" (the number as text) names it,
// its subject is its description and its body (plain, or HTML with a plain alternative) is the
// reply. Fields in the body and subject, written "<-[Name]->" or "&lt;-[Name]-&gt;" (as an HTML
// editor leaves them), are filled in from the received item: SenderName, SenderEmail,
// ReceivedSubject, ReceivedTime ("dd/mm/yyyy hh:nn:ss", local time) and DateNow ("dd/mm/yyyy").
// The reply holds the template's text only: the received message is not quoted below it, since
// an automatic answer to a possibly forged sender must not carry the received text anywhere.
// The folder is made the first time it is needed, so a mailbox that never uses templates gets no
// extra folder.
// Created by the engine through its factory, or by a command; borrows the namespace and the log,
// which outlive it. Event-loop thread only.
// Failure: every public member logs "Autoreply->Procedure: ..." and returns its neutral value
// (nothing, false, 0, ""); nothing throws.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/clsAutoReplySender.h"
#include "foundation/clsLogFile.h"
#include "mailhost/clsMailFolder.h"
#include "mailhost/clsMailItem.h"
#include "mailhost/clsMailNamespace.h"

struct clsTemplateSummary {
    std::int32_t ID = 0;
    std::string Description;
    bool operator==(const clsTemplateSummary&) const = default;
};

class classAutoReply : public clsAutoReplySender {
public:
    static constexpr std::string_view kTemplateFolderName = "Autoreply Templates (Corvel)";
    static constexpr std::string_view kTemplateIDProperty = "CVTemplateID";

    classAutoReply(clsMailNamespace& mapi, clsLogFile& log);

    // The template folder of the default store, made when missing; nothing without a store.
    std::optional<clsMailFolder> TemplateFolder();
    // Stores a new template and returns its ID (the largest one in use plus one, 1 for the
    // first); html: body is HTML, and its text becomes the plain alternative. 0 on failure.
    std::int32_t CreateTemplate(std::string_view subject, std::string_view body, bool html = false);
    // The template item with that ID; nothing when there is none.
    std::optional<clsMailItem> Template(std::int32_t id);
    // Its subject; "" when there is no such template.
    std::string TemplateDescription(std::int32_t id);
    // The template's HTML body, "" for a plain one or when there is no such template.
    std::string TemplateHTMLBody(std::int32_t id);
    // Removes the template for good (templates are not mail: they skip Deleted Items).
    bool DeleteTemplate(std::int32_t id);
    // Every template, by ID.
    std::vector<clsTemplateSummary> Templates();
    // Answers the received item's sender with the template, fields filled in, through the
    // namespace's transport. False (and logged) when the template or the sender's address is
    // missing or sending failed; the reply is not retried.
    bool SendAutoreply(const clsMailItem& received, std::int32_t templateID) override;

private:
    clsMailNamespace& mMapi;
    clsLogFile& mLog;
};
