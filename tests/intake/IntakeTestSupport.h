#pragma once
// The engine on a temporary Maildir with a spam-filter double, the queue and the analyser made on
// it as the intake makes them, and a tick counter that the tests move.

#include <initializer_list>
#include <limits>
#include <tuple>

#include "engine/EngineTestSupport.h"
#include "intake/clsMessageAnalyser.h"
#include "intake/clsQueue.h"

// Advances by Step at every reading and wraps as the system counter does.
struct clsSteppingTicks final : clsTickCounter {
    mutable std::int32_t Now = 0;
    std::int32_t Step = 1;
    std::int32_t Ticks() const override {
        const std::int32_t now = Now;
        Now = static_cast<std::int32_t>(static_cast<std::uint32_t>(Now) +
                                        static_cast<std::uint32_t>(Step));
        return now;
    }
};

// A classifier whose verdict the test sets; it remembers what it was taught as junk.
struct clsSpamDouble final : clsSpamEngine {
    double Probability = 0.0;
    bool UseJunkSuspects = false;
    std::vector<std::string> TrainedAsBad;  // subjects
    void ApplySettings(const clsAntispamSettings& settings) override {
        UseJunkSuspects = settings.UseJunkSuspects;
    }
    double MessageSpamProbability(const clsMailItem&, std::string*) override { return Probability; }
    bool AddBadMessage(clsMailItem& item) override {
        TrainedAsBad.push_back(item.Subject());
        return true;
    }
    bool UseJunkSuspectsFolder() const override { return UseJunkSuspects; }
    void Close() override {}
};

struct clsIntakeFixture : clsEngineFixture {
    using clsOption = std::tuple<const char*, const char*, bool>;  // section, name, value
    clsSpamDouble* Spam = nullptr;                                 // owned by the engine
    clsSteppingTicks Ticks;
    std::unique_ptr<clsQueue> Queue;
    std::unique_ptr<clsMessageAnalyser> Analyser;

    // Starts the engine with the double as its spam filter, stores options, then makes the queue
    // and the analyser, which read them.
    void StartIntake(const std::vector<std::string>& folders = {},
                     std::initializer_list<clsOption> options = {}) {
        Start(folders);  // its engine is replaced by one with the double
        auto spamFilters = [this](classRulesDatabase&, clsLogFile&, const std::filesystem::path&) {
            auto spam = std::make_unique<clsSpamDouble>();
            Spam = spam.get();
            return std::unique_ptr<clsSpamEngine>(std::move(spam));
        };
        Engine = std::make_unique<classCorvel>(clsEngineHost{.Settings = Settings,
                                                             .Ui = Ui,
                                                             .Application = Application.get(),
                                                             .DefaultDataFolder = DataFolder,
                                                             .FixedDataFolder = {},
                                                             .AutoReplies = {},
                                                             .SpamFilters = spamFilters,
                                                             .Intake = {}});
        Engine->SetLogFile(Log);
        ASSERT_TRUE(Engine->InitialiseEngine());
        for (const auto& [section, name, value] : options) {
            Engine->RulesDatabase().SaveOptionBoolean(section, name, value);
        }
        Queue = std::make_unique<clsQueue>(*Engine, Ticks);
        Queue->Initialise();
        Analyser = std::make_unique<clsMessageAnalyser>(*Engine, *Queue);
        Analyser->Initialise();
        Analyser->InitialiseSpamEngine();
    }

    // Works until the queue is empty or its head is held up, or for a thousand clock readings.
    void RunQueue() {
        Ticks.Step = 1;
        Queue->Process(1000);
    }

    // A rule on the subject with one action row (an empty row when no action is given).
    std::int32_t AddSubjectRule(std::string subject, clsRuleAction action = {}, bool stop = false) {
        clsRuleRecord rule;
        rule.SubjectContains = std::move(subject);
        rule.StopProcessing = stop;
        rule.Actions = {std::move(action)};
        return AddRule(rule);
    }

    // The first item in the folder with that subject.
    std::optional<clsMailItem> ItemIn(std::string_view folderID, std::string_view subject) {
        const clsMailItems items = FolderAt(folderID).Items();
        for (long i = 1; i <= items.Count(); ++i) {
            if (std::optional<clsMailItem> item = items.Item(i); item->Subject() == subject) {
                return item;
            }
        }
        return std::nullopt;
    }

    // The EntryID of the folder of that name at the top of the store; "" when there is none.
    std::string TopFolderID(std::string_view name) {
        for (const clsMailFolder& folder : Mapi().Folders().front().Folders()) {
            if (folder.Name() == name) {
                return folder.EntryID();
            }
        }
        return "";
    }

    // Rule numbers as the queue takes them, and as "CVProcessed" records them.
    static std::vector<std::string> Rules(const std::vector<std::int32_t>& rules) {
        std::vector<std::string> texts;
        for (const std::int32_t rule : rules) {
            texts.push_back(std::to_string(rule));
        }
        return texts;
    }
    static std::string Mark(const std::vector<std::int32_t>& rules) {
        std::string text;
        for (const std::int32_t rule : rules) {
            text += " " + std::to_string(rule) + " ";
        }
        return text;
    }

    static std::string Processed(const clsMailItem& item) {
        const std::optional<clsUserPropertyValue> property =
            item.FindUserProperty(clsQueue::kProcessedProperty);
        return property ? property->Text : "";
    }
};
