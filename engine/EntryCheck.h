// Entry checks: why an entry line fails, found by running the steps of its
// expansion one at a time with the engine's own functions; and what an entry
// line that expands may still hide (text that lexpand ignores, property
// values the definitions do not list, forms dropped as inconsistent).

#ifndef LEXPAND_ENGINE_ENTRYCHECK_H
#define LEXPAND_ENGINE_ENTRYCHECK_H

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "ALU.h"
#include "Diagnostics.h"
#include "MGFSA.h"
#include "Paradigms.h"

namespace lexpand {

class GrammarChecker;

// What is wrong with an entry line, and whose fault it is.
struct EntryFinding {
    enum class Owner {
        entry,    // the line itself: reported at `offset` of the line
        rule,     // the rule `ruleName`, whatever entry uses it: reported once, at the rule
        reported, // a problem already reported elsewhere: nothing more to say
    };
    Owner owner = Owner::entry;
    DiagnosticCode code = DiagnosticCode::entryFails;
    std::string message;
    std::size_t offset = 0;
    std::string ruleName;
};

// Finds why entry lines fail. Keeps the paradigms it explores (and what is
// wrong with them) for the next lines; the definitions, the grammar and the
// grammar checker must outlive it. Not for several threads at once.
class EntryDiagnoser {
public:
    EntryDiagnoser(const PropertiesDefinitions& definitions, const GrammarChecker& grammars,
                   const ExploreOptions& options = {});
    EntryDiagnoser(const EntryDiagnoser&) = delete; // holds a copy of the grammar tied to its caches
    EntryDiagnoser& operator=(const EntryDiagnoser&) = delete;
    ~EntryDiagnoser();

    // Why the expansion of `line` fails: the first step that fails, in the
    // order lexpand takes them (the entry syntax, its properties, each
    // inflection, each derivation, each form's line). Cost: that of
    // expanding the entry form by form, plus the first exploration of each
    // paradigm it names.
    EntryFinding diagnose(std::string_view line);

    // The paradigms of the entry `alu`, as the paradigm cache gives them
    // (the paths of a paradigm held up to ParadigmCache::defaultHeldPaths,
    // explored again on each use past that); absent when one of them cannot
    // be explored.
    std::optional<EntryParadigms> paradigmsOf(const ALU& alu);

private:
    struct Explored;
    struct State;
    std::unique_ptr<State> state_;
};

// An explanation of why `line`, which the entry syntax refuses, is not an
// entry: a finding at the column where reading stops.
EntryFinding explainNotAnEntry(std::string_view line);

// Why a form's properties are inconsistent: the first exclusive property
// that gets a second value, with both values; absent when they are not.
// `morphological` comes before `properties`, as lexpand takes them.
struct Inconsistency {
    std::string property;
    std::string firstValue;
    std::string secondValue;
};
std::optional<Inconsistency> explainInconsistency(const std::string& category,
                                                  const std::vector<std::string>& morphological,
                                                  const std::vector<std::string>& properties,
                                                  const PropertiesDefinitions& definitions);

} // namespace lexpand

#endif // LEXPAND_ENGINE_ENTRYCHECK_H
