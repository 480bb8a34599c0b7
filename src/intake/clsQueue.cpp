// clsQueue: queueing, the time-budgeted pass over the queue, and the actions of queued rules.
#include "intake/clsQueue.h"

#include <charconv>
#include <limits>
#include <optional>

#include "engine/classCorvel.h"

namespace {

constexpr std::string_view kJunkSuspectsName = "Junk Suspects";

std::string Entry(std::string_view procedure, std::string_view detail) {
    return "Queue->" + std::string(procedure) + ": " + std::string(detail);
}

std::string Flag(bool value) { return value ? "True" : "False"; }

// The whole text as a decimal number, or nothing.
std::optional<std::int32_t> NumberOf(std::string_view text) {
    std::int32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || text.empty()) {
        return std::nullopt;
    }
    return number;
}

std::vector<std::string_view> SplitList(std::string_view list) {
    std::vector<std::string_view> parts;
    for (size_t start = 0;;) {
        const size_t comma = list.find(',', start);
        parts.push_back(list.substr(start, comma - start));
        if (comma == std::string_view::npos) {
            return parts;
        }
        start = comma + 1;
    }
}

}  // namespace

clsQueue::clsQueue(classCorvel& engine, const clsTickCounter& ticks)
    : mEngine(engine), mTicks(ticks) {}

clsLogFile& clsQueue::Log() { return mEngine.CorvelLog(); }

void clsQueue::Initialise() {
    try {
        mDatabase = &mEngine.RulesDatabase();
        mSpamFilter = mEngine.SpamFilter();
        mFolderCache = mEngine.cvFolderCache();
        mStatistics = &mEngine.Statistics();
    } catch (const std::exception& error) {
        Log().AddErrorLog("Queue->Initialise", error);
    }
}

void clsQueue::AddItem(std::string_view entryID, const std::vector<std::string>& ruleIDs) {
    try {
        if (ruleIDs.empty() || ruleIDs.front().empty()) {
            Log().AddLog(Entry("AddItem", "no rule actions"));
            return;
        }
        if (mPending.contains(entryID)) {
            // The first list stands: the key is the item, and it is queued once.
            Log().AddLog(Entry("AddItem", "item already queued ") + std::string(entryID));
            return;
        }
        Log().AddLog(Entry("AddItem", entryID));
        std::string joined;
        for (const std::string& rule : ruleIDs) {
            joined += (joined.empty() ? "" : ",") + rule;
        }
        Log().AddLog(Entry("AddItem", joined));
        mOrder.emplace_back(std::string(entryID), joined);
        mPending.emplace(std::string(entryID), std::prev(mOrder.end()));
        Log().AddLog(Entry("AddItem", std::to_string(ItemCount()) + " items"));
    } catch (const std::exception& error) {
        Log().AddErrorLog("Queue->AddItem", error);
    }
}

void clsQueue::RemoveItem(std::string_view entryID) {
    try {
        const auto found = mPending.find(entryID);
        if (found == mPending.end()) {
            Log().AddLog(Entry("RemoveItem", "item not found ") + std::string(entryID));
            return;
        }
        mOrder.erase(found->second);
        mPending.erase(found);
    } catch (const std::exception& error) {
        Log().AddErrorLog("Queue->RemoveItem", error);
    }
}

void clsQueue::Suspend(std::string_view key) {
    try {
        if (key.empty()) {
            return;
        }
        mSuspensions.emplace(key);
        Log().AddLog(Entry("Suspend", key) + " (" + std::to_string(mSuspensions.size()) + ")");
    } catch (const std::exception& error) {
        Log().AddErrorLog("Queue->Suspend", error);
    }
}

void clsQueue::Unsuspend(std::string_view key) {
    try {
        // Every quiet check of a watched folder unsuspends it: a key that was not suspended is
        // logged only at the detail level of the checks themselves.
        const auto found = mSuspensions.find(key);
        const bool lifted = found != mSuspensions.end();
        if (lifted) {
            mSuspensions.erase(found);
        }
        Log().AddLog(Entry("Unsuspend", key) + " (" + std::to_string(mSuspensions.size()) + ")",
                     lifted ? 0 : 5);
    } catch (const std::exception& error) {
        Log().AddErrorLog("Queue->Unsuspend", error);
    }
}

