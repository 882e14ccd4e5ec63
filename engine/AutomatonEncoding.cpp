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

// The forms below each state; targets are built before the states that
// reach them, so one pass in order counts them.
std::vector<std::uint64_t> countFormsBelow(const AcyclicAutomaton& automaton) {
    std::vector<std::uint64_t> formsBelow(automaton.states.size(), 0);
    for (std::size_t state = 0; state < automaton.states.size(); ++state) {
        const AcyclicAutomaton::State& s = automaton.states[state];
        formsBelow[state] = s.value != AcyclicAutomaton::notFinal ? 1 : 0;
        for (std::uint32_t i = 0; i < s.arcCount; ++i)
            formsBelow[state] += formsBelow[automaton.arcs[s.firstArc + i].target];
    }
    return formsBelow;
}

// The arcs of every state in written order, states in written order.
struct PlacedArcs {
    std::vector<PlacedArc> arcs;
    std::vector<std::uint32_t> firstArc; // per position in the order, and one past the end
};

// Appends the arcs of `state` to `placed` in the order a lookup scans them:
// those that lead to more forms first, and the arc to the state written
// right after it (`following`, when not none) last.
void placeArcsOf(const AcyclicAutomaton& automaton, std::uint32_t state, std::uint32_t following,
                 const std::unordered_map<char32_t, std::uint32_t>& symbolOf,
                 const std::vector<std::uint64_t>& formsBelow, std::vector<PlacedArc>& arcs) {
    const AcyclicAutomaton::State& s = automaton.states[state];
    const auto begin = arcs.end() - arcs.begin();
    for (std::uint32_t i = 0; i < s.arcCount; ++i) {
        const AcyclicAutomaton::Arc& arc = automaton.arcs[s.firstArc + i];
        arcs.push_back(PlacedArc{symbolOf.at(arc.label), arc.target, false});
    }
    const auto stateArcs = arcs.begin() + begin;
    std::sort(stateArcs, arcs.end(), [&](const PlacedArc& a, const PlacedArc& b) {
        return formsBelow[a.target] != formsBelow[b.target] ? formsBelow[a.target] > formsBelow[b.target]
                                                            : a.symbol < b.symbol;
    });
    if (following == none) return;
    // The last such arc when several lead there.
    const auto toFollowing =
        std::find_if(arcs.rbegin(), arcs.rend(), [&](const PlacedArc& arc) { return arc.target == following; });
    std::rotate(toFollowing.base() - 1, toFollowing.base(), arcs.end());
    arcs.back().targetFollows = true;
}

// The arcs of every state of `layout`, each state's in the order placeArcsOf gives.
PlacedArcs placeArcs(const AcyclicAutomaton& automaton, const Layout& layout,
                     const std::unordered_map<char32_t, std::uint32_t>& symbolOf) {
    const std::vector<std::uint64_t> formsBelow = countFormsBelow(automaton);
    PlacedArcs placed;
    placed.arcs.reserve(automaton.arcs.size());
    placed.firstArc.reserve(layout.order.size() + 1);
    for (const std::uint32_t state : layout.order) {
        placed.firstArc.push_back(static_cast<std::uint32_t>(placed.arcs.size()));
        placeArcsOf(automaton, state, layout.following[state], symbolOf, formsBelow, placed.arcs);
    }
    placed.firstArc.push_back(static_cast<std::uint32_t>(placed.arcs.size()));
    return placed;
}

bool isFinal(const AcyclicAutomaton& automaton, std::uint32_t state) {
    return automaton.states[state].value != AcyclicAutomaton::notFinal;
}

// The head of a final state: its list's offset, and whether arcs follow.
std::uint64_t headOf(const AcyclicAutomaton& automaton, std::uint32_t state,
                     const std::vector<std::uint32_t>& listOffsetOf) {
    const bool hasArcs = automaton.states[state].arcCount != 0;
    return std::uint64_t{listOffsetOf[automaton.states[state].value]} * 2 + (hasArcs ? 1 : 0);
}

std::size_t labelSize(std::uint32_t symbol) {
    return 1 + (symbol >= directLabels ? varintSize(symbol - directLabels) : 0);
}

// Where each state is written, and how many bytes each arc's offset takes.
struct Offsets {
    std::vector<std::uint8_t> width;     // per placed arc
    std::vector<std::uint64_t> offsetOf; // per state
};

