// Tokenizer: the syntactic, orthographic and properties-definitions tokenizers.

#include "Tokenizers.h"

#include <cassert>

#include "TextServices.h"

namespace lexpand {

namespace {

// The nine characters that a backslash may protect.
bool isSpecial(char32_t scalar) {
    switch (scalar) {
    case U'"':
    case U'$':
    case U'(':
    case U')':
    case U'*':
    case U'/':
    case U'<':
    case U'\\':
    case U'|':
        return true;
    default:
        return false;
    }
}

// Appends each character (grapheme cluster) of `token` to `tokens` as a token
// of its own. An ASCII token without CR is one character per byte.
void appendCharacters(TokenList& tokens, std::string_view token) {
    if (isAscii(token) && token.find('\r') == std::string_view::npos) {
        for (const char byte : token) tokens.emplace_back(1, byte);
        return;
    }
    for (const std::string_view character : graphemeClusterViews(token)) tokens.emplace_back(character);
}

// The state of one run of the syntactic tokenizer: the token being built, the
// list built so far and the mode. A quoted string remembers the mode it was
// opened in (plain, bracket or output) and goes back to it when it closes; an
// escape remembers whether it was read inside a quoted string.
class SyntacticTokenizer {
public:
    // The tokens of `text`, or absent when a backslash protects a character
    // that is not special (its offset then goes to `failedAt`, unless null).
    // Malformed UTF-8 bytes pass through as characters that are neither
    // letters nor white space.
    std::optional<TokenList> run(std::string_view text, std::size_t* failedAt = nullptr) {
        std::size_t position = 0;
        while (position < text.size()) {
            const std::size_t begin = position;
            const char32_t scalar = decodeScalar(text, position);
            if (!step(scalar, text.substr(begin, position - begin))) {
                if (failedAt != nullptr) *failedAt = begin;
                return std::nullopt;
            }
        }
        flush();
        return std::move(tokens_);
    }

private:
    enum class Mode { plain, quoted, bracket, output, colon, variable, escape };

    void flush() {
        if (!current_.empty()) tokens_.push_back(std::move(current_));
        current_.clear();
    }

    void emit(std::string_view bytes) { tokens_.emplace_back(bytes); }

    // Starts a new token with `bytes` in `mode`, after flushing the current one.
    void start(std::string_view bytes, Mode mode) {
        flush();
        current_.assign(bytes);
        mode_ = mode;
    }

    // Reads one scalar, whose UTF-8 bytes are `bytes`; false on a bad escape.
    bool step(char32_t scalar, std::string_view bytes) {
        switch (mode_) {
        case Mode::escape:
            if (!isSpecial(scalar)) return false;
            current_ += bytes;
            mode_ = escapeInQuote_ ? Mode::quoted : Mode::plain;
            return true;
        case Mode::quoted:
            if (scalar == U'\\') {
                escapeInQuote_ = true;
                mode_ = Mode::escape;
                return true;
            }
            current_ += bytes;
            if (scalar == U'"') {
                mode_ = quoteOpenedIn_;
                if (mode_ == Mode::plain) flush();
            }
            return true;
        case Mode::output:
            if (isWhiteSpaceOrNewline(scalar)) {
                flush();
                mode_ = Mode::plain;
            } else if (scalar == U'(' || scalar == U')' || scalar == U'|') {
                flush();
                emit(bytes);
                mode_ = Mode::plain;
            } else {
                current_ += bytes;
                if (scalar == U'"') openQuote(Mode::output);
            }
            return true;
        case Mode::variable:
            if (isWhiteSpaceOrNewline(scalar)) {
                if (current_.starts_with("$(") || current_.starts_with("$)")) {
                    flush();
                } else {
                    appendCharacters(tokens_, current_);
                    current_.clear();
                }
                mode_ = Mode::plain;
            } else if (scalar == U'/') {
                start(bytes, Mode::output);
            } else {
                current_ += bytes;
            }
            return true;
        case Mode::bracket:
            current_ += bytes;
            if (scalar == U'"') {
                openQuote(Mode::bracket);
            } else if (scalar == U'>') {
                flush();
                mode_ = Mode::plain;
            }
            return true;
        case Mode::colon:
            if (isWhiteSpaceOrNewline(scalar)) {
                flush();
                mode_ = Mode::plain;
            } else if (scalar == U'/') {
                start(bytes, Mode::output);
            } else if (scalar == U'<') {
                start(bytes, Mode::bracket);
            } else if (scalar == U'|' || scalar == U'(' || scalar == U')' || scalar == U'*') {
                flush();
                emit(bytes);
                mode_ = Mode::plain;
            } else {
                current_ += bytes;
            }
            return true;
        case Mode::plain:
            stepPlain(scalar, bytes);
            return true;
        }
        return true;
    }

