#include "MailhostTestSupport.h"
#include "mailhost/clsMailProfiles.h"

// The first run's profile is checked end to end by the corvel commands' tests.
TEST(MailProfiles, AProfileWithATransportItCannotUseIsNotOpened) {
    clsTestEnvironment env;
    clsMailProfiles profiles(env.Settings);
    auto profile = profiles.Resolve("", env.Folder.Path());
    ASSERT_TRUE(profile);
    profile->Transport.Url = "gopher://x";
    clsStatus status = clsStatus::Ok();
    EXPECT_FALSE(clsMailProfiles::OpenProfile(*profile, env.Log, status));
    EXPECT_EQ(status.GetCode(), clsStatus::Code::Invalid);
}
