// Paradigms: the paths of a paradigm graph, prepared once to be applied to
// many word forms, and the paradigms of dictionary entries, each distinct one
// explored once.

#ifndef LEXPAND_ENGINE_PARADIGMS_H
#define LEXPAND_ENGINE_PARADIGMS_H

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "ALU.h"
#include "MGFSA.h"
#include "Morphology.h"
#include "SuffixEdit.h"

namespace lexpand {

// One path of an explored paradigm graph: its command tokenized and parsed
// (and, when it only deletes and types at the end, as a suffix edit), its
// outputs trimmed of "+" (for inflection) and split into a category and
// properties (for derivation).
struct ParadigmPath {
    std::optional<std::vector<Morphology::Operator>> command; // absent: applies to no word form
    std::optional<SuffixEdit> suffixEdit;                     // the command as a suffix edit, when it is one
    std::vector<std::string> properties;                      // outputs without outer "+"
    std::optional<LexicalInformation> derivedInformation;     // outputs as category + properties
};
using ParadigmPaths = std::vector<ParadigmPath>;

// Explores `paradigmName` in `paradigms` (orthographic level, loops travelled
// once) and prepares its paths. Absent when it cannot be explored or has no
// path. Cost: that of the exploration, then linear in the paths' text.
std::optional<ParadigmPaths> exploreParadigm(const std::string& paradigmName, const MGFSA& paradigms,
                                             const ExploreOptions& options = {});

// The expression that an entry's "FLX=" value `value` stands for, explored
// as the graph "_Main": the value itself when it is already an expression (a
// call or a command), else a call of the graph it names.
std::string inflectionalExpression(const std::string& value);

// The explored paradigms of one entry, in the order its forms come: one
// inflection per "FLX=" value, then one derivation (with the inflection of its
// derived forms, null for none) per "DRV=" value. Shared with the cache that
// explored them; they stay valid as long as a holder keeps them.
struct DerivationParadigms {
    std::shared_ptr<const ParadigmPaths> derivation;
    std::shared_ptr<const ParadigmPaths> inflection;
};
struct EntryParadigms {
    std::vector<std::shared_ptr<const ParadigmPaths>> inflections;
    std::vector<DerivationParadigms> derivations;
};

// The paradigms of entries, each distinct "FLX=" value and each graph
// explored once, since their paths depend only on the value and on the
// grammar, which must outlive the cache and must not change while it lives.
// Not shared between threads: each thread keeps a cache of its own.
class ParadigmCache {
public:
    explicit ParadigmCache(const MGFSA& paradigms, const ExploreOptions& options = {});
    ParadigmCache(const ParadigmCache&) = delete; // tied to one grammar
    ParadigmCache& operator=(const ParadigmCache&) = delete;

    // Absent when a paradigm cannot be explored or has no path, or when a
    // "DRV=" value names no inflection and the entry has no "FLX=" value.
    std::optional<EntryParadigms> paradigmsOf(const ALU& alu);

private:
    using Paths = std::shared_ptr<const ParadigmPaths>; // null: no paths
    Paths pathsOfInflectionalValue(const std::string& value);
    Paths pathsOfGraph(const std::string& name);

    const MGFSA& paradigms_;
    const ExploreOptions options_;
    // Every paradigm besides the graph "_Main" of the last inflectional value
    // explored: adding "_Main" again replaces it, and labels left behind by
    // earlier values do not change what a path reads. Copied on first use.
    std::optional<MGFSA> grammarWithMain_;
    std::unordered_map<std::string, Paths> byInflectionalValue_;
    std::unordered_map<std::string, Paths> byGraphName_;
};

} // namespace lexpand

#endif // LEXPAND_ENGINE_PARADIGMS_H
