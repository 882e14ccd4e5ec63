// Exports EntryLineExpander: the printed lines of the forms of entry lines,
// assembled once per entry shape and paradigm path.

#include "FormLines.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cassert>
#include <cstdint>
#include <limits>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <span>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "EntryForms.h"
#include "Morphology.h"
#include "Paradigms.h"
#include "SuffixEdit.h"
#include "TextServices.h"

namespace lexpand {

namespace {

constexpr std::string_view lexItemName = "_LEX";
constexpr std::string_view lexItemOpening = "_LEX=\"";
// The reverse command and word form that assemble a shape's lines.
constexpr std::string_view placeholderReverse = "<E>";
constexpr std::string_view placeholderWordForm = "x";
// Shapes are dropped all at once when their lines grow past this many bytes,
// so that a dictionary of distinct shapes keeps memory bounded.
constexpr std::size_t shapeBytesLimit = std::size_t{32} << 20;
// Offsets into a shape's text are 32-bit.
constexpr std::size_t shapeTextLimit = std::numeric_limits<std::uint32_t>::max() / 2;
// An entry of more forms than this goes form by form, holding none of them.
constexpr std::size_t shapeFormsLimit = std::size_t{1} << 16;

// The bytes that a word form must not hold to be read back as one whole
// lemma, and a reverse command to stay one quoted item, whatever surrounds
// it; a line terminator does not do for either.
constexpr std::string_view wordFormStoppers = ",";
constexpr std::string_view reverseCommandStoppers = "\"\\";
constexpr std::string_view lemmaStoppers = ",\"\\";

// True when the canonical form of `item` mentions "_LEX".
bool mentionsLexItem(const std::string& item) {
    if (isAscii(item)) return item.find(lexItemName) != std::string::npos;
    return toNFC(item).find(lexItemName) != std::string::npos;
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

// One form's line without its word form and reverse command: `beforeReverse`
// runs from the category to the opening quote of the "_LEX" item,
// `afterReverse` from its closing quote to the end.
struct LineTemplate {
    bool inconsistent = false;
    std::string beforeReverse;
    std::string afterReverse;
};

// The template of a form of category `category` listing `listed`: its line
// assembled by assembleFormLine with a placeholder word form and reverse
// command, cut around the placeholder. Absent when the line may depend on the
// word form or the reverse command beyond placing them. The reverse command's
// item is one item of its own, whatever it holds besides quotes and
// backslashes, when the placeholder's is: it is read from a separator, stays
// quoted to its closing quote, and sorts by its name alone, since no other
// item mentions "_LEX" even in canonical form.
std::optional<LineTemplate> makeTemplate(const std::string& category, const std::vector<std::string>& listed,
                                         const std::vector<std::string>& morphologicalProperties,
                                         const PropertiesDefinitions& definitions) {
    for (const auto* items : {&listed, &morphologicalProperties}) {
        if (std::any_of(items->begin(), items->end(), mentionsLexItem)) return std::nullopt;
    }
    const std::optional<FormLine> line =
        assembleFormLine(placeholderWordForm, category, morphologicalProperties,
                         sortedPropertyList(listed, std::string(placeholderReverse)), definitions);
    if (!line) return std::nullopt;
    if (line->inconsistent) return LineTemplate{true, {}, {}};

    const std::string& text = line->text;
    const std::string placeholderItem = std::string(lexItemOpening) + std::string(placeholderReverse) + "\"";
    const std::size_t begin = placeholderWordForm.size() + 1;
    const std::size_t item = text.find(placeholderItem);
    if (text.compare(0, begin, std::string(placeholderWordForm) + ",") != 0 || item == std::string::npos ||
        text.find(lexItemName) != item || text.find(lexItemName, item + 1) != std::string::npos)
        return std::nullopt;
    // The placeholder is an item of the printed line, not a part of one.
    const std::size_t properties = text.find('+', begin);
    const std::optional<std::vector<std::string>> items =
        splitProperties(std::string_view(text).substr(properties), false);
    if (!items || std::find(items->begin(), items->end(), placeholderItem) == items->end()) return std::nullopt;

    const std::size_t reverseBegin = item + lexItemOpening.size();
    return LineTemplate{false, text.substr(begin, reverseBegin - begin),
                        text.substr(reverseBegin + placeholderReverse.size())};
}

// True when a line template completes the line of a form whose word form and
// reverse command are made of these pieces: a word form that is not empty
// and holds no stopper, a reverse command without one.
bool fitsTemplate(std::span<const std::string_view> word, std::span<const std::string_view> reverse) {
    if (std::all_of(word.begin(), word.end(), [](std::string_view piece) { return piece.empty(); })) return false;
    for (const std::string_view piece : word)
        if (!holdsNoneOf(piece, wordFormStoppers)) return false;
    for (const std::string_view piece : reverse)
        if (!holdsNoneOf(piece, reverseCommandStoppers)) return false;
    return true;
}

// The line templates of the forms of one entry expanded form by form, by
// what decides them besides the word form and the reverse command: the
// category and the property lists of the paths. Consecutive forms mostly
// share them, so a few are kept, the oldest replaced first. Memory: at most
// keptTemplates templates; cost of a form whose template is kept: comparing
// its category and property lists.
class EntryTemplates {
public:
    EntryTemplates(const ALU& entry, const PropertiesDefinitions& definitions)
        : entry_(entry), definitions_(definitions) {}

    // The template of `form`; null when its line must be assembled whole.
    const LineTemplate* of(const EntryForm& form) {
        for (const Kept& kept : kept_)
            if (kept.matches(form)) return kept.held();
        Kept made{
            *form.category, copyOf(form.derivationProperties), copyOf(form.inflectionProperties),
            makeTemplate(*form.category, listedProperties(entry_, form), entry_.morphologicalProperties, definitions_)};
        if (kept_.size() < keptTemplates) return kept_.emplace_back(std::move(made)).held();
        Kept& replaced = kept_[next_];
        next_ = (next_ + 1) % keptTemplates;
        replaced = std::move(made);
        return replaced.held();
    }

private:
    static constexpr std::size_t keptTemplates = 16;
    using List = std::optional<std::vector<std::string>>;

    struct Kept {
        std::string category;
        List derivation;
        List inflection;
        std::optional<LineTemplate> line;

        bool matches(const EntryForm& form) const {
            return category == *form.category && sameList(derivation, form.derivationProperties) &&
                   sameList(inflection, form.inflectionProperties);
        }
        const LineTemplate* held() const { return line ? &*line : nullptr; }
    };

    static List copyOf(const std::vector<std::string>* list) { return list ? List(*list) : std::nullopt; }
    static bool sameList(const List& kept, const std::vector<std::string>* list) {
        return kept.has_value() == (list != nullptr) && (!kept || *kept == *list);
    }

    const ALU& entry_;
    const PropertiesDefinitions& definitions_;
    std::vector<Kept> kept_;
    std::size_t next_ = 0; // the kept template replaced next
};

// A line template as a shape keeps it: its two texts are ranges of the
// shape's one text buffer.
struct FormTemplate {
    bool inconsistent = false;
    std::uint32_t beforeBegin = 0;
    std::uint32_t beforeSize = 0;
    std::uint32_t afterBegin = 0;
    std::uint32_t afterSize = 0;
};

// The paths of an entry's paradigms, when every one of them is held.
struct HeldDerivation {
    const ParadigmPaths* derivation;
    const ParadigmPaths* inflection; // null for none
};
struct HeldParadigms {
    std::vector<const ParadigmPaths*> inflections;
    std::vector<HeldDerivation> derivations;
};

std::optional<HeldParadigms> heldParadigms(const EntryParadigms& paradigms) {
    HeldParadigms held;
    for (const Paradigm& inflection : paradigms.inflections) {
        if (inflection.held() == nullptr) return std::nullopt;
        held.inflections.push_back(inflection.held());
    }
    for (const DerivationParadigms& derivation : paradigms.derivations) {
        const ParadigmPaths* inflection = nullptr;
        if (derivation.inflection && (inflection = derivation.inflection->held()) == nullptr) return std::nullopt;
        if (derivation.derivation.held() == nullptr) return std::nullopt;
        held.derivations.push_back(HeldDerivation{derivation.derivation.held(), inflection});
    }
    return held;
}

// What every entry of one shape shares.
struct Shape {
    bool assembled = false;  // every form has a template (else each entry goes form by form)
    bool echoesLine = false; // the entry has no inflectional paradigm: its line is printed first
    EntryParadigms owned;    // keeps the paths of `paradigms`
    HeldParadigms paradigms;
    std::vector<FormTemplate> templates; // one per form, in form order
    std::string text;                    // the texts of the templates
    std::size_t suffixDeletions = 0;     // the most that a suffix edit deletes from the lemma
    // Per derivation: whether every form comes from suffix edits that suit
    // derivation, and the most that its inflection deletes.
    std::vector<bool> derivationBySuffixEdits;
    std::vector<std::size_t> derivedSuffixDeletions;
    std::size_t bytes = 0;
};

// Adds the template of a form to `shape`; false when the form has none.
bool addTemplate(Shape& shape, const std::string& category, const std::vector<std::string>& listed, const ALU& entry,
                 const PropertiesDefinitions& definitions) {
    if (shape.templates.size() >= shapeFormsLimit) return false;
    const std::optional<LineTemplate> line = makeTemplate(category, listed, entry.morphologicalProperties, definitions);
    if (!line || shape.text.size() + line->beforeReverse.size() + line->afterReverse.size() > shapeTextLimit)
        return false;
    FormTemplate& stored = shape.templates.emplace_back();
    stored.inconsistent = line->inconsistent;
    stored.beforeBegin = static_cast<std::uint32_t>(shape.text.size());
    stored.beforeSize = static_cast<std::uint32_t>(line->beforeReverse.size());
    shape.text += line->beforeReverse;
    stored.afterBegin = static_cast<std::uint32_t>(shape.text.size());
    stored.afterSize = static_cast<std::uint32_t>(line->afterReverse.size());
    shape.text += line->afterReverse;
    return true;
}

bool addInflectionTemplates(Shape& shape, const ALU& entry, const PropertiesDefinitions& definitions) {
    for (const ParadigmPaths* inflection : shape.paradigms.inflections) {
        for (const ParadigmPath& path : *inflection) {
            if (!path.command || !addTemplate(shape, entry.category, inflectedFormProperties(entry, path.properties),
                                              entry, definitions))
                return false;
            if (path.suffixEdit) shape.suffixDeletions = std::max(shape.suffixDeletions, path.suffixEdit->deletions);
        }
    }
    return true;
}

// Adds the templates of the forms of one derivation path: the derived form,
// or each of its inflected forms. `bySuffixEdits` becomes false unless every
// form is made by suffix edits that suit derivation; `derivedDeletions` grows
// to the most that the inflection deletes.
bool addDerivedTemplates(Shape& shape, const ParadigmPath& path, const ParadigmPaths* inflection, const ALU& entry,
                         const PropertiesDefinitions& definitions, bool& bySuffixEdits, std::size_t& derivedDeletions) {
    if (!path.derivedInformation) return false;
    const LexicalInformation& derived = *path.derivedInformation;
    if (!path.suffixEdit || !path.suffixEdit->typedSuitsDerivation)
        bySuffixEdits = false;
    else
        shape.suffixDeletions = std::max(shape.suffixDeletions, path.suffixEdit->deletions);
    if (inflection == nullptr)
        return addTemplate(shape, derived.category,
                           derivedFormProperties(entry, derived.category, derived.properties, nullptr), entry,
                           definitions);
    for (const ParadigmPath& inflectionPath : *inflection) {
        if (!addTemplate(shape, derived.category,
                         derivedFormProperties(entry, derived.category, derived.properties, &inflectionPath.properties),
                         entry, definitions))
            return false;
        if (!inflectionPath.suffixEdit)
            bySuffixEdits = false;
        else
            derivedDeletions = std::max(derivedDeletions, inflectionPath.suffixEdit->deletions);
    }
    return true;
}

bool addDerivationTemplates(Shape& shape, const ALU& entry, const PropertiesDefinitions& definitions) {
    for (const HeldDerivation& derivation : shape.paradigms.derivations) {
        bool bySuffixEdits = true;
        std::size_t derivedDeletions = 0;
        for (const ParadigmPath& path : *derivation.derivation) {
            if (!addDerivedTemplates(shape, path, derivation.inflection, entry, definitions, bySuffixEdits,
                                     derivedDeletions))
                return false;
        }
        shape.derivationBySuffixEdits.push_back(bySuffixEdits);
        shape.derivedSuffixDeletions.push_back(derivedDeletions);
    }
    return true;
}

// The word form and reverse command of one form.
// The word form and the reverse command are each kept in two pieces: views
// into the lemma and the suffix edits of the paths when a suffix edit made
// them, or into the strings of the form when the editor did. The lines are
// then assembled from the pieces, with nothing copied before.
struct EditedForm {
    std::array<std::string_view, 2> word;
    std::array<std::string_view, 2> reverse;
    std::string ownedWord;
    std::string ownedReverse;
    // Known to be read back as they are: made by suffix edits of a lemma and
    // typed text that hold no stopper.
    bool plain = false;

    // Takes the editor's word form and reverse command.
    void own(std::string wordForm, std::string reverseCommand) {
        ownedWord = std::move(wordForm);
        ownedReverse = std::move(reverseCommand);
        word = {ownedWord, std::string_view()};
        reverse = {ownedReverse, std::string_view()};
        plain = false;
    }
    std::string wordForm() const { return std::string(word[0]).append(word[1]); }
    std::string reverseCommand() const { return std::string(reverse[0]).append(reverse[1]); }
};

// Sets `form` to what `edit` makes of `word`, whose last characters begin at
// `tails` (see findTailStarts); false when the word is too short.
bool applySuffixEdit(const SuffixEdit& edit, std::string_view word, const std::vector<std::size_t>& tails,
                     bool wordIsPlain, EditedForm& form) {
    if (edit.deletions >= tails.size()) return false;
    const std::size_t cut = tails[edit.deletions];
    form.word = {word.substr(0, cut), edit.typed};
    form.reverse = reverseOfSuffixEdit(edit, word.substr(cut));
    form.plain = wordIsPlain && edit.typedIsPlain && (cut > 0 || !edit.typed.empty());
    return true;
}

// True when the editor, which defines every form, makes `forms` of `lemma`
// by `paradigms`: the suffix-edit lanes are checked against it on every use
// in builds with assertions.
[[maybe_unused]] bool matchesEditor(const HeldParadigms& paradigms, std::string_view lemma,
                                    const std::vector<EditedForm>& forms) {
    const std::string word(lemma);
    std::size_t index = 0;
    const auto matches = [&](const std::vector<std::string>& wordForms, const std::vector<std::string>& reverses) {
        for (std::size_t i = 0; i < wordForms.size(); ++i, ++index) {
            if (index >= forms.size() || forms[index].wordForm() != wordForms[i] ||
                forms[index].reverseCommand() != reverses[i])
                return false;
        }
        return true;
    };
    for (const ParadigmPaths* inflection : paradigms.inflections) {
        const std::optional<Morphology::Inflection> made = Morphology::inflect(word, *inflection);
        if (!made || !matches(made->wordForms, made->reverseCommands)) return false;
    }
    for (const HeldDerivation& derivation : paradigms.derivations) {
        const std::optional<Morphology::Derivation> made =
            Morphology::deriveThenInflect(word, *derivation.derivation, derivation.inflection);
        if (!made || !matches(made->wordForms, made->reverseCommands)) return false;
    }
    return index == forms.size();
}

// The shapes of the entries, shared by the expanders of several threads:
// shapes are only added (and all dropped at once past the budget), and a
// shape once added never changes.
class SharedShapes {
public:
    using Pointer = std::shared_ptr<const Shape>;

    Pointer find(std::string_view key) const {
        const std::shared_lock lock(mutex_);
        const auto found = shapes_.find(key);
        return found == shapes_.end() ? nullptr : found->second;
    }

    // Keeps `shape` under `key`, unless another thread kept one first;
    // answers the one kept.
    Pointer add(std::string_view key, Shape shape) {
        const std::unique_lock lock(mutex_);
        if (const auto found = shapes_.find(key); found != shapes_.end()) return found->second;
        if (bytes_ > shapeBytesLimit) {
            shapes_.clear();
            paradigms_.clear();
            bytes_ = 0;
            generation_.fetch_add(1, std::memory_order_relaxed);
        }
        bytes_ += shape.bytes + key.size();
        // A shape keeps its paradigms alive, dropped from their cache or not:
        // the paths of each count against the budget once, however many
        // shapes share them.
        const auto count = [&](const Paradigm& paradigm) {
            if (paradigm.held() != nullptr && paradigms_.insert(paradigm.held()).second) bytes_ += paradigm.heldBytes();
        };
        for (const Paradigm& inflection : shape.owned.inflections) count(inflection);
        for (const DerivationParadigms& derivation : shape.owned.derivations) {
            count(derivation.derivation);
            if (derivation.inflection) count(*derivation.inflection);
        }
        return shapes_.emplace(std::string(key), std::make_shared<const Shape>(std::move(shape))).first->second;
    }

    // Changes whenever the shapes are dropped.
    std::uint64_t generation() const { return generation_.load(std::memory_order_relaxed); }

private:
    mutable std::shared_mutex mutex_;
    std::unordered_map<std::string, Pointer, TextHash, std::equal_to<>> shapes_;
    std::unordered_set<const ParadigmPaths*> paradigms_; // the held paths that shapes keep, counted
    std::size_t bytes_ = 0;
    std::atomic<std::uint64_t> generation_ = 0;
};

// What the expanders of several threads share.
struct SharedCaches {
    SharedCaches(const PropertiesDefinitions& propertiesDefinitions, const MGFSA& grammar,
                 const ExploreOptions& options)
        : definitions(propertiesDefinitions), paradigms(grammar, options),
          templatesAllowed(!definitionsMentionLexItem(propertiesDefinitions)) {}

    const PropertiesDefinitions& definitions;
    ParadigmCache paradigms;
    const bool templatesAllowed;
    SharedShapes shapes;
};

} // namespace

struct EntryLineExpander::State {
    explicit State(std::shared_ptr<SharedCaches> sharedCaches)
        : shared(std::move(sharedCaches)), definitions(shared->definitions), paradigms(shared->paradigms),
          templatesAllowed(shared->templatesAllowed) {}