void clsQueue::Process(std::int32_t budget) {
    try {
        if (mOrder.empty()) {
            return;
        }
        const std::int64_t sum = std::int64_t{mTicks.Ticks()} + budget;
        // Near the counter's wrap the sum leaves its range and the budget itself is taken as the
        // deadline, as the tick arithmetic has always done: no item runs before the counter
        // wraps, and after it the pass is bounded by the queue alone until the counter is back
        // at the budget, some 24 days later.
        const bool overflow = sum > std::numeric_limits<std::int32_t>::max() ||
                              sum < std::numeric_limits<std::int32_t>::min();
        const std::int32_t deadline = overflow ? budget : static_cast<std::int32_t>(sum);
        // Checked before each item, so one slow item may overrun the budget. A blocked head
        // item ends the pass: nothing behind it may run before its folder is released, and
        // asking the store for it again until the deadline would change nothing.
        while (mTicks.Ticks() < deadline && !mOrder.empty()) {
            if (!ProcessNext()) {
                return;
            }
        }
    } catch (const std::exception& error) {
        Log().AddErrorLog("Queue->Process", error);
    }
}

bool clsQueue::ProcessNext() {
    const std::string entryID = mOrder.front().first;  // copies: the entry goes below
    const std::string ruleList = mOrder.front().second;
    clsMailApplication* application = mEngine.Application();
    clsMailNamespace* mapi = application ? application->GetNamespace("MAPI") : nullptr;
    std::optional<clsMailItem> item = mapi ? mapi->GetItemFromID(entryID) : std::nullopt;
    if (!item) {
        // Deleted or moved away by the user since it was queued.
        Log().AddErrorLog("Queue->Process",
                          clsStatus::Error(clsStatus::Code::NotFound,
                                           "the item " + entryID + " can no longer be fetched"));
        RemoveItem(entryID);
        return true;
    }
    if (!MayProcess(*item)) {
        return false;  // left at the head on purpose: the items behind it wait as well
    }
    try {
        ProcessItem(*item, ruleList);
    } catch (const std::exception& error) {
        Log().AddErrorLog("Queue->ProcessItem", error);
    }
    RemoveItem(entryID);
    return true;
}

bool clsQueue::MayProcess(const clsMailItem& item) const {
    const std::optional<clsMailFolder> parent = item.Parent();
    return parent ? !mSuspensions.contains(parent->EntryID()) : mSuspensions.empty();
}

void clsQueue::ProcessItem(clsMailItem& item, std::string_view ruleList) {
    if (mDatabase == nullptr || mStatistics == nullptr || !mDatabase->IsOpen()) {
        Log().AddLog(Entry("ProcessItem", "no rules database, cannot process"));
        return;
    }
    mStatistics->IncrementEmailsProcessed(1);
    Log().AddLog(Entry("ProcessItem", "processing item ") + item.EntryID());
    const std::vector<std::string_view> rules = SplitList(ruleList);
    Log().AddLog(Entry("ProcessItem", "processing ") + std::to_string(rules.size()) + " rule(s)");
    clsItemRun run;
    std::vector<std::int32_t> applied;
    for (size_t index = 0; index < rules.size(); ++index) {
        const std::optional<std::int32_t> number = NumberOf(rules[index]);
        if (!number) {
            Log().AddLog(Entry("ProcessItem", "not a rule number: ") + std::string(rules[index]));
        } else if (ProcessRule(item, *number, index + 1 == rules.size(), run)) {
            applied.push_back(*number);
        }
    }
    mStatistics->IncrementEmailsMatchedToRules(1);
    // Recorded before a deletion, so that the mark travels with the item to Deleted Items.
    for (const std::int32_t rule : applied) {
        AddProcessedFlag(item, rule);
    }
    if (run.Delete && !run.Moved) {
        DeleteMessage(item);
    }
}

