// Morphology's operator language and editor: parseMorphologicalOperator,
// appendCommand, simplifySuffixCommand, parseCommand, applyParsedCommand and
// applySuffixCommandToWordForm.

#include "Morphology.h"

#include <algorithm>
#include <cassert>
#include <charconv>
#include <limits>
#include <system_error>
#include <utility>
#include <vector>

#include "TextServices.h"
#include "Tokenizers.h"

namespace lexpand {

namespace {

// One token of a reverse list, without owning its text: plain text when
// `parameter` is 0 (`type` is then the character), otherwise an operator of
// type `type`. `numbered` writes a count of one as "<L1>" instead of "<L>";
// the editor records "<S>" and the forward word moves that way.
struct Step {
    std::string_view type;
    std::int64_t parameter = 0;
    bool numbered = false;
};

bool isOperatorOfType(const Step& step, std::string_view type) {
    return step.parameter != 0 && step.type == type;
}

// Appends the text of `step`: the plain text itself, or "<" type [count | "W"] ">".
void appendToken(std::string& out, const Step& step) {
    if (step.parameter == 1 && step.numbered) {
        out.append(1, '<').append(step.type).append("1>");
        return;
    }
    Morphology::appendOperatorText(out, step.type, step.parameter);
}

std::string tokenText(const Step& step) {
    std::string token;
    appendToken(token, step);
    return token;
}

// True when `a`, `b` are "<Rn>", "<Ln>" or "<Ln>", "<Rn>" with the same count:
// moving there and back leaves the cursor where it was.
bool cancelOut(const Step& a, const Step& b) {
    if (a.parameter == 0 || a.parameter == -1 || a.parameter != b.parameter) return false;
    return (isOperatorOfType(a, "R") && isOperatorOfType(b, "L")) ||
           (isOperatorOfType(a, "L") && isOperatorOfType(b, "R"));
}

// Simplifies a list of at least two steps in place: merges neighbouring
// operators of one type (a "W" absorbs any count), drops "<E>" operators,
// then cancels "<Rn><Ln>" and "<Ln><Rn>" pairs in one left-to-right pass.
// An emptied list becomes ["<E>"]. False only when a merged count overflows.
bool simplifySteps(std::vector<Step>& steps) {
    std::size_t kept = 0;
    const auto keep = [&](const Step& step) {
        if (isOperatorOfType(step, "E")) return;
        steps[kept++] = Step{step.type, step.parameter, false};
    };
    Step current = steps.front();
    for (std::size_t i = 1; i < steps.size(); ++i) {
        const Step next = steps[i];
        if (isOperatorOfType(next, "E")) continue;
        if (next.parameter != 0 && current.parameter != 0 && next.type == current.type) {
            if (next.parameter == -1 || current.parameter == -1) {
                current.parameter = -1;
            } else {
                constexpr std::int64_t max = std::numeric_limits<std::int64_t>::max();
                constexpr std::int64_t min = std::numeric_limits<std::int64_t>::min();
                if ((next.parameter > 0 && current.parameter > max - next.parameter) ||
                    (next.parameter < 0 && current.parameter < min - next.parameter))
                    return false;
                current.parameter += next.parameter;
            }
            continue;
        }
        keep(current); // writes at an index below i: `next` is already copied
        current = next;
    }
    keep(current);
    steps.resize(kept);

    std::size_t written = 0;
    for (std::size_t i = 0; i < steps.size(); ++i) {
        if (i + 1 < steps.size() && cancelOut(steps[i], steps[i + 1])) {
            ++i;
            continue;
        }
        steps[written++] = steps[i];
    }
    steps.resize(written);
    if (steps.empty()) steps.push_back(Step{"E", 1, false});
    return true;
}

// "W", or a decimal integer with an optional sign that fits in 64 bits.
std::optional<std::int64_t> parseParameter(std::string_view text) {
    if (text == "W") return -1;
    if (text.starts_with('+')) {
        text.remove_prefix(1);
        if (text.starts_with('-')) return std::nullopt; // from_chars would take "+-1"
    }
    std::int64_t value = 0;
    const char* const end = text.data() + text.size();
    const std::from_chars_result read = std::from_chars(text.data(), end, value);
    if (read.ec != std::errc() || read.ptr != end) return std::nullopt;
    return value;
}

// The first character of `text`, a view into it; empty when `text` is.
std::string_view firstCharacter(std::string_view text) {
    if (text.empty()) return text;
    std::size_t end = 0;
    decodeScalar(text, end);
    if (end == text.size()) return text;
    const auto first = static_cast<unsigned char>(text[0]);
    const auto second = static_cast<unsigned char>(text[1]);
    if (first < 0x80 && second < 0x80 && !(first == '\r' && second == '\n')) return text.substr(0, 1);
    return graphemeClusterViews(text).front();
}

constexpr std::string_view kUpperAscii = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
constexpr std::string_view kLowerAscii = "abcdefghijklmnopqrstuvwxyz";

// The characters of a word form being edited, as views, with a gap at the
// place of the last insertion or deletion: an edit costs the distance from
// the previous one (plus the copy when the gap is full, amortised), so n
// characters typed one after the other anywhere in a word of length m cost
// O(m + n), not O(m n).
class CharacterBuffer {
public:
    // The characters of `characters`, with room for `room` more at the end.
    CharacterBuffer(std::vector<std::string_view> characters, std::size_t room) : buffer_(std::move(characters)) {
        gapBegin_ = buffer_.size();
        buffer_.resize(buffer_.size() + room);
        gapEnd_ = buffer_.size();
    }

