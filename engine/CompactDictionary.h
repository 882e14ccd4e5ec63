// The compact dictionary: a ".lxd" file read in place, to look word forms up
// and find their analyses. An analysis is a lexpand line without its word
// form and its `_LEX` item; the lemma is restored from the form by the
// analysis's reverse command, with the engine's editor.
//
// Opening checks the whole file once (signature, version, size, checksum,
// and every state, arc, list and analysis that a lookup can reach), so that
// no later call reads outside the file or runs without end, whatever the
// file holds. The object is immutable afterwards: any number of threads may
// call its const members at once.

#ifndef LEXPAND_ENGINE_COMPACTDICTIONARY_H
#define LEXPAND_ENGINE_COMPACTDICTIONARY_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "MappedFile.h"
#include "ReverseCommand.h"

namespace lexpand {

struct CompactDictionaryInfo {
    std::uint64_t forms = 0;       // distinct word forms
    std::uint64_t pairs = 0;       // (form, analysis) pairs
    std::uint32_t analyses = 0;    // distinct analyses
    std::uint32_t lists = 0;       // distinct lists of analyses
    std::uint32_t states = 0;      // states of the automaton
    std::uint32_t arcs = 0;        // arcs of the automaton
    std::uint32_t symbols = 0;     // distinct scalars of the forms
    std::uint32_t longestForm = 0; // scalars
    std::uint64_t bytes = 0;       // the size of the file
};

struct CompactDictionaryOpening;

class CompactDictionary {
public:
    // Maps and checks the file at `path`.
    static CompactDictionaryOpening open(const std::string& path);
    // Checks `bytes`, which must outlive the dictionary (nothing is copied).
    static CompactDictionaryOpening fromBytes(std::string_view bytes);

    CompactDictionary(CompactDictionary&&) noexcept = default;
    CompactDictionary& operator=(CompactDictionary&&) noexcept = default;
    CompactDictionary(const CompactDictionary&) = delete; // owns the mapping of its file
    CompactDictionary& operator=(const CompactDictionary&) = delete;

    const CompactDictionaryInfo& info() const { return info_; }

    // A place in the automaton: after the scalars of some text.
    struct Position {
        std::uint32_t state = 0;
        bool isFinal = false;
        bool suitsSuffixEdits = true; // every scalar so far is a character of its own, none "<"
    };
    // Where every form begins.
    Position start() const { return Position{root_, false, true}; }
    // The position after the scalars of `text` from `from`; absent when no
    // form continues that way (or `text` is not UTF-8). Cost: the scalars of
    // `text` times the arcs of the states passed.
    std::optional<Position> advance(Position from, std::string_view text) const;

    // A form found: its position holds the list of its analyses.
    std::optional<Position> find(std::string_view form) const { return advance(start(), form); }

    // Appends the analyses of the form ending at `at` (final) to `analyses`,
    // as numbers, in the order in which lexpand printed them.
    void analysesAt(const Position& at, std::vector<std::uint32_t>& analyses) const;

    // Appends to `out` the lemma of `form` by `analysis` (`at` being where
    // `form` ends). False, `out` unchanged, when the editor refuses (never
    // for a pair that the dictionary holds, since the builder refuses them).
    bool appendLemma(std::string& out, std::string_view form, const Position& at, std::uint32_t analysis) const;

    // The analysis as printed after the lemma: "," + category + properties.
    std::string_view propertiesOf(std::uint32_t analysis) const { return analyses_[analysis].properties; }
    std::string_view reverseCommandOf(std::uint32_t analysis) const { return analyses_[analysis].command; }
    const ReverseCommand& preparedCommandOf(std::uint32_t analysis) const {
        return commands_[analyses_[analysis].commandIndex];
    }

    // Every analysis of `form` as (lemma, properties); empty when the form
    // is unknown. Allocates; lookups in bulk use find and appendLemma.
    struct Analysis {
        std::string lemma;
        std::string_view properties;
    };
    std::vector<Analysis> lookup(std::string_view form) const;

