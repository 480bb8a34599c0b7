#include "foundation/clsLogFile.h"
#include "foundation/clsUserInterface.h"

void clsHeadlessUserInterface::ShowStatus(std::string_view text) { mLog.AddLog(text, 2); }

MessageAnswer clsHeadlessUserInterface::ShowMessage(std::string_view text, std::string_view title,
                                                    MessageButtons, MessageIcon,
                                                    MessageAnswer defaultAnswer) {
    mLog.AddLog("Message (" + std::string(title) + "): " + std::string(text), 0);
    return defaultAnswer;
}

std::string clsHeadlessUserInterface::AskText(std::string_view prompt, std::string_view title,
                                              std::string_view fallback) {
    mLog.AddLog("Question (" + std::string(title) + "): " + std::string(prompt), 1);
    return std::string(fallback);
}