    std::size_t size() const { return buffer_.size() - (gapEnd_ - gapBegin_); }
    std::string_view operator[](std::size_t index) const { return buffer_[physical(index)]; }
    std::string_view& operator[](std::size_t index) { return buffer_[physical(index)]; }

    void insert(std::size_t position, std::string_view character) {
        moveGapTo(position);
        if (gapBegin_ == gapEnd_) grow();
        buffer_[gapBegin_++] = character;
    }

    // Removes the characters at positions [from, to).
    void erase(std::size_t from, std::size_t to) {
        moveGapTo(to);
        gapBegin_ = from;
    }

    void clear() {
        gapBegin_ = 0;
        gapEnd_ = buffer_.size();
    }

    // Calls visit(character) for each character, in order.
    template <typename Visit> void forEach(Visit&& visit) const {
        for (std::size_t i = 0; i < gapBegin_; ++i) visit(buffer_[i]);
        for (std::size_t i = gapEnd_; i < buffer_.size(); ++i) visit(buffer_[i]);
    }

private:
    std::size_t physical(std::size_t index) const { return index < gapBegin_ ? index : index + (gapEnd_ - gapBegin_); }

    void moveGapTo(std::size_t position) {
        const auto begin = buffer_.begin();
        if (position < gapBegin_) {
            const std::size_t count = gapBegin_ - position;
            std::move_backward(begin + static_cast<std::ptrdiff_t>(position),
                               begin + static_cast<std::ptrdiff_t>(gapBegin_),
                               begin + static_cast<std::ptrdiff_t>(gapEnd_));
            gapBegin_ -= count;
            gapEnd_ -= count;
        } else if (position > gapBegin_) {
            const std::size_t count = position - gapBegin_;
            std::move(begin + static_cast<std::ptrdiff_t>(gapEnd_),
                      begin + static_cast<std::ptrdiff_t>(gapEnd_ + count),
                      begin + static_cast<std::ptrdiff_t>(gapBegin_));
            gapBegin_ += count;
            gapEnd_ += count;
        }
    }

    // Doubles the room, keeping the gap where it is.
    void grow() {
        const std::size_t room = std::max<std::size_t>(16, size());
        const std::size_t after = buffer_.size() - gapEnd_;
        buffer_.resize(buffer_.size() + room);
        std::move_backward(buffer_.end() - static_cast<std::ptrdiff_t>(room + after),
                           buffer_.end() - static_cast<std::ptrdiff_t>(room), buffer_.end());
        gapEnd_ += room;
    }

