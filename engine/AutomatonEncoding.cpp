// Exports encodeAutomaton: the layout and the bytes of a dictionary's automaton.

#include "AutomatonEncoding.h"

#include <algorithm>
#include <numeric>

#include "CompactDictionaryFormat.h"

namespace lexpand {
namespace {

using namespace detail;

constexpr std::uint32_t none = UINT32_MAX;

struct PlacedArc {
    std::uint32_t symbol;
    std::uint32_t target;
    bool targetFollows; // the last arc, its target written right after
};

// The order in which states are written, and for each state the target of
// its last arc when that target is written right after it (else none).
struct Layout {
    std::vector<std::uint32_t> order;
    std::vector<std::uint32_t> following;
};

Layout layOut(const AcyclicAutomaton& automaton) {
    const std::size_t count = automaton.states.size();
    std::vector<std::uint32_t> inDegree(count, 0);
    for (const AcyclicAutomaton::Arc& arc : automaton.arcs) ++inDegree[arc.target];
    std::vector<std::uint32_t> seeds(count);
    std::iota(seeds.begin(), seeds.end(), 0u);
    // Among equally shared states, those built last (parents are built after
    // their targets) come first, so that chains run from a state downwards.
    std::sort(seeds.begin(), seeds.end(), [&](std::uint32_t a, std::uint32_t b) {
        return inDegree[a] != inDegree[b] ? inDegree[a] > inDegree[b] : a > b;
    });

    Layout layout;
    layout.order.reserve(count);
    layout.following.assign(count, none);
    std::vector<bool> placed(count, false);
    for (const std::uint32_t seed : seeds) {
        // A chain: each state followed by its least shared target not yet placed.
        for (std::uint32_t state = seed; state != none && !placed[state];) {
            placed[state] = true;
            layout.order.push_back(state);
            const AcyclicAutomaton::State& s = automaton.states[state];
            std::uint32_t next = none;
            for (std::uint32_t i = 0; i < s.arcCount; ++i) {
                const std::uint32_t target = automaton.arcs[s.firstArc + i].target;
                if (placed[target]) continue;
                if (next == none || inDegree[target] < inDegree[next] ||
                    (inDegree[target] == inDegree[next] && target < next))
                    next = target;
            }
            layout.following[state] = next;
            state = next;
        }
    }
    return layout;
}

} // namespace

EncodedAutomaton encodeAutomaton(const AcyclicAutomaton& automaton,
                                 const std::unordered_map<char32_t, std::uint32_t>& symbolOf,
                                 const std::vector<std::uint32_t>& listOffsetOf) {
    EncodedAutomaton encoded;
    if (automaton.states.empty() || automaton.states[automaton.root].arcCount == 0) return encoded;
    const Layout layout = layOut(automaton);
    // The forms below each state; targets are built before the states that
    // reach them, so one pass in order counts them.
    std::vector<std::uint64_t> formsBelow(automaton.states.size(), 0);
    for (std::size_t state = 0; state < automaton.states.size(); ++state) {
        const AcyclicAutomaton::State& s = automaton.states[state];
        formsBelow[state] = s.value != AcyclicAutomaton::notFinal ? 1 : 0;
        for (std::uint32_t i = 0; i < s.arcCount; ++i)
            formsBelow[state] += formsBelow[automaton.arcs[s.firstArc + i].target];
    }
    const auto isFinal = [&](std::uint32_t state) {
        return automaton.states[state].value != AcyclicAutomaton::notFinal;
    };

    // The arcs of every state in written order, states in written order.
    std::vector<PlacedArc> arcs;
    std::vector<std::uint32_t> firstArc; // per position in the order, and one past the end
    arcs.reserve(automaton.arcs.size());
    firstArc.reserve(layout.order.size() + 1);
    for (const std::uint32_t state : layout.order) {
        firstArc.push_back(static_cast<std::uint32_t>(arcs.size()));
        const AcyclicAutomaton::State& s = automaton.states[state];
        const auto begin = arcs.end() - arcs.begin();
        for (std::uint32_t i = 0; i < s.arcCount; ++i) {
            const AcyclicAutomaton::Arc& arc = automaton.arcs[s.firstArc + i];
            arcs.push_back(PlacedArc{symbolOf.at(arc.label), arc.target, false});
        }
        const auto stateArcs = arcs.begin() + begin;
        // A lookup scans the arcs in order: those that lead to more forms first.
        std::sort(stateArcs, arcs.end(), [&](const PlacedArc& a, const PlacedArc& b) {
            return formsBelow[a.target] != formsBelow[b.target] ? formsBelow[a.target] > formsBelow[b.target]
                                                                : a.symbol < b.symbol;
        });
        if (layout.following[state] != none) {
            // The arc to the following state goes last (the last such arc when several lead there).
            const auto toFollowing = std::find_if(arcs.rbegin(), arcs.rend(), [&](const PlacedArc& arc) {
                return arc.target == layout.following[state];
            });
            std::rotate(toFollowing.base() - 1, toFollowing.base(), arcs.end());
            arcs.back().targetFollows = true;
        }
    }
    firstArc.push_back(static_cast<std::uint32_t>(arcs.size()));

    const auto headSize = [&](std::uint32_t state) -> std::size_t {
        if (!isFinal(state)) return 0;
        const bool hasArcs = automaton.states[state].arcCount != 0;
        return varintSize(std::uint64_t{listOffsetOf[automaton.states[state].value]} * 2 + (hasArcs ? 1 : 0));
    };
    const auto labelSize = [](std::uint32_t symbol) -> std::size_t {
        return 1 + (symbol >= directLabels ? varintSize(symbol - directLabels) : 0);
    };

    // Offsets take as many bytes as their value needs; a width never
    // shrinks from one pass to the next (smaller values are padded), so the
    // passes end once no offset needs more.
    std::vector<std::uint8_t> width(arcs.size(), 1);
    std::vector<std::uint64_t> offsetOf(automaton.states.size(), 0);
    for (bool grown = true; grown;) {
        std::uint64_t position = 0;
        for (std::size_t k = 0; k < layout.order.size(); ++k) {
            const std::uint32_t state = layout.order[k];
            offsetOf[state] = position;
            position += headSize(state);
            for (std::uint32_t a = firstArc[k]; a < firstArc[k + 1]; ++a)
                position += labelSize(arcs[a].symbol) + (arcs[a].targetFollows ? 0 : width[a]);
        }
        grown = false;
        for (std::size_t a = 0; a < arcs.size(); ++a) {
            if (arcs[a].targetFollows) continue;
            const std::size_t needed = varintSize(offsetOf[arcs[a].target]);
            if (needed > width[a]) {
                width[a] = static_cast<std::uint8_t>(needed);
                grown = true;
            }
        }
    }

    for (std::size_t k = 0; k < layout.order.size(); ++k) {
        const std::uint32_t state = layout.order[k];
        if (isFinal(state)) {
            const bool hasArcs = automaton.states[state].arcCount != 0;
            appendVarint(encoded.bytes,
                         std::uint64_t{listOffsetOf[automaton.states[state].value]} * 2 + (hasArcs ? 1 : 0));
        }
        for (std::uint32_t a = firstArc[k]; a < firstArc[k + 1]; ++a) {
            const PlacedArc& arc = arcs[a];
            const bool last = a + 1 == firstArc[k + 1];
            const std::uint32_t labelPart = std::min(arc.symbol, escapedLabel);
            encoded.bytes.push_back(
                static_cast<char>(encodeArcByte(labelPart, last, arc.targetFollows, isFinal(arc.target))));
            if (arc.symbol >= directLabels) appendVarint(encoded.bytes, arc.symbol - directLabels);
            if (!arc.targetFollows) appendVarint(encoded.bytes, offsetOf[arc.target], width[a]);
        }
    }
    encoded.root = static_cast<std::uint32_t>(offsetOf[automaton.root]);
    return encoded;
}

} // namespace lexpand
