// Exploration: every path of a graph of a multi-graph grammar, through the
// graphs it calls, visited one at a time without keeping them.

#ifndef LEXPAND_ENGINE_EXPLORATION_H
#define LEXPAND_ENGINE_EXPLORATION_H

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "MGFSA.h"

namespace lexpand {

// One completed path as the exploration meets it: its input, joined as the
// level wants but not trimmed, its non-empty outputs in path order, and the
// graphs it went through (the start graph first, then each graph it called,
// in the order of the calls). The views are valid during the visit only.
struct FoundPath {
    std::string_view input;
    std::span<const std::string* const> outputs;
    std::span<const GFSA* const> graphs;
};

// Called once per completed path, in the order of MGFSA::explore; answers
// false to stop the exploration there.
using PathVisitor = std::function<bool(const FoundPath&)>;

enum class ExplorationEnd {
    finished, // every path was visited
    stopped,  // the visitor stopped it
    failed,   // a graph is missing or malformed, or a limit of `options` was passed
};

// Whether a label whose input is `input` calls a graph: its first character
// (grapheme cluster) is ":". The rest of the input is then the called name.
std::optional<std::string_view> calledName(std::string_view input);

// Why an exploration failed.
struct ExplorationFailure {
    enum class Kind {
        missingGraph, // the start graph or a called graph is missing (or has no state)
        callDepth,    // a call would nest deeper than options.maxCallDepth
        pathLimit,    // more than options.maxPaths paths
        stepLimit,    // more than options.maxSteps steps (transitions followed, items of paths visited)
        malformed,    // a transition with an invalid label or destination
    };
    Kind kind = Kind::malformed;
    std::string graphName;          // missingGraph: the name looked for
    std::vector<std::string> calls; // the graphs entered, outermost first, when it failed
};

// Visits every path of the graph `graphName` of `grammar` (see MGFSA::explore
// for what a path is, and for the limits). The paths completed before a
// failure have been visited; when it fails and `failure` is not null, the
// reason goes there. Cost: time proportional to the total length of the
// paths visited; memory proportional to the longest path and to the number
// of (graph, call context) pairs met, not to the number of paths.
ExplorationEnd explorePaths(const MGFSA& grammar, const std::string& graphName, LinguisticLevel linguisticLevel,
                            int repetitionLimit, const ExploreOptions& options, const PathVisitor& visit,
                            ExplorationFailure* failure = nullptr);

} // namespace lexpand

#endif // LEXPAND_ENGINE_EXPLORATION_H
