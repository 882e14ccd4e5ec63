// Exports loadDictionary, significantLines, isExpandedLine,
// inflectAndDeriveDictionary and expandDictionaryText.
//
// A dictionary is expanded on several threads: its text is cut at line ends
// into chunks, each worker expands one chunk at a time with an expander of its
// own into blocks of lines, and the calling thread writes the blocks chunk
// after chunk, in the order of the text. What reaches the sink is therefore
// exactly what one thread prints: the same lines in the same order, and, when
// an entry fails, every line before it and none of the entries after it.
// Memory stays bounded: at most a few chunks are in flight at once, and a
// worker whose chunk grows past a few blocks waits for the writer.

#include "DictionaryExpansion.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <memory>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>
#include <utility>

#include "FormLines.h"
#include "GrammarFiles.h"
#include "Parallel.h"
#include "TextServices.h"

namespace lexpand {

namespace {

// True for a line that significantLines keeps.
bool isSignificantLine(std::string_view line) {
    const std::string_view trimmed = trimWhiteSpaceAndNewlines(line);
    if (trimmed.empty()) return false;
    return trimmed.front() != '#' || trimmed.starts_with(grammarReferencePrefix);
}

// Expands the entry lines of `text` (a whole number of lines) into `sink`,
// calling `afterEntry` after each entry that succeeds; `count` grows by the
// form lines sent. False when an entry fails.
template <typename AfterEntry>
bool expandLines(std::string_view text, EntryLineExpander& expander, LineSink& sink, std::int64_t& count,
                 AfterEntry&& afterEntry) {
    bool expanded = true;
    forEachLineOf(text, [&](std::string_view line) {
        if (!expanded || !isSignificantLine(line) || !isExpandedLine(line)) return;
        const std::optional<std::int64_t> sent = expander.expand(line, sink);
        if (!sent) {
            expanded = false;
            return;
        }
        count += *sent;
        afterEntry();
    });
    return expanded;
}

// The end of the first line that ends at or after `position`: the chunks of
// a text are cut there, so that splitting each chunk into lines gives the
// lines of the whole text.
std::size_t lineEndFrom(std::string_view text, std::size_t position) {
    for (; position < text.size(); ++position) {
        if (!mayBeginNewline(static_cast<unsigned char>(text[position]))) continue;
        if (const std::size_t length = newlineLengthAt(text, position); length != 0) return position + length;
    }
    return text.size();
}

// Lines handed over to the writer: those of `lines` from `from` on (the
// writer copied out the ones before while the worker was filling it).
struct Block {
    std::string lines;
    std::size_t from = 0;
};

// One chunk of the text and what its worker made of it so far. Its worker and
// the writer share it under its own mutex, so that workers never wait for
// each other when they hand over a block.
//
// The worker fills one block at a time and hands it over when it is full:
// lines move from worker to writer without being copied. After each entry the
// worker also publishes how much of the block it fills holds finished
// entries, without taking the mutex. When no block comes for a while, the
// writer copies those lines out of it (under the mutex, which the worker
// holds whenever it replaces its block): the lines before a slow entry reach
// the output while it runs.
struct Chunk {
    std::string_view text;
    std::mutex mutex;
    // Woken for the writer when a block comes, the chunk is done or the
    // writer wants finished lines; for the worker when the writer takes a
    // block or is done.
    std::condition_variable changed;
    std::deque<Block> blocks; // whole lines, each ended by "\n", not yet written
    bool done = false;        // the worker has handed over its last block
    bool failed = false;      // an entry failed: the blocks end with its lines
    bool stopped = false;     // the writer is done: the worker waits no more
    std::int64_t count = 0;   // form lines, once done
    // The block being filled: its bytes, and how many of them are the lines
    // of finished entries (stored last). Zero once it is handed over.
    std::atomic<const char*> fillingData{nullptr};
    std::atomic<std::size_t> fillingFinished{0};
    std::size_t fillingCopied = 0; // the writer copied out the bytes before this
    // The writer waits for finished lines: the worker wakes it after the
    // entry it is expanding. (It and fillingFinished are sequentially
    // consistent, so that a wake-up is never lost between them.)
    std::atomic<bool> wanted{false};
};

// What the workers and the writer share: the chunks in flight under one
// mutex, each chunk's blocks under its own, the written blocks under a third.
class ParallelExpansion {
public:
    ParallelExpansion(std::string_view text, const ExpansionOptions& options) : text_(text), options_(options) {}

