// Exports EntryLineExpander: the printed lines of the forms of entry lines,
// assembled once per entry shape and paradigm path.

#include "FormLines.h"

#include <algorithm>
#include <charconv>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Dictionary.h"
#include "Morphology.h"
#include "TextServices.h"

namespace lexpand {

namespace {

constexpr std::string_view inconsistentMarker = "*INCONSISTENT*";
constexpr std::string_view lexItemName = "_LEX";
constexpr std::string_view lexItemOpening = "_LEX=\"";
// The reverse command and word form that assemble a shape's lines.
constexpr std::string_view placeholderReverse = "<E>";
constexpr std::string_view placeholderWordForm = "x";
// Shapes are dropped all at once when their lines grow past this many bytes,
// so that a dictionary of distinct shapes keeps memory bounded.
constexpr std::size_t shapeBytesLimit = std::size_t{32} << 20;

// True when a line terminator ("\n", "\v", "\f", "\r", U+0085, U+2028,
// U+2029) occurs in `text`.
bool containsLineTerminator(std::string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte >= 0x0A && byte <= 0x0D) return true;
        if (byte == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) == 0x85) return true;
        if (byte == 0xE2 && i + 2 < text.size() && static_cast<unsigned char>(text[i + 1]) == 0x80 &&
            (static_cast<unsigned char>(text[i + 2]) == 0xA8 || static_cast<unsigned char>(text[i + 2]) == 0xA9))
            return true;
    }
    return false;
}

// A word form that the entry syntax reads back as one whole lemma.
bool isPlainWordForm(std::string_view wordForm) {
    return !wordForm.empty() && wordForm.find(',') == std::string_view::npos && !containsLineTerminator(wordForm);
}

// A reverse command that stays one quoted item, whatever surrounds it.
bool isPlainReverseCommand(std::string_view reverseCommand) {
    return reverseCommand.find_first_of("\"\\") == std::string_view::npos && !containsLineTerminator(reverseCommand);
}

// A command that deletes characters before the end of the word form ("<Bn>",
// with "<E>" anywhere among them), then types. On a word form whose every
// scalar is a character of its own, it leaves the word form without its last
// `deletions` scalars, followed by `typed`; its reverse command is "<Bk>" for
// the k characters typed ("<B>" for one, nothing for none), then the deleted
// text, or "<E>" when both are empty. This is what the editor records and
// simplifies for such a command.
struct SuffixEdit {
    std::size_t deletions = 0;
    std::string typed;
    std::size_t typedCount = 0;
};

std::optional<SuffixEdit> suffixEditOf(const std::vector<Morphology::Operator>& command) {
    constexpr std::int64_t deletionLimit = std::int64_t{1} << 30;
    SuffixEdit edit;
    std::vector<Morphology::Operator> typing;
    for (const Morphology::Operator& op : command) {
        if (op.parameter == 0) {
            typing.push_back(op);
        } else if (!typing.empty()) {
            return std::nullopt; // an operator after typing
        } else if (op.type == "B" && op.parameter >= 1 && op.parameter < deletionLimit) {
            edit.deletions += static_cast<std::size_t>(op.parameter);
            if (edit.deletions >= static_cast<std::size_t>(deletionLimit)) return std::nullopt;
        } else if (!(op.type == "E" && op.parameter == 1)) {
            return std::nullopt;
        }
    }
    if (!typing.empty()) {
        // Typing at the end inserts the same characters whatever precedes them.
        std::optional<Morphology::EditResult> typed = Morphology::applyParsedCommand("", typing);
        if (!typed) return std::nullopt;
        edit.typed = std::move(typed->resultingWordForm);
        edit.typedCount = typing.size();
    }
    return edit;
}

void appendReverseOfSuffixEdit(std::string& out, const SuffixEdit& edit, std::string_view deleted) {
    if (edit.typedCount == 1) {
        out += "<B>";
    } else if (edit.typedCount > 1) {
        char digits[24];
        const std::to_chars_result written = std::to_chars(digits, digits + sizeof digits, edit.typedCount);
        out += "<B";
        out.append(digits, written.ptr);
        out += '>';
    }
    out += deleted;
    if (edit.typedCount == 0 && deleted.empty()) out += placeholderReverse;
}

// True when every scalar of `lemma` is a character of its own and none is
// "<" (a deleted "<" makes the editor's reverse list unreadable).
bool suitsSuffixEdits(std::string_view lemma) {
    return lemma.find('<') == std::string_view::npos && isOneCharacterPerScalar(lemma);
}

// One form's line without its word form and reverse command: `beforeReverse`
// runs from the category to the opening quote of the "_LEX" item,
// `afterReverse` from its closing quote to the end.
struct FormTemplate {
    bool inconsistent = false;
    std::string beforeReverse;
    std::string afterReverse;
    std::optional<SuffixEdit> suffixEdit; // for inflection paths whose command is one
};

