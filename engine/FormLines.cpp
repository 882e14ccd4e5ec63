// Exports EntryLineExpander: the printed lines of the forms of entry lines,
// assembled once per entry shape and paradigm path.

#include "FormLines.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Dictionary.h"
#include "Morphology.h"
#include "SuffixEdit.h"
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
// The roles of items are dropped all at once past this count.
constexpr std::size_t rolesLimit = 100000;

// True when `text` holds neither a line terminator ("\n", "\v", "\f", "\r",
// U+0085, U+2028, U+2029) nor one of the bytes `avoided`, in one pass.
template <std::size_t count> bool holdsNone(std::string_view text, const char (&avoided)[count]) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        for (std::size_t k = 0; k + 1 < count; ++k)
            if (c == avoided[k]) return false;
        if (mayBeginNewline(static_cast<unsigned char>(c)) && newlineLengthAt(text, i) != 0) return false;
    }
    return true;
}

// A word form that the entry syntax reads back as one whole lemma.
bool isPlainWordForm(std::string_view wordForm) {
    return !wordForm.empty() && holdsNone(wordForm, ",");
}

// A reverse command that stays one quoted item, whatever surrounds it.
bool isPlainReverseCommand(std::string_view reverseCommand) {
    return holdsNone(reverseCommand, "\"\\");
}

// One form's line without its word form and reverse command: `beforeReverse`
// runs from the category to the opening quote of the "_LEX" item,
// `afterReverse` from its closing quote to the end.
struct LineTemplate {
    bool inconsistent = false;
    std::string beforeReverse;
    std::string afterReverse;
};

// A line template as a shape keeps it: its two texts are ranges of the
// shape's one text buffer.
struct FormTemplate {
    bool inconsistent = false;
    std::uint32_t beforeBegin = 0;
    std::uint32_t beforeSize = 0;
    std::uint32_t afterBegin = 0;
    std::uint32_t afterSize = 0;
    // The suffix edits of the form's paths, when its commands are such:
    // `edit` for the inflection, `derivationEdit` for a derivation.
    const SuffixEdit* edit = nullptr;
    const SuffixEdit* derivationEdit = nullptr;
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
std::optional<LineTemplate> makeTemplate(const std::string& category, const std::vector<std::string>& listed,
                                         const std::vector<std::string>& morphologicalProperties,
                                         const PropertiesDefinitions& definitions) {
    for (const auto* items : {&listed, &morphologicalProperties}) {
        if (std::any_of(items->begin(), items->end(), mentionsLexItem)) return std::nullopt;
    }
    const std::vector<std::string> properties = sortedPropertyList(listed, std::string(placeholderReverse));
    const std::optional<std::string> categoryAndProperties =
        Morphology::addCategoryAndAllProperties(category, &morphologicalProperties, properties, definitions);
    if (!categoryAndProperties) return std::nullopt;
    LineTemplate formTemplate;
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

// An item that every step of the assembly treats as opaque ASCII words:
// printable, without "_LEX" and without the characters that quote, bracket or
// escape, its "+" only between non-empty words (each an item of the printed
// line). Canonical order and equivalence are then byte order and equality.
bool isPlainItem(std::string_view item) {
    if (item.empty() || item.front() == '+' || item.back() == '+') return false;
    if (item.find(lexItemName) != std::string_view::npos || item.find("++") != std::string_view::npos) return false;
    for (const char c : item) {
        if (c < 0x20 || c > 0x7E) return false;
        if (c == '"' || c == '<' || c == '>' || c == '\\' || c == ',') return false;
    }
    return true;
}

bool isPlainCategory(std::string_view category) {
    return !category.empty() &&
           std::all_of(category.begin(), category.end(), [](char c) { return c >= 'A' && c <= 'Z'; });
}

// A stable sort without a temporary buffer, for the handful of items of one
// form.
template <typename Item, typename Less> void insertionSort(std::vector<Item>& items, Less less) {
    for (std::size_t i = 1; i < items.size(); ++i) {
        for (std::size_t j = i; j > 0 && less(items[j], items[j - 1]); --j) std::swap(items[j], items[j - 1]);
    }
}

// Sorts `items` in canonical order, keeping equal items in their order, then
// drops the later of canonically equal neighbours when `unique` is true: what
// std::stable_sort and std::unique with the canonical order do.
void sortCanonically(std::vector<std::string_view>& items, bool unique) {
    // ASCII text is in NFC: canonical order is then byte order.
    if (std::all_of(items.begin(), items.end(), [](std::string_view item) { return isAscii(item); })) {
        insertionSort(items, std::less<>());
        if (unique) items.erase(std::unique(items.begin(), items.end()), items.end());
        return;
    }
    insertionSort(items, CanonicalLess());
    if (unique) items.erase(std::unique(items.begin(), items.end(), canonicallyEqual), items.end());
}

// What the assembly of a form of one category does with one plain item: the
// name and value that exclusive properties are checked by, and the list and
// text under which the item is printed.
struct ItemRole {
    NormalizedProperty normalized;
    bool exclusive = false;
    bool classified = false; // for an item without "+": `list` and `text` are known
    enum class List { lexical, inflectional, derivational, morphological } list = List::lexical;
    std::string text;
};

// What every entry of one shape shares.
struct Shape {
    bool assembled = false;  // every form has a template (else each entry goes form by form)
    bool echoesLine = false; // the entry has no inflectional paradigm: its line is printed first
    EntryExpander::EntryParadigms paradigms;
    std::vector<FormTemplate> templates; // one per form, in form order
    std::string text;                    // the texts of the templates
    std::size_t suffixDeletions = 0;     // the most that a suffix edit deletes from the lemma
    // Per derivation: whether every form comes from suffix edits that suit
    // derivation, and the most that its inflection deletes.
    std::vector<bool> derivationBySuffixEdits;
    std::vector<std::size_t> derivedSuffixDeletions;
    std::size_t bytes = 0;
};

// The word form and reverse command of one form.
struct EditedForm {
    std::string wordForm;
    std::string reverseCommand;
};

} // namespace

struct EntryLineExpander::State {
    State(const PropertiesDefinitions& propertiesDefinitions, const MGFSA& paradigms)
        : definitions(propertiesDefinitions), expander(paradigms),
          templatesAllowed(!definitionsMentionLexItem(propertiesDefinitions)) {}

