#include "control/messages.h"

#include <cmath>

#include <gtest/gtest.h>

namespace quorvane::control {
namespace {

using Kind = RecorderMessage::Kind;
using support::JsonOrder;
using support::jsonText;

TEST(RecorderMessage, EncodesOnlyWhatItHasInFieldOrder) {
    struct Row {
        RecorderMessage message;
        const char* line;
    };
    RecorderMessage levels;
    levels.kind = Kind::levels;
    levels.systemLevel = 1.0F;
    levels.microphoneLevel = 0.35F;
    RecorderMessage state;
    state.kind = Kind::audioState;
    state.commandID = "c-7";
    state.systemEnabled = true;
    state.microphoneEnabled = false;
    RecorderMessage warning;
    warning.kind = Kind::warning;
    warning.error = "a/b";
    RecorderMessage started;
    started.wallClock = 1763718000.25;
    RecorderMessage finishing;
    finishing.kind = Kind::finishing;
    RecorderMessage processing;
    processing.kind = Kind::processing;
    RecorderMessage heartbeat;
    heartbeat.kind = Kind::heartbeat;
    const Row rows[] = {
        {heartbeat, R"({"kind":"heartbeat"})"},
        {processing, R"({"kind":"processing"})"},
        {finishing, R"({"kind":"finishing"})"},
        {started, R"({"kind":"started","wallClock":1763718000.25})"},
        {levels, R"({"kind":"levels","microphoneLevel":0.35,"systemLevel":1})"},
        {state, R"({"kind":"audioState","microphoneEnabled":false,"systemEnabled":true,)"
                R"("commandID":"c-7"})"},
        {warning, R"({"kind":"warning","error":"a\/b"})"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(jsonText(row.message, JsonOrder::declared), row.line);
}

TEST(RecorderMessage, ALevelThatIsNotFiniteCannotBeEncoded) {
    RecorderMessage levels;
    levels.kind = Kind::levels;
    levels.microphoneLevel = std::nanf("");
    EXPECT_THROW(jsonText(levels, JsonOrder::declared), support::JsonEncodingError);
}

TEST(RecorderCommand, DecodesOnlyObjectsWithTheThreeTypes) {
    struct Row {
        const char* name;
        const char* line;
        bool decodes;
    };
    const Row rows[] = {
        {"a command", R"({"id":"1","source":"system","enabled":true})", true},
        {"extra members and an empty id",
         R"({"id":"","source":"microphone","enabled":false,"extra":3})", true},
        {"white space and a carriage return",
         " {\"id\":\"1\",\"source\":\"system\",\"enabled\":true}\r", true},
        {"another source", R"({"id":"1","source":"camera","enabled":true})", false},
        {"a number is no boolean", R"({"id":"1","source":"system","enabled":1})", false},
        {"a number is no string", R"({"id":1,"source":"system","enabled":true})", false},
        {"no id", R"({"source":"system","enabled":true})", false},
        {"no source", R"({"id":"1","enabled":true})", false},
        {"no enabled", R"({"id":"1","source":"system"})", false},
        {"null", R"({"id":null,"source":"system","enabled":true})", false},
        {"an array", R"(["1","system",true])", false},
        {"nothing", "", false},
        {"not JSON", "mute", false},
        {"text behind the object", R"({"id":"1","source":"system","enabled":true} x)", false},
        {"invalid UTF-8", "{\"id\":\"\xff\",\"source\":\"system\",\"enabled\":true}", false},
        {"case matters", R"({"id":"1","source":"System","enabled":true})", false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(decodeRecorderCommand(row.line).has_value(), row.decodes);
    }
    const auto command =
        decodeRecorderCommand(R"({"id":"c\/7","source":"microphone","enabled":false})");
    ASSERT_TRUE(command);
    EXPECT_EQ(command->id, "c/7");
    EXPECT_EQ(command->source, RecordedAudioSource::microphone);
    EXPECT_FALSE(command->enabled);
}

}  // namespace
}  // namespace quorvane::control
