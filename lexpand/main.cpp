// lexpand: the command-line tool. Exports only main(): the command line and
// the run sequence over grammars, properties definitions and dictionaries,
// printed through the one output channel of the process (StandardOutput).

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "ALU.h"
#include "Alphabet.h"
#include "MGFSA.h"
#include "Resources.h"
#include "StandardOutput.h"
#include "TextualGrammar.h"

namespace lexpand {
namespace {

// The exit statuses of the process.
enum ExitStatus : int {
    statusSuccess = 0,               // at least one form was generated
    statusWrongCommandLine = 1,      // the usage text was printed
    statusMissingFile = 2,           // a named file does not exist
    statusBadGrammar = 3,            // a command-line grammar failed
    statusBadDictionaryGrammars = 4, // a dictionary's "#use" grammars failed
    statusBadPropertiesDefinitions = 5,
    statusBadExpansion = 6, // a dictionary failed, or no form at all
    // 7: standard output cannot be written (statusOutputFailed, StandardOutput.h)
};

// The wall-clock time of each phase of a run, for measuring. Off unless the
// environment sets LEXPAND_TIMINGS=1; then report() writes one line per phase
// to standard error, and standard output is the same as without it.
class PhaseTimes {
public:
    PhaseTimes() : enabled_(requested()), start_(Clock::now()), last_(start_) {}

    // Ends the phase that began at the previous mark (or at construction).
    void mark(std::string_view phase) {
        if (!enabled_) return;
        const Clock::time_point now = Clock::now();
        phases_.emplace_back(std::string(phase), std::chrono::duration<double>(now - last_).count());
        last_ = now;
    }

    // Writes "lexpand timing: PHASE SECONDS s" per phase, then the total.
    void report() const {
        if (!enabled_) return;
        const double total = std::chrono::duration<double>(Clock::now() - start_).count();
        std::string text;
        char seconds[32];
        for (const auto& [phase, duration] : phases_) {
            std::snprintf(seconds, sizeof seconds, " %.6f s\n", duration);
            text += "lexpand timing: " + phase + seconds;
        }
        std::snprintf(seconds, sizeof seconds, " %.6f s\n", total);
        text += std::string("lexpand timing: total") + seconds;
        std::fputs(text.c_str(), stderr);
    }

private:
    using Clock = std::chrono::steady_clock;

    static bool requested() {
        const char* value = std::getenv("LEXPAND_TIMINGS");
        return value != nullptr && std::string_view(value) == "1";
    }

    bool enabled_;
    Clock::time_point start_;
    Clock::time_point last_;
    std::vector<std::pair<std::string, double>> phases_;
};

// Everything one run knows, from the command line to the final count.
struct RunContext {
    explicit RunContext(StandardOutput& output) : out(output) {}

