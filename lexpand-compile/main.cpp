// lexpand-compile: builds a compact dictionary (".lxd") from a lexicon, which
// it expands in-process, or from lines that lexpand printed. Exports only main().

#include <getopt.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "CompactDictionary.h"
#include "CompactDictionaryBuilder.h"
#include "LexiconExpansion.h"
#include "ProgramMessages.h"
#include "TextServices.h"

namespace lexpand {
namespace {

enum ExitStatus : int { statusSuccess = 0, statusFailedInput = 1, statusWrongCommandLine = 2 };

constexpr std::string_view programName = "lexpand-compile";

constexpr std::string_view usageText =
    "Usage: lexpand-compile -o DICTIONARY.lxd LEXICON.dic... [GRAMMAR.pdg...] DEFINITIONS.def\n"
    "       lexpand-compile -o DICTIONARY.lxd --from-forms FILE\n"
    "Build a compact dictionary of every word form of a lexicon, for lexpand-lookup.\n"
    "\n"
    "The lexicon's files are expanded as lexpand expands them; with --from-forms,\n"
    "the lines come from a saved run of lexpand instead (- for standard input).\n"
    "\n"
    "  -o, --output=FILE       write the dictionary to FILE (required)\n"
    "  -f, --from-forms=FILE   read lines as lexpand prints them from FILE\n"
    "  -v, --verbose           print what the dictionary holds once it is written\n"
    "  -h, --help              print this help and exit\n"
    "  -V, --version           print the version and exit\n"
    "\n"
    "Exit status: 0 on success, 1 when an input cannot be compiled or the output\n"
    "cannot be written, 2 on a wrong command line.\n";

struct Options {
    std::string output;
    std::vector<std::string> formFiles;
    LexiconFiles lexicon;
    bool verbose = false;
};

void printError(std::string_view message) {
    printProgramMessage(programName, message);
}

ExitStatus wrongCommandLine(std::string_view message) {
    printCommandLineRefusal(programName, message);
    return statusWrongCommandLine;
}

// Reads the command line into `options`; answers the status to end with, or
// nothing to go on.
std::optional<ExitStatus> readCommandLine(int argc, char** argv, Options& options) {
    static const option longOptions[] = {
        {"output", required_argument, nullptr, 'o'}, {"from-forms", required_argument, nullptr, 'f'},
        {"verbose", no_argument, nullptr, 'v'},      {"help", no_argument, nullptr, 'h'},
        {"version", no_argument, nullptr, 'V'},      {nullptr, 0, nullptr, 0}};
    opterr = 0;
    for (;;) {
        const int option = getopt_long(argc, argv, ":o:f:vhV", longOptions, nullptr);
        if (option == -1) break;
        switch (option) {
        case 'o':
            options.output = optarg;
            break;
        case 'f':
            options.formFiles.emplace_back(optarg);
            break;
        case 'v':
            options.verbose = true;
            break;
        case 'h':
            std::cout << usageText;
            return statusSuccess;
        case 'V':
            std::cout << programName << ' ' << LEXPAND_VERSION << '\n';
            return statusSuccess;
        case ':':
            return wrongCommandLine(std::string("option '") + argv[optind - 1] + "' needs an argument");
        default:
            return wrongCommandLine(std::string("unknown option '") + argv[optind - 1] + "'");
        }
    }
    for (int i = optind; i < argc; ++i) {
        const std::string path = argv[i];
        const std::optional<InputKind> kind = inputKindOf(extensionOf(path));
        if (!kind) return wrongCommandLine("cannot tell the kind of " + path + " (not .dic, .pdg or .def)");
        if (*kind == InputKind::dictionary) {
            options.lexicon.dictionaryPaths.push_back(path);
        } else if (*kind == InputKind::grammar) {
            options.lexicon.grammarPaths.push_back(path);
        } else if (options.lexicon.definitionsPath) {
            return wrongCommandLine("more than one .def file");
        } else {
            options.lexicon.definitionsPath = path;
        }
    }
    if (options.output.empty()) return wrongCommandLine("no output file (-o DICTIONARY.lxd)");
    const bool hasLexicon = optind < argc;
    if (!hasLexicon && options.formFiles.empty()) return wrongCommandLine("no input: give a lexicon or --from-forms");
    if (hasLexicon && options.lexicon.dictionaryPaths.empty()) return wrongCommandLine("no .dic file");
    if (hasLexicon && !options.lexicon.definitionsPath) return wrongCommandLine("no .def file");
    return std::nullopt;
}

// Sends form lines to the builder; remembers the first line refused.
class FormCollector final : public LineSink {
public:
    explicit FormCollector(CompactDictionaryBuilder& builder) : pairs_(builder) {}