    std::vector<std::string_view> buffer_;
    std::size_t gapBegin_ = 0;
    std::size_t gapEnd_ = 0;
};

// Applies one command to one word form. The word form is a list of views of
// its characters: into the word form itself, into the command's tokens (typed
// characters), into constant tables or into `switched_` (case switches). The
// reverse list is kept last token first, so that each step only appends.
class WordFormEditor {
public:
    WordFormEditor(std::string_view wordForm, std::size_t commandSize, std::size_t caseSwitches)
        : characters_(charactersOf(wordForm, commandSize), std::min(commandSize, initialRoom)) {
        cursor_ = characters_.size();
        // Never grows past this: the views into it stay valid.
        switched_.reserve(caseSwitches);
        undo_.reserve(characters_.size() + commandSize + 1);
    }

    bool apply(const Morphology::Operator& op) {
        if (op.parameter == 0) return type(op.type);
        if (op.type.size() != 1) return false;
        const std::int64_t n = op.parameter;
        switch (op.type[0]) {
        case 'B':
            return n == -1 ? deleteAllBefore() : deleteBefore(n);
        case 'C':
            return n == 1 && switchCaseAtCursor();
        case 'D':
            return n == 1 && duplicate();
        case 'E':
            if (n != 1) return false;
            undo_.push_back(Step{"E", 1});
            return true;
        case 'L':
            return n == -1 ? moveToStart() : moveLeft(n);
        case 'R':
            return n == -1 ? moveToEnd() : moveRight(n);
        case 'S':
            return deleteAfter(n);
        case 'N':
            return n == -1 ? wordsToEnd() : wordsForward(n);
        case 'P':
            return n == -1 ? toEndOfFirstWord() : wordsBack(n);
        default:
            return false;
        }
    }

    // The result once every operator is applied; absent when the reverse list
    // must be simplified but holds a removed "<", which does not parse.
    std::optional<Morphology::EditResult> finish() {
        addPositioning();
        std::reverse(undo_.begin(), undo_.end());
        if (undo_.empty()) {
            undo_.push_back(Step{"E", 1});
        } else if (undo_.size() >= 2) {
            for (const Step& step : undo_)
                if (step.parameter == 0 && step.type == "<") return std::nullopt;
            if (!simplifySteps(undo_)) return std::nullopt;
        }

        Morphology::EditResult result;
        std::size_t size = 0;
        characters_.forEach([&](std::string_view character) { size += character.size(); });
        result.resultingWordForm.reserve(size);
        characters_.forEach([&](std::string_view character) { result.resultingWordForm += character; });
        result.reverseTokens.reserve(undo_.size());
        for (const Step& step : undo_) {
            result.reverseTokens.push_back(tokenText(step));
            result.reverseCommand += result.reverseTokens.back();
        }
        return result;
    }

private:
    std::size_t length() const { return characters_.size(); }
    bool isLetterAt(std::size_t index) const { return isLetterCharacter(characters_[index]); }
    // n ≤ limit, for a count n ≥ 1.
    static bool within(std::int64_t n, std::size_t limit) { return n >= 1 && static_cast<std::uint64_t>(n) <= limit; }
    void recordCharacter(std::string_view character) { undo_.push_back(Step{character, 0}); }
    // Room for what a command types, as a rule; a longer one grows it.
    static constexpr std::size_t initialRoom = 64;

    // The characters of `wordForm`, with room for `room` more.
    static std::vector<std::string_view> charactersOf(std::string_view wordForm, std::size_t room) {
        if (!isAscii(wordForm) || wordForm.find('\r') != std::string_view::npos) return graphemeClusterViews(wordForm);
        // One character per byte.
        std::vector<std::string_view> characters;
        characters.reserve(wordForm.size() + room);
        for (std::size_t i = 0; i < wordForm.size(); ++i) characters.push_back(wordForm.substr(i, 1));
        return characters;
    }

