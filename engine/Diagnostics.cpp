// Exports the diagnostic kinds, makeDiagnostic, SourceText, LineCounter,
// firstInvalidUtf8Offset, closestNames and every message text of the checker.

#include "Diagnostics.h"

#include <algorithm>
#include <array>
#include <tuple>
#include <utility>

#include "TextServices.h"

namespace lexpand {

namespace {

constexpr auto error = Severity::error;
constexpr auto warning = Severity::warning;
using Code = DiagnosticCode;

constexpr std::array kinds{
    DiagnosticKind{Code::unreadableFile, "unreadable-file", error, "A file cannot be read"},
    DiagnosticKind{Code::notUtf8, "not-utf8", error, "A file is not UTF-8 text"},
    DiagnosticKind{Code::missingGrammar, "missing-grammar", error, "A grammar named by \"#use\" cannot be read"},
    DiagnosticKind{Code::malformedRule, "malformed-rule", error,
                   "A rule is not a name, \"=\", an expression and \";\""},
    DiagnosticKind{Code::unterminatedRule, "unterminated-rule", error,
                   "A rule has no \";\" before the end of its file"},
    DiagnosticKind{Code::ruleDoesNotCompile, "rule-does-not-compile", error, "A rule's expression does not compile"},
    DiagnosticKind{Code::ruleTooLarge, "rule-too-large", error, "A rule's automaton passes the size bounds"},
    DiagnosticKind{Code::unbalancedParenthesis, "unbalanced-parenthesis", warning,
                   "A parenthesis has no partner; lexpand reads the rule without it"},
    DiagnosticKind{Code::ignoredToken, "ignored-token", warning, "Tokens of a rule that lexpand skips"},
    DiagnosticKind{Code::danglingOperator, "dangling-operator", warning,
                   "An expression that ends with \"|\" or \"&\"; lexpand reads a \")\" after it"},
    DiagnosticKind{Code::ruleRedefined, "rule-redefined", warning,
                   "A rule defined twice in one file; the later definition replaces the earlier"},
    DiagnosticKind{Code::ruleDefinedElsewhere, "rule-defined-elsewhere", error,
                   "A rule that an earlier grammar already defines"},
    DiagnosticKind{Code::grammarUsedTwice, "grammar-used-twice", error, "A grammar loaded twice in one run"},
    DiagnosticKind{Code::ruleNamedMain, "rule-named-main", error,
                   "A grammar of the command line defines a rule named \"Main\""},
    DiagnosticKind{Code::undefinedCall, "undefined-call", error, "A rule calls a rule that no grammar defines"},
    DiagnosticKind{Code::recursiveRule, "recursive-rule", error, "A rule calls itself, directly or through others"},
    DiagnosticKind{Code::ruleFails, "rule-fails", error, "A paradigm that fails for every entry"},
    DiagnosticKind{Code::unusedRule, "unused-rule", warning, "A rule that no entry of the dictionaries uses"},
    DiagnosticKind{Code::definitionWithoutCategory, "definition-without-category", error,
                   "A rule of the properties definitions names no category"},
    DiagnosticKind{Code::definitionFails, "definition-fails", error,
                   "A rule of the properties definitions cannot be enumerated"},
    DiagnosticKind{Code::notAnEntry, "not-an-entry", error, "A dictionary line is not an entry"},
    DiagnosticKind{Code::malformedProperties, "malformed-properties", error, "An entry's properties do not split"},
    DiagnosticKind{Code::ignoredText, "ignored-text", warning, "Text of an entry line that lexpand ignores"},
    DiagnosticKind{Code::undefinedParadigm, "undefined-paradigm", error, "An entry names a paradigm no rule defines"},
    DiagnosticKind{Code::paradigmDoesNotCompile, "paradigm-does-not-compile", error,
                   "An entry's paradigm expression does not compile"},
    DiagnosticKind{Code::paradigmFails, "paradigm-fails", error, "An entry's paradigm expression cannot be explored"},
    DiagnosticKind{Code::cannotInflect, "cannot-inflect", error,
                   "An inflectional command cannot be applied to an entry"},
    DiagnosticKind{Code::cannotDerive, "cannot-derive", error,
                   "A derivational command, or the inflection of a derived form, cannot be applied"},
    DiagnosticKind{Code::derivationWithoutInflection, "derivation-without-inflection", error,
                   "A derivation names no inflection and the entry has none"},
    DiagnosticKind{Code::invalidForm, "invalid-form", error, "The line of a generated form is not an entry"},
    DiagnosticKind{Code::entryFails, "entry-fails", error, "An entry cannot be expanded"},
    DiagnosticKind{Code::inconsistentForm, "inconsistent", warning,
                   "A form dropped because an exclusive property has two values"},
    DiagnosticKind{Code::noForm, "no-form", warning, "An entry with paradigms that generates no form"},
    DiagnosticKind{Code::duplicateEntry, "duplicate-entry", warning, "An entry given twice"},
    DiagnosticKind{Code::unlistedValue, "unlisted-value", warning,
                   "A property value that the definitions do not list for the category"},
    DiagnosticKind{Code::noFormAtAll, "no-form-at-all", error, "The dictionaries generate no form at all"},
};

// The table is indexed by code.
constexpr bool inCodeOrder() {
    for (std::size_t i = 0; i < kinds.size(); ++i)
        if (static_cast<std::size_t>(kinds[i].code) != i) return false;
    return true;
}
static_assert(inCodeOrder());

std::string quoted(std::string_view text) {
    std::string result;
    result.reserve(text.size() + 2);
    result.append(1, '"').append(text).append(1, '"');
    return result;
}

// ["a", "b"], the way lists are written in lexpand's failure texts.
std::string bracketedList(const std::vector<std::string>& items) {
    std::string text = "[";
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (i > 0) text += ", ";
        text += quoted(items[i]);
    }
    return text + "]";
}

// "a", "b" or "c" (`conjunction` "or"), "a", "b" and "c" (`conjunction` "and")
std::string alternatives(const std::vector<std::string>& items, std::string_view conjunction = "or") {
    std::string text;
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (i > 0) text += i + 1 == items.size() ? " " + std::string(conjunction) + " " : ", ";
        text += quoted(items[i]);
    }
    return text;
}

