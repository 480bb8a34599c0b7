#pragma once
// clsMailApplication: the mail host's "Application": the one object through which the rest of
// the program reaches the "MAPI" namespace of the open profile and makes new items. Owns the
// namespace. Made by clsMailProfiles::OpenProfile; event-loop thread only; never throws.

#include <memory>
#include <string>
#include <string_view>

#include "mailhost/clsMailNamespace.h"

class clsMailApplication {
public:
    // The object model follows the host of major version 12: its folder icons and cache steps.
    static constexpr int kVersionMajor = 12;

    explicit clsMailApplication(std::unique_ptr<clsMailNamespace> mapi)
        : mNamespace(std::move(mapi)) {}

    // The namespace of that type: "MAPI" (any case) is the only one there is.
    clsMailNamespace* GetNamespace(std::string_view type);
    clsMailItem CreateItem() { return mNamespace->CreateItem(); }
    std::string Version() const { return std::to_string(kVersionMajor) + ".0"; }

private:
    std::unique_ptr<clsMailNamespace> mNamespace;
};
