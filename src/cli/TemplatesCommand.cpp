// corvel templates list | create --subject TEXT (--body TEXT | --body-file FILE) [--html]
//                  | show ID | delete ID
#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>

#include "cli/CommandTable.h"
#include "foundation/CommonHelpers.h"
#include "services/classAutoReply.h"

namespace {

struct clsTemplateArguments {
    std::string Subject;
    std::string Body;
    std::string BodyFile;
    bool Html = false;
    std::int32_t ID = 0;
};

using clsTemplateAction = int (*)(clsCommandContext&, classAutoReply&, const clsTemplateArguments&);

// Opens the mail and the template folder, then runs the action on them.
int WithTemplates(clsCommandContext& context, const clsTemplateArguments& args,
                  clsTemplateAction action) {
    if (!context.OpenMail()) {
        return 1;
    }
    classAutoReply autoReply(context.Mail(), context.Log());
    const auto folder = autoReply.TemplateFolder();
    if (!folder) {
        return context.Fail("cannot open or create the folder \"" +
                            std::string(classAutoReply::kTemplateFolderName) + "\"; see the log " +
                            context.Log().FullFilename().string());
    }
    if (!context.FolderCache().FindFolder(folder->FolderPath())) {
        context.FolderCache().BuildFolderCache();  // made just now: list it with the others
    }
    return action(context, autoReply, args);
}

int List(clsCommandContext& context, classAutoReply& autoReply, const clsTemplateArguments&) {
    for (const clsTemplateSummary& summary : autoReply.Templates()) {
        context.Out() << summary.ID << "\t" << summary.Description << "\n";
    }
    return 0;
}

int Create(clsCommandContext& context, classAutoReply& autoReply,
           const clsTemplateArguments& args) {
    std::string body = args.Body;
    if (!args.BodyFile.empty()) {
        const auto text = ReadFileBytes(args.BodyFile);
        if (!text) {
            return context.Fail("cannot read " + args.BodyFile + "; give a readable file");
        }
        body = *text;
    }
    const std::int32_t id = autoReply.CreateTemplate(args.Subject, body, args.Html);
    if (id == 0) {
        return context.Fail("the template could not be stored; see the log " +
                            context.Log().FullFilename().string());
    }
    context.Out() << id << "\n";
    return 0;
}

int Show(clsCommandContext& context, classAutoReply& autoReply, const clsTemplateArguments& args) {
    const auto item = autoReply.Template(args.ID);
    if (!item) {
        return context.Fail("there is no template " + std::to_string(args.ID) +
                            "; `corvel templates list` lists them");
    }
    const std::string html = autoReply.TemplateHTMLBody(args.ID);
    const std::string body = html.empty() ? item->Body() : html;
    context.Out() << "ID: " << args.ID << "\nSubject: " << item->Subject()
                  << "\nFormat: " << (html.empty() ? "plain" : "html") << "\n\n"
                  << body << (body.empty() || body.back() == '\n' ? "" : "\n");
    return 0;
}

int Delete(clsCommandContext& context, classAutoReply& autoReply,
           const clsTemplateArguments& args) {
    if (!autoReply.Template(args.ID)) {
        return context.Fail("there is no template " + std::to_string(args.ID) +
                            "; `corvel templates list` lists them");
    }
    if (!autoReply.DeleteTemplate(args.ID)) {
        return context.Fail("template " + std::to_string(args.ID) +
                            " could not be deleted; see the log " +
                            context.Log().FullFilename().string());
    }
    return 0;
}

void AddAction(CLI::App* command, clsCommandAction& selected,
               const std::shared_ptr<clsTemplateArguments>& args, clsTemplateAction action) {
    command->callback([&selected, args, action] {
        selected = [args, action](clsCommandContext& c) { return WithTemplates(c, *args, action); };
    });
}

}  // namespace

void AddTemplatesCommand(CLI::App& app, clsCommandAction& selected) {
    auto args = std::make_shared<clsTemplateArguments>();
    CLI::App* templates = app.add_subcommand(
        "templates", "Auto-reply templates: mail items in the folder \"" +
                         std::string(classAutoReply::kTemplateFolderName) + "\"");
    AddAction(templates->add_subcommand("list", "List the templates: ID and description"), selected,
              args, List);

    CLI::App* create = templates->add_subcommand("create", "Store a new template; prints its ID");
    create->add_option("--subject", args->Subject, "Its subject, which is its description")
        ->required();
    CLI::Option_group* text = create->add_option_group("text", "The reply text, one of:");
    text->add_option("--body", args->Body,
                     "The reply text; fields: <-[SenderName]->, <-[SenderEmail]->, "
                     "<-[ReceivedSubject]->, <-[ReceivedTime]->, <-[DateNow]->");
    text->add_option("--body-file", args->BodyFile, "Read the reply text from this file");
    text->require_option(1);
    create->add_flag("--html", args->Html, "The text is HTML (a plain alternative is added)");
    AddAction(create, selected, args, Create);

    CLI::App* show = templates->add_subcommand("show", "Show a template's subject and body");
    show->add_option("ID", args->ID, "The template's ID")->required();
    AddAction(show, selected, args, Show);

    CLI::App* remove = templates->add_subcommand("delete", "Delete a template for good");
    remove->add_option("ID", args->ID, "The template's ID")->required();
    AddAction(remove, selected, args, Delete);
}
