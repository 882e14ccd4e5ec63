// lexpand-lookup: looks words up in a compact dictionary (".lxd") and prints
// their analyses, or generates forms from lemmas. Exports only main().

#include <fcntl.h>
#include <getopt.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "CompactDictionary.h"
#include "FormGeneration.h"
#include "ProgramMessages.h"
#include "WordLookup.h"

namespace lexpand {
namespace {

enum ExitStatus : int { statusSuccess = 0, statusFailedInput = 1, statusWrongCommandLine = 2 };

constexpr std::string_view programName = "lexpand-lookup";

constexpr std::string_view usageText =
    "Usage: lexpand-lookup [OPTION]... DICTIONARY.lxd [FILE]...\n"
    "Look up words, one per line, in a dictionary made by lexpand-compile, and print\n"
    "each analysis as WORD, a tab and the lexpand line of the analysis, its lemma first.\n"
    "An unknown word is printed with a tab and \"?\". A word not found as written is\n"
    "looked up with its first letter in lower case, then all in lower case; the spelling\n"
    "found then follows the analysis after a second tab.\n"
    "With no FILE, or when FILE is -, read standard input.\n"
    "\n"
    "  -t, --text        read running text and look up each of its words\n"
    "  -g, --generate    read queries LEMMA,CATEGORY+PROPERTIES and print the forms\n"
    "                    whose analysis has that lemma, that category and (at least)\n"
    "                    those properties\n"
    "  -i, --info        print what the dictionary holds and exit\n"
    "  -h, --help        print this help and exit\n"
    "  -V, --version     print the version and exit\n"
    "\n"
    "Exit status: 0 on success, 1 when the dictionary or an input cannot be read, 2 on\n"
    "a wrong command line.\n";

enum class Mode { words, text, generate, info };

struct Options {
    Mode mode = Mode::words;
    std::string dictionary;
    std::vector<std::string> inputs;
};

void printError(std::string_view message) {
    printProgramMessage(programName, message);
}

ExitStatus wrongCommandLine(std::string_view message) {
    printCommandLineRefusal(programName, message);
    return statusWrongCommandLine;
}

std::optional<ExitStatus> readCommandLine(int argc, char** argv, Options& options) {
    static const option longOptions[] = {
        {"text", no_argument, nullptr, 't'},    {"generate", no_argument, nullptr, 'g'},
        {"info", no_argument, nullptr, 'i'},    {"help", no_argument, nullptr, 'h'},
        {"version", no_argument, nullptr, 'V'}, {nullptr, 0, nullptr, 0}};
    opterr = 0;
    int modes = 0;
    for (;;) {
        const int option = getopt_long(argc, argv, ":tgihV", longOptions, nullptr);
        if (option == -1) break;
        switch (option) {
        case 't':
            options.mode = Mode::text;
            ++modes;
            break;
        case 'g':
            options.mode = Mode::generate;
            ++modes;
            break;
        case 'i':
            options.mode = Mode::info;
            ++modes;
            break;
        case 'h':
            std::cout << usageText;
            return statusSuccess;
        case 'V':
            std::cout << programName << ' ' << LEXPAND_VERSION << '\n';
            return statusSuccess;
        default:
            return wrongCommandLine(std::string("unknown option '") + argv[optind - 1] + "'");
        }
    }
    if (modes > 1) return wrongCommandLine("--text, --generate and --info exclude each other");
    if (optind >= argc) return wrongCommandLine("no dictionary");
    options.dictionary = argv[optind];
    for (int i = optind + 1; i < argc; ++i) options.inputs.emplace_back(argv[i]);
    if (options.mode == Mode::info && !options.inputs.empty()) return wrongCommandLine("--info reads no input");
    if (options.inputs.empty()) options.inputs.emplace_back("-");
    return std::nullopt;
}

// Standard output, written in large blocks. A failed write is remembered.
class Output {
public:
    Output() { buffer_.reserve(capacity); }
    Output(const Output&) = delete; // one per process
    Output& operator=(const Output&) = delete;