// Places every state at its offset with the widths of `offsets`.
void placeStates(const AcyclicAutomaton& automaton, const Layout& layout, const PlacedArcs& placed,
                 const std::vector<std::uint32_t>& listOffsetOf, Offsets& offsets) {
    std::uint64_t position = 0;
    for (std::size_t k = 0; k < layout.order.size(); ++k) {
        const std::uint32_t state = layout.order[k];
        offsets.offsetOf[state] = position;
        if (isFinal(automaton, state)) position += varintSize(headOf(automaton, state, listOffsetOf));
        for (std::uint32_t a = placed.firstArc[k]; a < placed.firstArc[k + 1]; ++a) {
            const PlacedArc& arc = placed.arcs[a];
            position += labelSize(arc.symbol) + (arc.targetFollows ? 0 : offsets.width[a]);
        }
    }
}

// Widens each offset too narrow for its target's offset; true when one grew.
bool widenOffsets(const PlacedArcs& placed, Offsets& offsets) {
    bool grown = false;
    for (std::size_t a = 0; a < placed.arcs.size(); ++a) {
        if (placed.arcs[a].targetFollows) continue;
        const std::size_t needed = varintSize(offsets.offsetOf[placed.arcs[a].target]);
        if (needed > offsets.width[a]) {
            offsets.width[a] = static_cast<std::uint8_t>(needed);
            grown = true;
        }
    }
    return grown;
}

// Offsets take as many bytes as their value needs; a width never shrinks
// from one pass to the next (smaller values are padded), so the passes end
// once no offset needs more.
Offsets fixOffsets(const AcyclicAutomaton& automaton, const Layout& layout, const PlacedArcs& placed,
                   const std::vector<std::uint32_t>& listOffsetOf) {
    Offsets offsets{std::vector<std::uint8_t>(placed.arcs.size(), 1),
                    std::vector<std::uint64_t>(automaton.states.size(), 0)};
    do {
        placeStates(automaton, layout, placed, listOffsetOf, offsets);
    } while (widenOffsets(placed, offsets));
    return offsets;
}

// Appends the state at position `k` of the layout: its head when it is
// final, then its arcs.
void writeState(const AcyclicAutomaton& automaton, const Layout& layout, std::size_t k, const PlacedArcs& placed,
                const std::vector<std::uint32_t>& listOffsetOf, const Offsets& offsets, std::string& bytes) {
    const std::uint32_t state = layout.order[k];
    if (isFinal(automaton, state)) appendVarint(bytes, headOf(automaton, state, listOffsetOf));
    for (std::uint32_t a = placed.firstArc[k]; a < placed.firstArc[k + 1]; ++a) {
        const PlacedArc& arc = placed.arcs[a];
        const bool last = a + 1 == placed.firstArc[k + 1];
        const std::uint32_t labelPart = std::min(arc.symbol, escapedLabel);
        bytes.push_back(
            static_cast<char>(encodeArcByte(labelPart, last, arc.targetFollows, isFinal(automaton, arc.target))));
        if (arc.symbol >= directLabels) appendVarint(bytes, arc.symbol - directLabels);
        if (!arc.targetFollows) appendVarint(bytes, offsets.offsetOf[arc.target], offsets.width[a]);
    }
}

} // namespace

EncodedAutomaton encodeAutomaton(const AcyclicAutomaton& automaton,
                                 const std::unordered_map<char32_t, std::uint32_t>& symbolOf,
                                 const std::vector<std::uint32_t>& listOffsetOf) {
    EncodedAutomaton encoded;
    if (automaton.states.empty() || automaton.states[automaton.root].arcCount == 0) return encoded;
    const Layout layout = layOut(automaton);
    const PlacedArcs placed = placeArcs(automaton, layout, symbolOf);
    const Offsets offsets = fixOffsets(automaton, layout, placed, listOffsetOf);
    for (std::size_t k = 0; k < layout.order.size(); ++k)
        writeState(automaton, layout, k, placed, listOffsetOf, offsets, encoded.bytes);
    encoded.root = static_cast<std::uint32_t>(offsets.offsetOf[automaton.root]);
    return encoded;
}

} // namespace lexpand
