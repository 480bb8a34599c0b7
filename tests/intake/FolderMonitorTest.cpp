// Watched folders on a real Maildir with the real analyser and queue: a rule that matches every
// message makes each analysed item show up in the queue.
#include <gtest/gtest.h>

#include <limits>

#include "intake/IntakeTestSupport.h"
#include "intake/clsFolderMonitor.h"

namespace {

constexpr std::int32_t kMaxTicks = std::numeric_limits<std::int32_t>::max();
constexpr std::string_view kSection = "Monitored Folders";

std::vector<std::string> SplitAt(const std::string& text, std::string_view separator) {
    std::vector<std::string> pieces;
    for (size_t start = 0;;) {
        const size_t end = text.find(separator, start);
        pieces.push_back(text.substr(start, end == std::string::npos ? end : end - start));
        if (end == std::string::npos) {
            return pieces;
        }
        start = end + separator.size();
    }
}

std::string ScanPosition(const clsMonitoredFolder& folder) {
    return SplitAt(folder.Serialize(), "\t").at(5);
}

struct clsMonitorFixture : clsIntakeFixture {
    std::unique_ptr<clsFolderMonitor> Monitor;

    void StartMonitor(const std::vector<std::string>& folders = {},
                      std::initializer_list<clsOption> options = {}) {
        StartIntake(folders, options);
        AddSubjectRule("");
        Monitor = NewMonitor();
        Ticks.Now = 1000;
        Ticks.Step = 0;
    }
    std::unique_ptr<clsFolderMonitor> NewMonitor() {
        auto monitor = std::make_unique<clsFolderMonitor>(*Engine, Ticks);
        monitor->SetStatistics(&Engine->Statistics());
        monitor->SetQueue(Queue.get());
        monitor->SetMessageAnalyser(Analyser.get());
        return monitor;
    }
    // One folder on its own, wired as the monitor wires its folders.
    std::unique_ptr<clsMonitoredFolder> Watch(std::string_view folderID) {
        auto folder = std::make_unique<clsMonitoredFolder>(*Engine, Ticks);
        folder->SetQueue(Queue.get());
        folder->SetMessageAnalyser(Analyser.get());
        folder->SetFolder(FolderAt(folderID));
        return folder;
    }
    void DeliverInto(std::string_view directory, int count) {
        for (int i = 0; i < count; ++i) {
            const std::string subject = "Mail " + std::to_string(++Delivered);
            Deliver(Root / directory, subject + ".T.host", TestMessage(subject));
        }
    }
};

TEST(FolderMonitorCheckNew, LooksOnlyAtArrivalsAndHoldsTheQueueUntilTheFolderIsQuiet) {
    struct Step {
        int Deliver;
        bool FoundNew;
        const char* ScanPosition;
        int Queued, QueuedAfterRun;
    };
    clsMonitorFixture f;
    f.StartMonitor();
    auto inbox = f.Watch("INBOX");
    int round = 0;
    for (const Step& s : {Step{0, false, "0", 0, 0},  // empty: nothing to fetch
                          Step{3, false, "3", 0, 0},  // first look: mail present is left alone
                          Step{2, true, "6", 3, 3},   // the last one seen again and the two new
                          Step{0, false, "5", 3, 0}}) {
        SCOPED_TRACE(++round);
        f.DeliverInto("", s.Deliver);
        EXPECT_EQ(inbox->CheckNew(), s.FoundNew);
        EXPECT_EQ(ScanPosition(*inbox), s.ScanPosition);
        EXPECT_EQ(f.Queue->ItemCount(), s.Queued);
        f.RunQueue();
        f.Ticks.Step = 0;
        EXPECT_EQ(f.Queue->ItemCount(), s.QueuedAfterRun);
        if (round == 1) {
            EXPECT_TRUE(Holds(f.LogText(), "MonitoredFolder->CheckNew: no items found"));
            EXPECT_FALSE(Holds(f.LogText(), "CheckNew: Exit loop 1"));
        }
    }
}

TEST(FolderMonitorCheckFolder, WalksFromTheEndInSlicesOnlyWhenSwitchedOn) {
    struct Case {
        const char* Name;
        bool Enabled;
        std::int32_t Start, Step;
        int FirstSliceAtLeast, FirstSliceAtMost;
    };
    for (const Case& c :
         {Case{"switched off", false, 1000, 0, 0, 0}, Case{"40 ms a reading", true, 1000, 40, 1, 4},
          Case{"end past the counter's range", true, kMaxTicks - 50, 0, 1, 1}}) {
        SCOPED_TRACE(c.Name);
        clsMonitorFixture f;
        f.StartMonitor({}, {{"Rules Engine", "Enable background check", c.Enabled}});
        f.DeliverInto("", 5);
        auto inbox = f.Watch("INBOX");
        f.Ticks.Now = c.Start;
        f.Ticks.Step = c.Step;
        inbox->CheckFolder(true);
        const int first = f.Queue->ItemCount();
        EXPECT_GE(first, c.FirstSliceAtLeast);
        EXPECT_LE(first, c.FirstSliceAtMost);
        EXPECT_EQ(inbox->CurrentIndex(), c.Enabled ? 5 - first : 0);
        for (int slice = 0; c.Enabled && slice < 5 && inbox->CurrentIndex() > 0; ++slice) {
            inbox->CheckFolder(true);
        }
        EXPECT_EQ(f.Queue->ItemCount(), c.Enabled ? 5 : 0);
    }
}

// Each watched folder is saved as one line; a folder moved since is not restored.
TEST(FolderMonitorState, SavedLinesRestoreTheFoldersStillInTheirPlace) {
    clsMonitorFixture f;
    f.StartMonitor({"Projects", "Archive"});
    f.DeliverInto("", 3);
    f.DeliverInto(".Projects", 1);
    f.Monitor->AddFolder(f.FolderAt("INBOX"), 45);
    f.Monitor->AddFolder(f.FolderAt(f.TopFolderID("Projects")), 10);
    f.Monitor->Timer();
    f.Monitor->SaveState(kSection);
    const std::string state = f.Engine->RulesDatabase().ReadOption(kSection, "State", "");
    const std::vector<std::string> lines = SplitAt(state, "\r\n");
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[2], "");  // the last line ends in CR LF as well
    EXPECT_EQ(lines[0], "INBOX\t\\\\Mailbox\\Inbox\t3\t0\t45\t3\t");
    EXPECT_EQ(SplitAt(lines[1], "\t").size(), 7U);

    // The same name now lives under Archive: found by its name, but another folder.
    std::filesystem::rename(f.Root / ".Projects", f.Root / ".Archive.Projects");
    ASSERT_TRUE(f.Engine->cvFolderCache()->BuildFolderCache());
    auto restored = f.NewMonitor();
    restored->LoadState(kSection);
    ASSERT_EQ(restored->FolderCount(), 1);
    EXPECT_EQ(restored->Folders()[0]->Serialize(), lines[0]);
}

}  // namespace
