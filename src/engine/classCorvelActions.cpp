// classCorvel: carrying out the actions of matched rules.
#include <algorithm>

#include "engine/classCorvel.h"
#include "mailhost/mime/clsMessageComposer.h"

namespace {

constexpr std::string_view kActionPrefix = "Corvel->ApplyAction: ";

// Each folder an item was filed to, so that two rules filing to one folder file once.
std::string VisitedMark(const clsMailFolder& folder) {
    return "&&%%" + folder.StoreID() + "/" + folder.EntryID() + "%%&&";
}

bool IsSameFolder(const clsMailFolder& a, const clsMailFolder& b) {
    return a.StoreID() == b.StoreID() && a.EntryID() == b.EntryID();
}

}  // namespace

std::optional<Importance> classCorvel::ImportanceOf(std::string_view letter) {
    // Both cases are listed rather than compared without case, as the rule editor stores either.
    if (letter == "H" || letter == "h") {
        return Importance::High;
    }
    if (letter == "N" || letter == "n") {
        return Importance::Normal;
    }
    if (letter == "L" || letter == "l") {
        return Importance::Low;
    }
    return std::nullopt;
}

void classCorvel::ApplyActions(clsMailItem& item, const std::vector<std::int32_t>& ruleIDs) {
    if (ruleIDs.empty() || ruleIDs.front() < 1) {
        return;
    }
    try {
        const std::vector<clsRuleAction> actions = mDatabase->GetRuleActions(ruleIDs);
        mLog->AddLog(std::string(kActionPrefix) + std::to_string(actions.size()) +
                     " actions apply");
        if (!actions.empty()) {
            ApplyAction(item, actions);
        }
        mLog->AddLog("Corvel->ApplyActions: Finished processing actions");
    } catch (const std::exception& error) {
        mLog->AddErrorLog("Corvel->ApplyActions", error);
    }
}

void classCorvel::ApplyAction(clsMailItem& item, const std::vector<clsRuleAction>& actions) {
    const std::string prefix(kActionPrefix);
    if (actions.empty()) {
        mLog->AddLog(prefix + "no actions found");
        return;
    }
    clsActionRun run;
    for (const clsRuleAction& action : actions) {
        try {
            ApplyOneAction(item, action, run);
        } catch (const std::exception& error) {
            mLog->AddErrorLog(prefix + "action " + std::to_string(action.ActionID), error);
        }
    }
    // Once, after every action, and never for an item that a rule moved away.
    if (run.DeleteSource && !run.Moved) {
        mLog->AddLog(prefix + "deleting original message");
        mLog->AddLog(prefix + (DeleteMessage(item) == "SUCCESS" ? "Successfully deleted message"
                                                                : "Failed to delete message"));
    }
}

void classCorvel::ApplyOneAction(clsMailItem& item, const clsRuleAction& action,
                                 clsActionRun& run) {
    mLog->AddLog(std::string(kActionPrefix) + "processing action " +
                 std::to_string(action.ActionID));
    if (!action.AutoReply.empty()) {
        SendAutoReply(item, action.AutoReply);
    }
    ApplyReadAndImportance(item, action);
    if (!action.TargetFolder.empty() && FileItem(item, action, run)) {
        // A moved item is a new item: what was set before the move is set again.
        ApplyReadAndImportance(item, action);
    }
    if (!action.ForwardTo.empty()) {
        ForwardMessage(item, action.ForwardTo);
    }
    run.DeleteSource = run.DeleteSource || action.Delete;
}

void classCorvel::SendAutoReply(const clsMailItem& item, std::string_view templateReference) {
    std::int32_t id = 0;
    try {
        id = static_cast<std::int32_t>(std::stol(std::string(templateReference)));
    } catch (const std::exception&) {
        mLog->AddLog(std::string(kActionPrefix) +
                     "auto-reply template is not a number: " + std::string(templateReference));
        return;
    }
    if (!mAutoReply) {
        mLog->AddLog(std::string(kActionPrefix) + "no auto-reply sender, template " +
                     std::to_string(id) + " not sent");
        return;
    }
    mAutoReply->SendAutoreply(item, id);  // logs its own failures; a failed reply is not retried
}

