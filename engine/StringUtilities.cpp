// Exports parseParenthesedPattern: the captured texts of every match of an ICU regular expression.

#include "StringUtilities.h"

#include "TextServices.h"

#include <unicode/regex.h>
#include <unicode/unistr.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <utility>

namespace lexpand {

namespace {

// Rewrites every "$" that stands outside a character class and outside an
// escape into "\z", so that the end anchor matches only at the very end of
// the text. (ICU's own "$" also matches before a final line terminator.)
// Every syntax character of the dialect is ASCII, so scanning bytes is exact.
std::string anchorDollarAtEndOfText(std::string_view pattern) {
    std::string rewritten;
    rewritten.reserve(pattern.size() + 4);
    int classDepth = 0;
    std::size_t position = 0;
    while (position < pattern.size()) {
        const char c = pattern[position];
        if (c == '\\' && position + 1 < pattern.size()) {
            if (pattern[position + 1] == 'Q') {
                // Quoted run: everything up to "\E" (or the end) is literal.
                const std::size_t close = pattern.find("\\E", position + 2);
                const std::size_t stop = close == std::string_view::npos ? pattern.size() : close + 2;
                rewritten.append(pattern.substr(position, stop - position));
                position = stop;
                continue;
            }
            rewritten.append(pattern.substr(position, 2));
            position += 2;
            continue;
        }
        if (c == '[') {
            ++classDepth;
        } else if (c == ']' && classDepth > 0) {
            --classDepth;
        } else if (c == '$' && classDepth == 0) {
            rewritten.append("\\z");
            ++position;
            continue;
        }
        rewritten.push_back(c);
        ++position;
    }
    return rewritten;
}

// The compiled form of `pattern`, or null when it does not compile. The few
// patterns of the program are compiled once per thread; the cache only
// memoizes, so its content never changes a result. It is emptied when it
// grows past a small bound, which keeps arbitrary callers from filling memory.
const icu::RegexPattern* compiledPattern(std::string_view pattern) {
    constexpr std::size_t cacheBound = 64;
    thread_local std::unordered_map<std::string, std::unique_ptr<icu::RegexPattern>> cache;

    std::string key(pattern);
    if (const auto found = cache.find(key); found != cache.end()) return found->second.get();

    const std::string rewritten = anchorDollarAtEndOfText(pattern);
    UErrorCode status = U_ZERO_ERROR;
    UParseError parseError{};
    std::unique_ptr<icu::RegexPattern> compiled(
        icu::RegexPattern::compile(icu::UnicodeString::fromUTF8(rewritten), 0, parseError, status));
    if (U_FAILURE(status) || compiled == nullptr) return nullptr;

    if (cache.size() >= cacheBound) cache.clear();
    const icu::RegexPattern* result = compiled.get();
    cache.emplace(std::move(key), std::move(compiled));
    return result;
}

// The UTF-16 form of a UTF-8 text, with the byte offset of every UTF-16 unit
// (plus one entry for the end), so that match ranges cut the original bytes
// at scalar boundaries. Malformed bytes become U+FFFD one byte at a time.
struct Utf16Text {
    icu::UnicodeString units;
    std::vector<std::size_t> byteOffsets;
};

Utf16Text toUtf16(std::string_view text) {
    Utf16Text result;
    result.byteOffsets.reserve(text.size() + 1);
    std::size_t position = 0;
    while (position < text.size()) {
        const std::size_t start = position;
        const char32_t scalar = decodeScalar(text, position);
        result.units.append(static_cast<UChar32>(scalar));
        result.byteOffsets.push_back(start);
        if (scalar > 0xFFFF) result.byteOffsets.push_back(start);
    }
    result.byteOffsets.push_back(text.size());
    return result;
}

} // namespace

std::optional<std::vector<std::string>> parseParenthesedPattern(std::string_view wholeString,
                                                                std::string_view parenthesedPattern) {
    const icu::RegexPattern* pattern = compiledPattern(parenthesedPattern);
    if (pattern == nullptr) return std::nullopt;

    const Utf16Text text = toUtf16(wholeString);
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<icu::RegexMatcher> matcher(pattern->matcher(text.units, status));
    if (U_FAILURE(status) || matcher == nullptr) return std::nullopt;

    std::vector<std::string> captures;
    const std::int32_t groupCount = matcher->groupCount();
    while (matcher->find(status) && U_SUCCESS(status)) {
        for (std::int32_t group = 0; group <= groupCount; ++group) {
            const std::int32_t start = matcher->start(group, status);
            const std::int32_t end = matcher->end(group, status);
            if (U_FAILURE(status)) return std::nullopt;
            if (start < 0 || end <= start) continue; // took no part, or matched nothing
            const std::size_t from = text.byteOffsets[static_cast<std::size_t>(start)];
            const std::size_t to = text.byteOffsets[static_cast<std::size_t>(end)];
            captures.emplace_back(wholeString.substr(from, to - from));
        }
    }
    if (U_FAILURE(status)) return std::nullopt;
    return captures;
}

} // namespace lexpand
