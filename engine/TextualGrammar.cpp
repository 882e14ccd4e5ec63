// Exports loadGrammar, getOneRule, readOneRule, textualGrammarToMgfsa,
// expression2Gfsa, compileExpression and the parse functions expression2GFSA,
// ParseTerm and ParseFactor.
//
// An expression is compiled in two stages, neither of which recurses:
//
// 1. Parsing. The recursive-descent grammar (expression, term, factor, with
//    its tolerances: a missing ")", the token after a group skipped whatever
//    it is, a failing factor ending a term, leftover tokens ignored) is run by
//    an explicit goal stack. Every (construct, token index) pair is parsed at
//    most once and remembered, because a failing group makes the enclosing
//    parse resume inside that group and parse its tokens again. The parse
//    yields a tree of operations (shared subtrees allowed), whose automaton
//    sizes are known as soon as a node is made.
//
// 2. Layout. The construction operations of GFSA (init, outputOperation,
//    kleeneOperation, concatenation, disjunction, collocation) copy their
//    operands at every level, which costs time quadratic in the length of a
//    chain such as a long word or a long list of alternatives. Instead, the
//    automaton is laid out once, state by state, at the final state numbers,
//    and is identical to what nesting those operations would produce:
//    - each operation places its own two states first and its operands after
//      them, so a node's states form one block of the result;
//    - every transition list comes out in ascending order without duplicates
//      (a copy re-inserts every transition in order, and the transitions an
//      operation appends always go into empty lists), so adding the same
//      transitions in any order gives the same lists;
//    - a copy interns labels in the order it meets them, state by state, and
//      no state holds more than one non-epsilon label, so the label indices of
//      the result follow the state order; only the label of an output that is
//      the outermost operation is added after the labels of its operand;
//    - of canonically equivalent labels, the text kept is that of the one an
//      operand met first, where an output's own label counts after its
//      operand; a first pass over the tree finds those texts.
//    The result size is known before anything is built: an expression whose
//    automaton would have more than maximalStateCount states, or than the
//    caller's bound (chains of "&" double at every step), fails cleanly.

#include "TextualGrammar.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include "Parallel.h"
#include "TextServices.h"

namespace lexpand {

namespace {

// ---- Expression trees --------------------------------------------------------

// The largest automaton an expression may compile to. Ordinary rules stay far
// below it (a 200,000-letter word needs about 800,000 states).
constexpr std::uint64_t maximalStateCount = maximalExpressionStates;

enum class NodeKind : std::uint8_t { label, output, star, concatenation, disjunction, collocation };

struct ExpressionNode {
    NodeKind kind = NodeKind::label;
    std::size_t first = 0;        // operand (all kinds but label)
    std::size_t second = 0;       // second operand (concatenation, disjunction, collocation)
    Label label;                  // label: the token's label; output: the label "<E>" / output
    std::uint64_t stateCount = 0; // states of the automaton, saturated above maximalStateCount
};

std::uint64_t saturated(std::uint64_t count) {
    return std::min(count, maximalStateCount + 1);
}

enum class Construct : std::uint8_t { expression = 0, term = 1, factor = 2 };

struct Goal {
    Construct construct;
    std::size_t index;
};

// What is known about parsing one construct at one token index.
struct Parsed {
    enum class Status : std::uint8_t { unknown, failed, parsed };
    Status status = Status::unknown;
    std::size_t node = 0;
    std::size_t next = 0;
};

bool isToken(const std::string& token, std::string_view text) {
    return token == text;
}

// Runs the parse functions over one token list with an explicit goal stack and
// one memo entry per (construct, index); builds the expression tree.
class ExpressionParser {
public:
    explicit ExpressionParser(const TokenList& tokens) : tokens_(tokens) {
        for (auto& entries : memo_) entries.resize(tokens.size() + 1);
        nodes_.reserve(2 * tokens.size()); // a label and a combining node per token, as a rule
    }

