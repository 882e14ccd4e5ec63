// GFSA: the finite-state automaton of lexpand, its construction operations
// and its determinization.

#ifndef LEXPAND_ENGINE_GFSA_H
#define LEXPAND_ENGINE_GFSA_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Alphabet.h"

namespace lexpand {

// A sorted set of state indices of one automaton.
using StateSet = std::vector<std::int64_t>;

struct StateSetHash {
    std::size_t operator()(const StateSet& stateSet) const;
};

// The bounds of GFSA::determinize: past either, the result is absent.
struct DeterminizeOptions {
    std::size_t maxStates = 1'048'576;              // states of the result
    std::size_t maxKernelStateNumbers = 16'777'216; // state numbers in the kernels of all its states
    unsigned threads = 1;                           // graphs of a grammar determinized at once; 0: one per processor
};

// An automaton as a plain value: states (state 0 is initial) and, unless the
// automaton lives in a multi-graph grammar, the alphabet its label indices
// refer to. Copying copies everything.
struct GFSA {
    struct Transition {
        std::int64_t labelIndex = 0;
        std::int64_t destinationStateIndex = 0;

        // labelIndex + "→" + destinationStateIndex, e.g. "12→3".
        std::string description() const;
    };

    struct State {
        bool isTerminal = false;
        std::vector<Transition> outGoingTransitions;

        // Inserts `transition` keeping the list in ascending transition order
        // (the order of the text forms); does nothing when it is present.
        void addTransition(const Transition& transition);

        // "T " or ": ", then each transition's text form and one space.
        std::string description() const;
    };

    std::vector<State> states;
    std::optional<Alphabet> alphabet;

    // ---- Construction operations (pure: operands are never changed) -------
    // Every result has exactly one terminal state, state 1, without outgoing
    // transitions, and a fresh alphabet with EPSILON at index 0. Operands must
    // carry an alphabet and a state 1. The expression compiler does not call
    // them: it lays out the same automata directly, without copying operands
    // (TextualGrammar.cpp). They stay as the library's way to build automata
    // by hand. Cost: linear in the operands (each is copied).

    // Two states: 0 goes to 1 by `label`; 1 is terminal.
    static GFSA init(const Label& label);
    // `g` preceded by a transition that reads nothing and writes `outputString`.
    static GFSA outputOperation(const GFSA& g, std::string_view outputString);
    // Any number of repetitions of `g`, none included.
    static GFSA kleeneOperation(const GFSA& g);
    // `gfsa1` followed by `gfsa2`.
    static GFSA concatenation(const GFSA& gfsa1, const GFSA& gfsa2);
    // `gfsa1` or `gfsa2`.
    static GFSA disjunction(const GFSA& gfsa1, const GFSA& gfsa2);
    // `gfsa1`, any number of "<ANY>", `gfsa2`; or the same in the other order.
    static GFSA collocation(const GFSA& gfsa1, const GFSA& gfsa2);

    // Appends a copy of `g` (in place): its states are renumbered by the offset,
    // made non-terminal, and its labels re-interned into this alphabet. Both
    // automata must carry an alphabet. Returns the offset.
    std::int64_t addGFSA(const GFSA& g);

    // The multi-line text dump (see the project README for its shape).
    std::string description() const;

    // ---- Determinization (subset construction, no minimization) -----------

    // The deterministic equivalent: no epsilon transition, no state with two
    // transitions of one label index. A new state stands for one epsilon-closed
    // set of states of this automaton; sets are processed in ascending order of
    // their new numbers and label indices in ascending order, so the result is
    // fully determined. This automaton is unchanged.
    // Absent when the result would pass `options.maxStates` states, or when the
    // kernels of its new states (the states reached by the one labelled
    // transition that found each, before the epsilon closure; {0} for the
    // initial state) would hold more than `options.maxKernelStateNumbers` state
    // numbers in all; also absent for a source of 2^32 states or more.
    // Memory: proportional to the source plus the result (its states and
    // transitions, and the kernels of its states, bounded by the options);
    // closures are never stored. Time: the same, plus one walk per new state
    // over the states of its closure that branch, read a label or end a word
    // (chains of other states are crossed in one step, and a set whose chains
    // all lead to one such state reuses the walk of the first set that did);
    // a kernel holding a state that an epsilon transition enters also costs a
    // walk of its whole closure.
    std::optional<GFSA> determinize(const DeterminizeOptions& options = {}) const;

    // The steps of the subset construction, one set at a time. determinize()
    // does not call them, since it never stores a closure; they stay for
    // users who follow the construction step by step. Cost: linear in the
    // transitions of the states reached.

    // The epsilon closure of `stateSet`.
    StateSet closureForEpsilon(const StateSet& stateSet) const;
    // Label indices of every transition leaving a state of the set (0 included), ascending.
    std::vector<std::int64_t> computeUsedAlphabetIndices(const StateSet& stateSet) const;
    // The epsilon closure of the states reached by one `labelIndex` transition
    // from the epsilon closure of `stateSet`.
    StateSet closureForLabelIndex(const StateSet& stateSet, std::int64_t labelIndex) const;

    // In place: marks new state k terminal exactly when its set in `stateSets`
    // holds a state that is terminal in `considering` (the source automaton).
    void setAllTerminalStates(const std::unordered_map<StateSet, std::int64_t, StateSetHash>& stateSets,
                              const GFSA& considering);
};

// Transitions are equal when both fields are; ordered by their text forms
// compared by code point, so "10→2" < "1→5" < "2→0".
bool operator==(const GFSA::Transition& a, const GFSA::Transition& b);
bool operator<(const GFSA::Transition& a, const GFSA::Transition& b);
inline bool operator!=(const GFSA::Transition& a, const GFSA::Transition& b) {
    return !(a == b);
}
inline bool operator>(const GFSA::Transition& a, const GFSA::Transition& b) {
    return b < a;
}
inline bool operator<=(const GFSA::Transition& a, const GFSA::Transition& b) {
    return !(b < a);
}
inline bool operator>=(const GFSA::Transition& a, const GFSA::Transition& b) {
    return !(a < b);
}

} // namespace lexpand

#endif // LEXPAND_ENGINE_GFSA_H
