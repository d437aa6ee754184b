#include "platform/linux/process/linux_user_locale.h"

#include <cstdlib>
#include <map>
#include <optional>
#include <string>

#include <gtest/gtest.h>

namespace quorvane::platform::process {
namespace {

// Sets the variables of the locale, and puts them back.
class Environment {
  public:
    explicit Environment(const std::map<std::string, std::string>& variables) {
        for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
            const char* const value = std::getenv(name);
            before_[name] = value == nullptr ? std::nullopt : std::optional<std::string>(value);
            const auto given = variables.find(name);
            set(name, given == variables.end() ? std::nullopt
                                               : std::optional<std::string>(given->second));
        }
    }
    ~Environment() {
        for (const auto& [name, value] : before_)
            set(name, value);
    }
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;

  private:
    static void set(const std::string& name, const std::optional<std::string>& value) {
        if (value)
            setenv(name.c_str(), value->c_str(), 1);
        else
            unsetenv(name.c_str());
    }
    std::map<std::string, std::optional<std::string>> before_;
};

TEST(LinuxUserLocale, IsThatOfMessagesWithoutItsEncoding) {
    struct Row {
        const char* name;
        std::map<std::string, std::string> variables;
        const char* identifier;
    };
    const Row rows[] = {
        {"nothing set", {}, "en_US"},
        {"LANG alone", {{"LANG", "de_DE.UTF-8"}}, "de_DE"},
        {"LC_MESSAGES before LANG", {{"LANG", "de_DE"}, {"LC_MESSAGES", "fr_CA"}}, "fr_CA"},
        {"LC_ALL before all", {{"LC_MESSAGES", "fr_CA"}, {"LC_ALL", "en_GB.UTF-8"}}, "en_GB"},
        {"an empty one is not set", {{"LC_ALL", ""}, {"LANG", "de_DE"}}, "de_DE"},
        {"a script stays", {{"LANG", "sr_RS@latin"}}, "sr_Latn_RS"},
        {"and without a region", {{"LANG", "uz.UTF-8@cyrillic"}}, "uz_Cyrl"},
        {"encoding and modifier", {{"LANG", "de_DE.UTF-8@euro"}}, "de_DE"},
        {"C is none", {{"LANG", "C"}}, "en_US"},
        {"C with an encoding", {{"LANG", "C.UTF-8"}}, "en_US"},
        {"POSIX is none", {{"LC_ALL", "POSIX"}, {"LANG", "de_DE"}}, "en_US"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const Environment environment(row.variables);
        EXPECT_EQ(LinuxUserLocale().currentLocaleIdentifier(), row.identifier);
    }
}

}  // namespace
}  // namespace quorvane::platform::process
