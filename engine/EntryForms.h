// Entry forms: every form of one entry with its category and sorted
// properties, and the printed line of one form.
//
// These are the rules of the output, each written once: how a form's property
// list is made (inflectedFormProperties, derivedFormProperties,
// sortedPropertyList) and how a form's line is assembled from it
// (assembleFormLine). The fast expansion of FormLines calls the same functions.

#ifndef LEXPAND_ENGINE_ENTRYFORMS_H
#define LEXPAND_ENGINE_ENTRYFORMS_H

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ALU.h"
#include "MGFSA.h"
#include "Paradigms.h"

namespace lexpand {

// Every form of one entry: three parallel lists, one element per form.
struct EntryForms {
    std::vector<std::string> wordForms;
    std::vector<std::string> categories;
    std::vector<std::vector<std::string>> properties; // sorted, "_LEX=..." included
};

// One form of an entry as forEachForm meets it. The views are valid during
// the visit only.
struct EntryForm {
    std::string_view wordForm;
    std::string_view reverseCommand; // leads from the form back to the lemma
    const std::string* category;     // the entry's, or the derived one
    // The derivation path's properties, or null for an inflected form; the
    // inflection path's, or null for a derived form that is not inflected.
    const std::vector<std::string>* derivationProperties;
    const std::vector<std::string>* inflectionProperties;
};

// Calls visit for each form of `alu` by `paradigms`, in order: the forms of
// each inflection, then those of each derivation. False when a form cannot be
// made (a command that does not apply, a derivation path without a category,
// a combined reverse command that does not read back) or visit answers false.
// Cost: linear in the forms, plus one exploration of each paradigm whose
// paths are not held; memory does not grow with the forms.
bool forEachForm(const ALU& alu, const EntryParadigms& paradigms, const std::function<bool(const EntryForm&)>& visit);

// Runs every inflectional and derivational paradigm of `alu` over its entry;
// absent when any of them fails. `allParadigms` is not changed. Cost: the
// exploration of each paradigm, then linear in the forms, which are all held.
std::optional<EntryForms> inflectAndDerive(const ALU& alu, const MGFSA& allParadigms);

// The same with the entry's paradigms already explored (ParadigmCache).
std::optional<EntryForms> inflectAndDerive(const ALU& alu, const EntryParadigms& paradigms);

// The properties listed for `form` of `alu`, before sorting
// (inflectedFormProperties or derivedFormProperties).
std::vector<std::string> listedProperties(const ALU& alu, const EntryForm& form);

// The properties listed for an inflected form of `alu`, before sorting: the
// entry's lexical properties, its "FLX=" and "DRV=" items, then the path's own.
std::vector<std::string> inflectedFormProperties(const ALU& alu, const std::vector<std::string>& pathProperties);

// The same for a derived form of category `derivedCategory`: "InitialCategory="
// when the category changes, the entry's lexical properties, its paradigm
// items, its morphological properties, the derivation path's properties, then
// those of the inflection path (null for none).
std::vector<std::string> derivedFormProperties(const ALU& alu, const std::string& derivedCategory,
                                               const std::vector<std::string>& derivationProperties,
                                               const std::vector<std::string>* inflectionProperties);

// `properties` sorted in canonical order with the later of equal items
// dropped, and "_LEX=\"reverseCommand\"" placed after every item that is
// not greater: the property list of one form.
std::vector<std::string> sortedPropertyList(std::vector<std::string> properties, const std::string& reverseCommand);

// The printed line of one form, or the news that the form is left out.
struct FormLine {
    bool inconsistent = false; // two exclusive properties disagree: nothing is printed
    std::string text;          // the canonical line, when consistent
};

// The line of the form `wordForm` of category `category` whose sorted property
// list is `properties`, the entry's morphological properties coming first:
// Morphology::addCategoryAndAllProperties assembles the text after the comma,
// and the whole line, parsed again as an entry, is printed canonically (which
// sorts, deduplicates and classifies its properties). Absent when the category
// is not upper case or the line is no entry. Cost: linear in the line, times
// the logarithm of its number of properties.
std::optional<FormLine> assembleFormLine(std::string_view wordForm, const std::string& category,
                                         const std::vector<std::string>& morphologicalProperties,
                                         const std::vector<std::string>& properties,
                                         const PropertiesDefinitions& definitions);

// The sorted property list of `form` of `alu`, "_LEX=" included: the list
// that assembleFormLine takes for it.
std::vector<std::string> formPropertyList(const ALU& alu, const EntryForm& form);

// The line of `form` of `alu` (assembleFormLine of its property list).
std::optional<FormLine> formLineOf(const ALU& alu, const EntryForm& form, const PropertiesDefinitions& definitions);

// Calls visit for each form of `alu` by `paradigms`, in form order, once
// every form is known to be made: a first pass makes every form and visits
// none, since one form that cannot be made fails the whole entry; a second
// makes them again and visits each. False when a form cannot be made or
// visit answers false (the visits before stay made). Cost: forEachForm
// twice; no form is held from one to the next, whatever their number.
bool forEachCheckedForm(const ALU& alu, const EntryParadigms& paradigms,
                        const std::function<bool(const EntryForm&)>& visit);

// forEachCheckedForm, each form visited with its line (formLineOf); false
// also when a line cannot be made. Cost: that, plus assembling each line.
bool forEachFormLine(const ALU& alu, const EntryParadigms& paradigms, const PropertiesDefinitions& definitions,
                     const std::function<bool(const EntryForm&, const FormLine&)>& visit);

} // namespace lexpand

#endif // LEXPAND_ENGINE_ENTRYFORMS_H
