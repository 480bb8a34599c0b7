// The daemon's lifecycle where the daemon scenario does not go (it checks the lines of a normal
// start and stop): a profile-less log-on starts nothing, loading after start-up initialises once,
// and the Inbox's item event processes new mail directly unless the Inbox is watched.
#include <gtest/gtest.h>

#include "engine/EngineTestSupport.h"
#include "intake/connect.h"

namespace {

struct ConnectTest : ::testing::Test, clsEngineFixture {
    clsEventLoop Loop;
    std::unique_ptr<connect> Addin;

    void Open(const std::string& profile) {
        clsStatus status = clsStatus::Ok();
        auto store = clsMaildirStore::Open(Root, "Mailbox", true, status);
        ASSERT_TRUE(store) << status.Description();
        auto mapi = std::make_unique<clsMailNamespace>(Log, profile);
        mapi->AddStore(std::move(store));
        Application = std::make_unique<clsMailApplication>(std::move(mapi));
        Addin = std::make_unique<connect>(
            clsConnectHost{.Log = Log,
                           .Ui = Ui,
                           .Loop = Loop,
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
    }
    void StartUp(int connectMode = connect::kAtStartup) {
        Addin->AddinInstance_Initialize();
        Addin->AddinInstance_OnConnection(Application.get(), connectMode);
        Addin->ooL_Startup();
        if (connectMode == connect::kAtStartup) {
            Addin->AddinInstance_OnStartupComplete();
        }
        Addin->ooL_MAPILogonComplete();
    }
    // Every log text since the log moved to the profile's folder, and before.
    std::string AllLogText() {
        const std::string moved = Log.Path() != DataFolder ? LogText() : "";
        return ReadWholeFile(DataFolder / (Log.FileName() + ".log")) + moved;
    }
    void RunLoopFor(int milliseconds) {
        Loop.StartTimer(milliseconds, [this] { Loop.Stop(); });
        Loop.Run();
    }
};

TEST_F(ConnectTest, WithoutAProfileNothingStartsAndLoadingLateInitialisesOnce) {
    Open("");
    StartUp(connect::kAfterStartup);
    EXPECT_EQ(Addin->Engine(), nullptr);
    EXPECT_FALSE(Addin->Timers().MailTimerEnabled());
    const std::string log = AllLogText();
    EXPECT_NE(log.find("Connect->MAPILogonComplete: couldn't determine Outlook profile"),
              std::string::npos);
    EXPECT_EQ(log.find("starting up"), log.rfind("starting up"));  // once, from the connection
    EXPECT_EQ(log.find("Corvel->InitialiseEngine"), std::string::npos);
}

TEST_F(ConnectTest, TheInboxItemEventProcessesNewMailUnlessTheInboxIsWatched) {
    Open("Test");
    StartUp();
    classCorvel& engine = *Addin->Engine();
    engine.Setenabled(true);
    DeliverMail("direct");
    RunLoopFor(1300);  // the sink looks every second
    EXPECT_TRUE(engine.AlreadyProcessed(*FolderAt("INBOX").Items().Item(1)));

    Addin->Intake()->FolderMonitor().AddFolder(FolderAt("INBOX"), 60);
    DeliverMail("watched");
    RunLoopFor(1300);
    const clsMailItems items = FolderAt("INBOX").Items();
    ASSERT_EQ(items.Count(), 2);
    EXPECT_FALSE(engine.AlreadyProcessed(*items.Item(2)));
}

}  // namespace
