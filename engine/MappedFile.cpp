// Exports MappedFile: read-only memory mappings of whole files (POSIX mmap).

#include "MappedFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace lexpand {

std::optional<MappedFile> MappedFile::open(const std::string& path, std::string& problem) {
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        problem = std::strerror(errno);
        return std::nullopt;
    }
    struct stat status {};
    if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
        problem = S_ISDIR(status.st_mode) ? "Is a directory" : "Not a regular file";
        ::close(descriptor);
        return std::nullopt;
    }
    const auto size = static_cast<std::size_t>(status.st_size);
    if (size == 0) {
        ::close(descriptor);
        return MappedFile(nullptr, 0);
    }
    void* data = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, descriptor, 0);
    const int mapError = errno;
    ::close(descriptor);
    if (data == MAP_FAILED) {
        problem = std::strerror(mapError);
        return std::nullopt;
    }
    return MappedFile(static_cast<const char*>(data), size);
}

MappedFile::MappedFile(MappedFile&& other) noexcept
    : data_(std::exchange(other.data_, nullptr)), size_(std::exchange(other.size_, 0)) {}

MappedFile& MappedFile::operator=(MappedFile&& other) noexcept {
    if (this != &other) {
        if (data_ != nullptr) ::munmap(const_cast<char*>(data_), size_);
        data_ = std::exchange(other.data_, nullptr);
        size_ = std::exchange(other.size_, 0);
    }
    return *this;
}

MappedFile::~MappedFile() {
    if (data_ != nullptr) ::munmap(const_cast<char*>(data_), size_);
}

} // namespace lexpand
