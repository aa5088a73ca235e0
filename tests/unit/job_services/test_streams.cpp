#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "job/streams/streams.h"

namespace tarn {
namespace {

namespace fs = std::filesystem;

/// A directory of its own for each test, gone after it.
class Streams_files : public testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "tarn_streams_XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    directory_ = pattern;
  }
  void TearDown() override { fs::remove_all(directory_); }
  std::string path(const std::string& name) const { return (directory_ / name).string(); }
  std::string read(const std::string& name) const {
    std::ifstream file(path(name), std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
  }
  void make(const std::string& name, const std::string& text) const {
    std::ofstream(path(name), std::ios::binary) << text;
  }
  fs::path directory_;
  std::string errmsg_;
};

std::vector<std::byte> bytes_of(std::string_view text) {
  std::vector<std::byte> bytes;
  for (const char c : text) bytes.push_back(static_cast<std::byte>(c));
  return bytes;
}

TEST_F(Streams_files, output_is_emptied_when_opened_and_holds_what_was_written) {
  make("out", "an older and longer text");
  Streams streams;
  ASSERT_TRUE(streams.open_output(9, path("out"), errmsg_));
  streams.write(9, "first ");
  streams.write_line(9, "line");
  streams.write(9, "no end");
  EXPECT_TRUE(streams.close(9));
  EXPECT_FALSE(streams.is_open(9));
  EXPECT_EQ(read("out"), "first line\nno end");
}

TEST_F(Streams_files, flush_brings_the_text_to_the_file) {
  Streams streams;
  ASSERT_TRUE(streams.open_output(9, path("out"), errmsg_));
  streams.write(9, "text");
  streams.flush(9);
  EXPECT_EQ(read("out"), "text");
  streams.write(9, " more");
  streams.flush_all();
  EXPECT_EQ(read("out"), "text more");
}

TEST_F(Streams_files, more_than_any_buffer_is_written_whole) {
  std::string expected;
  {
    Streams streams;
    ASSERT_TRUE(streams.open_output(9, path("out"), errmsg_));
    for (int k = 0; k < 30000; ++k) {
      const std::string line = "line " + std::to_string(k);
      streams.write_line(9, line);
      expected += line + "\n";
    }
  }  // closed by the destructor
  EXPECT_EQ(read("out"), expected);
}

TEST_F(Streams_files, close_with_remove_takes_the_file_away) {
  Streams streams;
  ASSERT_TRUE(streams.open_output(9, path("out"), errmsg_));
  streams.write(9, "text");
  EXPECT_TRUE(streams.close(9, Close::remove));
  EXPECT_FALSE(fs::exists(path("out")));
}

TEST_F(Streams_files, a_file_that_cannot_be_opened_gives_the_system_text_and_leaves_the_number_as_it_was) {
  Streams streams;
  streams.open_memory(9);
  EXPECT_FALSE(streams.open_output(9, path("no/such/directory"), errmsg_));
  EXPECT_EQ(errmsg_, "No such file or directory");
  streams.write(9, "still here");
  EXPECT_EQ(streams.contents(9), "still here");
  EXPECT_FALSE(streams.open_output(9, directory_.string(), errmsg_));
  EXPECT_EQ(errmsg_, "Is a directory");
  EXPECT_FALSE(streams.open_input(4, path("none"), errmsg_));
  EXPECT_EQ(errmsg_, "No such file or directory");
  EXPECT_FALSE(streams.is_open(4));
}

TEST_F(Streams_files, a_directory_is_no_input) {
  Streams streams;
  EXPECT_FALSE(streams.open_input(4, directory_.string(), errmsg_));
  EXPECT_EQ(errmsg_, "Is a directory");
}

TEST_F(Streams_files, a_file_without_permission_is_no_input) {
  make("closed", "text");
  ASSERT_EQ(chmod(path("closed").c_str(), 0), 0);
  const uid_t user = geteuid();
  if (user == 0) {
    ASSERT_EQ(seteuid(65534), 0) << "the superuser may read everything, so the test is another user";
  }
  Streams streams;
  const bool opened = streams.open_input(4, path("closed"), errmsg_);
  if (user == 0) {
    ASSERT_EQ(seteuid(user), 0);
  }
  EXPECT_FALSE(opened);
  EXPECT_EQ(errmsg_, "Permission denied");
}

TEST_F(Streams_files, a_moved_record_of_streams_keeps_its_files) {
  Streams first;
  ASSERT_TRUE(first.open_output(9, path("out"), errmsg_));
  first.write(9, "one ");
  Streams second = std::move(first);
  second.write(9, "two");
  first.write(9, "lost");  // moved from: every number is absent
  first.open_memory(7);    // and can be used again
  first.write(7, "x");
  EXPECT_EQ(first.contents(7), "x");
  first = std::move(second);
  EXPECT_TRUE(first.close(9));
  EXPECT_EQ(read("out"), "one two");
}

TEST(Streams, a_full_disk_is_told_and_never_thrown) {
  std::string errmsg;
  Streams streams;
  ASSERT_TRUE(streams.open_output(9, "/dev/full", errmsg)) << errmsg;
  streams.write(9, "text");
  EXPECT_EQ(streams.fault(9), "");
  streams.flush(9);
  EXPECT_EQ(streams.fault(9), "No space left on device");
  streams.write(9, std::string(200000, 'x'));
  EXPECT_FALSE(streams.close(9));
  EXPECT_EQ(streams.fault(9), "No space left on device") << "it stays to be asked for after close";
  streams.open_null(9);
  EXPECT_EQ(streams.fault(9), "") << "until the number is opened again";
}

TEST(Streams, a_fault_is_also_met_at_close) {
  std::string errmsg;
  Streams streams;
  ASSERT_TRUE(streams.open_output(9, "/dev/full", errmsg)) << errmsg;
  streams.write(9, "text");
  EXPECT_FALSE(streams.close(9));
  EXPECT_EQ(streams.fault(9), "No space left on device");
}

TEST(Streams, absent_numbers_take_text_and_lose_it) {
  Streams streams;
  for (const int number : {-1, 3, 99, 100, 1000000}) {
    streams.write(number, "text");
    streams.write_line(number, "text");
    streams.write_record(number, bytes_of("text"));
    streams.flush(number);
    EXPECT_TRUE(streams.close(number));
    EXPECT_FALSE(streams.is_open(number));
    EXPECT_EQ(streams.contents(number), "");
    EXPECT_EQ(streams.fault(number), "");
    EXPECT_EQ(streams.read_piece(number, 10).end, Piece_end::end_of_file);
    std::vector<std::byte> bytes;
    EXPECT_EQ(streams.read_record(number, bytes), Record_end::end_of_file);
  }
}

TEST(Streams, at_the_start_there_are_the_two_process_outputs) {
  Streams streams;
  for (int number = 0; number < 100; ++number) EXPECT_EQ(streams.is_open(number), number == 0 || number == 6);
}

TEST(Streams, memory_keeps_its_text_after_close) {
  Streams streams;
  streams.open_memory(6);
  streams.write_line(6, "kept");
  EXPECT_TRUE(streams.close(6));
  EXPECT_FALSE(streams.is_open(6));
  streams.write_line(6, "dropped");
  EXPECT_EQ(streams.contents(6), "kept\n");
  streams.open_memory(6);
  EXPECT_EQ(streams.contents(6), "");
}

TEST(Streams, the_null_sink_keeps_nothing) {
  Streams streams;
  streams.open_null(9);
  EXPECT_TRUE(streams.is_open(9));
  streams.write_line(9, "text");
  EXPECT_EQ(streams.contents(9), "");
  EXPECT_TRUE(streams.close(9));
}

/// All pieces of a text, as "text|" for a line's end, "text+" for more, "." for the end of the file.
std::string pieces(Streams& streams, int number, std::size_t max) {
  std::string all;
  for (int k = 0; k < 1000; ++k) {
    const Piece piece = streams.read_piece(number, max);
    all += piece.text;
    if (piece.end == Piece_end::end_of_file) return all + ".";
    if (piece.end == Piece_end::fault) return all + "!" + piece.fault_text;
    all += piece.end == Piece_end::more ? '+' : '|';
  }
  return all + "endless";
}

TEST(Streams, lines_are_read_in_pieces) {
  Streams streams;
  const auto in = [&](std::string text) {
    streams.open_memory_input(4, std::move(text));
    return pieces(streams, 4, 4);
  };
  EXPECT_EQ(in(""), ".");
  EXPECT_EQ(in("\n"), "|.");
  EXPECT_EQ(in("ab\ncd\n"), "ab|cd|.");
  EXPECT_EQ(in("ab\ncd"), "ab|cd|.") << "a last line without its end";
  EXPECT_EQ(in("abcdefghij\nk"), "abcd+efgh+ij|k|.");
  EXPECT_EQ(in("abcd\nef\n"), "abcd+|ef|.") << "a full piece leaves the line's end for the next one";
  EXPECT_EQ(in("ab\r\n\tc"), "ab\r|\tc|.") << "carriage returns and tabs are the reader's matter";
  EXPECT_EQ(in(std::string("a\0b\n", 4)), std::string("a\0b|.", 5));
}

TEST_F(Streams_files, pieces_of_a_file_longer_than_any_buffer) {
  std::string text, expected;
  for (int k = 1; k <= 60; ++k) {
    const std::string line(static_cast<std::size_t>(k) * 251, static_cast<char>('a' + k % 26));
    text += line + "\n";
    for (std::size_t at = 0; at <= line.size(); at += 4096) {
      const std::string piece = line.substr(at, 4096);
      expected += piece + (piece.size() == 4096 ? "+" : "|");
    }
  }
  make("deck", text);
  Streams streams;
  ASSERT_TRUE(streams.open_input(4, path("deck"), errmsg_));
  EXPECT_EQ(pieces(streams, 4, 4096), expected + ".");
  EXPECT_EQ(streams.read_piece(4, 4096).end, Piece_end::end_of_file) << "the end stays the end";
}

TEST_F(Streams_files, a_read_fault_is_told_once_and_then_the_file_is_at_its_end) {
  // Reading the memory of a process at address 0 fails on every system that has the file.
  Streams streams;
  ASSERT_TRUE(streams.open_input(4, "/proc/self/mem", errmsg_)) << errmsg_;
  const Piece piece = streams.read_piece(4, 4096);
  ASSERT_EQ(piece.end, Piece_end::fault);
  EXPECT_EQ(piece.fault_text, "Input/output error");
  EXPECT_GT(piece.fault_number, 0);
  EXPECT_EQ(piece.text, "");
  EXPECT_EQ(streams.read_piece(4, 4096).end, Piece_end::end_of_file);
}

TEST_F(Streams_files, a_pipe_that_delivers_in_small_parts_is_read_whole) {
  const std::string name = path("pipe");
  ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
  std::thread writer([&] {
    Streams streams;
    std::string errmsg;
    if (!streams.open_output(9, name, errmsg)) return;
    for (const char* part : {"ab", "c\nde", "f\n"}) {
      streams.write(9, part);
      streams.flush(9);
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
  });
  Streams streams;
  const bool opened = streams.open_input(4, name, errmsg_);
  const std::string read = opened ? pieces(streams, 4, 100) : errmsg_;
  writer.join();
  EXPECT_EQ(read, "abc|def|.");
}

// The records that unformatted_records.f90 writes.
void write_reference_records(Streams& streams, int number) {
  const std::array<double, 3> betas{0.5, 1.0, 1.5};
  streams.write_record(number, Record().text("BINARY", 8).value(3).value(4).value(1).value(0));
  streams.write_record(number, Record().text("BETA PAR").values(std::span<const double>(betas)));
  streams.write_record(number, Record());
  streams.write_record(number, Record().text("ROW    1").value(1.0));
  streams.write_record(number, Record().text("a tail"));
}

void expect_reference_records(Streams& streams, int number) {
  std::vector<std::byte> bytes;
  ASSERT_EQ(streams.read_record(number, bytes), Record_end::read);
  Record_reader header(bytes);
  EXPECT_EQ(header.text(8), "BINARY  ");
  for (const int expected : {3, 4, 1, 0}) EXPECT_EQ(header.value<std::int32_t>(), expected);
  EXPECT_EQ(header.bytes_left(), 0u);
  EXPECT_FALSE(header.short_record());
  ASSERT_EQ(streams.read_record(number, bytes), Record_end::read);
  Record_reader betas(bytes);
  EXPECT_EQ(betas.text(8), "BETA PAR");
  std::array<double, 3> values{};
  betas.values(std::span<double>(values));
  EXPECT_EQ(values, (std::array<double, 3>{0.5, 1.0, 1.5}));
  EXPECT_EQ(betas.value<double>(), 0.0);
  EXPECT_TRUE(betas.short_record());
  ASSERT_EQ(streams.read_record(number, bytes), Record_end::read);
  EXPECT_TRUE(bytes.empty());
  ASSERT_EQ(streams.read_record(number, bytes), Record_end::read);
  EXPECT_EQ(bytes.size(), 16u);
  ASSERT_EQ(streams.read_record(number, bytes), Record_end::read);
  EXPECT_EQ(bytes, bytes_of("a tail"));
  EXPECT_EQ(streams.read_record(number, bytes), Record_end::end_of_file);
}

class Streams_records : public Streams_files, public testing::WithParamInterface<bool> {};

TEST_P(Streams_records, agree_with_a_fortran_run_time_in_both_directions) {
  const bool cut = GetParam();  // subrecords of at most 16 bytes
  const std::string reference =
      std::string(TARN_TEST_DATA) + (cut ? "/unformatted_subrecords.bin" : "/unformatted_records.bin");
  Streams streams;
  if (cut) streams.set_subrecord_limit(16);
  ASSERT_TRUE(streams.open_output(10, path("records"), errmsg_));
  write_reference_records(streams, 10);
  EXPECT_TRUE(streams.close(10));
  std::ifstream file(reference, std::ios::binary);
  std::ostringstream expected;
  expected << file.rdbuf();
  ASSERT_FALSE(expected.str().empty());
  EXPECT_EQ(read("records"), expected.str());
  ASSERT_TRUE(streams.open_input(10, reference, errmsg_));
  expect_reference_records(streams, 10);
}
INSTANTIATE_TEST_SUITE_P(whole_and_cut, Streams_records, testing::Bool());

TEST(Streams, damaged_records_are_told) {
  Streams streams;
  std::vector<std::byte> bytes;
  const auto end_of = [&](std::string text) {
    streams.open_memory_input(10, std::move(text));
    return streams.read_record(10, bytes);
  };
  const std::string four("\4\0\0\0", 4), five("\5\0\0\0", 4), minus_four("\xfc\xff\xff\xff", 4);
  EXPECT_EQ(end_of(four + "abcd" + four), Record_end::read);
  EXPECT_EQ(end_of(""), Record_end::end_of_file);
  EXPECT_EQ(end_of("\4"), Record_end::damaged) << "half a count";
  EXPECT_EQ(end_of(four), Record_end::damaged);
  EXPECT_EQ(end_of(four + "ab"), Record_end::damaged);
  EXPECT_EQ(end_of(four + "abcd"), Record_end::damaged);
  EXPECT_EQ(end_of(four + "abcd" + five), Record_end::damaged) << "counts differ";
  EXPECT_EQ(end_of(four + "abcd" + minus_four), Record_end::damaged) << "nothing was before";
  EXPECT_EQ(end_of(minus_four + "abcd" + four), Record_end::damaged) << "nothing follows";
  EXPECT_EQ(end_of(std::string("\xff\xff\xff\x7f", 4) + "abcd"), Record_end::damaged)
      << "2^31 - 1 bytes of 4";
  EXPECT_EQ(end_of(std::string("\0\0\0\x80", 4)), Record_end::damaged) << "a count without an opposite";
}

TEST(Streams, text_of_a_record_is_cut_or_padded) {
  Record record;
  record.text("abc", 5).text("abcdef", 2);
  const auto bytes = record.bytes();
  EXPECT_EQ(std::vector<std::byte>(bytes.begin(), bytes.end()), bytes_of("abc  ab"));
  record.clear();
  EXPECT_TRUE(record.bytes().empty());
}

}  // namespace
}  // namespace tarn
