// Exports GFSA, its states and transitions, the construction operations and determinization.

#include "GFSA.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <utility>

namespace lexpand {

namespace {

// ---- Transition order ----------------------------------------------------------

// The UTF-8 bytes of a transition's text form, built on the stack. UTF-8
// byte order is code point order, so comparing these buffers byte-wise is
// comparing the text forms by code point.
struct TransitionTextForm {
    char bytes[48];
    std::size_t size = 0;

    explicit TransitionTextForm(const GFSA::Transition& transition) {
        char* const end = bytes + sizeof bytes;
        char* cursor = std::to_chars(bytes, end, transition.labelIndex).ptr;
        std::memcpy(cursor, "\xE2\x86\x92", 3); // U+2192 RIGHTWARDS ARROW
        cursor += 3;
        cursor = std::to_chars(cursor, end, transition.destinationStateIndex).ptr;
        size = static_cast<std::size_t>(cursor - bytes);
    }

    std::string_view view() const { return std::string_view(bytes, size); }
};

constexpr std::string_view arrow = "\xE2\x86\x92";

void appendInteger(std::string& text, std::int64_t value) {
    char buffer[24];
    const char* const end = std::to_chars(buffer, buffer + sizeof buffer, value).ptr;
    text.append(buffer, static_cast<std::size_t>(end - buffer));
}

std::size_t mix(std::size_t seed, std::uint64_t value) {
    // The 64-bit finalizer of MurmurHash3, folded into the running seed.
    value ^= value >> 33;
    value *= 0xff51afd7ed558ccdULL;
    value ^= value >> 33;
    value *= 0xc4ceb9fe1a85ec53ULL;
    value ^= value >> 33;
    return seed ^ (static_cast<std::size_t>(value) + 0x9e3779b97f4a7c15ULL + (seed << 6) + (seed >> 2));
}

// ---- Construction helpers ------------------------------------------------------

// States 0 (initial) and 1 (the only terminal state), and a fresh alphabet;
// room is made for `operandStates` more states.
GFSA skeleton(std::size_t operandStates = 0) {
    GFSA result;
    result.states.reserve(2 + operandStates);
    result.states.resize(2);
    result.states[1].isTerminal = true;
    result.alphabet.emplace();
    return result;
}

void addEpsilon(GFSA& gfsa, std::int64_t from, std::int64_t to) {
    gfsa.states[static_cast<std::size_t>(from)].addTransition({0, to});
}

// Puts the epsilon transition at the end of the list, without ordering.
void appendEpsilon(GFSA& gfsa, std::int64_t from, std::int64_t to) {
    gfsa.states[static_cast<std::size_t>(from)].outGoingTransitions.push_back({0, to});
}

std::int64_t stateCount(const GFSA& gfsa) {
    return static_cast<std::int64_t>(gfsa.states.size());
}

// ---- Determinization -----------------------------------------------------------

// The working state of one determinization. Closures use a visit mark per
// source state, stamped with a generation number so that it never needs
// clearing: each closure costs the size of what it reaches.
struct SubsetConstruction {
    const GFSA& source;
    std::vector<std::uint64_t> visitedAt;
    std::uint64_t generation = 0;
    std::vector<std::int64_t> stack;

    explicit SubsetConstruction(const GFSA& gfsa) : source(gfsa), visitedAt(gfsa.states.size(), 0) {}

    bool isState(std::int64_t index) const {
        return index >= 0 && static_cast<std::size_t>(index) < source.states.size();
    }

    // The epsilon closure of `seeds` (any order, duplicates allowed), sorted.
    StateSet closure(const std::vector<std::int64_t>& seeds) {
        ++generation;
        StateSet result;
        stack.clear();
        for (const std::int64_t seed : seeds) visit(seed, result);
        while (!stack.empty()) {
            const std::int64_t state = stack.back();
            stack.pop_back();
            for (const GFSA::Transition& transition :
                 source.states[static_cast<std::size_t>(state)].outGoingTransitions)
                if (transition.labelIndex == 0) visit(transition.destinationStateIndex, result);
        }
        std::sort(result.begin(), result.end());
        return result;
    }

