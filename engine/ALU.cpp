// Exports parseLexeme, splitProperties, splitLexicalInformation, normalize, parseProperties, ALU,
// PropertiesDefinitions.

#include "ALU.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "MGFSA.h"
#include "TextServices.h"
#include "TextualGrammar.h"

namespace lexpand {

namespace {

constexpr std::size_t npos = std::string_view::npos;

// ---- The entry syntax ----------------------------------------------------
//
// An entry line is searched for the expression
//     (([^,]|\\,)+),([A-Z]+)(\+.+$)?
// with leftmost-backtracking semantics; the line is an entry when it holds
// exactly one match. The matcher below answers what a backtracking engine
// answers, in one left-to-right pass and without allocating:
//
// * The lemma loop prefers "[^,]" to "\\,", so a backslash before a comma is
//   first taken as a lemma character and the lemma first tries to end at that
//   comma. The first comma reached therefore ends the lemma when a capital
//   follows it; otherwise the lemma may go on through the comma only when a
//   backslash precedes it (the "\\," branch), and fails when none does.
// * A failure at a comma c fails every start up to c as well (they reach c
//   with the same choices), so the search resumes right after c: the scan is
//   linear in the length of the line.
// * "[A-Z]+" takes every capital, and the optional group never gives a
//   reason to give one back. The group takes "+" and the rest of the line when
//   the rest is not empty and holds no line terminator ("." stops at them and
//   "$" matches only at the very end).
//
// Delimiters are ASCII, so scanning UTF-8 bytes is scanning code points: a
// match never starts or ends inside a character.

struct EntryMatch {
    std::size_t lemmaBegin = 0;
    std::size_t comma = 0;       // the comma after the lemma
    std::size_t categoryEnd = 0; // one past the last capital
    std::size_t end = 0;         // one past the match (the properties included)
};

// The end of the properties group "\+.+$" when it matches at `plus`, or 0.
std::size_t propertiesGroupEnd(std::string_view text, std::size_t plus) {
    if (plus >= text.size() || text[plus] != '+' || plus + 1 >= text.size()) return 0;
    for (std::size_t i = plus + 1; i < text.size(); ++i) {
        if (newlineLengthAt(text, i) != 0) return 0;
    }
    return text.size();
}

// The leftmost match that starts at or after `from`, or absent.
std::optional<EntryMatch> findEntryMatch(std::string_view text, std::size_t from) {
    std::size_t start = from;
    while (start < text.size()) {
        if (text[start] == ',') { // the lemma needs a first character
            ++start;
            continue;
        }
        std::size_t scan = start;
        std::size_t comma = npos;
        while (true) {
            comma = text.find(',', scan);
            if (comma == npos) return std::nullopt; // no later start can reach a comma either
            if (comma + 1 < text.size() && isAsciiCapital(text[comma + 1])) {
                EntryMatch match;
                match.lemmaBegin = start;
                match.comma = comma;
                std::size_t categoryEnd = comma + 1;
                while (categoryEnd < text.size() && isAsciiCapital(text[categoryEnd])) ++categoryEnd;
                match.categoryEnd = categoryEnd;
                const std::size_t propertiesEnd = propertiesGroupEnd(text, categoryEnd);
                match.end = propertiesEnd != 0 ? propertiesEnd : categoryEnd;
                return match;
            }
            // comma > start here, so text[comma - 1] belongs to this lemma.
            if (text[comma - 1] != '\\') break;
            scan = comma + 1; // "\\," lets the lemma run on
        }
        start = comma + 1; // every start up to this comma fails alike
    }
    return std::nullopt;
}

std::optional<LexemeView> matchLexeme(std::string_view lexeme) {
    const std::optional<EntryMatch> match = findEntryMatch(lexeme, 0);
    if (!match || findEntryMatch(lexeme, match->end)) return std::nullopt;
    LexemeView views;
    views.entry = lexeme.substr(match->lemmaBegin, match->comma - match->lemmaBegin);
    views.category = lexeme.substr(match->comma + 1, match->categoryEnd - match->comma - 1);
    views.properties = lexeme.substr(match->categoryEnd, match->end - match->categoryEnd);
    return views;
}

// ---- Property items -------------------------------------------------------

// Sorts by canonical order, keeping equal items in their order. The lists of
// one entry hold a handful of items: an insertion sort serves them without
// the temporary buffer of std::stable_sort. ASCII text is in NFC, so when
// every item is ASCII, canonical order is byte order.
template <typename Text> void stableSortCanonical(std::vector<Text>& items, bool ascii) {
    constexpr std::size_t shortList = 16;
    if (items.size() > shortList) {
        if (ascii)
            std::stable_sort(items.begin(), items.end(), std::less<>());
        else
            std::stable_sort(items.begin(), items.end(), CanonicalLess());
        return;
    }
    for (std::size_t i = 1; i < items.size(); ++i) {
        for (std::size_t j = i; j > 0; --j) {
            const bool less = ascii ? std::string_view(items[j]) < std::string_view(items[j - 1])
                                    : compareCanonical(items[j], items[j - 1]) < 0;
            if (!less) break;
            std::swap(items[j], items[j - 1]);
        }
    }
}

template <typename Text> bool allAscii(const std::vector<Text>& items) {
    return std::all_of(items.begin(), items.end(), [](std::string_view item) { return isAscii(item); });
}

// Sorts, then drops the later of canonically equal neighbours.
template <typename Text> void sortUnique(std::vector<Text>& items, bool ascii) {
    stableSortCanonical(items, ascii);
    if (ascii) {
        items.erase(std::unique(items.begin(), items.end()), items.end());
        return;
    }
    items.erase(std::unique(items.begin(), items.end(),
                            [](std::string_view a, std::string_view b) { return canonicallyEqual(a, b); }),
                items.end());
}

// Removes the later of canonically equal items, keeping the first; then
// sorts when asked. Stable, so that among equal items the first one stays.
// `ascii`: every item is ASCII (canonical equality is then byte equality).
void removeDuplicatesAndSort(std::vector<std::string_view>& items, bool sort, bool ascii) {
    if (sort) {
        sortUnique(items, ascii);
        return;
    }
    constexpr std::size_t smallList = 16;
    std::vector<std::string_view> kept;
    kept.reserve(items.size());
    if (items.size() <= smallList) {
        for (const std::string_view item : items) {
            const bool seen = std::any_of(kept.begin(), kept.end(), [&](std::string_view other) {
                return ascii ? item == other : canonicallyEqual(item, other);
            });
            if (!seen) kept.push_back(item);
        }
    } else {
        std::set<std::string> seen;
        for (const std::string_view item : items) {
            if (seen.insert(toNFC(item)).second) kept.push_back(item);
        }
    }
    items = std::move(kept);
}

// The items of a properties string as views into it (see splitProperties).
// When the string ends inside a protected part or after a backslash, the
// offset of that part's opening character (or of the backslash) goes to
// `failedAt`, unless it is null.
std::optional<std::vector<std::string_view>> splitPropertyViews(std::string_view text, bool sort,
                                                                std::size_t* failedAt = nullptr) {
    std::vector<std::string_view> items;
    if (text.empty()) return items;
    if (text[0] != '+') return std::nullopt;
    items.reserve(static_cast<std::size_t>(std::count(text.begin(), text.end(), '+')));
    char closing = 0; // '"' or '>' inside a protected part, 0 outside
    std::size_t opening = 0;
    std::size_t itemBegin = 1;
    for (std::size_t i = 1; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '\\') {
            if (i + 1 >= text.size()) { // nothing left to protect
                if (failedAt != nullptr) *failedAt = i;
                return std::nullopt;
            }
            ++i; // the protected byte; the rest of its character follows as plain bytes
        } else if (closing != 0) {
            if (c == closing) closing = 0;
        } else if (c == '"') {
            closing = '"';
            opening = i;
        } else if (c == '<') {
            closing = '>';
            opening = i;
        } else if (c == '+') {
            items.push_back(text.substr(itemBegin, i - itemBegin));
            itemBegin = i + 1;
        }
    }
    if (closing != 0) {
        if (failedAt != nullptr) *failedAt = opening;
        return std::nullopt;
    }
    items.push_back(text.substr(itemBegin));
    removeDuplicatesAndSort(items, sort, isAscii(text));
    return items;
}

std::vector<std::string> toStrings(const std::vector<std::string_view>& views) {
    return std::vector<std::string>(views.begin(), views.end());
}

// ---- Normalisation ----------------------------------------------------------

bool containsCanonically(const std::vector<std::string>& list, std::string_view text) {
    return std::any_of(list.begin(), list.end(), [&](const std::string& item) { return canonicallyEqual(item, text); });
}

using CategoryEntry = decltype(PropertiesDefinitions::categoryProperties)::value_type;

// The category of the definitions that `category` names: the one written
// the same, else the first canonically equivalent one; null for none.
const CategoryEntry* categoryOf(const PropertiesDefinitions& definitions, std::string_view category) {
    const auto& categories = definitions.categoryProperties;
    const auto found = categories.find(category);
    if (found != categories.end()) return &*found;
    if (isAscii(category)) return nullptr;
    for (const CategoryEntry& entry : categories) {
        if (canonicallyEqual(entry.first, category)) return &entry;
    }
    return nullptr;
}

// The name under which the category lists `value`, the first in name order.
std::optional<std::string_view> findPropertyName(std::string_view category, std::string_view value,
                                                 const PropertiesDefinitions* definitions) {
    if (definitions == nullptr) return std::nullopt;
    const CategoryEntry* entry = categoryOf(*definitions, category);
    if (entry == nullptr) return std::nullopt;
    if (!definitions->propertyNameOfValue.empty()) {
        const auto index = definitions->propertyNameOfValue.find(entry->first);
        if (index == definitions->propertyNameOfValue.end()) return std::nullopt;
        const auto found = isNFC(value) ? index->second.find(value) : index->second.find(toNFC(value));
        if (found == index->second.end()) return std::nullopt;
        return std::string_view(found->second);
    }
    for (const auto& [name, values] : entry->second) {
        if (containsCanonically(values, value)) return std::string_view(name);
    }
    return std::nullopt;
}

bool startsWith(std::string_view text, std::string_view prefix) {
    return text.substr(0, prefix.size()) == prefix;
}

template <typename Items>
ClassifiedProperties classifyProperties(std::string_view category, const Items& properties,
                                        const PropertiesDefinitions* definitions) {
    ClassifiedProperties classified;
    const bool haveMorphologicalNames = definitions != nullptr && !definitions->morphologicalPropertyNames.empty();
    for (const std::string_view item : properties) {
        if (startsWith(item, "FLX=")) {
            classified.flxParadigms.emplace_back(item.substr(4));
            continue;
        }
        if (startsWith(item, "DRV=")) {
            classified.drvParadigms.emplace_back(item.substr(4));
            continue;
        }
        std::string_view name;
        std::string text;
        if (const std::size_t equals = item.find('='); equals != npos) {
            name = item.substr(0, equals);
            text = std::string(name.empty() ? item.substr(equals + 1) : item);
        } else if (const auto found = findPropertyName(category, item, definitions)) {
            name = *found;
            text.reserve(name.size() + 1 + item.size());
            text.append(name).append(1, '=').append(item);
        } else {
            text = std::string(item);
        }
        // A property without a name is lexical, whatever the names listed.
        const bool morphological =
            haveMorphologicalNames && !name.empty() && definitions->isMorphologicalPropertyName(name);
        (morphological ? classified.morphoProperties : classified.lexProperties).push_back(std::move(text));
    }
    // Appending only what is not there yet, then sorting, is a stable sort
    // followed by dropping the later of equal neighbours.
    sortUnique(classified.lexProperties, allAscii(classified.lexProperties));
    sortUnique(classified.morphoProperties, allAscii(classified.morphoProperties));
    stableSortCanonical(classified.flxParadigms, allAscii(classified.flxParadigms));
    stableSortCanonical(classified.drvParadigms, allAscii(classified.drvParadigms));
    return classified;
}

// ---- Enumerating the rules of the properties definitions ----------------------
//
// A rule that lists N values compiles into N nested disjunctions: the path of
// the k-th value climbs through the ends of the disjunctions around it, so
// following every path state by state costs time quadratic in N. A rule
// without calls and without loops is enumerated here instead, with the paths
// and the order that MGFSA::explore gives at level syntax with repetition
// limit 1 (on a graph without loops that limit never applies), but with every
// chain of states that read nothing and go on in one way only crossed in one
// step. Other rules are left to MGFSA::explore.

// True when the label reads nothing: its input is "<E>", whatever it writes.
bool readsNothing(const Label& label) {
    return label.input == "<E>";
}

// True when every transition of the graph has a label of `labels` that is
// not a call and a destination among the graph's states.
bool hasOnlyPlainTransitions(const GFSA& graph, const Alphabet& labels) {
    const std::size_t count = graph.states.size();
    for (const GFSA::State& state : graph.states) {
        for (const GFSA::Transition& transition : state.outGoingTransitions) {
            if (transition.labelIndex < 0 || static_cast<std::size_t>(transition.labelIndex) >= labels.array.size() ||
                transition.destinationStateIndex < 0 ||
                static_cast<std::size_t>(transition.destinationStateIndex) >= count)
                return false;
            if (labels.array[static_cast<std::size_t>(transition.labelIndex)].input.starts_with(':')) return false;
        }
    }
    return true;
}

// The landings of a graph whose transitions are plain, found depth-first in
// post-order: a state is settled after every state it leads to, so that a
// loop shows as a transition into an open state. Lives for one call of
// `landings`.
class LandingSearch {
public:
    LandingSearch(const GFSA& graph, const Alphabet& labels)
        : graph_(graph), labels_(labels), marks_(graph.states.size(), Mark::fresh), landing_(graph.states.size(), 0) {}

