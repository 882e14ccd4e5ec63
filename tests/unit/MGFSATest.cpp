// Tests of the multi-graph grammar: the graph table, merging, determinization
// and the exploration of paths through graphs that call each other.

#include "MGFSA.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>

#include "Exploration.h"
#include "TextualGrammar.h"

namespace lexpand {
namespace {

// ---- Helpers ---------------------------------------------------------------

using Path = std::pair<std::string, std::vector<std::string>>; // (input, outputs)
using Paths = std::optional<std::vector<Path>>;

Paths pathsOf(const std::optional<ExplorationResult>& result) {
    if (!result) return std::nullopt;
    std::vector<Path> paths;
    for (std::size_t i = 0; i < result->input.size(); ++i) paths.emplace_back(result->input[i], result->output[i]);
    return paths;
}

std::string show(const Paths& paths) {
    if (!paths) return "(absent)";
    std::string text;
    for (const auto& [input, outputs] : *paths) {
        text += "[" + input + " /";
        for (const std::string& output : outputs) text += " " + output;
        text += "]";
    }
    return text;
}

MGFSA compiled(const std::string& text, LinguisticLevel level = LinguisticLevel::orthographic) {
    std::optional<MGFSA> grammar = textualGrammarToMgfsa(text, level);
    EXPECT_TRUE(grammar.has_value()) << text;
    return grammar.value_or(MGFSA(level));
}

// A hand-made automaton: per state, its terminal flag and its transitions in
// list order, each (label input, label output, destination).
struct Edge {
    std::string input;
    std::string output;
    std::int64_t to;
};
struct StateShape {
    bool terminal;
    std::vector<Edge> edges;
};

GFSA handMade(const std::vector<StateShape>& shapes) {
    GFSA gfsa;
    gfsa.alphabet = Alphabet();
    for (const StateShape& shape : shapes) {
        GFSA::State state;
        state.isTerminal = shape.terminal;
        for (const Edge& edge : shape.edges) {
            const std::int64_t label = gfsa.alphabet->addLabel(Label::init(edge.input, edge.output).value());
            state.outGoingTransitions.push_back({label, edge.to});
        }
        gfsa.states.push_back(std::move(state));
    }
    return gfsa;
}

MGFSA grammarOf(const std::vector<std::pair<std::string, GFSA>>& graphs) {
    MGFSA grammar;
    for (const auto& [name, gfsa] : graphs) grammar.addGraph(name, gfsa);
    return grammar;
}

// ---- Reference exploration -----------------------------------------------------
// Every path extended by copying, calls explored into lists of completed
// paths first, as plainly as it can be written; the exploration under test
// must find the same results in the same order.

struct ReferenceExplorer {
    const MGFSA& grammar;
    int limit;

    using ItemPath = std::vector<MGFSA::PathItem>;

    bool extend(const ItemPath& path, std::vector<ItemPath>& results) const {
        const MGFSA::PathItem current = path.back();
        const auto graph = grammar.graphs.find(current.graphName);
        if (graph == grammar.graphs.end()) return false;
        const GFSA::State& state = graph->second.states[static_cast<std::size_t>(current.stateId)];
        if (state.isTerminal) results.push_back(path);
        for (const GFSA::Transition& transition : state.outGoingTransitions) {
            std::vector<std::int64_t> stack = current.stackOfStateIds;
            stack.back() = transition.destinationStateIndex;
            if (MGFSA::countOccurencesOf(current.graphName, stack, path) > limit) continue;
            const Label& label = grammar.alphabet.array[static_cast<std::size_t>(transition.labelIndex)];
            if (!label.input.empty() && label.input[0] == ':') {
                ItemPath call = path;
                std::vector<std::int64_t> calledStack = current.stackOfStateIds;
                calledStack.push_back(0);
                if (calledStack.size() > ExploreOptions().maxCallDepth) return false;
                call.push_back({label.input.substr(1), 0, calledStack, 0});
                std::vector<ItemPath> completed;
                if (!extend(call, completed)) return false;
                for (ItemPath& sub : completed) {
                    sub.push_back({current.graphName, transition.destinationStateIndex, stack, 0});
                    if (!extend(sub, results)) return false;
                }
            } else {
                ItemPath next = path;
                next.push_back({current.graphName, transition.destinationStateIndex, stack, transition.labelIndex});
                if (!extend(next, results)) return false;
            }
        }
        return true;
    }

