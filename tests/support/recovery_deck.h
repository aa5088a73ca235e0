#pragma once
// A deck whose counts are expected values under known real parameters, and what its fit must give back.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "support/deck_run.h"

namespace tarn {

/// A blank and the number, as a deck takes it.
inline std::string text_of(double number) {
  char text[40];
  std::snprintf(text, sizeof text, " %.9g", number);
  return text;
}

/// Statements of the data procedure, one for each history with animals.
inline std::string record_lines(const std::map<std::string, double>& counts) {
  std::string lines;
  for (const auto& [cells, animals] : counts) lines += cells + text_of(animals) + ";\n";
  return lines;
}

/// A model of one group: matrices of one row, each real parameter with its link and the value that made the
/// data.
class Recovered_model {
 public:
  /// A matrix of one real parameter.
  void matrix(const std::string& name, int columns, double value, const std::string& link) {
    matrix(name, columns, std::vector<double>{value}, link);
  }
  /// A matrix with a real parameter for each column.
  void matrix(const std::string& name, int columns, const std::vector<double>& values,
              const std::string& link) {
    matrices_ += "group=1 " + name + " rows=1 cols=" + std::to_string(columns) + " square " +
                 (values.size() == 1 ? "constant=" : "time=") + std::to_string(truth_.size() + 1) + ";\n";
    for (const double value : values) {
      truth_.push_back(value);
      links_ += link + ";\n";
    }
  }

  /// A matrix of these numbers, row by row: numbers that `real` has given.
  void matrix_of_numbers(const std::string& name, const std::vector<std::vector<int>>& rows) {
    matrices_ += "group=1 " + name + " rows=" + std::to_string(rows.size()) +
                 " cols=" + std::to_string(rows.front().size()) + " square;\n";
    for (const std::vector<int>& row : rows) {
      for (const int number : row) matrices_ += std::to_string(number) + ' ';
      matrices_ += ";\n";
    }
  }
  /// A real parameter for `matrix_of_numbers`; its number.
  int real(double value, const std::string& link) {
    truth_.push_back(value);
    links_ += link + ";\n";
    return static_cast<int>(truth_.size());
  }
  /// Betas at which the search starts, one for each real parameter.
  void start(const std::vector<double>& betas) {
    start_ = "initial";
    for (const double beta : betas) start_ += text_of(beta);
    start_ += ";\n";
  }

  /// The deck: `data` is the data procedure ahead of its records.
  Deck_result fit(const std::string& data, const std::string& records) const {
    const std::string size = std::to_string(truth_.size());
    return run_deck(data + records + "proc estimate link=parm-specific;\nmodel={recovered};\n" + matrices_ +
                    "design matrix constraints=" + size + " covariates=" + size + " identity;\nlinks;\n" +
                    links_ + start_ + "proc stop;\n");
  }
  /// The fit ended, found all of them to be identified, and gave them back.
  void expect_recovered(const Deck_result& result, double tolerance) const {
    ASSERT_EQ(result.stop, "NORMAL EXIT")
        << result.listing.substr(result.listing.size() - std::min<std::size_t>(result.listing.size(), 2000));
    for (std::size_t i = 0; i < truth_.size(); ++i)
      EXPECT_NEAR(result.real(static_cast<int>(i) + 1).estimate, truth_[i], tolerance) << "real " << i + 1;
    EXPECT_EQ(result.number("Number of Estimated Parameters {recovered} ="),
              static_cast<double>(truth_.size()));
  }

 private:
  std::string matrices_, links_, start_;
  std::vector<double> truth_;
};

}  // namespace tarn