    const std::shared_ptr<SharedCaches> shared;
    const PropertiesDefinitions& definitions;
    ParadigmCache& paradigms;
    const bool templatesAllowed;
    // The shapes this expander met, found here without a lock; dropped when
    // the shared ones are.
    std::unordered_map<std::string, SharedShapes::Pointer, TextHash, std::equal_to<>> shapes;
    std::uint64_t shapesGeneration = 0;
    Counts counts;
    // Reused from entry to entry.
    std::vector<EditedForm> forms;
    std::vector<std::size_t> tailStarts;        // where the last k characters of the lemma begin
    std::vector<std::size_t> derivedTailStarts; // the same for a derived word form
    bool lemmaIsPlain = false;                  // the lemma holds no stopper
    std::string derivedWordForm;

    const Shape& shapeOf(std::string_view key, std::string_view entryLine);
    Shape makeShape(std::string_view entryLine);
    bool editForms(const Shape& shape, std::string_view lemma);
    bool findLemmaTails(const Shape& shape, std::string_view lemma, bool lemmaSuits);
    bool editInflections(const Shape& shape, std::string_view lemma, bool bySuffixEdits, std::size_t& index);
    bool editDerivation(const Shape& shape, std::size_t d, std::string_view lemma, std::size_t& index);
    bool editDerivationByEditor(const Shape& shape, std::size_t d, std::string_view lemma, std::size_t& index);
    bool formsArePlain(const Shape& shape) const;
    std::int64_t printAssembled(const Shape& shape, std::string_view entryLine, LineSink& sink);
    std::optional<std::int64_t> expandFormByForm(std::string_view entryLine, LineSink& sink);
};

EntryLineExpander::EntryLineExpander(const PropertiesDefinitions& propertiesDefinitions, const MGFSA& paradigms,
                                     const ExploreOptions& options)
    : state_(std::make_unique<State>(std::make_shared<SharedCaches>(propertiesDefinitions, paradigms, options))) {}

EntryLineExpander::EntryLineExpander(const EntryLineExpander& sharing, SharingCaches)
    : state_(std::make_unique<State>(sharing.state_->shared)) {}

EntryLineExpander::~EntryLineExpander() = default;

EntryLineExpander::Counts EntryLineExpander::counts() const {
    return state_->counts;
}

const Shape& EntryLineExpander::State::shapeOf(std::string_view key, std::string_view entryLine) {
    if (const std::uint64_t generation = shared->shapes.generation(); generation != shapesGeneration) {
        shapes.clear();
        shapesGeneration = generation;
    }
    if (const auto found = shapes.find(key); found != shapes.end()) return *found->second;
    SharedShapes::Pointer shape = shared->shapes.find(key);
    if (shape == nullptr) shape = shared->shapes.add(key, makeShape(entryLine));
    return *shapes.emplace(std::string(key), std::move(shape)).first->second;
}

// The shape of the entry `entryLine`; only what follows its lemma is used.
// Not assembled (and holding nothing) when any form has no template.
Shape EntryLineExpander::State::makeShape(std::string_view entryLine) {
    if (!templatesAllowed) return Shape();
    const std::optional<ALU> entry = ALU::init(entryLine, &definitions);
    if (!entry) return Shape();
    std::optional<EntryParadigms> explored = paradigms.paradigmsOf(*entry);
    if (!explored) return Shape();
    std::optional<HeldParadigms> held = heldParadigms(*explored);
    if (!held) return Shape();
    Shape shape;
    shape.echoesLine = entry->flxParadigms.empty();
    shape.owned = std::move(*explored);
    shape.paradigms = std::move(*held);
    if (!addInflectionTemplates(shape, *entry, definitions) || !addDerivationTemplates(shape, *entry, definitions))
        return Shape();
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
    const bool lemmaSuits = suitsSuffixEdits(lemma);
    lemmaIsPlain = holdsNoneOf(lemma, lemmaStoppers);
    const bool inflectsBySuffixEdits = findLemmaTails(shape, lemma, lemmaSuits);
    if (!editInflections(shape, lemma, inflectsBySuffixEdits, index)) return false;
    const bool derivesBySuffixEdits = !shape.paradigms.derivations.empty() && lemmaSuits && isSafeInReverseList(lemma);
    for (std::size_t d = 0; d < shape.paradigms.derivations.size(); ++d) {
        if (!(derivesBySuffixEdits && shape.derivationBySuffixEdits[d]
                  ? editDerivation(shape, d, lemma, index)
                  : editDerivationByEditor(shape, d, lemma, index)))
            return false;
    }
    assert(index != forms.size() || matchesEditor(shape.paradigms, lemma, forms));
    return index == forms.size();
}

// Where the last characters of `lemma` begin, as many as the shape's suffix
// edits delete; false when suffix edits do not apply to this lemma. Each
// scalar is a character when the lemma suits suffix edits; otherwise the
// characters are found as the editor finds them, unless a deleted "<" could
// make the editor's reverse list unreadable.
bool EntryLineExpander::State::findLemmaTails(const Shape& shape, std::string_view lemma, bool lemmaSuits) {
    if (lemmaSuits) {
        findTailStarts(lemma, shape.suffixDeletions, tailStarts);
        return true;
    }
    if (shape.suffixDeletions > 0 && lemma.find('<') != std::string_view::npos) return false;
    tailStarts.assign(1, lemma.size());
    if (shape.suffixDeletions == 0) return true;
    const std::vector<std::string_view> characters = graphemeClusterViews(lemma);
    for (std::size_t k = characters.size(); k-- > 0 && tailStarts.size() <= shape.suffixDeletions;)
        tailStarts.push_back(static_cast<std::size_t>(characters[k].data() - lemma.data()));
    return true;
}

bool EntryLineExpander::State::editInflections(const Shape& shape, std::string_view lemma, bool bySuffixEdits,
                                               std::size_t& index) {
    for (const ParadigmPaths* inflection : shape.paradigms.inflections) {
        for (const ParadigmPath& path : *inflection) {
            EditedForm& form = forms[index++];
            if (bySuffixEdits && path.suffixEdit) {
                if (!applySuffixEdit(*path.suffixEdit, lemma, tailStarts, lemmaIsPlain, form)) return false;
                continue;
            }
            std::optional<Morphology::EditResult> edited = Morphology::applyParsedCommand(lemma, *path.command);
            if (!edited) return false;
            form.own(std::move(edited->resultingWordForm), std::move(edited->reverseCommand));
        }
    }
    return true;
}

bool EntryLineExpander::State::editDerivationByEditor(const Shape& shape, std::size_t d, std::string_view lemma,
                                                      std::size_t& index) {
    const HeldDerivation& derivation = shape.paradigms.derivations[d];
    std::optional<Morphology::Derivation> derived =
        Morphology::deriveThenInflect(std::string(lemma), *derivation.derivation, derivation.inflection);
    if (!derived || index + derived->wordForms.size() > forms.size()) return false;
    for (std::size_t i = 0; i < derived->wordForms.size(); ++i) {
        forms[index++].own(std::move(derived->wordForms[i]), std::move(derived->reverseCommands[i]));
    }
    return true;
}

// The forms of derivation `d` by suffix edits alone: every character of the
// lemma and of what the derivation types is a character of its own that reads
// back as itself in a reverse list, and so is every character of the derived
// word form.
bool EntryLineExpander::State::editDerivation(const Shape& shape, std::size_t d, std::string_view lemma,
                                              std::size_t& index) {
    const HeldDerivation& derivation = shape.paradigms.derivations[d];
    for (const ParadigmPath& path : *derivation.derivation) {
        const SuffixEdit& derivationEdit = *path.suffixEdit;
        if (derivationEdit.deletions >= tailStarts.size()) return false;
        const std::size_t cut = tailStarts[derivationEdit.deletions];
        const std::string_view derivationDeleted = lemma.substr(cut);
        if (derivation.inflection == nullptr) {
            if (!applySuffixEdit(derivationEdit, lemma, tailStarts, lemmaIsPlain, forms[index++])) return false;
            continue;
        }
        derivedWordForm.assign(lemma.substr(0, cut)).append(derivationEdit.typed);
        findTailStarts(derivedWordForm, shape.derivedSuffixDeletions[d], derivedTailStarts);
        for (const ParadigmPath& inflectionPath : *derivation.inflection) {
            const SuffixEdit& edit = *inflectionPath.suffixEdit;
            if (edit.deletions >= derivedTailStarts.size()) return false;
            const std::size_t derivedCut = derivedTailStarts[edit.deletions];
            EditedForm& form = forms[index++];
            std::string reverseCommand;
            appendReverseOfDerivedSuffixEdits(reverseCommand, edit,
                                              std::string_view(derivedWordForm).substr(derivedCut), derivationEdit,
                                              derivationDeleted);
            form.own(std::string(std::string_view(derivedWordForm).substr(0, derivedCut)).append(edit.typed),
                     std::move(reverseCommand));
            form.plain = lemmaIsPlain && derivationEdit.typedIsPlain && edit.typedIsPlain && !form.ownedWord.empty();
        }
    }
    return true;
}

bool EntryLineExpander::State::formsArePlain(const Shape& shape) const {
    for (std::size_t i = 0; i < shape.templates.size(); ++i) {
        if (shape.templates[i].inconsistent) continue;
        const EditedForm& form = forms[i];
        if (!form.plain && !fitsTemplate(form.word, form.reverse)) return false;
    }
    return true;
}

std::int64_t EntryLineExpander::State::printAssembled(const Shape& shape, std::string_view entryLine, LineSink& sink) {
    ++counts.assembled;
    if (shape.echoesLine) sink.printLine(entryLine);
    std::int64_t count = 0;
    for (std::size_t i = 0; i < shape.templates.size(); ++i) {
        const FormTemplate& formTemplate = shape.templates[i];
        if (formTemplate.inconsistent) continue;
        const std::string_view text = shape.text;
        const EditedForm& form = forms[i];
        sink.printJoined({form.word[0], form.word[1], ",",
                          text.substr(formTemplate.beforeBegin, formTemplate.beforeSize), form.reverse[0],
                          form.reverse[1], text.substr(formTemplate.afterBegin, formTemplate.afterSize)});
        ++count;
    }
    return count;
}

// The lines of an entry, form by form (forEachCheckedForm): no form is held
// from one to the next, whatever the number of forms. A form's line is
// completed from the template of its category and paths when one fits, as a
// shape's lines are; otherwise it is assembled whole (formLineOf).
std::optional<std::int64_t> EntryLineExpander::State::expandFormByForm(std::string_view entryLine, LineSink& sink) {
    const std::optional<ALU> entry = ALU::init(entryLine, &definitions);
    if (!entry) return std::nullopt;
    ++counts.formByForm;
    // An entry without an inflectional paradigm is printed as written (it is
    // not counted); its derivations, if any, still follow.
    if (entry->flxParadigms.empty()) sink.printLine(entryLine);
    const std::optional<EntryParadigms> explored = paradigms.paradigmsOf(*entry);
    if (!explored) return std::nullopt;
    EntryTemplates templates(*entry, definitions);
    std::int64_t count = 0;
    const bool printed = forEachCheckedForm(*entry, *explored, [&](const EntryForm& form) {
        const bool fits = templatesAllowed && fitsTemplate({&form.wordForm, 1}, {&form.reverseCommand, 1});
        if (const LineTemplate* line = fits ? templates.of(form) : nullptr) {
            ++counts.formsFromTemplates;
            if (line->inconsistent) return true; // dropped without a trace
            sink.printJoined({form.wordForm, ",", line->beforeReverse, form.reverseCommand, line->afterReverse});
        } else {
            const std::optional<FormLine> whole = formLineOf(*entry, form, definitions);
            if (!whole) return false;
            if (whole->inconsistent) return true;
            sink.printLine(whole->text);
        }
        ++count;
        return true;
    });
    if (!printed) return std::nullopt;
    return count;
}

std::optional<std::int64_t> EntryLineExpander::expand(std::string_view line, LineSink& sink) {
    State& state = *state_;
    const std::optional<LexemeView> lexeme = parseLexemeView(line);
    if (!lexeme) return std::nullopt;
    // The text from the category on decides everything but the lemma.
    const std::string_view key = line.substr(static_cast<std::size_t>(lexeme->category.data() - line.data()));
    const Shape& shape = state.shapeOf(key, line);
    if (!shape.assembled || !state.editForms(shape, lexeme->entry) || !state.formsArePlain(shape))
        return state.expandFormByForm(line, sink);
    return state.printAssembled(shape, line, sink);
}

} // namespace lexpand
