#include "job/streams/streams.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <limits>
#include <system_error>
#include <utility>

namespace tarn {

namespace {

constexpr std::size_t buffer_size = 1 << 16;

std::string system_text(int number) { return std::generic_category().message(number); }

/// Waits until a descriptor that would block can be used.
void wait_for(int fd, short events) {
  pollfd one{fd, events, 0};
  while (poll(&one, 1, -1) < 0 && errno == EINTR) {
  }
}

}  // namespace

Record& Record::append(const void* from, std::size_t count) {
  const auto* first = static_cast<const std::byte*>(from);
  bytes_.insert(bytes_.end(), first, first + count);
  return *this;
}

Record& Record::text(std::string_view text) { return append(text.data(), text.size()); }

Record& Record::text(std::string_view text, std::size_t width) {
  const std::size_t taken = std::min(text.size(), width);
  append(text.data(), taken);
  bytes_.resize(bytes_.size() + width - taken, std::byte{' '});
  return *this;
}

bool Record_reader::take(void* to, std::size_t count) {
  if (count > rest_.size()) {
    short_ = true;
    rest_ = {};
    return false;
  }
  if (count > 0) std::memcpy(to, rest_.data(), count);
  rest_ = rest_.subspan(count);
  return true;
}

std::string Record_reader::text(std::size_t width) {
  std::string text(width, ' ');
  take(text.data(), width);
  return text;
}

struct Streams::Stream {
  enum class Kind { output, memory, null, input };
  Kind kind = Kind::null;
  int fd = -1;           ///< -1: nothing behind the buffer
  bool owned = false;    ///< the descriptor is closed with the stream
  bool at_once = false;  ///< a terminal: nothing is held back
  bool closed = false;   ///< a memory stream whose contents are still to be seen
  bool broken = false;   ///< a write has failed, the rest is dropped
  bool ended = false;    ///< input: nothing more comes behind the buffer
  std::string name;      ///< of the file, for removal
  std::string buffer;    ///< output not yet written; memory: all of it; input: from `position` on
  std::size_t position = 0;

  Stream() = default;
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;
  ~Stream() {
    if (owned && fd >= 0) ::close(fd);
  }

  bool writable() const { return !closed && !broken && (kind == Kind::output || kind == Kind::memory); }

  /// Writes all of `text`; 0, or the number of the fault.
  int drain(std::string_view text) {
    while (!text.empty()) {
      const ssize_t written = ::write(fd, text.data(), text.size());
      if (written >= 0) {
        text.remove_prefix(static_cast<std::size_t>(written));
      } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
        wait_for(fd, POLLOUT);
      } else if (errno != EINTR) {
        return errno;
      }
    }
    return 0;
  }

