#include "platform/linux/pocketsphinx/speech_model.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "unit/temporary_folder.h"

namespace quorvane::platform::pocketsphinx {
namespace {

namespace fs = std::filesystem;

// A folder of models, gone with the test.
class Models : public testing::Test {
  protected:
    void install(const std::string& name) const {
        fs::create_directories(folder / name / name);
        for (const auto& file : {name + "/mdef", name + ".lm.bin", name + "-phone.lm.bin",
                                 "cmudict-" + name + ".dict"})
            std::ofstream(folder / name / file) << "model";
    }
    // The folder of the model that is found; empty for none.
    std::string found(const std::string& locale) const {
        const auto model = findSpeechModel(folder, locale);
        if (!model) return "";
        const auto name = fs::path(model->acousticModel).filename().string();
        EXPECT_EQ(model->acousticModel, folder / name / name);
        EXPECT_EQ(model->languageModel, folder / name / (name + ".lm.bin"));
        EXPECT_EQ(model->dictionary, folder / name / ("cmudict-" + name + ".dict"));
        return name;
    }

    const TemporaryFolder ownFolder;
    const fs::path folder = ownFolder.path();
};

TEST_F(Models, AreFoundByLocaleAndThenByLanguage) {
    install("en-us");
    install("pt-br");
    install("pt-pt");
    struct Row {
        const char* locale;
        const char* model;
    };
    const Row rows[] = {
        {"en-US", "en-us"},
        {"en_US", "en-us"},
        {"en_US.UTF-8", "en-us"},
        {"EN-us", "en-us"},
        {"en", "en-us"},
        {"en-GB", "en-us"},
        {"en_GB@euro", "en-us"},
        {"pt-PT", "pt-pt"},
        {"pt_BR", "pt-br"},
        {"pt-AO", "pt-br"},
        {"de-DE", ""},
        {"", ""},
        {"-US", ""},
        {".UTF-8", ""},
        {"eng-US", ""},
        {"e", ""},
        {"en/../en-us", ""},
        {"../models", ""},
        {"english", ""},
        {"en-US-x-foo", "en-us"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.locale);
        EXPECT_EQ(found(row.locale), row.model);
    }
}

TEST_F(Models, ThatLackAFileAreNone) {
    for (const char* missing : {"en-us/mdef", "en-us.lm.bin", "cmudict-en-us.dict"}) {
        SCOPED_TRACE(missing);
        install("en-us");
        fs::remove(folder / "en-us" / missing);
        EXPECT_EQ(found("en-US"), "");
        install("en-gb");
        EXPECT_EQ(found("en-US"), "en-gb");
        fs::remove_all(folder / "en-gb");
    }
}

TEST_F(Models, AreNoneWithoutTheirFolder) {
    EXPECT_FALSE(findSpeechModel(folder / "none", "en-US").has_value());
    std::ofstream(folder / "en-us") << "a file";
    EXPECT_EQ(found("en-US"), "");
}

}  // namespace
}  // namespace quorvane::platform::pocketsphinx
