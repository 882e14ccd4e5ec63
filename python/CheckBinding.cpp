// Exports bindCheck: every problem of a lexicon, found by the engine's
// checker (checkLexicon), as lexpand.Diagnostic records in lexpand-check's
// order.

#include "CheckBinding.h"

#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "DictionaryCheck.h"
#include "Errors.h"
#include "FormRecords.h"
#include "Lexicon.h"

namespace py = pybind11;
using namespace pybind11::literals;

namespace lexpand::python {

namespace {

// Keeps every diagnostic; asks the checker to stop once `maxErrors` errors
// are held (0: never).
class CollectedDiagnostics final : public DiagnosticSink {
public:
    explicit CollectedDiagnostics(std::size_t maxErrors) : maxErrors_(maxErrors) {}

    bool report(Diagnostic diagnostic) override {
        if (diagnostic.severity == Severity::error) ++errors_;
        diagnostics.push_back(std::move(diagnostic));
        return maxErrors_ == 0 || errors_ < maxErrors_;
    }

    std::vector<Diagnostic> diagnostics;

private:
    std::size_t maxErrors_;
    std::size_t errors_ = 0;
};

std::vector<std::string> pathTexts(const std::vector<std::filesystem::path>& paths) {
    std::vector<std::string> texts;
    for (const std::filesystem::path& path : paths) texts.push_back(path.string());
    return texts;
}

// The diagnostics of the lexicon of `files`, by file (the problems of no
// file first), line and column, then in the order they were found.
std::vector<Diagnostic> checked(const LexiconFiles& files, std::size_t maxErrors) {
    if (const std::optional<LexiconFailure> missing = Lexicon(files).checkFiles())
        throw LoadFailure{missing->message, "missing_file"};
    CollectedDiagnostics sink(maxErrors);
    checkLexicon(files, sink);
    sortForReport(sink.diagnostics);
    return std::move(sink.diagnostics);
}

py::object toPython(const py::handle& record, const SourceLocation& location, Severity severity, DiagnosticCode code,
                    const std::string& message, py::tuple notes) {
    const py::object file = location.file.empty() ? py::none() : py::object(py::str(location.file));
    return record(file, location.line, location.column, severityName(severity), kindOf(code).name, message,
                  std::move(notes));
}

py::list toPython(const std::vector<Diagnostic>& diagnostics, const py::handle& record) {
    py::list list(diagnostics.size());
    for (std::size_t i = 0; i < diagnostics.size(); ++i) {
        const Diagnostic& diagnostic = diagnostics[i];
        py::tuple notes(diagnostic.notes.size());
        for (std::size_t j = 0; j < notes.size(); ++j) {
            const RelatedNote& note = diagnostic.notes[j];
            notes[j] = toPython(record, note.location, Severity::note, diagnostic.code, note.message, py::tuple());
        }
        list[i] = toPython(record, diagnostic.location, diagnostic.severity, diagnostic.code, diagnostic.message,
                           std::move(notes));
    }
    return list;
}

} // namespace

void bindCheck(py::module_& module) {
    addRecordType(
        module, "Diagnostic", {"file", "line", "column", "severity", "code", "message", "notes"},
        "One problem of a lexicon, as lexpand-check reports it.\n\n"
        "file: the file, or None for a problem of the whole run.\n"
        "line, column: from 1; line 0 stands for the whole file, column 0 for the whole line (columns count "
        "characters).\n"
        "severity: \"error\", \"warning\" or \"note\".\n"
        "code: the name of the kind of problem (\"undefined-paradigm\"): a warning's -W name, a SARIF rule id.\n"
        "message: what is wrong, in lexpand-check's words.\n"
        "notes: the related places (\"first given here\"), as Diagnostic records of severity \"note\" and the "
        "same code.");

    module.def(
        "check",
        [](const std::filesystem::path& definitions, const std::vector<std::filesystem::path>& dictionaries,
           const std::vector<std::filesystem::path>& grammars, std::size_t maxErrors) {
            const LexiconFiles files{pathTexts(dictionaries), pathTexts(grammars), definitions.string()};
            std::vector<Diagnostic> diagnostics;
            {
                const py::gil_scoped_release release;
                diagnostics = checked(files, maxErrors);
            }
            return toPython(diagnostics, py::module_::import("lexpand._lexpand").attr("Diagnostic"));
        },
        py::kw_only(), "definitions"_a, "dictionaries"_a = std::vector<std::filesystem::path>{},
        "grammars"_a = std::vector<std::filesystem::path>{}, "max_errors"_a = 0,
        R"(Every problem of the lexicon of these files, as lexpand-check finds it, without
stopping at the first: a list of lexpand.Diagnostic records, sorted as
lexpand-check prints them (by file, line and column). An empty list means a
clean lexicon.

The files are checked as lexpand would load and expand them: the grammars
(.pdg), the grammars the dictionaries (.dic) name with "#use", the properties
definitions (.def), then every entry of the dictionaries. The check stops
after `max_errors` errors (0: no limit). Raises lexpand.LoadError (step
"missing_file") when a file does not exist. Runs without the GIL; the entries
are checked on several threads.)");
}

} // namespace lexpand::python