void classCorvel::ApplyReadAndImportance(clsMailItem& item, const clsRuleAction& action) {
    const std::optional<Importance> importance = ImportanceOf(action.ChangeImportanceTo);
    if (!action.MarkAsRead && !importance) {
        return;
    }
    if (action.MarkAsRead) {
        item.SetUnRead(false);
    }
    if (importance) {
        item.SetImportance(*importance);
    }
    item.Save();
}

// Copies or moves the item to the action's folder. True when the item was moved.
bool classCorvel::FileItem(clsMailItem& item, const clsRuleAction& action, clsActionRun& run) {
    const std::string prefix(kActionPrefix);
    const std::string& path = action.TargetFolder;
    const std::optional<clsMailFolder> folder =
        mFolderCache ? mFolderCache->FindFolder(path) : std::nullopt;
    if (!folder) {
        mLog->AddLog(prefix + "Couldn't find folder to copy to - " + path);
        if (std::find(run.MissingFolders.begin(), run.MissingFolders.end(), path) ==
            run.MissingFolders.end()) {
            run.MissingFolders.push_back(path);
            ReportMissingFolder(path, item);
        }
        return false;
    }
    const std::string mark = VisitedMark(*folder);
    if (run.Visited.find(mark) != std::string::npos) {
        return false;
    }
    bool moved = false;
    if (action.Copy) {
        mLog->AddLog(
            prefix +
            (copyItem(item, *folder) ? "Successfully copied item to " : "Failed to copy item to ") +
            folder->Name());
    } else if (std::optional<clsMailItem> movedItem = item.Move(*folder)) {
        item = *movedItem;
        run.Moved = moved = true;
        mLog->AddLog(prefix + "Successfully moved item to " + folder->Name());
    } else {
        mLog->AddLog(prefix + "Failed to move item to " + folder->Name());
    }
    run.Visited += mark;
    return moved;
}

std::optional<clsMailItem> classCorvel::copyItem(const clsMailItem& item,
                                                 std::string_view targetPath) {
    const std::optional<clsMailFolder> folder =
        mFolderCache ? mFolderCache->FindFolder(targetPath) : std::nullopt;
    if (!folder) {
        mLog->AddLog("Corvel->copyItem: Copy failed - couldn't find folder " +
                     std::string(targetPath));
        return std::nullopt;
    }
    return copyItem(item, *folder);
}

std::optional<clsMailItem> classCorvel::copyItem(const clsMailItem& item,
                                                 const clsMailFolder& target) {
    try {
        const std::optional<clsMailFolder> parent = item.Parent();
        if (parent && IsSameFolder(*parent, target)) {
            return std::nullopt;  // never into its own folder
        }
        if (!mSkipDuplicateCheck) {
            mLog->AddLog("Checking for duplicate item (" + item.Subject() + ")");
            if (IsDuplicateIn(item, target)) {
                mLog->AddLog("Corvel->copyItem: Duplicate item (" + item.Subject() +
                             ") not copied to folder " + target.Name());
                return std::nullopt;
            }
        }
        std::optional<clsMailItem> copy = MakeCopy(item, target);
        if (!copy) {
            copy = MakeCopy(item, target);  // once more: a failed move may have been passing
        }
        if (copy) {
            mLog->AddLog("Corvel->copyItem: Successfully copied item to folder " + target.Name());
            return copy;
        }
        mLog->AddLog("Corvel->copyItem (Copy to " + target.Name() + "): the copy failed");
    } catch (const std::exception& error) {
        mLog->AddErrorLog("Corvel->copyItem (Copy to " + target.Name() + ")", error);
    }
    return std::nullopt;
}

// A copy made in the target and marked as the engine's own. Made there directly rather than
// beside the item and then moved: a crash between the two steps would leave a second copy of the
// message in the item's own folder.
std::optional<clsMailItem> classCorvel::MakeCopy(const clsMailItem& item,
                                                 const clsMailFolder& target) {
    std::optional<clsMailItem> copy = item.CopyTo(target);
    if (copy) {
        copy->AddUserProperty(kCreatedMarker, {UserPropertyType::YesNo, "true"});
        copy->Save();
    }
    return copy;
}