    StandardOutput& out;
    std::vector<std::string> dicPaths;  // in command-line order, as typed
    std::vector<std::string> pdgFPaths; // in command-line order, as typed
    std::optional<std::string> defPath;
    MGFSA pdgMgfsa{LinguisticLevel::orthographic}; // every paradigm graph of the run
    std::optional<PropertiesDefinitions> propertiesDefinitions;
    std::int64_t nbOfForms = 0;
    PhaseTimes times;
    std::string_view currentPath; // the file the running phase works on
};

void printUsage(LineSink& out) {
    out.printLine("Kavel engine version 1.0 b20230130, Tobrak");
    out.printLine("Usage: lexpand dictionary.dic+ morphologicalGrammars.pdg* propertiesDefinition.def");
    out.printLine(
        "Note: some morphologicalGrammars might be referenced from inside dictionaries with the #use command");
    out.printLine("e.g.: lexpand en-Nouns.dic en-Verbs.dic properties.def");
    out.printLine("e.g.: lexpand en-dictionary.dic Nouns.pdg Verbs.pdg Derivations.pdg properties.def");
    out.printLine("\u2192 prints list of all generated forms");
}

// The extension of the last path component of `argument`, without its period:
// "b.txt" gives "txt"; "README", ".dic", "a." and "a.b/c" give "". Trailing
// "/" separators do not make a component of their own, so "x.dic/" names the
// component "x.dic" (whose existence test then asks for a directory).
std::string extensionOf(std::string_view argument) {
    while (argument.size() > 1 && argument.back() == '/') argument.remove_suffix(1);
    std::string extension = std::filesystem::path(argument).extension().string();
    if (!extension.empty()) extension.erase(0, 1); // the period
    return extension;
}

// True when something (a file or a directory) exists at `path`; any error of
// the file system counts as absence.
bool pathExists(const std::string& path) {
    std::error_code error;
    return std::filesystem::exists(std::filesystem::path(path), error);
}

// Prints `message`, then the usage text; the status for a wrong command line.
ExitStatus refuseCommandLine(LineSink& out, std::string_view message) {
    out.printLine(message);
    printUsage(out);
    return statusWrongCommandLine;
}

// Classifies the arguments and checks that every named file exists. Answers
// the status to end the process with, or nothing when the run may go on.
std::optional<ExitStatus> readCommandLine(RunContext& run, int argc, char** argv) {
    if (argc <= 1) {
        printUsage(run.out);
        return statusWrongCommandLine;
    }
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        const std::string extension = extensionOf(argument);
        if (extension == "dic" || extension == "DIC") {
            run.dicPaths.push_back(argument);
        } else if (extension == "pdg" || extension == "PDG") {
            run.pdgFPaths.push_back(argument);
        } else if (extension == "def" || extension == "DEF") {
            if (run.defPath) {
                return refuseCommandLine(run.out, "*** Can handle only one properties definition .def file");
            }
            run.defPath = argument;
        } else {
            return refuseCommandLine(run.out, "*** Cannot handle file extension type \"" + extension +
                                                  "\" for argument " + argument);
        }
    }
    if (run.dicPaths.empty()) return refuseCommandLine(run.out, "*** Need at least one dictionary .dic file");
    if (!run.defPath) return refuseCommandLine(run.out, "*** Need at least one properties definition .def file");

