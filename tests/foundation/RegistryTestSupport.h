#pragma once
// The settings store in a temporary folder of its own, for the registry tests.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "foundation/clsRegistryAccess.h"
#include "support/TestSupport.h"

using Strings = std::vector<std::string>;

struct RegistryFixture : ::testing::Test {
    clsTempFolder Folder;
    clsRegistryAccess Registry{clsRegistryLocations::InFolder(Folder.Path())};
    std::filesystem::path UserFile() const { return Folder.Path() / "registry.reg"; }
};