    // Lines that follow are reported as lines of the file `path`, or of the
    // expansion for an empty path, counted from 1.
    void beginSource(std::string path) {
        source_ = std::move(path);
        lineNumber_ = 0;
    }

    void printLine(std::string_view line) override {
        ++lineNumber_;
        if (problem_) return;
        if (const std::optional<std::string> refused = pairs_.add(line))
            problem_ = source_ + ":" + std::to_string(lineNumber_) + ": " + *refused + ": " + std::string(line);
    }

    const std::optional<std::string>& problem() const { return problem_; }

private:
    FormLinePairs pairs_;
    std::string source_;
    std::uint64_t lineNumber_ = 0;
    std::optional<std::string> problem_;
};

// The text of `path`, or of standard input for "-"; absent when it cannot be
// read or is not UTF-8.
std::optional<std::string> readInput(const std::string& path) {
    if (path != "-") return readUtf8File(path);
    std::string text;
    char buffer[1 << 16];
    for (;;) {
        const ssize_t count = ::read(STDIN_FILENO, buffer, sizeof buffer);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return std::nullopt;
        if (count == 0) break;
        text.append(buffer, static_cast<std::size_t>(count));
    }
    if (text.starts_with("\xEF\xBB\xBF")) text.erase(0, 3);
    if (!isValidUtf8(text)) return std::nullopt;
    return text;
}

// Feeds the lines of `text` (cut at line feeds, a final carriage return
// dropped) to `collector`.
void collectLines(std::string_view text, FormCollector& collector) {
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        if (line.ends_with('\r')) line.remove_suffix(1);
        collector.printLine(line);
        if (end == std::string_view::npos) break;
        text.remove_prefix(end + 1);
    }
}

// "FILE: N forms, N pairs, N analyses, N bytes (X bytes per pair)".
void printSummary(const std::string& path, const std::string& bytes) {
    const CompactDictionaryOpening opening = CompactDictionary::fromBytes(bytes);
    if (!opening.dictionary) return;
    const CompactDictionaryInfo& info = opening.dictionary->info();
    char perPair[32];
    std::snprintf(perPair, sizeof perPair, "%.3f", static_cast<double>(info.bytes) / static_cast<double>(info.pairs));
    std::cout << path << ": " << info.forms << " forms, " << info.pairs << " pairs of a form and an analysis, "
              << info.analyses << " analyses, " << info.bytes << " bytes (" << perPair << " bytes per pair)\n";
}

ExitStatus run(int argc, char** argv) {
    Options options;
    if (const std::optional<ExitStatus> end = readCommandLine(argc, argv, options)) return *end;

    CompactDictionaryBuilder builder;
    FormCollector collector(builder);
    if (!options.lexicon.dictionaryPaths.empty()) {
        collector.beginSource("");
        if (const std::optional<std::string> failure = expandLexicon(options.lexicon, collector)) {
            printError(*failure);
            return statusFailedInput;
        }
    }
    for (const std::string& path : options.formFiles) {
        const std::optional<std::string> text = readInput(path);
        if (!text) {
            printError("cannot read " + (path == "-" ? std::string("standard input") : path) +
                       " (missing, unreadable or not UTF-8)");
            return statusFailedInput;
        }
        collector.beginSource(path == "-" ? "standard input" : path);
        collectLines(*text, collector);
        if (collector.problem()) break;
    }
    if (collector.problem()) {
        printError(*collector.problem());
        return statusFailedInput;
    }
    if (builder.pairsAdded() == 0) {
        printError("no word form to compile");
        return statusFailedInput;
    }
    std::string problem;
    const std::optional<std::string> bytes = builder.build(problem);
    if (!bytes) {
        printError(problem);
        return statusFailedInput;
    }
    if (const std::optional<std::string> failure = writeDictionaryFile(options.output, *bytes)) {
        printError(*failure);
        return statusFailedInput;
    }
    if (options.verbose) printSummary(options.output, *bytes);
    return statusSuccess;
}

} // namespace
} // namespace lexpand

int main(int argc, char** argv) {
    return lexpand::run(argc, argv);
}
