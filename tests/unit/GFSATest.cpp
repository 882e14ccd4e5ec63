// Tests of GFSA: transition order, ordered insertion, copying, the text dump,
// the construction operations and determinization.

#include "GFSA.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace lexpand {
namespace {

using Transition = GFSA::Transition;

Label label(const char* input, const char* output = "") {
    return *Label::init(input, output);
}

GFSA single(const char* input) {
    return GFSA::init(label(input));
}

// An automaton given state by state: terminal flag and (label, destination)
// pairs appended in the given order, over the alphabet [<E>, labels...].
struct StateShape {
    bool terminal;
    std::vector<Transition> transitions;
};

GFSA build(const std::vector<const char*>& labels, const std::vector<StateShape>& states) {
    GFSA gfsa;
    gfsa.alphabet.emplace();
    for (const char* input : labels) gfsa.alphabet->addLabel(label(input));
    for (const StateShape& shape : states) {
        GFSA::State state;
        state.isTerminal = shape.terminal;
        state.outGoingTransitions = shape.transitions;
        gfsa.states.push_back(state);
    }
    return gfsa;
}

// ---- An independent acceptor: breadth-first simulation with epsilon moves ----

std::set<std::int64_t> epsilonClosure(const GFSA& gfsa, std::set<std::int64_t> states) {
    std::vector<std::int64_t> pending(states.begin(), states.end());
    while (!pending.empty()) {
        const std::int64_t state = pending.back();
        pending.pop_back();
        for (const Transition& t : gfsa.states[state].outGoingTransitions)
            if (t.labelIndex == 0 && states.insert(t.destinationStateIndex).second)
                pending.push_back(t.destinationStateIndex);
    }
    return states;
}

bool accepts(const GFSA& gfsa, const std::vector<std::int64_t>& word) {
    std::set<std::int64_t> current = epsilonClosure(gfsa, {0});
    for (const std::int64_t letter : word) {
        std::set<std::int64_t> next;
        for (const std::int64_t state : current)
            for (const Transition& t : gfsa.states[state].outGoingTransitions)
                if (t.labelIndex == letter) next.insert(t.destinationStateIndex);
        current = epsilonClosure(gfsa, next);
    }
    for (const std::int64_t state : current)
        if (gfsa.states[state].isTerminal) return true;
    return false;
}

// The words over labels 1..letterCount of length up to maxLength accepted.
std::set<std::vector<std::int64_t>> language(const GFSA& gfsa, std::int64_t letterCount, std::size_t maxLength) {
    std::set<std::vector<std::int64_t>> accepted;
    std::vector<std::vector<std::int64_t>> layer{{}};
    for (std::size_t length = 0; length <= maxLength; ++length) {
        std::vector<std::vector<std::int64_t>> next;
        for (const auto& word : layer) {
            if (accepts(gfsa, word)) accepted.insert(word);
            for (std::int64_t letter = 1; letter <= letterCount; ++letter) {
                next.push_back(word);
                next.back().push_back(letter);
            }
        }
        layer = std::move(next);
    }
    return accepted;
}

std::int64_t indexOf(const GFSA& gfsa, const char* input) {
    return gfsa.alphabet->dictionary.at(label(input));
}

std::vector<std::int64_t> word(const GFSA& gfsa, const std::vector<const char*>& inputs) {
    std::vector<std::int64_t> indices;
    for (const char* input : inputs) indices.push_back(indexOf(gfsa, input));
    return indices;
}

// ---- Transitions and states -------------------------------------------------

TEST(Transition, OrderIsThatOfTheTextForms) {
    const struct {
        Transition a;
        Transition b;
        int expected;
    } rows[] = {
        {{10, 2}, {1, 5}, -1}, {{1, 2}, {1, 23}, -1}, {{1, 23}, {1, 3}, -1},
        {{0, 10}, {0, 4}, -1}, {{3, 3}, {3, 3}, 0},   {{9, 9}, {10, 0}, 1},
    };
    for (const auto& row : rows) {
        const std::string shown = row.a.description() + " vs " + row.b.description();
        EXPECT_EQ(row.a < row.b, row.expected < 0) << shown;
        EXPECT_EQ(row.b<row.a, row.expected> 0) << shown;
        EXPECT_EQ(row.a == row.b, row.expected == 0) << shown;
        // The text forms themselves, compared by code point (UTF-8 byte order).
        EXPECT_EQ(row.a < row.b, row.a.description() < row.b.description()) << shown;
    }
}

TEST(State, AddTransitionInRandomOrderGivesTheSortedTextForms) {
    std::mt19937 random(7);
    std::uniform_int_distribution<std::int64_t> number(0, 30);
    std::uniform_int_distribution<int> countOf(0, 25);
    for (int trial = 0; trial < 500; ++trial) {
        GFSA::State state;
        std::set<std::string> expected;
        std::string shown;
        for (int n = countOf(random); n > 0; --n) {
            const Transition t{number(random), number(random)};
            state.addTransition(t);
            expected.insert(t.description());
            shown += t.description() + " ";
        }
        std::vector<std::string> actual;
        for (const Transition& t : state.outGoingTransitions) actual.push_back(t.description());
        EXPECT_EQ(actual, std::vector<std::string>(expected.begin(), expected.end())) << "added " << shown;
    }
}

// ---- Copying and the dump ----------------------------------------------------------

TEST(GFSA, AddGFSARenumbersStatesAndReinternsLabels) {
    GFSA receiver = build({"b"}, {{false, {{1, 1}}}, {true, {}}});
    const GFSA copied = build({"a", "b"}, {{true, {{2, 1}}}, {true, {{1, 1}, {0, 0}}}});
    EXPECT_EQ(receiver.addGFSA(copied), 2);
    EXPECT_EQ(receiver.description(), "GFSA has 4 states; alphabet has 3 letters:\n[<E> b a ]\n"
                                      "    0: b→1 \n    1T \n    2: b→3 \n    3: <E>→2 a→3 \n"
                                      "Number of transitions: 4\n");
    // Copied lists are in transition order: "0→2" before "2→3".
    EXPECT_EQ(receiver.states[3].description(), ": 0→2 2→3 ");
}

TEST(GFSA, AddGFSANumbersNewLabelsInTheOrderTheCopyMeetsThem) {
    GFSA receiver = build({}, {{false, {}}});
    const GFSA copied = build({"x", "y", "z"}, {{false, {{3, 1}, {1, 1}}}, {false, {{2, 0}}}});
    EXPECT_EQ(receiver.addGFSA(copied), 1);
    EXPECT_EQ(receiver.alphabet->description(), "[<E> z x y ]");
    EXPECT_EQ(receiver.states[1].description(), ": 1→2 2→2 ");
}

TEST(GFSA, Description) {
    const struct {
        GFSA gfsa;
        const char* expected;
    } rows[] = {
        {build({"a"}, {{false, {{1, 1}}}, {true, {}}}),
         "GFSA has 2 states; alphabet has 2 letters:\n[<E> a ]\n    0: a→1 \n    1T \nNumber of transitions: 1\n"},
        // Transitions are dumped in ascending order, whatever the list order.
        {build({"a", "b", "c", "d", "e", "f", "g", "h", "i", "j"}, {{false, {{9, 0}, {10, 0}, {0, 0}}}}),
         "GFSA has 1 states; alphabet has 11 letters:\n[<E> a b c d e f g h i j ]\n"
         "    0: <E>→0 j→0 i→0 \nNumber of transitions: 3\n"},
        // Without alphabet: list order and numeric forms.
        {GFSA{{{false, {{2, 1}, {1, 1}}}, {true, {}}}, std::nullopt},
         "GFSA has 2 states\n    0: 2→1 1→1 \n    1T \nNumber of transitions: 2\n"},
        {GFSA{{}, std::nullopt}, "GFSA has 0 states\nNumber of transitions: 0\n"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.gfsa.description(), row.expected) << "states: " << row.gfsa.states.size();
    }
    GFSA wide = build({}, {});
    wide.states.resize(100000);
    const std::string dump = wide.description();
    EXPECT_NE(dump.find("\n    9: \n   10: \n"), std::string::npos);
    EXPECT_NE(dump.find("\n99999: \n"), std::string::npos);
}

// ---- Construction operations ------------------------------------------------------

TEST(Construction, Dumps) {
    const struct {
        const char* name;
        GFSA gfsa;
        const char* expected;
    } rows[] = {
        {"a/x", GFSA::outputOperation(single("a"), "x"),
         "GFSA has 4 states; alphabet has 3 letters:\n[<E> a <E>/x ]\n"
         "    0: <E>/x→2 \n    1T \n    2: a→3 \n    3: <E>→1 \nNumber of transitions: 3\n"},
        {"a/", GFSA::outputOperation(single("a"), ""),
         "GFSA has 4 states; alphabet has 2 letters:\n[<E> a ]\n"
         "    0: <E>→2 \n    1T \n    2: a→3 \n    3: <E>→1 \nNumber of transitions: 3\n"},
        {"a*", GFSA::kleeneOperation(single("a")),
         "GFSA has 4 states; alphabet has 2 letters:\n[<E> a ]\n"
         "    0: <E>→1 <E>→2 \n    1T \n    2: a→3 \n    3: <E>→0 \nNumber of transitions: 4\n"},
        {"a b", GFSA::concatenation(single("a"), single("b")),
         "GFSA has 6 states; alphabet has 3 letters:\n[<E> a b ]\n"
         "    0: <E>→2 \n    1T \n    2: a→3 \n    3: <E>→4 \n    4: b→5 \n    5: <E>→1 \n"
         "Number of transitions: 5\n"},
        {"a | a", GFSA::disjunction(single("a"), single("a")),
         "GFSA has 6 states; alphabet has 2 letters:\n[<E> a ]\n"
         "    0: <E>→2 <E>→4 \n    1T \n    2: a→3 \n    3: <E>→1 \n    4: a→5 \n    5: <E>→1 \n"
         "Number of transitions: 6\n"},
        {"a & b", GFSA::collocation(single("a"), single("b")),
         "GFSA has 14 states; alphabet has 4 letters:\n[<E> a b <ANY> ]\n"
         "    0: <E>→2 <E>→6 \n    1T \n    2: a→3 \n    3: <E>→10 \n    4: b→5 \n    5: <E>→1 \n"
         "    6: b→7 \n    7: <E>→12 \n    8: a→9 \n    9: <E>→1 \n"
         "   10: <E>→11 <ANY>→11 \n   11: <E>→10 <E>→4 \n   12: <E>→13 <ANY>→13 \n   13: <E>→12 <E>→8 \n"
         "Number of transitions: 18\n"},
    };
    for (const auto& row : rows) EXPECT_EQ(row.gfsa.description(), row.expected) << "expression " << row.name;
}

// Added transitions are in order; appended ones stand at the end of the
// list. The operand's state 1 has a transition of its own here, so an
// ordered insertion would put the joining "0→..." first.
TEST(Construction, AppendedTransitionsStayAtTheEnd) {
    const GFSA g = build({"a"}, {{false, {{1, 1}}}, {true, {{1, 1}}}});
    EXPECT_EQ(GFSA::kleeneOperation(g).states[3].description(), ": 1→3 0→0 ");
    EXPECT_EQ(GFSA::outputOperation(g, "x").states[3].description(), ": 1→3 0→1 ");
    // Concatenation: appended from g1's terminal states, added into state 1.
    const GFSA twice = GFSA::concatenation(g, g);
    EXPECT_EQ(twice.states[3].description(), ": 1→3 0→4 ");
    EXPECT_EQ(twice.states[5].description(), ": 0→1 1→5 ");
    // A later copy puts the list in order again.
    GFSA copy = build({}, {});
    copy.addGFSA(twice);
    EXPECT_EQ(copy.states[3].description(), ": 0→4 1→3 ");
}

TEST(Construction, CollocationOfOperandsOfDifferentSizes) {
    const GFSA a = single("a");
    const GFSA b = single("b");
    const GFSA c = single("c");
    const GFSA bc = GFSA::concatenation(b, c);
    const GFSA collocation = GFSA::collocation(a, bc);
    ASSERT_EQ(collocation.states.size(), 2u * 2 + 2u * 6 + 6);
    // The gaps begin at 2p + 2q + 2 and 2p + 2q + 4.
    const std::int64_t any = indexOf(collocation, "<ANY>");
    EXPECT_EQ(collocation.states[18].description(), ": 0→19 " + std::to_string(any) + "→19 ");
    EXPECT_EQ(collocation.states[20].description(), ": 0→21 " + std::to_string(any) + "→21 ");

    // Either operand first, with gaps of any length between, never inside.
    const struct {
        std::vector<const char*> word;
        bool expected;
    } rows[] = {
        {{"a", "b", "c"}, true},           {{"a", "<ANY>", "<ANY>", "b", "c"}, true},
        {{"b", "c", "<ANY>", "a"}, true},  {{"a"}, false},
        {{"a", "c", "b"}, false},          {{"b", "<ANY>", "c", "a"}, false},
        {{"<ANY>", "a", "b", "c"}, false},
    };
    for (const auto& row : rows) {
        std::string shown;
        for (const char* input : row.word) shown += std::string(input) + " ";
        EXPECT_EQ(accepts(collocation, word(collocation, row.word)), row.expected) << "a & b c on " << shown;
    }
}

// ---- Determinization ------------------------------------------------------------

TEST(Determinization, Dumps) {
    const struct {
        const char* name;
        GFSA gfsa;
        const char* expected;
    } rows[] = {
        {"a/x", GFSA::outputOperation(single("a"), "x"),
         "GFSA has 3 states; alphabet has 3 letters:\n[<E> a <E>/x ]\n"
         "    0: <E>/x→1 \n    1: a→2 \n    2T \nNumber of transitions: 2\n"},
        // Labels that no longer occur keep their index; without an alphabet the result has none.
        {"epsilon only", GFSA{{{false, {{0, 1}}}, {true, {}}}, std::nullopt},
         "GFSA has 1 states\n    0T \nNumber of transitions: 0\n"},
        {"a b without alphabet",
         GFSA{{{false, {{4, 1}}}, {false, {{0, 2}}}, {false, {{5, 3}}}, {true, {}}}, std::nullopt},
         "GFSA has 3 states\n    0: 4→1 \n    1: 5→2 \n    2T \nNumber of transitions: 2\n"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.gfsa.determinize()->description(), row.expected) << "automaton " << row.name;
}

// Sets are numbered in the order they are found, label indices ascending
// (numerically: 9 before 10), and transitions appended in that order.
TEST(Determinization, VisitingOrder) {
    GFSA source = build({"a", "b", "c", "d", "e", "f", "g", "h", "i", "j"},
                        {{false, {}}, {false, {{3, 3}}}, {false, {{3, 4}}}, {false, {}}, {true, {}}});
    source.states[0].addTransition({10, 1});
    source.states[0].addTransition({9, 2});
    ASSERT_EQ(source.states[0].description(), ": 10→1 9→2 ");
    const GFSA result = *source.determinize();
    std::string states;
    for (const GFSA::State& state : result.states) states += state.description() + "| ";
    EXPECT_EQ(states, ": 9→1 10→2 | : 3→3 | : 3→4 | T | : | ");
}

// The subset construction as plainly as it can be written: every set is the
// epsilon closure itself, numbered in order of discovery.
GFSA closureKeyedDeterminization(const GFSA& source) {
    GFSA result;
    result.alphabet = source.alphabet;
    std::map<StateSet, std::int64_t> numbers;
    std::vector<StateSet> sets;
    const auto numberOf = [&](const StateSet& set) {
        const auto [entry, added] = numbers.emplace(set, static_cast<std::int64_t>(sets.size()));
        if (added) {
            sets.push_back(set);
            result.states.emplace_back();
        }
        return entry->second;
    };
    numberOf(source.closureForEpsilon({0}));
    for (std::size_t k = 0; k < sets.size(); ++k) {
        const StateSet set = sets[k];
        for (const std::int64_t labelIndex : source.computeUsedAlphabetIndices(set)) {
            if (labelIndex == 0) continue;
            const std::int64_t destination = numberOf(source.closureForLabelIndex(set, labelIndex));
            result.states[k].outGoingTransitions.push_back({labelIndex, destination});
        }
        for (const std::int64_t state : set) result.states[k].isTerminal |= source.states[state].isTerminal;
    }
    return result;
}

// Larger random automata, mostly epsilon transitions in chains and cycles,
// with labels that lead into them: the result is the plain construction's,
// state for state.
TEST(Determinization, SameAsTheClosureKeyedConstruction) {
    std::mt19937 random(7654321);
    for (int trial = 0; trial < 300; ++trial) {
        const int stateCount = std::uniform_int_distribution<int>(2, 40)(random);
        std::uniform_int_distribution<std::int64_t> stateOf(0, stateCount - 1);
        std::uniform_int_distribution<std::int64_t> labelOf(1, 3);
        std::uniform_int_distribution<int> shapeOf(0, 9);
        GFSA source = build({"a", "b", "c"}, {});
        for (int s = 0; s < stateCount; ++s) {
            GFSA::State& state = source.states.emplace_back();
            state.isTerminal = shapeOf(random) == 0;
            const int shape = shapeOf(random);
            if (shape < 5) state.outGoingTransitions.push_back({0, (s + 1) % stateCount}); // a chain
            if (shape >= 3) state.outGoingTransitions.push_back({0, stateOf(random)});
            if (shape >= 6) state.outGoingTransitions.push_back({labelOf(random), stateOf(random)});
            if (shape == 9) state.outGoingTransitions.push_back({labelOf(random), stateOf(random)});
        }
        const std::optional<GFSA> result = source.determinize();
        ASSERT_TRUE(result) << source.description();
        EXPECT_EQ(result->description(), closureKeyedDeterminization(source).description()) << source.description();
    }
}

// (a|b)* a: three new states, whose kernels hold {0}, then two sets for "a"
// and "b" and one for "a" again.
TEST(Determinization, BoundsOnStatesAndKernels) {
    const GFSA source =
        GFSA::concatenation(GFSA::kleeneOperation(GFSA::disjunction(single("a"), single("b"))), single("a"));
    const std::optional<GFSA> unbounded = source.determinize();
    ASSERT_TRUE(unbounded);
    const std::size_t states = unbounded->states.size();
    EXPECT_TRUE(source.determinize({.maxStates = states}));
    EXPECT_FALSE(source.determinize({.maxStates = states - 1}));
    std::size_t kernels = 0;
    for (std::size_t numbers = 1; numbers < 64 && kernels == 0; ++numbers)
        if (source.determinize({.maxKernelStateNumbers = numbers})) kernels = numbers;
    ASSERT_GT(kernels, states - 1); // at least one state number per new state
    EXPECT_FALSE(source.determinize({.maxKernelStateNumbers = kernels - 1}));
}

// For random small automata, the determinized automaton accepts the same
// words, has no epsilon transition, no state with two transitions of one
// label, transitions in ascending label order, and states numbered in the
// breadth-first order of their transitions.
TEST(Determinization, RandomAutomataKeepTheirLanguage) {
    std::mt19937 random(1234567);
    for (int trial = 0; trial < 400; ++trial) {
        const int stateCount = std::uniform_int_distribution<int>(1, 6)(random);
        const std::int64_t letterCount = std::uniform_int_distribution<std::int64_t>(1, 3)(random);
        std::uniform_int_distribution<std::int64_t> labelOf(0, letterCount);
        std::uniform_int_distribution<std::int64_t> stateOf(0, stateCount - 1);
        std::uniform_int_distribution<int> transitionCountOf(0, 3);
        std::bernoulli_distribution terminalOf(0.3);

        GFSA source;
        source.alphabet.emplace();
        for (std::int64_t letter = 0; letter < letterCount; ++letter)
            source.alphabet->addLabel(label(std::string(1, static_cast<char>('a' + letter)).c_str()));
        for (int s = 0; s < stateCount; ++s) {
            GFSA::State state;
            state.isTerminal = terminalOf(random);
            for (int n = transitionCountOf(random); n > 0; --n)
                state.outGoingTransitions.push_back({labelOf(random), stateOf(random)});
            source.states.push_back(state);
        }

        const GFSA result = *source.determinize();
        const std::string shown = source.description();
        ASSERT_EQ(result.description(), closureKeyedDeterminization(source).description()) << shown;
        ASSERT_FALSE(result.states.empty()) << shown;
        std::vector<std::int64_t> order{0};
        std::vector<bool> seen(result.states.size(), false);
        seen[0] = true;
        for (std::size_t k = 0; k < order.size(); ++k) {
            std::int64_t previousLabel = 0;
            for (const Transition& t : result.states[order[k]].outGoingTransitions) {
                ASSERT_GT(t.labelIndex, previousLabel) << "epsilon, repeated or unordered label\n" << shown;
                previousLabel = t.labelIndex;
                ASSERT_GE(t.destinationStateIndex, 0) << shown;
                ASSERT_LT(t.destinationStateIndex, static_cast<std::int64_t>(result.states.size())) << shown;
                if (!seen[t.destinationStateIndex]) {
                    seen[t.destinationStateIndex] = true;
                    order.push_back(t.destinationStateIndex);
                }
            }
        }
        for (std::size_t k = 0; k < order.size(); ++k) ASSERT_EQ(order[k], static_cast<std::int64_t>(k)) << shown;
        ASSERT_EQ(order.size(), result.states.size()) << shown;

        EXPECT_EQ(language(result, letterCount, 5), language(source, letterCount, 5)) << shown;
    }
}

} // namespace
} // namespace lexpand
