// Fuzz target for the compact dictionary reader. The input is one byte of
// flags and the bytes of a ".lxd" file. With flag 1, the input's size and
// checksum fields are set right before opening, so that mutations reach the
// structure checks rather than stopping at the checksum. A file that opens
// must be safe to use whole: every form it walks to is found again by a
// lookup, with at most as many analyses as its list holds (those whose lemma
// the editor restores), and generation from the first of them (its lemma,
// category and properties) finds that form again.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "CompactDictionary.h"
#include "CompactDictionaryFormat.h"
#include "FormGeneration.h"
#include "FuzzInput.h"

namespace {

constexpr std::size_t maximalInputSize = 1 << 16;
constexpr std::size_t maximalFormsWalked = 2000;

using lexpand::CompactDictionary;

void useWhole(const CompactDictionary& dictionary) {
    const lexpand::FormGenerator generator(dictionary);
    std::size_t walked = 0;
    std::vector<std::uint32_t> analyses;
    dictionary.walk("", [&](std::string_view form, const CompactDictionary::Position& at) {
        if (!at.isFinal) return CompactDictionary::Walk::descend;
        analyses.clear();
        dictionary.analysesAt(at, analyses);
        const std::vector<CompactDictionary::Analysis> found = dictionary.lookup(form);
        if (analyses.empty() || found.size() > analyses.size()) __builtin_trap();
        if (!found.empty() && walked < 50) {
            const std::string line = found.front().lemma + std::string(found.front().properties);
            const std::optional<lexpand::GenerationQuery> query = lexpand::parseGenerationQuery(line);
            if (query && query->lemma == found.front().lemma) {
                bool again = false;
                for (const lexpand::GeneratedForm& generated : generator.generate(*query))
                    again = again || generated.form == form;
                if (!again) __builtin_trap();
            }
        }
        return ++walked < maximalFormsWalked ? CompactDictionary::Walk::descend : CompactDictionary::Walk::stop;
    });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0 || size > maximalInputSize) return 0;
    std::string bytes(lexpand::fuzz::asText(data + 1, size - 1));
    if ((data[0] & 1) != 0 && bytes.size() >= lexpand::detail::lxdHeaderSize) {
        lexpand::detail::putU64(bytes, lexpand::detail::fileSizeAt, bytes.size());
        lexpand::detail::putU32(bytes, lexpand::detail::checksumAt,
                                lexpand::detail::checksumOf(bytes, lexpand::detail::checksumAt));
    }
    const lexpand::CompactDictionaryOpening opening = CompactDictionary::fromBytes(bytes);
    if (opening.dictionary) useWhole(*opening.dictionary);
    return 0;
}
