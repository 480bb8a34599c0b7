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
    const std::string plain = Must({"templates", "show", "1"});
    EXPECT_TRUE(Holds(plain, "Format: plain\n\nBack on Monday, <-[SenderName]->.")) << plain;
    const std::string rich = Must({"templates", "show", "2"});
    EXPECT_TRUE(Holds(rich, "Format: html\n")) << rich;
    EXPECT_TRUE(Holds(rich, "<p>Hello &lt;-[SenderName]-&gt;</p>")) << rich;
    Must({"templates", "delete", "1"});
    EXPECT_EQ(Run({"templates", "list"}).Out, "2\tThanks\n");
}
