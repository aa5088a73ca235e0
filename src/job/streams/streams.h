#pragma once
// Numbered streams: every file, the process's two outputs and the sinks of tests, each under its number.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace tarn {

/// What becomes of a file when its stream is closed.
enum class Close { keep, remove };

/// How a piece of a line ended.
enum class Piece_end {
  end_of_line,  ///< the line ends here; the next piece is of the next line
  more,         ///< the piece is full and the line's end has not been met
  end_of_file,  ///< nothing was left; the piece is empty
  fault         ///< the read failed; `fault_text` and `fault_number` tell why; the piece is empty
};

struct Piece {
  Piece_end end = Piece_end::end_of_file;
  std::string_view text;  ///< without the line's end; valid until the next read of the same stream
  std::string fault_text;
  int fault_number = 0;
};

/// How the reading of an unformatted record ended.
enum class Record_end {
  read,
  end_of_file,
  damaged  ///< head and tail counts differ, a count is impossible, or the file ends inside the record
};

/// The bytes of one unformatted record, put together piece by piece.
class Record {
 public:
  /// The characters of `text`, no length with them.
  Record& text(std::string_view text);
  /// `text` cut or padded with blanks to `width` characters.
  Record& text(std::string_view text, std::size_t width);
  /// One number as it lies in memory.
  template <class T>
  requires std::is_arithmetic_v<T> Record& value(T number) { return append(&number, sizeof number); }
  template <class T>
  requires std::is_arithmetic_v<T> Record& values(std::span<const T> numbers) {
    return append(numbers.data(), numbers.size_bytes());
  }
  std::span<const std::byte> bytes() const { return bytes_; }
  void clear() { bytes_.clear(); }

 private:
  Record& append(const void* from, std::size_t count);
  std::vector<std::byte> bytes_;
};

/// Takes the bytes of one record apart again. A read past the end gives zeros or blanks and makes
/// `short_record` true.
class Record_reader {
 public:
  explicit Record_reader(std::span<const std::byte> bytes) : rest_(bytes) {}
  std::string text(std::size_t width);
  template <class T>
  requires std::is_arithmetic_v<T> T value() {
    T number{};
    take(&number, sizeof number);
    return number;
  }
  template <class T>
  requires std::is_arithmetic_v<T>
  void values(std::span<T> numbers) { take(numbers.data(), numbers.size_bytes()); }
  bool short_record() const { return short_; }
  std::size_t bytes_left() const { return rest_.size(); }

 private:
  bool take(void* to, std::size_t count);
  std::span<const std::byte> rest_;
  bool short_ = false;
};

/// The streams of a job, numbers 0 to 99. At the start number 6 is the process's standard output, 0 its
/// standard error, all others are absent. Writing to an absent number does nothing. A write that fails does
/// not throw: the first fault of a number is kept for `fault`, and what follows it on that number is dropped.
/// Main thread only.
class Streams {
 public:
  Streams();
  ~Streams();
  Streams(Streams&&) noexcept;
  Streams& operator=(Streams&&) noexcept;

  /// Opens a file for writing (text or records), made if it is not there, emptied if it is. False with the
  /// system's text in `errmsg` when it cannot be opened; the number is then as it was.
  [[nodiscard]] bool open_output(int number, const std::string& name, std::string& errmsg);
  /// Opens a file for reading. False with the system's text when it is not there, may not be read or is a
  /// directory.
  [[nodiscard]] bool open_input(int number, const std::string& name, std::string& errmsg);
  void open_standard_output(int number);
  void open_standard_error(int number);
  /// Keeps what is written; see `contents`.
  void open_memory(int number);
  /// Reads from `text`.
  void open_memory_input(int number, std::string text);
  /// Takes everything and keeps nothing.
  void open_null(int number);
  bool is_open(int number) const;

  /// Flushes and closes; harmless when the number is absent. False when some write on the number has failed.
  /// What a memory stream holds stays to be seen.
  bool close(int number, Close how = Close::keep);
  /// Flushes and closes every stream.
  void close_all();

  /// Appends text as it stands; line ends are the caller's.
  void write(int number, std::string_view text);
  void write_line(int number, std::string_view text);
  void flush(int number);
  void flush_all();
  /// System text of the first write on this number that failed since it was opened, also after `close`;
  /// empty: none.
  std::string fault(int number) const;
  /// What was written to a memory stream, also after it was closed.
  std::string_view contents(int number) const;

  /// Up to `max` characters of the next line, without leaving the line when it is longer. A last line without
  /// an end of its own counts as a line. Carriage returns are left in the text. A number that is not open for
  /// reading is at its end of file.
  Piece read_piece(int number, std::size_t max);

  /// One sequential unformatted record: its bytes between two 32-bit counts of them. Records longer than the
  /// subrecord limit are cut: a negative head count tells that the record goes on, a negative tail count that
  /// it began before.
  void write_record(int number, std::span<const std::byte> bytes);
  void write_record(int number, const Record& record) { write_record(number, record.bytes()); }
  Record_end read_record(int number, std::vector<std::byte>& bytes);

  /// Longest subrecord, 2^31 - 9 bytes unless set.
  void set_subrecord_limit(std::int32_t limit) { subrecord_limit_ = limit; }

  /// Room for the lines of one output operation, kept from one to the next.
  std::string& work_text() { return work_text_; }

 private:
  struct Stream;
  static constexpr int count = 100;
  static bool in_range(int number) { return number >= 0 && number < count; }
  Stream* at(int number) const;
  bool failed(int number) const;
  void place(int number, std::unique_ptr<Stream> stream);
  std::vector<std::unique_ptr<Stream>> streams_;
  std::vector<int> faults_;  ///< numbers of the system's faults, 0: none
  std::string work_text_;
  std::int32_t subrecord_limit_ = 2147483639;
};

}  // namespace tarn