    // Parses `construct` at `index`: the root node and the next token index,
    // or absent.
    std::optional<std::pair<std::size_t, std::size_t>> parse(Construct construct, std::size_t index) {
        if (index > tokens_.size()) return std::nullopt;
        std::vector<Goal> goals{{construct, index}};
        while (!goals.empty()) {
            const Goal goal = goals.back();
            if (entry(goal.construct, goal.index).status != Parsed::Status::unknown) {
                goals.pop_back();
                continue;
            }
            // Either settles the goal from settled parts, or names a part that
            // must be settled first (always at a later index, or a tighter
            // construct at the same index, so the stack never cycles).
            if (const std::optional<Goal> missing = attempt(goal))
                goals.push_back(*missing);
            else
                goals.pop_back();
        }
        const Parsed& result = entry(construct, index);
        if (result.status != Parsed::Status::parsed) return std::nullopt;
        return std::pair{result.node, result.next};
    }

    const std::vector<ExpressionNode>& nodes() const { return nodes_; }

    // Where an expression parsed at `index` fails, once parse() has failed
    // on it: the kind of fault and the index of the token at fault, found by
    // following the failed parts down, never back, so the walk ends.
    std::pair<ExpressionFault::Kind, std::size_t> failurePoint(std::size_t index) {
        Construct construct = Construct::expression;
        for (;;) {
            if (construct == Construct::expression) {
                const Parsed& term = entry(Construct::term, index);
                if (term.status == Parsed::Status::failed) {
                    construct = Construct::term;
                } else if (term.status == Parsed::Status::parsed) {
                    index = term.next + 1; // the expression after "|" or "&" failed
                } else {
                    return {ExpressionFault::Kind::endsEarly, index};
                }
            } else if (construct == Construct::term) {
                construct = Construct::factor; // a term fails only when its first factor does
            } else if (index >= tokens_.size()) {
                return {ExpressionFault::Kind::endsEarly, index};
            } else if (isToken(tokens_[index], "(")) {
                construct = Construct::expression;
                ++index;
            } else if (!Label::init(tokens_[index], "")) {
                return {ExpressionFault::Kind::rejectedLabel, index};
            } else {
                return {ExpressionFault::Kind::rejectedOutput, index + 1};
            }
        }
    }

    // The next index of a construct that parsed at `index`.
    std::size_t nextAfter(Construct construct, std::size_t index) { return entry(construct, index).next; }

private:
    Parsed& entry(Construct construct, std::size_t index) { return memo_[static_cast<std::size_t>(construct)][index]; }

    static Parsed failed() { return Parsed{Parsed::Status::failed, 0, 0}; }
    static Parsed parsed(std::size_t node, std::size_t next) { return Parsed{Parsed::Status::parsed, node, next}; }

    std::size_t makeNode(NodeKind kind, std::size_t first, std::size_t second, Label label) {
        ExpressionNode node{kind, first, second, std::move(label), 0};
        switch (kind) {
        case NodeKind::label:
            node.stateCount = 2;
            break;
        case NodeKind::output:
        case NodeKind::star:
            node.stateCount = saturated(2 + nodes_[first].stateCount);
            break;
        case NodeKind::concatenation:
        case NodeKind::disjunction:
            node.stateCount = saturated(2 + nodes_[first].stateCount + nodes_[second].stateCount);
            break;
        case NodeKind::collocation:
            node.stateCount = saturated(2 * nodes_[first].stateCount + 2 * nodes_[second].stateCount + 6);
            break;
        }
        nodes_.push_back(std::move(node));
        return nodes_.size() - 1;
    }

    std::optional<Goal> attempt(const Goal& goal) {
        switch (goal.construct) {
        case Construct::expression:
            return attemptExpression(goal.index);
        case Construct::term:
            return attemptTerm(goal.index);
        case Construct::factor:
            return attemptFactor(goal.index);
        }
        return std::nullopt;
    }

