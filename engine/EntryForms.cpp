// Exports inflectAndDerive, the property lists of a form and assembleFormLine:
// every form of one entry, and the printed line of one form.

#include "EntryForms.h"

#include <algorithm>
#include <utility>

#include "Morphology.h"
#include "TextServices.h"

namespace lexpand {

namespace {

// The "FLX=" and "DRV=" items of `alu`, which every form of the entry lists.
void appendParadigmItems(std::vector<std::string>& listed, const ALU& alu) {
    for (const std::string& value : alu.flxParadigms) listed.push_back("FLX=" + value);
    for (const std::string& value : alu.drvParadigms) listed.push_back("DRV=" + value);
}

void appendForm(EntryForms& forms, std::string wordForm, const std::string& category, std::vector<std::string> listed,
                const std::string& reverseCommand) {
    forms.wordForms.push_back(std::move(wordForm));
    forms.categories.push_back(category);
    forms.properties.push_back(sortedPropertyList(std::move(listed), reverseCommand));
}

} // namespace

std::vector<std::string> sortedPropertyList(std::vector<std::string> properties, const std::string& reverseCommand) {
    std::string lexProperty = "_LEX=\"" + reverseCommand + "\"";
    // ASCII text is in NFC: canonical order and equivalence are then byte
    // order and equality.
    const bool ascii = isAscii(lexProperty) && std::all_of(properties.begin(), properties.end(),
                                                           [](const std::string& item) { return isAscii(item); });
    if (ascii) {
        std::stable_sort(properties.begin(), properties.end());
        properties.erase(std::unique(properties.begin(), properties.end()), properties.end());
        const auto position = std::upper_bound(properties.begin(), properties.end(), lexProperty);
        properties.insert(position, std::move(lexProperty));
        return properties;
    }
    std::stable_sort(properties.begin(), properties.end(), CanonicalLess());
    properties.erase(std::unique(properties.begin(), properties.end(),
                                 [](const std::string& a, const std::string& b) { return canonicallyEqual(a, b); }),
                     properties.end());
    const auto position = std::upper_bound(properties.begin(), properties.end(), lexProperty, CanonicalLess());
    properties.insert(position, std::move(lexProperty));
    return properties;
}

std::vector<std::string> inflectedFormProperties(const ALU& alu, const std::vector<std::string>& pathProperties) {
    std::vector<std::string> listed;
    listed.reserve(alu.lexicalProperties.size() + alu.flxParadigms.size() + alu.drvParadigms.size() +
                   pathProperties.size() + 1);
    listed.insert(listed.end(), alu.lexicalProperties.begin(), alu.lexicalProperties.end());
    appendParadigmItems(listed, alu);
    listed.insert(listed.end(), pathProperties.begin(), pathProperties.end());
    return listed;
}

std::vector<std::string> derivedFormProperties(const ALU& alu, const std::string& derivedCategory,
                                               const std::vector<std::string>& derivationProperties,
                                               const std::vector<std::string>* inflectionProperties) {
    std::vector<std::string> listed;
    if (!canonicallyEqual(derivedCategory, alu.category)) listed.push_back("InitialCategory=" + alu.category);
    listed.insert(listed.end(), alu.lexicalProperties.begin(), alu.lexicalProperties.end());
    appendParadigmItems(listed, alu);
    listed.insert(listed.end(), alu.morphologicalProperties.begin(), alu.morphologicalProperties.end());
    listed.insert(listed.end(), derivationProperties.begin(), derivationProperties.end());
    if (inflectionProperties != nullptr)
        listed.insert(listed.end(), inflectionProperties->begin(), inflectionProperties->end());
    return listed;
}

namespace {

// The forms of one derivation path: the derived form, or each of its forms
// inflected by `inflection` (null for none).
bool forEachDerivedForm(std::string_view lemma, const ParadigmPath& path, const Paradigm* inflection,
                        const std::function<bool(const EntryForm&)>& visit) {
    if (!path.derivedInformation) return false;
    const LexicalInformation& derived = *path.derivedInformation;
    const std::optional<Morphology::EditResult> derivedForm = applyPath(lemma, path);
    if (!derivedForm) return false;
    if (inflection == nullptr)
        return visit(EntryForm{derivedForm->resultingWordForm, derivedForm->reverseCommand, &derived.category,
                               &derived.properties, nullptr});
    return inflection->forEachPath([&](const ParadigmPath& inflectionPath) {
        const std::optional<Morphology::EditResult> inflected =
            applyPath(derivedForm->resultingWordForm, inflectionPath);
        if (!inflected) return false;
        const std::optional<std::string> reverse = combinedReverseCommand(*inflected, *derivedForm);
        if (!reverse) return false;
        return visit(EntryForm{inflected->resultingWordForm, *reverse, &derived.category, &derived.properties,
                               &inflectionPath.properties});
    });
}

} // namespace

bool forEachForm(const ALU& alu, const EntryParadigms& paradigms, const std::function<bool(const EntryForm&)>& visit) {
    for (const Paradigm& inflection : paradigms.inflections) {
        const bool made = inflection.forEachPath([&](const ParadigmPath& path) {
            const std::optional<Morphology::EditResult> edited = applyPath(alu.entry, path);
            if (!edited) return false;
            return visit(
                EntryForm{edited->resultingWordForm, edited->reverseCommand, &alu.category, nullptr, &path.properties});
        });
        if (!made) return false;
    }
    for (const DerivationParadigms& derivation : paradigms.derivations) {
        const Paradigm* inflection = derivation.inflection ? &*derivation.inflection : nullptr;
        const bool made = derivation.derivation.forEachPath(
            [&](const ParadigmPath& path) { return forEachDerivedForm(alu.entry, path, inflection, visit); });
        if (!made) return false;
    }
    return true;
}

std::vector<std::string> listedProperties(const ALU& alu, const EntryForm& form) {
    if (form.derivationProperties == nullptr) return inflectedFormProperties(alu, *form.inflectionProperties);
    return derivedFormProperties(alu, *form.category, *form.derivationProperties, form.inflectionProperties);
}

std::optional<EntryForms> inflectAndDerive(const ALU& alu, const EntryParadigms& paradigms) {
    EntryForms forms;
    const bool made = forEachForm(alu, paradigms, [&](const EntryForm& form) {
        appendForm(forms, std::string(form.wordForm), *form.category, listedProperties(alu, form),
                   std::string(form.reverseCommand));
        return true;
    });
    if (!made) return std::nullopt;
    return forms;
}

std::optional<EntryForms> inflectAndDerive(const ALU& alu, const MGFSA& allParadigms) {
    ParadigmCache cache(allParadigms);
    const std::optional<EntryParadigms> paradigms = cache.paradigmsOf(alu);
    if (!paradigms) return std::nullopt;
    return inflectAndDerive(alu, *paradigms);
}

std::optional<FormLine> assembleFormLine(std::string_view wordForm, const std::string& category,
                                         const std::vector<std::string>& morphologicalProperties,
                                         const std::vector<std::string>& properties,
                                         const PropertiesDefinitions& definitions) {
    const std::optional<std::string> categoryAndProperties =
        Morphology::addCategoryAndAllProperties(category, &morphologicalProperties, properties, definitions);
    if (!categoryAndProperties) return std::nullopt;
    if (*categoryAndProperties == Morphology::inconsistentMarker) return FormLine{true, std::string()};
    std::string line;
    line.reserve(wordForm.size() + 1 + categoryAndProperties->size());
    line.append(wordForm).append(1, ',').append(*categoryAndProperties);
    const std::optional<ALU> form = ALU::init(line, &definitions);
    if (!form) return std::nullopt;
    return FormLine{false, form->description()};
}

std::vector<std::string> formPropertyList(const ALU& alu, const EntryForm& form) {
    return sortedPropertyList(listedProperties(alu, form), std::string(form.reverseCommand));
}

std::optional<FormLine> formLineOf(const ALU& alu, const EntryForm& form, const PropertiesDefinitions& definitions) {
    return assembleFormLine(form.wordForm, *form.category, alu.morphologicalProperties, formPropertyList(alu, form),
                            definitions);
}

bool forEachCheckedForm(const ALU& alu, const EntryParadigms& paradigms,
                        const std::function<bool(const EntryForm&)>& visit) {
    if (!forEachForm(alu, paradigms, [](const EntryForm&) { return true; })) return false;
    return forEachForm(alu, paradigms, visit);
}

bool forEachFormLine(const ALU& alu, const EntryParadigms& paradigms, const PropertiesDefinitions& definitions,
                     const std::function<bool(const EntryForm&, const FormLine&)>& visit) {
    return forEachCheckedForm(alu, paradigms, [&](const EntryForm& form) {
        const std::optional<FormLine> line = formLineOf(alu, form, definitions);
        return line && visit(form, *line);
    });
}

} // namespace lexpand