    // Settles every state reachable from `root` that is not settled yet;
    // false when a loop is met. Cost: linear in what it settles.
    bool settleFrom(std::size_t root) {
        if (marks_[root] != Mark::fresh) return true;
        open(root);
        while (!stack_.empty()) {
            auto& [state, next] = stack_.back();
            const auto& transitions = graph_.states[state].outGoingTransitions;
            if (next == transitions.size()) {
                settle(state);
                continue;
            }
            const auto destination = static_cast<std::size_t>(transitions[next++].destinationStateIndex);
            if (marks_[destination] == Mark::open) return false; // a loop
            if (marks_[destination] == Mark::fresh) open(destination);
        }
        return true;
    }

    // The landing of each state; meaningful once every state is settled.
    std::vector<std::int64_t> takeLandings() { return std::move(landing_); }

private:
    enum class Mark : std::uint8_t { fresh, open, settled };

    // Marks `state` open and pushes it with its first transition next.
    void open(std::size_t state) {
        marks_[state] = Mark::open;
        stack_.emplace_back(state, 0);
    }

    // Gives the state on top of the stack, whose successors are all settled,
    // its landing: its only successor's when it passes on, itself otherwise.
    void settle(std::size_t state) {
        const GFSA::State& settled = graph_.states[state];
        const auto& transitions = settled.outGoingTransitions;
        const bool passesOn = !settled.isTerminal && transitions.size() == 1 &&
                              readsNothing(labels_.array[static_cast<std::size_t>(transitions[0].labelIndex)]);
        landing_[state] = passesOn ? landing_[static_cast<std::size_t>(transitions[0].destinationStateIndex)]
                                   : static_cast<std::int64_t>(state);
        marks_[state] = Mark::settled;
        stack_.pop_back();
    }