    for (const std::string& path : run.dicPaths) {
        if (!pathExists(path)) {
            run.out.printLine("*** Cannot find dictionary file " + path);
            return statusMissingFile;
        }
    }
    for (const std::string& path : run.pdgFPaths) {
        if (!pathExists(path)) {
            run.out.printLine("*** Cannot find morphological grammar file " + path);
            return statusMissingFile;
        }
    }
    if (!pathExists(*run.defPath)) {
        run.out.printLine("*** Cannot find properties definitions file " + *run.defPath);
        return statusMissingFile;
    }
    return std::nullopt;
}

// Loads, compiles, determinizes and merges every grammar of the command line.
std::optional<ExitStatus> loadCommandLineGrammars(RunContext& run) {
    for (const std::string& path : run.pdgFPaths) {
        run.currentPath = path;
        const std::optional<std::string> text = loadGrammar(path);
        std::optional<MGFSA> grammar;
        if (text) grammar = textualGrammarToMgfsa(*text, LinguisticLevel::orthographic);
        // A grammar past the bounds of determinization does not compile either.
        if (grammar && !grammar->determinize()) grammar.reset();
        if (!grammar) {
            run.out.printLine("*** Cannot handle morphological grammar in: " + path);
            return statusBadGrammar;
        }
        // The rule name "Main" is reserved: no grammar of the command line
        // may define it.
        if (grammar->graphs.count("Main") != 0) {
            run.out.printLine("*** Grammar " + path + " should not contain a rule named \"Main\"");
            return statusBadGrammar;
        }
        if (!run.pdgMgfsa.mergeWith(*grammar)) {
            run.out.printLine("*** Grammar " + path + " should not contain a rule already defined elsewhere");
            return statusBadGrammar;
        }
    }
    return std::nullopt;
}

// Merges the grammars that each dictionary names with "#use".
std::optional<ExitStatus> loadDictionaryGrammars(RunContext& run) {
    for (const std::string& path : run.dicPaths) {
        run.currentPath = path;
        const DictionaryGrammars used = loadMorphologicalGrammarsFromDictionary(path);
        if (!used.grammar) {
            run.out.printLine(used.errorMessage);
            return statusBadDictionaryGrammars;
        }
        if (!run.pdgMgfsa.mergeWith(*used.grammar)) {
            run.out.printLine("*** Cannot merge grammars used in " + path +
                              " (a rule is probably defined more than once)");
            return statusBadDictionaryGrammars;
        }
    }
    return std::nullopt;
}

std::optional<ExitStatus> loadPropertiesDefinitions(RunContext& run) {
    run.currentPath = *run.defPath;
    const std::optional<std::string> text = loadGrammar(*run.defPath);
    if (text) run.propertiesDefinitions = PropertiesDefinitions::init(*text);
    if (!run.propertiesDefinitions) {
        run.out.printLine("*** Cannot process properties definitions in file " + *run.defPath);
        return statusBadPropertiesDefinitions;
    }
    return std::nullopt;
}

// Expands every dictionary in command-line order; their lines are printed as
// they are produced.
std::optional<ExitStatus> expandDictionaries(RunContext& run) {
    run.nbOfForms = 0;
    for (const std::string& path : run.dicPaths) {
        const std::optional<std::int64_t> count =
            inflectAndDeriveDictionary(path, *run.propertiesDefinitions, run.pdgMgfsa, run.out.expansionLines());
        if (!count) {
            run.out.printLine("*** Cannot inflect/derive dictionary");
            return statusBadExpansion;
        }
        run.nbOfForms += *count;
    }
    return std::nullopt;
}

// Runs one phase. Memory that runs out inside it is a failure of that phase:
// `message` is printed, followed by the path the phase was working on when
// `withPath`, and the answer is `status`. The message is printed without
// allocating memory; whatever the phase held is freed by then.
std::optional<ExitStatus> runPhase(RunContext& run, std::optional<ExitStatus> (*phase)(RunContext&),
                                   std::string_view message, bool withPath, ExitStatus status) {
    try {
        return phase(run);
    } catch (const std::bad_alloc&) {
        run.out.printLine(message, withPath ? run.currentPath : std::string_view());
        return status;
    }
}

// The whole run; answers the exit status. Each step runs only when every
// earlier one succeeded, and the first failure has printed its one line.
ExitStatus executeRun(RunContext& run, int argc, char** argv) {
    try {
        if (const std::optional<ExitStatus> end = readCommandLine(run, argc, argv)) return *end;
    } catch (const std::bad_alloc&) {
        printUsage(run.out);
        return statusWrongCommandLine;
    }
    run.times.mark("command line");
    if (const std::optional<ExitStatus> end = runPhase(
            run, loadCommandLineGrammars, "*** Cannot handle morphological grammar in: ", true, statusBadGrammar))
        return *end;
    if (const std::optional<ExitStatus> end =
            runPhase(run, loadDictionaryGrammars, "Cannot load dictionary ", true, statusBadDictionaryGrammars))
        return *end;
    run.times.mark("grammars");
    if (const std::optional<ExitStatus> end =
            runPhase(run, loadPropertiesDefinitions, "*** Cannot process properties definitions in file ", true,
                     statusBadPropertiesDefinitions))
        return *end;
    run.times.mark("properties definitions");
    if (const std::optional<ExitStatus> end =
            runPhase(run, expandDictionaries, "*** Cannot inflect/derive dictionary", false, statusBadExpansion))
        return *end;
    run.times.mark("expansion");
    if (run.nbOfForms == 0) {
        run.out.printLine("*** Cannot generate any form");
        return statusBadExpansion;
    }
    char summary[80]; // formatted without allocating memory
    std::snprintf(summary, sizeof summary, "# Dictionary successfully generated %lld forms.",
                  static_cast<long long>(run.nbOfForms));
    run.out.printLine(summary);
    return statusSuccess;
}

} // namespace
} // namespace lexpand

int main(int argc, char** argv) {
    lexpand::StandardOutput out;
    lexpand::RunContext context(out);
    const int status = out.finish(lexpand::executeRun(context, argc, argv));
    // After a failure, the time since the last phase belongs to the phase
    // that failed, not to the output: it only counts in the total.
    if (status == lexpand::statusSuccess) context.times.mark("output");
    context.times.report();
    return status;
}
