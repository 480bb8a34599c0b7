#pragma once
// clsConsoleUserInterface: the user interface of the command line. Status lines go to the error
// stream with --verbose, progress always; message boxes are printed there and logged, and take
// their default answer, since a command does not stop to ask. Main thread only; never throws.

#include <ostream>

#include "foundation/clsLogFile.h"
#include "foundation/clsUserInterface.h"

class clsConsoleUserInterface final : public clsUserInterface {
public:
    clsConsoleUserInterface(clsLogFile& log, std::ostream& err, bool verbose)
        : mLog(log), mErr(err), mVerbose(verbose) {}

    void ShowStatus(std::string_view text) override;
    // Always shown, at every tenth of the work and at its end, so a long run is seen to move.
    void ShowProgress(std::string_view caption, long done, long total) override;
    MessageAnswer ShowMessage(std::string_view text, std::string_view title, MessageButtons buttons,
                              MessageIcon icon, MessageAnswer defaultAnswer) override;
    std::string AskText(std::string_view prompt, std::string_view title,
                        std::string_view fallback) override;

private:
    clsLogFile& mLog;
    std::ostream& mErr;
    bool mVerbose;
};
