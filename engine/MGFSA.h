// MGFSA: a grammar of named graphs that share one alphabet, and the
// exploration of every path through graphs that call each other.

#ifndef LEXPAND_ENGINE_MGFSA_H
#define LEXPAND_ENGINE_MGFSA_H

#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Alphabet.h"
#include "GFSA.h"

namespace lexpand {

// What exploring a graph finds: one entry per path, in the order found.
// input[i] is the joined input of path i, output[i] its non-empty outputs.
struct ExplorationResult {
    std::vector<std::string> input;
    std::vector<std::vector<std::string>> output;
};

// The limits that turn a runaway exploration into an absent result. The
// defaults are lexpand's limits; tools and tests may pass smaller ones.
struct ExploreOptions {
    std::size_t maxCallDepth = 64;     // entries of a path's stackOfStateIds
    std::size_t maxPaths = 10'000'000; // completed paths, those of called graphs included
    // Steps of work: each transition followed (dead ends included) counts
    // one, and each path of the start graph visited counts as many as it has
    // items, what reading it costs. Unbounded by default: the repetition
    // limit makes every exploration finite, and the path limit ends those
    // that find too much; a caller that must bound its time and memory
    // whatever the grammar (a fuzz target, an interactive tool) sets it. The
    // time of an exploration is then proportional to maxSteps, and the text
    // of the paths it finds to maxSteps times the longest label.
    std::size_t maxSteps = std::numeric_limits<std::size_t>::max();
};

// Names by their NFC form.
using NfcIndex = std::unordered_map<std::string, std::string>;

struct MGFSA {
    // One step of an exploration path, as a path is described item by item:
    // the model of what explore() computes. explore() itself keeps a path as
    // a stack of frames and counts (Exploration.cpp) and needs neither this
    // type nor countOccurencesOf; both stay for users who follow paths item
    // by item.
    struct PathItem {
        std::string graphName;                     // graph in which this step ends
        std::int64_t stateId = 0;                  // state reached in that graph
        std::vector<std::int64_t> stackOfStateIds; // call context, outermost first; last == stateId
        std::int64_t labelId = 0;                  // label read by this step (0 on call and return)
    };

    Alphabet alphabet;
    LinguisticLevel linguisticLevel = LinguisticLevel::orthographic;
    // Graphs by name, visited in ascending code-point order of their names.
    // Stored graphs carry no alphabet: their labels live in `alphabet`. Read
    // it freely; change it only through addGraph and mergeWith.
    std::map<std::string, GFSA> graphs;

    MGFSA() = default;
    explicit MGFSA(LinguisticLevel level) : linguisticLevel(level) {}

    // In place: stores `gfsa` (which carries its own alphabet) under the name,
    // replacing any graph of that name, and moves its labels into `alphabet`.
    void addGraph(const std::string& graphName, GFSA gfsa);
    // The same for a graph whose labels are given by `labels`.
    void addGraph(const std::string& graphName, GFSA gfsa, const Alphabet& labels);

    // In place: adds every graph of `other`, in name order. False (and the
    // grammar possibly half-merged) when the levels differ or a name is taken.
    bool mergeWith(const MGFSA& other);

    // In place: replaces every graph by its determinized form (GFSA::determinize
    // with the bounds of `options`, which apply to each graph). False, and the
    // grammar unchanged, when a graph passes those bounds. Cost: that of
    // determinizing each graph; the determinized graphs are held until every
    // one is done.
    bool determinize(const DeterminizeOptions& options = {});

    // Every path of the graph `graphName` from its initial state to a terminal
    // state, following ":Name" labels as calls and travelling any loop at most
    // `repetitionLimit` times. At level syntax the inputs along a path are joined
    // with single spaces, at every other level directly. Absent when a needed
    // graph is missing, when a call would make the stack deeper than
    // options.maxCallDepth, or when more than options.maxPaths paths are found
    // or options.maxSteps steps made.
    // Cost: time proportional to the total length of the paths found, at most
    // twice (past 65,536 paths the paths are first counted, then recorded once
    // the exploration is known to succeed); memory proportional to the paths
    // recorded. The call depth of the implementation does not grow with the
    // input. See explorePaths (Exploration.h) to visit paths without keeping them.
    std::optional<ExplorationResult> explore(const std::string& graphName, LinguisticLevel linguisticLevel,
                                             int repetitionLimit, const ExploreOptions& options = {}) const;

    // The graph whose name is canonically equivalent to `name`, or null.
    // Cost: one lookup, plus a comparison with each name not in NFC.
    const GFSA* graphNamed(std::string_view name) const;

    // The number of items of `path` in graph `graphName` with exactly this
    // stack: how often a path has been where a transition would take it (the
    // repetition test of explore). Cost: linear in the path.
    static std::int64_t countOccurencesOf(const std::string& graphName,
                                          const std::vector<std::int64_t>& stackOfStateIds,
                                          const std::vector<PathItem>& path);

private:
    // The names of `graphs` that are not in NFC, by their NFC form: only they
    // can be canonically equivalent to a name without being equal to it.
    NfcIndex nonNfcNames_;
};

} // namespace lexpand

#endif // LEXPAND_ENGINE_MGFSA_H
