// Exports the MGFSA operations: addGraph, mergeWith, determinize, graphNamed
// and countOccurencesOf (explore is in Exploration.cpp).

#include "MGFSA.h"

#include <algorithm>
#include <limits>
#include <unordered_map>
#include <utility>

#include "Parallel.h"
#include "TextServices.h"

namespace lexpand {

namespace {

using GraphTable = std::map<std::string, GFSA>;

// The graph whose name is canonically equivalent to `name`; `nonNfcNames`
// maps the NFC form of each name of `graphs` that is not in NFC to that
// name. Names are kept as written, and no two names of `graphs` are
// equivalent; two NFC names are equivalent only when they are byte-equal.
// Cost: one or two look-ups, and the NFC form of a name not in NFC.
template <typename Table>
auto findGraph(Table& graphs, const NfcIndex& nonNfcNames, std::string_view name) -> decltype(graphs.begin()) {
    const auto exact = graphs.find(std::string(name));
    if (exact != graphs.end()) return exact;
    std::string normalized;
    if (!isNFC(name)) {
        normalized = toNFC(name);
        const auto nfcName = graphs.find(normalized);
        if (nfcName != graphs.end()) return nfcName;
    }
    const auto indexed = nonNfcNames.find(normalized.empty() ? std::string(name) : normalized);
    if (indexed == nonNfcNames.end()) return graphs.end();
    return graphs.find(indexed->second);
}

// Stores `gfsa` under the name, replacing the graph of an equivalent name,
// and keeps `nonNfcNames` the index of the names of `graphs` not in NFC.
void storeGraph(GraphTable& graphs, NfcIndex& nonNfcNames, const std::string& graphName, GFSA gfsa) {
    const auto existing = findGraph(graphs, nonNfcNames, graphName);
    if (existing != graphs.end()) {
        if (existing->first == graphName) {
            existing->second = std::move(gfsa);
            return;
        }
        // The name written otherwise: the new text is kept.
        if (!isNFC(existing->first)) nonNfcNames.erase(toNFC(existing->first));
        graphs.erase(existing);
    }
    graphs.emplace(graphName, std::move(gfsa));
    if (!isNFC(graphName)) nonNfcNames.emplace(toNFC(graphName), graphName);
}

// Adds every label of `labels` to `alphabet`, in order; answers the index in
// `alphabet` of each.
std::vector<std::int64_t> addLabels(Alphabet& alphabet, const Alphabet& labels) {
    std::vector<std::int64_t> sharedIndex;
    sharedIndex.reserve(labels.array.size());
    for (const Label& label : labels.array) sharedIndex.push_back(alphabet.addLabel(label));
    return sharedIndex;
}

// A graph of `states` with their label indices rewritten through
// `sharedIndex`, without an alphabet of its own.
GFSA relabelled(std::vector<GFSA::State> states, const std::vector<std::int64_t>& sharedIndex) {
    for (GFSA::State& state : states) {
        for (GFSA::Transition& transition : state.outGoingTransitions) {
            const auto i = static_cast<std::size_t>(transition.labelIndex);
            if (transition.labelIndex >= 0 && i < sharedIndex.size()) transition.labelIndex = sharedIndex[i];
        }
    }
    GFSA graph;
    graph.states = std::move(states);
    return graph;
}

} // namespace

void MGFSA::addGraph(const std::string& graphName, GFSA gfsa) {
    if (!gfsa.alphabet) {
        // Without an alphabet of its own, its label indices are taken as shared ones.
        storeGraph(graphs, nonNfcNames_, graphName, std::move(gfsa));
        return;
    }
    const Alphabet labels = std::move(*gfsa.alphabet);
    addGraph(graphName, std::move(gfsa), labels);
}

void MGFSA::addGraph(const std::string& graphName, GFSA gfsa, const Alphabet& labels) {
    storeGraph(graphs, nonNfcNames_, graphName, relabelled(std::move(gfsa.states), addLabels(alphabet, labels)));
}

bool MGFSA::mergeWith(const MGFSA& other) {
    if (other.linguisticLevel != linguisticLevel) return false;
    // Adding the other alphabet's labels once, before the first graph, leaves
    // this alphabet as adding them again with each graph would.
    std::vector<std::int64_t> sharedIndex;
    bool labelsAdded = false;
    for (const auto& [name, graph] : other.graphs) {
        if (findGraph(graphs, nonNfcNames_, name) != graphs.end()) return false;
        if (!labelsAdded) {
            sharedIndex = addLabels(alphabet, other.alphabet);
            labelsAdded = true;
        }
        storeGraph(graphs, nonNfcNames_, name, relabelled(graph.states, sharedIndex));
    }
    return true;
}

bool MGFSA::determinize(const DeterminizeOptions& options) {
    std::vector<GFSA*> sources;
    sources.reserve(graphs.size());
    for (auto& [name, graph] : graphs) sources.push_back(&graph);
    // Each graph is determinized on its own (a graph without states stays
    // as it is); the grammar changes only once all of them succeeded.
    std::optional<std::vector<GFSA>> determinized =
        mapEachIndex(sources.size(), options.threads, [&](std::size_t i) -> std::optional<GFSA> {
            if (sources[i]->states.empty()) return *sources[i];
            return sources[i]->determinize(options);
        });
    if (!determinized) return false;
    for (std::size_t i = 0; i < sources.size(); ++i) *sources[i] = std::move((*determinized)[i]);
    return true;
}

const GFSA* MGFSA::graphNamed(std::string_view name) const {
    const auto found = findGraph(graphs, nonNfcNames_, name);
    return found == graphs.end() ? nullptr : &found->second;
}

std::int64_t MGFSA::countOccurencesOf(const std::string& graphName, const std::vector<std::int64_t>& stackOfStateIds,
                                      const std::vector<PathItem>& path) {
    std::int64_t count = 0;
    for (const PathItem& item : path) {
        if (item.stackOfStateIds == stackOfStateIds &&
            (item.graphName == graphName || canonicallyEqual(item.graphName, graphName)))
            ++count;
    }
    return count;
}

} // namespace lexpand