// The canonical line of the form `wordForm` whose category and properties
// Morphology::addCategoryAndAllProperties assembled; absent when the form is
// no entry. Parsing the assembled line again sorts, deduplicates and
// classifies the properties.
std::optional<std::string> canonicalFormLine(std::string_view wordForm, std::string_view categoryAndProperties,
                                             const PropertiesDefinitions& definitions) {
    std::string formLine;
    formLine.reserve(wordForm.size() + 1 + categoryAndProperties.size());
    formLine.append(wordForm).append(1, ',').append(categoryAndProperties);
    const std::optional<ALU> form = ALU::init(formLine, &definitions);
    if (!form) return std::nullopt;
    return form->description();
}

// True when the canonical form of `item` mentions "_LEX".
bool mentionsLexItem(const std::string& item) {
    if (isAscii(item)) return item.find(lexItemName) != std::string::npos;
    return toNFC(item).find(lexItemName) != std::string::npos;
}

// The template of a form of category `category` listing `listed`, absent
// when its line may depend on the word form or the reverse command beyond
// placing them. The reverse command's item is then one item of its own,
// whatever it holds besides quotes and backslashes: it is read from a
// separator, stays quoted to its closing quote, and sorts by its name alone,
// since no other item mentions "_LEX" even in canonical form.
std::optional<FormTemplate> makeTemplate(const std::string& category, const std::vector<std::string>& listed,
                                         const std::vector<std::string>& morphologicalProperties,
                                         const PropertiesDefinitions& definitions) {
    for (const auto* items : {&listed, &morphologicalProperties}) {
        if (std::any_of(items->begin(), items->end(), mentionsLexItem)) return std::nullopt;
    }
    const std::vector<std::string> properties = sortedPropertyList(listed, std::string(placeholderReverse));
    const std::optional<std::string> categoryAndProperties =
        Morphology::addCategoryAndAllProperties(category, &morphologicalProperties, properties, definitions);
    if (!categoryAndProperties) return std::nullopt;
    FormTemplate formTemplate;
    if (*categoryAndProperties == inconsistentMarker) {
        formTemplate.inconsistent = true;
        return formTemplate;
    }
    // The assembled text reads the placeholder item as one item.
    const std::string placeholderItem = std::string(lexItemOpening) + std::string(placeholderReverse) + "\"";
    if (categoryAndProperties->size() < category.size()) return std::nullopt;
    const std::optional<std::vector<std::string>> items =
        splitProperties(std::string_view(*categoryAndProperties).substr(category.size()), false);
    if (!items || std::find(items->begin(), items->end(), placeholderItem) == items->end()) return std::nullopt;

    const std::optional<std::string> line = canonicalFormLine(placeholderWordForm, *categoryAndProperties, definitions);
    if (!line) return std::nullopt;
    const std::size_t begin = placeholderWordForm.size() + 1;
    const std::size_t item = line->find(placeholderItem);
    if (line->compare(0, begin, std::string(placeholderWordForm) + ",") != 0 || item == std::string::npos ||
        line->find(lexItemName) != item || line->find(lexItemName, item + 1) != std::string::npos)
        return std::nullopt;
    const std::size_t reverseBegin = item + lexItemOpening.size();
    formTemplate.beforeReverse = line->substr(begin, reverseBegin - begin);
    formTemplate.afterReverse = line->substr(reverseBegin + placeholderReverse.size());
    return formTemplate;
}

// True when a property name of the definitions mentions "_LEX": a value
// written without its name could then take that name, and compare with the
// reverse command's item.
bool definitionsMentionLexItem(const PropertiesDefinitions& definitions) {
    for (const auto* names : {&definitions.exclusivePropertyNames, &definitions.morphologicalPropertyNames}) {
        if (std::any_of(names->begin(), names->end(), mentionsLexItem)) return true;
    }
    for (const auto& [category, properties] : definitions.categoryProperties) {
        for (const auto& [name, values] : properties) {
            if (mentionsLexItem(name)) return true;
        }
    }
    return false;
}

// What every entry of one shape shares.
struct Shape {
    bool assembled = false; // every form has a template (else each entry goes form by form)
    ALU alu;                // as parsed from the first entry of the shape; its lemma is not used
    EntryExpander::EntryParadigms paradigms;
    std::vector<FormTemplate> templates; // one per form, in form order
    std::size_t suffixDeletions = 0;     // the most that a suffix edit deletes
    std::size_t bytes = 0;
};

// The word form and reverse command of one form.
struct EditedForm {
    std::string wordForm;
    std::string reverseCommand;
};

} // namespace

