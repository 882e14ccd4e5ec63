// Dictionary expansion: the significant lines of a dictionary file, and the
// expansion of a whole dictionary into its printed lines.

#ifndef LEXPAND_ENGINE_DICTIONARYEXPANSION_H
#define LEXPAND_ENGINE_DICTIONARYEXPANSION_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ALU.h"
#include "FormLines.h"
#include "LineSink.h"
#include "MGFSA.h"

namespace lexpand {

// The significant lines of the dictionary at `path`, in file order: entry
// lines exactly as written, and "#use " lines. Blank lines and comment lines
// are dropped. Absent when the file does not exist or is not UTF-8; an empty
// array for a file without significant lines.
std::optional<std::vector<std::string>> loadDictionary(const std::string& path);

// The same lines of the dictionary text `text`, as views into it.
std::vector<std::string_view> significantLines(std::string_view text);

// True for a significant line that the expansion expands as an entry: one
// that is not empty and does not begin with "#" in its first column (the
// "#use " lines that significantLines keeps are passed over). Cost: constant.
bool isExpandedLine(std::string_view significantLine);

// Expands the dictionary at `dictionaryPath`: echoes entries without an
// inflectional paradigm, sends one canonical line per generated form to
// `sink`, and answers how many form lines it sent. Absent when the dictionary
// cannot be read or one of its entries cannot be processed (lines already
// sent stay sent).
std::optional<std::int64_t> inflectAndDeriveDictionary(const std::string& dictionaryPath,
                                                       const PropertiesDefinitions& propertiesDefinitions,
                                                       const MGFSA& morphologicalParadigms, LineSink& sink);

// How a dictionary is expanded. The defaults are lexpand's; tests choose
// other threads and chunks to reach every boundary.
struct ExpansionOptions {
    ExploreOptions explore;                         // bounds the exploration of each paradigm
    unsigned threads = 0;                           // workers; 0: as many as the machine runs at once
    std::size_t chunkBytes = std::size_t{64} << 10; // text a worker takes at a time (cut at a line end)
    std::size_t chunksInFlight = 8;                 // chunks taken and not yet written, at most
    std::size_t blockBytes = std::size_t{1} << 20;  // lines handed to the writer at a time
    std::size_t blocksPerChunk = 4;                 // blocks of a chunk waiting for the writer, at most
    // How long the writer waits for a block of the chunk it writes before it
    // asks for the lines of the entries finished so far (0: at once).
    std::chrono::milliseconds linesLatency{20};
};

// The same for a dictionary whose text was already read (well-formed UTF-8).
// The entries are expanded on `options.threads` threads, and the sink
// receives exactly what one thread sends, from the calling thread only: the
// same lines in the same order, and when an entry fails, the lines before it
// and none after it. Cost: linear in the text and in the forms printed, plus
// the exploration of each distinct paradigm, by at most each worker (and
// again once the cache has dropped it). Memory: the caches of explored
// paradigms and assembled shapes (FormLines, Paradigms), plus the blocks of
// lines: at most chunksInFlight times (blocksPerChunk + 1) of them waiting to
// be written or being filled, and one the writer holds, each of blockBytes (or
// of one longer line).
std::optional<std::int64_t> expandDictionaryText(std::string_view dictionaryText,
                                                 const PropertiesDefinitions& propertiesDefinitions,
                                                 const MGFSA& morphologicalParadigms, LineSink& sink,
                                                 const ExpansionOptions& options = {});

// The same with the caches of `sharing`, which every thread shares and which
// keep what they explored and assembled for the dictionaries after this one
// (its own bounds of exploration apply, not options.explore).
std::optional<std::int64_t> expandDictionaryText(std::string_view dictionaryText, const EntryLineExpander& sharing,
                                                 LineSink& sink, const ExpansionOptions& options = {});

} // namespace lexpand

#endif // LEXPAND_ENGINE_DICTIONARYEXPANSION_H
