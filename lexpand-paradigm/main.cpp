// lexpand-paradigm: the forms of single entries, and paradigms drawn as
// graphs. Exports only main(): the command line, and what each mode prints.

#include <getopt.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "DictionaryExpansion.h"
#include "EntryPaths.h"
#include "GraphDrawing.h"
#include "Lexicon.h"
#include "ProgramMessages.h"
#include "SvgRendering.h"
#include "TextServices.h"

namespace lexpand {
namespace {

constexpr std::string_view programName = "lexpand-paradigm";

enum ExitStatus : int {
    statusSuccess = 0,
    statusFailure = 1,          // an entry failed, or the rule does not exist
    statusWrongCommandLine = 2, // or a file it names cannot be loaded
};

enum class DrawingFormat { dot, svg };

struct Options {
    std::vector<std::string> entries; // in command-line order; "-" stands for standard input
    std::optional<std::string> graph;
    DrawingFormat format = DrawingFormat::dot;
    bool formatGiven = false;
    bool expand = false;
    bool paths = false; // under each form of an entry, its paradigm paths
    LexiconFiles files;
};

// Standard output, through stdio's buffer; flushed before every message on
// standard error, so that a terminal shows both in the order they happened.
void printLine(std::string_view line) {
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fputc('\n', stdout);
}

// Sends the lines of an entry to standard output as they come.
class StandardOutputLines final : public LineSink {
public:
    void printLine(std::string_view line) override { lexpand::printLine(line); }
};

void printMessage(std::string_view message) {
    printProgramMessage(programName, message);
}

ExitStatus refuseCommandLine(std::string_view message) {
    printCommandLineRefusal(programName, message);
    return statusWrongCommandLine;
}

void printHelp() {
    std::fputs("Usage: lexpand-paradigm [OPTION]... FILE...\n"
               "Print the forms of single dictionary entries, or draw a paradigm as a graph.\n"
               "\n"
               "FILEs are taken as lexpand takes them, by extension: morphological grammars\n"
               "(.pdg), dictionaries (.dic), of which only the grammars named by \"#use\" are\n"
               "loaded, and one properties-definitions file (.def), which --entry needs.\n"
               "\n"
               "  -e, --entry=LINE     print exactly the lines lexpand prints for the entry\n"
               "                       line LINE; may be repeated; with \"-\", read entry lines\n"
               "                       from standard input, as lines of a dictionary\n"
               "  -g, --graph=NAME     draw the rule NAME as the engine holds it, determinized\n"
               "      --format=FORMAT  the drawing as Graphviz DOT text (dot, the default)\n"
               "                       or as an SVG picture (svg)\n"
               "      --paths          with --entry: under each form, the paths of its\n"
               "                       paradigms (graphs, command, outputs)\n"
               "      --expand         draw the rules that NAME calls inside the drawing,\n"
               "                       one level deep\n"
               "  -h, --help           print this help and exit\n"
               "  -V, --version        print the version and exit\n"
               "\n"
               "Exit status: 0 on success, 1 when an entry fails or the rule does not exist,\n"
               "2 for a wrong command line or a file that cannot be loaded.\n",
               stdout);
}

// The drawing format that --format names; absent for an unknown name.
std::optional<DrawingFormat> drawingFormatNamed(std::string_view name) {
    if (name == "dot") return DrawingFormat::dot;
    if (name == "svg") return DrawingFormat::svg;
    return std::nullopt;
}

enum LongOnly { formatOption = 256, expandOption, pathsOption };

// Takes the option `code` that getopt_long answered, with its `argument`
// (null for none), into `options`. Answers the status to end the process
// with, or nothing when reading may go on.
std::optional<ExitStatus> readOption(Options& options, int code, const char* argument, char** argv) {
    switch (code) {
    case 'e':
        options.entries.emplace_back(argument);
        return std::nullopt;
    case 'g':
        if (options.graph) return refuseCommandLine("only one --graph may be given");
        options.graph = argument;
        return std::nullopt;
    case formatOption: {
        const std::optional<DrawingFormat> format = drawingFormatNamed(argument);
        if (!format) return refuseCommandLine("unknown drawing format '" + std::string(argument) + "' (dot or svg)");
        options.format = *format;
        options.formatGiven = true;
        return std::nullopt;
    }
    case expandOption:
        options.expand = true;
        return std::nullopt;
    case pathsOption:
        options.paths = true;
        return std::nullopt;
    case 'h':
        printHelp();
        return statusSuccess;
    case 'V':
        printLine(std::string(programName) + " " + LEXPAND_VERSION);
        return statusSuccess;
    case ':':
        return refuseCommandLine("option " + refusedOption(argv) + " needs an argument");
    default:
        return refuseCommandLine("unknown option " + refusedOption(argv));
    }
}

// Sorts the arguments after the options into `options.files` and checks
// that the options go together. Answers the status to end the process with
// when they do not, or nothing.
std::optional<ExitStatus> readFilesAndCheck(Options& options, int argc, char** argv) {
    for (int i = optind; i < argc; ++i) {
        if (const std::optional<std::string> message = addFileArgument(options.files, argv[i]))
            return refuseCommandLine(*message);
    }
    if (options.entries.empty() && !options.graph) return refuseCommandLine("give --entry or --graph");
    if (!options.entries.empty() && options.graph) return refuseCommandLine("--entry and --graph exclude each other");
    if (!options.graph && (options.formatGiven || options.expand))
        return refuseCommandLine("--format and --expand go with --graph");
    if (options.paths && options.entries.empty()) return refuseCommandLine("--paths goes with --entry");
    if (!options.entries.empty() && !options.files.definitionsPath)
        return refuseCommandLine("--entry needs a properties definitions .def file");
    return std::nullopt;
}

// Reads the command line into `options`. Answers the status to end the
// process with, or nothing when the run may go on.
std::optional<ExitStatus> readCommandLine(Options& options, int argc, char** argv) {
    static const option longOptions[] = {
        {"entry", required_argument, nullptr, 'e'},
        {"graph", required_argument, nullptr, 'g'},
        {"format", required_argument, nullptr, formatOption},
        {"expand", no_argument, nullptr, expandOption},
        {"paths", no_argument, nullptr, pathsOption},
        {"help", no_argument, nullptr, 'h'},
        {"version", no_argument, nullptr, 'V'},
        {nullptr, 0, nullptr, 0},
    };
    opterr = 0; // the message below names the argument, not the path of the program
    for (int code; (code = getopt_long(argc, argv, ":e:g:hV", longOptions, nullptr)) != -1;) {
        if (const std::optional<ExitStatus> status = readOption(options, code, optarg, argv)) return status;
    }
    return readFilesAndCheck(options, argc, argv);
}

// Prints what one entry line gives; false when the entry fails. The lines
// sent before a failure stay printed, as lexpand prints them. This is the one
// place that decides what an entry prints, so that details asked for by
// `options` (the paths of the forms, the reason of a failure) go here.
bool printEntry(Lexicon& lexicon, FailureReasons& reasons, const Options& options, std::string_view line) {
    StandardOutputLines out;
    const bool expanded =
        options.paths ? printEntryWithPaths(lexicon, line, out) : lexicon.expandEntryLine(line, out).has_value();
    if (!expanded) printMessage("cannot expand the entry " + std::string(line) + ": " + reasons.reasonFor(line));
    return expanded;
}

// Prints the entries of `text`, read as lines of a dictionary; false when
// one of them fails or the text is not UTF-8 (`origin` names it then).
bool printEntries(Lexicon& lexicon, FailureReasons& reasons, const Options& options, std::string_view text,
                  std::string_view origin) {
    if (!isValidUtf8(text)) {
        printMessage(std::string(origin) + " is not UTF-8 text");
        return false;
    }
    bool succeeded = true;
    for (const std::string_view line : significantLines(text)) {
        // An empty line or one that begins with "#" is passed over by the
        // expansion of a dictionary too ("#use" lines among them).
        if (line.empty() || line.front() == '#') continue;
        succeeded = printEntry(lexicon, reasons, options, line) && succeeded;
    }
    return succeeded;
}

// Standard input, line by line, so that each entry typed at a terminal is
// answered at once; a leading byte-order mark is ignored.
bool printEntriesOfStandardInput(Lexicon& lexicon, FailureReasons& reasons, const Options& options) {
    std::ios::sync_with_stdio(false);
    const bool interactive = isatty(STDIN_FILENO) != 0;
    bool succeeded = true;
    std::string text;
    for (long lineNumber = 1; std::getline(std::cin, text); ++lineNumber) {
        if (lineNumber == 1 && text.starts_with("\xEF\xBB\xBF")) text.erase(0, 3);
        const std::string origin = "line " + std::to_string(lineNumber) + " of standard input";
        succeeded = printEntries(lexicon, reasons, options, text, origin) && succeeded;
        if (interactive) std::fflush(stdout);
    }
    return succeeded;
}

ExitStatus printEntries(Lexicon& lexicon, const Options& options) {
    FailureReasons reasons(lexicon);
    bool succeeded = true;
    for (const std::string& entry : options.entries) {
        if (entry == "-") {
            succeeded = printEntriesOfStandardInput(lexicon, reasons, options) && succeeded;
        } else {
            succeeded = printEntries(lexicon, reasons, options, entry, "the entry " + entry) && succeeded;
        }
    }
    return succeeded ? statusSuccess : statusFailure;
}

ExitStatus drawGraph(const Lexicon& lexicon, const Options& options) {
    const std::optional<std::string> dot = graphToDot(lexicon.paradigms(), *options.graph, options.expand);
    if (!dot) {
        printMessage("no rule named " + *options.graph);
        return statusFailure;
    }
    if (options.format == DrawingFormat::dot) {
        std::fputs(dot->c_str(), stdout);
        return statusSuccess;
    }
    const std::optional<std::string> svg = renderSvg(*dot);
    if (!svg) {
        printMessage("Graphviz cannot draw the rule " + *options.graph);
        return statusFailure;
    }
    std::fwrite(svg->data(), 1, svg->size(), stdout);
    return statusSuccess;
}

ExitStatus run(int argc, char** argv) {
    Options options;
    if (const std::optional<ExitStatus> end = readCommandLine(options, argc, argv)) return *end;
    Lexicon lexicon(options.files);
    if (const std::optional<LexiconFailure> failure = lexicon.load()) {
        // lexpand's own words for it, without its "*** " mark.
        std::string_view message = failure->message;
        if (message.starts_with("*** ")) message.remove_prefix(4);
        printMessage(message);
        return statusWrongCommandLine;
    }
    if (options.graph) return drawGraph(lexicon, options);
    return printEntries(lexicon, options);
}

} // namespace
} // namespace lexpand

int main(int argc, char** argv) {
    const int status = lexpand::run(argc, argv);
    if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
        std::fprintf(stderr, "%s: cannot write to standard output\n", lexpand::programName.data());
        return lexpand::statusWrongCommandLine;
    }
    return status;
}