struct EntryLineExpander::State {
    State(const PropertiesDefinitions& definitions, const MGFSA& paradigms)
        : definitions(definitions), expander(paradigms),
          templatesAllowed(!definitionsMentionLexItem(definitions)) {}

    const PropertiesDefinitions& definitions;
    EntryExpander expander;
    const bool templatesAllowed;
    std::unordered_map<std::string, Shape, TextHash, std::equal_to<>> shapes;
    std::size_t shapeBytes = 0;
    std::vector<EditedForm> forms;      // reused from entry to entry
    std::vector<std::size_t> tailStarts; // where the last k scalars of the lemma begin
    std::string line;                   // reused for every printed line

    const Shape& shapeOf(std::string_view key, std::string_view entryLine);
    Shape makeShape(std::string_view entryLine);
    bool editForms(const Shape& shape, std::string_view lemma);
    std::optional<std::int64_t> expandFormByForm(std::string_view entryLine, LineSink& sink);
};

EntryLineExpander::EntryLineExpander(const PropertiesDefinitions& propertiesDefinitions, const MGFSA& paradigms)
    : state_(std::make_unique<State>(propertiesDefinitions, paradigms)) {}

EntryLineExpander::~EntryLineExpander() = default;

const Shape& EntryLineExpander::State::shapeOf(std::string_view key, std::string_view entryLine) {
    if (const auto found = shapes.find(key); found != shapes.end()) return found->second;
    if (shapeBytes > shapeBytesLimit) {
        shapes.clear();
        shapeBytes = 0;
    }
    Shape shape = makeShape(entryLine);
    shapeBytes += shape.bytes + key.size();
    return shapes.emplace(std::string(key), std::move(shape)).first->second;
}

Shape EntryLineExpander::State::makeShape(std::string_view entryLine) {
    Shape shape;
    if (!templatesAllowed) return shape;
    std::optional<ALU> alu = ALU::init(entryLine, &definitions);
    if (!alu) return shape;
    shape.alu = std::move(*alu);
    std::optional<EntryExpander::EntryParadigms> paradigms = expander.paradigmsOf(shape.alu);
    if (!paradigms) return shape;
    shape.paradigms = std::move(*paradigms);

    const ALU& entry = shape.alu;
    const auto add = [&](const std::string& category, const std::vector<std::string>& listed) {
        std::optional<FormTemplate> formTemplate = makeTemplate(category, listed, entry.morphologicalProperties, definitions);
        if (!formTemplate) return false;
        shape.bytes += sizeof(FormTemplate) + formTemplate->beforeReverse.size() + formTemplate->afterReverse.size();
        shape.templates.push_back(std::move(*formTemplate));
        return true;
    };
    for (const Morphology::ParadigmPaths* inflection : shape.paradigms.inflections) {
        for (const Morphology::ParadigmPath& path : *inflection) {
            if (!path.command || !add(entry.category, inflectedFormProperties(entry, path.properties))) return shape;
            shape.templates.back().suffixEdit = suffixEditOf(*path.command);
            if (shape.templates.back().suffixEdit)
                shape.suffixDeletions = std::max(shape.suffixDeletions, shape.templates.back().suffixEdit->deletions);
        }
    }
    for (const EntryExpander::DerivationParadigms& derivation : shape.paradigms.derivations) {
        for (const Morphology::ParadigmPath& path : *derivation.derivation) {
            if (!path.derivedInformation) return shape;
            const LexicalInformation& derived = *path.derivedInformation;
            if (derivation.inflection == nullptr) {
                if (!add(derived.category, derivedFormProperties(entry, derived.category, derived.properties, nullptr)))
                    return shape;
                continue;
            }
            for (const Morphology::ParadigmPath& inflectionPath : *derivation.inflection) {
                if (!add(derived.category, derivedFormProperties(entry, derived.category, derived.properties,
                                                                 &inflectionPath.properties)))
                    return shape;
            }
        }
    }
    shape.assembled = true;
    return shape;
}