    // expression: term, optionally "|" or "&" and an expression.
    std::optional<Goal> attemptExpression(std::size_t index) {
        const Parsed& term = entry(Construct::term, index);
        if (term.status == Parsed::Status::unknown) return Goal{Construct::term, index};
        Parsed& result = entry(Construct::expression, index);
        if (term.status == Parsed::Status::failed) {
            result = failed();
            return std::nullopt;
        }
        const std::size_t n = term.next;
        if (n >= tokens_.size() || (!isToken(tokens_[n], "|") && !isToken(tokens_[n], "&"))) {
            result = parsed(term.node, n);
            return std::nullopt;
        }
        const Parsed& rest = entry(Construct::expression, n + 1);
        if (rest.status == Parsed::Status::unknown) return Goal{Construct::expression, n + 1};
        if (rest.status == Parsed::Status::failed) {
            result = failed();
            return std::nullopt;
        }
        const NodeKind kind = isToken(tokens_[n], "|") ? NodeKind::disjunction : NodeKind::collocation;
        result = parsed(makeNode(kind, term.node, rest.node, Label{}), rest.next);
        return std::nullopt;
    }

    // term: factor, optionally followed by a term; a term that fails after
    // the first factor just ends the sequence.
    std::optional<Goal> attemptTerm(std::size_t index) {
        const Parsed& factor = entry(Construct::factor, index);
        if (factor.status == Parsed::Status::unknown) return Goal{Construct::factor, index};
        Parsed& result = entry(Construct::term, index);
        if (factor.status == Parsed::Status::failed) {
            result = failed();
            return std::nullopt;
        }
        const std::size_t n = factor.next;
        if (n >= tokens_.size() || isToken(tokens_[n], "|") || isToken(tokens_[n], "&") || isToken(tokens_[n], ")")) {
            result = parsed(factor.node, n);
            return std::nullopt;
        }
        const Parsed& rest = entry(Construct::term, n);
        if (rest.status == Parsed::Status::unknown) return Goal{Construct::term, n};
        result = rest.status == Parsed::Status::failed
                     ? parsed(factor.node, n)
                     : parsed(makeNode(NodeKind::concatenation, factor.node, rest.node, Label{}), rest.next);
        return std::nullopt;
    }

    // factor: a group "(" expression <any token>, or one label; then at most
    // one postfix, an output token "/..." or "*".
    std::optional<Goal> attemptFactor(std::size_t index) {
        if (index >= tokens_.size()) {
            entry(Construct::factor, index) = failed();
            return std::nullopt;
        }
        std::size_t node = 0;
        std::size_t k = 0;
        if (isToken(tokens_[index], "(")) {
            const Parsed& group = entry(Construct::expression, index + 1);
            if (group.status == Parsed::Status::unknown) return Goal{Construct::expression, index + 1};
            if (group.status == Parsed::Status::failed) {
                entry(Construct::factor, index) = failed();
                return std::nullopt;
            }
            node = group.node;
            k = group.next + 1; // skips the token after the group, whatever it is
        } else {
            std::optional<Label> label = Label::init(tokens_[index], "");
            if (!label) {
                entry(Construct::factor, index) = failed();
                return std::nullopt;
            }
            node = makeNode(NodeKind::label, 0, 0, std::move(*label));
            k = index + 1;
        }
        Parsed& result = entry(Construct::factor, index);
        if (k >= tokens_.size()) {
            result = parsed(node, k);
        } else if (!tokens_[k].empty() && tokens_[k][0] == '/') {
            std::optional<Label> outputLabel = Label::init("<E>", std::string_view(tokens_[k]).substr(1));
            result =
                outputLabel ? parsed(makeNode(NodeKind::output, node, 0, std::move(*outputLabel)), k + 1) : failed();
        } else if (isToken(tokens_[k], "*")) {
            result = parsed(makeNode(NodeKind::star, node, 0, Label{}), k + 1);
        } else {
            result = parsed(node, k);
        }
        return std::nullopt;
    }

