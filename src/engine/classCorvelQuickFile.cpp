// classCorvel: guessing the folder for a message and making the rule that files such mail there.
#include "engine/classCorvel.h"
#include "engine/clsQueryAddress.h"
#include "engine/clsTextSearch.h"
#include "foundation/clsRegExp.h"

std::string classCorvel::FindBestFolder(std::string_view text) {
    try {
        if (!mFolderCache) {
            return "";
        }
        const std::optional<clsMailFolder> folder =
            mFolderCache->FindFolderFuzzy(text, mFolderCache->DefaultStoreID());
        return folder ? folder->FolderPath() : "";
    } catch (const std::exception& error) {
        mLog->AddErrorLog("Corvel->FindBestFolder", error);
        return "";
    }
}

// By the sender's domain, then each shorter domain (x.y.z, x.y, x), then each word of the subject.
std::string classCorvel::FindBestFolderMatch(const clsMailItem& item) {
    const std::string sender = FindSender(item);
    const size_t at = sender.find('@');
    std::string domain = at == std::string::npos ? "" : sender.substr(at + 1);
    std::string result = domain.empty() ? "" : FindBestFolder(domain);
    while (result.empty() && !domain.empty()) {
        const size_t dot = domain.rfind('.');
        domain = dot == std::string::npos ? "" : domain.substr(0, dot);
        if (!domain.empty()) {
            result = FindBestFolder(domain);
        }
    }
    if (result.empty()) {
        static const clsRegExp kWords("(\\w*)\\b", true);
        for (const std::string& word : kWords.Matches(item.Subject())) {
            if (word.find_first_not_of(' ') != std::string::npos) {
                result = FindBestFolder(word);
                if (!result.empty()) {
                    break;
                }
            }
        }
    }
    mLog->AddLog("Corvel->FindBestFolderMatch: " + result);
    return result;
}

// A folder named in the sender's address scores 2, one named in the subject 1; the first of the
// best wins. With no score at all the search by domain and subject words takes over.
std::string classCorvel::FindBestFolderMatchByFolder(const clsMailItem& item) {
    std::string result;
    try {
        const clsTextSearch sender(FindSender(item));
        const clsTextSearch subject(item.Subject());
        const auto rs =
            mFolderCache ? mFolderCache->GetRS("SELECT Name, Path FROM FolderCache") : nullptr;
        int best = 0;
        for (; rs && !rs->Eof(); rs->MoveNext()) {
            const std::string name = rs->Field("Name").AsText();
            if (name.empty()) {
                continue;  // an empty name occurs in everything
            }
            const int score = (sender.Contains(name) ? 2 : 0) + (subject.Contains(name) ? 1 : 0);
            if (score > best) {
                best = score;
                result = rs->Field("Path").AsText();
            }
        }
    } catch (const std::exception& error) {
        mLog->AddErrorLog("Corvel->FindBestFolderMatchByFolder", error);
    }
    return result.empty() ? FindBestFolderMatch(item) : result;
}

bool classCorvel::CreateBasicRule(std::string_view address, std::string_view folderPath,
                                  bool incoming) {
    try {
        if (!clsQueryAddress::IsSafe(address) || folderPath.empty()) {
            mLog->AddLog("Corvel->CreateBasicRule: needs a plain address and a folder");
            return false;
        }
        clsRuleRecord rule;
        rule.RuleName = "Move messages from " + std::string(address);
        (incoming ? rule.FromEmail : rule.ToEmail) = std::string(address);
        rule.IncomingRule = incoming;
        clsRuleAction action;
        action.TargetFolder = std::string(folderPath);
        action.Copy = mDatabase->ReadBooleanOption("Quick File", "Create Copy Rule", false);
        rule.Actions.push_back(action);
        return mDatabase->AddUpdateRule(rule);
    } catch (const std::exception& error) {
        mLog->AddErrorLog("Corvel->CreateBasicRule", error);
        return false;
    }
}

// Received mail is filed by its sender; sent mail by each of its recipients.
bool classCorvel::CreateFileRule(const clsMailItem& item, std::string_view folderPath,
                                 bool incoming) {
    try {
        if (incoming) {
            return CreateBasicRule(FindSender(item), folderPath, true);
        }
        clsRecipientSet recipients;
        GetRecipients(item, recipients);
        bool created = false;
        for (const std::string& address : recipients.Keys()) {
            if (!address.empty()) {
                created = CreateBasicRule(address, folderPath, false) || created;
            }
        }
        return created;
    } catch (const std::exception& error) {
        mLog->AddErrorLog("Corvel->CreateFileRule", error);
        return false;
    }
}
