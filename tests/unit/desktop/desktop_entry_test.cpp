#include "platform/linux/desktop/desktop_entry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quorvane::platform::desktop {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(LocaleEndings, GoFromTheMostToTheLeastParticular) {
    EXPECT_THAT(localeEndings("de_AT.UTF-8@euro"),
                ElementsAre("de_AT@euro", "de_AT", "de@euro", "de"));
    EXPECT_THAT(localeEndings("de_AT.UTF-8"), ElementsAre("de_AT", "de"));
    EXPECT_THAT(localeEndings("sr@latin"), ElementsAre("sr@latin", "sr"));
    EXPECT_THAT(localeEndings("fr"), ElementsAre("fr"));
    for (const char* none : {"", "C", "C.UTF-8", "POSIX"}) {
        SCOPED_TRACE(none);
        EXPECT_THAT(localeEndings(none), IsEmpty());
    }
}

TEST(DesktopEntry, SaysWhatAnApplicationIsCalledAndRuns) {
    struct Row {
        const char* name;
        std::string lines;
        const char* expectedName;  // null for no entry
        std::string expectedClass;
        std::string expectedProgram;
    };
    const Row rows[] = {
        {"plain", "Name=Editor\nExec=editor\n", "Editor", "", "editor"},
        {"translated", "Name=Editor\nName[de]=Schreiber\nName[de_AT]=Schriftler\n", "Schriftler",
         "", ""},
        {"another language", "Name=Editor\nName[fr]=Redacteur\n", "Editor", "", ""},
        {"escapes", "Name=A\\sB\\\\C\n", "A B\\C", "", ""},
        {"a class", "Name=Editor\nStartupWMClass=Ed.App\n", "Editor", "Ed.App", ""},
        {"a path and field codes", "Name=E\nExec=/usr/bin/editor %U  %i\n", "E", "", "editor"},
        {"quoted", "Name=E\nExec=\"editor\" %F\n", "E", "", "editor"},
        {"an interpreter and its arguments", "Name=E\nExec=java -jar e.jar\n", "E", "", ""},
        {"no name", "Exec=editor\n", nullptr, "", ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const auto entry =
            parseDesktopEntry("org.example.Editor",
                              "[Desktop Entry]\nType=Application\n" + row.lines +
                                  "[Desktop Action New]\nName=New\nStartupWMClass=Other\n",
                              localeEndings("de_AT.UTF-8"));
        ASSERT_EQ(entry.has_value(), row.expectedName != nullptr);
        if (!entry) continue;
        EXPECT_EQ(entry->id, "org.example.Editor");
        EXPECT_EQ(entry->name, row.expectedName);
        EXPECT_EQ(entry->startupClass, row.expectedClass);
        EXPECT_EQ(entry->program, row.expectedProgram);
        EXPECT_FALSE(entry->isHidden);
    }
}

TEST(DesktopEntry, IsOnlyAnApplications) {
    EXPECT_FALSE(parseDesktopEntry("x", "[Desktop Entry]\nType=Link\nName=x\n", {}));
    EXPECT_FALSE(parseDesktopEntry("x", "[Desktop Entry]\nName=x\n", {}));
    EXPECT_FALSE(parseDesktopEntry("x", "", {}));
    const auto hidden = parseDesktopEntry("x", "[Desktop Entry]\nHidden=true\n", {});
    ASSERT_TRUE(hidden);
    EXPECT_TRUE(hidden->isHidden);
}

}  // namespace
}  // namespace quorvane::platform::desktop