std::string didYouMean(const std::vector<std::string>& closest) {
    if (closest.empty()) return std::string();
    return " (did you mean " + alternatives(closest) + "?)";
}

// 10000000 as "10,000,000".
std::string withThousands(std::uint64_t number) {
    std::string digits = std::to_string(number);
    for (std::size_t i = digits.size(); i > 3; i -= 3) digits.insert(i - 3, 1, ',');
    return digits;
}

std::string arrowChain(const std::vector<std::string>& names) {
    std::string text;
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (i > 0) text += " \u2192 ";
        text += quoted(names[i]);
    }
    return text;
}

std::string operatorText(const Morphology::Operator& op) {
    std::string text;
    Morphology::appendOperatorText(text, op.type, op.parameter);
    return text;
}

// Edit distance between the code points of two texts (insertions,
// deletions, substitutions and swaps of neighbours), capped at `cap` + 1.
std::size_t editDistance(const std::u32string& a, const std::u32string& b, std::size_t cap) {
    const std::size_t difference = a.size() > b.size() ? a.size() - b.size() : b.size() - a.size();
    if (difference > cap) return cap + 1;
    std::vector<std::size_t> beforePrevious(b.size() + 1);
    std::vector<std::size_t> previous(b.size() + 1);
    std::vector<std::size_t> current(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) previous[j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        current[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t substitution = previous[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            current[j] = std::min({previous[j] + 1, current[j - 1] + 1, substitution});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                current[j] = std::min(current[j], beforePrevious[j - 2] + 1);
        }
        std::swap(beforePrevious, previous);
        std::swap(previous, current);
    }
    return std::min(previous[b.size()], cap + 1);
}

std::u32string scalarsOf(std::string_view text) {
    std::u32string scalars;
    for (std::size_t position = 0; position < text.size();) scalars.push_back(decodeScalar(text, position));
    return scalars;
}

} // namespace

std::span<const DiagnosticKind> diagnosticKinds() {
    return kinds;
}

const DiagnosticKind& kindOf(DiagnosticCode code) {
    return kinds[static_cast<std::size_t>(code)];
}

Diagnostic makeDiagnostic(DiagnosticCode code, SourceLocation location, std::string message) {
    return Diagnostic{code, kindOf(code).severity, std::move(message), std::move(location), {}};
}

