#pragma once
// clsUserInterface: where components show a status text or ask the user a question. The web UI
// and the command line implement it; a daemon with nobody watching logs the text and takes the
// default answer (clsHeadlessUserInterface). Event-loop thread only. Never throws.

#include <string>
#include <string_view>

enum class MessageAnswer { Ok, Yes, No, Cancel };
enum class MessageButtons { Ok, YesNo, OkCancel };
enum class MessageIcon { None, Information, Exclamation, Critical };

class clsUserInterface {
public:
    virtual ~clsUserInterface() = default;
    // A progress or status line ("Opening database...").
    virtual void ShowStatus(std::string_view text) = 0;
    // How far a long piece of work has come: done of total items.
    virtual void ShowProgress(std::string_view caption, long done, long total) {
        ShowStatus(std::string(caption) + ": " + std::to_string(done) + " of " +
                   std::to_string(total));
    }
    // Whether the user asked a long piece of work (a pass over whole folders) to stop.
    virtual bool CancelRequested() { return false; }
    // A message box; returns the answer, or defaultAnswer when nobody can answer.
    virtual MessageAnswer ShowMessage(std::string_view text, std::string_view title,
                                      MessageButtons buttons, MessageIcon icon,
                                      MessageAnswer defaultAnswer) = 0;
    // Asks for a line of text; returns fallback (a cancel sentinel, say) when nobody can answer.
    virtual std::string AskText(std::string_view prompt, std::string_view title,
                                std::string_view fallback) = 0;
};

class clsLogFile;

// Logs each message box's text and takes the default; statuses are dropped unless verbose.
class clsHeadlessUserInterface final : public clsUserInterface {
public:
    explicit clsHeadlessUserInterface(clsLogFile& log) : mLog(log) {}
    void ShowStatus(std::string_view text) override;
    MessageAnswer ShowMessage(std::string_view text, std::string_view title, MessageButtons buttons,
                              MessageIcon icon, MessageAnswer defaultAnswer) override;
    std::string AskText(std::string_view prompt, std::string_view title,
                        std::string_view fallback) override;

private:
    clsLogFile& mLog;
};