    const PropertiesDefinitions& definitions;
    EntryExpander expander;
    const bool templatesAllowed;
    std::unordered_map<std::string, Shape, TextHash, std::equal_to<>> shapes;
    std::size_t shapeBytes = 0;
    std::vector<EditedForm> forms;              // reused from entry to entry
    std::vector<std::size_t> tailStarts;        // where the last k scalars of the lemma begin
    std::vector<std::size_t> derivedTailStarts; // the same for a derived word form
    std::string derivedWordForm;
    // The suffix edits of the paths of each explored paradigm, in path order.
    std::unordered_map<const Morphology::ParadigmPaths*, std::vector<std::optional<SuffixEdit>>> suffixEdits;
    std::string line;                                                           // reused for every printed line
    std::unordered_map<std::string, ItemRole, TextHash, std::equal_to<>> roles; // by category "\n" item
    std::string roleKey;
    // Reused by plainTemplate.
    struct Scratch {
        std::vector<std::string_view> sorted;
        ExclusiveValues seen;
        std::vector<std::pair<std::string_view, const ItemRole*>> kept;
        std::vector<std::string_view> lexical, inflectional, derivational, morphological;
        // In the order of ItemRole::List.
        std::vector<std::string_view>* const lists[4] = {&lexical, &inflectional, &derivational, &morphological};
    } scratch;

    const ItemRole* roleOf(std::string_view category, std::string_view item);
    const std::vector<std::optional<SuffixEdit>>& suffixEditsOf(const Morphology::ParadigmPaths& paths);
    std::optional<LineTemplate> plainTemplate(const std::string& category, const std::vector<std::string>& listed,
                                              const std::vector<std::string>& morphologicalProperties);