    Paths explore(const std::string& name, LinguisticLevel level) const {
        std::vector<ItemPath> results;
        if (!extend({{name, 0, {0}, 0}}, results)) return std::nullopt;
        std::vector<Path> paths;
        for (const ItemPath& path : results) {
            std::string input;
            std::vector<std::string> outputs;
            for (const MGFSA::PathItem& item : path) {
                const Label& label = grammar.alphabet.array[static_cast<std::size_t>(item.labelId)];
                if (label.input != "<E>") {
                    if (level == LinguisticLevel::syntax && !input.empty() && input.back() != ' ') input += ' ';
                    input += label.input;
                }
                if (!label.output.empty()) outputs.push_back(label.output);
            }
            const auto first = input.find_first_not_of(" \t\n\r");
            const auto last = input.find_last_not_of(" \t\n\r");
            paths.emplace_back(first == std::string::npos ? "" : input.substr(first, last - first + 1), outputs);
        }
        return paths;
    }
};

// ---- Graph table -------------------------------------------------------------------

TEST(AddGraph, MapsEveryLabelOfTheGivenAlphabetInOrder) {
    // Labels that no transition uses still enter the shared alphabet, in order.
    GFSA gfsa = handMade({{false, {{"q", "", 1}}}, {true, {}}});
    gfsa.alphabet->addLabel(Label::init("unused", "").value());
    gfsa.alphabet->addLabel(Label::init("<E>", "x").value());
    MGFSA grammar;
    grammar.addGraph("Z", handMade({{false, {{"a", "", 1}}}, {true, {}}}));
    grammar.addGraph("G", gfsa);
    EXPECT_EQ(grammar.alphabet.description(), "[<E> a q unused <E>/x ]");
    EXPECT_EQ(grammar.graphs.at("G").states[0].outGoingTransitions.front().labelIndex, 2);
}

TEST(AddGraph, ReplacesAGraphOfTheSameName) {
    MGFSA grammar;
    grammar.addGraph("A", expression2Gfsa("a", LinguisticLevel::orthographic).value());
    grammar.addGraph("A", expression2Gfsa("b", LinguisticLevel::orthographic).value());
    EXPECT_EQ(grammar.graphs.size(), 1U);
    EXPECT_EQ(grammar.alphabet.description(), "[<E> a b ]");
    EXPECT_EQ(show(pathsOf(grammar.explore("A", LinguisticLevel::orthographic, 1))), "[b /]");
}

TEST(AddGraph, CanonicallyEquivalentNamesAreOneGraph) {
    const std::string composed = "N\xC3\xA9";    // Né
    const std::string decomposed = "Ne\xCC\x81"; // Ne + combining acute
    MGFSA grammar;
    grammar.addGraph(composed, expression2Gfsa("a", LinguisticLevel::orthographic).value());
    grammar.addGraph(decomposed, expression2Gfsa("b", LinguisticLevel::orthographic).value());
    ASSERT_EQ(grammar.graphs.size(), 1U);
    EXPECT_EQ(grammar.graphs.begin()->first, decomposed); // names are kept as written
    EXPECT_EQ(show(pathsOf(grammar.explore(composed, LinguisticLevel::orthographic, 1))), "[b /]");
    grammar.addGraph("M", expression2Gfsa(":" + composed, LinguisticLevel::syntax).value());
    EXPECT_EQ(show(pathsOf(grammar.explore("M", LinguisticLevel::orthographic, 1))), "[b /]");
}

// Three spellings of one name, two of them not in NFC, stored in every
// order: one graph, under the name last written, found by every spelling.
TEST(AddGraph, EveryOrderOfEquivalentSpellings) {
    std::vector<std::string> spellings = {
        "Ne\xCC\x81\xCC\xA7", // e, acute, cedilla
        "Ne\xCC\xA7\xCC\x81", // e, cedilla, acute
        "N\xC8\xA9\xCC\x81",  // e with cedilla, acute: the NFC form
    };
    std::sort(spellings.begin(), spellings.end());
    do {
        MGFSA grammar;
        grammar.addGraph("Ne\xCC\x81", expression2Gfsa("z", LinguisticLevel::orthographic).value());
        const char* const bodies[] = {"a", "b", "c"};
        for (std::size_t i = 0; i < spellings.size(); ++i)
            grammar.addGraph(spellings[i], expression2Gfsa(bodies[i], LinguisticLevel::orthographic).value());
        ASSERT_EQ(grammar.graphs.size(), 2U);
        EXPECT_EQ(grammar.graphs.count(spellings.back()), 1U);
        for (const std::string& spelling : spellings)
            EXPECT_EQ(show(pathsOf(grammar.explore(spelling, LinguisticLevel::orthographic, 1))), "[c /]");
        EXPECT_EQ(show(pathsOf(grammar.explore("N\xC3\xA9", LinguisticLevel::orthographic, 1))), "[z /]");
    } while (std::next_permutation(spellings.begin(), spellings.end()));
}

TEST(MergeWith, AddsGraphsOrRefuses) {
    struct Row {
        std::string name;
        MGFSA receiver;
        MGFSA other;
        bool merged;
        std::vector<std::string> graphsAfter;
        std::string alphabetAfter;
    };
    const std::string composed = "N\xC3\xA9";
    const std::string decomposed = "Ne\xCC\x81";
    const std::vector<Row> rows = {
        {"empty other", compiled("X = b ;"), MGFSA(), true, {"X"}, "[<E> b ]"},
        {"levels differ, no graphs", MGFSA(), MGFSA(LinguisticLevel::syntax), false, {}, "[<E> ]"},
        {"labels remapped", compiled("X = b ;"), compiled("Y = a b ;"), true, {"X", "Y"}, "[<E> b a ]"},
        {"name taken", compiled("B = b ;"), compiled("A = a ;\nB = c ;"), false, {"A", "B"}, "[<E> b a c ]"},
        {"equivalent name taken",
         compiled(composed + " = b ;"),
         compiled(decomposed + " = c ;"),
         false,
         {composed},
         "[<E> b ]"},
    };
    for (Row row : rows) {
        EXPECT_EQ(row.receiver.mergeWith(row.other), row.merged) << row.name;
        std::vector<std::string> names;
        for (const auto& [name, graph] : row.receiver.graphs) names.push_back(name);
        EXPECT_EQ(names, row.graphsAfter) << row.name;
        EXPECT_EQ(row.receiver.alphabet.description(), row.alphabetAfter) << row.name;
    }
}

TEST(MergeWith, MergedGraphsReadTheirOwnLabels) {
    MGFSA receiver = compiled("X = b/p ;");
    ASSERT_TRUE(receiver.mergeWith(compiled("Y = a b/q :X ;")));
    EXPECT_EQ(show(pathsOf(receiver.explore("Y", LinguisticLevel::orthographic, 1))), "[abb / q p]");
}

// ---- Exploration --------------------------------------------------------------------

struct ExploreRow {
    std::string name;
    MGFSA grammar;
    std::string start;
    LinguisticLevel level;
    int limit;
    std::string expected; // show() of the result
};

void expectRows(const std::vector<ExploreRow>& rows) {
    for (const ExploreRow& row : rows) {
        const Paths paths = pathsOf(row.grammar.explore(row.start, row.level, row.limit));
        EXPECT_EQ(show(paths), row.expected) << row.name;
        // The plain reference agrees wherever it can run.
        EXPECT_EQ(show(ReferenceExplorer{row.grammar, row.limit}.explore(row.start, row.level)), row.expected)
            << row.name << " (reference)";
    }
}

TEST(Explore, EdgeCases) {
    const auto orth = LinguisticLevel::orthographic;
    const auto syntax = LinguisticLevel::syntax;
    const GFSA loop = handMade({{true, {{"a", "", 0}}}});
    const GFSA cycle = handMade({{true, {{"a", "", 1}}}, {true, {{"b", "", 0}}}});
    expectRows({
        {"terminal initial state", grammarOf({{"A", handMade({{true, {}}})}}), "A", orth, 1, "[ /]"},
        {"syntax joins with spaces", compiled("A = a b ;", syntax), "A", syntax, 1, "[a b /]"},
        {"orthographic joins directly", compiled("A = a b ;", syntax), "A", orth, 1, "[ab /]"},
        {"no second space",
         grammarOf({{"A", handMade({{false, {{"a ", "", 1}}}, {false, {{"b", "", 2}}}, {true, {}}})}}), "A", syntax, 1,
         "[a b /]"},
        {"trimmed", grammarOf({{"A", handMade({{false, {{" a", "", 1}}}, {false, {{"b\t", "", 2}}}, {true, {}}})}}),
         "A", syntax, 1, "[a b /]"},
        {"output labels add no space", compiled("A = a <E>/x b ;", syntax), "A", syntax, 1, "[a b / x]"},
        {"only <E> labels", compiled("A = <E> <E>/x <E> ;"), "A", orth, 1, "[ / x]"},
        {"outputs keep order and duplicates", compiled("A = a/x b/y c/x ;"), "A", orth, 1, "[abc / x y x]"},
        {"inputs as stored", compiled("A = <B2> \"es\" \\* ;", syntax), "A", syntax, 1, "[<B2> \"es\" \\* /]"},
        {"missing start graph", compiled("A = a ;"), "B", orth, 1, "(absent)"},
        {"missing called graph", compiled("A = a | b :Z ;"), "A", orth, 1, "(absent)"},
        {"call of the empty name", compiled("A = : ;", syntax), "A", orth, 1, "(absent)"},
        {"no terminal state reachable", grammarOf({{"A", handMade({{false, {{"a", "", 0}}}})}}), "A", orth, 1, ""},
        {"loop, limit 0", grammarOf({{"A", loop}}), "A", orth, 0, "[ /]"},
        {"loop, limit 1", grammarOf({{"A", loop}}), "A", orth, 1, "[ /][a /]"},
        {"two-state cycle, limit 1", grammarOf({{"A", cycle}}), "A", orth, 1, "[ /][a /][ab /][aba /]"},
        {"negative limit", grammarOf({{"A", loop}}), "A", orth, -1, "[ /]"},
        // Depth first: each completed path of the called graph is followed by
        // everything after the return before the called graph goes on.
        {"call order",
         grammarOf({{"M", handMade({{true, {{":S", "", 1}, {"w", "", 2}}}, {true, {{"z", "", 2}}}, {true, {}}})},
                    {"S", handMade({{false, {{"a", "", 1}}}, {true, {{"b", "x", 2}}}, {true, {}}})}}),
         "M", orth, 1, "[ /][a /][az /][ab / x][abz / x][w /]"},
        {"calls joined at syntax level", compiled("M = x :S y ;\nS = a b ;", syntax), "M", syntax, 1, "[x a b y /]"},
    });
}

TEST(Explore, AColonWithACombiningMarkIsNoCall) {
    const std::string input = ":\xCC\x81x"; // ":" + combining acute + "x": its first character is not ":"
    const MGFSA grammar = grammarOf({{"A", handMade({{false, {{input, "", 1}}}, {true, {}}})}});
    EXPECT_EQ(show(pathsOf(grammar.explore("A", LinguisticLevel::orthographic, 1))), "[" + input + " /]");
}

TEST(Explore, MalformedGraphsAreAbsentNotCrashes) {
    GFSA badDestination = handMade({{false, {{"a", "", 7}}}});
    GFSA badLabel = handMade({{true, {}}});
    badLabel.states[0].outGoingTransitions.push_back({99, 0});
    const MGFSA grammar =
        grammarOf({{"D", badDestination}, {"L", badLabel}, {"E", GFSA{}}, {"C", handMade({{false, {{":E", "", 0}}}})}});
    for (const std::string name : {"D", "L", "E", "C"})
        EXPECT_FALSE(grammar.explore(name, LinguisticLevel::orthographic, 1)) << name;
}

// A recursive graph gets a deeper stack at every call and never repeats a
// configuration: the call depth limit makes its exploration absent.
TEST(Explore, RecursionBeyondTheCallDepthIsAbsent) {
    MGFSA grammar = compiled("A = x :A | y ;");
    EXPECT_FALSE(grammar.explore("A", LinguisticLevel::orthographic, 1));
    grammar.determinize();
    EXPECT_FALSE(grammar.explore("A", LinguisticLevel::orthographic, 1));

    // A chain of calls: G1 calls G2, ..., the last reads "a". From G1 the
    // innermost stack has one entry per graph.
    const auto chain = [](std::size_t graphs) {
        std::string text;
        for (std::size_t i = 1; i < graphs; ++i)
            text += "G" + std::to_string(i) + " = :G" + std::to_string(i + 1) + " ;\n";
        text += "G" + std::to_string(graphs) + " = a ;\n";
        return compiled(text);
    };
    EXPECT_EQ(show(pathsOf(chain(ExploreOptions().maxCallDepth).explore("G1", LinguisticLevel::orthographic, 1))),
              "[a /]");
    EXPECT_FALSE(chain(ExploreOptions().maxCallDepth + 1).explore("G1", LinguisticLevel::orthographic, 1));
}

// Every completed path counts, also those of called graphs. Here 60 nested
// calls end in a graph with 2^18 paths, and every level's return state is
// terminal, so each innermost path completes 60 times: more than the limit,
// while no path of the start graph ever completes.
TEST(Explore, MoreThanTheMaximalNumberOfPathsIsAbsent) {
    constexpr int levels = 60;
    const auto grammar = [&](int width) {
        std::vector<StateShape> innermost;
        for (int i = 0; i < width; ++i) innermost.push_back({false, {{"a", "", i + 1}, {"b", "", i + 1}}});
        innermost.push_back({true, {}});
        std::vector<std::pair<std::string, GFSA>> graphs = {{"G0", handMade({{false, {{":G1", "", 1}}}, {false, {}}})},
                                                            {"G" + std::to_string(levels), handMade(innermost)}};
        for (int level = 1; level < levels; ++level)
            graphs.emplace_back("G" + std::to_string(level),
                                handMade({{false, {{":G" + std::to_string(level + 1), "", 1}}}, {true, {}}}));
        return grammarOf(graphs);
    };
    static_assert((std::int64_t{levels} << 18) > static_cast<std::int64_t>(ExploreOptions().maxPaths));
    EXPECT_FALSE(grammar(18).explore("G0", LinguisticLevel::orthographic, 1));
    static_assert((std::int64_t{levels} << 16) < static_cast<std::int64_t>(ExploreOptions().maxPaths));
    const auto under = grammar(16).explore("G0", LinguisticLevel::orthographic, 1);
    ASSERT_TRUE(under);
    EXPECT_TRUE(under->input.empty());
}

// A step is a transition followed, and reading a completed path costs its
// items. Here "ab" takes 2 transitions and is read as 3 items, "c" takes 1
// and 2: 8 steps in all. Past the budget the exploration fails as such.
TEST(Explore, TheStepBudgetCountsTransitionsAndThePathsRead) {
    const MGFSA grammar =
        grammarOf({{"A", handMade({{false, {{"a", "", 1}, {"c", "", 2}}}, {false, {{"b", "", 2}}}, {true, {}}})}});
    EXPECT_EQ(show(pathsOf(grammar.explore("A", LinguisticLevel::orthographic, 1, ExploreOptions{.maxSteps = 8}))),
              "[ab /][c /]");
    EXPECT_FALSE(grammar.explore("A", LinguisticLevel::orthographic, 1, ExploreOptions{.maxSteps = 7}));
    ExplorationFailure failure;
    EXPECT_EQ(explorePaths(
                  grammar, "A", LinguisticLevel::orthographic, 1, ExploreOptions{.maxSteps = 7},
                  [](const FoundPath&) { return true; }, &failure),
              ExplorationEnd::failed);
    EXPECT_EQ(failure.kind, ExplorationFailure::Kind::stepLimit);
}

// A graph past the bounds of determinization leaves the grammar as it was.
TEST(Determinize, PastItsBoundsTheGrammarIsUnchanged) {
    MGFSA grammar = compiled("A = a | b ;\nB = (a | b)* a (a | b) (a | b) ;");
    const std::string before = grammar.graphs.at("B").description();
    const std::size_t states = grammar.graphs.at("B").determinize().value().states.size();
    EXPECT_FALSE(grammar.determinize(DeterminizeOptions{.maxStates = states - 1}));
    EXPECT_EQ(grammar.graphs.at("B").description(), before);
    EXPECT_TRUE(grammar.determinize(DeterminizeOptions{.maxStates = states}));
    EXPECT_EQ(grammar.graphs.at("B").states.size(), states);
}

// Past some tens of thousands of paths the exploration only counts, then
// records in a second run once it knows it succeeds: the paths are all there,
// in order, and a failure after that many paths is still absent.
TEST(Explore, ManyPathsAreRecordedOrAbsent) {
    std::string choices;
    for (int i = 0; i < 17; ++i) choices += "(a|b) ";
    const MGFSA grammar = compiled("A = " + choices + ";\nB = " + choices + "| :Missing ;");
    const Paths paths = pathsOf(grammar.explore("A", LinguisticLevel::orthographic, 1));
    ASSERT_TRUE(paths);
    ASSERT_EQ(paths->size(), std::size_t{1} << 17);
    // Path i reads i in binary, "a" for 0 and "b" for 1, highest digit first.
    for (std::size_t i = 0; i < paths->size(); i += 4099) {
        std::string expected;
        for (int digit = 16; digit >= 0; --digit) expected += (i >> digit) & 1 ? 'b' : 'a';
        ASSERT_EQ((*paths)[i].first, expected) << "path " << i;
    }
    EXPECT_FALSE(grammar.explore("B", LinguisticLevel::orthographic, 1));
}

TEST(CountOccurencesOf, MatchesGraphAndWholeStack) {
    const std::string composed = "N\xC3\xA9";
    const std::string decomposed = "Ne\xCC\x81";
    const std::vector<MGFSA::PathItem> path = {{"A", 0, {0}, 0},    {"A", 1, {1}, 3}, {"B", 0, {1, 0}, 0},
                                               {"B", 1, {1, 1}, 2}, {"A", 1, {1}, 0}, {composed, 1, {1, 1}, 0}};
    struct Row {
        std::string graph;
        std::vector<std::int64_t> stack;
        std::int64_t count;
    };
    const std::vector<Row> rows = {
        {"A", {1}, 2}, {"A", {0}, 1}, {"A", {1, 1}, 0},        {"B", {1, 1}, 1},
        {"B", {1}, 0}, {"C", {0}, 0}, {decomposed, {1, 1}, 1}, {"A", {}, 0},
    };
    for (const Row& row : rows) {
        std::string stack;
        for (const std::int64_t entry : row.stack) stack += std::to_string(entry) + " ";
        EXPECT_EQ(MGFSA::countOccurencesOf(row.graph, row.stack, path), row.count) << row.graph << " [" << stack << "]";
    }
    EXPECT_EQ(MGFSA::countOccurencesOf("A", {0}, {}), 0);
}

// ---- Random grammars -------------------------------------------------------------------

// Random hand-made graphs with loops, outputs, epsilon labels and calls (to
// later graphs only, and now and then to a missing one): the exploration
// finds what the plain reference finds, in the same order.
TEST(Explore, AgreesWithThePlainReferenceOnRandomGraphs) {
    std::mt19937 random(1234567);
    const std::vector<Edge> labels = {{"a", "", 0},  {"b", "", 0},  {"<E>", "", 0}, {"<E>", "x", 0},
                                      {"c", "y", 0}, {":B", "", 0}, {":C", "", 0},  {":Z", "", 0}};
    const std::vector<std::string> names = {"A", "B", "C"};
    for (int round = 0; round < 400; ++round) {
        std::vector<std::pair<std::string, GFSA>> graphs;
        for (std::size_t g = 0; g < names.size(); ++g) {
            const int stateCount = 1 + static_cast<int>(random() % 4);
            std::vector<StateShape> shapes;
            for (int s = 0; s < stateCount; ++s) {
                StateShape shape{random() % 2 == 0, {}};
                const int edges = static_cast<int>(random() % 3);
                for (int e = 0; e < edges; ++e) {
                    Edge edge = labels[random() % labels.size()];
                    const bool call = edge.input.front() == ':';
                    // Calls go to later graphs only; a missing graph rarely.
                    if (call && (edge.input[1] <= names[g][0] || (edge.input == ":Z" && random() % 4 != 0))) continue;
                    edge.to = static_cast<std::int64_t>(random() % static_cast<unsigned>(stateCount));
                    shape.edges.push_back(edge);
                }
                shapes.push_back(shape);
            }
            graphs.emplace_back(names[g], handMade(shapes));
        }
        const MGFSA grammar = grammarOf(graphs);
        for (const int limit : {0, 1, 2}) {
            for (const LinguisticLevel level : {LinguisticLevel::orthographic, LinguisticLevel::syntax}) {
                const Paths expected = ReferenceExplorer{grammar, limit}.explore("A", level);
                const Paths actual = pathsOf(grammar.explore("A", level, limit));
                ASSERT_EQ(show(actual), show(expected)) << "round " << round << " limit " << limit;
            }
        }
    }
}

// Random star-free expressions over letters, "|", groups, outputs and calls
// of two fixed graphs: determinizing changes no (input, outputs) pair.
TEST(Explore, DeterminizingKeepsThePairsOfRandomExpressions) {
    std::mt19937 random(7654321);
    const std::function<std::string(int)> expression = [&](int depth) -> std::string {
        std::string term;
        const int factors = 1 + static_cast<int>(random() % 3);
        for (int f = 0; f < factors; ++f) {
            const unsigned choice = random() % 8;
            std::string factor;
            if (choice < 3)
                factor = std::string(1, static_cast<char>('a' + choice));
            else if (choice == 3)
                factor = "<E>";
            else if (choice == 4)
                factor = random() % 2 == 0 ? ":P" : ":Q";
            else
                factor = depth > 0 ? "(" + expression(depth - 1) + ")" : "a";
            if (random() % 3 == 0) factor += random() % 2 == 0 ? "/x" : "/y";
            term += factor + " ";
        }
        if (depth > 0 && random() % 2 == 0) term += "| " + expression(depth - 1);
        return term;
    };
    for (int round = 0; round < 300; ++round) {
        const std::string body = expression(3);
        MGFSA grammar = compiled("P = p/1 | q ;\nQ = r (s/2 | <E>) ;\nM = " + body + ";");
        const auto toSet = [](const Paths& paths) { return std::set<Path>(paths->begin(), paths->end()); };
        const Paths before = pathsOf(grammar.explore("M", LinguisticLevel::orthographic, 1));
        ASSERT_TRUE(before) << body;
        grammar.determinize();
        const Paths after = pathsOf(grammar.explore("M", LinguisticLevel::orthographic, 1));
        ASSERT_TRUE(after) << body;
        EXPECT_EQ(toSet(before), toSet(after)) << "expression: " << body;
    }
}

} // namespace
} // namespace lexpand
