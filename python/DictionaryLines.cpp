// Exports DictionaryLines: the entry lines of a dictionary file, block by block.

#include "DictionaryLines.h"

#include <filesystem>
#include <string_view>
#include <system_error>

#include "DictionaryExpansion.h"
#include "TextServices.h"

namespace lexpand::python {

DictionaryLines::DictionaryLines(const std::string& path) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status)) {
        state_ = State::missing;
    } else if (std::filesystem::is_directory(status)) {
        state_ = State::unreadable;
    } else {
        file_.open(path, std::ios::binary);
        if (!file_) state_ = State::unreadable;
    }
}

std::optional<std::string> DictionaryLines::next() {
    while (state_ == State::reading && nextLine_ == lines_.size()) {
        if (!readBlock() && state_ == State::reading) state_ = State::finished;
    }
    if (state_ != State::reading) return std::nullopt;
    return std::move(lines_[nextLine_++]);
}

bool DictionaryLines::readBlock() {
    lines_.clear();
    nextLine_ = 0;
    // A line feed always ends a line, and never stands inside a UTF-8
    // sequence or a "\r\n" pair: a block cut after one splits and checks as
    // the whole text would.
    std::string block = std::move(carried_);
    carried_.clear();
    std::size_t cut = std::string::npos;
    while (file_ && cut == std::string::npos) {
        const std::size_t size = block.size();
        block.resize(size + blockSize);
        file_.read(block.data() + size, static_cast<std::streamsize>(blockSize));
        block.resize(size + static_cast<std::size_t>(file_.gcount()));
        const std::size_t found = std::string_view(block).substr(size).rfind('\n');
        if (found != std::string_view::npos) cut = size + found;
    }
    if (file_.bad()) {
        state_ = State::unreadable;
        return false;
    }
    if (cut != std::string::npos && file_) { // more may follow the last line feed
        carried_.assign(block, cut + 1);
        block.resize(cut + 1);
    }
    if (atStart_ && block.starts_with("\xEF\xBB\xBF")) block.erase(0, 3);
    atStart_ = false;
    if (!isValidUtf8(block)) {
        state_ = State::unreadable;
        return false;
    }
    for (const std::string_view line : significantLines(block))
        if (isExpandedLine(line)) lines_.emplace_back(line);
    return !block.empty() || file_.good();
}

} // namespace lexpand::python