    // The writer's side: writes every block, chunk after chunk; absent when
    // an entry failed.
    std::optional<std::int64_t> write(LineSink& sink);

    // A worker's side: expands chunks until there is none left, with an
    // expander that shares the caches of `prototype`.
    void work(const EntryLineExpander& prototype);

    // Stops the workers once the writer is done.
    void stop();

private:
    // Where a worker's lines go: the block it fills for its chunk, a spare
    // one taken for its first line (between chunks it holds none, and making
    // the sink allocates nothing).
    class BlockSink final : public LineSink {
    public:
        explicit BlockSink(ParallelExpansion& expansion) : expansion_(expansion) {}
        // The lines from now on belong to `chunk`.
        void startChunk(Chunk& chunk) { chunk_ = &chunk; }
        void printLine(std::string_view line) override { printJoined({line}); }
        void printJoined(std::initializer_list<std::string_view> pieces) override;
        // Called after each entry: publishes the lines so far as finished,
        // and wakes the writer if it wants them.
        void entryDone();
        // Passes the block to the chunk for the writer, unless it is empty.
        // Waits while the chunk holds as many blocks as it may, unless the
        // writer is done.
        void handOver();

    private:
        ParallelExpansion& expansion_;
        Chunk* chunk_ = nullptr;
        std::string block_; // whole lines of the chunk, not yet handed over
    };

    Chunk* takeChunk();
    std::string spareBlock();
    void keepSpare(std::string block);
    void finish(Chunk& chunk, bool expanded, std::int64_t count);
    // The blocks of `chunk` for the writer, until it is done; false when an
    // entry of it failed.
    bool writeChunk(Chunk& chunk, LineSink& sink);
    // The lines that the worker of `chunk` finished and the writer has not
    // copied yet, copied out of the block it fills; the caller holds the
    // chunk's mutex.
    std::string copyFinishedLines(Chunk& chunk);

