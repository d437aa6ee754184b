#include "platform/linux/pipewire/camera_list.h"

#include <map>

#include <gtest/gtest.h>

namespace quorvane::platform::pipewire {
namespace {

TEST(CameraList, AModelIsItsVendorAndProduct) {
    struct Row {
        const char* name;
        std::map<std::string, std::string> properties;
        const char* model;
    };
    const Row rows[] = {
        {"hexadecimal numbers",
         {{"device.vendor.id", "0x046d"}, {"device.product.id", "0x082d"}},
         "046d:082d"},
        {"decimal numbers",
         {{"device.vendor.id", "1133"}, {"device.product.id", "2093"}},
         "046d:082d"},
        {"a name beside them",
         {{"device.vendor.id", "1"}, {"device.product.id", "2"}, {"device.product.name", "Cam"}},
         "0001:0002"},
        {"one number alone",
         {{"device.product.id", "0x082d"}, {"device.product.name", "HD Cam"}},
         "HD Cam"},
        {"no number",
         {{"device.vendor.id", "usb"}, {"device.product.id", ""}, {"device.product.name", "Cam"}},
         "Cam"},
        {"nothing", {}, ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(modelIDFrom([&](const std::string& key) {
                      const auto found = row.properties.find(key);
                      return found != row.properties.end() ? found->second : std::string();
                  }),
                  row.model);
    }
}

}  // namespace
}  // namespace quorvane::platform::pipewire