    void stepPlain(char32_t scalar, std::string_view bytes) {
        if (Tokenizer::opensLongToken(scalar)) {
            startLongToken(scalar, bytes);
        } else if (isWhiteSpaceOrNewline(scalar)) {
            flush();
        } else if (isLetter(scalar)) {
            current_ += bytes;
        } else {
            flush();
            emit(bytes);
        }
    }

    // Starts the token that `scalar`, one of those of opensLongToken, opens.
    void startLongToken(char32_t scalar, std::string_view bytes) {
        switch (scalar) {
        case U'"':
            start(bytes, Mode::quoted);
            quoteOpenedIn_ = Mode::plain;
            return;
        case U'$':
            start(bytes, Mode::variable);
            return;
        case U'/':
            start(bytes, Mode::output);
            return;
        case U':':
            start(bytes, Mode::colon);
            return;
        case U'<':
            start(bytes, Mode::bracket);
            return;
        default: // the backslash
            start(bytes, Mode::escape);
            escapeInQuote_ = false;
            return;
        }
    }

    // The `"` just appended opens a quoted string inside the current token.
    void openQuote(Mode enclosing) {
        quoteOpenedIn_ = enclosing;
        mode_ = Mode::quoted;
    }

    std::string current_;
    TokenList tokens_;
    Mode mode_ = Mode::plain;
    Mode quoteOpenedIn_ = Mode::plain;
    bool escapeInQuote_ = false;
};

} // namespace

bool Tokenizer::opensLongToken(char32_t scalar) {
    switch (scalar) {
    case U'"':
    case U'$':
    case U'/':
    case U':':
    case U'<':
    case U'\\':
        return true;
    default:
        return false;
    }
}

std::optional<TokenList> Tokenizer::textualSyntacticGrammar(std::string_view text) {
    return SyntacticTokenizer().run(text);
}

std::optional<std::size_t> Tokenizer::badEscapeOffset(std::string_view text) {
    std::size_t offset = 0;
    if (SyntacticTokenizer().run(text, &offset)) return std::nullopt;
    return offset;
}

namespace {

// The tokens of plainAsciiTokenBytes, one string each; the Debug build checks
// this lane against the general path on every use.
std::optional<TokenList> plainAsciiTokens(std::string_view text) {
    const std::optional<std::string> bytes = Tokenizer::plainAsciiTokenBytes(text);
    if (!bytes) return std::nullopt;
    TokenList tokens;
    tokens.reserve(bytes->size());
    for (const char byte : *bytes) tokens.emplace_back(1, byte);
    return tokens;
}

// The orthographic tokens of `text` by the general path.
std::optional<TokenList> orthographicTokens(std::string_view text) {
    std::optional<TokenList> syntactic = Tokenizer::textualSyntacticGrammar(text);
    if (!syntactic) return std::nullopt;
    TokenList tokens;
    // No token is empty: there are at most as many tokens as bytes.
    tokens.reserve(text.size());
    for (std::string& token : *syntactic) {
        if (isLetter(firstScalar(token)) && token.size() > 1) {
            appendCharacters(tokens, token);
        } else {
            tokens.push_back(std::move(token));
        }
    }
    return tokens;
}

} // namespace

std::optional<std::string> Tokenizer::plainAsciiTokenBytes(std::string_view text) {
    for (const char byte : text)
        if (static_cast<unsigned char>(byte) >= 0x80 || opensLongToken(static_cast<unsigned char>(byte)))
            return std::nullopt;
    std::string bytes;
    bytes.reserve(text.size());
    for (const char byte : text)
        if (!isWhiteSpaceOrNewline(static_cast<unsigned char>(byte))) bytes += byte;
    return bytes;
}

std::optional<TokenList> Tokenizer::textualOrthographicGrammar(std::string_view text) {
    if (std::optional<TokenList> tokens = plainAsciiTokens(text)) {
        assert(tokens == orthographicTokens(text));
        return tokens;
    }
    return orthographicTokens(text);
}

TokenList Tokenizer::textualPropertiesDefinitionsGrammar(std::string_view text) {
    TokenList tokens;
    std::string current;
    bool colon = false;
    const auto flush = [&] {
        if (!current.empty()) tokens.push_back(std::move(current));
        current.clear();
    };
    std::size_t position = 0;
    while (position < text.size()) {
        const std::size_t begin = position;
        const char32_t scalar = decodeScalar(text, position);
        const std::string_view bytes = text.substr(begin, position - begin);
        if (isWhiteSpaceOrNewline(scalar)) {
            flush();
            colon = false;
        } else if (scalar == U'(' || scalar == U')' || scalar == U'|') {
            flush();
            tokens.emplace_back(bytes);
            colon = false;
        } else if (scalar == U':' && !colon) {
            flush();
            current.assign(bytes);
            colon = true;
        } else {
            current += bytes;
        }
    }
    flush();
    return tokens;
}

} // namespace lexpand