    std::string& buffer() { return buffer_; }
    // Writes the buffer once it is large.
    void lineDone() {
        if (buffer_.size() >= capacity) flush();
    }
    void flush() {
        std::string_view text = buffer_;
        while (!text.empty() && !failed_) {
            const ssize_t written = ::write(STDOUT_FILENO, text.data(), text.size());
            if (written < 0 && errno == EINTR) continue;
            if (written <= 0) {
                failed_ = true;
                break;
            }
            text.remove_prefix(static_cast<std::size_t>(written));
        }
        buffer_.clear();
    }
    bool failed() const { return failed_; }

private:
    static constexpr std::size_t capacity = std::size_t{1} << 16;
    std::string buffer_;
    bool failed_ = false;
};

// Calls visit(line) for each line of the file at `path` (standard input for
// "-"), cut at line feeds, a final carriage return dropped. False when the
// file cannot be opened or read.
template <typename Visit> bool forEachInputLine(const std::string& path, Visit&& visit) {
    const int descriptor = path == "-" ? STDIN_FILENO : ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) return false;
    std::string pending;
    std::vector<char> chunk(std::size_t{1} << 20);
    bool ok = true;
    for (;;) {
        const ssize_t count = ::read(descriptor, chunk.data(), chunk.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) {
            ok = false;
            break;
        }
        if (count == 0) break;
        pending.append(chunk.data(), static_cast<std::size_t>(count));
        std::size_t begin = 0;
        for (std::size_t end; (end = pending.find('\n', begin)) != std::string::npos; begin = end + 1) {
            std::string_view line(pending.data() + begin, end - begin);
            if (line.ends_with('\r')) line.remove_suffix(1);
            visit(line);
        }
        pending.erase(0, begin);
    }
    if (ok && !pending.empty()) {
        std::string_view line = pending;
        if (line.ends_with('\r')) line.remove_suffix(1);
        visit(line);
    }
    if (descriptor != STDIN_FILENO) ::close(descriptor);
    return ok;
}

// Looks words up and prints their analyses.
class WordLookup {
public:
    WordLookup(const CompactDictionary& dictionary, Output& output) : dictionary_(dictionary), out_(output) {}

    void lookUp(std::string_view word) {
        if (const std::optional<FoundSpelling> found = findSpelling(dictionary_, word)) {
            const bool lowered = !found->lowered.empty();
            printAnalyses(word, lowered ? std::string_view(found->lowered) : word, found->at, lowered);
            return;
        }
        std::string& out = out_.buffer();
        out += word;
        out += "\t?\n";
        out_.lineDone();
    }

private:
    // Prints the analyses of `spelling`, which ends at `at`, for `word`.
    void printAnalyses(std::string_view word, std::string_view spelling, const CompactDictionary::Position& at,
                       bool sayFound) {
        analyses_.clear();
        dictionary_.analysesAt(at, analyses_);
        std::string& out = out_.buffer();
        for (const std::uint32_t analysis : analyses_) {
            out += word;
            out += '\t';
            dictionary_.appendLemma(out, spelling, at, analysis);
            out += dictionary_.propertiesOf(analysis);
            if (sayFound) {
                out += '\t';
                out += spelling;
            }
            out += '\n';
        }
        out_.lineDone();
    }

    const CompactDictionary& dictionary_;
    Output& out_;
    std::vector<std::uint32_t> analyses_;
};

// Looks up the words of running text.
class TextLookup {
public:
    TextLookup(const CompactDictionary& dictionary, WordLookup& words) : textWords_(dictionary), words_(words) {}