    const std::string_view text_;
    const ExpansionOptions options_;
    std::mutex mutex_;
    std::condition_variable chunksChanged_;     // a chunk taken or written, or the end
    std::deque<std::unique_ptr<Chunk>> chunks_; // taken and not yet written, in text order
    std::size_t cut_ = 0;                       // where the next chunk begins
    bool stopped_ = false;                      // the writer is done
    std::mutex sparesMutex_;
    std::vector<std::string> spares_; // written blocks, empty, kept for their memory
};

void ParallelExpansion::BlockSink::printJoined(std::initializer_list<std::string_view> pieces) {
    std::size_t size = 1;
    for (const std::string_view piece : pieces) size += piece.size();
    // A block holds at most blockBytes unless one line is longer: it never
    // outgrows the room of a spare block, so that the bytes the writer may
    // copy out of it never move (only an empty block grows).
    if (!block_.empty() && block_.size() + size > expansion_.options_.blockBytes) handOver();
    if (block_.capacity() < expansion_.options_.blockBytes) block_ = expansion_.spareBlock();
    const std::size_t end = block_.size();
    // Room for the line, then its pieces copied in place: one size check for
    // the line rather than one per piece.
    block_.resize(end + size);
    char* out = block_.data() + end;
    for (const std::string_view piece : pieces) {
        if (!piece.empty()) std::memcpy(out, piece.data(), piece.size());
        out += piece.size();
    }
    *out = '\n';
}

void ParallelExpansion::BlockSink::entryDone() {
    chunk_->fillingData.store(block_.data(), std::memory_order_relaxed);
    chunk_->fillingFinished.store(block_.size());
    if (!chunk_->wanted.load()) return;
    const std::lock_guard lock(chunk_->mutex);
    chunk_->changed.notify_all();
}

void ParallelExpansion::BlockSink::handOver() {
    if (block_.empty()) return;
    std::unique_lock lock(chunk_->mutex);
    chunk_->blocks.push_back(Block{std::exchange(block_, std::string()), chunk_->fillingCopied});
    chunk_->fillingCopied = 0;
    chunk_->fillingFinished.store(0);
    chunk_->fillingData.store(nullptr, std::memory_order_relaxed);
    chunk_->changed.notify_all();
    chunk_->changed.wait(lock,
                         [&] { return chunk_->stopped || chunk_->blocks.size() < expansion_.options_.blocksPerChunk; });
}

// The next chunk, cut after the last one, once fewer than the allowed chunks
// are in flight; null when the text is done or the writer is.
Chunk* ParallelExpansion::takeChunk() {
    std::unique_lock lock(mutex_);
    chunksChanged_.wait(lock, [&] { return stopped_ || chunks_.size() < options_.chunksInFlight; });
    if (stopped_ || cut_ == text_.size()) return nullptr;
    const std::size_t end = lineEndFrom(text_, std::min(text_.size(), cut_ + options_.chunkBytes));
    chunks_.push_back(std::make_unique<Chunk>());
    chunks_.back()->text = text_.substr(cut_, end - cut_);
    cut_ = end;
    chunksChanged_.notify_all();
    return chunks_.back().get();
}

// An empty block with room for blockBytes: one written before, whose pages
// are filled again rather than asked of the system anew, when there is one.
// There are never more spares than blocks in flight.
std::string ParallelExpansion::spareBlock() {
    {
        const std::lock_guard lock(sparesMutex_);
        if (!spares_.empty()) {
            std::string spare = std::move(spares_.back());
            spares_.pop_back();
            return spare;
        }
    }
    std::string block;
    block.reserve(options_.blockBytes);
    return block;
}

void ParallelExpansion::keepSpare(std::string block) {
    block.clear();
    const std::lock_guard lock(sparesMutex_);
    spares_.push_back(std::move(block));
}

void ParallelExpansion::finish(Chunk& chunk, bool expanded, std::int64_t count) {
    if (!expanded) {
        // No chunk after a failed one is needed.
        const std::lock_guard lock(mutex_);
        cut_ = text_.size();
        chunksChanged_.notify_all();
    }
    const std::lock_guard lock(chunk.mutex);
    chunk.done = true;
    chunk.failed = !expanded;
    chunk.count = count;
    chunk.changed.notify_all();
}

void ParallelExpansion::work(const EntryLineExpander& prototype) {
    std::unique_ptr<EntryLineExpander> expander;
    BlockSink sink(*this);
    while (Chunk* chunk = takeChunk()) {
        sink.startChunk(*chunk);
        std::int64_t count = 0;
        bool expanded = false;
        try {
            if (!expander)
                expander = std::make_unique<EntryLineExpander>(prototype, EntryLineExpander::SharingCaches::with);
            expanded = expandLines(chunk->text, *expander, sink, count, [&] { sink.entryDone(); });
        } catch (const std::bad_alloc&) {
            // Running out of memory fails the entry being expanded, as any
            // failure does; the lines before it stay.
            expanded = false;
        }
        try {
            sink.handOver();
        } catch (const std::bad_alloc&) {
            expanded = false;
        }
        finish(*chunk, expanded, count);
    }
}

std::string ParallelExpansion::copyFinishedLines(Chunk& chunk) {
    const std::size_t finished = chunk.fillingFinished.load();
    const char* data = chunk.fillingData.load(std::memory_order_relaxed);
    std::string lines = spareBlock();
    lines.assign(data + chunk.fillingCopied, finished - chunk.fillingCopied);
    chunk.fillingCopied = finished;
    return lines;
}

bool ParallelExpansion::writeChunk(Chunk& chunk, LineSink& sink) {
    const auto ready = [&] { return !chunk.blocks.empty() || chunk.done; };
    const auto finishedLines = [&] { return chunk.fillingFinished.load() > chunk.fillingCopied; };
    std::unique_lock lock(chunk.mutex);
    while (true) {
        // Each block as soon as it comes. When none comes for a while, the
        // lines of the entries finished so far, as soon as there are some.
        if (!chunk.changed.wait_for(lock, options_.linesLatency, ready)) {
            chunk.wanted.store(true);
            chunk.changed.wait(lock, [&] { return ready() || finishedLines(); });
            chunk.wanted.store(false);
        }
        Block block;
        if (!chunk.blocks.empty()) {
            block = std::move(chunk.blocks.front());
            chunk.blocks.pop_front();
            chunk.changed.notify_all();
        } else if (finishedLines()) {
            block.lines = copyFinishedLines(chunk);
        } else {
            return !chunk.failed; // done, every block written
        }
        lock.unlock();
        sink.printLines(std::string_view(block.lines).substr(block.from));
        keepSpare(std::move(block.lines));
        lock.lock();
    }
}

std::optional<std::int64_t> ParallelExpansion::write(LineSink& sink) {
    std::int64_t count = 0;
    while (true) {
        Chunk* chunk = nullptr;
        {
            std::unique_lock lock(mutex_);
            chunksChanged_.wait(lock, [&] { return !chunks_.empty() || cut_ == text_.size(); });
            if (chunks_.empty()) return count;
            chunk = chunks_.front().get();
        }
        if (!writeChunk(*chunk, sink)) return std::nullopt;
        count += chunk->count;
        const std::lock_guard lock(mutex_);
        chunks_.pop_front();
        chunksChanged_.notify_all();
    }
}

void ParallelExpansion::stop() {
    const std::lock_guard lock(mutex_);
    stopped_ = true;
    for (const std::unique_ptr<Chunk>& chunk : chunks_) {
        const std::lock_guard chunkLock(chunk->mutex);
        chunk->stopped = true;
        chunk->changed.notify_all();
    }
    chunksChanged_.notify_all();
}

} // namespace

bool isExpandedLine(std::string_view significantLine) {
    // An empty line, or one that begins with "#" in its first column: the
    // "#use " lines (significantLines drops every other line that begins
    // with "#").
    return !significantLine.empty() && significantLine.front() != '#';
}

std::vector<std::string_view> significantLines(std::string_view text) {
    std::vector<std::string_view> lines;
    lines.reserve(static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1);
    forEachLineOf(text, [&](std::string_view line) {
        if (isSignificantLine(line)) lines.push_back(line);
    });
    return lines;
}

std::optional<std::vector<std::string>> loadDictionary(const std::string& path) {
    const std::optional<std::string> text = readUtf8File(path);
    if (!text) return std::nullopt;
    const std::vector<std::string_view> lines = significantLines(*text);
    return std::vector<std::string>(lines.begin(), lines.end());
}

std::optional<std::int64_t> expandDictionaryText(std::string_view dictionaryText,
                                                 const PropertiesDefinitions& propertiesDefinitions,
                                                 const MGFSA& morphologicalParadigms, LineSink& sink,
                                                 const ExpansionOptions& options) {
    std::unique_ptr<const EntryLineExpander> caches;
    try {
        caches =
            std::make_unique<const EntryLineExpander>(propertiesDefinitions, morphologicalParadigms, options.explore);
    } catch (const std::bad_alloc&) {
        return std::nullopt;
    }
    return expandDictionaryText(dictionaryText, *caches, sink, options);
}

std::optional<std::int64_t> expandDictionaryText(std::string_view dictionaryText, const EntryLineExpander& sharing,
                                                 LineSink& sink, const ExpansionOptions& options) {
    const unsigned workers = threadCount(options.threads); // one per processor unless the options say otherwise
    if (workers == 1) {
        std::int64_t count = 0;
        try {
            EntryLineExpander expander(sharing, EntryLineExpander::SharingCaches::with);
            if (!expandLines(dictionaryText, expander, sink, count, [] {})) return std::nullopt;
        } catch (const std::bad_alloc&) {
            return std::nullopt; // memory that runs out fails the entry being expanded
        }
        return count;
    }
    ParallelExpansion expansion(dictionaryText, options);
    std::optional<std::int64_t> count;
    {
        std::vector<std::jthread> threads;
        threads.reserve(workers);
        try {
            for (unsigned i = 0; i < workers; ++i) threads.emplace_back([&] { expansion.work(sharing); });
        } catch (const std::system_error&) {
            // Fewer threads than asked for (the system refuses more): those
            // that started take every chunk.
        }
        if (threads.empty()) {
            ExpansionOptions one = options;
            one.threads = 1;
            return expandDictionaryText(dictionaryText, sharing, sink, one);
        }
        count = expansion.write(sink);
        expansion.stop();
    } // the workers are joined here
    return count;
}

std::optional<std::int64_t> inflectAndDeriveDictionary(const std::string& dictionaryPath,
                                                       const PropertiesDefinitions& propertiesDefinitions,
                                                       const MGFSA& morphologicalParadigms, LineSink& sink) {
    const std::optional<std::string> text = readUtf8File(dictionaryPath);
    if (!text) return std::nullopt;
    return expandDictionaryText(*text, propertiesDefinitions, morphologicalParadigms, sink);
}

} // namespace lexpand
