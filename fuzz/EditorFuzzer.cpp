// Fuzz target for the morphological editor. The input is a word form, a tab
// and a command. Applying the command must not crash, must agree with the
// two-step API (parseCommand, applyParsedCommand), and, for the commands that
// keep everything their reverse command needs, the reverse command applied
// to the result must give the word form back.
//
// A reverse command records each step's undo at the cursor where the step
// ran, and one positioning token for the end. It cannot give the word back,
// by construction, after:
//   - "<BW>" with characters after the cursor (they are dropped unrecorded);
//   - "<D>" at position 0 (nothing is doubled, yet "<B>" is recorded);
//   - "<C>" on a character whose case switch does not switch back ("ß");
//   - two "<C>" steps whose undos meet and merge into "<C2>", which fails;
//   - "<N>"/"<Nn>" at the end, "<LW>" at the start, "<RW>" at the end (each
//     records a move of one for a move of none);
//   - "<P>", "<Pn>", "<PW>" that move the cursor after a step that recorded
//     its undo (word moves record nothing, so earlier undos run elsewhere);
//   - a final "<Pk>" positioning that does not land on the cursor: it counts
//     non-letters, while the move it makes counts words;
//   - a reverse command that does not tokenize back into its own tokens
//     (removed white space or characters the tokenizer treats specially);
//   - a result that holds a "<": should the reverse command remove it, its
//     own reverse list holds a "<" token that cannot be simplified, and it
//     fails.
// The check also requires that joining the edited characters cannot merge
// them into other grapheme clusters, so that positions in the result mean
// what they meant to the editor: every scalar must be a cluster of its own
// whatever surrounds it (grapheme break property Other or Control).

#include <unicode/uchar.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "FuzzInput.h"
#include "Morphology.h"
#include "TextServices.h"
#include "Tokenizers.h"

