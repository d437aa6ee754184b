#include "platform/linux/desktop/desktop_application_directory.h"

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "unit/files/test_folder.h"

namespace quorvane::platform::desktop {
namespace {

namespace fs = std::filesystem;

// Folders of data, the user's before the system's, and a process table.
class DesktopDirectory : public testing::Test {
  protected:
    void addEntry(const std::string& folder, const std::string& file, const std::string& lines) {
        const fs::path path = fs::path(folder_ / folder) / "applications" / file;
        fs::create_directories(path.parent_path());
        std::ofstream(path.string()) << "[Desktop Entry]\nType=Application\n" << lines;
    }
    void addProcess(int id, const std::string& name, const std::string& program,
                    const std::string& flatpak = {}) {
        const fs::path path = fs::path(folder_ / "proc") / std::to_string(id);
        fs::create_directories(path / "root");
        std::ofstream(path / "comm") << name << "\n";
        fs::create_symlink("/usr/bin/" + program, path / "exe");
        if (!flatpak.empty())
            std::ofstream(path / "root/.flatpak-info") << "[Application]\nname=" << flatpak << "\n";
    }
    // Name and identifier, with a bar between them.
    std::string describe(int id, std::vector<WindowIdentity> windows) {
        DesktopApplicationDirectory directory(
            [this] {
                return DesktopEntries({folder_ / "user", folder_ / "system"}, {});
            },
            folder_ / "proc");
        const ProcessWindows process{id, std::move(windows)};
        const auto applications = directory.describe({&process, 1});
        EXPECT_EQ(applications.size(), 1u);
        EXPECT_EQ(applications[0].processID, id);
        return applications[0].applicationName + "|" + applications[0].bundleIdentifier;
    }

  private:
    files::TestFolder folder_;
};

TEST_F(DesktopDirectory, NamesAnApplicationAsTheDesktopDoes) {
    addEntry("system", "org.example.Editor.desktop", "Name=Editor\n");
    addEntry("system", "viewer.desktop", "Name=Viewer\nExec=viewer %U\n");
    addEntry("system", "maker-player.desktop", "Name=Player\nStartupWMClass=PlayerMain\n");
    addEntry("system", "suite/paint.desktop", "Name=Paint\nExec=/opt/suite/paint\n");
    addEntry("system", "twice-a.desktop", "Name=Twice A\nExec=twice\n");
    addEntry("system", "twice-b.desktop", "Name=Twice B\nExec=twice\n");
    addProcess(1, "python3", "python3.11");
    addProcess(2, "paint", "paint");
    addProcess(3, "twice", "twice");
    addProcess(4, "sandboxed", "bwrap", "org.example.Editor");
    addProcess(5, "sandboxed", "bwrap", "org.example.Unlisted");
    struct Row {
        const char* name;
        int process;
        std::vector<WindowIdentity> windows;
        const char* expected;
    };
    const Row rows[] = {
        {"by its application identifier",
         1,
         {{"org.example.Editor", "python3", "Python"}},
         "Editor|org.example.Editor"},
        {"by its class", 1, {{"", "", "viewer"}}, "Viewer|viewer"},
        {"by its class in lower case", 1, {{"", "", "Viewer"}}, "Viewer|viewer"},
        {"by its instance", 1, {{"", "viewer", "Unknown"}}, "Viewer|viewer"},
        {"by the class that the entry names", 1, {{"", "", "playermain"}}, "Player|maker-player"},
        {"by an entry in a folder below", 1, {{"suite-paint", "", ""}}, "Paint|suite-paint"},
        {"by its program", 2, {{"", "", "Unheard"}}, "Paint|suite-paint"},
        {"a program of two entries is neither's", 3, {{"", "", "Unheard"}}, "Unheard|"},
        {"by its class part", 1, {{"", "instance", "Some Class"}}, "Some Class|"},
        {"by its second window", 1, {{"", "", "Splash"}, {"", "", "viewer"}}, "Viewer|viewer"},
        {"by the process alone", 1, {{"", "", ""}}, "python3|"},
        {"without any window", 1, {}, "python3|"},
        {"a Flatpak", 4, {{"", "", "viewer"}}, "Editor|org.example.Editor"},
        {"a Flatpak without an entry", 5, {{"", "", "Klass"}}, "Klass|org.example.Unlisted"},
        {"a process that is gone", 99, {{"", "", "Late"}}, "Late|"},
        {"a process that is gone and said nothing", 99, {}, "|"},
        {"a class that leads elsewhere",
         1,
         {{"", "", "../applications/viewer"}},
         "../applications/viewer|"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(describe(row.process, row.windows), row.expected);
    }
}

TEST_F(DesktopDirectory, TheUsersEntriesGoBeforeTheSystems) {
    addEntry("system", "a.desktop", "Name=System's\nStartupWMClass=ClassA\n");
    addEntry("user", "a.desktop", "Name=User's\nStartupWMClass=ClassA\n");
    addEntry("system", "b.desktop", "Name=Gone\nStartupWMClass=ClassB\n");
    addEntry("user", "b.desktop", "Hidden=true\n");
    EXPECT_EQ(describe(1, {{"a", "", ""}}), "User's|a");
    EXPECT_EQ(describe(1, {{"", "", "ClassA"}}), "User's|a");
    EXPECT_EQ(describe(1, {{"b", "", "B!"}}), "B!|");
    EXPECT_EQ(describe(1, {{"", "", "ClassB"}}), "ClassB|");
}

}  // namespace
}  // namespace quorvane::platform::desktop
