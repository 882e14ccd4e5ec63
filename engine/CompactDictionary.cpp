// Exports CompactDictionary: opening and checking a ".lxd" file, looking
// forms up, restoring lemmas and walking every form.

#include "CompactDictionary.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <unordered_map>
#include <utility>

#include "AutomatonCheck.h"
#include "CompactDictionaryFormat.h"
#include "SuffixEdit.h"
#include "TextServices.h"

namespace lexpand {
namespace {

using namespace detail;

constexpr char32_t smallScalars = 0x800;                  // the scalars of two UTF-8 bytes or fewer
constexpr std::uint32_t denseArcs = 8;                    // states with this many arcs get a table,
constexpr std::uint32_t denseWidthLimit = 256;            // of at most this many entries,
constexpr std::size_t denseBudget = std::size_t{1} << 20; // in 1 MB, or the size of the automaton
constexpr std::uint32_t noTarget = UINT32_MAX;
constexpr std::uint32_t noSymbol = UINT32_MAX;

CompactDictionaryOpening refuse(std::string problem) {
    return CompactDictionaryOpening{std::nullopt, std::move(problem)};
}

std::uint32_t u32At(std::string_view bytes, std::size_t at) {
    return static_cast<std::uint32_t>(readLittleEndian(bytes, at, 4));
}

bool isScalar(std::uint32_t value) {
    return value <= 0x10FFFF && (value < 0xD800 || value > 0xDFFF);
}

// The string whose varint length is at `offset` of `strings`; absent when it
// does not lie inside, or is not UTF-8.
std::optional<std::string_view> stringAt(std::string_view strings, std::uint64_t offset) {
    if (offset >= strings.size()) return std::nullopt;
    std::size_t position = static_cast<std::size_t>(offset);
    const std::optional<std::uint32_t> length = readVarint(strings, position);
    if (!length || *length > strings.size() - position) return std::nullopt;
    const std::string_view text = strings.substr(position, *length);
    if (!isValidUtf8(text)) return std::nullopt;
    return text;
}

// Why the header of `bytes` refuses them: no signature, truncated, another
// version, a size other than the file's, or a checksum that does not match;
// absent when it accepts them.
std::optional<std::string> headerProblem(std::string_view bytes) {
    if (bytes.size() < lxdMagic.size() || std::memcmp(bytes.data(), lxdMagic.data(), lxdMagic.size()) != 0)
        return "not a compact dictionary (no .lxd signature)";
    if (bytes.size() < lxdHeaderSize) return "truncated: the file ends inside its header";
    const std::uint32_t version = u32At(bytes, versionAt);
    if (version != lxdVersion) {
        return "a dictionary of format version " + std::to_string(version) + "; this program reads version " +
               std::to_string(lxdVersion);
    }
    const std::uint64_t announced = readLittleEndian(bytes, fileSizeAt, 8);
    if (announced > bytes.size()) {
        return "truncated: " + std::to_string(bytes.size()) + " bytes of the " + std::to_string(announced) +
               " that the header announces";
    }
    if (announced < bytes.size())
        return "damaged: " + std::to_string(bytes.size() - announced) +
               " bytes after the end that the header announces";
    if (checksumOf(bytes, checksumAt) != u32At(bytes, checksumAt)) return "damaged: the checksum does not match";
    return std::nullopt;
}

using Sections = std::array<std::string_view, lxdSectionCount>;

// The sections that the header of `bytes` places; absent when one lies
// outside the file.
std::optional<Sections> sectionsOf(std::string_view bytes) {
    Sections sections;
    for (std::size_t s = 0; s < lxdSectionCount; ++s) {
        const std::uint64_t offset = u32At(bytes, sectionsAt + 8 * s);
        const std::uint64_t size = u32At(bytes, sectionsAt + 8 * s + 4);
        if (offset < lxdHeaderSize || offset + size > bytes.size()) return std::nullopt;
        sections[s] = bytes.substr(offset, size);
    }
    return sections;
}

// The counts that the header of `bytes` announces.
CompactDictionaryInfo infoOf(std::string_view bytes) {
    CompactDictionaryInfo info;
    info.forms = readLittleEndian(bytes, formCountAt, 8);
    info.pairs = readLittleEndian(bytes, pairCountAt, 8);
    info.analyses = u32At(bytes, analysisCountAt);
    info.lists = u32At(bytes, listCountAt);
    info.states = u32At(bytes, stateCountAt);
    info.arcs = u32At(bytes, arcCountAt);
    info.symbols = u32At(bytes, symbolCountAt);
    info.longestForm = u32At(bytes, longestFormAt);
    info.bytes = bytes.size();
    return info;
}

// Moves `at` as a dense table's `entry` says; false when it holds no arc.
inline bool followEntry(std::uint32_t entry, CompactDictionary::Position& at) {
    if (entry == noTarget) return false;
    at.state = entry / 2;
    at.isFinal = (entry & 1) != 0;
    return true;
}

// Moves `at` to the target of the arc whose first byte gave `kind` and whose
// label ends at `position`; false when its offset does not decode.
inline bool followArc(const ArcByte& kind, std::string_view automaton, std::size_t position,
                      CompactDictionary::Position& at) {
    if (kind.targetFollows) {
        at.state = static_cast<std::uint32_t>(position);
    } else {
        const std::optional<std::uint32_t> target = readVarint(automaton, position);
        if (!target) return false;
        at.state = *target;
    }
    at.isFinal = kind.targetFinal;
    return true;
}

} // namespace

CompactDictionaryOpening CompactDictionary::open(const std::string& path) {
    std::string problem;
    std::optional<MappedFile> file = MappedFile::open(path, problem);
    if (!file) return refuse(problem);
    const std::string_view bytes = file->bytes();
    CompactDictionaryOpening opening = fromBytes(bytes);
    if (opening.dictionary) opening.dictionary->file_ = std::move(file);
    return opening;
}

CompactDictionaryOpening CompactDictionary::fromBytes(std::string_view bytes) {
    if (std::optional<std::string> problem = headerProblem(bytes)) return refuse(std::move(*problem));
    const std::optional<Sections> sections = sectionsOf(bytes);
    if (!sections) return refuse("damaged: a section lies outside the file");
    CompactDictionary dictionary;
    dictionary.bytes_ = bytes;
    dictionary.info_ = infoOf(bytes);
    dictionary.root_ = u32At(bytes, rootAt);
    dictionary.automaton_ = (*sections)[automatonSection];
    dictionary.lists_ = (*sections)[listsSection];
    std::optional<std::string> problem = dictionary.readSymbols((*sections)[symbolsSection]);
    if (!problem) {
        problem = dictionary.readAnalyses((*sections)[analysesSection], (*sections)[stringsSection],
                                          u32At(bytes, referenceWidthAt));
    }
    if (!problem) problem = dictionary.checkAutomatonSection();
    if (problem) return refuse(std::move(*problem));
    return CompactDictionaryOpening{std::move(dictionary), std::string()};
}

std::optional<std::string> CompactDictionary::readSymbols(std::string_view symbols) {
    if (symbols.size() != std::uint64_t{info_.symbols} * 4) return "damaged: the symbol table has the wrong size";
    smallSymbols_.assign(smallScalars, 0);
    for (std::uint32_t s = 0; s < info_.symbols; ++s) {
        const std::uint32_t scalar = u32At(symbols, 4 * std::size_t{s});
        if (!isScalar(scalar)) return "damaged: a symbol is not a Unicode scalar";
        symbols_.push_back(scalar);
        std::string text;
        appendScalar(text, scalar);
        symbolSuitsSuffixEdits_.push_back(suitsSuffixEdits(text) ? 1 : 0);
        if (scalar >= smallScalars) {
            largeSymbols_.emplace_back(scalar, s);
            continue;
        }
        if (smallSymbols_[scalar] != 0) return "damaged: a symbol occurs twice";
        smallSymbols_[scalar] = s + 1;
    }
    std::sort(largeSymbols_.begin(), largeSymbols_.end());
    if (std::adjacent_find(largeSymbols_.begin(), largeSymbols_.end(),
                           [](const auto& a, const auto& b) { return a.first == b.first; }) != largeSymbols_.end())
        return "damaged: a symbol occurs twice";
    return std::nullopt;
}

std::optional<std::string> CompactDictionary::readAnalyses(std::string_view analyses, std::string_view strings,
                                                           std::uint32_t width) {
    if (width < 1 || width > 4) return "damaged: bad width of string references";
    if (analyses.size() != std::uint64_t{info_.analyses} * 2 * width)
        return "damaged: the analysis table has the wrong size";
    std::unordered_map<std::uint64_t, std::uint32_t> commandIndexOf;
    analyses_.reserve(info_.analyses);
    for (std::uint32_t a = 0; a < info_.analyses; ++a) {
        const std::uint64_t commandAt = readLittleEndian(analyses, 2 * width * std::size_t{a}, width);
        const std::uint64_t propertiesAt = readLittleEndian(analyses, (2 * std::size_t{a} + 1) * width, width);
        const std::optional<std::string_view> command = stringAt(strings, commandAt);
        const std::optional<std::string_view> properties = stringAt(strings, propertiesAt);
        if (!command || !properties) return "damaged: an analysis names no valid string";
        auto [entry, isNew] = commandIndexOf.emplace(commandAt, static_cast<std::uint32_t>(commands_.size()));
        if (isNew) {
            std::optional<ReverseCommand> prepared = ReverseCommand::prepare(*command);
            if (!prepared) return "damaged: a reverse command does not parse";
            commands_.push_back(std::move(*prepared));
        }
        analyses_.push_back(PreparedAnalysis{*command, *properties, entry->second});
    }
    return std::nullopt;
}

std::optional<std::string> CompactDictionary::checkAutomatonSection() {
    std::unordered_map<std::uint32_t, std::uint32_t> listLengths;
    const auto listLength = [&](std::uint32_t offset) -> std::optional<std::uint32_t> {
        if (const auto known = listLengths.find(offset); known != listLengths.end()) return known->second;
        std::size_t position = offset;
        const std::optional<std::uint32_t> count = readVarint(lists_, position);
        if (!count || *count == 0 || *count > info_.analyses) return std::nullopt;
        for (std::uint32_t i = 0; i < *count; ++i) {
            const std::optional<std::uint32_t> analysis = readVarint(lists_, position);
            if (!analysis || *analysis >= info_.analyses) return std::nullopt;
        }
        listLengths.emplace(offset, *count);
        return *count;
    };
    std::string problem;
    std::vector<DenseCandidate> denseStates;
    const auto onState = [&](std::uint32_t offset, std::uint32_t arcsBegin, std::uint32_t arcs) {
        if (arcs >= denseArcs) denseStates.push_back(DenseCandidate{offset, arcsBegin, arcs});
    };
    const std::optional<AutomatonCounts> counts =
        checkAutomaton(automaton_, root_, info_.symbols, listLength, onState, problem);
    if (!counts) return "damaged: " + problem;
    if (counts->forms != info_.forms || counts->pairs != info_.pairs || counts->states != info_.states ||
        counts->arcs != info_.arcs || counts->longestForm != info_.longestForm || listLengths.size() != info_.lists)
        return "damaged: the automaton does not hold what the header announces";
    buildDenseTables(std::move(denseStates));
    return std::nullopt;
}

void CompactDictionary::buildDenseTables(std::vector<DenseCandidate> candidates) {
    // Twice the offsets must fit an entry.
    if (candidates.empty() || automaton_.size() >= noTarget / 2) return;
    denseWidth_ = std::min(info_.symbols, denseWidthLimit);
    // The states with the most arcs first, as many as the budget holds.
    std::sort(candidates.begin(), candidates.end(),
              [](const DenseCandidate& a, const DenseCandidate& b) { return a.arcs > b.arcs; });
    const std::size_t most = std::max(denseBudget, automaton_.size()) / (std::size_t{denseWidth_} * 4);
    if (candidates.size() > most) candidates.resize(most);
    std::vector<std::pair<std::uint32_t, std::uint32_t>> states;
    for (const DenseCandidate& candidate : candidates) states.emplace_back(candidate.state, candidate.arcsBegin);
    denseBits_.assign(automaton_.size() / 64 + 1, 0);
    for (const auto& [state, arcsBegin] : states) denseBits_[state >> 6] |= std::uint64_t{1} << (state & 63);
    denseRank_.resize(denseBits_.size());
    std::uint32_t count = 0;
    for (std::size_t word = 0; word < denseBits_.size(); ++word) {
        denseRank_[word] = count;
        for (std::uint64_t bits = denseBits_[word]; bits != 0; bits &= bits - 1) ++count;
    }
    denseTargets_.assign(std::size_t{count} * denseWidth_, noTarget);
    for (const auto& [state, arcsBegin] : states) {
        const std::size_t table = static_cast<std::size_t>(denseTableOf(state) - denseTargets_.data());
        std::size_t position = arcsBegin;
        for (DecodedArc arc; decodeArc(automaton_, position, arc);) {
            if (arc.symbol < denseWidth_)
                denseTargets_[table + arc.symbol] = arc.target * 2 + (arc.targetFinal ? 1 : 0);
            if (arc.last) break;
        }
    }
}

std::optional<std::uint32_t> CompactDictionary::symbolOf(char32_t scalar) const {
    if (scalar < smallScalars) {
        const std::uint32_t symbol = smallSymbols_[scalar];
        if (symbol == 0) return std::nullopt;
        return symbol - 1;
    }
    const auto found = std::lower_bound(largeSymbols_.begin(), largeSymbols_.end(), std::make_pair(scalar, 0u));
    if (found == largeSymbols_.end() || found->first != scalar) return std::nullopt;
    return found->second;
}

std::uint32_t CompactDictionary::firstArcOf(const Position& at, bool& hasArcs) const {
    std::size_t position = at.state;
    hasArcs = true;
    if (!at.isFinal) return static_cast<std::uint32_t>(position);
    const std::uint32_t head = readVarint(automaton_, position).value_or(0);
    hasArcs = (head & 1) != 0;
    return static_cast<std::uint32_t>(position);
}

std::uint32_t CompactDictionary::nextSymbol(std::string_view text, std::size_t& position) const {
    const auto lead = static_cast<unsigned char>(text[position]);
    // Unknown small scalars hold 0, which gives noSymbol.
    if (lead < 0x80) {
        ++position;
        return smallSymbols_[lead] - 1;
    }
    if (lead >= 0xC2 && lead < 0xE0 && position + 1 < text.size() &&
        (static_cast<unsigned char>(text[position + 1]) & 0xC0) == 0x80) {
        const char32_t scalar = ((lead & 0x1Fu) << 6) | (static_cast<unsigned char>(text[position + 1]) & 0x3Fu);
        position += 2;
        return smallSymbols_[scalar] - 1;
    }
    const std::size_t begin = position;
    const char32_t scalar = decodeScalar(text, position);
    // A malformed byte decodes as U+FFFD: only the real one may match.
    if (scalar == 0xFFFD && text.substr(begin, position - begin) != "\xEF\xBF\xBD") return noSymbol;
    return symbolOf(scalar).value_or(noSymbol);
}

bool CompactDictionary::step(Position& at, std::uint32_t symbol) const {
    if (const std::uint32_t* table = denseTableOf(at.state); table != nullptr && symbol < denseWidth_)
        return followEntry(table[symbol], at);
    // The rest stays written out: with the head and the scan in helpers as
    // well, GCC lays the loop out with more instructions per lookup.
    std::size_t position = at.state;
    if (at.isFinal) {
        const std::optional<std::uint32_t> head = readVarint(automaton_, position);
        if (!head || (*head & 1) == 0) return false;
    }
    // The checks made when the file was opened guarantee that the arcs of
    // every reachable state lie inside the automaton; the bounds are tested
    // anyway, at the cost of one comparison per byte.
    const auto* bytes = reinterpret_cast<const unsigned char*>(automaton_.data());
    const std::size_t size = automaton_.size();
    while (position < size) {
        const ArcByte kind = arcByteTable[bytes[position++]];
        std::uint32_t arcSymbol = kind.label;
        if (kind.label == escapedLabel) arcSymbol = directLabels + readVarint(automaton_, position).value_or(noSymbol);
        if (arcSymbol == symbol) return followArc(kind, automaton_, position, at);
        if (kind.last) return false;
        if (!kind.targetFollows) {
            while (position < size && (bytes[position++] & 0x80) != 0) {
            }
        }
    }
    return false;
}

std::optional<CompactDictionary::Position> CompactDictionary::advance(Position from, std::string_view text) const {
    if (automaton_.empty()) return std::nullopt;
    for (std::size_t i = 0; i < text.size();) {
        const std::uint32_t symbol = nextSymbol(text, i);
        if (symbol >= symbols_.size() || !step(from, symbol)) return std::nullopt;
        from.suitsSuffixEdits = from.suitsSuffixEdits && symbolSuitsSuffixEdits_[symbol] != 0;
    }
    return from;
}

void CompactDictionary::analysesAt(const Position& at, std::vector<std::uint32_t>& analyses) const {
    if (!at.isFinal) return;
    std::size_t position = at.state;
    std::size_t listPosition = readVarint(automaton_, position).value_or(0) / 2;
    const std::uint32_t count = readVarint(lists_, listPosition).value_or(0);
    for (std::uint32_t i = 0; i < count; ++i) analyses.push_back(readVarint(lists_, listPosition).value_or(0));
}

bool CompactDictionary::appendLemma(std::string& out, std::string_view form, const Position& at,
                                    std::uint32_t analysis) const {
    return preparedCommandOf(analysis).appendLemma(out, form, at.suitsSuffixEdits);
}

std::vector<CompactDictionary::Analysis> CompactDictionary::lookup(std::string_view form) const {
    std::vector<Analysis> found;
    const std::optional<Position> at = find(form);
    if (!at || !at->isFinal) return found;
    std::vector<std::uint32_t> analyses;
    analysesAt(*at, analyses);
    for (const std::uint32_t analysis : analyses) {
        Analysis entry;
        if (!appendLemma(entry.lemma, form, *at, analysis)) continue;
        entry.properties = propertiesOf(analysis);
        found.push_back(std::move(entry));
    }
    return found;
}

void CompactDictionary::walk(std::string_view prefix,
                             const std::function<Walk(std::string_view, const Position&)>& visit) const {
    const std::optional<Position> begin = advance(start(), prefix);
    if (!begin) return;
    struct Step {
        Position at;
        std::size_t parentSize; // bytes of the form before the scalar that leads here
        char32_t scalar;        // the last scalar of the form
        bool afterPrefix;       // the state right after the prefix: no scalar of its own
    };
    // Depth first, each state's arcs pushed in descending order of scalar so
    // that they come off the stack ascending. Siblings share the bytes of
    // their parent's form, which deeper steps never change.
    std::string form(prefix);
    std::vector<Step> stack{Step{*begin, form.size(), 0, true}};
    std::vector<std::pair<char32_t, DecodedArc>> arcs;
    while (!stack.empty()) {
        const Step step = stack.back();
        stack.pop_back();
        form.resize(step.parentSize);
        if (!step.afterPrefix) appendScalar(form, step.scalar);
        const Walk next = visit(form, step.at);
        if (next == Walk::stop) return;
        if (next == Walk::skipBelow) continue;
        bool hasArcs = true;
        std::size_t position = firstArcOf(step.at, hasArcs);
        arcs.clear();
        while (hasArcs) {
            DecodedArc arc;
            if (!decodeArc(automaton_, position, arc)) break;
            arcs.emplace_back(symbols_[arc.symbol], arc);
            if (arc.last) break;
        }
        std::sort(arcs.begin(), arcs.end(), [](const auto& a, const auto& b) { return a.first > b.first; });
        for (const auto& [scalar, arc] : arcs) {
            const Position target{arc.target, arc.targetFinal,
                                  step.at.suitsSuffixEdits && symbolSuitsSuffixEdits_[arc.symbol] != 0};
            stack.push_back(Step{target, form.size(), scalar, false});
        }
    }
}

} // namespace lexpand
