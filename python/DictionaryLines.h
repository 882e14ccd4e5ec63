// Dictionary lines: the entry lines of a dictionary file, read block by block,
// so that a dictionary of any size is expanded without holding it whole. The
// lines are those that lexpand expands, in file order: the same splitting at
// line terminators (significantLines) and the same test (isExpandedLine).

#ifndef LEXPAND_PYTHON_DICTIONARYLINES_H
#define LEXPAND_PYTHON_DICTIONARYLINES_H

#include <cstddef>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

namespace lexpand::python {

class DictionaryLines {
public:
    // Opens the file at `path`; see state().
    explicit DictionaryLines(const std::string& path);

    enum class State {
        reading,    // lines may follow
        finished,   // every line was given
        missing,    // the file does not exist
        unreadable, // a directory, a read error, or text that is not UTF-8
    };
    State state() const { return state_; }

    // The next entry line; absent once the state is no longer `reading`.
    // A leading byte-order mark is dropped. Memory: one block of the file
    // (64 KiB, or the longest line when longer) and its lines. Cost: linear
    // in the file over all calls.
    std::optional<std::string> next();

private:
    // Reads the next block that ends with a line feed (or the end of the
    // file) and queues its entry lines; false when nothing is left.
    bool readBlock();

    static constexpr std::size_t blockSize = std::size_t{1} << 16;

    std::ifstream file_;
    State state_ = State::reading;
    bool atStart_ = true;
    std::string carried_; // read after the last line feed of the previous block
    std::vector<std::string> lines_;
    std::size_t nextLine_ = 0;
};

} // namespace lexpand::python

#endif // LEXPAND_PYTHON_DICTIONARYLINES_H
