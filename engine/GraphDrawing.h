// Drawings of the graphs of a grammar, as Graphviz DOT text.

#ifndef LEXPAND_ENGINE_GRAPHDRAWING_H
#define LEXPAND_ENGINE_GRAPHDRAWING_H

#include <optional>
#include <string>
#include <string_view>

#include "MGFSA.h"

namespace lexpand {

// The DOT text of the graph `graphName` of `grammar`, exactly as the grammar
// holds it: one node "qN" per state N, labelled with its number, terminal
// states double-circled, an arrow from a point node "start" into the initial
// state, and one edge per transition in state and transition order, labelled
// with its label's text form (input, then "/" and output when there is one).
// A transition that calls another graph (input ":NAME") is drawn bold and in
// colour. With `expandCalls`, each call whose graph exists is drawn instead as
// a cluster holding a copy of the called graph (nodes "cK_qN" for the K-th
// call), entered from the calling state and left from each of its terminal
// states towards the state after the call, by dashed edges; calls inside a
// cluster are not expanded further. Graph names are matched by canonical
// equivalence, as exploration matches them.
//
// Absent when no graph bears the name. Cost: proportional to the states and
// transitions of the graph, plus, with `expandCalls`, those of the called
// graph once per call transition.
std::optional<std::string> graphToDot(const MGFSA& grammar, std::string_view graphName, bool expandCalls);

} // namespace lexpand

#endif // LEXPAND_ENGINE_GRAPHDRAWING_H
