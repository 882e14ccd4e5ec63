// Exports bindCompile: Lexicon.compile, which expands the dictionaries of a
// loaded lexicon with the engine, reads its lines back as pairs of a form and
// an analysis (FormLinePairs) and builds the compact dictionary of them
// (CompactDictionaryBuilder).

#include "CompileBinding.h"

#include <pybind11/stl/filesystem.h>

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "CompactDictionaryBuilder.h"
#include "Errors.h"

namespace py = pybind11;
using namespace pybind11::literals;

namespace lexpand::python {

namespace {

// Sends the lines of an expansion to the builder; remembers the first line
// refused, and adds nothing after it.
class PairCollector final : public LineSink {
public:
    explicit PairCollector(CompactDictionaryBuilder& builder) : pairs_(builder) {}

    void printLine(std::string_view line) override {
        if (problem) return;
        if (const std::optional<std::string> refused = pairs_.add(line)) problem = *refused + ": " + std::string(line);
    }

    std::optional<std::string> problem;

private:
    FormLinePairs pairs_;
};

// Builds the compact dictionary of the forms of every dictionary of
// `lexicon` and writes it to `path`. Throws CompileFailure. Cost: expanding
// the dictionaries, and building (see CompactDictionaryBuilder::build).
void compile(const Lexicon& lexicon, const std::string& path) {
    CompactDictionaryBuilder builder;
    PairCollector collector(builder);
    for (std::size_t i = 0; i < lexicon.dictionaryTexts().size() && !collector.problem; ++i) {
        if (!lexicon.expandDictionary(i, collector))
            throw CompileFailure{"Cannot inflect/derive dictionary " + lexicon.files().dictionaryPaths[i]};
    }
    if (collector.problem) throw CompileFailure{*collector.problem};
    if (builder.pairsAdded() == 0) throw CompileFailure{"no word form to compile"};
    std::string problem;
    const std::optional<std::string> bytes = builder.build(problem);
    if (!bytes) throw CompileFailure{problem};
    if (const std::optional<std::string> failure = writeDictionaryFile(path, *bytes)) throw CompileFailure{*failure};
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
