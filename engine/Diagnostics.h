// Diagnostics: what the checker says about a lexicon, as values. Every kind
// of problem has a code, a name (the "-W" name of a warning, the rule id of
// a SARIF log) and a default severity; every message text is written by a
// function of this file, so that the words of the checker live in one place.
// The engine makes diagnostics and hands them to a sink; only programs print.

#ifndef LEXPAND_ENGINE_DIAGNOSTICS_H
#define LEXPAND_ENGINE_DIAGNOSTICS_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Morphology.h"

namespace lexpand {

enum class Severity { error, warning, note };

// Where a problem is. Lines and columns count from 1; columns count Unicode
// code points. Line 0 stands for the whole file; column 0 for the whole line.
struct SourceLocation {
    std::string file;
    std::size_t line = 0;
    std::size_t column = 0;
};

// Every kind of problem the checker finds, in the order of the inputs: files,
// grammar rules, properties definitions, dictionary entries, the whole run.
enum class DiagnosticCode : std::uint8_t {
    unreadableFile,
    notUtf8,
    missingGrammar,
    malformedRule,
    unterminatedRule,
    ruleDoesNotCompile,
    ruleTooLarge,
    unbalancedParenthesis,
    ignoredToken,
    danglingOperator,
    ruleRedefined,
    ruleDefinedElsewhere,
    grammarUsedTwice,
    ruleNamedMain,
    undefinedCall,
    recursiveRule,
    ruleFails,
    unusedRule,
    definitionWithoutCategory,
    definitionFails,
    notAnEntry,
    malformedProperties,
    ignoredText,
    undefinedParadigm,
    paradigmDoesNotCompile,
    paradigmFails,
    cannotInflect,
    cannotDerive,
    derivationWithoutInflection,
    invalidForm,
    entryFails,
    inconsistentForm,
    noForm,
    duplicateEntry,
    unlistedValue,
    noFormAtAll,
};

// The facts about one code: its name (lower case words joined by "-"), its
// default severity and a one-line summary for the rule list of a SARIF log.
struct DiagnosticKind {
    DiagnosticCode code;
    std::string_view name;
    Severity severity;
    std::string_view summary;
};

// Every kind, in code order.
std::span<const DiagnosticKind> diagnosticKinds();
const DiagnosticKind& kindOf(DiagnosticCode code);

// A place related to a problem, with what it is ("first defined here").
struct RelatedNote {
    std::string message;
    SourceLocation location;
};

struct Diagnostic {
    DiagnosticCode code = DiagnosticCode::entryFails;
    Severity severity = Severity::error;
    std::string message;
    SourceLocation location;
    std::vector<RelatedNote> notes;
};

// "error", "warning" or "note".
std::string_view severityName(Severity severity);

// Puts `diagnostics` in the order a report lists them: by file (the problems
// of no file first), line and column, then in the order they were found.
// Cost: O(n log n) comparisons.
void sortForReport(std::vector<Diagnostic>& diagnostics);

// Where the engine sends what it finds. report() answers false once the
// receiver wants no more: the checker then stops at the next convenient point.
class DiagnosticSink {
public:
    virtual ~DiagnosticSink() = default;
    virtual bool report(Diagnostic diagnostic) = 0;
};

// The checkers' way to a sink: remembers when the sink wants no more, after
// which every report is dropped.
class Reporter {
public:
    explicit Reporter(DiagnosticSink& sink) : sink_(sink) {}
    void report(Diagnostic diagnostic) {
        if (diagnostic.severity == Severity::error) ++errors_;
        if (!stopped_ && !sink_.report(std::move(diagnostic))) stopped_ = true;
    }
    bool stopped() const { return stopped_; }
    // The errors reported so far (warnings not counted).
    std::size_t errors() const { return errors_; }

private:
    DiagnosticSink& sink_;
    bool stopped_ = false;
    std::size_t errors_ = 0;
};

// A diagnostic of `code` with its default severity.
Diagnostic makeDiagnostic(DiagnosticCode code, SourceLocation location, std::string message);

// ---- Source positions ----------------------------------------------------------

// A text with the offsets where its lines begin, as editors count lines: a
// line ends at "\n", "\r\n" or a lone "\r". The text must outlive it.
class SourceText {
public:
    // Cost: one pass over the text.
    SourceText(std::string file, std::string_view text);

    // The line and column of byte `offset` (the column counts code points
    // from the start of the line). Cost: logarithmic in the number of lines,
    // plus the length of the line.
    SourceLocation locate(std::size_t offset) const;
    // The offset in the text of `part`, a view into it.
    std::size_t offsetOf(std::string_view part) const { return static_cast<std::size_t>(part.data() - text_.data()); }