namespace {

// True when byte `i` of `text` ends a line.
bool endsLine(std::string_view text, std::size_t i) {
    return text[i] == '\n' || (text[i] == '\r' && (i + 1 >= text.size() || text[i + 1] != '\n'));
}

// The code points of `text` from `begin` up to `offset`, plus one.
std::size_t columnAt(std::string_view text, std::size_t begin, std::size_t offset) {
    std::size_t column = 1;
    for (std::size_t i = begin; i < offset; ++i)
        if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80) ++column;
    return column;
}

} // namespace

SourceText::SourceText(std::string file, std::string_view text) : file_(std::move(file)), text_(text) {
    lineStarts_.push_back(0);
    for (std::size_t i = 0; i < text.size(); ++i)
        if (endsLine(text, i)) lineStarts_.push_back(i + 1);
}

SourceLocation SourceText::locate(std::size_t offset) const {
    offset = std::min(offset, text_.size());
    const auto next = std::upper_bound(lineStarts_.begin(), lineStarts_.end(), offset);
    const auto line = static_cast<std::size_t>(next - lineStarts_.begin());
    return SourceLocation{file_, line, columnAt(text_, lineStarts_[line - 1], offset)};
}

SourceLocation LineCounter::locate(std::size_t offset) {
    offset = std::min(offset, text_.size());
    for (; scanned_ < offset; ++scanned_) {
        if (endsLine(text_, scanned_)) {
            ++line_;
            lineStart_ = scanned_ + 1;
        }
    }
    return SourceLocation{file_, line_, columnAt(text_, lineStart_, offset)};
}

std::size_t firstInvalidUtf8Offset(std::string_view text) {
    // decodeScalar answers U+FFFD for a malformed sequence, and for the three
    // bytes that encode U+FFFD itself.
    for (std::size_t position = 0; position < text.size();) {
        const std::size_t begin = position;
        if (decodeScalar(text, position) == U'\uFFFD' && text.substr(begin, position - begin) != "\xEF\xBF\xBD")
            return begin;
    }
    return text.size();
}

std::vector<std::string> closestNames(std::string_view name, const std::vector<std::string>& candidates) {
    const std::u32string target = scalarsOf(name);
    const std::size_t cap = std::max<std::size_t>(1, target.size() / 3);
    std::vector<std::pair<std::size_t, std::string>> near;
    for (const std::string& candidate : candidates) {
        if (candidate == name) continue;
        const std::size_t distance = editDistance(target, scalarsOf(candidate), cap);
        if (distance <= cap) near.emplace_back(distance, candidate);
    }
    std::sort(near.begin(), near.end());
    std::vector<std::string> names;
    for (std::size_t i = 0; i < near.size() && i < 3; ++i) names.push_back(std::move(near[i].second));
    return names;
}

