// Exports bindAnalyser: lexpand.Analyser, the engine's CompactDictionary
// searched by its word lookup (findSpelling, TextWords) and its FormGenerator.

#include "AnalyserBinding.h"

#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ALU.h"
#include "CompactDictionary.h"
#include "Errors.h"
#include "FormGeneration.h"
#include "FormRecords.h"
#include "WordLookup.h"

namespace py = pybind11;
using namespace pybind11::literals;

namespace lexpand::python {

namespace {

// One analysis of a word, in parts.
struct AnalysisRecord {
    std::string word;     // as looked up
    std::string lemma;    // restored from the spelling by the reverse command
    std::string category; // empty when the analysis does not split (never for a lexpand-compile dictionary)
    std::vector<std::string> properties; // the items after the category, in the analysis's order
    std::string reverseCommand;          // from the spelling to the lemma
    std::string line;                    // the lemma and the analysis, as lexpand-lookup prints them
    std::string spelling;                // the form found: the word, or a lower-case form of it
};

CompactDictionary opened(const std::string& path) {
    CompactDictionaryOpening opening = CompactDictionary::open(path);
    if (!opening.dictionary) throw LoadFailure{path + ": " + opening.problem, "compact_dictionary"};
    return std::move(*opening.dictionary);
}

// A compact dictionary opened once. Its lookups may run on several threads
// at once.
class Analyser {
public:
    // Opens and checks the file at `path`: throws LoadFailure when it is
    // refused. Cost: one pass over the file.
    explicit Analyser(std::string path) : path_(std::move(path)), dictionary_(opened(path_)) {}

    // The analyses of `word`, found as lexpand-lookup finds them; empty when
    // it is unknown. Cost: up to three lookups.
    std::vector<AnalysisRecord> analyse(std::string_view word) const {
        std::vector<AnalysisRecord> records;
        if (const std::optional<FoundSpelling> found = findSpelling(dictionary_, word))
            addAnalyses(records, word, found->lowered.empty() ? word : std::string_view(found->lowered), found->at);
        return records;
    }

    // The words of `text`, line by line, each with its analyses, as
    // lexpand-lookup --text finds them. Cost: linear in the text, plus the
    // lookups.
    std::vector<std::pair<std::string, std::vector<AnalysisRecord>>> analyseText(std::string_view text) const {
        std::vector<std::pair<std::string, std::vector<AnalysisRecord>>> results;
        TextWords textWords(dictionary_);
        std::vector<std::string_view> words;
        while (!text.empty()) {
            const std::size_t end = text.find('\n');
            textWords.wordsOf(text.substr(0, end), words);
            for (const std::string_view word : words) results.emplace_back(word, analyse(word));
            text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        }
        return results;
    }

    // The forms whose analysis answers `query` ("LEMMA,CATEGORY+PROPERTIES"),
    // as lexpand-lookup --generate finds them; each record's word is the
    // form. Throws QueryFailure when `query` is not a query. Cost: that of
    // FormGenerator::generate, after one pass over the analyses on first use.
    std::vector<AnalysisRecord> generate(const std::string& query) const {
        const std::optional<GenerationQuery> parsed = parseGenerationQuery(query);
        if (!parsed) throw QueryFailure{query};
        std::call_once(generatorMade_, [this] { generator_ = std::make_unique<FormGenerator>(dictionary_); });
        std::vector<AnalysisRecord> records;
        for (const GeneratedForm& form : generator_->generate(*parsed)) {
            const std::optional<CompactDictionary::Position> at = dictionary_.find(form.form);
            if (at) addAnalysis(records, form.form, form.form, *at, form.analysis);
        }
        return records;
    }

    const std::string& path() const { return path_; }
    const CompactDictionaryInfo& info() const { return dictionary_.info(); }

private:
    void addAnalyses(std::vector<AnalysisRecord>& records, std::string_view word, std::string_view spelling,
                     const CompactDictionary::Position& at) const {
        std::vector<std::uint32_t> analyses;
        dictionary_.analysesAt(at, analyses);
        for (const std::uint32_t analysis : analyses) addAnalysis(records, word, spelling, at, analysis);
    }

    void addAnalysis(std::vector<AnalysisRecord>& records, std::string_view word, std::string_view spelling,
                     const CompactDictionary::Position& at, std::uint32_t analysis) const {
        AnalysisRecord record{std::string(word),    {}, {}, {}, std::string(dictionary_.reverseCommandOf(analysis)), {},
                              std::string(spelling)};
        dictionary_.appendLemma(record.lemma, spelling, at, analysis);
        record.line = record.lemma + std::string(dictionary_.propertiesOf(analysis));
        if (const std::optional<LexemeView> parts = parseLexemeView(record.line)) {
            if (std::optional<std::vector<std::string>> items = splitProperties(parts->properties, false)) {
                record.category = parts->category;
                record.properties = std::move(*items);
            }
        }
        records.push_back(std::move(record));
    }

