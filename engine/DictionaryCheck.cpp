// Exports DictionaryChecker and checkLexicon: the entries of dictionaries
// checked line by line, and the whole lexicon checked in lexpand's order.

#include "DictionaryCheck.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <set>
#include <span>
#include <thread>
#include <tuple>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "DefinitionsCheck.h"
#include "DictionaryExpansion.h"
#include "EntryCheck.h"
#include "EntryForms.h"
#include "Exploration.h"
#include "FormLines.h"
#include "GrammarCheck.h"
#include "GrammarFiles.h"
#include "Paradigms.h"
#include "Parallel.h"
#include "TextServices.h"
#include "TextualGrammar.h"

namespace lexpand {

namespace {

// Lines that only need counting.
class DiscardedLines final : public LineSink {
public:
    void printLine(std::string_view) override {}
};

// Shapes are dropped all at once past this many bytes of notes and keys.
constexpr std::size_t shapeBytesLimit = std::size_t{16} << 20;

std::uint64_t mix(std::uint64_t a, std::uint64_t b) {
    const std::uint64_t h = (a * 0x9E3779B97F4A7C15ULL) ^ (b + 0x7F4A7C159E3779B9ULL + (a << 6) + (a >> 2));
    return h ^ (h >> 29);
}

std::size_t codePoints(std::string_view text) {
    std::size_t count = 0;
    for (const char c : text)
        if ((static_cast<unsigned char>(c) & 0xC0) != 0x80) ++count;
    return count;
}

// The values that the definitions list for property `name` of `category`,
// found as the normalisation finds a category (the same text, else a
// canonically equivalent one); null for none.
const std::vector<std::string>* listedValues(const PropertiesDefinitions& definitions, std::string_view category,
                                             std::string_view name) {
    const auto& categories = definitions.categoryProperties;
    auto found = categories.find(category);
    if (found == categories.end() && !isAscii(category)) {
        found = std::find_if(categories.begin(), categories.end(),
                             [&](const auto& entry) { return canonicallyEqual(entry.first, category); });
    }
    if (found == categories.end()) return nullptr;
    const auto& properties = found->second;
    if (const auto exact = properties.find(std::string(name)); exact != properties.end()) return &exact->second;
    if (isAscii(name)) return nullptr;
    for (const auto& [definedName, values] : properties)
        if (canonicallyEqual(definedName, name)) return &values;
    return nullptr;
}

// What every entry of one shape (the text from the category on) shares.
struct ShapeNotes {
    std::uint64_t canonicalHash = 0; // of the canonical text after the lemma
    struct Note {
        std::size_t offset = 0; // within the shape's text
        DiagnosticCode code;
        std::string message;
    };
    std::vector<Note> notes;
    bool dropsForms = false; // fewer lines are printed than there are forms
    std::size_t bytes = 0;
};

// Every entry that expands, for finding entries given twice.
struct EntryKey {
    std::uint64_t hash;
    std::uint32_t dictionary;
    std::uint64_t offset; // of the line in its dictionary's text
};

// Something a worker finds on an entry line, placed and reported in text
// order by the calling thread.
struct Finding {
    std::size_t lineOffset = 0; // of the line in its dictionary's text
    std::string_view line;
    std::size_t offset = 0; // within the line
    DiagnosticCode code = DiagnosticCode::entryFails;
    std::string message;
    std::string ruleName; // not empty: a problem of this rule, reported once, at the rule
};

// What a worker finds in one chunk of entry lines.
struct ChunkResult {
    std::vector<Finding> findings;
    std::vector<EntryKey> keys;    // their dictionary is set by the calling thread
    std::vector<std::string> used; // rules named by the entries
    std::int64_t forms = 0;
    std::int64_t entries = 0;
    std::int64_t unreadEntries = 0; // lines that are no entry: the paradigms they name are unknown
};

// Checks chunks of entry lines on one thread: the expander, the diagnoser
// and the shapes met are its own, so that workers share only what nobody
// changes (the definitions and the grammars).
class Worker {
public:
    Worker(const PropertiesDefinitions& propertiesDefinitions, bool definitionsComplete,
           const GrammarChecker& grammarChecker, const ExploreOptions& options)
        : definitions_(propertiesDefinitions), complete_(definitionsComplete), grammars_(grammarChecker),
          expander_(propertiesDefinitions, grammarChecker.paradigms(), options),
          diagnoser_(propertiesDefinitions, grammarChecker, options) {}