namespace message {

std::string unreadableFile() {
    return "cannot read this file";
}

std::string notUtf8(unsigned char byte) {
    constexpr std::string_view hex = "0123456789ABCDEF";
    return std::string("not UTF-8 text: the byte 0x") + hex[byte >> 4] + hex[byte & 0xF] +
           " does not belong to a UTF-8 character";
}

std::string missingGrammar(std::string_view name, std::string_view path) {
    return "grammar " + quoted(name) + " named by \"#use\" cannot be read at " + std::string(path);
}

std::string dictionaryGivenTwice() {
    return "this dictionary is given twice: lexpand expands its entries twice";
}

std::string noEqualSign() {
    return "a rule is a name, \"=\", an expression and \";\": this line has no \"=\"";
}

std::string spaceInRuleName(std::string_view name) {
    return "the rule name " + quoted(name) + " holds a space";
}

std::string textAfterSemicolon(std::string_view text) {
    return "text after the \";\" that ends the rule: " + quoted(text) + " (only a \"#\" comment may follow)";
}

std::string unterminatedRule(std::string_view ruleName) {
    return "rule " + quoted(ruleName) + " has no \";\" before the end of the file";
}

std::string ruleDoesNotCompile(std::string_view ruleName, std::string_view because) {
    return "rule " + quoted(ruleName) + " does not compile: " + std::string(because);
}

std::string badEscape(std::string_view character) {
    return "a backslash protects one of \" $ ( ) * / < \\ |, not " + quoted(character);
}

std::string emptyExpression() {
    return "the expression is empty";
}

std::string rejectedLabel(std::string_view token) {
    const std::string text = quoted(token);
    if (token.starts_with('"'))
        return text + " is not a label: a quoted string needs its closing quote and no backslash";
    if (token.starts_with('<')) {
        if (!token.ends_with('>')) return text + " is not a label: \"<\" is not closed by \">\"";
        return text + " is not a label: a symbol is \"<\", a name and \">\"";
    }
    if (token.starts_with('\\')) return text + " is not a label: a backslash protects exactly one character";
    return text + " is not a label";
}

std::string rejectedOutput(std::string_view token) {
    return "the output " + quoted(token) + " cannot be written";
}

std::string expressionEndsEarly(std::string_view afterToken) {
    return "the expression ends after " + quoted(afterToken) + ", where a term must follow";
}

std::string tooManyStates(std::string_view ruleName, std::uint64_t limit) {
    return "rule " + quoted(ruleName) + " is too large: its automaton would have more than " + withThousands(limit) +
           " states";
}

std::string pastDeterminizationBound(std::string_view ruleName) {
    return "rule " + quoted(ruleName) + " is too large: its determinized automaton passes the determinization bound";
}

std::string unbalancedClosing() {
    return "unbalanced \")\": lexpand reads the rule as if it were not there";
}

std::string unbalancedOpening() {
    return "unbalanced \"(\": lexpand reads the rule as if a \")\" closed it at the end";
}

std::string ignoredToken(std::string_view token) {
    return quoted(token) + " cannot start a term here: lexpand skips it as if it were a \")\"";
}

std::string danglingOperator(std::string_view op) {
    return "the expression ends with " + quoted(op) + ": lexpand reads a \")\" as the label after it";
}

std::string ruleRedefined(std::string_view ruleName) {
    return "rule " + quoted(ruleName) + " is defined again: this definition replaces the earlier one";
}

std::string earlierDefinition() {
    return "the earlier definition";
}

std::string ruleDefinedElsewhere(std::string_view ruleName, std::string_view otherFile) {
    return "rule " + quoted(ruleName) + " is already defined in " + std::string(otherFile) +
           ": lexpand refuses a grammar that defines it again";
}

std::string firstDefinition() {
    return "first defined here";
}

std::string grammarUsedTwice(std::string_view grammar) {
    return "grammar " + quoted(grammar) + " is already loaded: lexpand refuses to merge its rules a second time";
}

std::string firstUse() {
    return "first loaded here";
}

std::string ruleNamedMain() {
    return "a grammar of the command line may not define a rule named \"Main\"";
}

std::string undefinedCall(std::string_view ruleName, std::string_view called, const std::vector<std::string>& closest) {
    return "rule " + quoted(ruleName) + " calls " + quoted(called) + ", which no grammar defines" + didYouMean(closest);
}

std::string recursiveRule(std::string_view ruleName, const std::vector<std::string>& cycle) {
    if (cycle.size() <= 2) return "rule " + quoted(ruleName) + " calls itself";
    return "rule " + quoted(ruleName) + " calls itself: " + arrowChain(cycle);
}

std::string tooManyPaths(std::string_view paradigm, std::size_t limit) {
    return "paradigm " + quoted(paradigm) + " has more than " + withThousands(limit) + " paths";
}

std::string callsTooDeep(std::string_view paradigm, std::size_t limit, const std::vector<std::string>& calls) {
    // A name met twice closes a cycle: the calls never end, whatever the limit.
    for (std::size_t j = 1; j < calls.size(); ++j) {
        const auto first = std::find(calls.begin(), calls.begin() + static_cast<std::ptrdiff_t>(j), calls[j]);
        if (first == calls.begin() + static_cast<std::ptrdiff_t>(j)) continue;
        const std::vector<std::string> cycle(first, calls.begin() + static_cast<std::ptrdiff_t>(j) + 1);
        return quoted(paradigm) + " calls itself without end: " + arrowChain(cycle);
    }
    std::string chain;
    constexpr std::size_t shown = 3;
    if (calls.size() <= 2 * shown) {
        chain = arrowChain(calls);
    } else {
        chain = arrowChain(std::vector<std::string>(calls.begin(), calls.begin() + shown)) + " \u2192 \u2026 \u2192 " +
                arrowChain(std::vector<std::string>(calls.end() - shown, calls.end()));
    }
    return quoted(paradigm) + " nests calls more than " + std::to_string(limit) + " deep: " + chain;
}

std::string tooManySteps(std::string_view paradigm) {
    return "paradigm " + quoted(paradigm) + " takes too long to explore";
}

std::string noPath(std::string_view paradigm) {
    return "paradigm " + quoted(paradigm) + " has no path to a final state: it generates nothing";
}

std::string commandDoesNotParse(std::string_view paradigm, std::size_t path, std::string_view command) {
    return "path " + std::to_string(path) + " of paradigm " + quoted(paradigm) + " reads " + quoted(command) +
           ", which is not a morphological command";
}

std::string derivationDoesNotSplit(std::string_view paradigm, std::size_t path,
                                   const std::vector<std::string>& outputs) {
    if (outputs.empty())
        return "path " + std::to_string(path) + " of derivation " + quoted(paradigm) +
               " writes no output: a derivation writes the category of its forms";
    return "the outputs of path " + std::to_string(path) + " of derivation " + quoted(paradigm) +
           " do not begin with a category: " + bracketedList(outputs);
}

std::string derivedCategoryNotCapital(std::string_view paradigm, std::string_view category) {
    return "derivation " + quoted(paradigm) + " gives the category " + quoted(category) +
           ", which is not written in capital letters";
}

std::string unusedRule(std::string_view ruleName) {
    return "rule " + quoted(ruleName) + " is used by no entry of the dictionaries checked";
}

std::string definitionWithoutCategory(std::string_view ruleName) {
    return "rule " + quoted(ruleName) + " names no category: write CATEGORY_" + std::string(ruleName) +
           ", or MORPHOLOGICALPROPERTIES or EXCLUSIVEPROPERTIES";
}

std::string definitionCallsUndefined(std::string_view ruleName, std::string_view called) {
    return "rule " + quoted(ruleName) + " calls " + quoted(called) + ", which the file does not define";
}

std::string definitionFails(std::string_view ruleName, std::string_view because) {
    return "rule " + quoted(ruleName) + " cannot be enumerated: " + std::string(because);
}

std::string notAnEntry() {
    return "not an entry: an entry is a lemma, \",\", a category in capital letters and \"+\" properties";
}

std::string noComma() {
    return "not an entry: an entry is a lemma, \",\" and a category in capital letters";
}

std::string emptyLemma() {
    return "not an entry: the lemma before \",\" is empty";
}

std::string missingCategory() {
    return "not an entry: no category after \",\"";
}

std::string categoryNotCapital(std::string_view written) {
    return "not an entry: the category " + quoted(written) + " is not written in capital letters A to Z";
}

std::string secondEntry() {
    return "not an entry: a second lemma and category begin here; a line holds one entry";
}

std::string indentedUse() {
    return "not an entry: \"#use\" names a grammar only in the first column";
}

std::string unclosedQuote() {
    return "the properties end inside this double-quoted part";
}

std::string unclosedBracket() {
    return "the properties end inside this \"<\" part, which no \">\" closes";
}

std::string backslashAtEnd() {
    return "the properties end with a backslash that protects nothing";
}

std::string textBeforeLemma(std::string_view ignored) {
    return "lexpand ignores " + quoted(ignored) + " before the lemma";
}

std::string textAfterCategory(std::string_view category, std::string_view ignored) {
    return "lexpand reads the category " + quoted(category) + " and ignores " + quoted(ignored);
}

std::string undefinedParadigm(std::string_view name, const std::vector<std::string>& closest) {
    return "paradigm " + quoted(name) + " is not defined" + didYouMean(closest);
}

std::string paradigmDoesNotCompile(std::string_view value, std::string_view because) {
    return "paradigm expression " + quoted(value) + " does not compile: " + std::string(because);
}

namespace {

std::string pathAndCommand(std::size_t path, std::string_view command, std::string_view because) {
    return ": path " + std::to_string(path) + " reads " + quoted(command) + ", and " + std::string(because);
}

} // namespace

std::string cannotInflect(std::string_view paradigm, std::string_view wordForm, std::size_t path,
                          std::string_view command, std::string_view because) {
    return "cannot apply inflectional paradigm " + quoted(paradigm) + " to word form " + quoted(wordForm) +
           pathAndCommand(path, command, because);
}

std::string cannotDerive(std::string_view paradigm, std::string_view wordForm, std::size_t path,
                         std::string_view command, std::string_view because) {
    return "cannot apply derivational paradigm " + quoted(paradigm) + " to word form " + quoted(wordForm) +
           pathAndCommand(path, command, because);
}

std::string cannotInflectDerived(std::string_view paradigm, std::string_view derivedForm, std::size_t path,
                                 std::string_view command, std::string_view because) {
    return "cannot apply inflectional paradigm " + quoted(paradigm) + " to derived form " + quoted(derivedForm) +
           pathAndCommand(path, command, because);
}

std::string unwritableReverseCommand(std::string_view wordForm, std::string_view derivation) {
    return "the command that leads from form " + quoted(wordForm) + " of derivation " + quoted(derivation) +
           " back to the lemma cannot be written (the lemma holds white space, a quote or a backslash)";
}

std::string derivationWithoutInflection(std::string_view value) {
    return "cannot find inflectional paradigm for derivation " + quoted(value) + ": write DRV=" + std::string(value) +
           ":NAME, DRV=" + std::string(value) + ": or give the entry FLX=";
}

std::string invalidForm(std::string_view line) {
    return "a generated form gives the line " + quoted(line) + ", which is not an entry";
}

std::string entryFails() {
    return "the entry cannot be expanded";
}

std::string inconsistentForm(std::string_view wordForm, std::string_view property, std::string_view firstValue,
                             std::string_view secondValue) {
    return "form " + quoted(wordForm) + " is dropped: exclusive property " + std::string(property) +
           " has the values " + std::string(firstValue) + " and " + std::string(secondValue);
}

std::string noForm() {
    return "the entry generates no form: every form is dropped";
}

std::string duplicateEntry(std::string_view canonicalEntry) {
    return "entry " + quoted(canonicalEntry) + " is given twice: lexpand prints its forms twice";
}

std::string firstGiven() {
    return "first given here";
}

std::string unlistedValue(std::string_view property, std::string_view value, std::string_view category,
                          const std::vector<std::string>& listed) {
    constexpr std::size_t shown = 8;
    std::vector<std::string> values(listed.begin(),
                                    listed.begin() + static_cast<std::ptrdiff_t>(std::min(listed.size(), shown)));
    std::string text = "the definitions do not list " + quoted(value) + " among the values of " +
                       std::string(property) + " for category " + std::string(category);
    if (values.empty()) return text;
    text += " (" + std::string(values.size() == 1 ? "it lists " : "they list ");
    if (listed.size() > shown) {
        for (const std::string& item : values) text += quoted(item) + ", ";
        return text + "\u2026)";
    }
    return text + alternatives(values, "and") + ")";
}

std::string noFormAtAll() {
    return "the dictionaries generate no form at all: lexpand would end with \"*** Cannot generate any form\"";
}

std::string editFailure(const Morphology::Operator& op) {
    const std::string text = quoted(operatorText(op));
    const std::int64_t n = op.parameter;
    if (op.type.size() != 1) return text + " is not a command";
    if (n < -1) return text + " has a negative count";
    switch (op.type[0]) {
    case 'B':
        return text + " deletes more characters than stand before the cursor";
    case 'C':
        return n != 1 ? text + " takes no count" : text + " finds no character after the cursor";
    case 'D':
    case 'E':
        return text + " takes no count";
    case 'L':
        return text + " moves the cursor past the start of the word form";
    case 'R':
        return text + " moves the cursor past the end of the word form";
    case 'S':
        return n == -1 ? text + " has no W form" : text + " deletes more characters than stand after the cursor";
    case 'N':
        return text + " finds no word to move over in an empty word form";
    case 'P':
        return n == -1 ? text + " finds no letter in the word form" : text + " finds no previous word";
    default:
        return text + " is not a command";
    }
}

} // namespace message

std::string_view severityName(Severity severity) {
    switch (severity) {
    case Severity::error:
        return "error";
    case Severity::warning:
        return "warning";
    case Severity::note:
        return "note";
    }
    return "error";
}

void sortForReport(std::vector<Diagnostic>& diagnostics) {
    std::stable_sort(diagnostics.begin(), diagnostics.end(), [](const Diagnostic& a, const Diagnostic& b) {
        return std::tie(a.location.file, a.location.line, a.location.column) <
               std::tie(b.location.file, b.location.line, b.location.column);
    });
}

} // namespace lexpand
