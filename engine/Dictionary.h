// Dictionary files, and the generation of every form of one entry.

#ifndef LEXPAND_ENGINE_DICTIONARY_H
#define LEXPAND_ENGINE_DICTIONARY_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ALU.h"
#include "MGFSA.h"

namespace lexpand {

// The significant lines of the dictionary at `path`, in file order: entry
// lines exactly as written, and "#use " lines. Blank lines and comment lines
// are dropped. Absent when the file does not exist or is not UTF-8; an empty
// array for a file without significant lines.
std::optional<std::vector<std::string>> loadDictionary(const std::string& path);

// Every form of one entry: three parallel lists, one element per form.
struct EntryForms {
    std::vector<std::string> wordForms;
    std::vector<std::string> categories;
    std::vector<std::vector<std::string>> properties; // sorted, "_LEX=..." included
};

// Runs every inflectional and derivational paradigm of `alu` over its entry;
// absent when any of them fails. `allParadigms` is not changed.
std::optional<EntryForms> inflectAndDerive(const ALU& alu, const MGFSA& allParadigms);

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

private:
    struct Caches;
    const MGFSA& allParadigms_;
    std::unique_ptr<Caches> caches_;
};

} // namespace lexpand

#endif // LEXPAND_ENGINE_DICTIONARY_H