    const GFSA& graph_;
    const Alphabet& labels_;
    std::vector<Mark> marks_;
    std::vector<std::int64_t> landing_;
    std::vector<std::pair<std::size_t, std::size_t>> stack_; // state, next transition
};

// For each state of a graph without loops and calls, the state in which a
// step into it really lands: past every state that is not terminal and has
// one transition only, reading nothing. Absent when the graph has states
// or labels that MGFSA::explore must judge: a call, a loop, an invalid
// label or destination, or no state at all.
std::optional<std::vector<std::int64_t>> landings(const GFSA& graph, const Alphabet& labels) {
    if (graph.states.empty() || !hasOnlyPlainTransitions(graph, labels)) return std::nullopt;
    LandingSearch search(graph, labels);
    for (std::size_t root = 0; root < graph.states.size(); ++root)
        if (!search.settleFrom(root)) return std::nullopt;
    return search.takeLandings();
}

// The input of every path of the graph `name`, as MGFSA::explore gives them
// at level syntax with repetition limit 1 and `options`: absent when that
// exploration is. A rule without calls and loops is walked directly, crossing
// chains of states that pass on in one step, so that it makes at most the
// steps the exploration would count (and may succeed where it would pass
// options.maxSteps). Cost: for such a rule, linear in the size of its graph
// and of the paths' inputs; otherwise that of MGFSA::explore.
std::optional<std::vector<std::string>> enumerateRule(const MGFSA& grammar, const std::string& name, const GFSA& graph,
                                                      const ExploreOptions& options) {
    const std::optional<std::vector<std::int64_t>> landing = landings(graph, grammar.alphabet);
    if (!landing) {
        std::optional<ExplorationResult> paths = grammar.explore(name, LinguisticLevel::syntax, 1, options);
        if (!paths) return std::nullopt;
        return std::move(paths->input);
    }
    struct Step {
        std::size_t state;
        std::size_t next;        // next transition to follow
        std::size_t inputLength; // length of the input before this step
    };
    std::vector<std::string> inputs;
    std::vector<Step> path;
    std::string input;
    std::size_t pathsFound = 0;
    std::size_t steps = 0;
    // A step lands where the chain of states that pass on from its state ends.
    const auto enter = [&](std::int64_t state, std::size_t inputLength) {
        const auto landed = static_cast<std::size_t>((*landing)[static_cast<std::size_t>(state)]);
        path.push_back(Step{landed, 0, inputLength});
        if (!graph.states[landed].isTerminal) return true;
        steps += path.size(); // reading the path
        if (++pathsFound > options.maxPaths || steps > options.maxSteps) return false;
        inputs.emplace_back(trimWhiteSpaceAndNewlines(input));
        return true;
    };
    if (!enter(0, 0)) return std::nullopt;
    while (!path.empty()) {
        Step& step = path.back();
        const auto& transitions = graph.states[step.state].outGoingTransitions;
        if (step.next == transitions.size()) {
            input.resize(step.inputLength);
            path.pop_back();
            continue;
        }
        const GFSA::Transition& transition = transitions[step.next++];
        if (++steps > options.maxSteps) return std::nullopt;
        const std::size_t inputLength = input.size();
        const Label& label = grammar.alphabet.array[static_cast<std::size_t>(transition.labelIndex)];
        if (!readsNothing(label)) {
            if (!input.empty() && input.back() != ' ') input.push_back(' ');
            input += label.input;
        }
        if (!enter(transition.destinationStateIndex, inputLength)) return std::nullopt;
    }
    return inputs;
}

} // namespace

