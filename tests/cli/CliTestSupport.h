#pragma once
// Runs the real corvel binary with its settings and data (a Maildir among them) in a private
// temporary folder.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <string>
#include <vector>

#include "mailhost/MailhostTestSupport.h"

class clsCorvelCommandTest : public testing::Test {
protected:
    struct clsRun {
        int ExitCode;
        std::string Out, Err;
    };
    // Runs corvel (or `program`) with args inside `home`, whose config/ and data/ folders take
    // the settings and the data.
    clsRun RunIn(const std::filesystem::path& home, const std::vector<std::string>& args,
                 const std::string& program = CORVEL_BINARY) {
        std::filesystem::create_directories(home);
        std::string line = "cd " + Quoted(home.string()) +
                           " && XDG_CONFIG_HOME=" + Quoted((home / "config").string()) +
                           " XDG_DATA_HOME=" + Quoted((home / "data").string()) + " " + program;
        for (const std::string& arg : args) {
            line += " " + Quoted(arg);
        }
        const auto out = mFolder.Path() / "out", err = mFolder.Path() / "err";
        const int status = std::system(
            (line + " >" + Quoted(out.string()) + " 2>" + Quoted(err.string())).c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadWholeFile(out),
                ReadWholeFile(err)};
    }
    clsRun Run(const std::vector<std::string>& args) { return RunIn(mFolder.Path(), args); }
    // Runs a command that must succeed; its output.
    std::string Must(const std::vector<std::string>& args) {
        const clsRun run = Run(args);
        EXPECT_EQ(run.ExitCode, 0) << testing::PrintToString(args) << ": " << run.Err;
        return run.Out;
    }
    std::filesystem::path DataFolder() const { return mFolder.Path() / "data" / "corvel"; }
    std::filesystem::path DefaultMaildir() const { return DataFolder() / "Maildir"; }

    static std::string Quoted(std::string_view text) {
        std::string quoted = "'";
        for (char c : text) {
            quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
        }
        return quoted + "'";
    }
    clsTempFolder mFolder;
};