    // Checks the entry lines `lines` (views into `text`) into `result`.
    void checkLines(std::span<const std::string_view> lines, std::string_view text, ChunkResult& result) {
        for (const std::string_view line : lines)
            checkLine(line, static_cast<std::size_t>(line.data() - text.data()), result);
    }

private:
    void checkLine(std::string_view line, std::size_t offset, ChunkResult& result);
    void add(ChunkResult& result, std::string_view line, std::size_t offset, std::size_t at, DiagnosticCode code,
             std::string text) {
        result.findings.push_back(Finding{offset, line, at, code, std::move(text), {}});
    }
    const ShapeNotes& notesOf(std::string_view key, const ALU& alu, const LexemeView& lexeme, std::int64_t printed,
                              ChunkResult& result);
    std::optional<std::size_t> formCount(const ALU& alu);
    void addDroppedForms(const ALU& alu, std::string_view line, std::size_t offset, ChunkResult& result);
    void markUsed(const ALU& alu, ChunkResult& result);

    const PropertiesDefinitions& definitions_;
    const bool complete_;
    const GrammarChecker& grammars_;
    EntryLineExpander expander_;
    EntryDiagnoser diagnoser_;
    DiscardedLines discarded_;
    std::unordered_set<std::string> usedValues_;
    std::unordered_map<std::string, ShapeNotes, TextHash, std::equal_to<>> shapes_;
    std::size_t shapeBytes_ = 0;
};

// Entry lines a worker takes at a time.
constexpr std::size_t chunkLines = 4096;

} // namespace

struct DictionaryChecker::State {
    State(const PropertiesDefinitions& propertiesDefinitions, bool definitionsComplete, GrammarChecker& grammarChecker,
          Reporter& channel, const ExploreOptions& exploreOptions)
        : definitions(propertiesDefinitions), complete(definitionsComplete), grammars(grammarChecker),
          reporter(channel), options(exploreOptions) {}

    const PropertiesDefinitions& definitions;
    const bool complete;
    GrammarChecker& grammars;
    Reporter& reporter;
    const ExploreOptions options;
    std::vector<std::unique_ptr<Worker>> workers; // made as they are needed
    std::int64_t entries = 0;
    std::int64_t unreadEntries = 0;
    std::set<std::string> reportedRules;
    std::vector<EntryKey> keys;
    struct Dictionary {
        std::string path;
        std::string_view text;
    };
    std::vector<Dictionary> dictionaries;

