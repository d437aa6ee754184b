#include "platform/linux/tesseract/tesseract_languages.h"

#include <algorithm>
#include <iterator>

namespace quorvane::platform::tesseract {
namespace {

// The parts of an identifier that choose the data, in lower case.
struct Locale {
    std::string language;
    std::string script;
    std::string region;
};

bool isLetter(char character) {
    return character >= 'a' && character <= 'z';
}
bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

std::string lowered(std::string_view text) {
    std::string result(text);
    for (auto& character : result) {
        if (character >= 'A' && character <= 'Z')
            character = static_cast<char>(character - 'A' + 'a');
    }
    return result;
}

// language[-script][-region][-...] with "-" or "_", and behind that POSIX's [.encoding][@modifier].
Locale parseLocale(std::string_view identifier) {
    const auto text = lowered(identifier);
    const auto modifier = text.find('@');
    std::string_view tags(text);
    tags = tags.substr(0, tags.find_first_of(".@"));
    Locale locale;
    for (bool first = true; !tags.empty(); first = false) {
        const auto tag = tags.substr(0, tags.find_first_of("-_"));
        tags.remove_prefix(std::min(tag.size() + 1, tags.size()));
        const bool letters = std::all_of(tag.begin(), tag.end(), isLetter);
        if (first) {
            if (!letters) return {};
            locale.language = tag;
        } else if (tag.size() == 1) {
            break;  // what follows a single letter is no part of the language's name
        } else if (tag.size() == 4 && letters && locale.script.empty() && locale.region.empty()) {
            locale.script = tag;
        } else if (locale.region.empty() &&
                   ((tag.size() == 2 && letters) ||
                    (tag.size() == 3 && std::all_of(tag.begin(), tag.end(), isDigit)))) {
            locale.region = tag;
        }
    }
    if (modifier != std::string::npos && locale.script.empty()) {
        if (text.substr(modifier) == "@latin") locale.script = "latn";
        if (text.substr(modifier) == "@cyrillic") locale.script = "cyrl";
    }
    return locale;
}

struct LanguageRow {
    std::string_view language;
    std::string_view data;
};

// ISO 639-1 codes and their ISO 639-2 terminology codes, which are the names of Tesseract's data,
// as far as there is data; with the withdrawn codes "in", "iw" and "ji". Norwegian is one, and the
// data for Kurdish and Filipino are named by ISO 639-3. Sorted by the first column.
constexpr LanguageRow languages[] = {
    {"af", "afr"}, {"am", "amh"},     {"ar", "ara"}, {"as", "asm"}, {"az", "aze"}, {"be", "bel"},
    {"bg", "bul"}, {"bn", "ben"},     {"bo", "bod"}, {"br", "bre"}, {"bs", "bos"}, {"ca", "cat"},
    {"co", "cos"}, {"cs", "ces"},     {"cy", "cym"}, {"da", "dan"}, {"de", "deu"}, {"dv", "div"},
    {"dz", "dzo"}, {"el", "ell"},     {"en", "eng"}, {"eo", "epo"}, {"es", "spa"}, {"et", "est"},
    {"eu", "eus"}, {"fa", "fas"},     {"fi", "fin"}, {"fo", "fao"}, {"fr", "fra"}, {"fy", "fry"},
    {"ga", "gle"}, {"gd", "gla"},     {"gl", "glg"}, {"gu", "guj"}, {"he", "heb"}, {"hi", "hin"},
    {"hr", "hrv"}, {"ht", "hat"},     {"hu", "hun"}, {"hy", "hye"}, {"id", "ind"}, {"in", "ind"},
    {"is", "isl"}, {"it", "ita"},     {"iu", "iku"}, {"iw", "heb"}, {"ja", "jpn"}, {"ji", "yid"},
    {"jv", "jav"}, {"ka", "kat"},     {"kk", "kaz"}, {"km", "khm"}, {"kn", "kan"}, {"ko", "kor"},
    {"ku", "kmr"}, {"ky", "kir"},     {"la", "lat"}, {"lb", "ltz"}, {"lo", "lao"}, {"lt", "lit"},
    {"lv", "lav"}, {"mi", "mri"},     {"mk", "mkd"}, {"ml", "mal"}, {"mn", "mon"}, {"mr", "mar"},
    {"ms", "msa"}, {"mt", "mlt"},     {"my", "mya"}, {"nb", "nor"}, {"ne", "nep"}, {"nl", "nld"},
    {"nn", "nor"}, {"no", "nor"},     {"oc", "oci"}, {"or", "ori"}, {"pa", "pan"}, {"pl", "pol"},
    {"ps", "pus"}, {"pt", "por"},     {"qu", "que"}, {"ro", "ron"}, {"ru", "rus"}, {"sa", "san"},
    {"sd", "snd"}, {"si", "sin"},     {"sk", "slk"}, {"sl", "slv"}, {"sq", "sqi"}, {"sr", "srp"},
    {"su", "sun"}, {"sv", "swe"},     {"sw", "swa"}, {"ta", "tam"}, {"te", "tel"}, {"tg", "tgk"},
    {"th", "tha"}, {"ti", "tir"},     {"tl", "fil"}, {"to", "ton"}, {"tr", "tur"}, {"tt", "tat"},
    {"ug", "uig"}, {"uk", "ukr"},     {"ur", "urd"}, {"uz", "uzb"}, {"vi", "vie"}, {"yi", "yid"},
    {"yo", "yor"}, {"zh", "chi_sim"},
};

struct ScriptRow {
    std::string_view language;
    std::string_view script;
    std::string_view data;
};

// Languages whose data depend on the script.
constexpr ScriptRow scripts[] = {
    {"az", "cyrl", "aze_cyrl"}, {"de", "latf", "frk"},     {"sr", "latn", "srp_latn"},
    {"uz", "cyrl", "uzb_cyrl"}, {"zh", "hans", "chi_sim"}, {"zh", "hant", "chi_tra"},
};

// Where Chinese is written in traditional characters unless the identifier says otherwise.
constexpr std::string_view traditionalRegions[] = {"hk", "mo", "tw"};

std::string chosenScript(const Locale& locale) {
    if (!locale.script.empty() || locale.language != "zh") return locale.script;
    const bool traditional = std::find(std::begin(traditionalRegions), std::end(traditionalRegions),
                                       locale.region) != std::end(traditionalRegions);
    return traditional ? "hant" : "hans";
}

}  // namespace

std::string tesseractLanguage(std::string_view localeIdentifier) {
    const auto locale = parseLocale(localeIdentifier);
    const auto script = chosenScript(locale);
    for (const auto& row : scripts) {
        if (row.language == locale.language && row.script == script) return std::string(row.data);
    }
    const auto* row = std::lower_bound(
        std::begin(languages), std::end(languages), locale.language,
        [](const LanguageRow& each, const std::string& wanted) { return each.language < wanted; });
    if (row != std::end(languages) && row->language == locale.language)
        return std::string(row->data);
    // Longer codes are the data's names already.
    return locale.language.size() == 3 ? locale.language : "";
}

std::string tesseractLanguages(const std::vector<std::string>& localeIdentifiers) {
    std::vector<std::string> names;
    std::string joined;
    for (const auto& identifier : localeIdentifiers) {
        auto name = tesseractLanguage(identifier);
        if (name.empty() || std::find(names.begin(), names.end(), name) != names.end()) continue;
        if (!joined.empty()) joined += '+';
        joined += name;
        names.push_back(std::move(name));
    }
    return joined;
}

}  // namespace quorvane::platform::tesseract
