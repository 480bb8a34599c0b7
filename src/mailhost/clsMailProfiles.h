#pragma once
// clsMailProfiles: the named mail profiles in the settings store, below
// "Software\KESTO\Corvel\Profiles\<name>": which Maildir holds the mail, the store's display name,
// how mail leaves (clsTransportSettings) and the user's own addresses. OpenProfile opens one as a
// clsMailNamespace. Any thread for the settings; the namespace is the event loop's.
// Failure: neutral results; OpenProfile says why through its status.

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/clsLogFile.h"
#include "foundation/clsSettings.h"
#include "mailhost/clsMailApplication.h"
#include "mailhost/clsMailNamespace.h"
#include "mailhost/transport/clsMailTransport.h"

struct clsMailProfile {
    std::string Name;
    std::filesystem::path Maildir;
    std::string StoreName = "Mailbox";  // the first part of every folder path: \\Mailbox\Inbox
    clsTransportSettings Transport;
    std::vector<std::string> Addresses;  // the user's own; the first one sends
    std::string FromName;
};

class clsMailProfiles {
public:
    static constexpr std::string_view kSection = "Profiles";
    static constexpr std::string_view kFirstProfile = "Default";

    explicit clsMailProfiles(clsSettings& settings) : mSettings(settings) {}

    std::vector<std::string> Names() const;
    std::optional<clsMailProfile> Get(std::string_view name) const;
    bool Save(const clsMailProfile& profile);
    // The profile marked default, else the first one; "" when there is none.
    std::string DefaultName() const;
    bool SetDefault(std::string_view name);
    // The named profile (or the default one); with none at all, makes "Default" on a Maildir in
    // the data folder. Nothing when a name is given that does not exist.
    std::optional<clsMailProfile> Resolve(std::string_view name,
                                          const std::filesystem::path& dataFolder);

    // Opens the profile's store (making a Maildir that is missing) and transport.
    static std::unique_ptr<clsMailApplication> OpenProfile(const clsMailProfile& profile,
                                                           clsLogFile& log, clsStatus& status);

private:
    std::string Section(std::string_view name) const;
    clsSettings& mSettings;
};
