#include "cli/clsConsoleUserInterface.h"

void clsConsoleUserInterface::ShowStatus(std::string_view text) {
    if (mVerbose) {
        mErr << text << "\n";
    }
}

void clsConsoleUserInterface::ShowProgress(std::string_view caption, long done, long total) {
    const long step = total >= 10 ? total / 10 : 1;
    if (done == total || (done > 0 && done % step == 0)) {
        mErr << caption << ": " << done << " of " << total << "\n";
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
