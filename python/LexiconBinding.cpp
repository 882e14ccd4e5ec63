// Exports LexiconHandle, DictionaryForms and bindLexicon: lexpand.Lexicon and
// the iteration over a dictionary file.

#include "LexiconBinding.h"

#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include <cstdint>
#include <filesystem>
#include <string_view>
#include <utility>

#include "Errors.h"
#include "FailureReasons.h"
#include "TextServices.h"

namespace py = pybind11;
using namespace pybind11::literals;

namespace lexpand::python {

namespace {

class LineCollector final : public LineSink {
public:
    void printLine(std::string_view line) override { lines.emplace_back(line); }
    std::vector<std::string> lines;
};

std::string stepName(LexiconFailure::Step step) {
    switch (step) {
    case LexiconFailure::Step::missingFile:
        return "missing_file";
    case LexiconFailure::Step::grammar:
        return "grammar";
    case LexiconFailure::Step::dictionaryGrammars:
        return "dictionary_grammars";
    case LexiconFailure::Step::definitions:
        return "definitions";
    }
    return "definitions";
}

std::vector<std::string> pathTexts(const std::vector<std::filesystem::path>& paths) {
    std::vector<std::string> texts;
    for (const std::filesystem::path& path : paths) texts.push_back(path.string());
    return texts;
}

py::list toPython(const std::vector<FormRecord>& records) {
    const py::object form = formClass();
    py::list list(records.size());
    for (std::size_t i = 0; i < records.size(); ++i) list[i] = toPython(records[i], form);
    return list;
}

std::string quoted(const std::string& text) {
    return py::repr(py::str(text));
}

std::string describe(const LexiconHandle& handle) {
    const LexiconFiles& files = handle.lexicon().files();
    std::string text = "lexpand.Lexicon(grammars=[";
    for (const std::string& path : files.grammarPaths) text += (text.back() == '[' ? "" : ", ") + quoted(path);
    text += "], definitions=" + quoted(*files.definitionsPath) + ", dictionaries=[";
    for (const std::string& path : files.dictionaryPaths) text += (text.back() == '[' ? "" : ", ") + quoted(path);
    return text + "])";
}

} // namespace

LexiconHandle::LexiconHandle(LexiconFiles files) : lexicon_(std::move(files)) {
    if (const std::optional<LexiconFailure> failure = lexicon_.load())
        throw LoadFailure{failure->message, stepName(failure->step)};
}

std::vector<FormRecord> LexiconHandle::expand(const std::string& line) {
    LineCollector sink;
    std::optional<std::int64_t> count;
    if (firstLine(line).size() == line.size()) { // the engine expands one line
        const std::lock_guard lock(expansion_);
        count = lexicon_.expandEntryLine(line, sink);
    }
    if (!count) throw EntryFailure{line, entryFailureReason(lexicon_, line)};
    // An entry without inflectional paradigm is printed first, as written,
    // and not counted.
    const bool echoed = sink.lines.size() > static_cast<std::size_t>(*count);
    const PropertiesDefinitions& definitions = *lexicon_.definitions();
    std::vector<std::string> entryLexItems; // the "_LEX" items the entry carries itself
    if (line.find("_LEX") != std::string::npos) {
        if (const std::optional<ALU> entry = ALU::init(line, &definitions)) entryLexItems = lexItemsOf(*entry);
    }
    std::vector<FormRecord> records;
    records.reserve(sink.lines.size());
    for (std::string& printed : sink.lines) {
        const bool isEcho = echoed && records.empty();
        std::optional<FormRecord> record = formRecordOf(printed, isEcho, entryLexItems, definitions);
        if (!record) throw EntryFailure{line, "the line " + printed + " cannot be read back into its parts"};
        records.push_back(std::move(*record));
    }
    return records;
}

DictionaryForms::DictionaryForms(LexiconHandle& lexicon, std::string path)
    : lexicon_(lexicon), path_(std::move(path)), lines_(path_) {
    if (lines_.state() == DictionaryLines::State::missing)
        throw LoadFailure{"*** Cannot find dictionary file " + path_, "missing_file"};
}

bool DictionaryForms::hasReadyRecord() {
    const std::unique_lock lock(reading_, std::try_to_lock);
    return lock.owns_lock() && nextRecord_ < records_.size();
}

std::optional<FormRecord> DictionaryForms::next() {
    const std::lock_guard lock(reading_);
    while (!ended_ && nextRecord_ == records_.size()) {
        const std::optional<std::string> line = lines_.next();
        if (!line) {
            ended_ = true;
            if (lines_.state() == DictionaryLines::State::unreadable)
                throw LoadFailure{"*** Cannot inflect/derive dictionary " + path_ +
                                      " (not readable, or not UTF-8 text)",
                                  "dictionary"};
            break;
        }
        records_.clear();
        nextRecord_ = 0;
        try {
            records_ = lexicon_.expand(*line);
        } catch (const EntryFailure&) {
            ended_ = true;
            throw;
        }
    }
    if (nextRecord_ == records_.size()) return std::nullopt;
    return std::move(records_[nextRecord_++]);
}

namespace {

// lexpand.DictionaryForms: the iterator that Lexicon.expand_dictionary
// answers. A record ready is taken with the GIL held; reading and expanding
// the next entry runs without it.
void bindDictionaryForms(py::module_& module) {
    py::class_<DictionaryForms>(module, "DictionaryForms",
                                "The forms of a dictionary file, entry by entry: an iterator of lexpand.Form.")
        .def(
            "__iter__", [](DictionaryForms& self) -> DictionaryForms& { return self; },
            py::return_value_policy::reference_internal)
        .def("__next__", [](DictionaryForms& self) {
            std::optional<FormRecord> record;
            if (self.hasReadyRecord()) {
                record = self.next();
            } else {
                const py::gil_scoped_release release;
                record = self.next();
            }
            if (!record) throw py::stop_iteration();
            return toPython(*record, formClass());
        });
}

// Lexicon.expand and Lexicon.expand_dictionary, expansions without the GIL.
void defineExpansions(py::class_<LexiconHandle>& lexicon) {
    lexicon
        .def(
            "expand",
            [](LexiconHandle& self, const std::string& line) {
                std::vector<FormRecord> records;
                {
                    const py::gil_scoped_release release;
                    records = self.expand(line);
                }
                return toPython(records);
            },
            "entry_line"_a,
            R"(The lines that lexpand prints for one entry line, as lexpand.Form records.

An entry without inflectional paradigm comes first as written, with
echoed=True (lexpand prints it and does not count it), followed by the forms
of its derivations. Raises lexpand.ExpansionError, with the line and the
reason, when the entry cannot be expanded.)")
        .def(
            "expand_dictionary",
            [](LexiconHandle& self, const std::filesystem::path& path) {
                return std::make_unique<DictionaryForms>(self, path.string());
            },
            "path"_a, py::keep_alive<0, 1>(),
            R"(An iterator over the records of every entry of the dictionary file at
`path`, as expand gives them, entry by entry and in file order; the file is
read block by block, never held whole. Blank lines, comments and "#use"
lines are passed over: the grammars a dictionary names are those loaded with
the Lexicon. Raises lexpand.LoadError when the file does not exist (at once)
or cannot be read as UTF-8, and lexpand.ExpansionError at the first entry that
fails, after the records of the entries before it.)");
}

// The paths a Lexicon was loaded from, and its repr.
void defineDescription(py::class_<LexiconHandle>& lexicon) {
    lexicon
        .def_property_readonly(
            "definitions", [](const LexiconHandle& self) { return *self.lexicon().files().definitionsPath; },
            "The path of the properties definitions.")
        .def_property_readonly(
            "grammars", [](const LexiconHandle& self) { return self.lexicon().files().grammarPaths; },
            "The paths of the grammars.")
        .def_property_readonly(
            "dictionaries", [](const LexiconHandle& self) { return self.lexicon().files().dictionaryPaths; },
            "The paths of the dictionaries.")
        .def("__repr__", &describe);
}

} // namespace

py::class_<LexiconHandle> bindLexicon(py::module_& module) {
    bindDictionaryForms(module);

    py::class_<LexiconHandle> lexicon(module, "Lexicon",
                                      R"(The grammars and properties definitions of lexpand, loaded once.

Loading takes the steps of lexpand, in its order and with its messages: the
files exist (dictionaries, grammars, then the definitions); each grammar is
compiled and merged; each dictionary is read and the grammars it names with
"#use" are merged; the properties definitions are read. A failure raises
lexpand.LoadError with the line lexpand prints.

A Lexicon may be used from several threads; its expansions run one at a
time, without the GIL.)");
    lexicon.def(
        py::init([](const std::filesystem::path& definitions, const std::vector<std::filesystem::path>& grammars,
                    const std::vector<std::filesystem::path>& dictionaries) {
            LexiconFiles files{pathTexts(dictionaries), pathTexts(grammars), definitions.string()};
            const py::gil_scoped_release release;
            return std::make_unique<LexiconHandle>(std::move(files));
        }),
        py::kw_only(), "definitions"_a, "grammars"_a = std::vector<std::filesystem::path>{},
        "dictionaries"_a = std::vector<std::filesystem::path>{},
        R"(Loads the properties definitions (.def), the grammars (.pdg) and the
dictionaries (.dic) whose "#use" grammars are wanted; paths are str or
os.PathLike.)");
    defineExpansions(lexicon);
    defineDescription(lexicon);
    return lexicon;
}

} // namespace lexpand::python
