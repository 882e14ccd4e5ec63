// Exports CompactDictionaryBuilder: the pairs of a lexicon sorted, grouped by
// form into lists of analyses, and written with their automaton as one file.

#include "CompactDictionaryBuilder.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <numeric>
#include <system_error>

#include "AcyclicAutomatonBuilder.h"
#include "AutomatonEncoding.h"
#include "CompactDictionaryFormat.h"
#include "SuffixEdit.h"

namespace lexpand {
namespace {

using namespace detail;

constexpr std::uint64_t sectionLimit = UINT32_MAX;

// Numbers 0..count-1 ranked by descending `frequency`, ties by number:
// rank[i] is the new number of i.
std::vector<std::uint32_t> rankByFrequency(const std::vector<std::uint64_t>& frequency) {
    std::vector<std::uint32_t> byFrequency(frequency.size());
    std::iota(byFrequency.begin(), byFrequency.end(), 0u);
    std::stable_sort(byFrequency.begin(), byFrequency.end(),
                     [&](std::uint32_t a, std::uint32_t b) { return frequency[a] > frequency[b]; });
    std::vector<std::uint32_t> rank(frequency.size());
    for (std::uint32_t r = 0; r < byFrequency.size(); ++r) rank[byFrequency[r]] = r;
    return rank;
}

// The distinct analysis lists of the forms, each form's list and how often
// each list and each analysis occurs.
struct Lists {
    std::vector<std::vector<std::uint32_t>> lists;
    std::vector<std::uint64_t> listFrequency;
    std::vector<std::uint64_t> analysisFrequency;
    std::unordered_map<std::string, std::uint32_t> listIds; // a list's bytes -> its number
    std::string listKey;                                    // scratch

