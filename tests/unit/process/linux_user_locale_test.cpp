#include "platform/linux/process/linux_user_locale.h"

#include <gtest/gtest.h>

namespace quorvane::platform::process {
namespace {

TEST(LocaleIdentifier, IsTheLocalesNameWithoutItsEncoding) {
    struct Row {
        const char* localeName;
        const char* identifier;
    };
    for (const auto& row :
         {Row{"de_DE.UTF-8", "de_DE"}, Row{"de_DE.UTF-8@euro", "de_DE"}, Row{"de_DE@euro", "de_DE"},
          Row{"en_US", "en_US"}, Row{"fr", "fr"}, Row{"C", "en_US"}, Row{"C.UTF-8", "en_US"},
          Row{"POSIX", "en_US"}, Row{"", "en_US"}, Row{".UTF-8", "en_US"}}) {
        SCOPED_TRACE(row.localeName);
        EXPECT_EQ(localeIdentifier(row.localeName), row.identifier);
    }
}

}  // namespace
}  // namespace quorvane::platform::process