    Worker& worker(std::size_t index) {
        while (workers.size() <= index)
            workers.push_back(std::make_unique<Worker>(definitions, complete, grammars, options));
        return *workers[index];
    }
    void report(const Finding& finding, LineCounter& counter);
};

// The location of byte `offset` of `line`, which begins at byte `lineOffset`
// of the dictionary.
SourceLocation locateInLine(LineCounter& counter, std::string_view line, std::size_t lineOffset, std::size_t offset) {
    SourceLocation location = counter.locate(lineOffset);
    location.column += codePoints(line.substr(0, std::min(offset, line.size())));
    return location;
}

void DictionaryChecker::State::report(const Finding& finding, LineCounter& counter) {
    if (!finding.ruleName.empty()) {
        if (const SourceLocation* site = grammars.siteOf(finding.ruleName)) {
            if (reportedRules.insert(finding.ruleName).second)
                reporter.report(makeDiagnostic(finding.code, *site, finding.message));
            return;
        }
    }
    reporter.report(makeDiagnostic(
        finding.code, locateInLine(counter, finding.line, finding.lineOffset, finding.offset), finding.message));
}

// Notes the rules that the paradigms of `alu` name.
void Worker::markUsed(const ALU& alu, ChunkResult& result) {
    const auto use = [&](const std::string& key, const std::string& expression) {
        if (!usedValues_.insert(key).second) return;
        const std::optional<GFSA> graph = expression2Gfsa(expression, LinguisticLevel::syntax);
        if (!graph || !graph->alphabet) return;
        for (const Label& label : graph->alphabet->array)
            if (const std::optional<std::string_view> name = calledName(label.input)) result.used.emplace_back(*name);
    };
    for (const std::string& value : alu.flxParadigms) use("FLX=" + value, inflectionalExpression(value));
    for (const std::string& value : alu.drvParadigms) {
        if (!usedValues_.insert("DRV=" + value).second) continue;
        // The graphs that the value names; the first "FLX=" value that a
        // value without ":" inflects by counts among the entry's own.
        const std::optional<DerivationNames> names = derivationNamesOf(value, alu);
        result.used.push_back(names ? names->derivation : value);
        if (names && value.find(':') != std::string::npos && !names->inflection.empty())
            result.used.push_back(names->inflection);
    }
}

// How many forms the paradigms of `alu` make (printed or dropped); absent
// when they cannot be explored. Cost: a count of the paths of each paradigm,
// an exploration for one whose paths are not held.
std::optional<std::size_t> Worker::formCount(const ALU& alu) {
    const std::optional<EntryParadigms> paradigms = diagnoser_.paradigmsOf(alu);
    if (!paradigms) return std::nullopt;
    const auto pathsOf = [](const Paradigm& paradigm) {
        if (const ParadigmPaths* held = paradigm.held()) return held->size();
        std::size_t count = 0;
        paradigm.forEachPath([&](const ParadigmPath&) { return ++count > 0; });
        return count;
    };
    std::size_t count = 0;
    for (const Paradigm& inflection : paradigms->inflections) count += pathsOf(inflection);
    for (const DerivationParadigms& derivation : paradigms->derivations)
        count += pathsOf(derivation.derivation) * (derivation.inflection ? pathsOf(*derivation.inflection) : 1);
    return count;
}

// Each form of `alu` that lexpand drops as inconsistent, with the clash,
// then the entry when it drops them all: the forms made and their lines
// assembled as the expansion makes them, one at a time.
void Worker::addDroppedForms(const ALU& alu, std::string_view line, std::size_t offset, ChunkResult& result) {
    const std::optional<EntryParadigms> paradigms = diagnoser_.paradigmsOf(alu);
    if (!paradigms) return;
    std::size_t forms = 0;
    std::size_t dropped = 0;
    forEachForm(alu, *paradigms, [&](const EntryForm& form) {
        ++forms;
        const std::vector<std::string> properties = formPropertyList(alu, form);
        const std::optional<FormLine> formLine =
            assembleFormLine(form.wordForm, *form.category, alu.morphologicalProperties, properties, definitions_);
        if (!formLine || !formLine->inconsistent) return true;
        ++dropped;
        if (const std::optional<Inconsistency> why =
                explainInconsistency(*form.category, alu.morphologicalProperties, properties, definitions_)) {
            add(result, line, offset, 0, DiagnosticCode::inconsistentForm,
                message::inconsistentForm(form.wordForm, why->property, why->firstValue, why->secondValue));
        }
        return true;
    });
    if (forms > 0 && dropped == forms) add(result, line, offset, 0, DiagnosticCode::noForm, message::noForm());
}

// The notes of the shape `key` of the entry `alu`, which printed `printed`
// form lines: forms are dropped only when fewer lines than forms are printed.
const ShapeNotes& Worker::notesOf(std::string_view key, const ALU& alu, const LexemeView& lexeme, std::int64_t printed,
                                  ChunkResult& result) {
    if (const auto found = shapes_.find(key); found != shapes_.end()) return found->second;
    if (shapeBytes_ > shapeBytesLimit) {
        shapes_.clear();
        shapeBytes_ = 0;
    }
    ShapeNotes notes;
    const std::string canonical = alu.description();
    notes.canonicalHash = std::hash<std::string_view>()(std::string_view(canonical).substr(alu.entry.size()));
    markUsed(alu, result);

    // Text after the category that the entry syntax leaves out.
    if (lexeme.properties.empty() && lexeme.category.size() < key.size()) {
        const std::string_view ignored = key.substr(lexeme.category.size());
        const std::string_view trimmed = trimWhiteSpaceAndNewlines(ignored);
        if (!trimmed.empty() && trimmed != "+")
            notes.notes.push_back({lexeme.category.size(), DiagnosticCode::ignoredText,
                                   message::textAfterCategory(lexeme.category, ignored)});
    }
    if (complete_) {
        // Values written with their name that the definitions do not list.
        const std::optional<std::vector<std::string>> items = splitProperties(lexeme.properties, false);
        const auto propertiesBegin = static_cast<std::size_t>(lexeme.properties.data() - key.data());
        for (const std::string& item : items.value_or(std::vector<std::string>())) {
            const std::size_t equals = item.find('=');
            if (equals == std::string::npos || item.starts_with("FLX=") || item.starts_with("DRV=")) continue;
            const std::string_view name = std::string_view(item).substr(0, equals);
            const std::string_view value = std::string_view(item).substr(equals + 1);
            const std::vector<std::string>* values = listedValues(definitions_, lexeme.category, name);
            if (values == nullptr || std::any_of(values->begin(), values->end(), [&](const std::string& listedValue) {
                    return canonicallyEqual(listedValue, value);
                }))
                continue;
            const std::size_t at = key.find("+" + item, propertiesBegin);
            notes.notes.push_back({at == std::string_view::npos ? propertiesBegin : at + 1,
                                   DiagnosticCode::unlistedValue,
                                   message::unlistedValue(name, value, lexeme.category, *values)});
        }
        if (!definitions_.exclusivePropertyNames.empty()) {
            const std::optional<std::size_t> forms = formCount(alu);
            notes.dropsForms = !forms || static_cast<std::int64_t>(*forms) != printed;
        }
    }
    notes.bytes = sizeof(ShapeNotes) + key.size();
    for (const ShapeNotes::Note& note : notes.notes) notes.bytes += note.message.size();
    shapeBytes_ += notes.bytes;
    return shapes_.emplace(std::string(key), std::move(notes)).first->second;
}

// Checks one entry line that begins at byte `offset` of its dictionary.
void Worker::checkLine(std::string_view line, std::size_t offset, ChunkResult& result) {
    ++result.entries;
    const std::optional<std::int64_t> count = expander_.expand(line, discarded_);
    if (!count) {
        const EntryFinding finding = diagnoser_.diagnose(line);
        if (finding.owner != EntryFinding::Owner::reported) {
            result.findings.push_back(Finding{offset, line, finding.offset, finding.code, finding.message,
                                              finding.owner == EntryFinding::Owner::rule ? finding.ruleName : ""});
        }
        if (const std::optional<ALU> alu = ALU::init(line, &definitions_))
            markUsed(*alu, result);
        else
            ++result.unreadEntries;
        return;
    }
    result.forms += *count;
    const LexemeView lexeme = *parseLexemeView(line);
    const auto keyBegin = static_cast<std::size_t>(lexeme.category.data() - line.data());
    const std::string_view key = line.substr(keyBegin);
    const auto found = shapes_.find(key);
    const ShapeNotes* notes = found != shapes_.end() ? &found->second : nullptr;
    std::optional<ALU> alu;
    if (notes == nullptr) {
        alu = ALU::init(line, &definitions_);
        notes = &notesOf(key, *alu, lexeme, *count, result);
    }
    const auto lemmaBegin = static_cast<std::size_t>(lexeme.entry.data() - line.data());
    if (lemmaBegin > 0)
        add(result, line, offset, 0, DiagnosticCode::ignoredText, message::textBeforeLemma(line.substr(0, lemmaBegin)));
    for (const ShapeNotes::Note& note : notes->notes)
        add(result, line, offset, keyBegin + note.offset, note.code, note.message);
    if (notes->dropsForms) {
        if (!alu) alu = ALU::init(line, &definitions_);
        addDroppedForms(*alu, line, offset, result);
    }
    const std::uint64_t lemmaHash = std::hash<std::string_view>()(lexeme.entry);
    result.keys.push_back(EntryKey{mix(lemmaHash, notes->canonicalHash), 0, offset});
}

DictionaryChecker::DictionaryChecker(const PropertiesDefinitions& definitions, bool definitionsComplete,
                                     GrammarChecker& grammars, Reporter& reporter, const ExploreOptions& options)
    : state_(std::make_unique<State>(definitions, definitionsComplete, grammars, reporter, options)) {}

DictionaryChecker::~DictionaryChecker() = default;

std::int64_t DictionaryChecker::entriesChecked() const {
    return state_->entries;
}

bool DictionaryChecker::everyEntryRead() const {
    return state_->unreadEntries == 0;
}

std::int64_t DictionaryChecker::check(const std::string& path, std::string_view text) {
    State& state = *state_;
    const auto dictionary = static_cast<std::uint32_t>(state.dictionaries.size());
    state.dictionaries.push_back({path, text});
    std::vector<std::string_view> lines = significantLines(text);
    // Comments, and the "#use " lines, are no entries.
    std::erase_if(lines, [](std::string_view line) { return line.empty() || line.front() == '#'; });

    // The chunks are checked on as many threads as the process may run on,
    // each thread taking the next chunk not taken yet; what they find is
    // reported afterwards in text order, so the report does not depend on
    // the threads.
    const std::size_t chunks = (lines.size() + chunkLines - 1) / chunkLines;
    std::vector<ChunkResult> results(chunks);
    const auto checkChunk = [&](Worker& worker, std::size_t c) {
        const std::size_t begin = c * chunkLines;
        worker.checkLines(std::span(lines).subspan(begin, std::min(chunkLines, lines.size() - begin)), text,
                          results[c]);
    };
    const std::size_t threads = std::min<std::size_t>(processorCount(), chunks);
    if (threads <= 1) {
        for (std::size_t c = 0; c < chunks; ++c) checkChunk(state.worker(0), c);
    } else {
        for (std::size_t t = 0; t < threads; ++t) state.worker(t);
        std::atomic<std::size_t> next{0};
        std::vector<std::thread> running;
        for (std::size_t t = 0; t < threads; ++t) {
            running.emplace_back([&, t] {
                for (std::size_t c = next++; c < chunks; c = next++) checkChunk(*state.workers[t], c);
            });
        }
        for (std::thread& thread : running) thread.join();
    }

    LineCounter counter(path, text);
    std::int64_t forms = 0;
    for (ChunkResult& result : results) {
        for (const Finding& finding : result.findings) state.report(finding, counter);
        for (EntryKey& key : result.keys) key.dictionary = dictionary;
        state.keys.insert(state.keys.end(), result.keys.begin(), result.keys.end());
        for (const std::string& name : result.used) state.grammars.markUsed(name);
        forms += result.forms;
        state.entries += result.entries;
        state.unreadEntries += result.unreadEntries;
        result = ChunkResult();
    }
    return forms;
}

void DictionaryChecker::reportDuplicates() {
    State& state = *state_;
    std::vector<EntryKey>& keys = state.keys;
    std::stable_sort(keys.begin(), keys.end(), [](const auto& a, const auto& b) { return a.hash < b.hash; });
    struct Duplicate {
        std::uint32_t dictionary;
        std::uint64_t offset;
        std::uint32_t firstDictionary;
        std::uint64_t firstOffset;
        std::string canonical;
    };
    std::vector<Duplicate> duplicates;
    const auto lineAt = [&](std::uint32_t dictionary, std::uint64_t offset) {
        const std::string_view text = state.dictionaries[dictionary].text;
        return firstLine(text.substr(offset));
    };
    for (std::size_t begin = 0; begin < keys.size();) {
        std::size_t end = begin + 1;
        while (end < keys.size() && keys[end].hash == keys[begin].hash) ++end;
        if (end - begin > 1) {
            // Equal hashes: compare the canonical entries, first occurrence first.
            std::vector<std::pair<std::string, std::size_t>> group;
            for (std::size_t k = begin; k < end; ++k) {
                const std::optional<ALU> alu =
                    ALU::init(lineAt(keys[k].dictionary, keys[k].offset), &state.definitions);
                group.emplace_back(alu ? alu->description() : std::string(), k);
            }
            std::map<std::string, std::size_t> first;
            for (const auto& [canonical, k] : group) {
                const auto [it, added] = first.emplace(canonical, k);
                if (added) continue;
                const EntryKey& earlier = keys[it->second];
                duplicates.push_back(
                    {keys[k].dictionary, keys[k].offset, earlier.dictionary, earlier.offset, canonical});
            }
        }
        begin = end;
    }
    std::sort(duplicates.begin(), duplicates.end(), [](const Duplicate& a, const Duplicate& b) {
        return std::tie(a.dictionary, a.offset) < std::tie(b.dictionary, b.offset);
    });
    std::vector<std::unique_ptr<SourceText>> sources(state.dictionaries.size());
    const auto locate = [&](std::uint32_t dictionary, std::uint64_t offset) {
        if (!sources[dictionary])
            sources[dictionary] =
                std::make_unique<SourceText>(state.dictionaries[dictionary].path, state.dictionaries[dictionary].text);
        return sources[dictionary]->locate(offset);
    };
    for (const Duplicate& duplicate : duplicates) {
        Diagnostic diagnostic =
            makeDiagnostic(DiagnosticCode::duplicateEntry, locate(duplicate.dictionary, duplicate.offset),
                           message::duplicateEntry(duplicate.canonical));
        diagnostic.notes.push_back({message::firstGiven(), locate(duplicate.firstDictionary, duplicate.firstOffset)});
        state.reporter.report(std::move(diagnostic));
    }
}

// ---- The whole lexicon -----------------------------------------------------------

namespace {

// How a "#use" grammar is named in reports: beside the dictionary as the
// command line names it.
std::string shownGrammarPath(const std::string& dictionaryPath, const std::string& name) {
    const std::size_t slash = dictionaryPath.rfind('/');
    if (slash == std::string::npos) return name;
    return dictionaryPath.substr(0, slash + 1) + name;
}

} // namespace

void addUsedGrammars(GrammarChecker& grammars, const std::string& dictionaryPath, std::string_view text) {
    const SourceText source(dictionaryPath, text);
    for (const std::string_view line : grammarReferenceLines(text)) {
        const std::string name(line.substr(grammarReferencePrefix.size()));
        const GrammarUse use{source.locate(source.offsetOf(line) + grammarReferencePrefix.size()), name};
        grammars.addGrammarFile(usedGrammarPath(dictionaryPath, name).path, shownGrammarPath(dictionaryPath, name),
                                &use);
    }
}

CheckSummary checkLexicon(const LexiconFiles& files, DiagnosticSink& sink, const ExploreOptions& options) {
    Reporter reporter(sink);
    CheckSummary summary;
    GrammarChecker grammars(reporter);
    for (const std::string& path : files.grammarPaths) grammars.addGrammarFile(path, path, nullptr);

    std::vector<std::optional<std::string>> texts;
    bool everyDictionaryRead = true;
    std::set<std::string> dictionariesSeen;
    std::vector<bool> givenBefore;
    for (const std::string& path : files.dictionaryPaths) {
        // A dictionary given again has its "#use" lines loaded again, as lexpand does, and its entries
        // reported once.
        givenBefore.push_back(!dictionariesSeen.insert(canonicalPath(path)).second);
        if (givenBefore.back())
            reporter.report(makeDiagnostic(DiagnosticCode::duplicateEntry, SourceLocation{path, 0, 0},
                                           message::dictionaryGivenTwice()));
        std::optional<std::string> text = readCheckedFile(path, path, reporter);
        everyDictionaryRead = everyDictionaryRead && text.has_value();
        if (text) addUsedGrammars(grammars, path, *text);
        texts.push_back(std::move(text));
    }
    grammars.checkCalls();

    CheckedDefinitions definitions;
    if (files.definitionsPath) definitions = checkDefinitions(*files.definitionsPath, reporter, options);
    const PropertiesDefinitions none;
    DictionaryChecker dictionaries(definitions.definitions ? *definitions.definitions : none, definitions.complete,
                                   grammars, reporter, options);
    for (std::size_t i = 0; i < texts.size() && !reporter.stopped(); ++i) {
        if (texts[i] && !givenBefore[i]) summary.forms += dictionaries.check(files.dictionaryPaths[i], *texts[i]);
    }
    dictionaries.reportDuplicates();
    summary.entries = dictionaries.entriesChecked();
    if (!reporter.stopped() && reporter.errors() == 0 && summary.forms == 0 && !files.dictionaryPaths.empty()) {
        reporter.report(makeDiagnostic(DiagnosticCode::noFormAtAll, SourceLocation{files.dictionaryPaths.front(), 0, 0},
                                       message::noFormAtAll()));
    }
    if (!reporter.stopped() && everyDictionaryRead && dictionaries.everyEntryRead()) grammars.reportUnused();
    summary.stopped = reporter.stopped();
    return summary;
}

} // namespace lexpand
