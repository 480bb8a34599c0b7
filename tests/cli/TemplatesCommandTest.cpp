// `corvel templates` end to end on the binary: templates made, listed, shown and deleted in the
// profile's Maildir. Its mistakes are checked with every other command's in CommandLineTest.
#include "CliTestSupport.h"

class TemplatesCommand : public clsCorvelCommandTest {};

TEST_F(TemplatesCommand, CreatesListsShowsAndDeletesTemplates) {
    const std::filesystem::path html = mFolder.Path() / "reply.html";
    std::ofstream(html) << "<p>Hello &lt;-[SenderName]-&gt;</p>\n";
    EXPECT_EQ(Must({"templates", "create", "--subject", "Away until Monday", "--body",
                    "Back on Monday, <-[SenderName]->."}),
              "1\n");
    EXPECT_EQ(Must({"templates", "create", "--subject", "Thanks", "--body-file", html.string(),
                    "--html"}),
              "2\n");
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
        const std::string show = Must({"templates", "show", c.ID});
        for (const std::string& expected : c.Expected) {
            EXPECT_TRUE(Holds(show, expected)) << expected << show;
        }
    }

    Must({"templates", "delete", "1"});
    EXPECT_EQ(Run({"templates", "list"}).Out, "2\tThanks\n");
}
