// Exports bindCompile: Lexicon.compile, which expands the dictionaries of a
// loaded lexicon with the engine, reads its lines back as pairs of a form and
// an analysis (FormLineReader) and builds the compact dictionary of them
// (CompactDictionaryBuilder).

#include "CompileBinding.h"

#include <pybind11/stl/filesystem.h>

#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "CompactDictionaryBuilder.h"
#include "DictionaryExpansion.h"
#include "Errors.h"
#include "FormLineReader.h"

namespace py = pybind11;
using namespace pybind11::literals;

namespace lexpand::python {

namespace {

// Sends the lines of an expansion to the builder; remembers the first line
// refused, and adds nothing after it.
class PairCollector final : public LineSink {
public:
    explicit PairCollector(CompactDictionaryBuilder& builder) : builder_(builder) {}

    void printLine(std::string_view line) override {
        if (problem || FormLineReader::isSkipped(line)) return;
        const FormLineReading reading = reader_.read(line);
        const std::optional<std::string> refused =
            reading.line ? builder_.add(reading.line->form, reading.line->analysis->reverseCommand,
                                        reading.line->analysis->properties)
                         : "not a form line: " + reading.problem;
        if (refused) problem = *refused + ": " + std::string(line);
    }

    std::optional<std::string> problem;

private:
    CompactDictionaryBuilder& builder_;
    FormLineReader reader_;
};

// Writes `bytes` to `path` through a temporary file beside it, so that a
// failure leaves no half-written dictionary. Throws CompileFailure.
void writeFile(const std::string& path, const std::string& bytes) {
    const std::string temporary = path + ".part";
    std::FILE* file = std::fopen(temporary.c_str(), "wb");
    if (file == nullptr) throw CompileFailure{"cannot write " + path};
    const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    const bool closed = std::fclose(file) == 0;
    std::error_code error;
    if (written && closed) std::filesystem::rename(temporary, path, error);
    if (!written || !closed || error) {
        std::filesystem::remove(temporary, error);
        throw CompileFailure{"cannot write " + path};
    }
}

// Builds the compact dictionary of the forms of every dictionary of
// `lexicon` and writes it to `path`. Throws CompileFailure. Cost: expanding
// the dictionaries, and building (see CompactDictionaryBuilder::build).
void compile(const Lexicon& lexicon, const std::string& path) {
    CompactDictionaryBuilder builder;
    PairCollector collector(builder);
    for (std::size_t i = 0; i < lexicon.dictionaryTexts().size() && !collector.problem; ++i) {
        if (!expandDictionaryText(lexicon.dictionaryTexts()[i], *lexicon.definitions(), lexicon.paradigms(), collector))
            throw CompileFailure{"Cannot inflect/derive dictionary " + lexicon.files().dictionaryPaths[i]};
    }
    if (collector.problem) throw CompileFailure{*collector.problem};
    if (builder.pairsAdded() == 0) throw CompileFailure{"no word form to compile"};
    std::string problem;
    const std::optional<std::string> bytes = builder.build(problem);
    if (!bytes) throw CompileFailure{problem};
    writeFile(path, *bytes);
}

} // namespace

void bindCompile(py::class_<LexiconHandle>& lexicon) {
    lexicon.def(
        "compile",
        [](const LexiconHandle& self, const std::filesystem::path& output) {
            const py::gil_scoped_release release;
            compile(self.lexicon(), output.string());
        },
        "output"_a,
        R"(Writes to `output` the compact dictionary (.lxd) of every form of the
dictionaries the Lexicon was loaded with, as lexpand-compile builds it from
the same files: lexpand.Analyser and lexpand-lookup read it. The file is
written whole or not at all. Raises lexpand.CompileError when an entry cannot
be expanded, when there is no form, or when the file cannot be written. Runs
without the GIL.)");
}

} // namespace lexpand::python
