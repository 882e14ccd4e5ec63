// Fuzz target for a whole run of the tool. The input holds up to four files
// separated by NUL bytes: a dictionary, a grammar named on the command line,
// the properties definitions, and a grammar that the dictionary may name with
// "#use used.pdg". They are written to a private directory, loaded by a
// Lexicon and expanded as lexpand does, within the budgets of one input; the
// lines are counted, not printed.

#include <stdlib.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "DictionaryExpansion.h"
#include "FuzzInput.h"
#include "Lexicon.h"

namespace {

constexpr std::size_t maximalInputSize = 4096;

// A directory of this process, removed when it exits. The removal is
// registered once the path is made, so that it runs before the path is
// destroyed (exit runs handlers and destructors in the reverse order).
const std::filesystem::path& workDirectory() {
    static const std::filesystem::path directory = [] {
        std::string pattern = (std::filesystem::temp_directory_path() / "lexpand-fuzz-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) __builtin_trap();
        return std::filesystem::path(pattern);
    }();
    static const int removal = std::atexit([] {
        std::error_code ignored;
        std::filesystem::remove_all(workDirectory(), ignored);
    });
    (void)removal;
    return directory;
}

std::string writeFile(const std::string& name, std::string_view content) {
    const std::string path = (workDirectory() / name).string();
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(content.data(), static_cast<std::streamsize>(content.size()));
    if (!file) __builtin_trap();
    return path;
}

class CountingSink final : public lexpand::LineSink {
public:
    void printLine(std::string_view line) override {
        if (line.find('\n') != std::string_view::npos) __builtin_trap(); // one line per call
        ++lineCount;
    }
    std::int64_t lineCount = 0;
};

// Loads the files as lexpand does and expands the dictionary on one thread,
// within the budgets of one input.
void run(const std::string& dictionaryPath, const std::string& grammarPath, const std::string& definitionsPath) {
    lexpand::Lexicon lexicon(lexpand::LexiconFiles{{dictionaryPath}, {grammarPath}, definitionsPath},
                             lexpand::LexiconOptions{lexpand::fuzz::grammarBudget, lexpand::fuzz::exploreBudget});
    if (const std::optional<lexpand::LexiconFailure> failure = lexicon.load()) {
        if (failure->message.empty()) __builtin_trap(); // a failure always says why
        return;
    }
    lexpand::ExpansionOptions options;
    options.threads = 1;
    CountingSink sink;
    const std::optional<std::int64_t> count = lexicon.expandDictionary(0, sink, options);
    // Every counted form was sent as a line; echoed entries are sent uncounted.
    if (count && (*count < 0 || *count > sink.lineCount)) __builtin_trap();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > maximalInputSize) return 0;
    const std::string_view input = lexpand::fuzz::asText(data, size);
    // "#use" names are resolved below the dictionary's directory; keep them there.
    if (input.find("../") != std::string_view::npos) return 0;
    std::vector<std::string_view> parts = lexpand::fuzz::splitInput(input, '\0', 4);
    parts.resize(4);

    const std::string dictionaryPath = writeFile("run.dic", parts[0]);
    const std::string grammarPath = writeFile("grammar.pdg", parts[1]);
    const std::string definitionsPath = writeFile("run.def", parts[2]);
    writeFile("used.pdg", parts[3]);
    run(dictionaryPath, grammarPath, definitionsPath);
    return 0;
}
