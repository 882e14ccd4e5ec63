// Regular-expression captures: parseParenthesedPattern.

#ifndef LEXPAND_ENGINE_STRINGUTILITIES_H
#define LEXPAND_ENGINE_STRINGUTILITIES_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lexpand {

// The captured texts of every match of the ICU regular expression
// `parenthesedPattern` in `wholeString`. Matches are found left to right, each
// search going on after the end of the previous match (leftmost match, with
// backtracking; "." stops at line breaks; "$" matches only at the end). For each
// match, groups 0 (the whole match) to the last are taken in order, and a group
// whose captured text is empty (or that took no part in the match) is skipped.
// Returns an empty array when nothing matches, and nothing when the pattern
// cannot be compiled. Captured texts never split a character.
std::optional<std::vector<std::string>> parseParenthesedPattern(std::string_view wholeString,
                                                                std::string_view parenthesedPattern);

} // namespace lexpand

#endif // LEXPAND_ENGINE_STRINGUTILITIES_H
