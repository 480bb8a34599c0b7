#include <gtest/gtest.h>

#include <chrono>

#include "mailhost/transport/clsPasswordCommand.h"

using namespace std::chrono_literals;

// The first line of the output is the password; a failing command says why and never shows what
// it printed.
TEST(PasswordCommand, ReadsTheFirstLineOrSaysWhyNot) {
    struct Case {
        const char* Command;
        clsStatus::Code Code;
        const char* Result;  // the password, or what the failure says
    };
    using Code = clsStatus::Code;
    for (const Case& c : {
             Case{"printf 'first\\nsecond\\n'", Code::Ok, "first"},
             Case{"printf 'with blanks \\r\\n'", Code::Ok, "with blanks "},
             Case{"echo noise >&2; echo pw", Code::Ok, "pw"},
             Case{"cat; echo from-stdin-was-empty", Code::Ok, "from-stdin-was-empty"},
             Case{"echo secret-one; echo 'no such key' >&2; exit 3", Code::Io,
                  "failed with exit status 3 (it said: no such key)"},
             Case{"printf '\\nsecret-one\\n'", Code::NotFound, "printed no password"},
             Case{"echo secret-one; exec sleep 30", Code::Temporary, "did not finish within 1 s"},
             Case{"", Code::Invalid, "no password command"},
         }) {
        SCOPED_TRACE(c.Command);
        std::string password = "left over";
        const auto start = std::chrono::steady_clock::now();

        const clsStatus status = clsPasswordCommand(c.Command, 1s).Read(password);

        EXPECT_LT(std::chrono::steady_clock::now() - start, 3s);
        EXPECT_EQ(status.GetCode(), c.Code) << status.Description();
        if (c.Code == Code::Ok) {
            EXPECT_EQ(password, c.Result);
        } else {
            EXPECT_NE(status.Description().find(c.Result), std::string::npos);
            EXPECT_EQ(status.Description().find("secret-one"), std::string::npos);
            EXPECT_EQ(password, "");
        }
    }
}
