// Paradigms: the paths of a paradigm graph, prepared to be applied to many
// word forms, and the paradigms of dictionary entries, each distinct one
// explored once and held while it is small, explored again on each use when
// it is large.

#ifndef LEXPAND_ENGINE_PARADIGMS_H
#define LEXPAND_ENGINE_PARADIGMS_H

#include <cstddef>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "ALU.h"
#include "MGFSA.h"
#include "Morphology.h"
#include "SuffixEdit.h"

namespace lexpand {

// One path of an explored paradigm graph: its command tokenized and parsed
// (and, in a paradigm that holds its paths, as a suffix edit when it only
// deletes and types at the end), its outputs trimmed of "+" (for inflection)
// and split into a category and properties (for derivation).
struct ParadigmPath {
    std::optional<std::vector<Morphology::Operator>> command; // absent: applies to no word form
    std::optional<SuffixEdit> suffixEdit;                     // the command as a suffix edit, when it is one
    std::vector<std::string> properties;                      // outputs without outer "+"
    std::optional<LexicalInformation> derivedInformation;     // outputs as category + properties
};
using ParadigmPaths = std::vector<ParadigmPath>;

// The path whose joined input is `input` and whose outputs are `outputs`,
// prepared (without its suffix edit). Cost: linear in its text.
ParadigmPath preparePath(std::string_view input, const std::vector<std::string_view>& outputs);

// What `path` makes of `word` (well-formed UTF-8): the editor's word form and
// reverse command; absent when the path has no command or it does not apply.
std::optional<Morphology::EditResult> applyPath(std::string_view word, const ParadigmPath& path);

// The reverse command of a derived form then inflected: the inflection's
// reverse list followed by the derivation's, which must tokenize back into
// exactly these tokens (a lemma holding white space or a character that the
// tokenizer treats specially does not), then simplified. Absent when it does
// not.
std::optional<std::string> combinedReverseCommand(const Morphology::EditResult& inflected,
                                                  const Morphology::EditResult& derived);

// Explores `paradigmName` in `paradigms` (orthographic level, loops travelled
// once) and prepares its paths. Absent when it cannot be explored or has no
// path. Cost: that of the exploration, then linear in the paths' text; the
// paths are all held.
std::optional<ParadigmPaths> exploreParadigm(const std::string& paradigmName, const MGFSA& paradigms,
                                             const ExploreOptions& options = {});

// The expression that an entry's "FLX=" value `value` stands for, explored
// as the graph "_Main": the value itself when it is already an expression (a
// call or a command), else a call of the graph it names.
std::string inflectionalExpression(const std::string& value);

// The graphs that an entry's "DRV=" value names: "D:I" derives by the graph D
// and inflects the derived forms by the graph I ("D:" does not inflect, I is
// empty); a value without ":" inflects by the entry's first "FLX=" value,
// taken as a graph name. Absent when it names no inflection and the entry
// has no "FLX=" value.
struct DerivationNames {
    std::string derivation;
    std::string inflection; // empty: the derived forms are not inflected
};
std::optional<DerivationNames> derivationNamesOf(const std::string& value, const ALU& alu);

// One paradigm of an entry, known to have at least one path: its paths held
// (its exploration succeeded), or, for a paradigm of more paths than a cache
// holds, the graph to explore again on each use (which may yet fail, past a
// limit). A cheap handle, shared with the cache that made it.
class Paradigm {
public:
    // A paradigm whose paths are held, in about `bytes` of memory.
    explicit Paradigm(std::shared_ptr<const ParadigmPaths> paths, std::size_t bytes = 0);
    // A paradigm explored on each use: the graph `graphName` of `grammar`.
    Paradigm(std::shared_ptr<const MGFSA> grammar, std::string graphName, const ExploreOptions& options);

    // The paths, when they are held; null otherwise.
    const ParadigmPaths* held() const { return paths_.get(); }
    // About the memory that the held paths take (0 when they are not held).
    std::size_t heldBytes() const { return bytes_; }