    bool type(std::string_view text) {
        const std::string_view character = firstCharacter(text);
        if (character.empty()) return false;
        characters_.insert(cursor_, character);
        ++cursor_;
        undo_.push_back(Step{"B", 1});
        return true;
    }

    bool deleteBefore(std::int64_t n) {
        if (!within(n, cursor_)) return false;
        const std::size_t from = cursor_ - static_cast<std::size_t>(n);
        for (std::size_t i = cursor_; i-- > from;) recordCharacter(characters_[i]);
        characters_.erase(from, cursor_);
        cursor_ = from;
        return true;
    }

    // Only the characters before the cursor are recorded: those after it are
    // lost, which is why this step cannot always be undone.
    bool deleteAllBefore() {
        for (std::size_t i = cursor_; i-- > 0;) recordCharacter(characters_[i]);
        characters_.clear();
        cursor_ = 0;
        return true;
    }

    bool deleteAfter(std::int64_t n) {
        if (!within(n, length() - cursor_)) return false;
        const std::size_t to = cursor_ + static_cast<std::size_t>(n);
        undo_.push_back(Step{"L", n, true});
        for (std::size_t i = to; i-- > cursor_;) recordCharacter(characters_[i]);
        characters_.erase(cursor_, to);
        return true;
    }

    bool switchCaseAtCursor() {
        if (cursor_ >= length()) return false;
        std::string_view& character = characters_[cursor_];
        if (character.size() == 1) {
            const char byte = character[0];
            if (byte >= 'a' && byte <= 'z')
                character = kUpperAscii.substr(static_cast<std::size_t>(byte - 'a'), 1);
            else if (byte >= 'A' && byte <= 'Z')
                character = kLowerAscii.substr(static_cast<std::size_t>(byte - 'A'), 1);
        } else {
            std::string mapped = switchCase(character);
            if (mapped != character) {
                switched_.push_back(std::move(mapped));
                character = switched_.back();
            }
        }
        undo_.push_back(Step{"C", 1});
        return true;
    }

    // At the start there is nothing to duplicate, yet "<B>" is recorded all
    // the same: that step cannot be undone.
    bool duplicate() {
        if (cursor_ >= 1) {
            characters_.insert(cursor_, characters_[cursor_ - 1]);
            ++cursor_;
        }
        undo_.push_back(Step{"B", 1});
        return true;
    }

    bool moveLeft(std::int64_t n) {
        if (!within(n, cursor_)) return false;
        cursor_ -= static_cast<std::size_t>(n);
        undo_.push_back(Step{"R", n});
        return true;
    }

    bool moveToStart() {
        undo_.push_back(Step{"R", cursor_ < 2 ? 1 : static_cast<std::int64_t>(cursor_)});
        cursor_ = 0;
        return true;
    }

    bool moveRight(std::int64_t n) {
        if (!within(n, length() - cursor_)) return false;
        cursor_ += static_cast<std::size_t>(n);
        undo_.push_back(Step{"L", n});
        return true;
    }

    bool moveToEnd() {
        const std::size_t distance = length() - cursor_;
        undo_.push_back(Step{"L", distance < 2 ? 1 : static_cast<std::int64_t>(distance)});
        cursor_ = length();
        return true;
    }

    // Past n words, each with the one character that ends it. From the end of
    // the word form the scan starts on the last character, and the distance
    // recorded counts from there.
    bool wordsForward(std::int64_t n) {
        if (n < 1 || length() == 0) return false;
        const std::size_t start = cursor_ == length() ? cursor_ - 1 : cursor_;
        std::size_t position = start;
        for (std::int64_t word = 0; word < n && position < length(); ++word) {
            std::size_t letter = position;
            while (letter < length() && !isLetterAt(letter)) ++letter;
            std::size_t ending = letter < length() ? letter + 1 : length();
            while (ending < length() && isLetterAt(ending)) ++ending;
            position = ending < length() ? ending + 1 : length();
        }
        undo_.push_back(Step{"L", static_cast<std::int64_t>(position - start), true});
        cursor_ = position;
        return true;
    }

