#include "webcam/camera_resolution.h"

#include <gtest/gtest.h>

namespace quorvane::webcam {
namespace {

using platform::CameraDevice;
using platform::CameraDevices;

TEST(CameraResolution, ASelectorIsLookedForInThreePassesAndElseTheDefaultTaken) {
    const CameraDevice front{"id-front", "Front", "046d:0825"};
    const CameraDevice back{"id-back", "Back", "046d:0825"};
    const CameraDevice tricky{"Front", "046d:0825", "id-back"};  // named like others
    const CameraDevices three{{front, back, tricky}, back};
    const CameraDevices withoutDefault{{front, back}, std::nullopt};
    const CameraDevices defaultAlone{{}, back};
    struct Row {
        const char* name;
        std::optional<std::string> selector;
        const CameraDevices& cameras;
        std::optional<CameraDevice> chosen;
    };
    const CameraDevices none;
    const Row rows[] = {
        {"by its identifier", "id-front", three, front},
        {"an identifier goes before a name", "Front", three, tricky},
        {"by its name", "Back", three, back},
        {"a name goes before a model", "046d:0825", three, tricky},
        {"by its model, the first one", "046d:0825", withoutDefault, front},
        {"no selector is the default", std::nullopt, three, back},
        {"an empty selector is the default", "", three, back},
        {"the word default", "default", three, back},
        {"the word is compared exactly", "Default", withoutDefault, front},
        {"an unknown one is the default", "id-side", three, back},
        {"selectors are compared exactly", "ID-FRONT", three, back},
        {"without a default the first", "id-side", withoutDefault, front},
        {"a default that is not in the list", "x", defaultAlone, back},
        {"no camera", "id-front", none, std::nullopt},
        {"no camera and no selector", std::nullopt, none, std::nullopt},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(chooseCameraDevice(row.selector, row.cameras), row.chosen);
    }
}

TEST(CameraResolution, NoCamerasModelIsTheEmptySelector) {
    const CameraDevices cameras{{{"a", "A", "model"}, {"b", "B", ""}}, CameraDevice{"a", "A", ""}};
    EXPECT_EQ(chooseCameraDevice("", cameras)->uniqueID, "a");
}

}  // namespace
}  // namespace quorvane::webcam
