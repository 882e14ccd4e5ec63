// Text services on ICU: decoding, grapheme clusters, character classes,
// lines and trimming, canonical equivalence, case switching, file reading.

#include "TextServices.h"

#include <unicode/brkiter.h>
#include <unicode/bytestream.h>
#include <unicode/localpointer.h>
#include <unicode/locid.h>
#include <unicode/normalizer2.h>
#include <unicode/ubrk.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utext.h>

#include <sys/stat.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>

namespace lexpand {

namespace {

constexpr char32_t replacementCharacter = 0xFFFD;

bool isContinuationByte(unsigned char byte) {
    return (byte & 0xC0) == 0x80;
}

// The byte of `text` at `i`, unsigned.
inline unsigned char byteAt(std::string_view text, std::size_t i) {
    return static_cast<unsigned char>(text[i]);
}

// 3 when the three bytes at `position` (at least three left), led by `lead`
// (E0..EF), are a scalar: neither overlong nor a surrogate; else 0.
inline std::size_t threeByteLength(std::string_view text, std::size_t position, unsigned char lead) {
    const unsigned char second = byteAt(text, position + 1);
    if (!isContinuationByte(second) || !isContinuationByte(byteAt(text, position + 2))) return 0;
    if (lead == 0xE0 && second < 0xA0) return 0;  // overlong
    if (lead == 0xED && second >= 0xA0) return 0; // surrogate
    return 3;
}

// 4 when the four bytes at `position` (at least four left), led by `lead`
// (F0..F4), are a scalar: neither overlong nor above U+10FFFF; else 0.
inline std::size_t fourByteLength(std::string_view text, std::size_t position, unsigned char lead) {
    const unsigned char second = byteAt(text, position + 1);
    if (!isContinuationByte(second) || !isContinuationByte(byteAt(text, position + 2)) ||
        !isContinuationByte(byteAt(text, position + 3)))
        return 0;
    if (lead == 0xF0 && second < 0x90) return 0;  // overlong
    if (lead == 0xF4 && second >= 0x90) return 0; // above U+10FFFF
    return 4;
}

// Length of the well-formed sequence starting at `position`, or 0 when the
// bytes there are not well-formed UTF-8.
std::size_t wellFormedLength(std::string_view text, std::size_t position) {
    const unsigned char lead = byteAt(text, position);
    const std::size_t available = text.size() - position;
    if (lead < 0x80) return 1;
    if (lead < 0xC2) return 0;
    if (lead < 0xE0) return available >= 2 && isContinuationByte(byteAt(text, position + 1)) ? 2 : 0;
    // Blocks rather than conditional expressions: GCC then lays the
    // three-byte case (CJK text) out without a taken jump, one jump less per
    // scalar.
    if (lead < 0xF0) {
        if (available < 3) return 0;
        return threeByteLength(text, position, lead);
    }
    if (lead < 0xF5) {
        if (available < 4) return 0;
        return fourByteLength(text, position, lead);
    }
    return 0;
}

// True when every scalar of `text` is its own grapheme cluster, except that
// CR LF is one: every scalar has the break property Other, Control, CR or LF.
// Every rule that keeps two scalars together needs a scalar with another
// property (Extend, ZWJ, SpacingMark, Prepend, Hangul syllable parts,
// Regional_Indicator), except CR × LF.
bool hasOnlySimpleClusters(std::string_view text) {
    std::size_t position = 0;
    while (position < text.size()) {
        const unsigned char lead = static_cast<unsigned char>(text[position]);
        if (lead < 0x80) {
            ++position;
            continue;
        }
        const char32_t scalar = decodeScalar(text, position);
        switch (u_getIntPropertyValue(static_cast<UChar32>(scalar), UCHAR_GRAPHEME_CLUSTER_BREAK)) {
        case U_GCB_OTHER:
        case U_GCB_CONTROL:
        case U_GCB_CR:
        case U_GCB_LF:
            break;
        default:
            return false;
        }
    }
    return true;
}

// The character break iterator of this thread. Creating one is costly and
// using one changes it, so each thread keeps its own; null when ICU cannot
// make one.
icu::BreakIterator* characterBreakIterator() {
    thread_local const std::unique_ptr<icu::BreakIterator> iterator = [] {
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<icu::BreakIterator> made(
            icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
        return U_SUCCESS(status) ? std::move(made) : nullptr;
    }();
    return iterator.get();
}

// Calls `visit(begin, end)` for each cluster of `text`, in order.
template <typename Visitor> void forEachCluster(std::string_view text, Visitor&& visit) {
    if (text.empty()) return;
    if (hasOnlySimpleClusters(text)) {
        // One cluster per scalar (a malformed byte is a scalar of its own here),
        // CR LF kept together.
        std::size_t position = 0;
        while (position < text.size()) {
            const std::size_t begin = position;
            const char32_t scalar = decodeScalar(text, position);
            if (scalar == U'\r' && position < text.size() && text[position] == '\n') ++position;
            visit(begin, position);
        }
        return;
    }
    icu::BreakIterator* iterator = characterBreakIterator();
    UErrorCode status = U_ZERO_ERROR;
    icu::LocalUTextPointer utext(utext_openUTF8(nullptr, text.data(), static_cast<int64_t>(text.size()), &status));
    if (iterator != nullptr && U_SUCCESS(status)) iterator->setText(utext.getAlias(), status);
    if (iterator == nullptr || U_FAILURE(status)) {
        visit(0, text.size());
        return;
    }
    std::int32_t begin = iterator->first();
    for (std::int32_t end = iterator->next(); end != icu::BreakIterator::DONE; end = iterator->next()) {
        visit(static_cast<std::size_t>(begin), static_cast<std::size_t>(end));
        begin = end;
    }
    // The iterator must not keep a pointer to the text, which goes now.
    iterator->setText(icu::UnicodeString());
}

const icu::Normalizer2* nfcNormalizer() {
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* normalizer = icu::Normalizer2::getNFCInstance(status);
    return U_SUCCESS(status) ? normalizer : nullptr;
}

std::string toUtf8(const icu::UnicodeString& text) {
    std::string result;
    text.toUTF8String(result);
    return result;
}

} // namespace

// ---- Decoding -------------------------------------------------------------

namespace {

// True when the eight bytes at `bytes` are four well-formed two-byte
// sequences: each lead byte 110xxxxx other than C0 and C1 (which would only
// encode ASCII), each second byte 10xxxxxx. Read as one little-endian word,
// each 16-bit lane holds a lead in its low byte. False on a big-endian host.
bool areFourTwoByteSequences(const char* bytes) {
    if constexpr (std::endian::native != std::endian::little) return false;
    std::uint64_t word;
    std::memcpy(&word, bytes, sizeof word);
    if ((word & 0xC0E0C0E0C0E0C0E0u) != 0x80C080C080C080C0u) return false;
    // Bit 15 of a lane is set once 0x7FFF is added exactly when the lead's
    // bits 1 to 4 are not all zero; no lane carries into the next.
    const std::uint64_t leadBits = word & 0x001E001E001E001Eu;
    constexpr std::uint64_t laneTops = 0x8000800080008000u;
    return ((leadBits + 0x7FFF7FFF7FFF7FFFu) & laneTops) == laneTops;
}

// The length of the longest prefix of `text` made of whole well-formed
// sequences: text.size() when `text` is well-formed UTF-8.
std::size_t wellFormedPrefix(std::string_view text) {
    std::size_t position = 0;
    while (position < text.size()) {
        // Eight ASCII bytes at a time.
        while (position + 8 <= text.size()) {
            std::uint64_t word;
            std::memcpy(&word, text.data() + position, sizeof word);
            if ((word & 0x8080808080808080u) != 0) break;
            position += 8;
        }
        if (position >= text.size()) break;
        const auto lead = static_cast<unsigned char>(text[position]);
        if (lead < 0x80) {
            ++position;
            continue;
        }
        // Two-byte sequences (Latin, Greek, Cyrillic ...) without a call, and
        // the run of them that a word of such a script makes, four at a time.
        if (lead >= 0xC2 && lead < 0xE0 && position + 1 < text.size() &&
            isContinuationByte(static_cast<unsigned char>(text[position + 1]))) {
            position += 2;
            while (position + 8 <= text.size() && areFourTwoByteSequences(text.data() + position)) position += 8;
            continue;
        }
        const std::size_t length = wellFormedLength(text, position);
        if (length == 0) return position;
        position += length;
    }
    return text.size();
}

} // namespace

bool isValidUtf8(std::string_view text) {
    return wellFormedPrefix(text) == text.size();
}

bool isAscii(std::string_view text) {
    for (const char byte : text)
        if (static_cast<unsigned char>(byte) >= 0x80) return false;
    return true;
}

char32_t decodeScalar(std::string_view text, std::size_t& position) {
    const unsigned char lead = static_cast<unsigned char>(text[position]);
    if (lead < 0x80) {
        ++position;
        return lead;
    }
    const std::size_t length = wellFormedLength(text, position);
    if (length == 0) {
        ++position;
        return replacementCharacter;
    }
    char32_t scalar = length == 2 ? (lead & 0x1F) : length == 3 ? (lead & 0x0F) : (lead & 0x07);
    for (std::size_t i = 1; i < length; ++i)
        scalar = (scalar << 6) | (static_cast<unsigned char>(text[position + i]) & 0x3F);
    position += length;
    return scalar;
}

char32_t firstScalar(std::string_view text) {
    if (text.empty()) return 0;
    std::size_t position = 0;
    return decodeScalar(text, position);
}

void appendScalar(std::string& out, char32_t scalar) {
    if (scalar < 0x80) {
        out += static_cast<char>(scalar);
    } else if (scalar < 0x800) {
        out += static_cast<char>(0xC0 | (scalar >> 6));
        out += static_cast<char>(0x80 | (scalar & 0x3F));
    } else if (scalar < 0x10000) {
        out += static_cast<char>(0xE0 | (scalar >> 12));
        out += static_cast<char>(0x80 | ((scalar >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (scalar & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (scalar >> 18));
        out += static_cast<char>(0x80 | ((scalar >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((scalar >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (scalar & 0x3F));
    }
}

// ---- Characters -----------------------------------------------------------

std::vector<std::string> graphemeClusters(std::string_view text) {
    std::vector<std::string> clusters;
    forEachCluster(text,
                   [&](std::size_t begin, std::size_t end) { clusters.emplace_back(text.substr(begin, end - begin)); });
    return clusters;
}

std::vector<std::string_view> graphemeClusterViews(std::string_view text) {
    std::vector<std::string_view> clusters;
    forEachCluster(text,
                   [&](std::size_t begin, std::size_t end) { clusters.push_back(text.substr(begin, end - begin)); });
    return clusters;
}

bool isOneCharacterPerScalar(std::string_view text) {
    return text.find('\r') == std::string_view::npos && hasOnlySimpleClusters(text);
}

std::size_t graphemeCount(std::string_view text) {
    std::size_t count = 0;
    forEachCluster(text, [&](std::size_t, std::size_t) { ++count; });
    return count;
}

// ---- Character classes ----------------------------------------------------

bool isLetter(char32_t scalar) {
    if (scalar < 0x80) return (scalar | 0x20) >= U'a' && (scalar | 0x20) <= U'z';
    return (U_GET_GC_MASK(static_cast<UChar32>(scalar)) & (U_GC_L_MASK | U_GC_M_MASK)) != 0;
}

bool isLowercase(char32_t scalar) {
    if (scalar < 0x80) return scalar >= U'a' && scalar <= U'z';
    return u_charType(static_cast<UChar32>(scalar)) == U_LOWERCASE_LETTER;
}

bool isUppercase(char32_t scalar) {
    if (scalar < 0x80) return scalar >= U'A' && scalar <= U'Z';
    const std::int8_t type = u_charType(static_cast<UChar32>(scalar));
    return type == U_UPPERCASE_LETTER || type == U_TITLECASE_LETTER;
}

bool isWhiteSpaceOrNewline(char32_t scalar) {
    if (scalar < 0x80) return scalar == U' ' || (scalar >= 0x09 && scalar <= 0x0D);
    if (scalar == 0x85) return true;
    return (U_GET_GC_MASK(static_cast<UChar32>(scalar)) & U_GC_Z_MASK) != 0;
}

bool isNewline(char32_t scalar) {
    return (scalar >= 0x0A && scalar <= 0x0D) || scalar == 0x85 || scalar == 0x2028 || scalar == 0x2029;
}

bool isBlank(char32_t scalar) {
    if (scalar < 0x80) return scalar == U' ' || scalar == U'\t';
    return u_charType(static_cast<UChar32>(scalar)) == U_SPACE_SEPARATOR;
}

bool isLetterCharacter(std::string_view character) {
    return !character.empty() && isLetter(firstScalar(character));
}
bool isLowercaseCharacter(std::string_view character) {
    return !character.empty() && isLowercase(firstScalar(character));
}
bool isUppercaseCharacter(std::string_view character) {
    return !character.empty() && isUppercase(firstScalar(character));
}

// ---- Lines and trimming ---------------------------------------------------

std::size_t newlineLengthAt(std::string_view text, std::size_t position) {
    // A byte scan finds the same separators as decoding scalar by scalar: the
    // bytes 0x0A to 0x0D, and the lead bytes 0xC2 and 0xE2 of U+0085, U+2028
    // and U+2029, are never part of another scalar, malformed or not.
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(position);
    if (lead >= 0x0A && lead <= 0x0D) return 1;
    if (lead == 0xC2) return position + 1 < text.size() && byte(position + 1) == 0x85 ? 2 : 0;
    if (lead == 0xE2 && position + 2 < text.size() && byte(position + 1) == 0x80 &&
        (byte(position + 2) == 0xA8 || byte(position + 2) == 0xA9))
        return 3;
    return 0;
}

std::vector<std::string_view> splitAtNewlines(std::string_view text) {
    std::vector<std::string_view> pieces;
    forEachLineOf(text, [&](std::string_view piece) { pieces.push_back(piece); });
    return pieces;
}

std::string_view firstLine(std::string_view text) {
    for (std::size_t position = 0; position < text.size(); ++position) {
        if (mayBeginNewline(static_cast<unsigned char>(text[position])) && newlineLengthAt(text, position) != 0)
            return text.substr(0, position);
    }
    return text;
}

bool startsLine(std::string_view text, std::size_t position) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    if (position == 0) return true;
    if (byte(position - 1) >= 0x0A && byte(position - 1) <= 0x0D) return true;
    if (position >= 2 && byte(position - 2) == 0xC2 && byte(position - 1) == 0x85) return true;
    return position >= 3 && byte(position - 3) == 0xE2 && byte(position - 2) == 0x80 &&
           (byte(position - 1) == 0xA8 || byte(position - 1) == 0xA9);
}

bool holdsNoneOf(std::string_view text, std::string_view bytes) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (mayBeginNewline(byte) && newlineLengthAt(text, i) != 0) return false;
        if (byte < 0x80 && bytes.find(static_cast<char>(byte)) != std::string_view::npos) return false;
    }
    return true;
}

std::string_view trim(std::string_view text, bool (*inClass)(char32_t)) {
    // From the front, scalar by scalar, to the first one outside the class.
    std::size_t begin = 0;
    while (begin < text.size()) {
        std::size_t next = begin;
        if (!inClass(decodeScalar(text, next))) break;
        begin = next;
    }
    // From the back, to the last one outside the class: a scalar ends where
    // the next one begins, and begins at its last byte that is no
    // continuation byte (the text is well-formed UTF-8).
    std::size_t end = text.size();
    while (end > begin) {
        std::size_t start = end - 1;
        while (start > begin && isContinuationByte(static_cast<unsigned char>(text[start]))) --start;
        std::size_t next = start;
        if (!inClass(decodeScalar(text, next))) break;
        end = start;
    }
    return text.substr(begin, end - begin);
}

std::string_view trimWhiteSpaceAndNewlines(std::string_view text) {
    return trim(text, isWhiteSpaceOrNewline);
}

std::string_view trimBlanks(std::string_view text) {
    return trim(text, isBlank);
}

// ---- Canonical equivalence ------------------------------------------------

bool isNFC(std::string_view text) {
    if (isAscii(text)) return true;
    const icu::Normalizer2* normalizer = nfcNormalizer();
    if (normalizer == nullptr || !isValidUtf8(text)) return true;
    UErrorCode status = U_ZERO_ERROR;
    const bool normalized =
        normalizer->isNormalizedUTF8(icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())), status);
    return U_FAILURE(status) || normalized;
}

std::string toNFC(std::string_view text) {
    if (isNFC(text)) return std::string(text);
    const icu::Normalizer2* normalizer = nfcNormalizer();
    std::string result;
    icu::StringByteSink<std::string> sink(&result);
    UErrorCode status = U_ZERO_ERROR;
    normalizer->normalizeUTF8(0, icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())), sink, nullptr,
                              status);
    if (U_FAILURE(status)) return std::string(text);
    return result;
}

int compareCanonical(std::string_view a, std::string_view b) {
    if (isNFC(a) && isNFC(b)) return a.compare(b) < 0 ? -1 : (a == b ? 0 : 1);
    const std::string nfcA = toNFC(a);
    const std::string nfcB = toNFC(b);
    return nfcA.compare(nfcB) < 0 ? -1 : (nfcA == nfcB ? 0 : 1);
}

bool canonicallyEqual(std::string_view a, std::string_view b) {
    if (a == b) return true;
    if (isAscii(a) && isAscii(b)) return false;
    return compareCanonical(a, b) == 0;
}

// ---- Case -----------------------------------------------------------------

std::string switchCase(std::string_view character) {
    if (character.empty()) return std::string();
    std::size_t restBegin = 0;
    const char32_t scalar = decodeScalar(character, restBegin);
    const bool lower = isLowercase(scalar);
    if (!lower && !isUppercase(scalar)) return std::string(character);

    std::string mapped;
    if (scalar < 0x80) {
        mapped += static_cast<char>(lower ? scalar - 0x20 : scalar + 0x20);
    } else {
        icu::UnicodeString text(static_cast<UChar32>(scalar));
        if (lower)
            text.toTitle(nullptr, icu::Locale::getRoot(), U_TITLECASE_NO_LOWERCASE | U_TITLECASE_NO_BREAK_ADJUSTMENT);
        else
            text.toLower(icu::Locale::getRoot());
        mapped = toUtf8(text);
    }
    mapped.append(character.substr(restBegin));
    const std::vector<std::string_view> clusters = graphemeClusterViews(mapped);
    return clusters.empty() ? std::string() : std::string(clusters.front());
}

// ---- Case of whole texts ------------------------------------------------------

std::string toLowerCase(std::string_view text) {
    // Scalars of one or two bytes map alone: their full lower-case mapping is
    // their simple one, but for U+0130 (to "i" and a combining dot) and the
    // capital sigma (final or not by context), left to ICU with the rest.
    std::string lower;
    lower.reserve(text.size());
    for (std::size_t position = 0; position < text.size();) {
        const auto lead = static_cast<unsigned char>(text[position]);
        if (lead < 0x80) {
            lower += static_cast<char>(lead >= 'A' && lead <= 'Z' ? lead + ('a' - 'A') : lead);
            ++position;
            continue;
        }
        const std::size_t length = wellFormedLength(text, position);
        const char32_t scalar = length == 2 ? decodeScalar(text, position) : 0;
        if (length != 2 || scalar == 0x130 || scalar == 0x3A3) {
            if (!isValidUtf8(text)) return std::string(text);
            icu::UnicodeString unicode =
                icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
            unicode.toLower(icu::Locale::getRoot());
            return toUtf8(unicode);
        }
        appendScalar(lower, static_cast<char32_t>(u_tolower(static_cast<UChar32>(scalar))));
    }
    return lower;
}

std::string lowerCaseFirstCharacter(std::string_view text) {
    const std::vector<std::string_view> clusters = graphemeClusterViews(text);
    if (clusters.empty()) return std::string();
    return toLowerCase(clusters.front()) + std::string(text.substr(clusters.front().size()));
}

// ---- Words ----------------------------------------------------------------------

struct WordSegmenter::Iterator {
    std::unique_ptr<icu::BreakIterator> words;
};

WordSegmenter::WordSegmenter() : iterator_(std::make_unique<Iterator>()) {
    UErrorCode status = U_ZERO_ERROR;
    iterator_->words.reset(icu::BreakIterator::createWordInstance(icu::Locale::getRoot(), status));
    if (U_FAILURE(status)) iterator_->words.reset();
}

WordSegmenter::~WordSegmenter() = default;

void WordSegmenter::segment(std::string_view text, std::vector<TextSegment>& segments) {
    segments.clear();
    if (text.empty()) return;
    UErrorCode status = U_ZERO_ERROR;
    UText utext = UTEXT_INITIALIZER;
    if (iterator_->words != nullptr && isValidUtf8(text))
        utext_openUTF8(&utext, text.data(), static_cast<int64_t>(text.size()), &status);
    else
        status = U_ILLEGAL_ARGUMENT_ERROR;
    if (U_SUCCESS(status)) iterator_->words->setText(&utext, status);
    if (U_FAILURE(status)) {
        utext_close(&utext);
        segments.push_back(TextSegment{0, text.size(), true});
        return;
    }
    icu::BreakIterator& words = *iterator_->words;
    std::size_t begin = static_cast<std::size_t>(words.first());
    for (int32_t end = words.next(); end != icu::BreakIterator::DONE; end = words.next()) {
        const int32_t rule = words.getRuleStatus();
        const bool isWord = !(rule >= UBRK_WORD_NONE && rule < UBRK_WORD_NONE_LIMIT);
        segments.push_back(TextSegment{begin, static_cast<std::size_t>(end), isWord});
        begin = static_cast<std::size_t>(end);
    }
    utext_close(&utext);
}

// ---- Files ----------------------------------------------------------------

std::optional<std::string> readUtf8File(const std::string& path) {
    // A path is handed to the system as a C string, which would end at a NUL.
    if (path.find('\0') != std::string::npos) return std::nullopt;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), &std::fclose);
    if (!file) return std::nullopt;
    std::string content;
    // Room for the size a regular file announces, so that the content is
    // appended without moving.
    struct stat status {};
    if (::fstat(::fileno(file.get()), &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0)
        content.reserve(static_cast<std::size_t>(status.st_size));
    // The bytes before `checked` are whole well-formed sequences. What
    // follows them may only be the start of a sequence that the next block
    // ends (at most 3 bytes): anything longer is malformed, and reading stops.
    std::size_t checked = 0;
    char buffer[1 << 16];
    for (;;) {
        const std::size_t count = std::fread(buffer, 1, sizeof buffer, file.get());
        content.append(buffer, count);
        checked += wellFormedPrefix(std::string_view(content).substr(checked));
        if (content.size() - checked > 3) return std::nullopt;
        if (count < sizeof buffer) break;
    }
    if (std::ferror(file.get())) return std::nullopt; // a directory, for instance
    if (checked != content.size()) return std::nullopt;
    if (content.compare(0, 3, "\xEF\xBB\xBF") == 0) content.erase(0, 3);
    return content;
}

} // namespace lexpand