    bool wordsToEnd() {
        const std::size_t distance = length() - cursor_;
        if (distance > 0) undo_.push_back(Step{"L", static_cast<std::int64_t>(distance), true});
        cursor_ = length();
        return true;
    }

    // Back to just after the last letter of the n-th previous word. The scan
    // never examines the first character: reaching it fails. Records nothing.
    bool wordsBack(std::int64_t n) {
        if (n < 1 || cursor_ < 2) return false;
        std::size_t position = cursor_ - 1;
        for (std::int64_t word = 0; word < n; ++word) {
            if (isLetterAt(position)) {
                do {
                    if (position <= 1) return false;
                    --position;
                } while (isLetterAt(position));
            }
            while (!isLetterAt(position)) {
                if (position <= 1) return false;
                --position;
            }
        }
        cursor_ = position + 1;
        return true;
    }

    bool toEndOfFirstWord() {
        std::size_t position = 0;
        while (position < length() && !isLetterAt(position)) ++position;
        if (position == length()) return false;
        while (position < length() && isLetterAt(position)) ++position;
        cursor_ = position;
        return true;
    }

    // The token that brings the reverse command's cursor, which starts at the
    // end, back to this cursor: over the characters with "<Lt>" when they are
    // all letters, else to the end of a previous word once per non-letter.
    void addPositioning() {
        if (cursor_ == length()) return;
        std::int64_t nonLetters = 0;
        for (std::size_t i = cursor_; i < length(); ++i)
            if (!isLetterAt(i)) ++nonLetters;
        if (nonLetters > 0)
            undo_.push_back(Step{"P", nonLetters});
        else
            undo_.push_back(Step{"L", static_cast<std::int64_t>(length() - cursor_)});
    }