bool clsQueue::ProcessRule(clsMailItem& item, std::int32_t number, bool lastRule, clsItemRun& run) {
    try {
        if (number < 0) {
            return ProcessFixedRule(item, number, run);
        }
        const std::unique_ptr<clsRecordset> actions = mDatabase->GetRS(
            "SELECT * FROM RuleActions WHERE RuleID=" + std::to_string(number) + ";");
        if (!actions || actions->Eof()) {
            Log().AddLog(Entry("ProcessItem", "no actions for rule ") + std::to_string(number));
            return false;
        }
        ApplyActionv1(item, *actions, lastRule, run);
        return true;
    } catch (const std::exception& error) {
        Log().AddErrorLog("Queue->ProcessItem (rule " + std::to_string(number) + ")", error);
        return false;
    }
}

bool clsQueue::ProcessFixedRule(clsMailItem& item, std::int32_t number, clsItemRun& run) {
    if (number == kJunkRule) {
        MoveToJunk(item, run);
        return true;
    }
    if (number == kJunkSuspectRule) {
        MoveToJunkSuspects(item, run);
        return true;
    }
    Log().AddLog(Entry("ProcessFixedRule", "no such fixed rule ") + std::to_string(number));
    return false;
}

void clsQueue::MoveToJunk(clsMailItem& item, clsItemRun& run) {
    const std::optional<clsMailFolder> junk =
        mFolderCache ? mFolderCache->GetJunkFolder() : std::nullopt;
    if (!junk) {
        Log().AddLog(Entry("ProcessFixedRule", "failed to obtain Junk E-mail folder"));
        return;
    }
    if (mSpamFilter) {
        mSpamFilter->AddBadMessage(item);  // before the move: the training marks the item
    }
    Log().AddLog(Entry("ProcessFixedRule", MoveTo(item, *junk, run)
                                               ? "message moved to junk"
                                               : "failed to move message to junk"));
}

void clsQueue::MoveToJunkSuspects(clsMailItem& item, clsItemRun& run) {
    if (mSpamFilter == nullptr || !mSpamFilter->UseJunkSuspectsFolder()) {
        Log().AddLog(Entry("ProcessFixedRule", "junk suspect ignored"));
        return;
    }
    // Kept at the top of the item's own store, beside its junk folder.
    std::optional<clsMailFolder> root = item.Parent();
    while (root && !root->IsStoreRoot()) {
        root = root->Parent();
    }
    std::optional<clsMailFolder> folder;
    if (root && mFolderCache) {
        const std::string rootPath = root->FolderPath();
        folder = mFolderCache->FindFolder(rootPath + "\\" + std::string(kJunkSuspectsName));
        if (!folder) {
            folder = mFolderCache->NewFolder(rootPath, kJunkSuspectsName);
        }
    }
    Log().AddLog(Entry("ProcessFixedRule", folder && MoveTo(item, *folder, run)
                                               ? "message moved to junk suspects"
                                               : "failed to move message to junk suspects"));
}

void clsQueue::ApplyActionv1(clsMailItem& item, const clsRecordset& actions, bool lastRule,
                             clsItemRun& run) {
    const auto step = [this](std::string_view field, const std::string& value) {
        Log().AddLog(Entry("ApplyActionv1", field) + "=" + value);
    };
    const std::string autoReply = actions.Field("AutoReply").AsText();
    step("AutoReply", autoReply);
    if (!autoReply.empty()) {
        SendAutoReply(item, autoReply);
    }
    const bool markAsRead = actions.Field("MarkAsRead").AsBool();
    step("MarkAsRead", Flag(markAsRead));
    if (markAsRead) {
        item.SetUnRead(false);
        item.Save();
    }
    const std::string importanceLetter = actions.Field("ChangeImportanceTo").AsText();
    step("ChangeImportanceTo", importanceLetter);
    if (const std::optional<Importance> importance = classCorvel::ImportanceOf(importanceLetter)) {
        item.SetImportance(*importance);
        item.Save();
    }
    const bool copy = actions.Field("Copy").AsBool();
    step("Copy", Flag(copy));
    const bool remove = actions.Field("Delete").AsBool();
    step("Delete", Flag(remove));
    run.Delete = run.Delete || remove;
    const std::string target = actions.Field("TargetFolder").AsText();
    step("TargetFolder", target);
    if (!target.empty()) {
        // Only the last rule may move: the rules before it must still find the item here.
        FileItem(item, target, copy || !lastRule, run);
    }
    const std::string forward = actions.Field("ForwardTo").AsText();
    step("ForwardTo", forward);
    if (!forward.empty()) {
        mEngine.ForwardMessage(item, forward);
    }
}

