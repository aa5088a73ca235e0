#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <string>
#include <vector>

#include "job/services/array.h"
#include "job/services/fault.h"
#include "job/services/print_matrix.h"

namespace tarn {
namespace {

class Print_matrix : public testing::Test {
 protected:
  Print_matrix() {
    for (const int number : {0, 6}) job_.streams.open_memory(number);
    job_.status.maxlin = 0;
  }
  std::string listing_text() const { return std::string(job_.streams.contents(6)); }
  Job job_;
};

TEST_F(Print_matrix, one_number) {
  print_matrix(job_, 42);
  print_matrix(job_, 1.5);
  print_matrix(job_, 1.5f, "f5.2");
  EXPECT_EQ(listing_text(), "        42\n  1.500000\n 1.50\n");
}

TEST_F(Print_matrix, a_vector_has_a_line_an_element) {
  Array1<double> a;
  ASSERT_TRUE(a.allocate(2));
  a(1) = 0.25, a(2) = -3;
  print_matrix(job_, a);
  Array1<int> n;
  ASSERT_TRUE(n.allocate(1));
  n(1) = 7;
  print_matrix(job_, n, "i3");
  EXPECT_EQ(listing_text(), "   1    0.250000\n   2   -3.000000\n   1    7\n");
}

TEST_F(Print_matrix, a_matrix_of_integers_has_its_own_item_in_the_heading) {
  Array2<int> a;
  ASSERT_TRUE(a.allocate(2, 3));
  for (int i = 1; i <= 2; ++i)
    for (int j = 1; j <= 3; ++j) a(i, j) = 10 * i + j;
  print_matrix(job_, a, "i4.3");
  EXPECT_EQ(listing_text(),
            "       001 002 003\n"
            "   1   011 012 013\n"
            "   2   021 022 023\n");
}

TEST_F(Print_matrix, a_matrix_of_reals_has_numbers_of_its_width_in_the_heading) {
  Array2<float> a;
  ASSERT_TRUE(a.allocate(1, 2));
  a(1, 1) = 0.5f, a(1, 2) = 2;
  print_matrix(job_, a);
  print_matrix(job_, a, "1pg12.3");
  EXPECT_EQ(listing_text(),
            "               1         2\n"
            "   1    0.500000  2.000000\n"
            "                 1           2\n"
            "   1     0.500        2.00    \n");
}

TEST_F(Print_matrix, a_wide_real_is_printed_as_a_64_bit_one) {
  Array1<long double> a;
  ASSERT_TRUE(a.allocate(1));
  a(1) = 0.125L;
  print_matrix(job_, a);
  EXPECT_EQ(listing_text(), "   1    0.125000\n");
}

TEST_F(Print_matrix, the_third_dimension_is_told) {
  Array3<int> a;
  ASSERT_TRUE(a.allocate(1, 2, 2));
  for (int k = 1; k <= 2; ++k)
    for (int j = 1; j <= 2; ++j) a(1, j, k) = 10 * j + k;
  print_matrix(job_, a, "i3");
  EXPECT_EQ(listing_text(),
            "    dimension 3 index = 1\n"
            "        1  2\n"
            "   1   11 21\n"
            "    dimension 3 index = 2\n"
            "        1  2\n"
            "   1   12 22\n");
}

TEST_F(Print_matrix, an_empty_matrix_has_empty_lines_of_cells) {
  Array2<double> a;
  ASSERT_TRUE(a.allocate(1, 0));
  print_matrix(job_, a);
  EXPECT_EQ(listing_text(), "\n   1\n");
}

TEST_F(Print_matrix, reserves_no_lines) {
  job_.status.maxlin = 50;
  job_.status.lines = 1;
  Array2<double> a;
  ASSERT_TRUE(a.allocate(20, 2));
  print_matrix(job_, a);
  EXPECT_EQ(job_.status.lines, 1);
}

TEST_F(Print_matrix, a_bad_format_is_fatal) {
  Array2<double> a;
  ASSERT_TRUE(a.allocate(1, 1));
  EXPECT_THROW(print_matrix(job_, a, "q9"), Stop);
  EXPECT_NE(listing_text().find("ERROR -- Template "), std::string::npos) << listing_text();
}

double real_at(std::string_view bytes) {
  std::uint64_t bits = 0;
  for (std::size_t k = 8; k-- > 0;) bits = bits << 8 | static_cast<unsigned char>(bytes[k]);
  return std::bit_cast<double>(bits);
}

TEST_F(Print_matrix, matprt_writes_a_record_a_row) {
  Array2<double> a;
  ASSERT_TRUE(a.allocate(2, 3));
  for (int i = 1; i <= 2; ++i)
    for (int j = 1; j <= 3; ++j) a(i, j) = i + 0.125 * j;
  job_.streams.open_memory(job_.status.sysvcm);
  matprt(job_, a);
  const std::string_view file = job_.streams.contents(job_.status.sysvcm);
  ASSERT_EQ(file.size(), 2u * (4 + 8 + 3 * 8 + 4));
  for (int i = 1; i <= 2; ++i) {
    const std::string_view record = file.substr(static_cast<std::size_t>(i - 1) * 40, 40);
    EXPECT_EQ(record.substr(0, 4), std::string_view("\x20\0\0\0", 4));
    EXPECT_EQ(record.substr(4, 8), i == 1 ? "ROW    1" : "ROW    2");
    for (std::size_t j = 1; j <= 3; ++j) {
      EXPECT_EQ(real_at(record.substr(4 + 8 * j, 8)), i + 0.125 * static_cast<double>(j));
    }
    EXPECT_EQ(record.substr(36), std::string_view("\x20\0\0\0", 4));
  }
}

TEST_F(Print_matrix, matprt_cuts_a_row_number_to_its_first_4_digits) {
  Array2<double> a;
  ASSERT_TRUE(a.allocate(12345, 0));
  job_.streams.open_memory(job_.status.sysvcm);
  matprt(job_, a);
  const std::string_view file = job_.streams.contents(job_.status.sysvcm);
  const auto head = [&](std::size_t i) { return file.substr((i - 1) * 16 + 4, 8); };
  EXPECT_EQ(head(1), "ROW    1");
  EXPECT_EQ(head(999), "ROW  999");
  EXPECT_EQ(head(9999), "ROW 9999");
  EXPECT_EQ(head(12345), "ROW 1234");
}

TEST_F(Print_matrix, identity_matrices) {
  const Array2<int> whole = integer_idmatrix(job_, std::vector<int>(3));
  const Array2<double> real = real_idmatrix(job_, std::vector<double>(2));
  ASSERT_EQ(whole.extent(1), 3);
  ASSERT_EQ(whole.extent(2), 3);
  ASSERT_EQ(real.extent(1), 2);
  for (int i = 1; i <= 3; ++i)
    for (int j = 1; j <= 3; ++j) EXPECT_EQ(whole(i, j), i == j ? 1 : 0);
  for (int i = 1; i <= 2; ++i)
    for (int j = 1; j <= 2; ++j) EXPECT_EQ(real(i, j), i == j ? 1.0 : 0.0);
}

TEST_F(Print_matrix, an_identity_matrix_without_memory_is_absent_and_warned_of) {
  // Only the length of the span counts; no machine holds the square of it.
  const int one = 1;
  const std::span<const int> endless(&one, std::size_t{2000000000});
  EXPECT_FALSE(integer_idmatrix(job_, endless).present());
  EXPECT_NE(listing_text().find("Error number 5020 from memory allocation of INTEGER_IDMATRIX. \n"),
            std::string::npos)
      << listing_text();
  EXPECT_NE(listing_text().find("  * *  WARNING  * *   Insufficient virtual memory \n"), std::string::npos);
  const double half = 0.5;
  EXPECT_FALSE(real_idmatrix(job_, std::span<const double>(&half, std::size_t{2000000000})).present());
  EXPECT_NE(listing_text().find("Error number 5020 from memory allocation of REAL_IDMATRIX. \n"),
            std::string::npos);
}

TEST_F(Print_matrix, allocation_of_several_arrays_stops_at_the_first_that_fails) {
  Array1<double> a, c;
  Array2<double> b;
  EXPECT_FALSE(allocate(job_, "from memory allocation of A, B, and C.", shaped(a, 3),
                        shaped(b, 2000000000, 2000000000), shaped(c, 3)));
  EXPECT_TRUE(a.present());
  EXPECT_FALSE(b.present());
  EXPECT_FALSE(c.present());
  EXPECT_NE(listing_text().find(
                "  * *  WARNING  * *   Error number 5020 from memory allocation of A, B, and C. \n"),
            std::string::npos)
      << listing_text();
  EXPECT_NE(listing_text().find("  * *  WARNING  * *   Insufficient virtual memory \n"), std::string::npos);
}

TEST_F(Print_matrix, allocation_of_an_allocated_array_leaves_it) {
  Array1<double> a;
  EXPECT_TRUE(allocate(job_, "from memory allocation of A.", a, 2));
  a(1) = 5;
  EXPECT_EQ(listing_text(), "");
  EXPECT_FALSE(allocate(job_, "from memory allocation of A.", a, 3));
  EXPECT_EQ(a.extent(), 2);
  EXPECT_EQ(a(1), 5);
  EXPECT_NE(listing_text().find("Error number 5014 from memory allocation of A. \n"), std::string::npos);
  EXPECT_NE(listing_text().find("  * *  WARNING  * *   Attempt to allocate an allocated object \n"),
            std::string::npos);
}

TEST_F(Print_matrix, the_first_use_of_an_absent_array_is_fatal) {
  Array1<double> a;
  try {
    require(job_, a, "VCMAT");
    FAIL() << "the array is absent";
  } catch (const Stop& stopped) {
    EXPECT_EQ(stopped.text, "ERROR EXIT from TARN");
  }
  EXPECT_NE(listing_text().find("\n ERROR -- Array VCMAT is not allocated.\n"), std::string::npos)
      << listing_text();
}

TEST_F(Print_matrix, freeing_twice_is_harmless) {
  Array1<double> a;
  a.free();
  EXPECT_TRUE(a.allocate(3));
  a.free();
  a.free();
  EXPECT_FALSE(a.present());
}

}  // namespace
}  // namespace tarn
