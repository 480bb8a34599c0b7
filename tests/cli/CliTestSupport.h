#pragma once
// Runs the real corvel binary with its settings and data in a private temporary folder.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <string>
#include <vector>

#include "support/TestSupport.h"

class clsCorvelCommandTest : public testing::Test {
protected:
    struct clsRun {
        int ExitCode;
        std::string Out, Err;
    };
    clsRun Run(const std::vector<std::string>& args) {
        std::string line = "XDG_CONFIG_HOME='" + (mFolder.Path() / "config").string() +
                           "' XDG_DATA_HOME='" + (mFolder.Path() / "data").string() + "' " +
                           CORVEL_BINARY;
        for (const std::string& arg : args) {
            std::string quoted;
            for (char c : arg) {
                quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
            }
            line += " '" + quoted + "'";
        }
        const auto out = mFolder.Path() / "out", err = mFolder.Path() / "err";
        const int status =
            std::system((line + " >'" + out.string() + "' 2>'" + err.string() + "'").c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadWholeFile(out),
                ReadWholeFile(err)};
    }
    std::filesystem::path DefaultMaildir() const {
        return mFolder.Path() / "data" / "corvel" / "Maildir";
    }
    clsTempFolder mFolder;
};