    CharacterBuffer characters_;
    std::size_t cursor_ = 0;
    std::vector<Step> undo_;
    std::vector<std::string> switched_;
};

} // namespace

std::optional<Morphology::Operator> Morphology::parseMorphologicalOperator(std::string_view token) {
    if (token.empty()) return std::nullopt;
    if (token[0] != '<') return Operator{std::string(token), 0};

    std::string_view type;
    std::string_view afterType; // from the third character to the end
    bool closedAfterType = false;
    if (isAscii(token) && token.find('\r') == std::string_view::npos) {
        // One character per byte.
        if (token.size() < 3 || token.back() != '>') return std::nullopt;
        type = token.substr(1, 1);
        afterType = token.substr(2);
        closedAfterType = token[2] == '>';
    } else {
        const std::vector<std::string_view> characters = graphemeClusterViews(token);
        if (characters.front() != "<") return Operator{std::string(token), 0};
        if (characters.size() < 3 || characters.back() != ">") return std::nullopt;
        type = characters[1];
        afterType = token.substr(static_cast<std::size_t>(characters[2].data() - token.data()));
        closedAfterType = characters[2] == ">";
    }
    if (closedAfterType) return Operator{std::string(type), 1};
    afterType.remove_suffix(1);
    const std::optional<std::int64_t> parameter = parseParameter(afterType);
    if (!parameter) return std::nullopt;
    return Operator{std::string(type), *parameter};
}

void Morphology::appendOperatorText(std::string& out, std::string_view type, std::int64_t parameter) {
    if (parameter == 0) {
        out += type;
        return;
    }
    out += '<';
    out += type;
    if (parameter == -1) {
        out += 'W';
    } else if (parameter >= 2 && parameter <= 9) {
        out += static_cast<char>('0' + parameter);
    } else if (parameter != 1) {
        char digits[24];
        const std::to_chars_result written = std::to_chars(digits, digits + sizeof digits, parameter);
        out.append(digits, written.ptr);
    }
    out += '>';
}

void Morphology::appendCommand(std::vector<std::string>& commands, std::string_view op, std::int64_t parameter) {
    const Step step{op, parameter};
    if (isOperatorOfType(step, "E")) return;
    commands.push_back(tokenText(step));
}

std::optional<std::vector<std::string>> Morphology::simplifySuffixCommand(const std::vector<std::string>& commands) {
    if (commands.size() < 2) return commands;
    std::vector<Operator> operators;
    operators.reserve(commands.size());
    for (const std::string& command : commands) {
        std::optional<Operator> parsed = parseMorphologicalOperator(command);
        if (!parsed) return std::nullopt;
        operators.push_back(std::move(*parsed));
    }
    std::vector<Step> steps;
    steps.reserve(operators.size());
    for (const Operator& op : operators) steps.push_back(Step{op.type, op.parameter});
    if (!simplifySteps(steps)) return std::nullopt;
    std::vector<std::string> simplified;
    simplified.reserve(steps.size());
    for (const Step& step : steps) simplified.push_back(tokenText(step));
    return simplified;
}

namespace {

// The command of a text whose tokens are single plain ASCII bytes (none is
// "<", which opens a long token): each types its character. Each operator's
// text is made in place, as one byte, without a token string to copy.
std::vector<Morphology::Operator> typedBytes(std::string_view bytes) {
    std::vector<Morphology::Operator> command(bytes.size());
    for (std::size_t i = 0; i < bytes.size(); ++i) command[i].type.assign(1, bytes[i]);
    return command;
}

// For the Debug build's check of the lane above against the general path.
[[maybe_unused]] bool sameCommand(const std::optional<std::vector<Morphology::Operator>>& general,
                                  const std::vector<Morphology::Operator>& lane) {
    return general && std::equal(general->begin(), general->end(), lane.begin(), lane.end(),
                                 [](const Morphology::Operator& a, const Morphology::Operator& b) {
                                     return a.type == b.type && a.parameter == b.parameter;
                                 });
}

// The command parsed from the general tokenizer's tokens.
std::optional<std::vector<Morphology::Operator>> parsedTokens(std::string_view morphologicalCommand) {
    const std::optional<TokenList> tokens = Tokenizer::textualOrthographicGrammar(morphologicalCommand);
    if (!tokens) return std::nullopt;
    std::vector<Morphology::Operator> command;
    command.reserve(tokens->size());
    for (const std::string& token : *tokens) {
        std::optional<Morphology::Operator> op = Morphology::parseMorphologicalOperator(token);
        if (!op) return std::nullopt;
        command.push_back(std::move(*op));
    }
    return command;
}

} // namespace

std::optional<std::vector<Morphology::Operator>> Morphology::parseCommand(std::string_view morphologicalCommand) {
    if (const std::optional<std::string> bytes = Tokenizer::plainAsciiTokenBytes(morphologicalCommand)) {
        std::vector<Operator> command = typedBytes(*bytes);
        assert(sameCommand(parsedTokens(morphologicalCommand), command));
        return command;
    }
    if (!isValidUtf8(morphologicalCommand)) return std::nullopt;
    return parsedTokens(morphologicalCommand);
}

std::optional<Morphology::EditResult> Morphology::applyParsedCommand(std::string_view wordForm,
                                                                     const std::vector<Operator>& command) {
    const auto caseSwitches = static_cast<std::size_t>(std::count_if(
        command.begin(), command.end(), [](const Operator& op) { return op.parameter != 0 && op.type == "C"; }));
    WordFormEditor editor(wordForm, command.size(), caseSwitches);
    for (const Operator& op : command)
        if (!editor.apply(op)) return std::nullopt;
    return editor.finish();
}

std::optional<Morphology::EditResult> Morphology::applySuffixCommandToWordForm(std::string_view wordForm,
                                                                               std::string_view morphologicalCommand) {
    const std::optional<std::vector<Operator>> command = parseCommand(morphologicalCommand);
    if (!command || !isValidUtf8(wordForm)) return std::nullopt;
    return applyParsedCommand(wordForm, *command);
}

} // namespace lexpand