    void lookUpWordsOf(std::string_view line) {
        textWords_.wordsOf(line, found_);
        for (const std::string_view word : found_) words_.lookUp(word);
    }

private:
    TextWords textWords_;
    WordLookup& words_;
    std::vector<std::string_view> found_;
};

// Prints the forms that `query` asks for: the query, a tab and the form's
// line, or the query, a tab and "?" when there is none. False when `query`
// is not a query.
bool generate(const FormGenerator& generator, const CompactDictionary& dictionary, std::string_view query,
              Output& output) {
    const std::optional<GenerationQuery> parsed = parseGenerationQuery(query);
    if (!parsed) return false;
    const std::vector<GeneratedForm> forms = generator.generate(*parsed);
    std::string& out = output.buffer();
    if (forms.empty()) {
        out += query;
        out += "\t?\n";
    }
    for (const GeneratedForm& form : forms) {
        out += query;
        out += '\t';
        out += form.form;
        out += dictionary.propertiesOf(form.analysis);
        out += '\n';
    }
    output.lineDone();
    return true;
}

void printInfo(const CompactDictionary& dictionary, Output& output) {
    const CompactDictionaryInfo& info = dictionary.info();
    std::string& out = output.buffer();
    const auto line = [&](std::string_view name, std::uint64_t value) {
        out += name;
        out += ": ";
        out += std::to_string(value);
        out += '\n';
    };
    line("forms", info.forms);
    line("pairs of a form and an analysis", info.pairs);
    line("distinct analyses", info.analyses);
    line("distinct lists of analyses", info.lists);
    line("states", info.states);
    line("arcs", info.arcs);
    line("symbols", info.symbols);
    line("longest form (characters)", info.longestForm);
    line("bytes", info.bytes);
    if (info.pairs > 0) {
        char perPair[32];
        std::snprintf(perPair, sizeof perPair, "%.3f",
                      static_cast<double>(info.bytes) / static_cast<double>(info.pairs));
        out += "bytes per pair: ";
        out += perPair;
        out += '\n';
    }
}

// What a run does with each line of its inputs, in the mode asked (any but
// info): the lookups, or the generator, made once for every input.
class LineHandler {
public:
    LineHandler(Mode mode, const CompactDictionary& dictionary, Output& output)
        : mode_(mode), dictionary_(dictionary), output_(output), lookup_(dictionary, output) {
        if (mode == Mode::generate) generator_.emplace(dictionary);
        if (mode == Mode::text) text_.emplace(dictionary, lookup_); // its word iterator only when it reads text
    }

    // Handles one line of input; false when it is not a query of
    // generation (reported).
    bool handle(std::string_view line) {
        switch (mode_) {
        case Mode::words:
            if (!line.empty()) lookup_.lookUp(line);
            return true;
        case Mode::text:
            text_->lookUpWordsOf(line);
            return true;
        case Mode::generate:
            if (line.empty() || generate(*generator_, dictionary_, line, output_)) return true;
            output_.flush();
            printError("not a query LEMMA,CATEGORY+PROPERTIES: " + std::string(line));
            return false;
        case Mode::info:
            break;
        }
        return true;
    }

private:
    const Mode mode_;
    const CompactDictionary& dictionary_;
    Output& output_;
    WordLookup lookup_;
    std::optional<FormGenerator> generator_;
    std::optional<TextLookup> text_;
};

// Reads every input of `options` line by line through `handler`. The
// status: failure when an input cannot be read or a line is refused (each
// reported), success otherwise.
ExitStatus readInputs(const Options& options, LineHandler& handler, Output& output) {
    ExitStatus status = statusSuccess;
    for (const std::string& input : options.inputs) {
        const bool read = forEachInputLine(input, [&](std::string_view line) {
            if (!handler.handle(line)) status = statusFailedInput;
        });
        if (!read) {
            output.flush();
            printError("cannot read " + input + ": " + std::strerror(errno));
            status = statusFailedInput;
        }
    }
    return status;
}

ExitStatus run(int argc, char** argv) {
    Options options;
    if (const std::optional<ExitStatus> end = readCommandLine(argc, argv, options)) return *end;
    const CompactDictionaryOpening opening = CompactDictionary::open(options.dictionary);
    if (!opening.dictionary) {
        printError(options.dictionary + ": " + opening.problem);
        return statusFailedInput;
    }
    const CompactDictionary& dictionary = *opening.dictionary;
    Output output;
    ExitStatus status = statusSuccess;
    if (options.mode == Mode::info) {
        printInfo(dictionary, output);
    } else {
        LineHandler handler(options.mode, dictionary, output);
        status = readInputs(options, handler, output);
    }
    output.flush();
    if (output.failed()) {
        printError("cannot write to standard output");
        return statusFailedInput;
    }
    return status;
}

} // namespace
} // namespace lexpand

int main(int argc, char** argv) {
    return lexpand::run(argc, argv);
}