void clsQueue::SendAutoReply(const clsMailItem& item, const std::string& templateText) {
    const std::optional<std::int32_t> id = NumberOf(templateText);
    clsAutoReplySender* sender = mEngine.AutoReply();
    if (!id || sender == nullptr) {
        Log().AddLog(Entry("ApplyActionv1", "no auto-reply sent for template ") + templateText);
        return;
    }
    sender->SendAutoreply(item, *id);  // logs its own failures
}

void clsQueue::FileItem(clsMailItem& item, const std::string& path, bool copy, clsItemRun& run) {
    const std::optional<clsMailFolder> folder =
        mFolderCache ? mFolderCache->FindFolder(path) : std::nullopt;
    if (!folder) {
        Log().AddLog(Entry("ApplyActionv1", "Couldn't find folder to copy to - ") + path);
        // No report message is filed: in a watched Inbox it would be queued in its turn. The
        // rule editor belongs to the user interface, so the answer changes nothing here.
        mEngine.Ui().ShowMessage("Rule folder cannot be identified, edit rule now?",
                                 "Rule in error", MessageButtons::YesNo, MessageIcon::Exclamation,
                                 MessageAnswer::No);
        return;
    }
    if (copy) {
        Log().AddLog(Entry("ApplyActionv1", mEngine.copyItem(item, *folder)
                                                ? "Successfully copied item to "
                                                : "Failed to copy item to ") +
                     folder->Name());
        return;
    }
    Log().AddLog(Entry("ApplyActionv1", MoveTo(item, *folder, run) ? "Successfully moved item to "
                                                                   : "Failed to move item to ") +
                 folder->Name());
}

bool clsQueue::MoveTo(clsMailItem& item, const clsMailFolder& folder, clsItemRun& run) {
    std::optional<clsMailItem> moved = item.Move(folder);
    if (!moved) {
        return false;
    }
    item = *moved;
    run.Moved = true;
    return true;
}

bool clsQueue::DeleteMessage(clsMailItem& item) {
    try {
        const std::string result = mEngine.DeleteMessage(item);
        if (result == "SUCCESS") {
            Log().AddLog(Entry("DeleteMessage", "success"));
            return true;
        }
        Log().AddLog(Entry("DeleteMessage", "failed - ") + result);
    } catch (const std::exception& error) {
        Log().AddErrorLog("Queue->DeleteMessage", error);
    }
    return false;
}

void clsQueue::AddProcessedFlag(clsMailItem& item, std::int32_t rule) {
    try {
        const std::string mark = " " + std::to_string(rule) + " ";
        const std::optional<clsUserPropertyValue> property =
            item.FindUserProperty(kProcessedProperty);
        const std::string text = property ? property->Text : "";
        if (text.find(mark) != std::string::npos) {
            return;
        }
        item.AddUserProperty(kProcessedProperty, {UserPropertyType::Text, text + mark});
        if (!item.Save()) {
            Log().AddErrorLog(
                "Queue->AddProcessedFlag",
                clsStatus::Error(clsStatus::Code::Io, "rule " + std::to_string(rule) +
                                                          " not recorded on " + item.EntryID()));
        }
    } catch (const std::exception& error) {
        Log().AddErrorLog("Queue->AddProcessedFlag", error);
    }
}
