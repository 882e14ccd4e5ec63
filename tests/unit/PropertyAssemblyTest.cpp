// Tests of the assembly of a form's category and properties, and of the
// detection of contradictory exclusive properties.

#include "Morphology.h"

#include <gtest/gtest.h>

#include "ALU.h"

namespace lexpand {
namespace {

std::string dump(const std::vector<std::string>& items) {
    std::string text;
    for (const std::string& item : items) text += "[" + item + "]";
    return text;
}

// Definitions read from `text` as a ".def" file is read.
PropertiesDefinitions definitionsOf(const char* text) {
    std::optional<PropertiesDefinitions> definitions = PropertiesDefinitions::init(text);
    EXPECT_TRUE(definitions.has_value()) << text;
    return definitions.value_or(PropertiesDefinitions());
}

// Category "N" has "Nb" (s, p) and "Gender" (m, f); "Nb" and "Gender" are
// exclusive, "Hum" is a name that nothing lists.
constexpr const char* exclusiveText = "N_Nb = s | p ;\n"
                                      "N_Gender = m | f ;\n"
                                      "MORPHOLOGICALPROPERTIES = Nb | Gender ;\n";

TEST(AddCategoryAndAllProperties, AssemblesAndChecks) {
    const PropertiesDefinitions none = definitionsOf("");
    const PropertiesDefinitions exclusive =
        definitionsOf((std::string(exclusiveText) + "EXCLUSIVEPROPERTIES = Nb | Gender ;").c_str());
    // An exclusive name that is empty: the name of a value that no property lists.
    const PropertiesDefinitions emptyNameExclusive =
        definitionsOf((std::string(exclusiveText) + "EXCLUSIVEPROPERTIES = Nb | Gender | <E> ;").c_str());
    const std::vector<std::string> hum = {"+Hum"};
    const std::vector<std::string> singular = {"Nb=s"};
    const struct {
        std::string category;
        const std::vector<std::string>* morphological;
        std::vector<std::string> inflectional;
        const PropertiesDefinitions* definitions;
        std::string expected;
    } rows[] = {
        {"N", &hum, {"FLX=NOUN", "_LEX=\"<B>\"", "p"}, &none, "N+Hum+FLX=NOUN+_LEX=\"<B>\"+p"},
        {"N", nullptr, {"s", "p"}, &exclusive, "*INCONSISTENT*"},
        {"N", nullptr, {"s", "s"}, &exclusive, "N+s"},
        {"N", nullptr, {"s", "p"}, &none, "N+s+p"},            // nothing is exclusive
        {"V", nullptr, {"s", "p"}, &exclusive, "V+s+p"},       // V lists no "s": no name
        {"N", nullptr, {"Nb=s", "+s"}, &exclusive, "N+Nb=s"},  // same name and value
        {"N", nullptr, {"+s", "Nb=s"}, &exclusive, "N+s"},     // the text as written stays
        {"N", &singular, {"p"}, &exclusive, "*INCONSISTENT*"}, // both lists share the seen values
        {"N", &singular, {"s", "m", "f"}, &exclusive, "*INCONSISTENT*"},
        {"N", &singular, {"s", "m", "m"}, &exclusive, "N+Nb=s+m"},
        {"N", &hum, {"Hum"}, &exclusive, "N+Hum+Hum"},                  // only exclusive names are deduplicated
        {"N", nullptr, {"Nb=x", "Nb=y"}, &exclusive, "*INCONSISTENT*"}, // a written name is not checked
        {"N", nullptr, {}, &exclusive, "N"},
        {"N", nullptr, {"", "a", ""}, &exclusive, "N+a"}, // empty properties are skipped
        {"N", nullptr, {"+"}, &exclusive, "N+"},          // "+" leaves an empty property
        {"N", nullptr, {"++x"}, &exclusive, "N++x"},      // only one "+" is removed
        {"N", nullptr, {"x", "y"}, &emptyNameExclusive, "*INCONSISTENT*"},
        {"N", nullptr, {"x", "x"}, &emptyNameExclusive, "N+x"},
        {"ADV", nullptr, {"Hum"}, &exclusive, "ADV+Hum"},
        {"", nullptr, {"s"}, &exclusive, "absent"},
        {"Adj", nullptr, {"s"}, &exclusive, "absent"},
        {"N2", nullptr, {"s"}, &exclusive, "absent"},
        {"E\xCC\x81T", nullptr, {}, &exclusive, "E\xCC\x81T"}, // E with a combining accent
        {"\xC7\x85", nullptr, {}, &exclusive, "\xC7\x85"},     // a title-case letter
        {"\xC3\x89t", nullptr, {}, &exclusive, "absent"},
        {"\xCC\x81N", nullptr, {}, &exclusive, "absent"}, // a lone combining mark
    };
    for (const auto& row : rows) {
        const auto result = Morphology::addCategoryAndAllProperties(row.category, row.morphological, row.inflectional,
                                                                    *row.definitions);
        EXPECT_EQ(result.value_or("absent"), row.expected)
            << "category: " << row.category
            << " morphological: " << (row.morphological ? dump(*row.morphological) : "none")
            << " inflectional: " << dump(row.inflectional);
    }
}

TEST(AddCategoryAndAllProperties, ValuesAndNamesCompareCanonically) {
    const PropertiesDefinitions definitions = definitionsOf("EXCLUSIVEPROPERTIES = Cas\xC3\xA9 ;"); // Casé
    const auto result = Morphology::addCategoryAndAllProperties(
        "N", nullptr, {"Case\xCC\x81=\xC3\xA9", "Cas\xC3\xA9=e\xCC\x81"}, definitions);
    EXPECT_EQ(result.value_or("absent"), "N+Case\xCC\x81=\xC3\xA9");
}

} // namespace
} // namespace lexpand
