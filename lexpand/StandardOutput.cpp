// Exports StandardOutput: lexpand's buffered channel to standard output, its
// handling of write errors and of the signals that end the process.

#include "StandardOutput.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>

namespace lexpand {
namespace {

constexpr std::size_t capacity = std::size_t{1} << 20;

// What the signal handlers reach, hence process-wide: the buffer and the
// length of the complete lines at its start; whether a thread is writing the
// buffer; a signal that came while it was.
char buffer[capacity];
std::atomic<std::size_t> committed{0};
std::atomic<bool> writing{false};
std::atomic<int> deferredSignal{0};
static_assert(std::atomic<std::size_t>::is_always_lock_free && std::atomic<bool>::is_always_lock_free &&
              std::atomic<int>::is_always_lock_free);

sigset_t handledSignals() {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&set, signal);
    return set;
}

// Writes all of `size` bytes at `data` to standard output, retrying after an
// interruption and waiting while a non-blocking output is full. False on a
// write error. Async-signal-safe.
bool writeAll(const char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t written = ::write(STDOUT_FILENO, data, size);
        if (written >= 0) {
            data += written;
            size -= static_cast<std::size_t>(written);
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            pollfd output{STDOUT_FILENO, POLLOUT, 0};
            ::poll(&output, 1, -1); // an error shows in the next write
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

bool writeAll(std::string_view text) {
    return writeAll(text.data(), text.size());
}

// Writes the complete lines of the buffer, then ends the process by
// `signal` with its default action. Async-signal-safe.
[[noreturn]] void endBySignal(int signal) {
    writeAll(buffer, committed.load());
    struct sigaction defaultAction {};
    defaultAction.sa_handler = SIG_DFL;
    sigemptyset(&defaultAction.sa_mask);
    ::sigaction(signal, &defaultAction, nullptr);
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, signal);
    ::sigprocmask(SIG_UNBLOCK, &set, nullptr);
    ::raise(signal);
    ::_exit(128 + signal); // not reached: the default action of these signals ends the process
}

// While a thread writes the buffer, a signal is left to that thread.
void onSignal(int signal) {
    deferredSignal.store(signal);
    if (writing.exchange(true)) return;
    endBySignal(signal);
}

// Blocks the handled signals in this thread and marks the buffer as being
// written while it lives: no handler writes the buffer meanwhile, so no
// line is written twice or in part. A signal that came meanwhile ends the
// process when it is destroyed.
class WritingBuffer {
public:
    WritingBuffer() {
        const sigset_t set = handledSignals();
        ::pthread_sigmask(SIG_BLOCK, &set, &previous_);
        writing.store(true);
    }
    WritingBuffer(const WritingBuffer&) = delete;
    WritingBuffer& operator=(const WritingBuffer&) = delete;
    ~WritingBuffer() {
        writing.store(false);
        ::pthread_sigmask(SIG_SETMASK, &previous_, nullptr); // a blocked signal is handled here
        if (const int signal = deferredSignal.load(); signal != 0 && !writing.exchange(true)) endBySignal(signal);
    }

private:
    sigset_t previous_;
};

// Writes the buffer and empties it; false on a write error.
bool writeBuffer() {
    const WritingBuffer guard;
    const bool written = writeAll(buffer, committed.load());
    committed.store(0);
    return written;
}

} // namespace

StandardOutput::StandardOutput() {
    if (::fcntl(STDOUT_FILENO, F_GETFD) == -1 && errno == EBADF) {
        const int readOnly = ::open("/dev/null", O_RDONLY);
        if (readOnly >= 0 && readOnly != STDOUT_FILENO) {
            ::dup2(readOnly, STDOUT_FILENO);
            ::close(readOnly);
        }
    }
    struct sigaction action {};
    action.sa_handler = onSignal;
    action.sa_mask = handledSignals();
    action.sa_flags = SA_RESTART;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction previous {};
        // A signal the process was started to ignore stays ignored.
        if (::sigaction(signal, nullptr, &previous) == 0 && previous.sa_handler == SIG_IGN) continue;
        ::sigaction(signal, &action, nullptr);
    }
}

bool StandardOutput::append(std::string_view first, std::string_view second) {
    return appendJoined({first, second});
}

bool StandardOutput::appendJoined(std::initializer_list<std::string_view> pieces) {
    if (failed_) return false;
    std::size_t size = 1;
    for (const std::string_view piece : pieces) size += piece.size();
    std::size_t used = committed.load();
    if (used + size > capacity) {
        if (!writeBuffer()) return !(failed_ = true);
        used = 0;
    }
    if (size > capacity) { // longer than the buffer: written on its own, whole
        const WritingBuffer guard;
        for (const std::string_view piece : pieces)
            if (!writeAll(piece)) return !(failed_ = true);
        failed_ = !writeAll("\n");
        return !failed_;
    }
    char* out = buffer + used;
    for (const std::string_view piece : pieces) out += piece.copy(out, piece.size());
    *out = '\n';
    committed.store(used + size); // the line is complete: a handler may write it from now on
    return true;
}

bool StandardOutput::appendLines(std::string_view lines) {
    if (failed_) return false;
    std::size_t used = committed.load();
    // Lines that fill a good part of the buffer are written as they stand,
    // after what the buffer holds, rather than copied into it first.
    const bool large = lines.size() >= capacity / 16;
    if (used + lines.size() > capacity || (large && used > 0)) {
        if (!writeBuffer()) return !(failed_ = true);
        used = 0;
    }
    if (large) {
        const WritingBuffer guard;
        failed_ = !writeAll(lines);
        return !failed_;
    }
    lines.copy(buffer + used, lines.size());
    committed.store(used + lines.size()); // whole lines: a handler may write them from now on
    return true;
}

void StandardOutput::printLine(std::string_view line) {
    append(line, {});
}

void StandardOutput::printLine(std::string_view first, std::string_view second) {
    append(first, second);
}

void StandardOutput::ExpansionLines::printLine(std::string_view line) {
    if (!output_.append(line, {})) std::_Exit(statusOutputFailed);
}

void StandardOutput::ExpansionLines::printJoined(std::initializer_list<std::string_view> pieces) {
    if (!output_.appendJoined(pieces)) std::_Exit(statusOutputFailed);
}

void StandardOutput::ExpansionLines::printLines(std::string_view lines) {
    if (!output_.appendLines(lines)) std::_Exit(statusOutputFailed);
}

int StandardOutput::finish(int status) {
    if (!failed_ && !writeBuffer()) failed_ = true;
    if (failed_ && status == 0) return statusOutputFailed;
    return status;
}

} // namespace lexpand