    const TokenList& tokens_;
    std::array<std::vector<Parsed>, 3> memo_;
    std::vector<ExpressionNode> nodes_;
};

// ---- Layout -------------------------------------------------------------------

struct Operand {
    std::size_t node;
    std::int64_t base;
};

// The operands of `node` laid out from `base`, in the order the construction
// operation copies them; answers how many there are.
std::size_t operandsOf(const std::vector<ExpressionNode>& nodes, const ExpressionNode& node, std::int64_t base,
                       std::array<Operand, 4>& operands) {
    const auto p = static_cast<std::int64_t>(node.kind == NodeKind::label ? 0 : nodes[node.first].stateCount);
    switch (node.kind) {
    case NodeKind::label:
        return 0;
    case NodeKind::output:
    case NodeKind::star:
        operands[0] = {node.first, base + 2};
        return 1;
    case NodeKind::concatenation:
    case NodeKind::disjunction:
        operands[0] = {node.first, base + 2};
        operands[1] = {node.second, base + 2 + p};
        return 2;
    case NodeKind::collocation: {
        const auto q = static_cast<std::int64_t>(nodes[node.second].stateCount);
        operands[0] = {node.first, base + 2};
        operands[1] = {node.second, base + 2 + p};
        operands[2] = {node.second, base + 2 + p + q};
        operands[3] = {node.first, base + 2 + p + 2 * q};
        return 4;
    }
    }
    return 0;
}

// Visits every node of the tree under `root` as laid out from state 0, in
// state order: visitor.enter before a node's operands, visitor.leave after.
template <typename Visitor> void walk(const std::vector<ExpressionNode>& nodes, std::size_t root, Visitor& visitor) {
    struct Frame {
        std::size_t node;
        std::int64_t base;
        std::size_t nextOperand;
    };
    std::vector<Frame> frames{{root, 0, 0}};
    visitor.enter(nodes[root], 0);
    std::array<Operand, 4> operands{};
    while (!frames.empty()) {
        const Frame frame = frames.back();
        const ExpressionNode& node = nodes[frame.node];
        const std::size_t count = operandsOf(nodes, node, frame.base, operands);
        if (frame.nextOperand < count) {
            const Operand operand = operands[frame.nextOperand];
            ++frames.back().nextOperand;
            visitor.enter(nodes[operand.node], operand.base);
            frames.push_back({operand.node, operand.base, 0});
        } else {
            visitor.leave(node, frame.base);
            frames.pop_back();
        }
    }
}

// First pass: for every class of equal labels, the text the construction
// operations would keep (the first met, an output's own label after its operand).
struct LabelTextCollector {
    Alphabet& texts;
    const Label& anyLabel;

    void enter(const ExpressionNode& node, std::int64_t) {
        if (node.kind == NodeKind::label) texts.addLabel(node.label);
    }
    void leave(const ExpressionNode& node, std::int64_t) {
        if (node.kind == NodeKind::output) texts.addLabel(node.label);
        if (node.kind == NodeKind::collocation) texts.addLabel(anyLabel);
    }
};

// Second pass: the states and transitions, labels interned in state order.
struct TransitionEmitter {
    const std::vector<ExpressionNode>& nodes;
    Alphabet& texts;
    const Label& anyLabel;
    GFSA& result;

    std::int64_t intern(const Label& label) {
        const Label& text = texts.array[static_cast<std::size_t>(texts.addLabel(label))];
        return result.alphabet->addLabel(text);
    }
    void add(std::int64_t from, std::int64_t labelIndex, std::int64_t to) {
        result.states[static_cast<std::size_t>(from)].addTransition(GFSA::Transition{labelIndex, to});
    }

    void enter(const ExpressionNode& node, std::int64_t base) {
        if (node.kind == NodeKind::label) add(base, intern(node.label), base + 1);
        // The outermost output interns its label after its operand's labels.
        if (node.kind == NodeKind::output && base != 0) add(base, intern(node.label), base + 2);
    }

