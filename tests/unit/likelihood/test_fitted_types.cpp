#include <gtest/gtest.h>

#include <algorithm>

#include "data/catalogue/available.h"
#include "likelihood/cells.h"
#include "support/fitted_types.h"

namespace tarn {
namespace {

/// All that a fit needs is there.
bool is_fitted(const Datatype& type) {
  return cell_routines(type.cell).given() && is_available(type.closed_form) && is_available(type.saturated) &&
         is_available(type.derived_sections);
}

TEST(Fitted_types, page_explains_every_type_that_is_fitted_and_no_other) {
  for (int n = 1; n <= max_dattyp; ++n) {
    const auto told = [n](const Family_note& note) {
      return std::find(note.numbers.begin(), note.numbers.end(), n) != note.numbers.end();
    };
    const auto count = std::count_if(fitted_types().begin(), fitted_types().end(), told);
    EXPECT_EQ(count, is_fitted(datatype(n)) ? 1 : 0) << n;
  }
}

}  // namespace
}  // namespace tarn
