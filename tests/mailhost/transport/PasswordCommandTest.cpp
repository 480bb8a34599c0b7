#include <gtest/gtest.h>

#include <chrono>

#include "mailhost/transport/clsPasswordCommand.h"

using namespace std::chrono_literals;

TEST(PasswordCommand, TheFirstLineOfTheOutputIsThePassword) {
    struct Case {
        const char* Command;
        const char* Expected;
    };
    for (const Case& c : {Case{"printf 'first\\nsecond\\n'", "first"},
                          Case{"printf 'with blanks \\r\\n'", "with blanks "},
                          Case{"printf 'no line end'", "no line end"},
                          Case{"cat; echo from-stdin-was-empty", "from-stdin-was-empty"},
                          Case{"echo noise >&2; echo pw", "pw"}}) {
        SCOPED_TRACE(c.Command);
        std::string password = "left over";

        const clsStatus status = clsPasswordCommand(c.Command).Read(password);

        ASSERT_TRUE(status.IsOk()) << status.Description();
        EXPECT_EQ(password, c.Expected);
    }
}

TEST(PasswordCommand, AFailingCommandSaysWhyAndNeverShowsWhatItPrinted) {
    struct Case {
        const char* Command;
        clsStatus::Code Code;
        const char* Says;
    };
    for (const Case& c : {
             Case{"echo secret-one; echo 'no such key' >&2; exit 3", clsStatus::Code::Io,
                  "failed with exit status 3 (it said: no such key)"},
             Case{"true", clsStatus::Code::NotFound, "printed no password"},
             Case{"printf '\\nsecret-one\\n'", clsStatus::Code::NotFound, "printed no password"},
             Case{"echo secret-one; kill -9 $$", clsStatus::Code::Io, "killed by signal 9"},
             Case{"echo secret-one; exec sleep 30", clsStatus::Code::Temporary,
                  "did not finish within 300 ms"},
             Case{"", clsStatus::Code::Invalid, "no password command"},
         }) {
        SCOPED_TRACE(c.Command);
        std::string password = "left over";
        const auto start = std::chrono::steady_clock::now();

        const clsStatus status = clsPasswordCommand(c.Command, 300ms).Read(password);

        EXPECT_LT(std::chrono::steady_clock::now() - start, 3s);
        EXPECT_EQ(status.GetCode(), c.Code);
        EXPECT_NE(status.Description().find(c.Says), std::string::npos) << status.Description();
        EXPECT_EQ(status.Description().find("secret-one"), std::string::npos);
        EXPECT_EQ(password, "");
    }
}
