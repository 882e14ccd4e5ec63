// lexpand: the command-line tool. Exports only main(): the command line, the
// run sequence over grammars, properties definitions and dictionaries, and the
// one output channel through which every line of the process is printed.

#include <malloc.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "HeapTrimming.h"
#include "Lexicon.h"
#include "StandardOutput.h"

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
    LexiconFiles files; // each kind in command-line order, as typed
    std::unique_ptr<Lexicon> lexicon;
    std::int64_t nbOfForms = 0;
    PhaseTimes times;
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

// The status that ends the run for a failure of a loading step, after its
// line is printed; nothing when there is none.
std::optional<ExitStatus> reportFailure(RunContext& run, const std::optional<LexiconFailure>& failure) {
    if (!failure) return std::nullopt;
    run.out.printLine(failure->message);
    switch (failure->step) {
    case LexiconFailure::Step::missingFile:
        return statusMissingFile;
    case LexiconFailure::Step::grammar:
        return statusBadGrammar;
    case LexiconFailure::Step::dictionaryGrammars:
        return statusBadDictionaryGrammars;
    case LexiconFailure::Step::definitions:
        return statusBadPropertiesDefinitions;
    }
    return statusBadPropertiesDefinitions;
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
        if (const std::optional<std::string> refused = addFileArgument(run.files, argv[i]))
            return refuseCommandLine(run.out, "*** " + *refused);
    }
    if (const std::optional<std::string> refused = incompleteLexicon(run.files))
        return refuseCommandLine(run.out, "*** " + *refused);
    run.lexicon = std::make_unique<Lexicon>(run.files);
    return reportFailure(run, run.lexicon->checkFiles());
}

// Expands every dictionary in command-line order; their lines are printed as
// they are produced.
std::optional<ExitStatus> expandDictionaries(RunContext& run) {
    run.nbOfForms = 0;
    const Lexicon& lexicon = *run.lexicon;
    for (std::size_t i = 0; i < lexicon.dictionaryTexts().size(); ++i) {
        const std::optional<std::int64_t> count = lexicon.expandDictionary(i, run.out.expansionLines());
        if (!count) {
            run.out.printLine("*** Cannot inflect/derive dictionary");
            return statusBadExpansion;
        }
        run.nbOfForms += *count;
    }
    return std::nullopt;
}

// How often a long expansion gives its free pages back to the system.
constexpr std::chrono::seconds heapTrimmingPeriod{5};

// The whole run; answers the exit status. Each step runs only when every
// earlier one succeeded, and the first failure has printed its one line.
ExitStatus executeRun(RunContext& run, int argc, char** argv) {
    if (const std::optional<ExitStatus> end = readCommandLine(run, argc, argv)) return *end;
    run.times.mark("command line");
    if (const std::optional<ExitStatus> end = reportFailure(run, run.lexicon->loadGrammars())) return *end;
    run.times.mark("grammars");
    if (const std::optional<ExitStatus> end = reportFailure(run, run.lexicon->loadDefinitions())) return *end;
    run.times.mark("properties definitions");
    // What loading freed goes back to the system at once, what the expansion
    // frees every few seconds: resident memory stays near what is in use.
    {
        const PeriodicHeapTrimming trimming(heapTrimmingPeriod);
        if (const std::optional<ExitStatus> end = expandDictionaries(run)) return *end;
    }
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
    // The heap of each worker grows 16 MB at a time rather than a few pages:
    // otherwise the blocks of lines that come and go make it grow and shrink
    // by a system call each time (over a thousand for a large dictionary).
    // Pages are only resident once written.
    mallopt(M_TOP_PAD, 16 << 20);
    lexpand::StandardOutput out;
    lexpand::RunContext context(out);
    int status = lexpand::statusSuccess;
    try {
        status = lexpand::executeRun(context, argc, argv);
    } catch (const std::bad_alloc&) {
        // Only reading the command line allocates outside the engine, which
        // answers a failure of its own when memory runs out.
        lexpand::printUsage(out);
        status = lexpand::statusWrongCommandLine;
    }
    status = out.finish(status);
    // After a failure, the time since the last phase belongs to the phase
    // that failed, not to the output: it only counts in the total.
    if (status == lexpand::statusSuccess) context.times.mark("output");
    context.times.report();
    // The memory of the run goes back to the system with the process: the
    // lexicon, the dictionaries and the caches are not freed piece by piece
    // first, which would only delay the end of every run.
    std::exit(status);
}