    const Shape& shapeOf(std::string_view key, std::string_view entryLine);
    Shape makeShape(std::string_view entryLine);
    bool editForms(const Shape& shape, std::string_view lemma);
    std::optional<std::int64_t> expandFormByForm(std::string_view entryLine, LineSink& sink);
};

EntryLineExpander::EntryLineExpander(const PropertiesDefinitions& propertiesDefinitions, const MGFSA& paradigms)
    : state_(std::make_unique<State>(propertiesDefinitions, paradigms)) {}

EntryLineExpander::~EntryLineExpander() = default;

// The role of `item` in a form of `category`, found by the same functions that
// assemble a form line: normalize() for the exclusive check, and for an item
// without "+" the parse of a line that holds the item alone for its list and
// text (each item is classified on its own). Null when that parse fails.
const ItemRole* EntryLineExpander::State::roleOf(std::string_view category, std::string_view item) {
    roleKey.assign(category).append(1, '\n').append(item);
    if (const auto found = roles.find(roleKey); found != roles.end()) return &found->second;
    ItemRole role;
    role.normalized = normalize(category, item, &definitions);
    role.exclusive = definitions.isExclusivePropertyName(role.normalized.name);
    if (item.find('+') != std::string_view::npos) return &roles.emplace(roleKey, std::move(role)).first->second;
    role.classified = true;
    std::string itemLine;
    itemLine.append(placeholderWordForm).append(1, ',').append(category).append(1, '+').append(item);
    const std::optional<ALU> alone = ALU::init(itemLine, &definitions);
    if (!alone) return nullptr;
    const std::pair<const std::vector<std::string>*, ItemRole::List> lists[] = {
        {&alone->lexicalProperties, ItemRole::List::lexical},
        {&alone->flxParadigms, ItemRole::List::inflectional},
        {&alone->drvParadigms, ItemRole::List::derivational},
        {&alone->morphologicalProperties, ItemRole::List::morphological}};
    std::size_t placed = 0;
    for (const auto& [list, kind] : lists) {
        if (list->empty()) continue;
        placed += list->size();
        role.list = kind;
        role.text = list->front();
    }
    if (placed != 1) return nullptr;
    return &roles.emplace(roleKey, std::move(role)).first->second;
}

// makeTemplate() for a plain category and plain items, without writing the
// line out and parsing it again: the listed items in canonical order without
// repeats, after the morphological ones, each exclusive name checked as
// Morphology::addCategoryAndAllProperties does; then the words of the kept
// items without repeats, classified, and each list sorted as ALU::init and
// ALU::description do. Absent when an input is not plain.
std::optional<LineTemplate>
EntryLineExpander::State::plainTemplate(const std::string& category, const std::vector<std::string>& listed,
                                        const std::vector<std::string>& morphologicalProperties) {
    if (!isPlainCategory(category)) return std::nullopt;
    // Bounded; cleared only here, since the roles found below are used by
    // reference until the template is written.
    if (roles.size() > rolesLimit) roles.clear();
    for (const auto* items : {&listed, &morphologicalProperties}) {
        if (!std::all_of(items->begin(), items->end(), [](const std::string& item) { return isPlainItem(item); }))
            return std::nullopt;
    }
    std::vector<std::string_view>& sorted = scratch.sorted;
    sorted.assign(listed.begin(), listed.end());
    sortCanonically(sorted, true);

    // The reverse command's item has a name of its own: it is never exclusive
    // with another item, and is kept.
    LineTemplate formTemplate;
    auto& seen = scratch.seen;
    auto& kept = scratch.kept;
    seen.clear();
    kept.clear();
    const auto keep = [&](std::string_view item) {
        const ItemRole* role = roleOf(category, item);
        if (role == nullptr) return false;
        if (role->exclusive) {
            switch (seen.record(role->normalized.name, role->normalized.value)) {
            case ExclusiveValues::Outcome::contradicted:
                formTemplate.inconsistent = true;
                return true;
            case ExclusiveValues::Outcome::repeated:
                return true;
            case ExclusiveValues::Outcome::fresh:
                break;
            }
        }
        // Each word of the item is an item of the printed line.
        std::size_t begin = 0;
        while (true) {
            const std::size_t plus = item.find('+', begin);
            const std::string_view word = item.substr(begin, plus == std::string_view::npos ? plus : plus - begin);
            const ItemRole* wordRole = word.size() == item.size() ? role : roleOf(category, word);
            if (wordRole == nullptr || !wordRole->classified) return false;
            kept.emplace_back(word, wordRole);
            if (plus == std::string_view::npos) return true;
            begin = plus + 1;
        }
    };
    for (const std::string& item : morphologicalProperties) {
        if (!keep(item)) return std::nullopt;
        if (formTemplate.inconsistent) return formTemplate;
    }
    for (const std::string_view item : sorted) {
        if (!keep(item)) return std::nullopt;
        if (formTemplate.inconsistent) return formTemplate;
    }

    // Plain words are ASCII: canonical order is byte order.
    insertionSort(kept, [](const auto& a, const auto& b) { return a.first < b.first; });
    kept.erase(std::unique(kept.begin(), kept.end(), [](const auto& a, const auto& b) { return a.first == b.first; }),
               kept.end());
    constexpr std::string_view placeholderItem = "_LEX=\"<E>\"";
    for (auto* list : scratch.lists) list->clear();
    scratch.lexical.push_back(placeholderItem);
    for (const auto& [word, role] : kept) scratch.lists[static_cast<std::size_t>(role->list)]->push_back(role->text);
    for (auto* list : {&scratch.lexical, &scratch.morphological}) sortCanonically(*list, true);
    for (auto* list : {&scratch.inflectional, &scratch.derivational}) sortCanonically(*list, false);

    std::string* out = &formTemplate.beforeReverse;
    out->append(category);
    for (const std::string_view text : scratch.lexical) {
        out->append(1, '+');
        if (text.data() == placeholderItem.data()) {
            out->append(lexItemOpening);
            out = &formTemplate.afterReverse;
            out->append(1, '"');
            continue;
        }
        out->append(text);
    }
    for (const std::string_view text : scratch.inflectional) out->append("+FLX=").append(text);
    for (const std::string_view text : scratch.derivational) out->append("+DRV=").append(text);
    for (const std::string_view text : scratch.morphological) out->append(1, '+').append(text);
    return formTemplate;
}

// The suffix edits of the commands of `paths`, one per path (absent for a
// command that is none), found once per paradigm: the paths belong to the
// expander and live as long as it does.
const std::vector<std::optional<SuffixEdit>>&
EntryLineExpander::State::suffixEditsOf(const Morphology::ParadigmPaths& paths) {
    auto found = suffixEdits.find(&paths);
    if (found == suffixEdits.end()) {
        std::vector<std::optional<SuffixEdit>> edits;
        edits.reserve(paths.size());
        for (const Morphology::ParadigmPath& path : paths)
            edits.push_back(path.command ? suffixEditOf(*path.command) : std::nullopt);
        found = suffixEdits.emplace(&paths, std::move(edits)).first;
    }
    return found->second;
}

namespace {

const SuffixEdit* editOf(const std::optional<SuffixEdit>& edit) {
    return edit ? &*edit : nullptr;
}

} // namespace

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
    const ALU& entry = *alu; // only what follows the lemma is used
    shape.echoesLine = entry.flxParadigms.empty();
    std::optional<EntryExpander::EntryParadigms> paradigms = expander.paradigmsOf(entry);
    if (!paradigms) return shape;
    shape.paradigms = std::move(*paradigms);

