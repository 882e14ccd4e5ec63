// Grammar checks: grammar texts read and compiled rule by rule, so that one
// broken rule leaves the others checked and usable; the rules of every
// morphological grammar of a run merged as lexpand merges them; then the
// calls between rules (undefined rules, rules that call themselves) and the
// rules that no entry uses.

#ifndef LEXPAND_ENGINE_GRAMMARCHECK_H
#define LEXPAND_ENGINE_GRAMMARCHECK_H

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "Diagnostics.h"
#include "MGFSA.h"

namespace lexpand {

// A rule that compiled, with where it stands and the rules it calls.
struct CheckedRule {
    std::string name;
    SourceLocation site; // of the rule name
    std::string body;    // as the rule reader gathered it
    GFSA gfsa;           // as compiled, with its own alphabet
    struct Call {
        std::string name;
        SourceLocation location; // of the ":Name" token
    };
    std::vector<Call> calls; // each called name once, in label order
};

// The rules of one text: those that compile, in text order, redefinitions
// included (adding them in order keeps the later one, as lexpand does), and
// the names of those that do not.
struct CheckedRules {
    std::vector<CheckedRule> rules;
    std::vector<std::string> failedNames;
};

// Reads every rule of `source` as textualGrammarToMgfsa does and compiles it
// at `level`. Reports malformed rules, rules that do not compile (at the
// token at fault), parts that lexpand reads otherwise than they look, and a
// rule defined again in the same text. Cost: that of compiling the text.
CheckedRules checkRules(const SourceText& source, LinguisticLevel level, Reporter& reporter);

// The "#use" line that names a grammar, and the name it gives.
struct GrammarUse {
    SourceLocation location;
    std::string name;
};

// The canonical form of `path` (symbolic links, "." and ".." resolved as far
// as the file system allows), to recognize a file named twice.
std::string canonicalPath(const std::string& path);

// The text of the file at `path` (as readUtf8File reads it); absent when it
// cannot be read, which is reported: not UTF-8 at the first byte at fault
// (in the file named `shownPath`), and otherwise at the "#use" line `use`
// when there is one, else as the file `shownPath`.
std::optional<std::string> readCheckedFile(const std::string& path, const std::string& shownPath, Reporter& reporter,
                                           const GrammarUse* use = nullptr);

// The morphological grammars of a run, checked and merged.
class GrammarChecker {
public:
    explicit GrammarChecker(Reporter& reporter) : reporter_(reporter) {}
    GrammarChecker(const GrammarChecker&) = delete; // hands out references to its grammar
    GrammarChecker& operator=(const GrammarChecker&) = delete;

    // Loads the grammar file at `path`, named `shownPath` in reports: its
    // rules are checked, determinized and merged into paradigms(), except
    // those that fail, a rule "Main" of a grammar of the command line
    // (`use` null), and rules that an earlier grammar defines (reported
    // with both places). `use` is the "#use" line that names the grammar,
    // null for a grammar of the command line. A grammar loaded a second time
    // is reported once and not merged again. Answers false when the file
    // cannot be read (reported).
    bool addGrammarFile(const std::string& path, const std::string& shownPath, const GrammarUse* use);

    // Once every grammar is added: reports each call of a rule that no
    // grammar defines and each set of rules that call one another in a
    // cycle, and marks broken every rule that fails through them.
    void checkCalls();

    // Every rule that loaded, merged and determinized.
    const MGFSA& paradigms() const { return paradigms_; }

    // True when exploring the rule `name` fails for a reason already
    // reported: the rule failed to load, calls a missing or broken rule, or
    // takes part in a cycle.
    bool isBroken(std::string_view name) const;
    // Where the rule `name` of paradigms() is defined; null for none.
    const SourceLocation* siteOf(std::string_view name) const;
    // The names of every rule defined, loaded or not, for suggestions.
    const std::vector<std::string>& definedNames() const { return definedNames_; }
    // True when a grammar file could not be read: the rules it defines are
    // unknown, so a rule not found may be one of them.
    bool someGrammarUnread() const { return someGrammarUnread_; }
    // Marks broken a rule whose failure has been reported elsewhere.
    void markBroken(const std::string& name) { broken_.insert(name); }

    // Marks the rule `name` and every rule it calls as used.
    void markUsed(std::string_view name);
    // Reports, in order of their places, the rules that are not used.
    void reportUnused();

private:
    struct RuleInfo {
        SourceLocation site;
        std::vector<CheckedRule::Call> calls;
        bool used = false;
    };
    struct CallGraph;

    // The steps of addGrammarFile, once the rules of a file are checked.
    // excludedRules: the rules of `fileGrammar` left out (each reported),
    // the others determinized in place. determinizeRule: false, the rule
    // reported and broken, past the determinization bound. admitsRule:
    // false, reported, for "Main" on the command line (`use` null) and a
    // rule an earlier grammar defines. mergeRules: the rules not excluded
    // merged into paradigms_ and rules_.
    std::set<std::string> excludedRules(MGFSA& fileGrammar, std::map<std::string, RuleInfo>& infos,
                                        const GrammarUse* use);
    bool determinizeRule(const std::string& name, GFSA& graph, const SourceLocation& site);
    bool admitsRule(const std::string& name, const SourceLocation& site, const GrammarUse* use);
    void mergeRules(MGFSA& fileGrammar, std::map<std::string, RuleInfo>& infos, const std::set<std::string>& excluded);

    // The steps of checkCalls. reportMissingCalls: each call of a rule that
    // is not there, reported unless that rule failed to load; its caller is
    // broken. callGraph: the rules and the rules each calls (addCallees: the
    // rules that the name `called` stands for, in any normal form).
    // reportCycle: one report per cycle, at its rule defined first, with a
    // shortest way round; its rules are broken. spreadBroken: every rule
    // that calls a broken rule is broken with it.
    void reportMissingCalls();
    CallGraph callGraph() const;
    void addCallees(const CallGraph& graph, const std::string& called, std::vector<std::size_t>& callees) const;
    void reportCycle(const CallGraph& graph, const std::vector<std::size_t>& component);
    void spreadBroken(const CallGraph& graph);

    Reporter& reporter_;
    MGFSA paradigms_{LinguisticLevel::orthographic};
    std::map<std::string, RuleInfo, std::less<>> rules_; // the rules of paradigms_
    std::set<std::string, std::less<>> broken_;
    std::vector<std::string> definedNames_;
    bool someGrammarUnread_ = false;
    std::map<std::string, SourceLocation> loadedFiles_; // canonical path -> where it was first loaded
};

} // namespace lexpand

#endif // LEXPAND_ENGINE_GRAMMARCHECK_H
