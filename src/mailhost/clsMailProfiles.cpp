#include "mailhost/clsMailProfiles.h"

#include <sstream>

#include "mailhost/maildir/clsMaildirStore.h"

namespace {

std::string Joined(const std::vector<std::string>& parts) {
    std::string joined;
    for (const std::string& part : parts) {
        joined += (joined.empty() ? "" : ", ") + part;
    }
    return joined;
}

std::vector<std::string> Split(const std::string& text) {
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, ',');) {
        const size_t start = part.find_first_not_of(' ');
        if (start != std::string::npos) {
            parts.push_back(part.substr(start, part.find_last_not_of(' ') - start + 1));
        }
    }
    return parts;
}

}  // namespace

std::string clsMailProfiles::Section(std::string_view name) const {
    return std::string(kSection) + "\\" + std::string(name);
}

std::vector<std::string> clsMailProfiles::Names() const {
    return mSettings.Registry().EnumKeys("HKCU", clsSettings::SectionKey(kSection));
}

std::optional<clsMailProfile> clsMailProfiles::Get(std::string_view name) const {
    if (name.empty() ||
        !mSettings.Registry().KeyExists("HKCU", clsSettings::SectionKey(Section(name)))) {
        return std::nullopt;
    }
    const std::string section = Section(name);
    clsMailProfile profile;
    profile.Name = name;
    profile.Maildir = mSettings.ReadText(section, "Maildir", "");
    profile.StoreName = mSettings.ReadText(section, "Store Name", profile.StoreName);
    profile.Transport.Url = mSettings.ReadText(section, "Transport", profile.Transport.Url);
    profile.Transport.User = mSettings.ReadText(section, "SMTP User", "");
    profile.Transport.PasswordCommand = mSettings.ReadText(section, "Password Command", "");
    profile.Transport.RequireTls = mSettings.ReadBoolean(section, "Require TLS", true);
    profile.Transport.CaFile = mSettings.ReadText(section, "CA File", "");
    profile.Addresses = Split(mSettings.ReadText(section, "Addresses", ""));
    profile.FromName = mSettings.ReadText(section, "From Name", "");
    return profile;
}

bool clsMailProfiles::Save(const clsMailProfile& profile) {
    const std::string section = Section(profile.Name);
    bool saved =
        mSettings.SaveText(section, "Maildir", profile.Maildir.string()) &&
        mSettings.SaveText(section, "Store Name", profile.StoreName) &&
        mSettings.SaveText(section, "Transport", profile.Transport.Url) &&
        mSettings.SaveText(section, "SMTP User", profile.Transport.User) &&
        mSettings.SaveText(section, "Password Command", profile.Transport.PasswordCommand) &&
        mSettings.SaveBoolean(section, "Require TLS", profile.Transport.RequireTls) &&
        mSettings.SaveText(section, "CA File", profile.Transport.CaFile) &&
        mSettings.SaveText(section, "Addresses", Joined(profile.Addresses)) &&
        mSettings.SaveText(section, "From Name", profile.FromName);
    return saved;
}

std::string clsMailProfiles::DefaultName() const {
    const std::string marked = mSettings.ReadText(kSection, "Default", "");
    if (!marked.empty() && Get(marked)) {
        return marked;
    }
    const std::vector<std::string> names = Names();
    return names.empty() ? std::string() : names.front();
}

bool clsMailProfiles::SetDefault(std::string_view name) {
    return mSettings.SaveText(kSection, "Default", name);
}

std::optional<clsMailProfile> clsMailProfiles::Resolve(std::string_view name,
                                                       const std::filesystem::path& dataFolder) {
    if (!name.empty()) {
        return Get(name);
    }
    if (const std::string existing = DefaultName(); !existing.empty()) {
        return Get(existing);
    }
    clsMailProfile first;
    first.Name = kFirstProfile;
    first.Maildir = dataFolder / "Maildir";
    if (!Save(first) || !SetDefault(first.Name)) {
        return std::nullopt;
    }
    return first;
}

std::unique_ptr<clsMailApplication> clsMailProfiles::OpenProfile(const clsMailProfile& profile,
                                                                 clsLogFile& log,
                                                                 clsStatus& status) {
    auto store = clsMaildirStore::Open(profile.Maildir, profile.StoreName, true, status);
    if (!store) {
        return nullptr;
    }
    auto transport = MakeMailTransport(profile.Transport, status);
    if (!status.IsOk()) {
        return nullptr;
    }
    auto mapi = std::make_unique<clsMailNamespace>(log, profile.Name);
    mapi->AddStore(std::move(store));
    clsMailAddress from;
    from.Name = profile.FromName;
    from.Address = profile.Addresses.empty() ? std::string() : profile.Addresses.front();
    mapi->SetTransport(std::move(transport), std::move(from));
    mapi->SetOwnAddresses(profile.Addresses);
    return std::make_unique<clsMailApplication>(std::move(mapi));
}
