// lexpand-check: every problem of a lexicon, with its file, line, column and
// cause, in one run. Exports only main(): the command line, and the report.

#include <getopt.h>
#include <unistd.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "DictionaryCheck.h"
#include "Lexicon.h"
#include "ProgramMessages.h"
#include "Report.h"

namespace lexpand {
namespace {

constexpr std::string_view programName = "lexpand-check";

enum ExitStatus : int {
    statusClean = 0,            // no error (warnings allowed, unless --werror)
    statusProblems = 1,         // at least one error
    statusWrongCommandLine = 2, // or a file named on the command line is missing
};

enum class Format { text, sarif };
enum class ColorWhen { automatic, always, never };

struct Options {
    Format format = Format::text;
    ColorWhen color = ColorWhen::automatic;
    ReportOptions report;
    LexiconFiles files;
};

void printMessage(std::string_view message) {
    printProgramMessage(programName, message);
}

ExitStatus refuseCommandLine(std::string_view message) {
    printCommandLineRefusal(programName, message);
    return statusWrongCommandLine;
}

void printHelp() {
    std::fputs("Usage: lexpand-check [OPTION]... FILE...\n"
               "Check a lexicon as lexpand would expand it, and report every problem found,\n"
               "with its file, line and column, without stopping at the first.\n"
               "\n"
               "FILEs are taken as lexpand takes them, by extension: one or more dictionaries\n"
               "(.dic), any number of morphological grammars (.pdg) and one properties-\n"
               "definitions file (.def).\n"
               "\n"
               "      --format=FORMAT  write the report as text lines in the form compilers use\n"
               "                       (text, the default) or as a SARIF 2.1.0 log (sarif)\n"
               "      --color=WHEN     color the text report: auto (the default: when standard\n"
               "                       output is a terminal and NO_COLOR is not set), always\n"
               "                       or never; on a terminal, or with always, each problem\n"
               "                       is followed by its line and a caret under its column\n"
               "      --max-errors=N   stop after N errors (0, the default: no limit)\n"
               "      --werror         count warnings as errors\n"
               "  -q, --quiet          write nothing; the exit status tells\n"
               "  -h, --help           print this help and exit\n"
               "  -V, --version        print the version and exit\n"
               "\n"
               "Exit status: 0 when there is no error (warnings allowed, unless --werror),\n"
               "1 when there is at least one, 2 for a wrong command line or a missing file.\n",
               stdout);
}

std::optional<std::size_t> parseCount(std::string_view text) {
    std::size_t value = 0;
    const char* const end = text.data() + text.size();
    const std::from_chars_result read = std::from_chars(text.data(), end, value);
    if (text.empty() || read.ec != std::errc() || read.ptr != end) return std::nullopt;
    return value;
}

// The report format that --format names; absent for an unknown name.
std::optional<Format> formatNamed(std::string_view name) {
    if (name == "text") return Format::text;
    if (name == "sarif") return Format::sarif;
    return std::nullopt;
}

// When to color, as --color names it; absent for an unknown name.
std::optional<ColorWhen> colorNamed(std::string_view name) {
    if (name == "auto") return ColorWhen::automatic;
    if (name == "always") return ColorWhen::always;
    if (name == "never") return ColorWhen::never;
    return std::nullopt;
}

enum LongOnly { formatOption = 256, colorOption, maxErrorsOption, werrorOption };

// Takes the option `code` that getopt_long answered, with its `argument`
// (empty for none), into `options`. Answers the status to end the process
// with, or nothing when reading may go on.
std::optional<ExitStatus> readOption(Options& options, int code, std::string_view argument, char** argv) {
    switch (code) {
    case formatOption: {
        const std::optional<Format> format = formatNamed(argument);
        if (!format) return refuseCommandLine("unknown report format '" + std::string(argument) + "' (text or sarif)");
        options.format = *format;
        return std::nullopt;
    }
    case colorOption: {
        const std::optional<ColorWhen> color = colorNamed(argument);
        if (!color)
            return refuseCommandLine("unknown --color value '" + std::string(argument) + "' (auto, always or never)");
        options.color = *color;
        return std::nullopt;
    }
    case maxErrorsOption: {
        const std::optional<std::size_t> count = parseCount(argument);
        if (!count) return refuseCommandLine("--max-errors needs a count, not '" + std::string(argument) + "'");
        options.report.maxErrors = *count;
        return std::nullopt;
    }
    case werrorOption:
        options.report.warningsAreErrors = true;
        return std::nullopt;
    case 'q':
        options.report.quiet = true;
        return std::nullopt;
    case 'h':
        printHelp();
        return statusClean;
    case 'V':
        std::printf("%s %s\n", programName.data(), LEXPAND_VERSION);
        return statusClean;
    case ':':
        return refuseCommandLine("option " + refusedOption(argv) + " needs an argument");
    default:
        return refuseCommandLine("unknown option " + refusedOption(argv));
    }
}

// Sorts the arguments after the options into `options.files`. Answers the
// status to end the process with when they are not a lexicon, or nothing.
std::optional<ExitStatus> readFiles(Options& options, int argc, char** argv) {
    if (optind >= argc) return refuseCommandLine("no file to check");
    for (int i = optind; i < argc; ++i) {
        if (const std::optional<std::string> message = addFileArgument(options.files, argv[i]))
            return refuseCommandLine(*message);
    }
    if (const std::optional<std::string> refused = incompleteLexicon(options.files)) return refuseCommandLine(*refused);
    return std::nullopt;
}

// Reads the command line into `options`. Answers the status to end the
// process with, or nothing when the check may go on.
std::optional<ExitStatus> readCommandLine(Options& options, int argc, char** argv) {
    static const option longOptions[] = {
        {"format", required_argument, nullptr, formatOption},
        {"color", required_argument, nullptr, colorOption},
        {"max-errors", required_argument, nullptr, maxErrorsOption},
        {"werror", no_argument, nullptr, werrorOption},
        {"quiet", no_argument, nullptr, 'q'},
        {"help", no_argument, nullptr, 'h'},
        {"version", no_argument, nullptr, 'V'},
        {nullptr, 0, nullptr, 0},
    };
    opterr = 0; // the messages below name the argument, not the path of the program
    for (int code; (code = getopt_long(argc, argv, ":qhV", longOptions, nullptr)) != -1;) {
        const std::string_view argument = optarg != nullptr ? optarg : "";
        if (const std::optional<ExitStatus> status = readOption(options, code, argument, argv)) return status;
    }
    return readFiles(options, argc, argv);
}

// Colors when asked, or when standard output is a terminal that can show
// them and NO_COLOR (set to anything but the empty text) does not refuse them.
bool useColor(ColorWhen when) {
    if (when != ColorWhen::automatic) return when == ColorWhen::always;
    const char* noColor = std::getenv("NO_COLOR");
    if (noColor != nullptr && *noColor != '\0') return false;
    const char* term = std::getenv("TERM");
    if (term != nullptr && std::string_view(term) == "dumb") return false;
    return isatty(STDOUT_FILENO) != 0;
}

std::string currentDirectory() {
    std::error_code error;
    const std::filesystem::path path = std::filesystem::current_path(error);
    return error ? std::string("/") : path.string();
}

ExitStatus run(int argc, char** argv) {
    Options options;
    if (const std::optional<ExitStatus> end = readCommandLine(options, argc, argv)) return *end;
    if (const std::optional<LexiconFailure> missing = Lexicon(options.files).checkFiles()) {
        // lexpand's own words for it, without its "*** " mark.
        std::string_view message = missing->message;
        if (message.starts_with("*** ")) message.remove_prefix(4);
        printMessage(message);
        return statusWrongCommandLine;
    }
    CollectedReport report(options.report);
    checkLexicon(options.files, report);
    if (!options.report.quiet) {
        std::string text;
        if (options.format == Format::sarif) {
            text = sarifReport(report, options.report, LEXPAND_VERSION, currentDirectory());
        } else {
            const bool terminal = isatty(STDOUT_FILENO) != 0;
            const TextStyle style{useColor(options.color), terminal || options.color == ColorWhen::always};
            text = textReport(report, style, options.report, std::string(programName));
        }
        std::fwrite(text.data(), 1, text.size(), stdout);
    }
    return report.errors() == 0 ? statusClean : statusProblems;
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
