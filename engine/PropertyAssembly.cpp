// Exports Morphology::addCategoryAndAllProperties: one form's category and
// properties as one text.

#include "ALU.h"
#include "Morphology.h"

#include <algorithm>

#include "TextServices.h"

namespace lexpand {

namespace {

// True when `category` is one or more characters whose first scalars are
// upper-case letters (Lu or Lt).
bool isUpperCaseCategory(std::string_view category) {
    if (category.empty()) return false;
    if (isAscii(category))
        return std::all_of(category.begin(), category.end(), [](char c) { return c >= 'A' && c <= 'Z'; });
    const std::vector<std::string_view> characters = graphemeClusterViews(category);
    return std::all_of(characters.begin(), characters.end(),
                       [](std::string_view character) { return isUppercaseCharacter(character); });
}

} // namespace

std::optional<std::string> Morphology::addCategoryAndAllProperties(
    std::string_view category, const std::vector<std::string>* morphologicalProperties,
    const std::vector<std::string>& inflectionalProperties, const PropertiesDefinitions& propertiesDefinitions) {
    if (!isUpperCaseCategory(category)) return std::nullopt;
    std::string text(category);
    ExclusiveValues seen;
    const std::vector<std::string> none;
    for (const auto* list :
         {morphologicalProperties != nullptr ? morphologicalProperties : &none, &inflectionalProperties}) {
        for (const std::string& written : *list) {
            if (written.empty()) continue;
            const std::string_view property =
                written.front() == '+' ? std::string_view(written).substr(1) : std::string_view(written);
            NormalizedProperty normalized = normalize(category, property, &propertiesDefinitions);
            if (propertiesDefinitions.isExclusivePropertyName(normalized.name)) {
                switch (seen.record(normalized.name, normalized.value)) {
                case ExclusiveValues::Outcome::contradicted:
                    return std::string(Morphology::inconsistentMarker);
                case ExclusiveValues::Outcome::repeated:
                    continue;
                case ExclusiveValues::Outcome::fresh:
                    break;
                }
            }
            text.append(1, '+').append(property);
        }
    }
    return text;
}

} // namespace lexpand
