// Exports DictionaryChecker and checkLexicon: the entries of dictionaries
// checked line by line, and the whole lexicon checked in lexpand's order.

#include "DictionaryCheck.h"

#include <algorithm>
#include <map>
#include <set>
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

} // namespace

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

struct DictionaryChecker::State {
    State(const PropertiesDefinitions& propertiesDefinitions, bool definitionsComplete, GrammarChecker& grammarChecker,
          Reporter& channel, const ExploreOptions& exploreOptions)
        : definitions(propertiesDefinitions), complete(definitionsComplete), grammars(grammarChecker),
          reporter(channel), expander(propertiesDefinitions, grammarChecker.paradigms(), exploreOptions),
          diagnoser(propertiesDefinitions, grammarChecker, exploreOptions) {}

    const PropertiesDefinitions& definitions;
    const bool complete;
    GrammarChecker& grammars;
    Reporter& reporter;
    EntryLineExpander expander;
    EntryDiagnoser diagnoser;
    DiscardedLines discarded;
    std::int64_t entries = 0;
    std::int64_t unreadEntries = 0; // lines that are no entry: the paradigms they name are unknown
    std::set<std::string> reportedRules;
    std::unordered_set<std::string> usedValues;
    std::unordered_map<std::string, ShapeNotes, TextHash, std::equal_to<>> shapes;
    std::size_t shapeBytes = 0;

    // Every entry that expands, for finding entries given twice.
    struct EntryKey {
        std::uint64_t hash;
        std::uint32_t dictionary;
        std::uint64_t offset; // of the line in its dictionary's text
    };
    std::vector<EntryKey> keys;
    struct Dictionary {
        std::string path;
        std::string_view text;
    };
    std::vector<Dictionary> dictionaries;

    std::int64_t checkLine(std::string_view line, std::size_t offset, LineCounter& counter);
    void reportFinding(const EntryFinding& finding, std::string_view line, std::size_t offset, LineCounter& counter);
    const ShapeNotes& notesOf(std::string_view key, const ALU& alu, const LexemeView& lexeme, std::int64_t printed);
    std::optional<std::size_t> formCount(const ALU& alu);
    void reportDroppedForms(const ALU& alu, std::string_view line, std::size_t offset, LineCounter& counter);
    void markUsed(const ALU& alu);
};

// The location of byte `offset` of `line`, which begins at byte `lineOffset`
// of the dictionary.
SourceLocation locateInLine(LineCounter& counter, std::string_view line, std::size_t lineOffset, std::size_t offset) {
    SourceLocation location = counter.locate(lineOffset);
    location.column += codePoints(line.substr(0, std::min(offset, line.size())));
    return location;
}

void DictionaryChecker::State::reportFinding(const EntryFinding& finding, std::string_view line, std::size_t offset,
                                             LineCounter& counter) {
    switch (finding.owner) {
    case EntryFinding::Owner::reported:
        return;
    case EntryFinding::Owner::rule:
        if (const SourceLocation* site = grammars.siteOf(finding.ruleName)) {
            if (reportedRules.insert(finding.ruleName).second)
                reporter.report(makeDiagnostic(finding.code, *site, finding.message));
            return;
        }
        break;
    case EntryFinding::Owner::entry:
        break;
    }
    reporter.report(makeDiagnostic(finding.code, locateInLine(counter, line, offset, finding.offset), finding.message));
}

// Marks as used the rules that the paradigms of `alu` name.
void DictionaryChecker::State::markUsed(const ALU& alu) {
    const auto use = [&](const std::string& key, const std::string& expression) {
        if (!usedValues.insert(key).second) return;
        const std::optional<GFSA> graph = expression2Gfsa(expression, LinguisticLevel::syntax);
        if (!graph || !graph->alphabet) return;
        for (const Label& label : graph->alphabet->array)
            if (const std::optional<std::string_view> name = calledName(label.input)) grammars.markUsed(*name);
    };
    for (const std::string& value : alu.flxParadigms) use("FLX=" + value, inflectionalExpression(value));
    for (const std::string& value : alu.drvParadigms) {
        const std::size_t colon = value.rfind(':');
        const std::string derivation = colon == std::string::npos ? value : value.substr(0, colon);
        if (usedValues.insert("DRV=" + value).second) {
            grammars.markUsed(derivation);
            if (colon != std::string::npos && colon + 1 < value.size()) grammars.markUsed(value.substr(colon + 1));
        }
    }
}