    // Walks the states below `prefix` depth first, in ascending code-point
    // order, calling visit(text, position) for each, with the text that leads
    // there (the forms are the texts at final positions). visit answers
    // whether to go below the state, to pass over what lies below it, or to
    // stop the walk. Cost: the states visited; memory: the longest form.
    enum class Walk { descend, skipBelow, stop };
    void walk(std::string_view prefix,
              const std::function<Walk(std::string_view text, const Position& at)>& visit) const;

private:
    CompactDictionary() = default;

    struct PreparedAnalysis {
        std::string_view command;
        std::string_view properties;
        std::uint32_t commandIndex = 0;
    };
    std::optional<std::uint32_t> symbolOf(char32_t scalar) const;
    // The symbol of the scalar at `position` of `text` (moved past it), or
    // UINT32_MAX when the dictionary has none such or the bytes are malformed.
    std::uint32_t nextSymbol(std::string_view text, std::size_t& position) const;
    // Follows the arc of `symbol` from `at`; false when there is none.
    bool step(Position& at, std::uint32_t symbol) const;
    // The list offset of a final state and the position of its first arc;
    // `hasArcs` false when it has none.
    std::uint32_t firstArcOf(const Position& at, bool& hasArcs) const;
    // The table of the state at `state`, or null when it has none.
    const std::uint32_t* denseTableOf(std::uint32_t state) const {
        if (denseBits_.empty() || ((denseBits_[state >> 6] >> (state & 63)) & 1) == 0) return nullptr;
        // Tables are sparse: the marks below this one in its word are few.
        std::size_t index = denseRank_[state >> 6];
        for (std::uint64_t below = denseBits_[state >> 6] & ((std::uint64_t{1} << (state & 63)) - 1); below != 0;
             below &= below - 1)
            ++index;
        return denseTargets_.data() + index * denseWidth_;
    }
    // Builds the tables of the states with the most arcs among `candidates`,
    // within a budget of memory: 1 MB, or the size of the automaton.
    struct DenseCandidate {
        std::uint32_t state;
        std::uint32_t arcsBegin;
        std::uint32_t arcs;
    };
    void buildDenseTables(std::vector<DenseCandidate> candidates);
    // The steps of fromBytes after the header, each answering why it refuses
    // the file (absent when it accepts it). readSymbols fills the symbol
    // tables from the symbol section; readAnalyses the analyses, with their
    // commands prepared once, from the analysis section of references
    // `width` bytes wide into `strings`; checkAutomatonSection checks the
    // automaton against the header and builds the dense tables.
    std::optional<std::string> readSymbols(std::string_view symbols);
    std::optional<std::string> readAnalyses(std::string_view analyses, std::string_view strings, std::uint32_t width);
    std::optional<std::string> checkAutomatonSection();

    std::optional<MappedFile> file_;
    std::string_view bytes_;
    std::string_view automaton_;
    std::string_view lists_;
    std::uint32_t root_ = 0;
    CompactDictionaryInfo info_;
    std::vector<char32_t> symbols_;                                // scalar of each symbol
    std::vector<std::uint8_t> symbolSuitsSuffixEdits_;             // per symbol: 1 or 0
    std::vector<std::uint32_t> smallSymbols_;                      // scalar below smallScalars -> symbol + 1, or 0
    std::vector<std::pair<char32_t, std::uint32_t>> largeSymbols_; // sorted by scalar
    std::vector<PreparedAnalysis> analyses_;
    std::vector<ReverseCommand> commands_;
    // States with many arcs get a table of targets by symbol, for symbols
    // below denseWidth_: denseBits_ marks their offsets, denseRank_ counts
    // the marks before each word of it, and each table holds denseWidth_
    // entries of target * 2 + final, or noTarget.
    std::uint32_t denseWidth_ = 0;
    std::vector<std::uint64_t> denseBits_;
    std::vector<std::uint32_t> denseRank_;
    std::vector<std::uint32_t> denseTargets_;
};

struct CompactDictionaryOpening {
    std::optional<CompactDictionary> dictionary;
    std::string problem; // why the file is refused; empty on success
};

} // namespace lexpand

#endif // LEXPAND_ENGINE_COMPACTDICTIONARY_H