    void leave(const ExpressionNode& node, std::int64_t base) {
        const auto p = static_cast<std::int64_t>(node.kind == NodeKind::label ? 0 : nodes[node.first].stateCount);
        switch (node.kind) {
        case NodeKind::label:
            break;
        case NodeKind::output:
            if (base == 0) add(base, intern(node.label), base + 2);
            add(base + 3, 0, base + 1);
            break;
        case NodeKind::star:
            add(base, 0, base + 2);
            add(base, 0, base + 1);
            add(base + 3, 0, base);
            break;
        case NodeKind::concatenation:
            add(base, 0, base + 2);
            add(base + 3, 0, base + 2 + p);
            add(base + 2 + p + 1, 0, base + 1);
            break;
        case NodeKind::disjunction:
            add(base, 0, base + 2);
            add(base, 0, base + 2 + p);
            add(base + 3, 0, base + 1);
            add(base + p + 3, 0, base + 1);
            break;
        case NodeKind::collocation: {
            const auto q = static_cast<std::int64_t>(nodes[node.second].stateCount);
            const std::int64_t o1 = base + 2;
            const std::int64_t o2 = base + 2 + p;
            const std::int64_t o3 = base + 2 + p + q;
            const std::int64_t o4 = base + 2 + p + 2 * q;
            const std::int64_t e = base + 2 * p + 2 * q + 2;
            const std::int64_t f = e + 2;
            const std::int64_t any = intern(anyLabel);
            for (const std::int64_t gap : {e, f}) {
                add(gap, any, gap + 1);
                add(gap, 0, gap + 1);
                add(gap + 1, 0, gap);
            }
            add(base, 0, o1);
            add(o1 + 1, 0, e);
            add(e + 1, 0, o2);
            add(o2 + 1, 0, base + 1);
            add(base, 0, o3);
            add(o3 + 1, 0, f);
            add(f + 1, 0, o4);
            add(o4 + 1, 0, base + 1);
            break;
        }
        }
    }
};

// The automaton of the tree under `root`; absent when it is too large.
std::optional<GFSA> layOut(const std::vector<ExpressionNode>& nodes, std::size_t root) {
    const std::uint64_t stateCount = nodes[root].stateCount;
    if (stateCount > maximalStateCount) return std::nullopt;
    // The gap label of a collocation; made only when a collocation needs it.
    Label anyLabel;
    const auto isCollocation = [](const ExpressionNode& node) { return node.kind == NodeKind::collocation; };
    if (std::any_of(nodes.begin(), nodes.end(), isCollocation)) {
        std::optional<Label> label = Label::init("<ANY>", "");
        if (!label) return std::nullopt;
        anyLabel = std::move(*label);
    }
    Alphabet texts;
    LabelTextCollector collector{texts, anyLabel};
    walk(nodes, root, collector);

    GFSA result;
    result.states.resize(static_cast<std::size_t>(stateCount));
    result.states[1].isTerminal = true;
    result.alphabet = Alphabet();
    TransitionEmitter emitter{nodes, texts, anyLabel, result};
    walk(nodes, root, emitter);
    return result;
}

// Parses `construct` at `tokenIndex` and lays out the automaton it denotes.
std::optional<ParseResult> parseAndBuild(const TokenList& tokens, std::size_t tokenIndex, Construct construct) {
    ExpressionParser parser(tokens);
    const auto root = parser.parse(construct, tokenIndex);
    if (!root) return std::nullopt;
    std::optional<GFSA> gfsa = layOut(parser.nodes(), root->first);
    if (!gfsa) return std::nullopt;
    return ParseResult{std::move(*gfsa), root->second};
}

bool startsWithHash(std::string_view text) {
    return !text.empty() && text.front() == '#';
}

} // namespace

// ---- Files and rules ------------------------------------------------------------

std::optional<std::string> loadGrammar(const std::string& path) {
    return readUtf8File(path);
}

namespace {

// Where a rule whose first line has no "=" may be followed by the next one:
// after the line that ends it with ";", or at a line that begins another
// rule with "=", whichever comes first.
std::size_t resumeAfterMissingEqualSign(const std::vector<std::string_view>& lines, std::size_t j) {
    for (std::size_t k = j; k < lines.size(); ++k) {
        if (k > j && lines[k].find('=') != std::string_view::npos) return k;
        if (lines[k].find(';') != std::string_view::npos) return k + 1;
    }
    return lines.size();
}

// The place of `part`, a view into `lines[line]`.
RuleReading::Place placeOf(const std::vector<std::string_view>& lines, std::size_t line, std::string_view part) {
    return RuleReading::Place{line, static_cast<std::size_t>(part.data() - lines[line].data())};
}

// The first line from `iLine` on that is not a comment, or the last line.
std::size_t firstNonComment(const std::vector<std::string_view>& lines, std::size_t iLine) {
    std::size_t j = iLine;
    while (startsWithHash(trimBlanks(lines[j])) && j + 1 < lines.size()) ++j;
    return j;
}

// The text of a rule from `first` (the text after "=" on line `j`) up to
// the line that holds a ";", or to the end, the lines joined by a space and
// comments skipped; records its pieces in `reading` and resumes it after
// them. Cost: linear in the lines gathered.
std::string gatherRuleText(const std::vector<std::string_view>& lines, std::size_t j, std::string_view first,
                           RuleReading& reading) {
    std::string gathered(first);
    reading.pieces.push_back({0, placeOf(lines, j, first)});
    std::size_t next = j + 1;
    // Only the newly appended text is searched, so gathering stays linear.
    bool hasSemicolon = gathered.find(';') != std::string::npos;
    while (!hasSemicolon && next < lines.size()) {
        const std::string_view line = trimBlanks(lines[next]);
        if (!startsWithHash(line)) {
            gathered += ' ';
            reading.pieces.push_back({gathered.size(), placeOf(lines, next, line)});
            gathered += line;
            hasSemicolon = line.find(';') != std::string_view::npos;
        }
        ++next;
    }
    reading.resumeAt = next;
    return gathered;
}

// Reads the body of the rule in its gathered text: `reading` gets the rule,
// or the fault of a text that ends before the ";" or goes on after it.
void readBody(const std::string& gathered, RuleReading& reading) {
    const std::size_t semicolon = gathered.find(';');
    if (semicolon == std::string::npos) { // the text ended before the ";"
        reading.fault = RuleReading::Fault::noSemicolon;
        return;
    }
    const std::string_view gatheredView(gathered);
    const std::string_view after = trimBlanks(gatheredView.substr(semicolon + 1));
    if (!after.empty() && !startsWithHash(after)) {
        reading.fault = RuleReading::Fault::textAfterSemicolon;
        reading.faultText = std::string(after);
        reading.bodyStart = 0;
        reading.faultPlace = reading.placeOfBodyOffset(static_cast<std::size_t>(after.data() - gathered.data()));
        return;
    }
    const std::string_view body = trimBlanks(gatheredView.substr(0, semicolon));
    reading.bodyStart = static_cast<std::size_t>(body.data() - gathered.data());
    reading.rule = GrammarRule{reading.name, std::string(body), reading.resumeAt};
}

} // namespace

RuleReading::Place RuleReading::placeOfBodyOffset(std::size_t offset) const {
    const std::size_t gathered = offset + bodyStart;
    auto piece = std::upper_bound(pieces.begin(), pieces.end(), gathered,
                                  [](std::size_t at, const Piece& p) { return at < p.gatheredOffset; });
    if (piece == pieces.begin()) return namePlace;
    --piece;
    return Place{piece->place.line, piece->place.offset + (gathered - piece->gatheredOffset)};
}

RuleReading readOneRule(const std::vector<std::string_view>& lines, std::size_t iLine) {
    RuleReading reading;
    reading.resumeAt = iLine + 1;
    if (iLine >= lines.size()) {
        reading.fault = RuleReading::Fault::noEqualSign;
        return reading;
    }
    const std::size_t j = firstNonComment(lines, iLine);
    const std::string_view text = trimBlanks(lines[j]);
    reading.namePlace = placeOf(lines, j, text);
    const std::size_t equalSign = text.find('=');
    if (equalSign == std::string_view::npos) {
        reading.fault = RuleReading::Fault::noEqualSign;
        reading.resumeAt = resumeAfterMissingEqualSign(lines, j);
        return reading;
    }
    const std::string_view name = trimBlanks(text.substr(0, equalSign));
    reading.name = std::string(name);
    if (!name.empty()) reading.namePlace = placeOf(lines, j, name);
    const std::string gathered = gatherRuleText(lines, j, trimBlanks(text.substr(equalSign + 1)), reading);
    if (name.find(' ') != std::string_view::npos) {
        reading.fault = RuleReading::Fault::spaceInName;
        return reading;
    }
    readBody(gathered, reading);
    return reading;
}

std::optional<GrammarRule> getOneRule(const std::vector<std::string_view>& lines, std::size_t iLine) {
    return readOneRule(lines, iLine).rule;
}

std::optional<MGFSA> textualGrammarToMgfsa(std::string_view grammarString, LinguisticLevel linguisticLevel,
                                           const CompileOptions& options) {
    std::vector<std::string_view> lines = splitAtNewlines(grammarString);
    std::erase_if(lines, [](std::string_view line) { return line.empty(); });
    std::vector<GrammarRule> rules;
    std::size_t i = 0;
    while (i < lines.size()) {
        const std::string_view line = trimWhiteSpaceAndNewlines(lines[i]);
        if (line.empty() || startsWithHash(line)) {
            ++i;
            continue;
        }
        std::optional<GrammarRule> rule = getOneRule(lines, i);
        if (!rule) return std::nullopt;
        i = rule->nextLineIndex;
        rules.push_back(std::move(*rule));
    }
    // The rules compile independently; they join the grammar in file order.
    std::optional<std::vector<GFSA>> compiled = mapEachIndex(rules.size(), options.threads, [&](std::size_t r) {
        return expression2Gfsa(rules[r].ruleBody, linguisticLevel, options);
    });
    if (!compiled) return std::nullopt;
    MGFSA grammar(linguisticLevel);
    for (std::size_t r = 0; r < rules.size(); ++r) grammar.addGraph(rules[r].ruleName, std::move((*compiled)[r]));
    return grammar;
}

// ---- Expressions ------------------------------------------------------------------

namespace {

// The tokens of `expression` by the tokenizer of its level; absent when it
// fails (and for the level dictionary, which has none).
std::optional<TokenList> tokensOf(std::string_view expression, LinguisticLevel linguisticLevel) {
    switch (linguisticLevel) {
    case LinguisticLevel::orthographic:
        return Tokenizer::textualOrthographicGrammar(expression);
    case LinguisticLevel::syntax:
        return Tokenizer::textualSyntacticGrammar(expression);
    case LinguisticLevel::propertyDefinition:
        return Tokenizer::textualPropertiesDefinitionsGrammar(expression);
    case LinguisticLevel::dictionary:
        break;
    }
    return std::nullopt;
}

// The offset in `expression` of `tokens[index]`, tokens being pieces of the
// text in order (the wrapping "(" and ")" excluded: `index` counts from 1).
std::size_t tokenOffset(std::string_view expression, const TokenList& tokens, std::size_t index) {
    std::size_t cursor = 0;
    std::size_t found = 0;
    for (std::size_t i = 1; i <= index && i + 1 < tokens.size(); ++i) {
        const std::size_t at = expression.find(tokens[i], cursor);
        found = at == std::string_view::npos ? cursor : at;
        cursor = at == std::string_view::npos ? cursor : at + tokens[i].size();
    }
    return index + 1 >= tokens.size() ? expression.size() : found;
}

// A parenthesis of the written expression without its partner, or the token
// at which the outermost group ends before the end of the expression, or a
// final "|" or "&". `tokens` is wrapped; `groupEnd` is the index at which
// the expression inside the wrapping group stopped.
std::optional<ExpressionRemark> remarkOn(std::string_view expression, const TokenList& tokens, std::size_t groupEnd) {
    const auto remark = [&](ExpressionRemark::Kind kind, std::size_t index) {
        return ExpressionRemark{kind, tokenOffset(expression, tokens, index), tokens[index]};
    };
    std::vector<std::size_t> open;
    for (std::size_t i = 1; i + 1 < tokens.size(); ++i) {
        if (isToken(tokens[i], "(")) {
            open.push_back(i);
        } else if (isToken(tokens[i], ")")) {
            if (open.empty()) return remark(ExpressionRemark::Kind::unbalancedClosing, i);
            open.pop_back();
        }
    }
    if (!open.empty()) return remark(ExpressionRemark::Kind::unbalancedOpening, open.back());
    if (groupEnd + 1 < tokens.size()) return remark(ExpressionRemark::Kind::skippedToken, groupEnd);
    const std::string& last = tokens[tokens.size() - 2];
    if (isToken(last, "|") || isToken(last, "&"))
        return remark(ExpressionRemark::Kind::danglingOperator, tokens.size() - 2);
    return std::nullopt;
}

} // namespace

CompiledExpression compileExpression(std::string_view expression, LinguisticLevel linguisticLevel,
                                     const CompileOptions& options) {
    CompiledExpression compiled;
    const auto fail = [&](ExpressionFault::Kind kind, std::size_t offset, std::string token) {
        compiled.fault = ExpressionFault{kind, offset, std::move(token)};
        return std::move(compiled);
    };
    if (linguisticLevel == LinguisticLevel::dictionary) return fail(ExpressionFault::Kind::dictionaryLevel, 0, {});
    std::optional<TokenList> tokens = tokensOf(expression, linguisticLevel);
    if (!tokens) {
        const std::size_t offset = Tokenizer::badEscapeOffset(expression).value_or(0);
        std::size_t end = offset;
        if (end < expression.size()) decodeScalar(expression, end);
        return fail(ExpressionFault::Kind::badEscape, offset, std::string(expression.substr(offset, end - offset)));
    }
    if (tokens->empty()) return fail(ExpressionFault::Kind::empty, 0, {});
    // The whole expression is one group.
    tokens->insert(tokens->begin(), "(");
    tokens->push_back(")");
    ExpressionParser parser(*tokens);
    const auto root = parser.parse(Construct::expression, 0);
    if (!root) {
        const auto [kind, index] = parser.failurePoint(0);
        const std::size_t at = std::min(index, tokens->size() - 1);
        return fail(kind, tokenOffset(expression, *tokens, at), (*tokens)[at]);
    }
    const std::uint64_t maxStates = std::min(options.maxStates, maximalStateCount);
    if (parser.nodes()[root->first].stateCount > maxStates) return fail(ExpressionFault::Kind::tooLarge, 0, {});
    compiled.gfsa = layOut(parser.nodes(), root->first);
    if (!compiled.gfsa) return fail(ExpressionFault::Kind::tooLarge, 0, {});
    const std::size_t groupEnd = parser.nextAfter(Construct::expression, 1);
    if (std::optional<ExpressionRemark> remark = remarkOn(expression, *tokens, groupEnd))
        compiled.remarks.push_back(std::move(*remark));
    return compiled;
}

std::optional<GFSA> expression2Gfsa(std::string_view expression, LinguisticLevel linguisticLevel,
                                    const CompileOptions& options) {
    return std::move(compileExpression(expression, linguisticLevel, options).gfsa);
}

std::optional<ParseResult> expression2GFSA(const TokenList& tokensToParse, std::size_t tokenIndex,
                                           LinguisticLevel /*linguisticLevel*/) {
    if (tokensToParse.empty()) return std::nullopt;
    return parseAndBuild(tokensToParse, tokenIndex, Construct::expression);
}

std::optional<ParseResult> ParseTerm(const TokenList& tokensToParse, std::size_t tokenIndex,
                                     LinguisticLevel /*linguisticLevel*/) {
    return parseAndBuild(tokensToParse, tokenIndex, Construct::term);
}

std::optional<ParseResult> ParseFactor(const TokenList& tokensToParse, std::size_t tokenIndex,
                                       LinguisticLevel /*linguisticLevel*/) {
    return parseAndBuild(tokensToParse, tokenIndex, Construct::factor);
}

} // namespace lexpand