// ---- Public operations ------------------------------------------------------

std::optional<Lexeme> parseLexeme(std::string_view lexeme) {
    const std::optional<LexemeView> views = matchLexeme(lexeme);
    if (!views) return std::nullopt;
    return Lexeme{std::string(views->entry), std::string(views->category), std::string(views->properties)};
}

std::optional<LexemeView> parseLexemeView(std::string_view lexeme) {
    return matchLexeme(lexeme);
}

std::optional<std::vector<std::string>> splitProperties(std::string_view propertiesString, bool sort) {
    const auto items = splitPropertyViews(propertiesString, sort);
    if (!items) return std::nullopt;
    return toStrings(*items);
}

std::optional<std::size_t> propertiesSplitFailure(std::string_view propertiesString) {
    std::size_t failedAt = 0;
    if (splitPropertyViews(propertiesString, false, &failedAt) || propertiesString.empty() ||
        propertiesString[0] != '+')
        return std::nullopt;
    return failedAt;
}

std::optional<LexicalInformation>
splitLexicalInformation(const std::vector<std::string>& categoryAndPropertiesStrings) {
    std::string joined = "+";
    for (const std::string& piece : categoryAndPropertiesStrings) joined += piece;
    if (joined.size() == 1 || joined[1] == '+') return std::nullopt;
    auto items = splitPropertyViews(joined, false);
    if (!items) return std::nullopt; // a non-empty string beginning with "+" gives at least one item
    LexicalInformation information;
    information.category = std::string(items->front());
    items->erase(items->begin());
    removeDuplicatesAndSort(*items, true, isAscii(joined));
    information.properties = toStrings(*items);
    return information;
}

