// The daemon's lifecycle where the daemon scenario does not go (it checks the lines of a normal
// start and stop): a profile-less log-on starts nothing, and loading after start-up initialises
// once.
#include <gtest/gtest.h>

#include "engine/EngineTestSupport.h"
#include "intake/connect.h"

namespace {

struct ConnectTest : ::testing::Test, clsEngineFixture {};

TEST_F(ConnectTest, WithoutAProfileNothingStartsAndLoadingLateInitialisesOnce) {
    clsStatus status = clsStatus::Ok();
    auto store = clsMaildirStore::Open(Root, "Mailbox", true, status);
    ASSERT_TRUE(store) << status.Description();
    auto mapi = std::make_unique<clsMailNamespace>(Log, "");
    mapi->AddStore(std::move(store));
    Application = std::make_unique<clsMailApplication>(std::move(mapi));
    clsEventLoop loop;
    const auto addin = std::make_unique<connect>(
        clsConnectHost{.Log = Log,
                       .Ui = Ui,
                       .Loop = loop,
                       .Ticks = clsTickCounter::System(),
                       .DataFolder = DataFolder,
                       .EngineHost = [this](clsMailApplication* application) {
                           return clsEngineHost{.Settings = Settings,
                                                .Ui = Ui,
                                                .Application = application,
                                                .DefaultDataFolder = DataFolder,
                                                .FixedDataFolder = DataFolder,
                                                .AutoReplies = {},
                                                .SpamFilters = {},
                                                .Intake = {}};
                       }});
    addin->AddinInstance_Initialize();
    addin->AddinInstance_OnConnection(Application.get(), connect::kAfterStartup);
    addin->ooL_Startup();
    addin->ooL_MAPILogonComplete();
    EXPECT_EQ(addin->Engine(), nullptr);
    EXPECT_FALSE(addin->Timers().MailTimerEnabled());
    // The log stays in the data folder: without a profile it never moves.
    const std::string log = ReadWholeFile(DataFolder / (Log.FileName() + ".log"));
    EXPECT_NE(log.find("Connect->MAPILogonComplete: couldn't determine Outlook profile"),
              std::string::npos);
    EXPECT_EQ(log.find("starting up"), log.rfind("starting up"));  // once, from the connection
    EXPECT_EQ(log.find("Corvel->InitialiseEngine"), std::string::npos);
}

}  // namespace
