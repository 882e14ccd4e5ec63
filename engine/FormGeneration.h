// Generation from a compact dictionary: the word forms of a lemma that have a
// category and some properties, found by the same lemma restoration as
// lookups, so that generation and lookup always agree.

#ifndef LEXPAND_ENGINE_FORMGENERATION_H
#define LEXPAND_ENGINE_FORMGENERATION_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "CompactDictionary.h"

namespace lexpand {

// "LEMMA,CATEGORY+PROPERTY+..." read with the entry syntax.
struct GenerationQuery {
    std::string lemma;
    std::string category;
    std::vector<std::string> properties; // each must be among the analysis's
};

// Absent when `line` is not an entry or its properties do not split.
std::optional<GenerationQuery> parseGenerationQuery(std::string_view line);

struct GeneratedForm {
    std::string form;
    std::uint32_t analysis = 0;
};

class FormGenerator {
public:
    // Splits the properties of every analysis once: linear in the analyses.
    // The dictionary must outlive the generator.
    explicit FormGenerator(const CompactDictionary& dictionary);

    // Every pair of the dictionary whose analysis has the query's category
    // and every one of its properties, and whose lemma (restored from the
    // form) is the query's lemma; in ascending order of form, the analyses
    // of one form in their own order. Cost: for an analysis whose reverse
    // command only deletes k characters and types at the end, the forms that
    // extend the lemma's stem by about k characters; for any other analysis,
    // one walk over every form of the dictionary.
    std::vector<GeneratedForm> generate(const GenerationQuery& query) const;

private:
    struct AnalysisItems {
        std::string category;
        std::vector<std::string> properties;
    };
    // The analyses with the query's category and every one of its
    // properties. Cost: linear in the analyses and their items.
    std::vector<std::uint32_t> candidatesOf(const GenerationQuery& query) const;

    const CompactDictionary& dictionary_;
    std::vector<std::optional<AnalysisItems>> items_; // per analysis; absent when they do not split
};

} // namespace lexpand

#endif // LEXPAND_ENGINE_FORMGENERATION_H