    const auto add = [&](const std::string& category, const std::vector<std::string>& listed) {
        std::optional<LineTemplate> formTemplate = plainTemplate(category, listed, entry.morphologicalProperties);
        if (!formTemplate) formTemplate = makeTemplate(category, listed, entry.morphologicalProperties, definitions);
        if (!formTemplate) return false;
        constexpr std::size_t textLimit = std::numeric_limits<std::uint32_t>::max() / 2;
        if (shape.text.size() + formTemplate->beforeReverse.size() + formTemplate->afterReverse.size() > textLimit)
            return false;
        FormTemplate& stored = shape.templates.emplace_back();
        stored.inconsistent = formTemplate->inconsistent;
        stored.beforeBegin = static_cast<std::uint32_t>(shape.text.size());
        stored.beforeSize = static_cast<std::uint32_t>(formTemplate->beforeReverse.size());
        shape.text += formTemplate->beforeReverse;
        stored.afterBegin = static_cast<std::uint32_t>(shape.text.size());
        stored.afterSize = static_cast<std::uint32_t>(formTemplate->afterReverse.size());
        shape.text += formTemplate->afterReverse;
        return true;
    };
    for (const Morphology::ParadigmPaths* inflection : shape.paradigms.inflections) {
        const auto& edits = suffixEditsOf(*inflection);
        for (std::size_t p = 0; p < inflection->size(); ++p) {
            const Morphology::ParadigmPath& path = (*inflection)[p];
            if (!path.command || !add(entry.category, inflectedFormProperties(entry, path.properties))) return shape;
            const SuffixEdit* edit = editOf(edits[p]);
            shape.templates.back().edit = edit;
            if (edit != nullptr) shape.suffixDeletions = std::max(shape.suffixDeletions, edit->deletions);
        }
    }
    for (const EntryExpander::DerivationParadigms& derivation : shape.paradigms.derivations) {
        bool bySuffixEdits = true;
        std::size_t derivedDeletions = 0;
        const auto& derivationEdits = suffixEditsOf(*derivation.derivation);
        for (std::size_t p = 0; p < derivation.derivation->size(); ++p) {
            const Morphology::ParadigmPath& path = (*derivation.derivation)[p];
            if (!path.derivedInformation) return shape;
            const LexicalInformation& derived = *path.derivedInformation;
            const SuffixEdit* derivationEdit = editOf(derivationEdits[p]);
            if (derivationEdit == nullptr || !derivationEdit->typedSuitsDerivation)
                bySuffixEdits = false;
            else
                shape.suffixDeletions = std::max(shape.suffixDeletions, derivationEdit->deletions);
            if (derivation.inflection == nullptr) {
                if (!add(derived.category, derivedFormProperties(entry, derived.category, derived.properties, nullptr)))
                    return shape;
                shape.templates.back().derivationEdit = derivationEdit;
                continue;
            }
            const auto& edits = suffixEditsOf(*derivation.inflection);
            for (std::size_t i = 0; i < derivation.inflection->size(); ++i) {
                const Morphology::ParadigmPath& inflectionPath = (*derivation.inflection)[i];
                if (!add(derived.category, derivedFormProperties(entry, derived.category, derived.properties,
                                                                 &inflectionPath.properties)))
                    return shape;
                const SuffixEdit* edit = editOf(edits[i]);
                shape.templates.back().derivationEdit = derivationEdit;
                shape.templates.back().edit = edit;
                if (edit == nullptr)
                    bySuffixEdits = false;
                else
                    derivedDeletions = std::max(derivedDeletions, edit->deletions);
            }
        }
        shape.derivationBySuffixEdits.push_back(bySuffixEdits);
        shape.derivedSuffixDeletions.push_back(derivedDeletions);
    }
    shape.assembled = true;
    shape.text.shrink_to_fit();
    shape.templates.shrink_to_fit();
    shape.bytes = shape.text.size() + shape.templates.size() * sizeof(FormTemplate);
    return shape;
}

