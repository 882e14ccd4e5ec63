// Exports printEntryWithPaths and FailureReasons: what --paths prints, and
// why an entry fails.

#include "EntryPaths.h"

#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "DictionaryCheck.h"
#include "EntryCheck.h"
#include "EntryForms.h"
#include "Exploration.h"
#include "GrammarCheck.h"
#include "Paradigms.h"
#include "TextServices.h"
#include "TextualGrammar.h"

namespace lexpand {

namespace {

// One path of a paradigm as --paths shows it.
struct TracedPath {
    std::string graphs; // the graphs it went through, "A > B > C"
    std::string command;
    std::vector<std::string> outputs;
};

// Every path of the graph `graphName` of `grammar`, in the order in which the
// expansion meets them (paradigms are explored at the orthographic level,
// loops travelled once).
std::vector<TracedPath> tracedPaths(const MGFSA& grammar, const std::string& graphName) {
    std::unordered_map<const GFSA*, std::string_view> names;
    for (const auto& [name, graph] : grammar.graphs) names.emplace(&graph, name);
    std::vector<TracedPath> paths;
    explorePaths(grammar, graphName, LinguisticLevel::orthographic, /*repetitionLimit=*/1, ExploreOptions{},
                 [&](const FoundPath& found) {
                     TracedPath& path = paths.emplace_back();
                     for (const GFSA* graph : found.graphs) {
                         if (!path.graphs.empty()) path.graphs += " > ";
                         path.graphs += names.at(graph);
                     }
                     path.command = trimWhiteSpaceAndNewlines(found.input);
                     for (const std::string* output : found.outputs) path.outputs.push_back(*output);
                     return true;
                 });
    return paths;
}

// The paths of the forms of one entry, in form order: for each form the
// derivation path (null for an inflected form) and the inflection path
// (null for a derived form that is not inflected).
struct FormPaths {
    const TracedPath* derivation;
    const TracedPath* inflection;
};

// The traced paths of every paradigm of `alu`, and the paths of each form.
struct EntryTraces {
    std::vector<std::vector<TracedPath>> paradigms; // kept alive for `forms`
    std::vector<FormPaths> forms;
};

EntryTraces traceEntry(const ALU& alu, const MGFSA& grammar) {
    EntryTraces traces;
    traces.paradigms.reserve(alu.flxParadigms.size() + 2 * alu.drvParadigms.size());
    for (const std::string& value : alu.flxParadigms) {
        MGFSA withMain = grammar;
        if (std::optional<GFSA> main = expression2Gfsa(inflectionalExpression(value), LinguisticLevel::syntax))
            withMain.addGraph("_Main", std::move(*main));
        const auto& paths = traces.paradigms.emplace_back(tracedPaths(withMain, "_Main"));
        for (const TracedPath& path : paths) traces.forms.push_back(FormPaths{nullptr, &path});
    }
    for (const std::string& value : alu.drvParadigms) {
        const std::optional<DerivationNames> names = derivationNamesOf(value, alu);
        if (!names) continue;
        const auto& derivations = traces.paradigms.emplace_back(tracedPaths(grammar, names->derivation));
        const auto& inflections = traces.paradigms.emplace_back(
            names->inflection.empty() ? std::vector<TracedPath>() : tracedPaths(grammar, names->inflection));
        for (const TracedPath& derivation : derivations) {
            if (names->inflection.empty()) traces.forms.push_back(FormPaths{&derivation, nullptr});
            for (const TracedPath& inflection : inflections)
                traces.forms.push_back(FormPaths{&derivation, &inflection});
        }
    }
    return traces;
}

// "  KIND path: GRAPHS; command "COMMAND"; outputs O1 O2"
void printPath(LineSink& out, std::string_view kind, const TracedPath& path) {
    std::string line = "  " + std::string(kind) + " path: " + path.graphs + "; command \"" + path.command + "\"";
    line += path.outputs.empty() ? "; no output" : "; outputs";
    for (const std::string& output : path.outputs) line += " " + output;
    out.printLine(line);
}

void printPaths(LineSink& out, const FormPaths& paths) {
    if (paths.derivation != nullptr) printPath(out, "derivation", *paths.derivation);
    if (paths.inflection != nullptr) printPath(out, "inflection", *paths.inflection);
}

} // namespace

bool printEntryWithPaths(const Lexicon& lexicon, std::string_view line, LineSink& out) {
    const PropertiesDefinitions& definitions = *lexicon.definitions();
    const std::optional<ALU> entry = ALU::init(line, &definitions);
    if (!entry) return false;
    // An entry without an inflectional paradigm is printed as written.
    if (entry->flxParadigms.empty()) out.printLine(line);
    ParadigmCache cache(lexicon.paradigms());
    const std::optional<EntryParadigms> paradigms = cache.paradigmsOf(*entry);
    if (!paradigms) return false;
    // Traced once every form is known to be made, as lexpand makes them.
    std::optional<EntryTraces> traces;
    std::size_t index = 0;
    return forEachFormLine(*entry, *paradigms, definitions, [&](const EntryForm& form, const FormLine& formLine) {
        if (!traces) traces = traceEntry(*entry, lexicon.paradigms());
        if (formLine.inconsistent)
            out.printLine("  (the form " + std::string(form.wordForm) +
                          " is left out: two of its exclusive properties disagree)");
        else
            out.printLine(formLine.text);
        if (index < traces->forms.size()) printPaths(out, traces->forms[index]);
        ++index;
        return true;
    });
}

// ---- FailureReasons -----------------------------------------------------------

namespace {

// Keeps what the grammar checker reports: nothing of it is shown.
class IgnoredDiagnostics final : public DiagnosticSink {
public:
    bool report(Diagnostic) override { return true; }
};

} // namespace

struct FailureReasons::State {
    explicit State(const Lexicon& lexicon) : reporter(ignored), grammars(reporter) {
        const LexiconFiles& files = lexicon.files();
        for (const std::string& path : files.grammarPaths) grammars.addGrammarFile(path, path, nullptr);
        for (std::size_t i = 0; i < files.dictionaryPaths.size() && i < lexicon.dictionaryTexts().size(); ++i)
            addUsedGrammars(grammars, files.dictionaryPaths[i], lexicon.dictionaryTexts()[i]);
        grammars.checkCalls();
        diagnoser = std::make_unique<EntryDiagnoser>(*lexicon.definitions(), grammars);
    }

    IgnoredDiagnostics ignored;
    Reporter reporter;
    GrammarChecker grammars;
    std::unique_ptr<EntryDiagnoser> diagnoser;
};

FailureReasons::FailureReasons(const Lexicon& lexicon) : lexicon_(lexicon) {}

FailureReasons::~FailureReasons() = default;

std::string FailureReasons::reasonFor(std::string_view line) {
    if (!state_) state_ = std::make_unique<State>(lexicon_);
    return state_->diagnoser->diagnose(line).message;
}

} // namespace lexpand