    std::string path_;
    CompactDictionary dictionary_;
    mutable std::once_flag generatorMade_;
    mutable std::unique_ptr<FormGenerator> generator_; // made on the first generation
};

py::list toPython(const std::vector<AnalysisRecord>& records) {
    const py::object analysis = py::module_::import("lexpand._lexpand").attr("Analysis");
    py::list list(records.size());
    for (std::size_t i = 0; i < records.size(); ++i) {
        const AnalysisRecord& record = records[i];
        list[i] = analysis(record.word, record.lemma, record.category, py::tuple(py::cast(record.properties)),
                           record.reverseCommand, record.line, record.spelling);
    }
    return list;
}

// The record type lexpand.Analysis, a named tuple, added to `module`.
void defineAnalysisRecord(py::module_& module) {
    addRecordType(
        module, "Analysis", {"word", "lemma", "category", "properties", "reverse_command", "line", "spelling"},
        "One analysis of a word, as lexpand-lookup prints it.\n\n"
        "word: the word looked up (for a generation, the form generated).\n"
        "lemma: the lemma, restored from the spelling by the reverse command.\n"
        "category: the category.\n"
        "properties: the property items of the analysis in its order, as a tuple of str: those of the lines "
        "lexpand prints for the form, but its _LEX.\n"
        "reverse_command: the command of that _LEX, which turns the spelling into the lemma.\n"
        "line: the lemma, category and properties as one line, as lexpand-lookup prints the analysis.\n"
        "spelling: the form found: the word as written, else with its first letter in lower case, else all in "
        "lower case.");
}

py::list analyseText(const Analyser& self, const std::string& text) {
    std::vector<std::pair<std::string, std::vector<AnalysisRecord>>> results;
    {
        const py::gil_scoped_release release;
        results = self.analyseText(text);
    }
    py::list list(results.size());
    for (std::size_t i = 0; i < results.size(); ++i)
        list[i] = py::make_tuple(results[i].first, toPython(results[i].second));
    return list;
}

py::list generateForms(const Analyser& self, const std::string& query) {
    std::vector<AnalysisRecord> records;
    {
        const py::gil_scoped_release release;
        records = self.generate(query);
    }
    return toPython(records);
}

py::dict infoOf(const Analyser& self) {
    const CompactDictionaryInfo& info = self.info();
    return py::dict("forms"_a = info.forms, "pairs"_a = info.pairs, "analyses"_a = info.analyses,
                    "lists"_a = info.lists, "states"_a = info.states, "arcs"_a = info.arcs, "symbols"_a = info.symbols,
                    "longest_form"_a = info.longestForm, "bytes"_a = info.bytes);
}

} // namespace

void bindAnalyser(py::module_& module) {
    defineAnalysisRecord(module);
    py::class_<Analyser>(module, "Analyser", R"(A compact dictionary (.lxd), opened once, to look words up.

The file is one that Lexicon.compile or lexpand-compile wrote; opening it
checks it whole, so that no lookup can go astray in a damaged file. An
Analyser may be used from several threads at once.)")
        .def(py::init([](const std::filesystem::path& path) {
                 const py::gil_scoped_release release;
                 return std::make_unique<Analyser>(path.string());
             }),
             "path"_a,
             R"(Opens the compact dictionary at `path` (str or os.PathLike). Raises
lexpand.LoadError (step "compact_dictionary") when the file is missing,
damaged or not a compact dictionary.)")
        .def(
            "analyse", [](const Analyser& self, const std::string& word) { return toPython(self.analyse(word)); },
            "word"_a,
            R"(The analyses of `word` as lexpand.Analysis records, in the order lexpand
printed them; an empty list for an unknown word. A word not found as written
is looked up with its first letter in lower case, then all in lower case: the
record's `spelling` tells which was found.)")
        .def("analyse_text", &analyseText, "text"_a,
             R"(The words of running text, each with its analyses: a list of (word,
[lexpand.Analysis, ...]) pairs in text order, an unknown word with an empty
list. Text is cut at Unicode's word boundaries; spaces and punctuation are
left out, and a run of words that the dictionary holds as one form (a
multi-word entry) is one word, the longest first. Runs without the GIL.)")
        .def("generate", &generateForms, "query"_a,
             R"(The forms of a lemma: for the query "LEMMA,CATEGORY+PROPERTY+...", every
form whose analysis has that lemma, that category and at least those
properties, as lexpand.Analysis records (their `word` is the form), in
ascending order of form. Raises lexpand.QueryError when `query` is not a
query. Runs without the GIL.)")
        .def_property_readonly("path", &Analyser::path, "The path of the compact dictionary.")
        .def_property_readonly("info", &infoOf,
                               R"(What the dictionary holds, as lexpand-lookup --info prints it: a dict of
forms, pairs (of a form and an analysis), analyses, lists (of analyses),
states, arcs, symbols, longest_form (characters) and bytes.)")
        .def("__repr__", [](const Analyser& self) {
            return "lexpand.Analyser(" + std::string(py::repr(py::str(self.path()))) + ")";
        });
}

} // namespace lexpand::python
