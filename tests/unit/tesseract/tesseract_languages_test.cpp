#include "platform/linux/tesseract/tesseract_languages.h"

#include <gtest/gtest.h>

namespace quorvane::platform::tesseract {
namespace {

TEST(TesseractLanguage, IsTheDataOfTheLocalesLanguageAndScript) {
    struct Row {
        const char* identifier;
        const char* language;
    };
    const Row rows[] = {
        {"en-US", "eng"},
        {"en_US", "eng"},
        {"en_US.UTF-8", "eng"},
        {"en", "eng"},
        {"EN-us", "eng"},
        {"de-DE", "deu"},
        {"de_AT.UTF-8@euro", "deu"},
        {"fr-CA", "fra"},
        {"pt-BR", "por"},
        {"zh-Hans", "chi_sim"},
        {"zh-Hant", "chi_tra"},
        {"zh-Hant-HK", "chi_tra"},
        {"zh-Hans-TW", "chi_sim"},
        {"zh-TW", "chi_tra"},
        {"zh_HK.UTF-8", "chi_tra"},
        {"zh-CN", "chi_sim"},
        {"zh", "chi_sim"},
        {"ZH-hANT", "chi_tra"},
        {"sr-Latn", "srp_latn"},
        {"sr-Latn-RS", "srp_latn"},
        {"sr_RS@latin", "srp_latn"},
        {"sr-Cyrl-RS", "srp"},
        {"sr", "srp"},
        {"uz-Cyrl", "uzb_cyrl"},
        {"az-Cyrl-AZ", "aze_cyrl"},
        {"az", "aze"},
        {"de-Latf", "frk"},
        {"nb-NO", "nor"},
        {"nn", "nor"},
        {"iw", "heb"},
        {"ja-JP-u-ca-japanese", "jpn"},
        {"en-x-hant", "eng"},
        {"es-419", "spa"},
        {"af", "afr"},
        {"fil-PH", "fil"},
        {"chr", "chr"},
        {"xx", ""},
        {"", ""},
        {"C", ""},
        {"zz-Hant", ""},
        {"e", ""},
        {"english", ""},
        {"../etc", ""},
        {"d/u", ""},
        {"deu+eng", ""},
        {"~fr", ""},
        {"-", ""},
        {"_US", ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.identifier);
        EXPECT_EQ(tesseractLanguage(row.identifier), row.language);
    }
}

TEST(TesseractLanguages, KeepTheirOrderAndComeOnce) {
    EXPECT_EQ(tesseractLanguages({"de-DE", "en-US"}), "deu+eng");
    EXPECT_EQ(tesseractLanguages({"en_US", "en-US"}), "eng");
    EXPECT_EQ(tesseractLanguages({"nonsense", "zh-Hant", "en-US"}), "chi_tra+eng");
    EXPECT_EQ(tesseractLanguages({"", "x"}), "");
    EXPECT_EQ(tesseractLanguages({}), "");
}

}  // namespace
}  // namespace quorvane::platform::tesseract