NormalizedProperty normalize(std::string_view category, std::string_view property,
                             const PropertiesDefinitions* propertiesDefinitions) {
    if (const std::size_t equals = property.find('='); equals != npos)
        return {std::string(property.substr(0, equals)), std::string(property.substr(equals + 1))};
    if (const auto name = findPropertyName(category, property, propertiesDefinitions))
        return {std::string(*name), std::string(property)};
    return {std::string(), std::string(property)};
}

ClassifiedProperties parseProperties(std::string_view category, const std::vector<std::string>& properties,
                                     const PropertiesDefinitions* propertiesDefinitions) {
    return classifyProperties(category, properties, propertiesDefinitions);
}

std::optional<ALU> ALU::init(std::string_view lexeme, const PropertiesDefinitions* propertiesDefinitions) {
    const std::optional<LexemeView> views = matchLexeme(lexeme);
    if (!views) return std::nullopt;
    const auto items = splitPropertyViews(views->properties, true);
    if (!items) return std::nullopt;
    ClassifiedProperties classified = classifyProperties(views->category, *items, propertiesDefinitions);
    ALU alu;
    alu.entry = std::string(views->entry);
    alu.category = std::string(views->category);
    alu.lexicalProperties = std::move(classified.lexProperties);
    alu.morphologicalProperties = std::move(classified.morphoProperties);
    alu.flxParadigms = std::move(classified.flxParadigms);
    alu.drvParadigms = std::move(classified.drvParadigms);
    return alu;
}

