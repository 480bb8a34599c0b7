#include "cli/clsConsoleUserInterface.h"

void clsConsoleUserInterface::ShowStatus(std::string_view text) {
    if (mVerbose) {
        mErr << text << "\n";
    }
}

MessageAnswer clsConsoleUserInterface::ShowMessage(std::string_view text, std::string_view title,
                                                   MessageButtons, MessageIcon,
                                                   MessageAnswer defaultAnswer) {
    mLog.AddLog("Message (" + std::string(title) + "): " + std::string(text));
    mErr << title << ": " << text << "\n";
    return defaultAnswer;
}

std::string clsConsoleUserInterface::AskText(std::string_view, std::string_view,
                                             std::string_view fallback) {
    return std::string(fallback);  // commands take their answers as arguments
}