// Fills `forms` with the word form and reverse command of every form of
// `lemma`, in form order; false when one cannot be made this way (the form by
// form expansion then decides).
bool EntryLineExpander::State::editForms(const Shape& shape, std::string_view lemma) {
    forms.resize(shape.templates.size());
    std::size_t index = 0;

    // Where the last k scalars begin, for the suffix edits.
    const bool suffixEdits = shape.suffixDeletions == 0 ? isValidUtf8(lemma) : suitsSuffixEdits(lemma);
    if (suffixEdits) {
        tailStarts.clear();
        tailStarts.push_back(lemma.size());
        std::size_t position = lemma.size();
        while (tailStarts.size() <= shape.suffixDeletions && position > 0) {
            do --position;
            while (position > 0 && (static_cast<unsigned char>(lemma[position]) & 0xC0) == 0x80);
            tailStarts.push_back(position);
        }
    }

    for (const Morphology::ParadigmPaths* inflection : shape.paradigms.inflections) {
        for (const Morphology::ParadigmPath& path : *inflection) {
            const FormTemplate& formTemplate = shape.templates[index];
            EditedForm& form = forms[index++];
            if (suffixEdits && formTemplate.suffixEdit) {
                const SuffixEdit& edit = *formTemplate.suffixEdit;
                if (edit.deletions >= tailStarts.size()) return false; // more than the lemma holds
                const std::size_t cut = tailStarts[edit.deletions];
                form.wordForm.assign(lemma.substr(0, cut)).append(edit.typed);
                form.reverseCommand.clear();
                appendReverseOfSuffixEdit(form.reverseCommand, edit, lemma.substr(cut));
                continue;
            }
            std::optional<Morphology::EditResult> edited = Morphology::applyParsedCommand(lemma, *path.command);
            if (!edited) return false;
            form.wordForm = std::move(edited->resultingWordForm);
            form.reverseCommand = std::move(edited->reverseCommand);
        }
    }
    for (const EntryExpander::DerivationParadigms& derivation : shape.paradigms.derivations) {
        std::optional<Morphology::Derivation> derived =
            Morphology::deriveThenInflect(std::string(lemma), *derivation.derivation, derivation.inflection);
        if (!derived || index + derived->wordForms.size() > forms.size()) return false;
        for (std::size_t i = 0; i < derived->wordForms.size(); ++i) {
            EditedForm& form = forms[index++];
            form.wordForm = std::move(derived->wordForms[i]);
            form.reverseCommand = std::move(derived->reverseCommands[i]);
        }
    }
    return index == forms.size();
}

std::optional<std::int64_t> EntryLineExpander::State::expandFormByForm(std::string_view entryLine, LineSink& sink) {
    const std::optional<ALU> entry = ALU::init(entryLine, &definitions);
    if (!entry) return std::nullopt;
    // An entry without an inflectional paradigm is printed as written (it is
    // not counted); its derivations, if any, still follow.
    if (entry->flxParadigms.empty()) sink.printLine(entryLine);

    const std::optional<EntryForms> entryForms = expander.inflectAndDerive(*entry);
    if (!entryForms) return std::nullopt;
    const std::size_t formCount = entryForms->wordForms.size();
    if (entryForms->categories.size() != formCount || entryForms->properties.size() != formCount) return std::nullopt;

    std::int64_t count = 0;
    for (std::size_t i = 0; i < formCount; ++i) {
        const std::optional<std::string> categoryAndProperties = Morphology::addCategoryAndAllProperties(
            entryForms->categories[i], &entry->morphologicalProperties, entryForms->properties[i], definitions);
        if (!categoryAndProperties) return std::nullopt;
        if (*categoryAndProperties == inconsistentMarker) continue; // dropped without a trace
        const std::optional<std::string> formLine =
            canonicalFormLine(entryForms->wordForms[i], *categoryAndProperties, definitions);
        if (!formLine) return std::nullopt;
        sink.printLine(*formLine);
        ++count;
    }
    return count;
}

std::optional<std::int64_t> EntryLineExpander::expand(std::string_view line, LineSink& sink) {
    State& state = *state_;
    const std::optional<LexemeView> lexeme = parseLexemeView(line);
    if (!lexeme) return std::nullopt;
    // The text from the category on decides everything but the lemma.
    const std::string_view key = line.substr(static_cast<std::size_t>(lexeme->category.data() - line.data()));
    const Shape& shape = state.shapeOf(key, line);
    if (!shape.assembled || !state.editForms(shape, lexeme->entry)) return state.expandFormByForm(line, sink);

    for (std::size_t i = 0; i < shape.templates.size(); ++i) {
        if (shape.templates[i].inconsistent) continue;
        const EditedForm& form = state.forms[i];
        if (!isPlainWordForm(form.wordForm) || !isPlainReverseCommand(form.reverseCommand))
            return state.expandFormByForm(line, sink);
    }

    if (shape.alu.flxParadigms.empty()) sink.printLine(line);
    std::int64_t count = 0;
    for (std::size_t i = 0; i < shape.templates.size(); ++i) {
        const FormTemplate& formTemplate = shape.templates[i];
        if (formTemplate.inconsistent) continue;
        const EditedForm& form = state.forms[i];
        state.line.assign(form.wordForm)
            .append(1, ',')
            .append(formTemplate.beforeReverse)
            .append(form.reverseCommand)
            .append(formTemplate.afterReverse);
        sink.printLine(state.line);
        ++count;
    }
    return count;
}

} // namespace lexpand