// Fills `forms` with the word form and reverse command of every form of
// `lemma`, in form order; false when one cannot be made this way (the form by
// form expansion then decides).
bool EntryLineExpander::State::editForms(const Shape& shape, std::string_view lemma) {
    forms.resize(shape.templates.size());
    std::size_t index = 0;

    // Suffix edits delete characters: the lemma's last characters are its
    // last scalars when each scalar is a character, else they are found as
    // the editor finds them.
    const bool lemmaSuits = suitsSuffixEdits(lemma);
    bool inflectsBySuffixEdits = lemmaSuits;
    if (lemmaSuits) {
        findTailStarts(lemma, shape.suffixDeletions, tailStarts);
    } else if (isValidUtf8(lemma) && (shape.suffixDeletions == 0 || lemma.find('<') == std::string_view::npos)) {
        inflectsBySuffixEdits = true;
        tailStarts.clear();
        tailStarts.push_back(lemma.size());
        if (shape.suffixDeletions > 0) {
            const std::vector<std::string_view> characters = graphemeClusterViews(lemma);
            for (std::size_t k = characters.size(); k-- > 0 && tailStarts.size() <= shape.suffixDeletions;)
                tailStarts.push_back(static_cast<std::size_t>(characters[k].data() - lemma.data()));
        }
    }

    for (const Morphology::ParadigmPaths* inflection : shape.paradigms.inflections) {
        for (const Morphology::ParadigmPath& path : *inflection) {
            const FormTemplate& formTemplate = shape.templates[index];
            EditedForm& form = forms[index++];
            if (inflectsBySuffixEdits && formTemplate.edit != nullptr) {
                const SuffixEdit& edit = *formTemplate.edit;
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

    std::optional<bool> lemmaSafe; // isSafeInReverseList(lemma), found when first needed
    for (std::size_t d = 0; d < shape.paradigms.derivations.size(); ++d) {
        const EntryExpander::DerivationParadigms& derivation = shape.paradigms.derivations[d];
        bool bySuffixEdits = lemmaSuits && shape.derivationBySuffixEdits[d];
        if (bySuffixEdits) {
            if (!lemmaSafe) lemmaSafe = isSafeInReverseList(lemma);
            bySuffixEdits = *lemmaSafe;
        }
        if (!bySuffixEdits) {
            std::optional<Morphology::Derivation> derived =
                Morphology::deriveThenInflect(std::string(lemma), *derivation.derivation, derivation.inflection);
            if (!derived || index + derived->wordForms.size() > forms.size()) return false;
            for (std::size_t i = 0; i < derived->wordForms.size(); ++i) {
                EditedForm& form = forms[index++];
                form.wordForm = std::move(derived->wordForms[i]);
                form.reverseCommand = std::move(derived->reverseCommands[i]);
            }
            continue;
        }
        // Every character of the lemma and of what the derivation types is a
        // character of its own that reads back as itself, and so is every
        // character of the derived word form.
        const std::size_t pathCount = derivation.inflection != nullptr ? derivation.inflection->size() : 1;
        for (std::size_t p = 0; p < derivation.derivation->size(); ++p) {
            const SuffixEdit& derivationEdit = *shape.templates[index].derivationEdit;
            if (derivationEdit.deletions >= tailStarts.size()) return false;
            const std::size_t cut = tailStarts[derivationEdit.deletions];
            const std::string_view derivationDeleted = lemma.substr(cut);
            derivedWordForm.assign(lemma.substr(0, cut)).append(derivationEdit.typed);
            if (derivation.inflection == nullptr) {
                EditedForm& form = forms[index++];
                form.wordForm.assign(derivedWordForm);
                form.reverseCommand.clear();
                appendReverseOfSuffixEdit(form.reverseCommand, derivationEdit, derivationDeleted);
                continue;
            }
            findTailStarts(derivedWordForm, shape.derivedSuffixDeletions[d], derivedTailStarts);
            for (std::size_t i = 0; i < pathCount; ++i) {
                const SuffixEdit& edit = *shape.templates[index].edit;
                EditedForm& form = forms[index++];
                if (edit.deletions >= derivedTailStarts.size()) return false;
                const std::size_t derivedCut = derivedTailStarts[edit.deletions];
                form.wordForm.assign(std::string_view(derivedWordForm).substr(0, derivedCut)).append(edit.typed);
                form.reverseCommand.clear();
                appendReverseOfDerivedSuffixEdits(form.reverseCommand, edit,
                                                  std::string_view(derivedWordForm).substr(derivedCut), derivationEdit,
                                                  derivationDeleted);
            }
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

    if (shape.echoesLine) sink.printLine(line);
    std::int64_t count = 0;
    for (std::size_t i = 0; i < shape.templates.size(); ++i) {
        const FormTemplate& formTemplate = shape.templates[i];
        if (formTemplate.inconsistent) continue;
        const EditedForm& form = state.forms[i];
        state.line.assign(form.wordForm)
            .append(1, ',')
            .append(shape.text, formTemplate.beforeBegin, formTemplate.beforeSize)
            .append(form.reverseCommand)
            .append(shape.text, formTemplate.afterBegin, formTemplate.afterSize);
        sink.printLine(state.line);
        ++count;
    }
    return count;
}

} // namespace lexpand