    // The number of `list`, given when it is new; counts one more
    // occurrence of it and of each of its analyses.
    std::uint32_t add(const std::vector<std::uint32_t>& list) {
        listKey.assign(reinterpret_cast<const char*>(list.data()), list.size() * sizeof list[0]);
        const auto [entry, isNew] = listIds.emplace(listKey, static_cast<std::uint32_t>(lists.size()));
        if (isNew) {
            lists.push_back(list);
            listFrequency.push_back(0);
        }
        ++listFrequency[entry->second];
        for (const std::uint32_t analysis : list) ++analysisFrequency[analysis];
        return entry->second;
    }
};

// What the header counts of the forms.
struct FormCounts {
    std::uint64_t forms = 0;
    std::uint64_t pairs = 0;
    std::size_t longestForm = 0; // in scalars
};

std::size_t scalarCount(std::string_view text) {
    std::size_t count = 0;
    for (const char c : text) count += (static_cast<unsigned char>(c) & 0xC0) != 0x80 ? 1 : 0;
    return count;
}

// The list section: the lists in the order of `listRank`, each as its length
// and its analyses renumbered by `analysisRank`; `listOffsetOf` gets each
// list's offset. Absent, with the reason in `problem`, past the format's limit.
std::optional<std::string> encodeLists(const Lists& lists, const std::vector<std::uint32_t>& listRank,
                                       const std::vector<std::uint32_t>& analysisRank,
                                       std::vector<std::uint32_t>& listOffsetOf, std::string& problem) {
    std::string listBytes;
    listOffsetOf.assign(lists.lists.size(), 0);
    std::vector<std::uint32_t> listsByRank(lists.lists.size());
    for (std::uint32_t l = 0; l < lists.lists.size(); ++l) listsByRank[listRank[l]] = l;
    for (const std::uint32_t l : listsByRank) {
        listOffsetOf[l] = static_cast<std::uint32_t>(listBytes.size());
        appendVarint(listBytes, lists.lists[l].size());
        for (const std::uint32_t analysis : lists.lists[l]) appendVarint(listBytes, analysisRank[analysis]);
        if (listBytes.size() > sectionLimit / 2) {
            problem = "the analysis lists exceed the format's limit";
            return std::nullopt;
        }
    }
    return listBytes;
}

// The string section being written: each distinct text once, as its varint
// length and its bytes.
class StringTable {
public:
    // The offset of `text`, written when it is new.
    std::uint32_t offsetOf(const std::string& text) {
        const auto [entry, isNew] = offsets_.emplace(text, static_cast<std::uint32_t>(bytes_.size()));
        if (isNew) {
            appendVarint(bytes_, text.size());
            bytes_ += text;
        }
        return entry->second;
    }
    const std::string& bytes() const { return bytes_; }
    std::string takeBytes() { return std::move(bytes_); }

private:
    std::string bytes_;
    std::unordered_map<std::string_view, std::uint32_t> offsets_; // views of the texts, which outlive the table
};

// The analysis section: each (command, properties) pair of string offsets as
// two little-endian numbers of `width` bytes.
std::string packReferences(const std::vector<std::pair<std::uint32_t, std::uint32_t>>& references,
                           std::uint32_t width) {
    std::string analysisBytes;
    for (const auto& [command, properties] : references) {
        for (const std::uint32_t reference : {command, properties}) {
            for (std::uint32_t i = 0; i < width; ++i) analysisBytes.push_back(static_cast<char>(reference >> (8 * i)));
        }
    }
    return analysisBytes;
}

// The symbols: the scalars of the automaton's labels, the most frequent first.
struct Symbols {
    std::unordered_map<char32_t, std::uint32_t> symbolOf;
    std::string bytes; // the symbol section
};

Symbols symbolsOf(const AcyclicAutomaton& automaton) {
    std::unordered_map<char32_t, std::uint64_t> labelCounts;
    for (const AcyclicAutomaton::Arc& arc : automaton.arcs) ++labelCounts[arc.label];
    std::vector<std::pair<char32_t, std::uint64_t>> labels(labelCounts.begin(), labelCounts.end());
    std::sort(labels.begin(), labels.end(), [](const auto& a, const auto& b) {
        return a.second != b.second ? a.second > b.second : a.first < b.first;
    });
    Symbols symbols;
    for (const auto& [label, count] : labels) {
        symbols.symbolOf.emplace(label, static_cast<std::uint32_t>(symbols.symbolOf.size()));
        appendU32(symbols.bytes, static_cast<std::uint32_t>(label));
    }
    return symbols;
}

// Appends the sections to `file` (its header written but for the sections'
// places, its size and its checksum) and fills those in. Absent, with the
// reason in `problem`, past the format's limit of 4 GB.
std::optional<std::string>
assembleFile(std::string file, const std::array<const std::string*, lxdSectionCount>& sections, std::string& problem) {
    for (std::size_t s = 0; s < lxdSectionCount; ++s) {
        if (file.size() + sections[s]->size() > sectionLimit) {
            problem = "the dictionary exceeds the format's limit of 4 GB";
            return std::nullopt;
        }
        putU32(file, sectionsAt + 8 * s, static_cast<std::uint32_t>(file.size()));
        putU32(file, sectionsAt + 8 * s + 4, static_cast<std::uint32_t>(sections[s]->size()));
        file += *sections[s];
    }
    putU64(file, fileSizeAt, file.size());
    putU32(file, checksumAt, checksumOf(file, checksumAt));
    return file;
}

} // namespace

// The pairs grouped by form: the lists, the automaton of the forms with each
// final state's list number, and the counts.
struct CompactDictionaryBuilder::Grouping {
    Lists lists;
    AcyclicAutomaton automaton;
    FormCounts counts;
};

// The string section and the analysis section that refers into it.
struct CompactDictionaryBuilder::AnalysisSections {
    std::string strings;
    std::string analyses;
    std::uint32_t width = 1; // bytes of a reference
};

std::optional<std::uint32_t> CompactDictionaryBuilder::analysisId(std::string_view reverseCommand,
                                                                  std::string_view properties, std::string& problem) {
    key_.assign(std::to_string(reverseCommand.size()));
    key_ += ':';
    key_ += reverseCommand;
    key_ += properties;
    if (const auto found = analysisIds_.find(key_); found != analysisIds_.end()) return found->second;
    if (!isValidUtf8(properties) || !isValidUtf8(reverseCommand)) {
        problem = "the line is not UTF-8";
        return std::nullopt;
    }
    if (analyses_.size() >= UINT32_MAX) {
        problem = "too many distinct analyses";
        return std::nullopt;
    }
    analyses_.push_back(
        Analysis{std::string(reverseCommand), std::string(properties), ReverseCommand::prepare(reverseCommand)});
    const auto id = static_cast<std::uint32_t>(analyses_.size() - 1);
    analysisIds_.emplace(key_, id);
    return id;
}

std::optional<std::string> CompactDictionaryBuilder::add(std::string_view form, std::string_view reverseCommand,
                                                         std::string_view properties) {
    std::string problem;
    const std::optional<std::uint32_t> analysis = analysisId(reverseCommand, properties, problem);
    if (!analysis) return problem;
    return add(form, *analysis);
}

bool CompactDictionaryBuilder::formSuitsSuffixEdits(std::string_view form) {
    for (std::size_t position = 0; position < form.size();) {
        const std::size_t begin = position;
        const char32_t scalar = decodeScalar(form, position);
        if (scalar >= scalarSuits_.size()) {
            if (!suitsSuffixEdits(form.substr(begin, position - begin))) return false;
            continue;
        }
        if (scalarSuits_[scalar] == 0)
            scalarSuits_[scalar] = suitsSuffixEdits(form.substr(begin, position - begin)) ? 1 : 2;
        if (scalarSuits_[scalar] == 2) return false;
    }
    return true;
}

std::optional<std::string> CompactDictionaryBuilder::add(std::string_view form, std::uint32_t analysis) {
    if (form.empty()) return std::string("the word form is empty");
    if (form.find('\n') != std::string_view::npos) return std::string("the word form holds a line feed");
    if (!isValidUtf8(form)) return std::string("the line is not UTF-8");
    if (form.size() > UINT32_MAX) return std::string("the word form is too long");
    if (analysis >= analyses_.size()) return std::string("no such analysis");

    // Every scalar of a well-formed form that suits suffix edits is one.
    const Analysis& entry = analyses_[analysis];
    lemma_.clear();
    if (!entry.prepared || !entry.prepared->appendLemma(lemma_, form, formSuitsSuffixEdits(form)))
        return "the reverse command \"" + entry.reverseCommand + "\" does not apply to the word form";

    std::uint64_t prefix = 0;
    for (std::size_t i = 0; i < 8; ++i)
        prefix = (prefix << 8) | (i < form.size() ? static_cast<unsigned char>(form[i]) : 0u);
    pairs_.push_back(Pair{prefix, forms_.size(), static_cast<std::uint32_t>(form.size()), analysis});
    forms_ += form;
    return std::nullopt;
}

std::string_view CompactDictionaryBuilder::formOf(const Pair& pair) const {
    return std::string_view(forms_).substr(pair.formOffset, pair.formSize);
}

void CompactDictionaryBuilder::sortPairs() {
    // Zeros after the end of a form make it sort before its extensions by
    // the prefix too, and forms are UTF-8, so the prefixes order forms as
    // their bytes do.
    std::sort(pairs_.begin(), pairs_.end(), [&](const Pair& a, const Pair& b) {
        if (a.prefix != b.prefix) return a.prefix < b.prefix;
        const int order = formOf(a).compare(formOf(b));
        return order != 0 ? order < 0 : a.formOffset < b.formOffset;
    });
}

std::size_t CompactDictionaryBuilder::analysesOfForm(std::size_t begin, std::vector<std::uint32_t>& list) const {
    const std::string_view form = formOf(pairs_[begin]);
    list.clear();
    std::size_t end = begin;
    for (; end < pairs_.size() && formOf(pairs_[end]) == form; ++end) {
        if (std::find(list.begin(), list.end(), pairs_[end].analysis) == list.end())
            list.push_back(pairs_[end].analysis);
    }
    return end;
}

CompactDictionaryBuilder::Grouping CompactDictionaryBuilder::groupPairs() {
    Grouping grouping;
    grouping.lists.analysisFrequency.assign(analyses_.size(), 0);
    AcyclicAutomatonBuilder automatonBuilder;
    std::vector<std::uint32_t> list;
    for (std::size_t begin = 0, end = 0; begin < pairs_.size(); begin = end) {
        const std::string_view form = formOf(pairs_[begin]);
        end = analysesOfForm(begin, list);
        automatonBuilder.add(form, grouping.lists.add(list));
        ++grouping.counts.forms;
        grouping.counts.pairs += list.size();
        grouping.counts.longestForm = std::max(grouping.counts.longestForm, scalarCount(form));
    }
    pairs_ = {};
    forms_ = {};
    grouping.automaton = automatonBuilder.finish();
    return grouping;
}

std::optional<CompactDictionaryBuilder::AnalysisSections>
CompactDictionaryBuilder::encodeAnalyses(const std::vector<std::uint32_t>& analysisRank, std::string& problem) const {
    StringTable strings;
    std::vector<std::uint32_t> analysesByRank(analyses_.size());
    for (std::uint32_t a = 0; a < analyses_.size(); ++a) analysesByRank[analysisRank[a]] = a;
    std::vector<std::pair<std::uint32_t, std::uint32_t>> references;
    references.reserve(analyses_.size());
    for (const std::uint32_t a : analysesByRank) {
        const std::uint32_t command = strings.offsetOf(analyses_[a].reverseCommand);
        references.emplace_back(command, strings.offsetOf(analyses_[a].properties));
        if (strings.bytes().size() > sectionLimit) {
            problem = "the analyses exceed the format's limit";
            return std::nullopt;
        }
    }
    AnalysisSections sections;
    sections.strings = strings.takeBytes();
    while (sections.width < 4 && sections.strings.size() > (std::uint64_t{1} << (8 * sections.width))) ++sections.width;
    sections.analyses = packReferences(references, sections.width);
    return sections;
}

std::optional<std::string> CompactDictionaryBuilder::build(std::string& problem) {
    sortPairs();
    const Grouping grouping = groupPairs();
    // Analyses and lists that occur most get the smallest numbers and offsets.
    const std::vector<std::uint32_t> analysisRank = rankByFrequency(grouping.lists.analysisFrequency);
    const std::vector<std::uint32_t> listRank = rankByFrequency(grouping.lists.listFrequency);
    std::vector<std::uint32_t> listOffsetOf;
    const std::optional<std::string> listBytes =
        encodeLists(grouping.lists, listRank, analysisRank, listOffsetOf, problem);
    if (!listBytes) return std::nullopt;
    const std::optional<AnalysisSections> analyses = encodeAnalyses(analysisRank, problem);
    if (!analyses) return std::nullopt;
    const Symbols symbols = symbolsOf(grouping.automaton);
    const EncodedAutomaton encoded = encodeAutomaton(grouping.automaton, symbols.symbolOf, listOffsetOf);
    if (encoded.bytes.size() > sectionLimit) {
        problem = "the automaton exceeds the format's limit";
        return std::nullopt;
    }

    const AcyclicAutomaton& automaton = grouping.automaton;
    std::string file(lxdHeaderSize, '\0');
    std::memcpy(file.data(), lxdMagic.data(), lxdMagic.size());
    putU32(file, versionAt, lxdVersion);
    putU64(file, formCountAt, grouping.counts.forms);
    putU64(file, pairCountAt, grouping.counts.pairs);
    putU32(file, analysisCountAt, static_cast<std::uint32_t>(analyses_.size()));
    putU32(file, listCountAt, static_cast<std::uint32_t>(grouping.lists.lists.size()));
    putU32(file, stateCountAt, encoded.bytes.empty() ? 0 : static_cast<std::uint32_t>(automaton.states.size()));
    putU32(file, arcCountAt, static_cast<std::uint32_t>(automaton.arcs.size()));
    putU32(file, symbolCountAt, static_cast<std::uint32_t>(symbols.symbolOf.size()));
    putU32(file, longestFormAt, static_cast<std::uint32_t>(grouping.counts.longestForm));
    putU32(file, rootAt, encoded.root);
    putU32(file, referenceWidthAt, analyses->width);
    return assembleFile(std::move(file),
                        {&symbols.bytes, &analyses->strings, &analyses->analyses, &*listBytes, &encoded.bytes},
                        problem);
}

std::optional<std::string> FormLinePairs::add(std::string_view line) {
    if (FormLineReader::isSkipped(line)) return std::nullopt;
    const FormLineReading reading = reader_.read(line);
    if (!reading.line) return "not a form line: " + reading.problem;
    // Lines with the same analysis share the reader's object for it.
    const FormAnalysis* analysis = reading.line->analysis;
    auto known = analysisIds_.find(analysis);
    if (known == analysisIds_.end()) {
        std::string problem;
        const std::optional<std::uint32_t> id =
            builder_.analysisId(analysis->reverseCommand, analysis->properties, problem);
        if (!id) return problem;
        known = analysisIds_.emplace(analysis, *id).first;
    }
    return builder_.add(reading.line->form, known->second);
}

std::optional<std::string> writeDictionaryFile(const std::string& path, const std::string& bytes) {
    const std::string temporary = path + ".part";
    std::FILE* file = std::fopen(temporary.c_str(), "wb");
    if (file == nullptr) return "cannot write " + path + ": " + std::strerror(errno);
    const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    const bool closed = std::fclose(file) == 0;
    std::error_code error;
    if (!written || !closed) {
        std::filesystem::remove(temporary, error);
        return "cannot write " + path;
    }
    std::filesystem::rename(temporary, path, error);
    if (error) {
        std::filesystem::remove(temporary, error);
        return "cannot write " + path + ": " + error.message();
    }
    return std::nullopt;
}

} // namespace lexpand