// The same subject and the same plain-text body, compared exactly; nothing else takes part.
bool classCorvel::IsDuplicateIn(const clsMailItem& item, const clsMailFolder& target) {
    const std::string subject = item.Subject();
    const clsMailItems found =
        target.Items().Restrict("[Subject] = " + clsMailItems::Quoted(subject));
    std::optional<std::string> body;
    for (long index = 1; index <= found.Count(); ++index) {
        const std::optional<clsMailItem> candidate = found.Item(index);
        if (!candidate || candidate->Subject() != subject) {
            continue;
        }
        if (!body) {
            body = item.Body();
        }
        if (candidate->Body() == *body) {
            return true;
        }
    }
    return false;
}

bool classCorvel::MoveItem(clsMailItem& item, std::string_view path) {
    try {
        const std::optional<clsMailFolder> folder =
            mFolderCache ? mFolderCache->FindFolder(path) : std::nullopt;
        if (!folder) {
            mLog->AddLog("Corvel->MoveItem: could not locate folder " + std::string(path));
            return false;
        }
        std::optional<clsMailItem> moved = item.Move(*folder);
        if (!moved) {
            mLog->AddLog("Corvel->MoveItem: the move to " + folder->FolderPath() + " failed");
            return false;
        }
        item = *moved;
        return true;
    } catch (const std::exception& error) {
        mLog->AddErrorLog("Corvel->MoveItem", error);
        return false;
    }
}

bool classCorvel::ForwardMessage(const clsMailItem& item, std::string_view address) {
    try {
        std::optional<clsMailItem> forward = item.Forward();
        if (!forward) {
            mLog->AddLog("Corvel->ForwardMessage: the item could not be read");
            return false;
        }
        forward->AddRecipient(std::string(address));
        const bool sent = forward->Send();
        if (!sent) {
            mLog->AddLog("Corvel->ForwardMessage: the forward to " + std::string(address) +
                         " was not sent");
        }
        return sent;
    } catch (const std::exception& error) {
        mLog->AddErrorLog("Corvel->ForwardMessage", error);
        return false;
    }
}

std::string classCorvel::DeleteMessage(const clsMailItem& item) {
    mLog->AddLog("Corvel->CDODelete: Call DeleteMessage");
    std::string result = "SUCCESS";
    try {
        if (!item.Delete()) {
            result = "the item could not be moved to Deleted Items";
        }
    } catch (const std::exception& error) {
        result = error.what();
    }
    mLog->AddLog(result == "SUCCESS" ? "Corvel->DeleteMessage: success"
                                     : "Corvel->DeleteMessage: failed - " + result);
    return result;
}

void classCorvel::ReportMissingFolder(std::string_view path, const clsMailItem& item) {
    try {
        mLog->AddLog("Corvel->ReportMissingFolder: Couldn't locate folder " + std::string(path));
        clsMailNamespace* mapi = Mapi();
        const std::optional<clsMailFolder> inbox =
            mapi ? mapi->GetDefaultFolder(DefaultFolder::Inbox) : std::nullopt;
        if (!inbox) {
            mLog->AddLog("Corvel->ReportMissingFolder: there is no Inbox to file the report in");
            return;
        }
        clsOutgoingMessage report;
        report.From = mapi->SenderAddress();
        report.Recipients = {mapi->SenderAddress()};
        report.Subject = std::string(kRuleFailedSubject) + "- couldn't locate folder \"" +
                         std::string(path) + "\"";
        report.Body = item.Body() +
                      "\n\nThe above message could not be sorted.  Please check your "
                      "configuration and the existence of the specified folder.";
        clsMailStore& store = inbox->Store();
        const auto key =
            store.AppendMessage(inbox->EntryID(), clsMessageComposer::Compose(report), false);
        const auto entry = key ? store.FindItem(inbox->EntryID(), *key) : std::nullopt;
        if (!entry) {
            mLog->AddErrorLog("Corvel->ReportMissingFolder", store.LastError());
            return;
        }
        // Marked as processed at once: a later run over the Inbox must not match the report.
        clsMailItem filed(*inbox, *entry);
        MarkProcessed(filed);
    } catch (const std::exception& error) {
        mLog->AddErrorLog("Corvel->ReportMissingFolder", error);
    }
}
