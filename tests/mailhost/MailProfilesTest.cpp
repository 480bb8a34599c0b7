#include "MailhostTestSupport.h"
#include "mailhost/clsMailProfiles.h"

TEST(MailProfiles, AFirstRunMakesTheDefaultProfileAndOpensItsMapiNamespace) {
    clsTestEnvironment env;
    clsMailProfiles profiles(env.Settings);
    EXPECT_FALSE(profiles.Resolve("Missing", env.Folder.Path()));
    const auto first = profiles.Resolve("", env.Folder.Path());
    ASSERT_TRUE(first);
    EXPECT_EQ(first->Name, "Default");
    EXPECT_EQ(first->Maildir, env.Folder.Path() / "Maildir");
    EXPECT_EQ(profiles.DefaultName(), "Default");

    clsStatus status = clsStatus::Ok();
    const auto application = clsMailProfiles::OpenProfile(*first, env.Log, status);
    ASSERT_TRUE(application) << status.Description();
    EXPECT_EQ(application->GetNamespace("Other"), nullptr);
    clsMailNamespace* mapi = application->GetNamespace("mapi");
    ASSERT_NE(mapi, nullptr);
    EXPECT_EQ(mapi->CurrentProfileName(), "Default");
    EXPECT_EQ(mapi->GetDefaultFolder(DefaultFolder::Inbox)->FolderPath(), "\\\\Mailbox\\Inbox");
}

TEST(MailProfiles, SettingsRoundTripAndABadTransportIsRefusedOnOpen) {
    clsTestEnvironment env;
    clsMailProfiles profiles(env.Settings);
    clsMailProfile work;
    work.Name = "Work";
    work.Maildir = env.Folder.Path() / "work";
    work.StoreName = "Office";
    work.Transport.Url = "smtps://mail.example.org";
    work.Transport.User = "me";
    work.Transport.PasswordCommand = "pass show mail";
    work.Transport.RequireTls = false;
    work.Addresses = {"me@example.org", "me@example.net"};
    ASSERT_TRUE(profiles.Save(work));
    const auto read = profiles.Get("work");  // the settings store ignores case
    ASSERT_TRUE(read);
    EXPECT_EQ(read->StoreName, "Office");
    EXPECT_EQ(read->Transport.Url, "smtps://mail.example.org");
    EXPECT_EQ(read->Transport.PasswordCommand, "pass show mail");
    EXPECT_FALSE(read->Transport.RequireTls);
    EXPECT_EQ(read->Addresses, work.Addresses);
    EXPECT_EQ(profiles.DefaultName(), "Work") << "the only profile is the default one";

    work.Transport.Url = "gopher://x";
    clsStatus status = clsStatus::Ok();
    EXPECT_FALSE(clsMailProfiles::OpenProfile(work, env.Log, status));
    EXPECT_FALSE(status.IsOk());
}