    void visit(std::int64_t state, StateSet& result) {
        if (!isState(state)) return;
        std::uint64_t& mark = visitedAt[static_cast<std::size_t>(state)];
        if (mark == generation) return;
        mark = generation;
        result.push_back(state);
        stack.push_back(state);
    }
};

} // namespace

// ---- Transitions and states ------------------------------------------------------

std::string GFSA::Transition::description() const {
    return std::string(TransitionTextForm(*this).view());
}

bool operator==(const GFSA::Transition& a, const GFSA::Transition& b) {
    return a.labelIndex == b.labelIndex && a.destinationStateIndex == b.destinationStateIndex;
}

bool operator<(const GFSA::Transition& a, const GFSA::Transition& b) {
    return TransitionTextForm(a).view() < TransitionTextForm(b).view();
}

std::size_t TransitionHash::operator()(const GFSA::Transition& transition) const {
    return mix(mix(0, static_cast<std::uint64_t>(transition.labelIndex)),
               static_cast<std::uint64_t>(transition.destinationStateIndex));
}

std::size_t StateSetHash::operator()(const StateSet& stateSet) const {
    std::size_t seed = stateSet.size();
    for (const std::int64_t state : stateSet) seed = mix(seed, static_cast<std::uint64_t>(state));
    return seed;
}

void GFSA::State::addTransition(const Transition& transition) {
    std::vector<Transition>& list = outGoingTransitions;
    // The ends first: copying appends in order almost always.
    if (list.empty() || list.back() < transition) {
        list.push_back(transition);
        return;
    }
    if (list.back() == transition || list.front() == transition) return;
    if (transition < list.front()) {
        list.insert(list.begin(), transition);
        return;
    }
    // Now list[low] < transition < list[high].
    std::size_t low = 0;
    std::size_t high = list.size() - 1;
    while (high - low > 1) {
        const std::size_t mid = (low + high) / 2;
        if (list[mid] == transition) return;
        if (transition < list[mid])
            high = mid;
        else
            low = mid;
    }
    list.insert(list.begin() + static_cast<std::ptrdiff_t>(high), transition);
}

std::string GFSA::State::description() const {
    std::string text = isTerminal ? "T " : ": ";
    for (const Transition& transition : outGoingTransitions) text.append(transition.description()).append(" ");
    return text;
}

// ---- The automaton ---------------------------------------------------------------

// Without an alphabet on either side, label indices are copied unchanged.
std::int64_t GFSA::addGFSA(const GFSA& g) {
    const std::int64_t offset = stateCount(*this);
    const bool reintern = alphabet.has_value() && g.alphabet.has_value();
    // g's label index -> this alphabet's index, filled in the order the copy
    // meets the labels, so new labels are numbered in that order.
    std::vector<std::int64_t> indexMap(reintern ? g.alphabet->array.size() : 0, -1);
    const auto mapLabel = [&](std::int64_t labelIndex) {
        if (!reintern || labelIndex < 0 || static_cast<std::size_t>(labelIndex) >= indexMap.size()) return labelIndex;
        std::int64_t& mapped = indexMap[static_cast<std::size_t>(labelIndex)];
        if (mapped < 0) mapped = alphabet->addLabel(g.alphabet->array[static_cast<std::size_t>(labelIndex)]);
        return mapped;
    };

    states.reserve(states.size() + g.states.size());
    for (const State& state : g.states) {
        State& copy = states.emplace_back();
        copy.outGoingTransitions.reserve(state.outGoingTransitions.size());
        for (const Transition& transition : state.outGoingTransitions)
            copy.addTransition({mapLabel(transition.labelIndex), transition.destinationStateIndex + offset});
    }
    return offset;
}

// A label index outside the alphabet is written as the bare number.
std::string GFSA::description() const {
    std::string text = "GFSA has ";
    appendInteger(text, stateCount(*this));
    text.append(" states");
    if (alphabet.has_value()) {
        text.append("; alphabet has ");
        appendInteger(text, static_cast<std::int64_t>(alphabet->array.size()));
        text.append(" letters:\n").append(alphabet->description());
    }
    text.append("\n");

    std::size_t transitionCount = 0;
    std::vector<Transition> sorted;
    for (std::size_t index = 0; index < states.size(); ++index) {
        const State& state = states[index];
        char number[32];
        std::snprintf(number, sizeof number, "%5lld", static_cast<long long>(index));
        text.append(number).append(state.isTerminal ? "T " : ": ");
        transitionCount += state.outGoingTransitions.size();
        if (!alphabet.has_value()) {
            for (const Transition& transition : state.outGoingTransitions)
                text.append(transition.description()).append(" ");
        } else {
            sorted = state.outGoingTransitions;
            std::sort(sorted.begin(), sorted.end());
            for (const Transition& transition : sorted) {
                const std::int64_t label = transition.labelIndex;
                if (label >= 0 && static_cast<std::size_t>(label) < alphabet->array.size())
                    text.append(alphabet->array[static_cast<std::size_t>(label)].description());
                else
                    appendInteger(text, label);
                text.append(arrow);
                appendInteger(text, transition.destinationStateIndex);
                text.append(" ");
            }
        }
        text.append("\n");
    }
    text.append("Number of transitions: ");
    appendInteger(text, static_cast<std::int64_t>(transitionCount));
    text.append("\n");
    return text;
}

// ---- Construction operations -----------------------------------------------------

GFSA GFSA::init(const Label& label) {
    GFSA result = skeleton();
    const std::int64_t index = result.alphabet->addLabel(label);
    result.states[0].addTransition({index, 1});
    return result;
}

GFSA GFSA::outputOperation(const GFSA& g, std::string_view outputString) {
    GFSA result = skeleton(g.states.size());
    const std::int64_t offset = result.addGFSA(g);
    // An input of "<E>" is always accepted, whatever the output.
    const std::int64_t output = result.alphabet->addLabel(Label::init("<E>", outputString).value_or(EPSILON));
    result.states[0].addTransition({output, offset});
    appendEpsilon(result, offset + 1, 1);
    return result;
}

GFSA GFSA::kleeneOperation(const GFSA& g) {
    GFSA result = skeleton(g.states.size());
    const std::int64_t offset = result.addGFSA(g);
    addEpsilon(result, 0, offset);
    addEpsilon(result, 0, 1);
    appendEpsilon(result, offset + 1, 0);
    return result;
}

GFSA GFSA::concatenation(const GFSA& gfsa1, const GFSA& gfsa2) {
    GFSA result = skeleton(gfsa1.states.size() + gfsa2.states.size());
    const std::int64_t offset1 = result.addGFSA(gfsa1);
    const std::int64_t offset2 = result.addGFSA(gfsa2);
    addEpsilon(result, 0, offset1);
    for (std::size_t i = 0; i < gfsa1.states.size(); ++i)
        if (gfsa1.states[i].isTerminal) appendEpsilon(result, offset1 + static_cast<std::int64_t>(i), offset2);
    for (std::size_t j = 0; j < gfsa2.states.size(); ++j)
        if (gfsa2.states[j].isTerminal) addEpsilon(result, offset2 + static_cast<std::int64_t>(j), 1);
    return result;
}

GFSA GFSA::disjunction(const GFSA& gfsa1, const GFSA& gfsa2) {
    GFSA result = skeleton(gfsa1.states.size() + gfsa2.states.size());
    const std::int64_t offset1 = result.addGFSA(gfsa1);
    const std::int64_t offset2 = result.addGFSA(gfsa2);
    addEpsilon(result, 0, offset1);
    addEpsilon(result, 0, offset2);
    addEpsilon(result, offset1 + 1, 1);
    addEpsilon(result, offset2 + 1, 1);
    return result;
}

GFSA GFSA::collocation(const GFSA& gfsa1, const GFSA& gfsa2) {
    GFSA result = skeleton(2 * (gfsa1.states.size() + gfsa2.states.size()) + 4);
    const std::int64_t first1 = result.addGFSA(gfsa1);
    const std::int64_t first2 = result.addGFSA(gfsa2);
    const std::int64_t second2 = result.addGFSA(gfsa2);
    const std::int64_t second1 = result.addGFSA(gfsa1);

    // Any number of "<ANY>", none included.
    const GFSA gap = GFSA::init(Label::init("<ANY>", "").value_or(EPSILON));
    const std::int64_t gap1 = result.addGFSA(gap);
    addEpsilon(result, gap1, gap1 + 1);
    addEpsilon(result, gap1 + 1, gap1);
    const std::int64_t gap2 = result.addGFSA(gap);
    addEpsilon(result, gap2, gap2 + 1);
    addEpsilon(result, gap2 + 1, gap2);

    addEpsilon(result, 0, first1);
    addEpsilon(result, first1 + 1, gap1);
    addEpsilon(result, gap1 + 1, first2);
    addEpsilon(result, first2 + 1, 1);

    addEpsilon(result, 0, second2);
    addEpsilon(result, second2 + 1, gap2);
    addEpsilon(result, gap2 + 1, second1);
    addEpsilon(result, second1 + 1, 1);
    return result;
}

// ---- Determinization ---------------------------------------------------------------

StateSet GFSA::closureForEpsilon(const StateSet& stateSet) const {
    SubsetConstruction construction(*this);
    return construction.closure(stateSet);
}

std::vector<std::int64_t> GFSA::computeUsedAlphabetIndices(const StateSet& stateSet) const {
    std::vector<std::int64_t> indices;
    for (const std::int64_t state : stateSet) {
        if (state < 0 || static_cast<std::size_t>(state) >= states.size()) continue;
        for (const Transition& transition : states[static_cast<std::size_t>(state)].outGoingTransitions)
            indices.push_back(transition.labelIndex);
    }
    std::sort(indices.begin(), indices.end());
    indices.erase(std::unique(indices.begin(), indices.end()), indices.end());
    return indices;
}

StateSet GFSA::closureForLabelIndex(const StateSet& stateSet, std::int64_t labelIndex) const {
    SubsetConstruction construction(*this);
    std::vector<std::int64_t> reached;
    for (const std::int64_t state : construction.closure(stateSet))
        for (const Transition& transition : states[static_cast<std::size_t>(state)].outGoingTransitions)
            if (transition.labelIndex == labelIndex) reached.push_back(transition.destinationStateIndex);
    return construction.closure(reached);
}

void GFSA::setAllTerminalStates(const std::unordered_map<StateSet, std::int64_t, StateSetHash>& stateSets,
                                const GFSA& considering) {
    for (const auto& [stateSet, newState] : stateSets) {
        if (newState < 0 || static_cast<std::size_t>(newState) >= states.size()) continue;
        bool terminal = false;
        for (const std::int64_t state : stateSet)
            if (state >= 0 && static_cast<std::size_t>(state) < considering.states.size() &&
                considering.states[static_cast<std::size_t>(state)].isTerminal) {
                terminal = true;
                break;
            }
        states[static_cast<std::size_t>(newState)].isTerminal = terminal;
    }
}

// Sets are numbered in order of discovery and processed in that same order,
// one after the other; this is a breadth-first visit in which every set found
// while processing the sets of one round is processed in the next round.
// Every set is epsilon-closed, so the transitions of a set are read directly,
// grouped by label index in ascending order, and each group gives one closure.
// Cost: one closure per (set, label index) and one hash look-up for each.
GFSA GFSA::determinize() const {
    GFSA result;
    result.alphabet = alphabet;
    if (states.empty()) return result;

    SubsetConstruction construction(*this);
    std::unordered_map<StateSet, std::int64_t, StateSetHash> numbers;
    std::vector<const StateSet*> setsByNumber;

    const auto numberOf = [&](StateSet stateSet) {
        const auto [entry, inserted] = numbers.emplace(std::move(stateSet), static_cast<std::int64_t>(numbers.size()));
        if (inserted) {
            setsByNumber.push_back(&entry->first);
            result.states.emplace_back();
        }
        return entry->second;
    };
    numberOf(construction.closure({0}));

    std::vector<Transition> leaving;
    std::vector<std::int64_t> destinations;
    for (std::size_t current = 0; current < setsByNumber.size(); ++current) {
        leaving.clear();
        for (const std::int64_t state : *setsByNumber[current])
            for (const Transition& transition : states[static_cast<std::size_t>(state)].outGoingTransitions)
                if (transition.labelIndex != 0) leaving.push_back(transition);
        std::stable_sort(leaving.begin(), leaving.end(),
                         [](const Transition& a, const Transition& b) { return a.labelIndex < b.labelIndex; });

        for (std::size_t begin = 0; begin < leaving.size();) {
            const std::int64_t label = leaving[begin].labelIndex;
            destinations.clear();
            std::size_t end = begin;
            for (; end < leaving.size() && leaving[end].labelIndex == label; ++end)
                destinations.push_back(leaving[end].destinationStateIndex);
            const std::int64_t destination = numberOf(construction.closure(destinations));
            result.states[current].outGoingTransitions.push_back({label, destination});
            begin = end;
        }
    }

    result.setAllTerminalStates(numbers, *this);
    return result;
}

} // namespace lexpand
