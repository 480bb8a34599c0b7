// `corvel templates` end to end on the binary: templates made, listed, shown and deleted in the
// profile's Maildir, and mistakes reported with what to do.
#include "CliTestSupport.h"

class TemplatesCommand : public clsCorvelCommandTest {};

TEST_F(TemplatesCommand, CreatesListsShowsAndDeletesTemplates) {
    const std::filesystem::path html = mFolder.Path() / "reply.html";
    std::ofstream(html) << "<p>Hello &lt;-[SenderName]-&gt;</p>\n";
    const clsRun plain = Run({"templates", "create", "--subject", "Away until Monday", "--body",
                              "Back on Monday, <-[SenderName]->."});
    ASSERT_EQ(plain.ExitCode, 0) << plain.Err;
    EXPECT_EQ(plain.Out, "1\n");
    const clsRun fancy =
        Run({"templates", "create", "--subject", "Thanks", "--body-file", html.string(), "--html"});
    ASSERT_EQ(fancy.ExitCode, 0) << fancy.Err;
    EXPECT_EQ(fancy.Out, "2\n");
    EXPECT_EQ(Run({"templates", "list"}).Out, "1\tAway until Monday\n2\tThanks\n");

    struct Case {
        std::string ID;
        std::vector<std::string> Expected;
    };
    for (const Case& c :
         {Case{"1",
               {"ID: 1\n", "Subject: Away until Monday\n", "Format: plain\n",
                "\n\nBack on Monday, <-[SenderName]->."}},
          Case{"2",
               {"Subject: Thanks\n", "Format: html\n", "<p>Hello &lt;-[SenderName]-&gt;</p>"}}}) {
        const clsRun show = Run({"templates", "show", c.ID});
        ASSERT_EQ(show.ExitCode, 0) << show.Err;
        for (const std::string& expected : c.Expected) {
            EXPECT_NE(show.Out.find(expected), std::string::npos) << expected << show.Out;
        }
    }

    ASSERT_EQ(Run({"templates", "delete", "1"}).ExitCode, 0);
    EXPECT_EQ(Run({"templates", "list"}).Out, "2\tThanks\n");
}

TEST_F(TemplatesCommand, MistakesAreReportedWithWhatToDo) {
    struct Case {
        std::vector<std::string> Args;
        std::string Message;
    };
    for (const Case& c :
         {Case{{"templates", "show", "9"}, "corvel templates list"},
          Case{{"templates", "delete", "9"}, "corvel templates list"},
          Case{{"templates", "show", "one"}, "ID"},
          Case{{"templates", "create", "--subject", "S"}, "--body"},
          Case{{"templates", "create", "--subject", "S", "--body", "a", "--body-file", "b"},
               "--body"},
          Case{{"templates", "create", "--body", "a"}, "--subject"},
          Case{{"templates", "create", "--subject", "S", "--body-file", "/no/such/file"},
               "cannot read /no/such/file"}}) {
        const clsRun run = Run(c.Args);
        EXPECT_NE(run.ExitCode, 0) << c.Args[1];
        EXPECT_NE(run.Err.find(c.Message), std::string::npos) << run.Err;
    }
    EXPECT_EQ(Run({"templates", "list"}).Out, "") << "no mistake stored a template";
}