std::string ALU::description() const {
    std::size_t size = entry.size() + 1 + category.size();
    for (const auto* list : {&lexicalProperties, &flxParadigms, &drvParadigms, &morphologicalProperties}) {
        for (const std::string& item : *list) size += item.size() + 5;
    }
    std::string text;
    text.reserve(size);
    text.append(entry).append(1, ',').append(category);
    for (const std::string& property : lexicalProperties) text.append(1, '+').append(property);
    for (const std::string& paradigm : flxParadigms) text.append("+FLX=").append(paradigm);
    for (const std::string& paradigm : drvParadigms) text.append("+DRV=").append(paradigm);
    for (const std::string& property : morphologicalProperties) text.append(1, '+').append(property);
    return text;
}

std::optional<PropertiesDefinitions> PropertiesDefinitions::init(std::string_view grammarString,
                                                                 const ExploreOptions& explore,
                                                                 const CompileOptions& compile) {
    const std::optional<MGFSA> grammar =
        textualGrammarToMgfsa(grammarString, LinguisticLevel::propertyDefinition, compile);
    if (!grammar) return std::nullopt;
    PropertiesDefinitions definitions;
    // The graphs come in ascending order of their names.
    for (const auto& [name, graph] : grammar->graphs) {
        const bool exclusive = name == "EXCLUSIVEPROPERTIES";
        const bool morphological = name == "MORPHOLOGICALPROPERTIES";
        const std::size_t underscore = name.find('_');
        if (!exclusive && !morphological && underscore == npos) return std::nullopt;
        std::optional<std::vector<std::string>> values = enumerateRule(*grammar, name, graph, explore);
        if (!values) return std::nullopt;
        if (exclusive) {
            definitions.exclusivePropertyNames = std::move(*values);
        } else if (morphological) {
            definitions.morphologicalPropertyNames = std::move(*values);
        } else {
            definitions.categoryProperties[name.substr(0, underscore)][name.substr(underscore + 1)] =
                std::move(*values);
        }
    }
    for (const std::string& name : definitions.exclusivePropertyNames)
        definitions.exclusiveNameIndex.insert(toNFC(name));
    for (const std::string& name : definitions.morphologicalPropertyNames)
        definitions.morphologicalNameIndex.insert(toNFC(name));
    for (const auto& [category, properties] : definitions.categoryProperties) {
        auto& index = definitions.propertyNameOfValue[category];
        for (const auto& [name, values] : properties) {
            for (const std::string& value : values) index.emplace(toNFC(value), name); // the first name stays
        }
    }
    return definitions;
}

namespace {

bool isIndexedName(std::string_view name, const std::vector<std::string>& names,
                   const std::unordered_set<std::string, TextHash, std::equal_to<>>& index) {
    if (index.empty()) return containsCanonically(names, name);
    return isNFC(name) ? index.contains(name) : index.contains(toNFC(name));
}

} // namespace

ExclusiveValues::Outcome ExclusiveValues::record(std::string_view name, std::string_view value) {
    constexpr std::size_t fewNames = 16;
    if (many_.empty()) {
        for (const auto& [seenName, seenValue] : few_) {
            if (!canonicallyEqual(seenName, name)) continue;
            return canonicallyEqual(seenValue, value) ? Outcome::repeated : Outcome::contradicted;
        }
        if (few_.size() < fewNames) {
            few_.emplace_back(name, value);
            return Outcome::fresh;
        }
        for (const auto& [seenName, seenValue] : few_) many_.emplace(toNFC(seenName), toNFC(seenValue));
    }
    const auto [entry, added] = many_.try_emplace(toNFC(name), toNFC(value));
    if (added) return Outcome::fresh;
    return entry->second == toNFC(value) ? Outcome::repeated : Outcome::contradicted;
}

void ExclusiveValues::clear() {
    few_.clear();
    many_.clear();
}

bool PropertiesDefinitions::isExclusivePropertyName(std::string_view name) const {
    return isIndexedName(name, exclusivePropertyNames, exclusiveNameIndex);
}

bool PropertiesDefinitions::isMorphologicalPropertyName(std::string_view name) const {
    return isIndexedName(name, morphologicalPropertyNames, morphologicalNameIndex);
}

} // namespace lexpand
