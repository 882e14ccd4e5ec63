// Suffix edits against the editor: every suffix command on every word form
// that suits it gives the editor's word form and reverse command, alone and
// as a derivation inflected by a second suffix edit.

#include "SuffixEdit.h"

#include <gtest/gtest.h>

#include <random>

#include "Paradigms.h"

namespace lexpand {
namespace {

const std::vector<std::string> commands = {"<E>",     "s",      "<B>",          "<B2>ий",      "<B><B>c", "<E><B>é",
                                           "<B3>xyz", "<B>ies", "<B0>",         "<E><E>",      "ab",      "<B12>",
                                           "\\/",     "a b",    "<B>e\xCC\x81", "<B2><E>ness", "<B>-"};
const std::vector<std::string> notSuffixEdits = {"a<B>", "<L><B>ee<R>", "<BW>", "<D>", "<C>", "<E2>", "<PW>s"};
const std::vector<std::string> pieces = {"a", "b", "к", "ш", "ё", "1", "-", ".", "'", "Z", "é", "ß"};

std::string randomWord(std::mt19937& random) {
    std::string word;
    const std::size_t length = 1 + random() % 6;
    for (std::size_t i = 0; i < length; ++i) word += pieces[random() % pieces.size()];
    return word;
}

struct Applied {
    std::string wordForm;
    std::string reverseCommand;
};

// The suffix edit of `command` on `word`, absent when it deletes too much.
std::optional<Applied> applySuffixEdit(const SuffixEdit& edit, std::string_view word) {
    std::vector<std::size_t> starts;
    findTailStarts(word, edit.deletions, starts);
    if (edit.deletions >= starts.size()) return std::nullopt;
    const std::size_t cut = starts[edit.deletions];
    Applied applied{std::string(word.substr(0, cut)) + edit.typed, ""};
    appendReverseOfSuffixEdit(applied.reverseCommand, edit, word.substr(cut));
    return applied;
}

SuffixEdit suffixEdit(const std::string& command) {
    const std::optional<std::vector<Morphology::Operator>> parsed = Morphology::parseCommand(command);
    EXPECT_TRUE(parsed.has_value()) << command;
    const std::optional<SuffixEdit> edit = parsed ? suffixEditOf(*parsed) : std::nullopt;
    EXPECT_TRUE(edit.has_value()) << command;
    return edit.value_or(SuffixEdit());
}

TEST(SuffixEdit, OnlyDeletionsThenTyping) {
    for (const std::string& command : notSuffixEdits) {
        const std::optional<std::vector<Morphology::Operator>> parsed = Morphology::parseCommand(command);
        ASSERT_TRUE(parsed.has_value()) << command;
        EXPECT_FALSE(suffixEditOf(*parsed).has_value()) << command;
    }
}

TEST(SuffixEdit, GivesWhatTheEditorGives) {
    std::mt19937 random(7);
    for (int i = 0; i < 2000; ++i) {
        const std::string word = randomWord(random);
        ASSERT_TRUE(suitsSuffixEdits(word)) << word;
        const std::string& command = commands[random() % commands.size()];
        const std::optional<Applied> fast = applySuffixEdit(suffixEdit(command), word);
        const std::optional<Morphology::EditResult> edited = Morphology::applySuffixCommandToWordForm(word, command);
        ASSERT_EQ(fast.has_value(), edited.has_value()) << word << " " << command;
        if (!fast) continue;
        EXPECT_EQ(fast->wordForm, edited->resultingWordForm) << word << " " << command;
        EXPECT_EQ(fast->reverseCommand, edited->reverseCommand) << word << " " << command;
    }
}

TEST(SuffixEdit, DerivedThenInflectedGivesWhatTheEditorGives) {
    const auto path = [](const std::string& command) {
        ParadigmPath prepared;
        prepared.command = Morphology::parseCommand(command);
        prepared.derivedInformation = LexicalInformation{"N", {}};
        return prepared;
    };
    std::mt19937 random(11);
    for (int i = 0; i < 2000; ++i) {
        const std::string word = randomWord(random);
        const std::string& derivationCommand = commands[random() % commands.size()];
        const std::string& inflectionCommand = commands[random() % commands.size()];
        const SuffixEdit derivation = suffixEdit(derivationCommand);
        const SuffixEdit inflection = suffixEdit(inflectionCommand);
        if (!derivation.typedSuitsDerivation || !isSafeInReverseList(word)) continue;

        const ParadigmPaths derivations = {path(derivationCommand)};
        const ParadigmPaths inflections = {path(inflectionCommand)};
        const std::optional<Morphology::Derivation> expected =
            Morphology::deriveThenInflect(word, derivations, &inflections);

        const std::optional<Applied> derived = applySuffixEdit(derivation, word);
        std::optional<Applied> inflected = derived ? applySuffixEdit(inflection, derived->wordForm) : std::nullopt;
        ASSERT_EQ(inflected.has_value(), expected.has_value())
            << word << " " << derivationCommand << " " << inflectionCommand;
        if (!inflected) continue;
        std::vector<std::size_t> starts;
        findTailStarts(word, derivation.deletions, starts);
        std::vector<std::size_t> derivedStarts;
        findTailStarts(derived->wordForm, inflection.deletions, derivedStarts);
        std::string reverse;
        appendReverseOfDerivedSuffixEdits(
            reverse, inflection, std::string_view(derived->wordForm).substr(derivedStarts[inflection.deletions]),
            derivation, std::string_view(word).substr(starts[derivation.deletions]));
        EXPECT_EQ(inflected->wordForm, expected->wordForms.front()) << word << " " << derivationCommand;
        EXPECT_EQ(reverse, expected->reverseCommands.front())
            << word << " " << derivationCommand << " " << inflectionCommand;
    }
}

} // namespace
} // namespace lexpand
