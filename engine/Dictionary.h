// Dictionary files, and the generation of every form of one entry.

#ifndef LEXPAND_ENGINE_DICTIONARY_H
#define LEXPAND_ENGINE_DICTIONARY_H

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ALU.h"
#include "MGFSA.h"
#include "Morphology.h"

namespace lexpand {

// The significant lines of the dictionary at `path`, in file order: entry
// lines exactly as written, and "#use " lines. Blank lines and comment lines
// are dropped. Absent when the file does not exist or is not UTF-8; an empty
// array for a file without significant lines.
std::optional<std::vector<std::string>> loadDictionary(const std::string& path);

// The same lines of the dictionary text `text`, as views into it.
std::vector<std::string_view> significantLines(std::string_view text);

// The expression that an entry's "FLX=" value `value` stands for, explored
// as the graph "_Main": the value itself when it is already an expression (a
// call or a command), else a call of the graph it names.
std::string inflectionalExpression(const std::string& value);

// Every form of one entry: three parallel lists, one element per form.
struct EntryForms {
    std::vector<std::string> wordForms;
    std::vector<std::string> categories;
    std::vector<std::vector<std::string>> properties; // sorted, "_LEX=..." included
};

// Runs every inflectional and derivational paradigm of `alu` over its entry;
// absent when any of them fails. `allParadigms` is not changed.
std::optional<EntryForms> inflectAndDerive(const ALU& alu, const MGFSA& allParadigms);

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

// The same for many entries: each distinct paradigm value is compiled and
// explored once, since its paths depend only on the value and on the grammar,
// which must not change while the expander lives. Forms are identical to
// those of inflectAndDerive.
class EntryExpander {
public:
    explicit EntryExpander(const MGFSA& allParadigms);
    EntryExpander(const EntryExpander&) = delete; // holds caches tied to one grammar
    EntryExpander& operator=(const EntryExpander&) = delete;
    ~EntryExpander();

    std::optional<EntryForms> inflectAndDerive(const ALU& alu);

    // The explored paradigms of one entry, in the order its forms come: one
    // inflection per "FLX=" value, then one derivation (with the inflection of
    // its derived forms, null for none) per "DRV=" value. The paths belong to
    // the expander and live as long as it does.
    struct DerivationParadigms {
        const Morphology::ParadigmPaths* derivation = nullptr;
        const Morphology::ParadigmPaths* inflection = nullptr;
    };
    struct EntryParadigms {
        std::vector<const Morphology::ParadigmPaths*> inflections;
        std::vector<DerivationParadigms> derivations;
    };
    // Absent when a paradigm cannot be explored or has no path, or when a
    // "DRV=" value names no inflection and the entry has no "FLX=" value.
    std::optional<EntryParadigms> paradigmsOf(const ALU& alu);

private:
    const Morphology::ParadigmPaths* pathsOfInflectionalValue(const std::string& value);
    const Morphology::ParadigmPaths* pathsOfGraph(const std::string& name);

    struct Caches;
    const MGFSA& allParadigms_;
    std::unique_ptr<Caches> caches_;
};

} // namespace lexpand

#endif // LEXPAND_ENGINE_DICTIONARY_H
