// A file mapped into memory read-only, for reading without copying it.

#ifndef LEXPAND_ENGINE_MAPPEDFILE_H
#define LEXPAND_ENGINE_MAPPEDFILE_H

#include <optional>
#include <string>
#include <string_view>

namespace lexpand {

class MappedFile {
public:
    // Maps the whole regular file at `path`. Absent, with the reason (the
    // system's message) in `problem`, when it cannot be opened, is not a
    // regular file or cannot be mapped. An empty file maps to no byte.
    static std::optional<MappedFile> open(const std::string& path, std::string& problem);

    MappedFile(MappedFile&& other) noexcept;
    MappedFile& operator=(MappedFile&& other) noexcept;
    MappedFile(const MappedFile&) = delete; // owns the mapping
    MappedFile& operator=(const MappedFile&) = delete;
    ~MappedFile();

    // The bytes of the file, valid while this object lives.
    std::string_view bytes() const { return std::string_view(data_, size_); }

private:
    MappedFile(const char* data, std::size_t size) : data_(data), size_(size) {}
    const char* data_ = nullptr;
    std::size_t size_ = 0;
};

} // namespace lexpand

#endif // LEXPAND_ENGINE_MAPPEDFILE_H