  /// Brings more input behind what the buffer holds; 0, or the number of the fault. Sets `ended` at the end.
  int fill() {
    if (position > 0) {
      buffer.erase(0, position);
      position = 0;
    }
    const std::size_t held = buffer.size();
    buffer.resize(held + buffer_size);
    int fault = 0;
    ssize_t count = -1;
    while (count < 0 && fault == 0) {
      count = ::read(fd, buffer.data() + held, buffer_size);
      if (count >= 0) break;
      if (errno == EAGAIN || errno == EWOULDBLOCK) {
        wait_for(fd, POLLIN);
      } else if (errno != EINTR) {
        fault = errno;
      }
    }
    buffer.resize(held + static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    if (count <= 0) ended = true;
    return fault;
  }

  /// Appends `count` bytes of input to `bytes`; false when the file ends or fails before.
  bool take(std::size_t count, std::vector<std::byte>& bytes) {
    while (count > 0) {
      if (position == buffer.size() && (ended || fill() != 0 || position == buffer.size())) return false;
      const std::size_t piece = std::min(count, buffer.size() - position);
      const auto* first = reinterpret_cast<const std::byte*>(buffer.data() + position);
      bytes.insert(bytes.end(), first, first + piece);
      position += piece;
      count -= piece;
    }
    return true;
  }
};

Streams::Streams() : streams_(count), faults_(count) {
  open_standard_output(6);
  open_standard_error(0);
}

Streams::~Streams() { close_all(); }
Streams::Streams(Streams&&) noexcept = default;
Streams& Streams::operator=(Streams&& other) noexcept {
  if (this != &other) {
    close_all();
    streams_ = std::move(other.streams_);
    faults_ = std::move(other.faults_);
    subrecord_limit_ = other.subrecord_limit_;
  }
  return *this;
}

Streams::Stream* Streams::at(int number) const {
  if (!in_range(number) || streams_.empty()) return nullptr;
  return streams_[static_cast<std::size_t>(number)].get();
}

void Streams::place(int number, std::unique_ptr<Stream> stream) {
  if (!in_range(number)) return;
  if (streams_.empty()) {  // moved from
    streams_.resize(count);
    faults_.resize(count);
  }
  close(number);
  faults_[static_cast<std::size_t>(number)] = 0;
  streams_[static_cast<std::size_t>(number)] = std::move(stream);
}

bool Streams::open_output(int number, const std::string& name, std::string& errmsg) {
  auto stream = std::make_unique<Stream>();
  stream->kind = Stream::Kind::output;
  stream->name = name;
  do {
    stream->fd = ::open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  } while (stream->fd < 0 && errno == EINTR);
  if (stream->fd < 0) {
    errmsg = system_text(errno);
    return false;
  }
  stream->owned = true;
  stream->at_once = ::isatty(stream->fd) != 0;
  place(number, std::move(stream));
  return true;
}

bool Streams::open_input(int number, const std::string& name, std::string& errmsg) {
  auto stream = std::make_unique<Stream>();
  stream->kind = Stream::Kind::input;
  stream->name = name;
  do {
    stream->fd = ::open(name.c_str(), O_RDONLY | O_CLOEXEC);
  } while (stream->fd < 0 && errno == EINTR);
  if (stream->fd < 0) {
    errmsg = system_text(errno);
    return false;
  }
  stream->owned = true;
  struct stat about {};
  if (::fstat(stream->fd, &about) == 0 && S_ISDIR(about.st_mode)) {  // opens, but no read of it succeeds
    errmsg = system_text(EISDIR);
    return false;
  }
  place(number, std::move(stream));
  return true;
}

void Streams::open_standard_output(int number) {
  auto stream = std::make_unique<Stream>();
  stream->kind = Stream::Kind::output;
  stream->fd = STDOUT_FILENO;
  stream->at_once = ::isatty(STDOUT_FILENO) != 0;
  place(number, std::move(stream));
}

void Streams::open_standard_error(int number) {
  auto stream = std::make_unique<Stream>();
  stream->kind = Stream::Kind::output;
  stream->fd = STDERR_FILENO;
  stream->at_once = ::isatty(STDERR_FILENO) != 0;
  place(number, std::move(stream));
}

void Streams::open_memory(int number) {
  auto stream = std::make_unique<Stream>();
  stream->kind = Stream::Kind::memory;
  place(number, std::move(stream));
}

void Streams::open_memory_input(int number, std::string text) {
  auto stream = std::make_unique<Stream>();
  stream->kind = Stream::Kind::input;
  stream->buffer = std::move(text);
  stream->ended = true;
  place(number, std::move(stream));
}

void Streams::open_null(int number) { place(number, std::make_unique<Stream>()); }

bool Streams::is_open(int number) const {
  const Stream* stream = at(number);
  return stream != nullptr && !stream->closed;
}

bool Streams::close(int number, Close how) {
  Stream* stream = at(number);
  if (stream == nullptr || stream->closed) return !failed(number);
  flush(number);
  if (stream->owned) {
    const int fd = std::exchange(stream->fd, -1);
    // The descriptor is gone whatever close tells; the fault may be that of a write that the system had put
    // off.
    if (::close(fd) != 0 && errno != EINTR && stream->kind == Stream::Kind::output && !failed(number)) {
      faults_[static_cast<std::size_t>(number)] = errno;
    }
    if (how == Close::remove) ::unlink(stream->name.c_str());
  }
  if (stream->kind == Stream::Kind::memory) {
    stream->closed = true;
  } else {
    streams_[static_cast<std::size_t>(number)].reset();
  }
  return !failed(number);
}

void Streams::close_all() {
  if (streams_.empty()) return;
  for (int number = 0; number < count; ++number) close(number);
}

void Streams::write(int number, std::string_view text) {
  Stream* stream = at(number);
  if (stream == nullptr || !stream->writable()) return;
  stream->buffer.append(text);
  if (stream->kind == Stream::Kind::output && (stream->at_once || stream->buffer.size() >= buffer_size))
    flush(number);
}

void Streams::write_line(int number, std::string_view text) {
  Stream* stream = at(number);
  if (stream == nullptr || !stream->writable()) return;
  stream->buffer.append(text);
  write(number, "\n");
}

void Streams::flush(int number) {
  Stream* stream = at(number);
  if (stream == nullptr || stream->kind != Stream::Kind::output || stream->buffer.empty()) return;
  if (const int number_of_fault = stream->drain(stream->buffer); number_of_fault != 0) {
    stream->broken = true;
    faults_[static_cast<std::size_t>(number)] = number_of_fault;
  }
  stream->buffer.clear();
}

void Streams::flush_all() {
  for (int number = 0; number < count; ++number) flush(number);
}

bool Streams::failed(int number) const {
  return in_range(number) && !faults_.empty() && faults_[static_cast<std::size_t>(number)] != 0;
}

std::string Streams::fault(int number) const {
  return failed(number) ? system_text(faults_[static_cast<std::size_t>(number)]) : std::string();
}

std::string_view Streams::contents(int number) const {
  const Stream* stream = at(number);
  if (stream == nullptr || stream->kind != Stream::Kind::memory) return {};
  return stream->buffer;
}

Piece Streams::read_piece(int number, std::size_t max) {
  assert(max > 0);
  Piece piece;
  Stream* stream = at(number);
  if (stream == nullptr || stream->kind != Stream::Kind::input) return piece;
  std::size_t searched = 0;
  for (;;) {
    const std::string_view held = std::string_view(stream->buffer).substr(stream->position, max);
    const std::size_t line_end = held.find('\n', searched);
    if (line_end != std::string_view::npos) {
      piece.end = Piece_end::end_of_line;
      piece.text = held.substr(0, line_end);
      stream->position += line_end + 1;
      return piece;
    }
    if (held.size() == max) {
      piece.end = Piece_end::more;
      piece.text = held;
      stream->position += max;
      return piece;
    }
    if (stream->ended) {
      piece.end = held.empty() ? Piece_end::end_of_file : Piece_end::end_of_line;
      piece.text = held;
      stream->position += held.size();
      return piece;
    }
    searched = held.size();
    if (const int number_of_fault = stream->fill(); number_of_fault != 0) {
      piece.end = Piece_end::fault;
      piece.fault_text = system_text(number_of_fault);
      piece.fault_number = number_of_fault;
      return piece;
    }
  }
}

void Streams::write_record(int number, std::span<const std::byte> bytes) {
  const auto limit = static_cast<std::size_t>(subrecord_limit_);
  const auto mark = [&](std::size_t length, bool negative) {
    const auto size = static_cast<std::int32_t>(length);
    const std::int32_t marker = negative ? -size : size;
    char text[sizeof marker];
    std::memcpy(text, &marker, sizeof marker);
    write(number, {text, sizeof marker});
  };
  bool begun = false;
  do {
    const auto subrecord = bytes.first(std::min(bytes.size(), limit));
    bytes = bytes.subspan(subrecord.size());
    mark(subrecord.size(), !bytes.empty());
    write(number, {reinterpret_cast<const char*>(subrecord.data()), subrecord.size()});
    mark(subrecord.size(), begun);
    begun = true;
  } while (!bytes.empty());
}

Record_end Streams::read_record(int number, std::vector<std::byte>& bytes) {
  bytes.clear();
  Stream* stream = at(number);
  if (stream == nullptr || stream->kind != Stream::Kind::input) return Record_end::end_of_file;
  std::vector<std::byte> marker;
  const auto read_marker = [&](std::int32_t& value) {
    marker.clear();
    if (!stream->take(sizeof value, marker)) return false;
    std::memcpy(&value, marker.data(), sizeof value);
    return value != std::numeric_limits<std::int32_t>::min();
  };
  for (bool begun = false;; begun = true) {
    std::int32_t head = 0, tail = 0;
    if (!read_marker(head)) return !begun && marker.empty() ? Record_end::end_of_file : Record_end::damaged;
    const std::int32_t length = head < 0 ? -head : head;
    if (!stream->take(static_cast<std::size_t>(length), bytes) || !read_marker(tail))
      return Record_end::damaged;
    if (tail != (begun ? -length : length)) return Record_end::damaged;
    if (head >= 0) return Record_end::read;
  }
}

}  // namespace tarn