// How many forms the paradigms of `alu` make (printed or dropped); absent
// when they cannot be explored. Cost: a count of the paths of each paradigm,
// an exploration for one whose paths are not held.
std::optional<std::size_t> DictionaryChecker::State::formCount(const ALU& alu) {
    const std::optional<EntryParadigms> paradigms = diagnoser.paradigmsOf(alu);
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

// Reports each form of `alu` that lexpand drops as inconsistent, with the
// clash, then the entry when it drops them all: the forms made and their
// lines assembled as the expansion makes them, one at a time.
void DictionaryChecker::State::reportDroppedForms(const ALU& alu, std::string_view line, std::size_t offset,
                                                  LineCounter& counter) {
    const std::optional<EntryParadigms> paradigms = diagnoser.paradigmsOf(alu);
    if (!paradigms) return;
    std::size_t forms = 0;
    std::size_t dropped = 0;
    forEachForm(alu, *paradigms, [&](const EntryForm& form) {
        ++forms;
        const std::vector<std::string> properties =
            sortedPropertyList(listedProperties(alu, form), std::string(form.reverseCommand));
        const std::optional<FormLine> formLine =
            assembleFormLine(form.wordForm, *form.category, alu.morphologicalProperties, properties, definitions);
        if (!formLine || !formLine->inconsistent) return true;
        ++dropped;
        const std::optional<Inconsistency> why =
            explainInconsistency(*form.category, alu.morphologicalProperties, properties, definitions);
        if (why) {
            reporter.report(makeDiagnostic(
                DiagnosticCode::inconsistentForm, locateInLine(counter, line, offset, 0),
                message::inconsistentForm(form.wordForm, why->property, why->firstValue, why->secondValue)));
        }
        return true;
    });
    if (forms > 0 && dropped == forms)
        reporter.report(
            makeDiagnostic(DiagnosticCode::noForm, locateInLine(counter, line, offset, 0), message::noForm()));
}

// The notes of the shape `key` of the entry `alu`, which printed `printed`
// form lines: forms are dropped only when fewer lines than forms are printed.
const ShapeNotes& DictionaryChecker::State::notesOf(std::string_view key, const ALU& alu, const LexemeView& lexeme,
                                                    std::int64_t printed) {
    if (const auto found = shapes.find(key); found != shapes.end()) return found->second;
    if (shapeBytes > shapeBytesLimit) {
        shapes.clear();
        shapeBytes = 0;
    }
    ShapeNotes notes;
    const std::string canonical = alu.description();
    notes.canonicalHash = std::hash<std::string_view>()(std::string_view(canonical).substr(alu.entry.size()));
    markUsed(alu);

    // Text after the category that the entry syntax leaves out.
    if (lexeme.properties.empty() && lexeme.category.size() < key.size()) {
        const std::string_view ignored = key.substr(lexeme.category.size());
        const std::string_view trimmed = trimWhiteSpaceAndNewlines(ignored);
        if (!trimmed.empty() && trimmed != "+")
            notes.notes.push_back({lexeme.category.size(), DiagnosticCode::ignoredText,
                                   message::textAfterCategory(lexeme.category, ignored)});
    }
    if (complete) {
        // Values written with their name that the definitions do not list.
        const std::optional<std::vector<std::string>> items = splitProperties(lexeme.properties, false);
        const auto propertiesBegin = static_cast<std::size_t>(lexeme.properties.data() - key.data());
        for (const std::string& item : items.value_or(std::vector<std::string>())) {
            const std::size_t equals = item.find('=');
            if (equals == std::string::npos || item.starts_with("FLX=") || item.starts_with("DRV=")) continue;
            const std::string_view name = std::string_view(item).substr(0, equals);
            const std::string_view value = std::string_view(item).substr(equals + 1);
            const std::vector<std::string>* values = listedValues(definitions, lexeme.category, name);
            if (values == nullptr || std::any_of(values->begin(), values->end(), [&](const std::string& listedValue) {
                    return canonicallyEqual(listedValue, value);
                }))
                continue;
            const std::size_t at = key.find("+" + item, propertiesBegin);
            notes.notes.push_back({at == std::string_view::npos ? propertiesBegin : at + 1,
                                   DiagnosticCode::unlistedValue,
                                   message::unlistedValue(name, value, lexeme.category, *values)});
        }
        if (!definitions.exclusivePropertyNames.empty()) {
            const std::optional<std::size_t> forms = formCount(alu);
            notes.dropsForms = !forms || static_cast<std::int64_t>(*forms) != printed;
        }
    }
    notes.bytes = sizeof(ShapeNotes) + key.size();
    for (const ShapeNotes::Note& note : notes.notes) notes.bytes += note.message.size();
    shapeBytes += notes.bytes;
    return shapes.emplace(std::string(key), std::move(notes)).first->second;
}

// Checks one entry line that begins at byte `offset` of its dictionary;
// answers how many form lines lexpand prints for it.
std::int64_t DictionaryChecker::State::checkLine(std::string_view line, std::size_t offset, LineCounter& counter) {
    ++entries;
    const std::optional<std::int64_t> count = expander.expand(line, discarded);
    if (!count) {
        reportFinding(diagnoser.diagnose(line), line, offset, counter);
        if (const std::optional<ALU> alu = ALU::init(line, &definitions))
            markUsed(*alu);
        else
            ++unreadEntries;
        return 0;
    }
    const LexemeView lexeme = *parseLexemeView(line);
    const auto keyBegin = static_cast<std::size_t>(lexeme.category.data() - line.data());
    const std::string_view key = line.substr(keyBegin);
    const auto found = shapes.find(key);
    const ShapeNotes* notes = found != shapes.end() ? &found->second : nullptr;
    std::optional<ALU> alu;
    if (notes == nullptr) {
        alu = ALU::init(line, &definitions);
        notes = &notesOf(key, *alu, lexeme, *count);
    }
    const auto report = [&](DiagnosticCode code, std::size_t at, std::string text) {
        reporter.report(makeDiagnostic(code, locateInLine(counter, line, offset, at), std::move(text)));
    };
    const auto lemmaBegin = static_cast<std::size_t>(lexeme.entry.data() - line.data());
    if (lemmaBegin > 0) report(DiagnosticCode::ignoredText, 0, message::textBeforeLemma(line.substr(0, lemmaBegin)));
    for (const ShapeNotes::Note& note : notes->notes) report(note.code, keyBegin + note.offset, note.message);
    if (notes->dropsForms) {
        if (!alu) alu = ALU::init(line, &definitions);
        reportDroppedForms(*alu, line, offset, counter);
    }
    const std::uint64_t lemmaHash = std::hash<std::string_view>()(lexeme.entry);
    keys.push_back(
        EntryKey{mix(lemmaHash, notes->canonicalHash), static_cast<std::uint32_t>(dictionaries.size() - 1), offset});
    return *count;
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
    state.dictionaries.push_back({path, text});
    LineCounter counter(path, text);
    std::int64_t forms = 0;
    for (const std::string_view line : significantLines(text)) {
        if (state.reporter.stopped()) break;
        if (line.empty() || line.front() == '#') continue; // comments, and the "#use " lines
        forms += state.checkLine(line, static_cast<std::size_t>(line.data() - text.data()), counter);
    }
    return forms;
}

void DictionaryChecker::reportDuplicates() {
    State& state = *state_;
    std::vector<State::EntryKey>& keys = state.keys;
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
                const State::EntryKey& earlier = keys[it->second];
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
        if (text) {
            const SourceText source(path, *text);
            for (const std::string_view line : grammarReferenceLines(*text)) {
                const std::string name(line.substr(grammarReferencePrefix.size()));
                const GrammarUse use{source.locate(source.offsetOf(line) + grammarReferencePrefix.size()), name};
                grammars.addGrammarFile(usedGrammarPath(path, name).path, shownGrammarPath(path, name), &use);
            }
        }
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