namespace {

using lexpand::Morphology;

constexpr std::size_t maximalInputSize = 512;

// Inserted at the cursor to find where the cursor stands; a private-use
// character that never merges with its neighbours.
constexpr char32_t cursorMarker = 0xE000;

bool standsAlone(std::string_view text) {
    for (std::size_t i = 0; i < text.size();) {
        const char32_t scalar = lexpand::decodeScalar(text, i);
        if (scalar == cursorMarker) return false;
        const auto breakClass = u_getIntPropertyValue(static_cast<UChar32>(scalar), UCHAR_GRAPHEME_CLUSTER_BREAK);
        if (breakClass != U_GCB_OTHER && breakClass != U_GCB_CONTROL) return false;
    }
    return true;
}

// The characters of the word form and the cursor after some steps.
struct EditState {
    std::vector<std::string> characters;
    std::size_t cursor = 0;
};

std::optional<EditState> stateAfter(std::string_view wordForm, const std::vector<Morphology::Operator>& command,
                                    std::size_t stepCount) {
    std::vector<Morphology::Operator> steps(command.begin(), command.begin() + static_cast<std::ptrdiff_t>(stepCount));
    std::string marker;
    lexpand::appendScalar(marker, cursorMarker);
    steps.push_back(Morphology::Operator{marker, 0});
    const std::optional<Morphology::EditResult> edited = Morphology::applyParsedCommand(wordForm, steps);
    if (!edited) return std::nullopt;
    EditState state;
    bool found = false;
    for (std::string& character : lexpand::graphemeClusters(edited->resultingWordForm)) {
        if (lexpand::firstScalar(character) == cursorMarker) {
            if (found || character != marker) return std::nullopt;
            found = true;
            state.cursor = state.characters.size();
            continue;
        }
        state.characters.push_back(std::move(character));
    }
    if (!found) return std::nullopt;
    return state;
}

bool isOperator(const Morphology::Operator& op, std::string_view type) {
    return op.parameter != 0 && op.type == type;
}

// True when the final positioning token brings a cursor coming from the end
// of `state` back to its cursor.
bool positioningLandsOnCursor(const EditState& state) {
    const std::size_t length = state.characters.size();
    const std::size_t cursor = state.cursor;
    bool allLetters = true;
    for (std::size_t i = cursor; i < length; ++i)
        allLetters = allLetters && lexpand::isLetterCharacter(state.characters[i]);
    if (allLetters) return true; // "<Lt>", or nothing at the end
    // "<Pk>" steps over one word and the non-letters before it per count, and
    // lands after a letter, never at position 0 or 1.
    if (cursor < 2 || !lexpand::isLetterCharacter(state.characters[cursor - 1])) return false;
    if (lexpand::isLetterCharacter(state.characters[cursor])) return false;
    for (std::size_t i = cursor + 1; i < length; ++i) {
        if (!lexpand::isLetterCharacter(state.characters[i]) && !lexpand::isLetterCharacter(state.characters[i - 1]))
            return false;
    }
    return true;
}

// True when the reverse command of `result` tokenizes back into its own
// tokens and holds no "<C>" of a count other than 1 (two undos of "<C>"
// merged).
bool reverseTokensRoundTrip(const Morphology::EditResult& result) {
    const std::optional<lexpand::TokenList> reverseTokens =
        lexpand::Tokenizer::textualOrthographicGrammar(result.reverseCommand);
    if (!reverseTokens || *reverseTokens != result.reverseTokens) return false;
    for (const std::string& token : result.reverseTokens) {
        const std::optional<Morphology::Operator> op = Morphology::parseMorphologicalOperator(token);
        if (op && op->type == "C" && op->parameter != 1) return false;
    }
    return true;
}

// True when the step `op`, taken in `before`, records an undo that gives
// `before` back: none of the steps listed at the top of this file.
bool stepIsUndoable(const Morphology::Operator& op, const EditState& before) {
    const std::size_t cursor = before.cursor;
    const std::size_t length = before.characters.size();
    if (isOperator(op, "B") && op.parameter == -1 && cursor < length) return false;
    if (isOperator(op, "D") && cursor == 0) return false;
    if (isOperator(op, "C")) {
        const std::string& character = before.characters.at(cursor);
        if (lexpand::switchCase(lexpand::switchCase(character)) != character) return false;
    }
    if (isOperator(op, "N") && op.parameter != -1 && cursor == length) return false;
    if (isOperator(op, "L") && op.parameter == -1 && cursor == 0) return false;
    if (isOperator(op, "R") && op.parameter == -1 && cursor == length) return false;
    return true;
}

bool reverseCommandMustRestore(std::string_view wordForm, std::string_view morphologicalCommand,
                               const std::vector<Morphology::Operator>& command, const Morphology::EditResult& result) {
    if (!standsAlone(wordForm) || !standsAlone(morphologicalCommand)) return false;

    if (result.resultingWordForm.find('<') != std::string::npos) return false;
    if (!reverseTokensRoundTrip(result)) return false;

    std::optional<EditState> before = stateAfter(wordForm, command, 0);
    if (!before) return false;
    bool undoRecorded = false;
    for (std::size_t i = 0; i < command.size(); ++i) {
        const std::optional<EditState> after = stateAfter(wordForm, command, i + 1);
        if (!after) return false;
        const Morphology::Operator& op = command[i];
        if (!stepIsUndoable(op, *before)) return false;
        if (isOperator(op, "P")) {
            if (after->cursor != before->cursor && undoRecorded) return false;
        } else if (!isOperator(op, "E")) {
            undoRecorded = true;
        }
        before = after;
    }
    return positioningLandsOnCursor(*before);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > maximalInputSize) return 0;
    const std::vector<std::string_view> parts = lexpand::fuzz::splitInput(lexpand::fuzz::asText(data, size), '\t', 2);
    const std::string_view wordForm = parts.size() == 2 ? parts[0] : std::string_view();
    const std::string_view morphologicalCommand = parts.back();
    // Word forms enter the engine as well-formed UTF-8, checked once.
    if (!lexpand::isValidUtf8(wordForm)) return 0;

    const std::optional<Morphology::EditResult> result =
        Morphology::applySuffixCommandToWordForm(wordForm, morphologicalCommand);
    const std::optional<std::vector<Morphology::Operator>> command = Morphology::parseCommand(morphologicalCommand);
    const std::optional<Morphology::EditResult> twoSteps =
        command ? Morphology::applyParsedCommand(wordForm, *command) : std::nullopt;
    if (result.has_value() != twoSteps.has_value()) __builtin_trap();
    if (!result) return 0;
    if (result->resultingWordForm != twoSteps->resultingWordForm ||
        result->reverseCommand != twoSteps->reverseCommand || result->reverseTokens != twoSteps->reverseTokens)
        __builtin_trap();
    std::string joined;
    for (const std::string& token : result->reverseTokens) joined += token;
    if (joined != result->reverseCommand) __builtin_trap();

    if (!reverseCommandMustRestore(wordForm, morphologicalCommand, *command, *result)) return 0;
    const std::optional<Morphology::EditResult> restored =
        Morphology::applySuffixCommandToWordForm(result->resultingWordForm, result->reverseCommand);
    if (!restored || restored->resultingWordForm != wordForm) __builtin_trap();
    return 0;
}
