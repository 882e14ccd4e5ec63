// Exports Morphology::addCategoryAndAllProperties: one form's category and
// properties as one text.

#include "ALU.h"
#include "Morphology.h"

#include <algorithm>
#include <utility>

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

bool containsCanonically(const std::vector<std::string>& list, std::string_view text) {
    return std::any_of(list.begin(), list.end(), [&](const std::string& item) { return canonicallyEqual(item, text); });
}

// The value first seen for each exclusive property name of one form.
class SeenValues {
public:
    enum class Outcome { fresh, repeated, contradicted };

    Outcome record(std::string name, std::string value) {
        for (const auto& [seenName, seenValue] : seen_) {
            if (!canonicallyEqual(seenName, name)) continue;
            return canonicallyEqual(seenValue, value) ? Outcome::repeated : Outcome::contradicted;
        }
        seen_.emplace_back(std::move(name), std::move(value));
        return Outcome::fresh;
    }

private:
    std::vector<std::pair<std::string, std::string>> seen_; // a handful of names per form
};

} // namespace

std::optional<std::string> Morphology::addCategoryAndAllProperties(
    std::string_view category, const std::vector<std::string>* morphologicalProperties,
    const std::vector<std::string>& inflectionalProperties, const PropertiesDefinitions& propertiesDefinitions) {
    if (!isUpperCaseCategory(category)) return std::nullopt;
    std::string text(category);
    SeenValues seen;
    const std::vector<std::string> none;
    for (const auto* list :
         {morphologicalProperties != nullptr ? morphologicalProperties : &none, &inflectionalProperties}) {
        for (const std::string& written : *list) {
            if (written.empty()) continue;
            const std::string_view property =
                written.front() == '+' ? std::string_view(written).substr(1) : std::string_view(written);
            NormalizedProperty normalized = normalize(category, property, &propertiesDefinitions);
            if (containsCanonically(propertiesDefinitions.exclusivePropertyNames, normalized.name)) {
                switch (seen.record(std::move(normalized.name), std::move(normalized.value))) {
                case SeenValues::Outcome::contradicted:
                    return std::string(Morphology::inconsistentMarker);
                case SeenValues::Outcome::repeated:
                    continue;
                case SeenValues::Outcome::fresh:
                    break;
                }
            }
            text.append(1, '+').append(property);
        }
    }
    return text;
}

} // namespace lexpand
