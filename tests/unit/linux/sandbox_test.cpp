#include "platform/linux/sandbox.h"

#include <cstdlib>

#include <gtest/gtest.h>

#include "unit/files/test_folder.h"

namespace quorvane::platform {
namespace {

TEST(FlatpakApplication, StandsInTheRootOfItsSandbox) {
    struct Row {
        const char* name;
        std::optional<std::string> text;
        std::optional<std::string> expected;
    };
    const Row rows[] = {
        {"no sandbox", std::nullopt, std::nullopt},
        {"an application", "[Application]\nname=org.example.App\n[Instance]\nname=no\n",
         "org.example.App"},
        {"a runtime without one", "[Runtime]\nname=org.example.Runtime\n", std::nullopt},
        {"an empty name", "[Application]\nname=\n", std::nullopt},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const files::TestFolder root;
        if (row.text) files::write(root / ".flatpak-info", *row.text);
        EXPECT_EQ(flatpakApplication(root / ""), row.expected);
    }
}

TEST(SandboxedApplication, IsTheSnapThatTheEnvironmentNames) {
    struct Row {
        const char* name;
        const char* folder;
        const char* snap;
        std::optional<std::string> expected;
    };
    const Row rows[] = {
        {"none", nullptr, nullptr, std::nullopt},
        {"a snap", "/snap/recorder/1", "recorder", "snap.recorder"},
        {"a name alone", nullptr, "recorder", std::nullopt},
        {"an empty name", "/snap/recorder/1", "", std::nullopt},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        unsetenv("SNAP");
        unsetenv("SNAP_INSTANCE_NAME");
        if (row.folder != nullptr) setenv("SNAP", row.folder, 1);
        if (row.snap != nullptr) setenv("SNAP_INSTANCE_NAME", row.snap, 1);
        EXPECT_EQ(sandboxedApplication(), row.expected);
    }
    unsetenv("SNAP");
    unsetenv("SNAP_INSTANCE_NAME");
}

}  // namespace
}  // namespace quorvane::platform