    const std::string& file() const { return file_; }
    std::string_view text() const { return text_; }

private:
    std::string file_;
    std::string_view text_;
    std::vector<std::size_t> lineStarts_;
};

// Counts lines forward through one text, for callers that visit its offsets
// in ascending order: each call costs the distance from the previous one.
class LineCounter {
public:
    LineCounter(std::string_view file, std::string_view text) : file_(file), text_(text) {}
    // `offset` must not be below the previous call's.
    SourceLocation locate(std::size_t offset);

private:
    std::string file_;
    std::string_view text_;
    std::size_t scanned_ = 0;   // offsets below this are counted
    std::size_t line_ = 1;      // the line of `scanned_`
    std::size_t lineStart_ = 0; // where that line begins
};

// The offset of the first byte of `text` that is not well-formed UTF-8, or
// text.size() when every byte is.
std::size_t firstInvalidUtf8Offset(std::string_view text);

// The names of `candidates` closest to `name` by edit distance (at most a
// third of the name's length, at least 1, at most 3 of them, nearest first,
// then in code-point order); empty when none is close. Cost: the length of
// `name` times the total length of the candidates.
std::vector<std::string> closestNames(std::string_view name, const std::vector<std::string>& candidates);

// ---- Message texts ---------------------------------------------------------------
//
// Each function answers the message of one situation; names and texts of the
// input are quoted as written. "Because" parts are short phrases that other
// messages embed ("token \"x\" is not a label").

namespace message {

// Files.
std::string unreadableFile();
std::string notUtf8(unsigned char byte);
std::string missingGrammar(std::string_view name, std::string_view path);
std::string dictionaryGivenTwice();

// Grammar rules.
std::string noEqualSign();
std::string spaceInRuleName(std::string_view name);
std::string textAfterSemicolon(std::string_view text);
std::string unterminatedRule(std::string_view ruleName);
std::string ruleDoesNotCompile(std::string_view ruleName, std::string_view because);
std::string badEscape(std::string_view character);
std::string emptyExpression();
std::string rejectedLabel(std::string_view token);
std::string rejectedOutput(std::string_view token);
std::string expressionEndsEarly(std::string_view afterToken);
std::string tooManyStates(std::string_view ruleName, std::uint64_t limit);
std::string pastDeterminizationBound(std::string_view ruleName);
std::string unbalancedClosing();
std::string unbalancedOpening();
std::string ignoredToken(std::string_view token);
std::string danglingOperator(std::string_view op);
std::string ruleRedefined(std::string_view ruleName);
std::string earlierDefinition();
std::string ruleDefinedElsewhere(std::string_view ruleName, std::string_view otherFile);
std::string firstDefinition();
std::string grammarUsedTwice(std::string_view grammar);
std::string firstUse();
std::string ruleNamedMain();
std::string undefinedCall(std::string_view ruleName, std::string_view called, const std::vector<std::string>& closest);
std::string recursiveRule(std::string_view ruleName, const std::vector<std::string>& cycle);
std::string tooManyPaths(std::string_view paradigm, std::size_t limit);
std::string callsTooDeep(std::string_view paradigm, std::size_t limit, const std::vector<std::string>& calls);
std::string tooManySteps(std::string_view paradigm);
std::string noPath(std::string_view paradigm);
std::string commandDoesNotParse(std::string_view paradigm, std::size_t path, std::string_view command);
std::string derivationDoesNotSplit(std::string_view paradigm, std::size_t path,
                                   const std::vector<std::string>& outputs);
std::string derivedCategoryNotCapital(std::string_view paradigm, std::string_view category);
std::string unusedRule(std::string_view ruleName);

// Properties definitions.
std::string definitionWithoutCategory(std::string_view ruleName);
std::string definitionCallsUndefined(std::string_view ruleName, std::string_view called);
std::string definitionFails(std::string_view ruleName, std::string_view because);

// Dictionary entries.
std::string notAnEntry();
std::string noComma();
std::string emptyLemma();
std::string missingCategory();
std::string categoryNotCapital(std::string_view written);
std::string secondEntry();
std::string indentedUse();
std::string unclosedQuote();
std::string unclosedBracket();
std::string backslashAtEnd();
std::string textBeforeLemma(std::string_view ignored);
std::string textAfterCategory(std::string_view category, std::string_view ignored);
std::string undefinedParadigm(std::string_view name, const std::vector<std::string>& closest);
std::string paradigmDoesNotCompile(std::string_view value, std::string_view because);
std::string cannotInflect(std::string_view paradigm, std::string_view wordForm, std::size_t path,
                          std::string_view command, std::string_view because);
std::string cannotDerive(std::string_view paradigm, std::string_view wordForm, std::size_t path,
                         std::string_view command, std::string_view because);
std::string cannotInflectDerived(std::string_view paradigm, std::string_view derivedForm, std::size_t path,
                                 std::string_view command, std::string_view because);
std::string unwritableReverseCommand(std::string_view wordForm, std::string_view derivation);
std::string derivationWithoutInflection(std::string_view value);
std::string invalidForm(std::string_view line);
std::string entryFails();
std::string inconsistentForm(std::string_view wordForm, std::string_view property, std::string_view firstValue,
                             std::string_view secondValue);
std::string noForm();
std::string duplicateEntry(std::string_view canonicalEntry);
std::string firstGiven();
std::string unlistedValue(std::string_view property, std::string_view value, std::string_view category,
                          const std::vector<std::string>& listed);
std::string noFormAtAll();

// Why one operator of a command cannot be applied (the editor's checks).
std::string editFailure(const Morphology::Operator& op);

} // namespace message

} // namespace lexpand

#endif // LEXPAND_ENGINE_DIAGNOSTICS_H