    // Calls visit(path) for each path, in order, until it answers false.
    // False when it was stopped so, or when the exploration fails. Cost:
    // that of one exploration when the paths are not held (memory
    // proportional to the longest path).
    bool forEachPath(const std::function<bool(const ParadigmPath&)>& visit) const;

private:
    std::shared_ptr<const ParadigmPaths> paths_;
    std::size_t bytes_ = 0;
    std::shared_ptr<const MGFSA> grammar_;
    std::string graphName_;
    ExploreOptions options_;
};

// The explored paradigms of one entry, in the order its forms come: one
// inflection per "FLX=" value, then one derivation (with the inflection of its
// derived forms, absent for none) per "DRV=" value.
struct DerivationParadigms {
    Paradigm derivation;
    std::optional<Paradigm> inflection;
};
struct EntryParadigms {
    std::vector<Paradigm> inflections;
    std::vector<DerivationParadigms> derivations;
};

// The paradigms of entries, each distinct "FLX=" value and each graph
// explored once, since their paths depend only on the value and on the
// grammar, which must outlive the cache and must not change while it lives.
// Paradigms of at most `heldPaths` paths are held, the least recently used
// dropped once they pass `heldBytes`; larger ones are explored again by each
// entry that uses them. Safe to share between threads: one at a time looks
// up or explores.
class ParadigmCache {
public:
    static constexpr std::size_t defaultHeldPaths = std::size_t{1} << 16;
    static constexpr std::size_t defaultHeldBytes = std::size_t{64} << 20;

    explicit ParadigmCache(const MGFSA& paradigms, const ExploreOptions& options = {},
                           std::size_t heldPaths = defaultHeldPaths, std::size_t heldBytes = defaultHeldBytes);
    ParadigmCache(const ParadigmCache&) = delete; // tied to one grammar
    ParadigmCache& operator=(const ParadigmCache&) = delete;

    // Absent when a paradigm cannot be explored or has no path, or when a
    // "DRV=" value names no inflection and the entry has no "FLX=" value.
    // Cost: a lookup per value; on a miss, one exploration (up to heldPaths
    // paths for a paradigm too large to hold). Safe to call from several
    // threads, which explore at the same time; memory: the cached paradigms
    // (heldBytes), plus one copy of the grammar per thread that has explored
    // an inflectional value at the same time as another.
    std::optional<EntryParadigms> paradigmsOf(const ALU& alu);

private:
    struct Entry {
        std::optional<Paradigm> paradigm; // absent: it cannot be explored, or has no path
        std::size_t bytes = 0;
        std::list<std::string>::iterator recent;
    };
    using Table = std::unordered_map<std::string, Entry>;

    std::optional<Paradigm> paradigmOfInflectionalValue(const std::string& value);
    std::optional<Paradigm> paradigmOfGraph(const std::string& name);
    std::optional<Paradigm> explored(std::shared_ptr<const MGFSA> grammar, const MGFSA& grammarRef,
                                     const std::string& graphName, std::size_t& bytes);
    // The paradigm cached under `key`, made the most recently used; absent
    // when there is none (a cached paradigm may itself be absent).
    std::optional<std::optional<Paradigm>> cached(const std::string& key);
    std::optional<std::optional<Paradigm>> cachedLocked(const std::string& key); // the same, the lock held
    // Caches `paradigm` under `key` unless another thread did first, and
    // answers what is cached.
    std::optional<Paradigm> remember(const std::string& key, std::optional<Paradigm> paradigm, std::size_t bytes);
    std::unique_ptr<MGFSA> takeGrammarWithMain();
    void giveBack(std::unique_ptr<MGFSA> grammarWithMain);

    // Paradigms are explored without the lock, so that threads explore
    // different paradigms at the same time; the lock guards the members
    // below it that are not const.
    std::mutex mutex_;
    const MGFSA& paradigms_;
    // Every paradigm besides the graph "_Main" of the last inflectional value
    // explored with it: adding "_Main" again replaces it, and labels left
    // behind by earlier values do not change what a path reads. One copy per
    // thread exploring at once, made on first use.
    std::vector<std::unique_ptr<MGFSA>> grammarsWithMain_;
    const ExploreOptions options_;
    const std::size_t heldPaths_;
    const std::size_t heldBytes_;
    std::size_t bytes_ = 0;
    Table table_;                   // by "FLX=" value ("=" + value) or graph name (":" + name)
    std::list<std::string> recent_; // keys, the most recently used first
};

} // namespace lexpand

#endif // LEXPAND_ENGINE_PARADIGMS_H
